// The simplex pipeline.

#include <utility>

#include "cpub/callback.h"
#include "optimize/optmirror.h"
#include "optimize/optpre.h"
#include "optimize/optslv.h"

namespace {

// Settings for the dual, whose feasibility is the other one and whose objective is the other's negative.
sim_settings mirror_settings(const sim_settings& set) {
  sim_settings other = set;
  std::swap(other.tolx, other.tols);
  std::swap(other.relx, other.rels);
  other.lowercut = -set.uppercut;
  other.uppercut = -set.lowercut;
  return other;
}

// The dual solved in place of lp. The basis that comes back is factored for lp, which as a rule finds it
// optimal and the point a little more precise, and is gone on from else.
rescode solve_mirror(const lp_view& lp, const opt_stage& stage, basic_point& at) {
  const mm_place place = mm_at(stage.mman);
  opt_mirror mirror(place);
  opt_makemirror(lp, mirror);
  basic_point dual(place);
  if (!at.basis.var.empty() || !at.basis.con.empty()) {
    opt_tomirror(lp, mirror, at.basis, dual.basis);
  }
  stage.info.simdual = stage.info.simflip = true;
  stage.mon.sim.log(1, "%-10s - %-22s : %-16s\n", "Optimizer", "solved problem", "the dual");
  const rescode r =
      opt_simplex(opt_mirrorview(mirror), stage, mirror_settings(stage.set.sim), dual);
  stage.info.simflip = false;
  for (double* objective : {&stage.info.sim.primobj, &stage.info.sim.dualobj}) *objective *= -1;
  opt_frommirror(lp, mirror, dual.basis, dual.point, at.basis, at.point);
  at.isfilled = true;
  const bool isstuck = r == rescode::trm_stall || r == rescode::trm_numerical_problem;
  const bool isray = opt_kindof(opt_statusof(at.point.verdict)) != opt_kind::point;
  if ((r != rescode::ok && !isstuck) || (isray && opt_isbasic(lp, stage.set.sim, at))) return r;
  const int32_t before = stage.info.sim.primiter + stage.info.sim.dualiter;
  const rescode again = opt_goon(lp, stage, at);
  if (stage.info.sim.primiter + stage.info.sim.dualiter > before) stage.info.simdual = false;
  return again;
}

rescode solve_form(const lp_view& lp, const opt_stage& stage, basic_point& at) {
  const opt_form form = stage.set.simform;
  const bool ishot = !at.basis.var.empty() || !at.basis.con.empty();
  const bool freely = form == opt_form::free && !ishot &&
                      stage.set.sim.method != sim_method::primal && opt_prefersmirror(lp);
  const bool forced = form == opt_form::dual && lp.numvar > 0;
  if (freely || forced) return solve_mirror(lp, stage, at);
  return opt_simplex(lp, stage, stage.set.sim, at);
}

rescode solve_presolved(const lp_view& lp, const opt_stage& stage, basic_point& at) {
  prslv_rec rec(mm_at(stage.mman));
  if (const rescode r = opt_presolve(lp, {}, false, stage, rec); r != rescode::ok) return r;
  if (rec.verdict == prslv_verdict::undecided) return solve_form(lp, stage, at);
  if (rec.verdict != prslv_verdict::reduced) {
    at.point.x.swap(rec.ray.x);
    at.point.y.swap(rec.ray.y);
    at.point.verdict =
        rec.verdict == prslv_verdict::infeas ? lp_verdict::priminfeas : lp_verdict::dualinfeas;
    opt_slackbasis(lp, at.basis);
    return rescode::ok;
  }
  rescode r = solve_form(prslv_look(rec), stage, at);
  if (r == rescode::ok && at.point.verdict == lp_verdict::none) {
    at.basis = lp_basis(mm_at(stage.mman));
    return solve_form(lp, stage, at);
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
  bool istrivial = false;
  const rescode r = stage.mon.phase(callback_code::begin_simplex, callback_code::end_simplex, [&] {
    sol.isdefined = true;
    istrivial = opt_trivialbasic(prob, lp, stage.mman, sol);
    if (istrivial) return rescode::ok;
    const bool ishot = !start.var.empty() || !start.con.empty();
    if (ishot) at.basis = start;
    return ishot ? solve_form(lp, stage, at) : solve_presolved(lp, stage, at);
  });
  if (istrivial) return r;
  if (at.basis.var.size() != size_t(lp.numvar) || at.basis.con.size() != size_t(lp.numcon)) {
    opt_slackbasis(lp, at.basis);  // stopped before there was one
    at.point.verdict = lp_verdict::none;
  }
  at.point.x.resize(lp.numvar);
  at.point.y.resize(lp.numcon);
  opt_fillbasic(prob, at.point, at.basis, opt_statusof(at.point.verdict), sol);
  return r;
}
