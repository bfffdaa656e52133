// Bounds and objective of a problem: put, change and get.
#include <algorithm>

#include "zalvo/zalvodat.h"

namespace {

using enum rescode;

const char* kind_of(acc mode) {
  return mode == acc::var ? "variable" : "constraint";
}

bool uses_lower(int32_t key) {
  return key != ZLV_BK_UP && key != ZLV_BK_FR;
}
bool uses_upper(int32_t key) {
  return key == ZLV_BK_UP || key == ZLV_BK_RA;
}

void store_bound(task_rec& t, acc mode, int32_t i, const prob_bound& stored) {
  const prob_bound old = prob_getbound(t.prob, mode, i);
  prob_storebound(t.prob, mode, i, stored);
  sol_boundchanged(t, int32_t(mode), i, old.key, old.lower, old.upper);
}

void warn_bound(task_rec& t, const prob_rec& p, const prob_boundnote& note, const prob_bound& given,
                acc mode, int32_t i) {
  const char* name = mode == acc::var ? dat_varname(p, i) : dat_conname(p, i);
  if (note.isunequal) {
    static_cast<void>(task_fail(t, wrn_fixed_bound_values, given.lower, given.upper));
  }
  if (note.islargelower) {
    static_cast<void>(task_fail(t, wrn_large_lo_bound, given.lower, kind_of(mode), name, i));
  }
  if (note.islargeupper) {
    static_cast<void>(task_fail(t, wrn_large_up_bound, given.upper, kind_of(mode), name, i));
  }
}

// k: the position in the caller's arrays.
rescode put_bound(task_rec& t, acc mode, int32_t i, const prob_bound& given, int32_t k) {
  if (const rescode r = dat_key(t, mode, given.key, "bk"); r != ok) return r;
  if (const rescode r = dat_index(t, mode, i, "i"); r != ok) return r;
  if (const rescode r = dat_boundvalues(t, given, k); r != ok) return r;
  const prob_tol tol = prob_tols(t.par);
  dat_warnbound(t, t.prob, tol, given, mode, i);
  store_bound(t, mode, i, prob_normalise(tol, given));
  return ok;
}

rescode put_cost(task_rec& t, double value, int32_t k, int32_t j, const char* argument) {
  if (const rescode r = dat_cost(t, t.prob, value, k, j, argument); r != ok) return r;
  if (t.prob.c[j] != value) {
    t.prob.c[j] = value;
    sol_costchanged(t, j);
  }
  return ok;
}

rescode get_costs(task_rec& t, int32_t first, int32_t last, double* c) {
  if (const rescode r = dat_range(t, first, last, t.prob.numvar); r != ok) return r;
  if (const rescode r = dat_array(t, c, last - first, "c"); r != ok) return r;
  std::copy(t.prob.c.begin() + first, t.prob.c.begin() + last, c);
  return ok;
}

}  // namespace

rescode dat_key(task_rec& t, acc mode, int32_t key, const char* argument) {
  if (key >= ZLV_BK_LO && key <= ZLV_BK_RA) return ok;
  return task_fail(t, mode == acc::var ? err_inv_bkx : err_inv_bkc, key, argument);
}

rescode dat_boundvalues(task_rec& t, const prob_bound& given, int32_t k) {
  if (uses_lower(given.key)) {
    if (const rescode r = dat_notnan(t, given.lower, k, "bl"); r != ok) return r;
  }
  return uses_upper(given.key) ? dat_notnan(t, given.upper, k, "bu") : ok;
}

void dat_warnbound(task_rec& t, const prob_rec& p, const prob_tol& tol, const prob_bound& given,
                   acc mode, int32_t i) {
  warn_bound(t, p, prob_noteof(tol, given), given, mode, i);
}

rescode dat_cost(task_rec& t, const prob_rec& p, double value, int32_t k, int32_t j,
                 const char* argument) {
  if (const rescode r = dat_notnan(t, value, k, argument); r != ok) return r;
  const double size = std::abs(value);
  if (size > t.par.d[dpar::data_tol_c_huge]) {
    return task_fail(t, err_huge_c, value, dat_varname(p, j), j);
  }
  if (size > t.par.d[dpar::data_tol_cj_large]) {
    static_cast<void>(task_fail(t, wrn_large_cj, value, dat_varname(p, j), j));
  }
  return ok;
}

int32_t ZLV_putbound(ZLV_task_t task, int32_t accmode, int32_t i, int32_t bk, double bl,
                     double bu) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_acc(t, accmode); r != ok) return r;
    return put_bound(t, acc(accmode), i, {bk, bl, bu}, 0);
  });
}

int32_t ZLV_putboundlist(ZLV_task_t task, int32_t accmode, int32_t num, const int32_t* sub,
                         const int32_t* bk, const double* bl, const double* bu) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_acc(t, accmode); r != ok) return r;
    if (const rescode r = dat_array(t, sub, num, "sub"); r != ok) return r;
    if (const rescode r = dat_array(t, bk, num, "bk"); r != ok) return r;
    if (const rescode r = dat_array(t, bl, num, "bl"); r != ok) return r;
    if (const rescode r = dat_array(t, bu, num, "bu"); r != ok) return r;
    rescode r = ok;
    for (int32_t k = 0; k < num && r == ok; ++k) {
      r = put_bound(t, acc(accmode), sub[k], {bk[k], bl[k], bu[k]}, k);
    }
    return r;
  });
}

