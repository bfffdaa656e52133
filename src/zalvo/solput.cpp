// Exported functions that store a caller's solution, whole or by entry: starts for the optimizers
// and points to be measured.
#include <algorithm>
#include <cmath>

#include "zalvo/frame.h"
#include "zalvo/solution.h"

namespace {

rescode chk_keys(task_rec& task, std::span<const int32_t> sk, rescode code) noexcept {
  for (size_t i = 0; i < sk.size(); ++i) {
    if (sk[i] < ZLV_SK_UNK || sk[i] > ZLV_SK_INF) return task_fail(task, code, sk[i], int32_t(i));
  }
  return rescode::ok;
}
rescode chk_values(task_rec& task, std::span<const double> values, const char* argument) noexcept {
  for (size_t i = 0; i < values.size(); ++i) {
    if (!std::isfinite(values[i])) {
      return task_fail(task, rescode::err_nan_in_double_data, argument, int32_t(i));
    }
  }
  return rescode::ok;
}

// What the caller passes for an item of a solution: count entries, none when the pointer is null or
// the solution type does not hold the item.
struct key_item {
  const int32_t* given;
  int32_t count;
  std::span<int32_t> sol_view::*item;
  rescode code;
  std::span<const int32_t> keys() const { return {given, given == nullptr ? 0U : size_t(count)}; }
};
struct value_item {
  const double* given;
  int32_t count;
  std::span<double> sol_view::*item;
  const char* name;
  std::span<const double> values() const { return {given, given == nullptr ? 0U : size_t(count)}; }
};

rescode put_items(task_rec& task, int32_t whichsol, std::span<const key_item> keys,
                  std::span<const value_item> values) {
  for (const key_item& k : keys) {
    if (const rescode r = chk_keys(task, k.keys(), k.code); r != rescode::ok) return r;
  }
  for (const value_item& v : values) {
    if (const rescode r = chk_values(task, v.values(), v.name); r != rescode::ok) return r;
  }
  sol_ensure(task, whichsol);
  const sol_view view = sol_items(task, whichsol);
  for (const key_item& k : keys) std::ranges::copy(k.keys(), (view.*k.item).begin());
  for (const value_item& v : values) std::ranges::copy(v.values(), (view.*v.item).begin());
  sol_define(task, whichsol, ZLV_PRO_STA_UNKNOWN, ZLV_SOL_STA_UNKNOWN);
  return rescode::ok;
}

template <class T>
void set(std::span<T> item, int32_t i, T value) noexcept {
  if (!item.empty()) item[size_t(i)] = value;
}

rescode chk_entry(task_rec& task, bool isvar, int32_t i, int32_t sk,
                  std::span<const double> values) noexcept {
  const int32_t count = isvar ? task.prob.numvar : task.prob.numcon;
  if (const rescode r = chk_index(task, i, count, "i"); r != rescode::ok) return r;
  if (sk < ZLV_SK_UNK || sk > ZLV_SK_INF) {
    return task_fail(task, isvar ? rescode::err_inv_skx : rescode::err_inv_skc, sk, i);
  }
  constexpr const char* names[] = {"x", "sl", "su", "sn"};
  for (size_t k = 0; k < values.size(); ++k) {
    if (std::isfinite(values[k])) continue;
    return task_fail(task, rescode::err_nan_in_double_data, names[k], i);
  }
  return rescode::ok;
}

}  // namespace

int32_t ZLV_putsolution(ZLV_task_t task, int32_t whichsol, const int32_t* skc,  // NOLINT: items
                        const int32_t* skx, const int32_t* skn, const double* xc, const double* xx,
                        const double* y, const double* slc, const double* suc, const double* slx,
                        const double* sux, const double* snx) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_whichsol(whichsol); r != rescode::ok)
      return task_fail(t, r, whichsol);
    const int32_t con = t.prob.numcon, var = t.prob.numvar;
    const bool isinterior = whichsol == ZLV_SOL_ITR, hasduals = whichsol != ZLV_SOL_ITG;
    const key_item keys[] = {
        {skc, con, &sol_view::skc, rescode::err_inv_skc},
        {skx, var, &sol_view::skx, rescode::err_inv_skx},
        {skn, isinterior ? t.prob.numcone : 0, &sol_view::skn, rescode::err_inv_skn}};
    const int32_t dualcon = hasduals ? con : 0, dualvar = hasduals ? var : 0;
    const value_item values[] = {
        {xc, con, &sol_view::xc, "xc"},        {xx, var, &sol_view::xx, "xx"},
        {y, dualcon, &sol_view::y, "y"},       {slc, dualcon, &sol_view::slc, "slc"},
        {suc, dualcon, &sol_view::suc, "suc"}, {slx, dualvar, &sol_view::slx, "slx"},
        {sux, dualvar, &sol_view::sux, "sux"}, {snx, isinterior ? var : 0, &sol_view::snx, "snx"}};
    return put_items(t, whichsol, keys, values);
  });
}

int32_t ZLV_putsolutioni(ZLV_task_t task, int32_t accmode, int32_t i,  // NOLINT: items
                         int32_t whichsol, int32_t sk, double x, double sl, double su, double sn) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_whichsol(whichsol); r != rescode::ok)
      return task_fail(t, r, whichsol);
    const bool isvar = accmode == ZLV_ACC_VAR;
    const double values[] = {x, sl, su, sn};
    if (const rescode r = chk_entry(t, isvar, i, sk, values); r != rescode::ok) return r;
    sol_ensure(t, whichsol);
    const sol_view view = sol_items(t, whichsol);
    set(isvar ? view.skx : view.skc, i, sk);
    set(isvar ? view.xx : view.xc, i, x);
    set(isvar ? view.slx : view.slc, i, sl);
    set(isvar ? view.sux : view.suc, i, su);
    if (isvar)
      set(view.snx, i, sn);
    else
      set(view.y, i, sl - su);
    sol_define(t, whichsol, ZLV_PRO_STA_UNKNOWN, ZLV_SOL_STA_UNKNOWN);
    return rescode::ok;
  });
}

int32_t ZLV_putsolutionyi(ZLV_task_t, int32_t, int32_t, int32_t, double) {
  return int32_t(rescode::ok);
}
