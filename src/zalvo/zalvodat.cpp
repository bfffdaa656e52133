// Sizes of a problem: capacities, appending, and the checks that all problem-data functions share.
#include "zalvo/zalvodat.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

namespace {

using enum rescode;

// n + num + spare, as far as 32 bits go.
int32_t raised(int32_t n, int32_t num, int32_t spare) {
  const int64_t want = int64_t(n) + num;
  if (want > std::numeric_limits<int32_t>::max()) throw std::length_error("items");
  const int64_t room = std::max(spare, 0);
  return int32_t(std::min<int64_t>(want + room, std::numeric_limits<int32_t>::max()));
}

template <class F>
int32_t get_size(ZLV_task_t task, int32_t* out, const char* argument, F&& size) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, out, argument); r != ok) return r;
    *out = size(t.prob);
    return ok;
  });
}

}  // namespace

rescode dat_acc(task_rec& t, int32_t accmode) {
  if (accmode == ZLV_ACC_VAR || accmode == ZLV_ACC_CON) return ok;
  return task_fail(t, err_in_argument, "accmode");
}

rescode dat_item(task_rec& t, int32_t whichitem) {
  if (whichitem >= ZLV_PI_VAR && whichitem <= ZLV_PI_CONE) return ok;
  return task_fail(t, err_pro_item, whichitem);
}

int32_t dat_itemcount(const task_rec& t, int32_t whichitem) {
  if (whichitem == ZLV_PI_VAR) return t.prob.numvar;
  return whichitem == ZLV_PI_CON ? t.prob.numcon : t.prob.numcone;
}

rescode dat_arrindex(task_rec& t, int32_t value, int32_t k, int32_t count, const char* argument) {
  if (value < 0) return task_fail(t, err_index_arr_is_too_small, value, argument, k, 0);
  if (value >= count) return task_fail(t, err_index_arr_is_too_large, value, argument, k, count);
  return ok;
}

rescode dat_range(task_rec& t, int32_t first, int32_t last, int32_t count) {
  if (first < 0 || first > count) return task_fail(t, err_first, first);
  if (last < first || last > count) return task_fail(t, err_last, last);
  return ok;
}

rescode dat_finite(task_rec& t, double value, int32_t k, const char* argument) {
  if (std::isfinite(value)) return ok;
  return task_fail(t, err_nan_in_double_data, argument, k);
}

rescode dat_notnan(task_rec& t, double value, int32_t k, const char* argument) {
  if (!std::isnan(value)) return ok;
  return task_fail(t, err_nan_in_double_data, argument, k);
}

void dat_setmax(task_rec& t, int32_t maxnumcon, int32_t maxnumvar, int32_t maxnumcone) {
  const prob_rec& p = t.prob;
  if (maxnumcon == p.maxnumcon && maxnumvar == p.maxnumvar && maxnumcone == p.maxnumcone) return;
  prob_reservemax(t.prob, maxnumcon, maxnumvar, maxnumcone);
  sol_resize(t, maxnumcon, maxnumvar, maxnumcone);
  prob_setmax(t.prob, maxnumcon, maxnumvar, maxnumcone);
}

void dat_append(task_rec& t, acc mode, int32_t num) {
  const prob_rec& p = t.prob;
  const int32_t first = prob_count(p, mode);
  int32_t maxnumcon = p.maxnumcon;
  int32_t maxnumvar = p.maxnumvar;
  if (mode == acc::var && num > maxnumvar - first) {
    maxnumvar = raised(first, num, t.par.i[ipar::alloc_add_var]);
  }
  if (mode == acc::con && num > maxnumcon - first) {
    maxnumcon = raised(first, num, t.par.i[ipar::alloc_add_con]);
  }
  dat_setmax(t, maxnumcon, maxnumvar, p.maxnumcone);
  prob_append(t.prob, mode, num);
  sol_append(t, int32_t(mode), first, num);
}

void dat_replace(task_rec& t, prob_rec& aside) {
  // The new sizes and an empty solution store go together; nothing here can fail.
  for (int32_t whichsol = 0; whichsol < sol_count; ++whichsol) {
    sol_undefine(t, whichsol);
    t.sol.rec[whichsol] = sol_rec(mm_at(*t.mman));
  }
  prob_swap(t.prob, aside);
}

