// The way of a basic solution: from the interior one or a simplex optimizer back to the caller's
// problem.

#include <algorithm>
#include <cmath>

#include "cpub/callback.h"
#include "optimize/optpre.h"

namespace {

// A nonbasic variable so near to its bound, relative to 1 + its size, stands at it: rounding on the way
// back through postsolve.
constexpr double atbound = 1e-8;

bool is_at(double x, double bound) {
  return std::isfinite(bound) && std::abs(x - bound) <= atbound * (1 + std::abs(bound));
}

// Names the bounds of nonbasic variables; whether all stand at one, or at zero when they have none.
bool settle_keys(std::span<lp_key> keys, std::span<const double> value,
                 std::span<const double> lower, std::span<const double> upper) {
  bool isbasic = true;
  for (size_t k = 0; k < keys.size(); ++k) {
    lp_key& key = keys[k];
    if (key == lp_key::basic) continue;
    const bool low = is_at(value[k], lower[k]), upp = is_at(value[k], upper[k]);
    if (low && upp && lower[k] == upper[k]) {
      key = lp_key::fixed;
    } else if (low && !(upp && key == lp_key::upper)) {
      key = lp_key::lower;
    } else if (upp) {
      key = lp_key::upper;
    } else {
      key = lp_key::superbasic;
      isbasic = isbasic && std::isinf(lower[k]) && std::isinf(upper[k]) && value[k] == 0;
    }
  }
  return isbasic;
}

bool settle_basis(const lp_view& lp, basic_point& at) {
  mm_vector<double> act(lp.numcon, 0.0, at.point.x.get_allocator().place);
  spmat_addax(lp.a, 1, at.point.x, act);
  const bool rows = settle_keys(at.basis.con, act, lp.blc, lp.buc);
  return settle_keys(at.basis.var, at.point.x, lp.blx, lp.bux) && rows;
}

// The optimizer that finds less to do, when the caller leaves the choice.
sim_method clean_method(const opt_settings& set, const bas_info& info) {
  if (set.clean != sim_method::free) return set.clean;
  if (info.numdviol == 0) return sim_method::dual;
  if (info.numpviol == 0) return sim_method::primal;
  return info.numdviol < info.numpviol ? sim_method::primal : sim_method::dual;
}

rescode clean_up(const lp_view& lp, const opt_stage& stage, basic_point& at) {
  sim_settings set = stage.set.sim;
  set.method = clean_method(stage.set, stage.info.bi);
  set.hotstart = true;
  return stage.mon.phase(callback_code::begin_simplex_bi, callback_code::end_simplex_bi, [&] {
    return sim_optimize(lp, set, stage.mon.bi, stage.mman, stage.info.clean, at.basis, at.point);
  });
}

// The point of a stopped run is made that of its basis, without an iteration, unheard and unstoppable.
void look_again(const lp_view& lp, const opt_stage& stage, basic_point& at) {
  monitor quiet;
  quiet.clock = stage.mon.sim.clock;
  sim_settings set = stage.set.sim;
  set.hotstart = true;
  set.maxiter = 0;
  sim_info info;
  (void)sim_optimize(lp, set, quiet, stage.mman, info, at.basis, at.point);
}

void log_summary(const opt_stage& stage) {
  const monitor& mon = stage.mon.bi;
  const bas_info& bi = stage.info.bi;
  const sim_info& clean = stage.info.clean;
  mon.log(1, "Basis identification summary\n");
  mon.log(1, "%-10s - %-22s : %-16d  %-22s : %-16d\n", "Basis", "superbasics", bi.numsuper,
          "LU factorizations", bi.numfactor + clean.numfactor);
  mon.log(1, "%-10s - %-22s : %-16d  %-22s : %-16d\n", "Basis", "dual pushes", bi.dualiter,
          "pivots", bi.dualpivot);
  mon.log(1, "%-10s - %-22s : %-16d  %-22s : %-16d\n", "Basis", "primal pushes", bi.primaliter,
          "pivots", bi.primalpivot);
  mon.log(1, "%-10s - %-22s : %-16.1e  %-22s : %-16.1e\n", "Basis", "primal infeas.", bi.maxpviol,
          "dual infeas.", bi.maxdviol);
  mon.log(1, "%-10s - %-22s : %-16d\n", "Basis", "clean iterations",
          clean.primiter + clean.dualiter);
}

}  // namespace