int32_t ZLV_putboundslice(ZLV_task_t task, int32_t accmode, int32_t first, int32_t last,
                          const int32_t* bk, const double* bl, const double* bu) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_acc(t, accmode); r != ok) return r;
    const int32_t num = first < last ? 1 : 0;
    if (const rescode r = dat_array(t, bk, num, "bk"); r != ok) return r;
    if (const rescode r = dat_array(t, bl, num, "bl"); r != ok) return r;
    if (const rescode r = dat_array(t, bu, num, "bu"); r != ok) return r;
    rescode r = ok;
    for (int32_t k = 0, i = first; i < last && r == ok; ++i, ++k) {
      r = put_bound(t, acc(accmode), i, {bk[k], bl[k], bu[k]}, k);
    }
    return r;
  });
}

int32_t ZLV_chgbound(ZLV_task_t task, int32_t accmode, int32_t i, int32_t lower, int32_t finite,
                     double value) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_acc(t, accmode); r != ok) return r;
    const acc mode = acc(accmode);
    if (const rescode r = dat_index(t, mode, i, "i"); r != ok) return r;
    if (finite != 0) {
      if (const rescode r = dat_notnan(t, value, 0, "value"); r != ok) return r;
    }
    prob_bound b = prob_getbound(t.prob, mode, i);
    bool haslower = b.key != ZLV_BK_UP && b.key != ZLV_BK_FR;
    bool hasupper = b.key != ZLV_BK_LO && b.key != ZLV_BK_FR;
    (lower != 0 ? haslower : hasupper) = finite != 0;
    (lower != 0 ? b.lower : b.upper) = value;
    b.key = haslower ? (hasupper ? ZLV_BK_RA : ZLV_BK_LO) : (hasupper ? ZLV_BK_UP : ZLV_BK_FR);
    const prob_tol tol = prob_tols(t.par);
    prob_boundnote note = prob_noteof(tol, b);
    (lower != 0 ? note.islargeupper : note.islargelower) = false;  // the side that stays
    warn_bound(t, t.prob, note, b, mode, i);
    store_bound(t, mode, i, prob_normalise(tol, b));
    return ok;
  });
}

int32_t ZLV_getbound(ZLV_task_t task, int32_t accmode, int32_t i, int32_t* bk, double* bl,
                     double* bu) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_acc(t, accmode); r != ok) return r;
    if (const rescode r = dat_index(t, acc(accmode), i, "i"); r != ok) return r;
    const prob_bound b = prob_getbound(t.prob, acc(accmode), i);
    if (bk != nullptr) *bk = b.key;
    if (bl != nullptr) *bl = b.lower;
    if (bu != nullptr) *bu = b.upper;
    return ok;
  });
}

int32_t ZLV_getboundslice(ZLV_task_t task, int32_t accmode, int32_t first, int32_t last,
                          int32_t* bk, double* bl, double* bu) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_acc(t, accmode); r != ok) return r;
    const acc mode = acc(accmode);
    if (const rescode r = dat_range(t, first, last, prob_count(t.prob, mode)); r != ok) return r;
    for (int32_t k = 0, i = first; i < last; ++i, ++k) {
      const prob_bound b = prob_getbound(t.prob, mode, i);
      if (bk != nullptr) bk[k] = b.key;
      if (bl != nullptr) bl[k] = b.lower;
      if (bu != nullptr) bu[k] = b.upper;
    }
    return ok;
  });
}

int32_t ZLV_putcj(ZLV_task_t task, int32_t j, double cj) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_index(t, acc::var, j, "j"); r != ok) return r;
    return put_cost(t, cj, 0, j, "cj");
  });
}

int32_t ZLV_putclist(ZLV_task_t task, int32_t num, const int32_t* subj, const double* val) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_array(t, subj, num, "subj"); r != ok) return r;
    if (const rescode r = dat_array(t, val, num, "val"); r != ok) return r;
    for (int32_t k = 0; k < num; ++k) {
      if (const rescode r = dat_arrindex(t, subj[k], k, t.prob.numvar, "subj"); r != ok) return r;
      if (const rescode r = put_cost(t, val[k], k, subj[k], "val"); r != ok) return r;
    }
    return ok;
  });
}

int32_t ZLV_putcfix(ZLV_task_t task, double cfix) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_finite(t, cfix, 0, "cfix"); r != ok) return r;
    t.prob.cfix = cfix;
    return ok;
  });
}

int32_t ZLV_getcfix(ZLV_task_t task, double* cfix) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, cfix, "cfix"); r != ok) return r;
    *cfix = t.prob.cfix;
    return ok;
  });
}

int32_t ZLV_getc(ZLV_task_t task, double* c) {
  return task_call(task, [=](task_rec& t) { return get_costs(t, 0, t.prob.numvar, c); });
}

int32_t ZLV_getcslice(ZLV_task_t task, int32_t first, int32_t last, double* c) {
  return task_call(task, [=](task_rec& t) { return get_costs(t, first, last, c); });
}