int32_t ZLV_append(ZLV_task_t task, int32_t accmode, int32_t num) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_acc(t, accmode); r != ok) return r;
    if (num < 0) return task_fail(t, err_negative_append, num);
    if (num > 0) dat_append(t, acc(accmode), num);
    return ok;
  });
}

int32_t ZLV_getnumvar(ZLV_task_t task, int32_t* numvar) {
  return get_size(task, numvar, "numvar", [](const prob_rec& p) { return p.numvar; });
}
int32_t ZLV_getnumcon(ZLV_task_t task, int32_t* numcon) {
  return get_size(task, numcon, "numcon", [](const prob_rec& p) { return p.numcon; });
}
int32_t ZLV_getnumcone(ZLV_task_t task, int32_t* numcone) {
  return get_size(task, numcone, "numcone", [](const prob_rec& p) { return p.numcone; });
}
int32_t ZLV_getnumanz(ZLV_task_t task, int32_t* numanz) {
  return get_size(task, numanz, "numanz", [](const prob_rec& p) { return prob_numanz(p); });
}
int32_t ZLV_getnumintvar(ZLV_task_t task, int32_t* numintvar) {
  return get_size(task, numintvar, "numintvar", [](const prob_rec& p) { return p.numintvar; });
}
int32_t ZLV_getmaxnumvar(ZLV_task_t task, int32_t* maxnumvar) {
  return get_size(task, maxnumvar, "maxnumvar", [](const prob_rec& p) { return p.maxnumvar; });
}
int32_t ZLV_getmaxnumcon(ZLV_task_t task, int32_t* maxnumcon) {
  return get_size(task, maxnumcon, "maxnumcon", [](const prob_rec& p) { return p.maxnumcon; });
}
int32_t ZLV_getmaxnumcone(ZLV_task_t task, int32_t* maxnumcone) {
  return get_size(task, maxnumcone, "maxnumcone", [](const prob_rec& p) { return p.maxnumcone; });
}
int32_t ZLV_getmaxnumanz(ZLV_task_t task, int32_t* maxnumanz) {
  return get_size(task, maxnumanz, "maxnumanz",
                  [](const prob_rec& p) { return prob_maxnumanz(p); });
}
int32_t ZLV_getmaxnumqnz(ZLV_task_t task, int32_t* maxnumqnz) {
  return get_size(task, maxnumqnz, "maxnumqnz", [](const prob_rec& p) { return p.maxnumqnz; });
}

int32_t ZLV_putmaxnumvar(ZLV_task_t task, int32_t maxnumvar) {
  return task_call(task, [=](task_rec& t) {
    if (maxnumvar < t.prob.numvar) return task_fail(t, err_maxnumvar, maxnumvar, t.prob.numvar);
    dat_setmax(t, t.prob.maxnumcon, maxnumvar, t.prob.maxnumcone);
    return ok;
  });
}

int32_t ZLV_putmaxnumcon(ZLV_task_t task, int32_t maxnumcon) {
  return task_call(task, [=](task_rec& t) {
    if (maxnumcon < t.prob.numcon) return task_fail(t, err_maxnumcon, maxnumcon, t.prob.numcon);
    dat_setmax(t, maxnumcon, t.prob.maxnumvar, t.prob.maxnumcone);
    return ok;
  });
}

int32_t ZLV_putmaxnumcone(ZLV_task_t task, int32_t maxnumcone) {
  return task_call(task, [=](task_rec& t) {
    if (maxnumcone < t.prob.numcone) return task_fail(t, err_maxnumcone, maxnumcone);
    dat_setmax(t, t.prob.maxnumcon, t.prob.maxnumvar, maxnumcone);
    return ok;
  });
}

int32_t ZLV_putmaxnumanz(ZLV_task_t task, int32_t maxnumanz) {
  return task_call(task, [=](task_rec& t) {
    const int32_t num = prob_numanz(t.prob);
    if (maxnumanz < num) return task_fail(t, err_maxnumanz, maxnumanz, num);
    probmat_setcap(prob_mat(t.prob), maxnumanz);
    return ok;
  });
}

int32_t ZLV_putmaxnumqnz(ZLV_task_t task, int32_t maxnumqnz) {
  return task_call(task, [=](task_rec& t) {
    if (maxnumqnz < prob_qused(t.prob)) return task_fail(t, err_maxnumqnz);
    if (maxnumqnz != t.prob.maxnumqnz) prob_qsetcap(t.prob, maxnumqnz);
    return ok;
  });
}
