// The simplex pipeline.

#include "cpub/callback.h"
#include "optimize/optpre.h"
#include "optimize/optslv.h"

namespace {

struct basic_point {
  lp_basis basis;
  lp_point point;
  explicit basic_point(mm_place place) : basis(place), point(place) {}
};

rescode run_simplex(const lp_view& lp, const opt_stage& stage, basic_point& at) {
  return sim_optimize(lp, stage.set.sim, stage.mon.sim, stage.mman, stage.info.sim, at.basis,
                      at.point);
}

opt_kind kind_of(lp_verdict verdict) {
  return opt_kindof(opt_statusof(verdict));
}

// A basic point of the reduced problem as one of lp. Iterations follow on lp itself when it is not as
// good there.
rescode take_back(const lp_view& lp, const prslv_rec& rec, const opt_stage& stage,
                  basic_point& at) {
  basic_point out(mm_at(stage.mman));
  const lp_verdict verdict = at.point.verdict;
  const opt_kind kind = kind_of(verdict);
  if (kind == opt_kind::point) {
    prslv_postsolvebas(rec, at.point, at.basis, out.point, out.basis);
  } else {
    prslv_postsolve(rec, at.point, prslv_kind(kind), out.point);
    opt_slackbasis(lp, out.basis);
  }
  std::swap(at, out);
  at.point.verdict = verdict;
  if (verdict == lp_verdict::none || opt_isgood(lp, at.point, kind)) return rescode::ok;
  return run_simplex(lp, stage, at);
}

rescode solve_presolved(const lp_view& lp, const opt_stage& stage, basic_point& at) {
  prslv_rec rec(mm_at(stage.mman));
  if (const rescode r = opt_presolve(lp, {}, false, stage, rec); r != rescode::ok) return r;
  if (rec.verdict == prslv_verdict::undecided) return run_simplex(lp, stage, at);
  if (rec.verdict != prslv_verdict::reduced) {
    at.point.x.swap(rec.ray.x);
    at.point.y.swap(rec.ray.y);
    at.point.verdict =
        rec.verdict == prslv_verdict::infeas ? lp_verdict::priminfeas : lp_verdict::dualinfeas;
    opt_slackbasis(lp, at.basis);
    return rescode::ok;
  }
  rescode r = run_simplex(prslv_look(rec), stage, at);
  if (r == rescode::ok && at.point.verdict == lp_verdict::none) {
    at.basis = lp_basis(mm_at(stage.mman));
    return run_simplex(lp, stage, at);
  }
  if (at.basis.var.empty() && at.basis.con.empty() && prslv_look(rec).numvar > 0) return r;
  const rescode back = take_back(lp, rec, stage, at);
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
    r = ishot ? run_simplex(lp, stage, at) : solve_presolved(lp, stage, at);
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
