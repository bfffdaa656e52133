// Response codes and symbolic constants as text, and back. A conversion that fails tells so by its
// code alone; nothing here allocates.
#include <cstdio>
#include <cstring>
#include <iterator>

#include "zalvo/frame.h"
#include "zalvo/symbcon.h"

namespace {

// copy_text: as much of a text as fits into size bytes with the terminator.
void copy_text(char* to, int32_t size, const char* from) noexcept {
  if (size < 1) return;
  const size_t len = strnlen(from, size_t(size) - 1);
  std::memcpy(to, from, len);
  to[len] = '\0';
}

template <size_t n>
const char* member(const char* const (&names)[n], int32_t value) noexcept {
  return value >= 0 && size_t(value) < n ? names[value] : nullptr;
}

// Texts by value; "" where a value is left out of the numbering.
constexpr const char* statuskeys[] = {"UN", "BS", "SB", "LL", "UL", "EQ", "**"};
constexpr const char* conetypes[] = {"ZLV_CT_QUAD", "ZLV_CT_RQUAD"};
constexpr const char* probtypes[] = {"LO (linear optimization problem)",
                                     "QO (quadratic optimization problem)",
                                     "QCQO (quadratically constrained optimization problem)",
                                     "GECO (general convex optimization problem)",
                                     "CONIC (conic optimization problem)",
                                     "MIXED (mixed nonlinear and conic optimization problem)"};
constexpr const char* prostas[] = {"UNKNOWN",
                                   "PRIMAL_AND_DUAL_FEASIBLE",
                                   "PRIMAL_FEASIBLE",
                                   "DUAL_FEASIBLE",
                                   "PRIMAL_INFEASIBLE",
                                   "DUAL_INFEASIBLE",
                                   "PRIMAL_AND_DUAL_INFEASIBLE",
                                   "ILL_POSED",
                                   "NEAR_PRIMAL_AND_DUAL_FEASIBLE",
                                   "NEAR_PRIMAL_FEASIBLE",
                                   "NEAR_DUAL_FEASIBLE",
                                   "PRIMAL_INFEASIBLE_OR_UNBOUNDED"};
constexpr const char* solstas[] = {"UNKNOWN",
                                   "OPTIMAL",
                                   "PRIMAL_FEASIBLE",
                                   "DUAL_FEASIBLE",
                                   "PRIMAL_AND_DUAL_FEASIBLE",
                                   "PRIMAL_INFEASIBLE_CER",
                                   "DUAL_INFEASIBLE_CER",
                                   "",
                                   "NEAR_OPTIMAL",
                                   "NEAR_PRIMAL_FEASIBLE",
                                   "NEAR_DUAL_FEASIBLE",
                                   "NEAR_PRIMAL_AND_DUAL_FEASIBLE",
                                   "NEAR_PRIMAL_INFEASIBLE_CER",
                                   "NEAR_DUAL_INFEASIBLE_CER",
                                   "INTEGER_OPTIMAL",
                                   "NEAR_INTEGER_OPTIMAL"};

// Writes text, or form filled with the value when there is none.
void copy_or_format(char* to, const char* text, const char* form, int32_t value) noexcept {
  if (text != nullptr && *text != '\0') {
    copy_text(to, ZLV_MAX_STR_LEN, text);
  } else {
    std::snprintf(to, ZLV_MAX_STR_LEN, form, value);
  }
}

}  // namespace

int32_t ZLV_getcodedisc(int32_t code, char* symname, char* str) {
  const char* name = symbcon_name(symgroup::res, code);
  if (str != nullptr) {
    if (name != nullptr) {
      copy_text(str, ZLV_MAX_STR_LEN, rescode_description(rescode(code)));
    } else {
      std::snprintf(str, ZLV_MAX_STR_LEN, "No description for the code %d is available.", code);
    }
  }
  if (symname != nullptr) copy_text(symname, ZLV_MAX_STR_LEN, name != nullptr ? name : "");
  return ZLV_RES_OK;
}

int32_t ZLV_getresponseclass(int32_t code, int32_t* responseclass) {
  if (responseclass == nullptr) return ZLV_RES_ERR_NULL_POINTER;
  if (code == ZLV_RES_OK) {
    *responseclass = ZLV_RESPONSE_OK;
  } else if (code < 1000) {
    *responseclass = ZLV_RESPONSE_WRN;
  } else {
    *responseclass = code < 4000 ? ZLV_RESPONSE_ERR : ZLV_RESPONSE_TRM;
  }
  return ZLV_RES_OK;
}