namespace {

rescode identify(const lp_view& lp, const lp_point& interior, const opt_stage& stage,
                 basic_point& at) {
  bas_result found(mm_at(stage.mman));
  const bas_info& info = stage.info.bi;
  rescode r = bas_identify(lp, interior.x, interior.y, stage.set.bi, stage.mon.bi, stage.mman,
                           found, stage.info.bi);
  if (r != rescode::ok) return r;
  std::swap(at.basis, found.basis);
  at.point.x.swap(found.x);
  at.point.y.swap(found.y);
  at.point.verdict = lp_verdict::optimal;
  at.isfilled = true;
  if (info.numpviol > 0 || info.numdviol > 0) r = clean_up(lp, stage, at);
  log_summary(stage);
  return r;
}

}  // namespace

bool opt_isbasic(const lp_view& lp, const sim_settings& set, basic_point& at) {
  const opt_kind kind = opt_kindof(opt_statusof(at.point.verdict));
  const bool isbasic = kind != opt_kind::point || settle_basis(lp, at);
  if (at.point.verdict == lp_verdict::none || !isbasic) return false;
  const opt_quality q = opt_judge(lp, at.point, kind);
  const bool iswithin = kind != opt_kind::point ||
                        (q.primal * q.primalscale <= set.tolx && q.dual * q.dualscale <= set.tols);
  return opt_isgood(q) && iswithin;
}

rescode opt_simplex(const lp_view& lp, const opt_stage& stage, const sim_settings& set,
                    basic_point& at) {
  const rescode r =
      sim_optimize(lp, set, stage.mon.sim, stage.mman, stage.info.sim, at.basis, at.point);
  at.isfilled = true;
  return r;
}

rescode opt_goon(const lp_view& lp, const opt_stage& stage, basic_point& at) {
  sim_info& info = stage.info.sim;
  const bool primhot = info.primhot, dualhot = info.dualhot;
  sim_settings set = stage.set.sim;
  set.hotstart = true;
  const rescode r = opt_simplex(lp, stage, set, at);
  info.primhot = primhot;
  info.dualhot = dualhot;
  return r;
}

rescode opt_basind(const lp_view& lp, const lp_point& interior, const opt_stage& stage,
                   basic_point& at) {
  const timer clock = timer_start();
  return stage.mon.phase(callback_code::begin_bi, callback_code::end_bi, [&] {
    const rescode r = identify(lp, interior, stage, at);
    stage.info.bicputime = timer_cpu(clock);
    return r;
  });
}

rescode opt_finishbasic(const lp_view& lp, const prslv_rec& rec, const opt_stage& stage,
                        basic_point& at) {
  basic_point out(mm_at(stage.mman));
  const lp_verdict verdict = at.point.verdict;
  const opt_kind kind = opt_kindof(opt_statusof(verdict));
  if (kind == opt_kind::point) {
    prslv_postsolvebas(rec, at.point, at.basis, out.point, out.basis);
  } else {
    prslv_postsolve(rec, at.point, prslv_kind(kind), out.point);
    opt_slackbasis(lp, out.basis);
  }
  std::swap(at, out);
  at.isfilled = true;
  at.point.verdict = verdict;
  if (verdict == lp_verdict::none) {
    if (!settle_basis(lp, at)) look_again(lp, stage, at);
    return rescode::ok;
  }
  if (opt_isbasic(lp, stage.set.sim, at)) return rescode::ok;
  return opt_goon(lp, stage, at);
}
