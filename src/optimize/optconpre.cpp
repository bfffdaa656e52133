#include "optimize/optconpre.h"

#include <algorithm>

#include "misc/exactsum.h"
#include "optimize/optfreed.h"
#include "optimize/optpre.h"
#include "zalvo.h"

namespace {

// A violation on the problem may be this much above the limit of good ones, but not this much above
// what it was before the way back through postsolve.
constexpr double lostfactor = 1e1;

// What presolve sees: a minimization whose members are held, with the signs of heads as bounds.
struct held_problem {
  opt_lp own;  // the members with their own bounds
  mm_vector<double> blx;
  mm_vector<prslv_hold> held;
  bool isempty = false;  // a head's own bounds contradict its sign
  explicit held_problem(mm_place at) : own(at), blx(at), held(at) {}
};

void hold_members(const opt_conic_problem& prob, held_problem& out) {
  opt_makelp(prob.lp, out.own);
  out.blx = out.own.blx;
  out.held.assign(prob.lp.numvar, prslv_hold::none);
  for (const opt_cone& cone : prob.cones) {
    for (size_t k = 0; k < cone.sub.size(); ++k) {
      const int32_t j = cone.sub[k];
      out.held[j] = prslv_hold::all;
      if (!opt_ishead(cone, k)) continue;
      out.blx[j] = std::max(out.blx[j], 0.0);
      out.isempty = out.isempty || out.own.bux[j] < 0;
    }
  }
}

lp_view look(const held_problem& from) {
  lp_view view = opt_lpview(from.own);
  view.blx = from.blx;
  return view;
}

// What presolve left, as a conic problem, and its solution.
struct reduced_problem {
  mm_vector<double> blx;
  opt_keyed keyed;
  mm_vector<int32_t> member;
  mm_vector<opt_cone> cones;
  opt_conic_problem view;
  explicit reduced_problem(mm_place at) : blx(at), keyed(at), member(at), cones(at) {}
};

void take_reduced(const opt_conic_problem& prob, const held_problem& from, const prslv_rec& rec,
                  reduced_problem& out) {
  lp_view lp = prslv_look(rec);
  out.blx.assign(lp.blx.begin(), lp.blx.end());
  size_t nummember = 0;
  for (const opt_cone& cone : prob.cones) {
    nummember += cone.sub.size();
    for (const int32_t j : cone.sub) out.blx[rec.redvar[j]] = from.own.blx[j];
  }
  lp.blx = out.blx;
  out.view.lp = opt_addkeys(lp, out.keyed);
  out.member.reserve(nummember);
  out.cones.reserve(prob.cones.size());
  for (const opt_cone& cone : prob.cones) {
    const size_t first = out.member.size();
    for (const int32_t j : cone.sub) out.member.push_back(rec.redvar[j]);
    out.cones.push_back({cone.type, std::span(out.member).subspan(first)});
  }
  out.view.cones = out.cones;
}

struct reduced_solution {
  opt_freedsol lp;
  mm_vector<double> snx;
  mm_vector<int32_t> skn;
  opt_conic_solution view;
  reduced_solution(const opt_conic_problem& prob, mm_place at)
      : lp(prob.lp, at), snx(prob.lp.numvar, 0.0, at), skn(prob.cones.size(), ZLV_SK_UNK, at) {
    view.lp = lp.view;
    view.snx = snx;
    view.skn = skn;
  }
};

// All that the stages share.
struct conic_run {
  const opt_conic_problem& prob;
  const opt_stage& stage;
  held_problem whole;
  opt_freed freed;  // prob with free members
  prslv_rec rec;
  conic_run(const opt_conic_problem& problem, const opt_stage& stg, mm_place at)
      : prob(problem), stage(stg), whole(at), freed(at), rec(at) {}
};

// Reduced costs of the members: what is their cones'.
void cone_duals(const opt_freed& freed, const opt_lp& lp, const lp_point& point, bool isray,
                mm_vector<double>& z) {
  z.assign(freed.incone.size(), 0.0);
  for (size_t j = 0; j < z.size(); ++j) {
    if (freed.incone[j] == 0) continue;
    exact_sum sum;
    if (!isray) sum.add(lp.c[j]);
    for (ptrdiff_t p = lp.a.ptr[j]; p < lp.a.ptr[j + 1]; ++p) {
      sum.add(-lp.a.val[p] * point.y[lp.a.sub[p]]);
    }
    z[j] = sum.value();
  }
}

// Violations of a point of a problem with free members, by rows, columns and cones.
opt_quality judge(const opt_freed& freed, std::span<const opt_cone> cones, const lp_point& point,
                  opt_kind kind) {
  const mm_place at = point.x.get_allocator().place;
  opt_lp own(at);
  opt_makelp(freed.view, own);
  const lp_view lp = opt_lpview(own);
  const double primal = opt_judge(lp, point, kind).primal;
  mm_vector<double> z(at);
  if (kind != opt_kind::primalray) {
    cone_duals(freed, own, point, kind == opt_kind::dualray, z);
  }
  for (size_t j = 0; j < freed.incone.size(); ++j) {
    if (freed.incone[j] != 0) own.blx[j] = own.bux[j] = 0;
  }
  opt_quality q = opt_judge(lp, point, kind);
  q.primal = primal;
  for (const opt_cone& cone : cones) {
    if (kind != opt_kind::dualray) {
      q.primal = std::max(q.primal, opt_coneshort(cone, point.x) / q.primalscale);
    }
    if (kind != opt_kind::primalray) {
      q.dual = std::max(q.dual, opt_coneshort(cone, z) / q.dualscale);
    }
  }
  return q;
}

// Whether a point keeps what its status says, or nearly, when the optimizer had no better one.
bool is_kept(const opt_quality& now, const opt_quality& before) {
  const auto kept = [](double v, double was) {
    return v <= opt_goodlimit || (v <= lostfactor * opt_goodlimit && v <= lostfactor * was);
  };
  return kept(now.primal, before.primal) && kept(now.dual, before.dual) &&
         kept(now.gap, before.gap);
}

// Multipliers of the rows of members' bounds from those of the bounds.
//   redvar  where a column is in from; empty: at its place
void bound_multipliers(const opt_freed& freed, const opt_solution& from,
                       std::span<const int32_t> redvar, lp_point& point) {
  point.y.resize(freed.bkc.size(), 0.0);
  for (size_t j = 0; j < freed.boundrow.size(); ++j) {
    const int32_t row = freed.boundrow[j];
    const size_t jj = redvar.empty() ? j : size_t(redvar[j]);
    if (row >= 0) point.y[row] = from.slx[jj] - from.sux[jj];
  }
}

// Multipliers of the rows of members' bounds for a certificate of presolve, to which the sign of a
// head was a bound as well: they carry the reduced costs that are not a head's with its sign.
void bound_multipliers(const conic_run& run, lp_point& point) {
  const spmat_view& a = run.prob.lp.a;
  point.y.resize(run.freed.bkc.size(), 0.0);
  for (const opt_cone& cone : run.prob.cones) {
    for (size_t k = 0; k < cone.sub.size(); ++k) {
      const int32_t j = cone.sub[k], row = run.freed.boundrow[j];
      if (row < 0) continue;
      exact_sum z;
      for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) z.add(-a.val[p] * point.y[a.sub[p]]);
      const bool issign = opt_ishead(cone, k) && z.value() > 0 && !(run.whole.own.blx[j] > 0);
      if (!issign) point.y[row] = z.value();
    }
  }
}

