// Parameters and solutions of an OPF file.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "zalvo/paramfile.h"
#include "zalvo/paramput.h"
#include "zalvo/zalvofile.h"
#include "zalvo/zalvoropf.h"

namespace {

using enum rescode;

// ---- Parameters

std::string_view trim(std::string_view text) noexcept {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

// The value behind a tag: a quoted text, or all up to the next bracket or comment.
rescode param_value(opf_reader& rd, mm_string& value) {
  opf_lexer& lx = rd.lx;
  const std::string_view rest(lx.pos, size_t(lx.stop - lx.pos));
  const std::string_view raw = trim(rest.substr(0, rest.find_first_of("[#")));
  if (raw.starts_with('\'') || raw.starts_with('"')) {
    opf_next(lx);
    if (lx.tok.kind == lex_kind::bad) return opf_fail(rd, "Invalid parameter\n", "");
    value = lx.tok.text;
  } else {
    value = raw;
    lx.pos += rest.find_first_of("[#") == rest.npos ? rest.size() : rest.find_first_of("[#");
  }
  opf_next(lx);
  return ok;
}

const char* fault_of(const param_id& id, const mm_string& value) noexcept {
  switch (id.type) {
    case ZLV_PAR_INT_TYPE:
      return param_parseint(value) || symbcon_find(value) != nullptr
                 ? nullptr
                 : "Invalid integer parameter value\n";
    case ZLV_PAR_DOU_TYPE:
      return param_parsedou(value) ? nullptr : "Invalid double parameter value\n";
    default:
      return id.type == ZLV_PAR_STR_TYPE ? nullptr : "Invalid parameter\n";
  }
}

// ---- Solutions

constexpr std::array<std::string_view, 7> keytexts = {"UNK", "BAS", "SUPBAS", "LOW",
                                                      "UPR", "FIX", "INF"};  // by ZLV_SK_*
constexpr std::array<std::string_view, sol_count> typetexts = {"interior", "basic", "integer"};

enum opf_value : uint8_t {
  is_listed = 1,
  is_sk = 2,
  is_x = 4,
  is_y = 8,
  is_sl = 16,
  is_su = 32,
  is_sn = 64
};
struct value_rule {
  std::string_view name;
  uint8_t value;
  mm_vector<double> sol_part::*items;
  const char* twice;
};
constexpr value_rule value_rules[] = {{"sk", is_sk, nullptr, "Status key defined twice\n"},
                                      {"lvl", is_x, &sol_part::x, "Level value defined twice\n"},
                                      {"y", is_y, &sol_part::more, "Value y defined twice\n"},
                                      {"sl", is_sl, &sol_part::sl, "Value sl defined twice\n"},
                                      {"su", is_su, &sol_part::su, "Value su defined twice\n"},
                                      {"sn", is_sn, &sol_part::more, "Value sn defined twice\n"}};

// The problem that the names of a solution belong to.
const names_store& names_of(const opf_reader& rd) noexcept {
  return rd.isproblem ? rd.b.names : rd.b.t.prob.names;
}

// The item that a name made for one without a name stands for.
int32_t find_generic(const names_store& names, int32_t kind, std::string_view name) noexcept {
  const std::string_view prefix = kind == ZLV_PI_VAR ? "x" : "con";
  constexpr size_t numdigit = 6;  // at least
  if (!name.starts_with(prefix) || name.size() < prefix.size() + numdigit) return -1;
  int32_t i = -1;
  const char* const stop = name.data() + name.size();
  const auto [end, fault] = std::from_chars(name.data() + prefix.size(), stop, i);
  const bool isitem = fault == std::errc{} && end == stop && i >= 0 &&
                      i < int32_t(names.kind[kind].off.size()) && names_get(names, kind, i).empty();
  return isitem ? i : -1;
}

rescode status_key(opf_reader& rd, int32_t& sk) {
  const opf_token& tok = rd.lx.tok;
  const bool isword = tok.kind == lex_kind::name || tok.kind == lex_kind::infinite;
  const auto found = std::find_if(keytexts.begin(), keytexts.end(), [&](std::string_view text) {
    return isword && tok.text == text;
  });
  if (found == keytexts.end()) {
    return opf_fail(rd, "Error in status key\n", "It is no status key.");
  }
  sk = int32_t(found - keytexts.begin());
  opf_next(rd.lx);
  return ok;
}

rescode expect_equal(opf_reader& rd) {
  if (rd.lx.tok.kind != lex_kind::equal) {
    return opf_fail(rd, "Expected a '='\n", "An '=' should stand here.");
  }
  opf_next(rd.lx);
  return ok;
}

// keyword "=" value
rescode read_value(opf_reader& rd, sol_part& items, int32_t i, bool iscon) {
  opf_lexer& lx = rd.lx;
  const auto rule =
      std::find_if(std::begin(value_rules), std::end(value_rules), [&](const value_rule& v) {
        return lx.tok.kind == lex_kind::name && !lx.tok.isquoted && lx.tok.text == v.name;
      });
  if (rule == std::end(value_rules) || rule->value == (iscon ? is_sn : is_y)) {
    return opf_fail(rd, "Error in solution item definition\n", "There is no such value.");
  }
  if ((items.given[i] & rule->value) != 0) {
    return opf_fail(rd, rule->twice, "It was given before.");
  }
  items.given[i] |= rule->value;
  opf_next(lx);
  if (const rescode r = expect_equal(rd); r != ok) return r;
  if (rule->value == is_sk) return status_key(rd, items.sk[i]);
  if (lx.tok.kind == lex_kind::infinite) {
    return opf_fail(rd, "Error in solution item values\n", "A value must be finite.");
  }
  return opf_number(rd, false, (items.*rule->items)[i], "Expected a value\n");
}

int32_t status_of(std::string_view text) noexcept {
  char each[ZLV_MAX_STR_LEN] = "";
  for (int32_t solsta = 0; solsta <= ZLV_SOL_STA_NEAR_INTEGER_OPTIMAL; ++solsta) {
    (void)ZLV_solstatostr(nullptr, solsta, each);
    if (text == each) return solsta;
  }
  return -1;
}

// What a solution of this status says of the problem.
int32_t prosta_of(int32_t solsta) noexcept {
  switch (solsta) {
    case ZLV_SOL_STA_OPTIMAL:
    case ZLV_SOL_STA_PRIM_AND_DUAL_FEAS:
      return ZLV_PRO_STA_PRIM_AND_DUAL_FEAS;
    case ZLV_SOL_STA_NEAR_OPTIMAL:
    case ZLV_SOL_STA_NEAR_PRIM_AND_DUAL_FEAS:
      return ZLV_PRO_STA_NEAR_PRIM_AND_DUAL_FEAS;
    case ZLV_SOL_STA_PRIM_FEAS:
    case ZLV_SOL_STA_INTEGER_OPTIMAL:
    case ZLV_SOL_STA_NEAR_INTEGER_OPTIMAL:
      return ZLV_PRO_STA_PRIM_FEAS;
    case ZLV_SOL_STA_NEAR_PRIM_FEAS:
      return ZLV_PRO_STA_NEAR_PRIM_FEAS;
    case ZLV_SOL_STA_DUAL_FEAS:
      return ZLV_PRO_STA_DUAL_FEAS;
    case ZLV_SOL_STA_NEAR_DUAL_FEAS:
      return ZLV_PRO_STA_NEAR_DUAL_FEAS;
    case ZLV_SOL_STA_PRIM_INFEAS_CER:
    case ZLV_SOL_STA_NEAR_PRIM_INFEAS_CER:
      return ZLV_PRO_STA_PRIM_INFEAS;
    case ZLV_SOL_STA_DUAL_INFEAS_CER:
    case ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER:
      return ZLV_PRO_STA_DUAL_INFEAS;
    default:
      return ZLV_PRO_STA_UNKNOWN;
  }
}

}  // namespace

rescode opf_param(opf_reader& rd) {
  opf_lexer& lx = rd.lx;
  if (lx.tok.kind != lex_kind::name) {
    return opf_fail(rd, "In parameter: missing identifier\n", "The tag needs a name.");
  }
  const mm_string name(lx.tok.text, rd.label.get_allocator());
  const param_id id = param_find(name, true);
  if (id.type == ZLV_PAR_INVALID_TYPE) {
    return opf_fail(rd, "Invalid parameter\n", "There is no such parameter.");
  }
  opf_next(lx);
  if (lx.tok.kind != lex_kind::tagend) {
    return opf_fail(rd, "Invalid parameter\n", "The tag should end here.");
  }
  mm_string value(rd.label.get_allocator());
  if (const rescode r = param_value(rd, value); r != ok) return r;
  if (const char* fault = fault_of(id, value); fault != nullptr) {
    return opf_fail(rd, fault, "The value before this place is not one of the parameter.");
  }
  rd.out.params += param_name(id);
  rd.out.params += ' ';
  if (id.type == ZLV_PAR_STR_TYPE) {
    param_addquoted(rd.out.params, value);
  } else {
    rd.out.params += value;
  }
  rd.out.params += '\n';
  return ok;
}

rescode opf_solhead(opf_reader& rd) {
  opf_lexer& lx = rd.lx;
  if (lx.tok.kind != lex_kind::name) {
    return opf_fail(rd, "A solution type must be specified\n", "The tag needs a type.");
  }
  const auto type = std::find_if(typetexts.begin(), typetexts.end(), [&](std::string_view text) {
    return lex_isword(lx.tok.text, text);
  });
  if (type == typetexts.end()) {
    return opf_fail(rd, "Unknown solution type\n", "There is no such type.");
  }
  rd.whichsol = int32_t(type - typetexts.begin());
  opf_solution& sol = rd.sol[size_t(rd.whichsol)];
  if (sol.isgiven) return opf_fail(rd, nullptr, "There is a solution of this type already.");
  sol.isgiven = rd.out.hassol = true;
  const names_store& names = names_of(rd);
  sol_sizepart(sol.var, names.kind[ZLV_PI_VAR].off.size());
  sol_sizepart(sol.con, names.kind[ZLV_PI_CON].off.size());
  opf_next(lx);
  if (lx.tok.kind != lex_kind::name) return ok;
  if (!lex_isword(lx.tok.text, "status")) {
    return opf_fail(rd, nullptr, "The tag has no such attribute.");
  }
  opf_next(lx);
  if (const rescode r = expect_equal(rd); r != ok) return r;
  if (lx.tok.kind != lex_kind::name) {
    return opf_fail(rd, "Expected a value\n", "A solution status should stand here.");
  }
  sol.solsta = status_of(lx.tok.text);
  if (sol.solsta < 0) return opf_fail(rd, nullptr, "It is no solution status.");
  opf_next(lx);
  return ok;
}

rescode opf_solitem(opf_reader& rd, bool iscon) {
  opf_lexer& lx = rd.lx;
  if (lx.tok.kind != lex_kind::name) {
    return opf_fail(rd,
                    iscon ? "Constraint must have a name in solution\n"
                          : "Variable must have a name in solution\n",
                    "The tag needs a name.");
  }
  opf_solution& sol = rd.sol[size_t(rd.whichsol)];
  sol_part& items = iscon ? sol.con : sol.var;
  const int32_t kind = iscon ? ZLV_PI_CON : ZLV_PI_VAR;
  int32_t i = lx.tok.text.empty() ? -1 : names_find(names_of(rd), kind, lx.tok.text);
  if (i < 0) i = find_generic(names_of(rd), kind, lx.tok.text);
  if (i < 0 || size_t(i) >= items.given.size()) {
    return opf_fail(
        rd, nullptr,
        iscon ? "The problem has no such constraint." : "The problem has no such variable.");
  }
  if (items.given[i] != 0) return opf_fail(rd, nullptr, "The item was listed before.");
  items.given[i] = is_listed;
  opf_next(lx);
  if (lx.tok.kind != lex_kind::tagend) {
    return opf_fail(rd, "Error in solution item definition\n", "The tag should end here.");
  }
  opf_next(lx);
  while (lx.tok.kind != lex_kind::tag && lx.tok.kind != lex_kind::end) {
    if (const rescode r = read_value(rd, items, i, iscon); r != ok) return r;
  }
  return ok;
}

void opf_storesolutions(opf_reader& rd) {
  const prob_rec& p = rd.isproblem ? rd.b.p : rd.b.t.prob;
  for (int32_t whichsol = 0; whichsol < sol_count; ++whichsol) {
    opf_solution& sol = rd.sol[size_t(whichsol)];
    if (!sol.isgiven) continue;
    sol_sizepart(sol.var, size_t(p.numvar));  // some came behind the solution
    sol_sizepart(sol.con, size_t(p.numcon));
    sol_part& con = sol.con;
    for (size_t i = 0; i < con.given.size(); ++i) {
      if ((con.given[i] & is_y) == 0) con.more[i] = con.sl[i] - con.su[i];
    }
    sol_rec& rec = rd.out.sol.rec[size_t(whichsol)];
    const sol_view v = sol_make(rec, whichsol, p);
    sol_storeparts(con, sol.var, v);
    rec.isdef = true;
    rec.solsta = sol.solsta;
    rec.prosta = prosta_of(sol.solsta);
  }
}
