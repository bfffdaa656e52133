// Exported functions that measure a solution on the problem.
#include "zalvo/frame.h"
#include "zalvo/solmeasure.h"

namespace {

// chk_stored: as chk_soldef; a solution whose storage was deleted counts as undefined here.
rescode chk_stored(task_rec& task, int32_t whichsol) noexcept {
  if (const rescode r = chk_soldef(task, whichsol); r != rescode::ok) return r;
  if (task.sol.rec[whichsol].isallocated) return rescode::ok;
  return task_fail(task, rescode::err_undef_solution, whichsol);
}

template <class T>
void put_out(T value, T* out) noexcept {
  if (out != nullptr) *out = value;
}

}  // namespace

int32_t ZLV_getsolutioninf(ZLV_task_t task, int32_t whichsol, int32_t* prosta,  // NOLINT: items
                           int32_t* solsta, double* primalobj, double* maxpbi, double* maxpcni,
                           double* maxpeqi, double* maxinti, double* dualobj, double* maxdbi,
                           double* maxdcni, double* maxdeqi) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_stored(t, whichsol); r != rescode::ok) return r;
    sol_measures m;
    sol_measure(t, whichsol, m);
    put_out(m.prosta, prosta);
    put_out(m.solsta, solsta);
    put_out(m.primalobj, primalobj);
    put_out(m.maxpbi, maxpbi);
    put_out(m.maxpcni, maxpcni);
    put_out(m.maxpeqi, maxpeqi);
    put_out(m.maxinti, maxinti);
    put_out(m.dualobj, dualobj);
    put_out(m.maxdbi, maxdbi);
    put_out(m.maxdcni, maxdcni);
    put_out(m.maxdeqi, maxdeqi);
    return rescode::ok;
  });
}

int32_t ZLV_getprimalobj(ZLV_task_t task, int32_t whichsol, double* primalobj) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_stored(t, whichsol); r != rescode::ok) return r;
    if (const rescode r = chk_pointer(t, primalobj, "primalobj"); r != rescode::ok) return r;
    *primalobj = sol_primalobj(t, whichsol);
    return rescode::ok;
  });
}

int32_t ZLV_getdualobj(ZLV_task_t task, int32_t whichsol, double* dualobj) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_stored(t, whichsol); r != rescode::ok) return r;
    if (whichsol == ZLV_SOL_ITG) return task_fail(t, rescode::err_y_is_undefined);
    if (const rescode r = chk_pointer(t, dualobj, "dualobj"); r != rescode::ok) return r;
    *dualobj = sol_dualobj(t, whichsol);
    return rescode::ok;
  });
}
