// The simplex pipeline.

#include "cpub/callback.h"
#include "optimize/optpre.h"
#include "optimize/optslv.h"

namespace {

rescode solve_presolved(const lp_view& lp, const opt_stage& stage, basic_point& at) {
  prslv_rec rec(mm_at(stage.mman));
  if (const rescode r = opt_presolve(lp, {}, false, stage, rec); r != rescode::ok) return r;
  if (rec.verdict == prslv_verdict::undecided) return opt_simplex(lp, stage, at);
  if (rec.verdict != prslv_verdict::reduced) {
    at.point.x.swap(rec.ray.x);
    at.point.y.swap(rec.ray.y);
    at.point.verdict =
        rec.verdict == prslv_verdict::infeas ? lp_verdict::priminfeas : lp_verdict::dualinfeas;
    opt_slackbasis(lp, at.basis);
    return rescode::ok;
  }
  rescode r = opt_simplex(prslv_look(rec), stage, at);
  if (r == rescode::ok && at.point.verdict == lp_verdict::none) {
    at.basis = lp_basis(mm_at(stage.mman));
    return opt_simplex(lp, stage, at);
  }
  if (at.basis.var.empty() && at.basis.con.empty() && prslv_look(rec).numvar > 0) return r;
  const rescode back = opt_finishbasic(lp, rec, stage, at);
  return r == rescode::ok ? back : r;
}

}  // namespace

rescode opt_simslv(const opt_problem& prob, const opt_stage& stage, const lp_basis& start,
                   opt_solution& sol) {
  opt_lp own(mm_at(stage.mman));
  opt_makelp(prob, own);
  const lp_view lp = opt_lpview(own);
  basic_point at(mm_at(stage.mman));
  rescode r = stage.mon.announce(callback_code::begin_simplex);
  sol.isdefined = r == rescode::ok;
  if (r == rescode::ok) {
    const bool ishot = !start.var.empty() || !start.con.empty();
    if (ishot) at.basis = start;
    r = ishot ? opt_simplex(lp, stage, at) : solve_presolved(lp, stage, at);
  }
  if (at.basis.var.size() != size_t(lp.numvar) || at.basis.con.size() != size_t(lp.numcon)) {
    opt_slackbasis(lp, at.basis);  // stopped before there was one
    at.point.verdict = lp_verdict::none;
  }
  at.point.x.resize(lp.numvar);
  at.point.y.resize(lp.numcon);
  opt_fillbasic(prob, at.point, at.basis, opt_statusof(at.point.verdict), sol);
  const rescode end = stage.mon.announce(callback_code::end_simplex, r);
  return r == rescode::ok ? end : r;
}