void store(const conic_run& run, const lp_point& point, opt_status status,
           opt_conic_solution& sol) {
  opt_freedsol found(run.freed.view, mm_at(run.stage.mman));
  opt_fill(run.freed.view, point, status, found.view);
  opt_takefreed(run.prob, run.freed, found, sol);
  sol.lp.isdefined = true;
}

// The certificate that presolve found.
void store_ray(conic_run& run, opt_conic_solution& sol) {
  const bool infeas = run.rec.verdict == prslv_verdict::infeas;
  lp_point& ray = run.rec.ray;
  ray.x.resize(run.prob.lp.numvar, 0.0);
  ray.y.resize(run.prob.lp.numcon, 0.0);
  if (infeas) bound_multipliers(run, ray);
  ray.y.resize(run.freed.bkc.size(), 0.0);
  store(run, ray, opt_statusof(infeas ? lp_verdict::priminfeas : lp_verdict::dualinfeas), sol);
}

bool is_verdict(opt_status status) {
  return status.solsta == ZLV_SOL_STA_OPTIMAL || status.solsta == ZLV_SOL_STA_PRIM_INFEAS_CER ||
         status.solsta == ZLV_SOL_STA_DUAL_INFEAS_CER;
}

// The reduced problem solved, and its solution taken back.
//   isanswer  out: it is one of the problem too, or the run was stopped
rescode solve_reduced(const conic_run& run, opt_conic_solution& sol, bool& isanswer) {
  const opt_stage& stage = run.stage;
  const mm_place at = mm_at(stage.mman);
  reduced_problem red(at);
  take_reduced(run.prob, run.whole, run.rec, red);
  reduced_solution from(red.view, at);
  from.view.keeppoint = sol.keeppoint;
  const rescode r =
      opt_conslv(red.view, stage.set.ipm, stage.mon.ipm, stage.mman, stage.info.ipm, from.view);
  const bool isended = r == rescode::ok || r == rescode::trm_stall;
  isanswer = !isended;
  const opt_solution& inner = from.view.lp;
  if (!inner.isdefined) return r;
  const opt_status status = {inner.prosta, inner.solsta};
  const opt_kind kind = opt_kindof(status);
  lp_point before(at), point(at);
  before.x.assign(inner.xx.begin(), inner.xx.end());
  before.y.assign(inner.y.begin(), inner.y.end());
  prslv_postsolve(run.rec, before, prslv_kind(kind), point);
  bound_multipliers(run.freed, inner, run.rec.redvar, point);
  if (isended && !is_verdict(status)) return r;
  if (isended) {
    opt_freed redfreed(at);
    opt_freemembers(red.view, redfreed);
    bound_multipliers(redfreed, inner, {}, before);
    isanswer = is_kept(judge(run.freed, run.prob.cones, point, kind),
                       judge(redfreed, red.view.cones, before, kind));
    if (!isanswer) return r;
  }
  store(run, point, status, sol);
  if (sol.keeppoint && kind == opt_kind::dualray) {  // beside the certificate: the last point
    before.y.resize(red.view.lp.numcon);
    prslv_postsolve(run.rec, before, prslv_kind::point, point);
    std::copy(point.x.begin(), point.x.end(), sol.lp.xx.begin());
  }
  return r;
}

}  // namespace

rescode opt_conpreslv(const opt_conic_problem& prob, const opt_stage& stage,
                      opt_conic_solution& sol) {
  const mm_place at = mm_at(stage.mman);
  const auto plainly = [&] {
    return opt_conslv(prob, stage.set.ipm, stage.mon.ipm, stage.mman, stage.info.ipm, sol);
  };
  if (!stage.set.prs.use) return plainly();
  conic_run run(prob, stage, at);
  opt_freemembers(prob, run.freed);
  hold_members(prob, run.whole);
  opt_freedsol trivial(run.freed.view, at);
  if (run.whole.isempty || opt_trivial(run.freed.view, trivial.view)) return plainly();
  rescode r = opt_presolve(look(run.whole), run.whole.held, true, stage, run.rec);
  if (r != rescode::ok) return r;
  if (opt_tooknothing(run.rec)) return plainly();
  if (run.rec.verdict != prslv_verdict::reduced) {
    store_ray(run, sol);
    return rescode::ok;
  }
  bool isanswer = false;
  r = solve_reduced(run, sol, isanswer);
  if (isanswer) return r;
  stage.mon.ipm.log(2, "The presolved problem gave no proof: solving without presolve.\n");
  prslv_unreduce(run.rec);
  return plainly();
}
