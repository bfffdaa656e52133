#include "optimize/optpre.h"

#include <algorithm>
#include <cmath>

#include "cpub/callback.h"
#include "misc/exactsum.h"

namespace {

double size_of(double bound) {
  return std::isfinite(bound) ? std::abs(bound) : 0;
}

// A dual value against the sides that can carry it: its violation, and what it adds to the objective.
struct dual_judge {
  double worst = 0;
  exact_sum objective;
  void add(double d, double lower, double upper) {
    const double bound = d > 0 ? lower : upper;
    if (std::isfinite(bound)) {
      objective.add(d * bound);
    } else {
      worst = std::max(worst, std::abs(d));
    }
    if (std::isnan(d)) worst = d;
  }
};

double outside(double v, double lower, double upper) {
  const double d = std::max(lower - v, v - upper);
  return d > 0 || std::isnan(v) ? (std::isnan(v) ? v : d) : 0;
}

struct primal_judge {
  double worst = 0, objective = 0;
};

primal_judge judge_primal(const lp_view& lp, const lp_point& point, bool isray) {
  auto side = [isray](double bound) { return isray && std::isfinite(bound) ? 0.0 : bound; };
  mm_vector<double> act(lp.numcon, 0.0, point.x.get_allocator().place);
  spmat_addax(lp.a, 1, point.x, act);
  primal_judge judged;
  exact_sum objective;
  if (!isray) objective.add(lp.cfix);
  auto worse = [&judged](double d) {
    if (!(d <= judged.worst)) judged.worst = d;
  };
  for (int32_t j = 0; j < lp.numvar; ++j) {
    objective.add(lp.c[j] * point.x[j]);
    worse(outside(point.x[j], side(lp.blx[j]), side(lp.bux[j])));
  }
  for (int32_t i = 0; i < lp.numcon; ++i) {
    worse(outside(act[i], side(lp.blc[i]), side(lp.buc[i])));
  }
  judged.objective = objective.value();
  return judged;
}

dual_judge judge_dual(const lp_view& lp, const lp_point& point, bool isray) {
  dual_judge judged;
  if (!isray) judged.objective.add(lp.cfix);
  for (int32_t i = 0; i < lp.numcon; ++i) judged.add(point.y[i], lp.blc[i], lp.buc[i]);
  for (int32_t j = 0; j < lp.numvar; ++j) {
    exact_sum z;
    if (!isray) z.add(lp.c[j]);
    for (ptrdiff_t p = lp.a.ptr[j]; p < lp.a.ptr[j + 1]; ++p) {
      z.add(-lp.a.val[p] * point.y[lp.a.sub[p]]);
    }
    judged.add(z.value(), lp.blx[j], lp.bux[j]);
  }
  return judged;
}

}  // namespace

opt_quality opt_judge(const lp_view& lp, const lp_point& point, opt_kind kind) {
  opt_quality q;
  const auto relative = [](double v, double scale) { return scale > 0 ? v / scale : INFINITY; };
  if (kind == opt_kind::dualray) {
    const dual_judge d = judge_dual(lp, point, true);
    q.dualscale = d.objective.value();
    q.dual = relative(d.worst, q.dualscale);
    return q;
  }
  const primal_judge p = judge_primal(lp, point, kind == opt_kind::primalray);
  if (kind == opt_kind::primalray) {
    q.primalscale = -p.objective;
    q.primal = relative(p.worst, q.primalscale);
    return q;
  }
  for (int32_t i = 0; i < lp.numcon; ++i) {
    q.primalscale = std::max({q.primalscale, 1 + size_of(lp.blc[i]), 1 + size_of(lp.buc[i])});
  }
  for (const double c : lp.c) q.dualscale = std::max(q.dualscale, 1 + std::abs(c));
  const dual_judge d = judge_dual(lp, point, false);
  q.primal = p.worst / q.primalscale;
  q.dual = d.worst / q.dualscale;
  q.gap = std::abs(p.objective - d.objective.value()) / (1 + std::abs(p.objective));
  return q;
}

bool opt_isgood(const opt_quality& q) {
  return q.primal <= opt_goodlimit && q.dual <= opt_goodlimit && q.gap <= opt_goodlimit;
}

bool opt_isgood(const lp_view& lp, const lp_point& point, opt_kind kind) {
  return opt_isgood(opt_judge(lp, point, kind));
}

void opt_slackbasis(const lp_view& lp, lp_basis& basis) {
  basis.con.assign(lp.numcon, lp_key::basic);
  basis.var.resize(lp.numvar);
  for (int32_t j = 0; j < lp.numvar; ++j) {
    const bool lower = std::isfinite(lp.blx[j]), upper = std::isfinite(lp.bux[j]);
    if (lower && lp.blx[j] == lp.bux[j]) {
      basis.var[j] = lp_key::fixed;
    } else if (lower) {
      basis.var[j] = lp_key::lower;
    } else {
      basis.var[j] = upper ? lp_key::upper : lp_key::superbasic;
    }
  }
}

bool opt_trivialbasic(const opt_problem& prob, const lp_view& lp, memman& mman, opt_solution& sol) {
  if (!opt_trivial(prob, sol)) return false;
  lp_basis basis(mm_at(mman));
  opt_slackbasis(lp, basis);
  const auto code = [](lp_key key) { return int32_t(key); };
  std::transform(basis.con.begin(), basis.con.end(), sol.skc.begin(), code);
  std::transform(basis.var.begin(), basis.var.end(), sol.skx.begin(), code);
  return true;
}

rescode opt_presolve(const lp_view& lp, std::span<const prslv_hold> held, bool forinterior,
                     const opt_stage& stage, prslv_rec& rec) {
  rec.verdict = prslv_verdict::undecided;
  if (!stage.set.prs.use) return rescode::ok;
  prslv_settings set = stage.set.prs;
  set.forinterior = forinterior;
  return stage.mon.phase(callback_code::begin_presolve, callback_code::end_presolve, [&] {
    const rescode r = prslv_reduce(lp, held, set, stage.mon.prs, stage.mman, rec);
    stage.info.prs = rec.info;
    return r;
  });
}