int32_t ZLV_getsymbcondim(ZLV_env_t env, int32_t* num, int32_t* maxlen) {
  if (num != nullptr) *num = 0;
  if (maxlen != nullptr) *maxlen = 0;
  return env_call(env, [=](env_rec& e) {
    if (num == nullptr) return env_fail(e, rescode::err_null_pointer, "num");
    if (maxlen == nullptr) return env_fail(e, rescode::err_null_pointer, "maxlen");
    *num = int32_t(symbcon_rows().size());
    *maxlen = symbcon_maxlen();
    return rescode::ok;
  });
}

int32_t ZLV_getsymbcon(ZLV_task_t task, int32_t i, int32_t maxlen, char* name, int32_t* value) {
  return task_call(task, [=](task_rec& t) {
    // The sentinel behind the last row may be asked for: an empty name and the value 0.
    static constexpr symbcon_row sentinel;
    const auto rows = symbcon_rows();
    if (const rescode r = chk_index(t, i, int32_t(rows.size()) + 1, "i"); r != rescode::ok) {
      return r;
    }
    if (const rescode r = chk_pointer(t, name, "name"); r != rescode::ok) return r;
    if (const rescode r = chk_pointer(t, value, "value"); r != rescode::ok) return r;
    const symbcon_row& row = size_t(i) < rows.size() ? rows[size_t(i)] : sentinel;
    copy_text(name, maxlen, row.name);
    *value = row.value;
    const auto len = int32_t(std::strlen(row.name));
    if (maxlen < len + 1) return task_fail(t, rescode::wrn_name_max_len, len, maxlen);
    return rescode::ok;
  });
}

int32_t ZLV_symnamtovalue(const char* name, int32_t* value) {
  if (name == nullptr || value == nullptr) return ZLV_RES_ERR_NULL_POINTER;
  const symbcon_row* row = symbcon_find(name);
  if (row == nullptr) return ZLV_RES_ERR_IN_ARGUMENT;
  *value = row->value;
  return ZLV_RES_OK;
}

int32_t ZLV_bktostr(ZLV_task_t task, int32_t bk, char* str) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, str, "str"); r != rescode::ok) return r;
    const char* name = symbcon_name(symgroup::bk, bk);
    copy_text(str, ZLV_MAX_STR_LEN, name != nullptr ? name : "");
    return name != nullptr ? rescode::ok : rescode::err_inv_bk;
  });
}

int32_t ZLV_sktostr(ZLV_task_t task, int32_t sk, char* str) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, str, "str"); r != rescode::ok) return r;
    const char* text = member(statuskeys, sk);
    copy_text(str, ZLV_MAX_STR_LEN, text != nullptr ? text : "");
    return text != nullptr ? rescode::ok : rescode::err_inv_sk;
  });
}

int32_t ZLV_strtosk(ZLV_task_t task, const char* str, int32_t* sk) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, str, "str"); r != rescode::ok) return r;
    if (const rescode r = chk_pointer(t, sk, "sk"); r != rescode::ok) return r;
    for (*sk = 0; size_t(*sk) < std::size(statuskeys); ++*sk) {
      if (std::strcmp(str, statuskeys[*sk]) == 0) return rescode::ok;
    }
    return rescode::err_inv_sk_str;
  });
}

int32_t ZLV_conetypetostr(ZLV_task_t task, int32_t ct, char* str) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, str, "str"); r != rescode::ok) return r;
    const char* text = member(conetypes, ct);
    if (text == nullptr) return rescode::err_cone_type;
    copy_text(str, ZLV_MAX_STR_LEN, text);
    return rescode::ok;
  });
}

int32_t ZLV_strtoconetype(ZLV_task_t task, const char* str, int32_t* ct) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, str, "str"); r != rescode::ok) return r;
    if (const rescode r = chk_pointer(t, ct, "ct"); r != rescode::ok) return r;
    for (size_t k = 0; k < std::size(conetypes); ++k) {
      if (std::strncmp(str, conetypes[k], std::strlen(conetypes[k])) != 0) continue;
      *ct = int32_t(k);
      return rescode::ok;
    }
    return rescode::err_cone_type_str;
  });
}

int32_t ZLV_probtypetostr(ZLV_task_t task, int32_t probtype, char* str) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, str, "str"); r != rescode::ok) return r;
    const char* text = member(probtypes, probtype);
    copy_text(str, ZLV_MAX_STR_LEN, text != nullptr ? text : "INVALID");
    return rescode::ok;
  });
}

int32_t ZLV_prostatostr(ZLV_task_t, int32_t prosta, char* str) {
  if (str == nullptr) return ZLV_RES_ERR_NULL_POINTER;
  copy_or_format(str, member(prostas, prosta), "INVALID CODE(%d)", prosta);
  return ZLV_RES_OK;
}

int32_t ZLV_solstatostr(ZLV_task_t, int32_t solsta, char* str) {
  if (str == nullptr) return ZLV_RES_OK;
  copy_or_format(str, member(solstas, solsta), "INVALID code(%d)", solsta);
  return ZLV_RES_OK;
}
