// Exported functions that define, undefine and read solutions: whole, by item or by entry.
#include <algorithm>

#include "zalvo/frame.h"
#include "zalvo/solution.h"

namespace {

template <class T>
void copy_out(std::span<const T> item, T* out) noexcept {
  if (out != nullptr) std::ranges::copy(item, out);
}

// entry: an item that the solution type does not hold reads as 0.
template <class T>
T entry(std::span<T> item, int32_t i) noexcept {
  return item.empty() ? T{} : item[size_t(i)];
}
template <class T>
void put_out(T value, T* out) noexcept {
  if (out != nullptr) *out = value;
}

struct slice_item {
  std::span<const double> values;
  int32_t count = 0;    // of the current items, whether or not they are stored
  bool isheld = false;  // by a solution of this type
};
slice_item item_of(task_rec& task, int32_t whichsol, int32_t solitem) noexcept {
  const sol_view view = sol_items(task, whichsol);
  const int32_t con = task.prob.numcon, var = task.prob.numvar;
  const bool hasduals = whichsol != ZLV_SOL_ITG;
  switch (solitem) {
    case ZLV_SOL_ITEM_XC:
      return {view.xc, con, true};
    case ZLV_SOL_ITEM_XX:
      return {view.xx, var, true};
    case ZLV_SOL_ITEM_Y:
      return {view.y, con, hasduals};
    case ZLV_SOL_ITEM_SLC:
      return {view.slc, con, hasduals};
    case ZLV_SOL_ITEM_SUC:
      return {view.suc, con, hasduals};
    case ZLV_SOL_ITEM_SLX:
      return {view.slx, var, hasduals};
    case ZLV_SOL_ITEM_SUX:
      return {view.sux, var, hasduals};
    default:
      return {view.snx, var, whichsol == ZLV_SOL_ITR};
  }
}

}  // namespace

int32_t ZLV_solutiondef(ZLV_task_t task, int32_t whichsol, int32_t* isdef) {
  if (isdef != nullptr) *isdef = 0;
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_whichsol(whichsol); r != rescode::ok) return r;
    if (isdef == nullptr) return task_fail(t, rescode::err_null_pointer, "isdef");
    *isdef = sol_isdef(t, whichsol) ? 1 : 0;
    return rescode::ok;
  });
}

int32_t ZLV_undefsolution(ZLV_task_t task, int32_t whichsol) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_whichsol(whichsol); r != rescode::ok)
      return task_fail(t, r, whichsol);
    sol_undefine(t, whichsol);
    return rescode::ok;
  });
}

int32_t ZLV_deletesolution(ZLV_task_t task, int32_t whichsol) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_whichsol(whichsol); r != rescode::ok) return r;
    sol_free(t, whichsol);
    return rescode::ok;
  });
}

int32_t ZLV_makesolutionstatusunknown(ZLV_task_t task, int32_t whichsol) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_whichsol(whichsol); r != rescode::ok) return r;
    t.sol.rec[whichsol].prosta = ZLV_PRO_STA_UNKNOWN;
    t.sol.rec[whichsol].solsta = ZLV_SOL_STA_UNKNOWN;
    return rescode::ok;
  });
}

int32_t ZLV_getsolutionstatus(ZLV_task_t task, int32_t whichsol, int32_t* prosta, int32_t* solsta) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_whichsol(whichsol); r != rescode::ok) return r;
    put_out(t.sol.rec[whichsol].prosta, prosta);
    put_out(t.sol.rec[whichsol].solsta, solsta);
    return rescode::ok;
  });
}

int32_t ZLV_getsolution(ZLV_task_t task, int32_t whichsol, int32_t* prosta,  // NOLINT: items
                        int32_t* solsta, int32_t* skc, int32_t* skx, int32_t* skn, double* xc,
                        double* xx, double* y, double* slc, double* suc, double* slx, double* sux,
                        double* snx) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_soldef(t, whichsol); r != rescode::ok) return r;
    put_out(t.sol.rec[whichsol].prosta, prosta);
    put_out(t.sol.rec[whichsol].solsta, solsta);
    const sol_view view = sol_items(t, whichsol);
    copy_out<int32_t>(view.skc, skc);
    copy_out<int32_t>(view.skx, skx);
    copy_out<int32_t>(view.skn, skn);
    copy_out<double>(view.xc, xc);
    copy_out<double>(view.xx, xx);
    copy_out<double>(view.y, y);
    copy_out<double>(view.slc, slc);
    copy_out<double>(view.suc, suc);
    copy_out<double>(view.slx, slx);
    copy_out<double>(view.sux, sux);
    copy_out<double>(view.snx, snx);
    return rescode::ok;
  });
}

int32_t ZLV_getsolutioni(ZLV_task_t task, int32_t accmode, int32_t i,  // NOLINT: items
                         int32_t whichsol, int32_t* sk, double* x, double* sl, double* su,
                         double* sn) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_soldef(t, whichsol); r != rescode::ok) return r;
    const bool isvar = accmode == ZLV_ACC_VAR;
    const int32_t count = isvar ? t.prob.numvar : t.prob.numcon;
    if (const rescode r = chk_index(t, i, count, "i"); r != rescode::ok) return r;
    const sol_view view = sol_items(t, whichsol);
    put_out(entry(isvar ? view.skx : view.skc, i), sk);
    put_out(entry(isvar ? view.xx : view.xc, i), x);
    put_out(entry(isvar ? view.slx : view.slc, i), sl);
    put_out(entry(isvar ? view.sux : view.suc, i), su);
    if (!isvar) {
      put_out(0.0, sn);
    } else if (sn != nullptr) {  // the cone dual is delivered in su; sn only asks for it
      put_out(entry(view.snx, i), su);
    }
    return rescode::ok;
  });
}

int32_t ZLV_getsolutionslice(ZLV_task_t task, int32_t whichsol, int32_t solitem, int32_t first,
                             int32_t last, double* values) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_soldef(t, whichsol); r != rescode::ok) return r;
    if (solitem < ZLV_SOL_ITEM_XC || solitem > ZLV_SOL_ITEM_SNX) {
      return task_fail(t, rescode::err_solitem, solitem);
    }
    const slice_item item = item_of(t, whichsol, solitem);
    if (!item.isheld) {
      return task_fail(t, rescode::err_whichitem_not_allowed, solitem, whichsol);
    }
    if (first < 0 || first > item.count) return task_fail(t, rescode::err_first, first);
    if (last < first || last > item.count) return task_fail(t, rescode::err_last, last);
    if (first == last) return rescode::ok;
    if (const rescode r = chk_pointer(t, values, "values"); r != rescode::ok) return r;
    if (item.values.empty())
      std::fill_n(values, last - first, 0.0);  // its storage was deleted
    else
      std::ranges::copy(item.values.subspan(size_t(first), size_t(last - first)), values);
    return rescode::ok;
  });
}
