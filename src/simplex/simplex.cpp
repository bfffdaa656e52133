#include "simplex/simplex.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "cpub/callback.h"
#include "simplex/simcore.h"
#include "simplex/simcrash.h"
#include "simplex/simdual.h"
#include "simplex/simprimal.h"

namespace {

// Turns of either method that a run may take before it is given up.
constexpr int32_t opt_maxturn = 12;
// The iteration works to tolerances so much smaller than asked for, so that unscaling leaves room;
// when it does not, they shrink by the step down to the least.
constexpr double opt_tolshare = 0.1, opt_tolstep = 0.1, opt_leasttol = 1e-9;

// Scaled violations up to this may be none in the caller's units.
constexpr double opt_nearly = 1e-5;
// Turns in a row without an iteration before an attempt is given up.
constexpr int32_t opt_maxidle = 4;
// Attempts after the first, setbacks of each but the last, and their threshold of factorizations.
constexpr int32_t opt_maxagain = 2, opt_setbacks = 50;
constexpr double opt_carefulpivrel = 0.5;

// A crash basis may have this many times the infeasibility of the logical one.
constexpr double opt_worsecrash = 1e10;

// Where the choice is free, the primal simplex begins with at most this share of rows infeasible, so
// many columns for a row, and at least this share of columns with a wrong sign.
constexpr double opt_fewinfeas = 0.01, opt_mostcolumns = 5, opt_manywrong = 0.1;

sim_method other_method(sim_method method) {
  return method == sim_method::primal ? sim_method::dual : sim_method::primal;
}

sim_end run_method(sim_state& st, sim_method method, bool mayperturb) {
  const bool isprimal = method == sim_method::primal;
  st.info.running = method;
  const double t0 = timer_cpu(st.mon.clock);
  sim_end end = sim_end::stopped;
  const auto work = [&] {
    using namespace callback_code;
    const rescode r = sim_poll(st, isprimal ? primal_simplex : dual_simplex);
    if (r == rescode::ok) end = isprimal ? sim_primal(st, mayperturb) : sim_dual(st, mayperturb);
    (isprimal ? st.info.primtime : st.info.dualtime) += timer_cpu(st.mon.clock) - t0;
    return r;
  };
  const auto tell = [&](monitor_where where, rescode) { return sim_poll(st, where); };
  using namespace callback_code;
  const rescode r = isprimal ? monitor_phase(tell, begin_primal_simplex, end_primal_simplex, work)
                             : monitor_phase(tell, begin_dual_simplex, end_dual_simplex, work);
  const bool isproved = end == sim_end::priminfeas || end == sim_end::dualinfeas;
  return r != rescode::ok && !isproved ? sim_end::stopped : end;
}

// The method to begin with. A given start that is feasible on one side only decides. Without one, the
// logical basis does: the primal simplex where that is nearly feasible, many reduced costs have signs
// that no flip repairs, and columns are not so many that pricing them all costs too much.
sim_method first_method(const sim_state& st, bool ishot) {
  if (st.set.method != sim_method::free) return st.set.method;
  const sim_measures s = sim_measure(st);
  if (ishot) return s.numprim == 0 && s.numdual > 0 ? sim_method::primal : sim_method::dual;
  if (s.numprim > opt_fewinfeas * st.m || st.n > opt_mostcolumns * st.m) return sim_method::dual;
  int32_t numwrong = 0;
  for (int32_t j = 0; j < st.n; ++j) {
    numwrong += (st.d[j] < -st.tols && !std::isfinite(st.up0[j])) ||
                (st.d[j] > st.tols && !std::isfinite(st.lo0[j]));
  }
  return numwrong > opt_manywrong * st.n ? sim_method::primal : sim_method::dual;
}

// Factors and values of the present basis.
rescode compute(sim_state& st) {
  const rescode r = sim_factorize(st);
  if (r != rescode::ok) return r;
  sim_primals(st);
  sim_duals(st);
  return r;
}

// Puts columns in place of logicals; for the primal simplex unless these are feasible: then phase 2
// begins better without. A crash that makes things much worse is taken back: along a chain of columns
// values can grow without end.
rescode take_crash(sim_state& st, sim_method method) {
  const double t0 = timer_cpu(st.mon.clock);
  mm_vector<int32_t> colofrow(mm_at(st.mman));
  const bool fordual = method != sim_method::primal;
  const int32_t trh = fordual ? st.set.dualcrash : st.set.primcrash;
  const double before = sim_measure(st).sumprim;
  if (fordual || before > 0) {
    st.info.numcrash = sim_crash(st.lp, trh, fordual, st.mman, colofrow);
  }
  rescode r = rescode::ok;
  if (st.info.numcrash > 0) {
    for (int32_t i = 0; i < st.m; ++i) {
      if (colofrow[i] < 0) colofrow[i] = st.n + i;
    }
    sim_takebasis(st, colofrow);
    r = compute(st);
    if (r == rescode::ok && sim_measure(st).sumprim > opt_worsecrash * (1 + before)) {
      for (int32_t i = 0; i < st.m; ++i) colofrow[i] = st.n + i;
      sim_takebasis(st, colofrow);
      st.info.numcrash = 0;
      r = compute(st);
    }
  }
  st.info.crashtime += timer_cpu(st.mon.clock) - t0;
  return r;
}

// Whether the present basis is optimal in the caller's units.
bool is_optimal(sim_state& st) {
  sim_measures s = sim_truemeasure(st);
  if (s.numprim > 0 || s.numdual > 0) {
    sim_polish(st);
    s = sim_truemeasure(st);
  }
  if (s.numprim > 0 || s.numdual > 0) return false;
  st.point->verdict = lp_verdict::optimal;
  return true;
}

// The end with an optimal point, whose objective may be one that need not be looked for.
rescode optimal_code(const sim_state& st) {
  double objective = st.prob.cfix;
  for (int32_t j = 0; j < st.n; ++j) objective += st.prob.c[j] * st.point->x[j];
  const bool isoutside = objective < st.set.lowercut || objective > st.set.uppercut;
  return isoutside ? rescode::trm_objective_range : rescode::ok;
}

rescode run_turns(sim_state& st, sim_method method) {
  bool mayperturb = st.set.perturb;
  int32_t numidle = 0;
  for (int32_t turn = 0; turn < opt_maxturn && numidle < opt_maxidle; ++turn) {
    const int32_t before = st.info.primiter + st.info.dualiter;
    const sim_end end = run_method(st, method, mayperturb);
    if (end == sim_end::stopped) return st.code;
    if (end == sim_end::priminfeas || end == sim_end::dualinfeas) return rescode::ok;
    const sim_measures s = sim_measure(st);
    if (std::max(s.maxprim, s.maxdual) <= opt_nearly && is_optimal(st)) return optimal_code(st);
    if (end == sim_end::optimal) {
      st.tolx = std::max(opt_leasttol, opt_tolstep * st.tolx);
      st.tols = std::max(opt_leasttol, opt_tolstep * st.tols);
    } else {
      method = other_method(method);
    }
    mayperturb = false;
    numidle = st.info.primiter + st.info.dualiter == before ? numidle + 1 : 0;
  }
  return rescode::trm_stall;
}

// A given basis that is optimal already needs no method.
bool is_done(sim_state& st) {
  const sim_measures s = sim_measure(st);
  if (s.numprim > 0 || s.numdual > 0 || !is_optimal(st)) return false;
  st.info.primobj = sim_objective(st, st.primobj);
  st.info.dualobj = sim_objective(st, st.dualobj);
  st.info.feas = 0;
  return true;
}

// One attempt from a start basis, or from none; its basis and point in last and found.
rescode run_attempt(sim_state& st, const lp_basis& start, lp_basis& last) {
  const sim_settings& set = st.set;
  st.tolx = opt_tolshare * set.tolx;
  st.tols = opt_tolshare * set.tols;
  const bool ishot = set.hotstart && int32_t(start.con.size()) == st.prob.numcon &&
                     int32_t(start.var.size()) == st.prob.numvar &&
                     st.prob.numvar + st.prob.numcon > 0;
  sim_setup(st, start);
  rescode code = compute(st);
  const sim_method method = first_method(st, ishot);
  if (code == rescode::ok && !ishot) code = take_crash(st, method);
  if (code == rescode::ok) {
    (method == sim_method::primal ? st.info.primhot : st.info.dualhot) = ishot;
    if (ishot && is_done(st)) {
      code = optimal_code(st);
    } else {
      const bool maygo = st.info.primiter + st.info.dualiter < set.maxiter;
      code = maygo ? run_turns(st, method) : rescode::trm_max_iterations;
    }
  }
  st.info.running = sim_method::free;
  if (st.point->verdict == lp_verdict::none) (void)sim_truemeasure(st);
  sim_keys(st, last);
  return code;
}

bool is_trouble(rescode code) {
  return code == rescode::trm_stall || code == rescode::trm_max_num_setbacks ||
         code == rescode::trm_numerical_problem;
}

// Settings of an attempt after the first one met trouble: from scratch, scaled another way, and begun
// by the other method.
sim_settings other_settings(const sim_settings& set, int32_t attempt) {
  sim_settings other = set;
  other.hotstart = false;
  other.seed = set.seed + uint32_t(attempt);
  const bool isodd = attempt % 2 != 0;
  other.method = isodd ? other_method(set.method) : set.method;
  other.scaling = !isodd                             ? sim_scaling::aggressive
                  : set.scaling == sim_scaling::none ? sim_scaling::moderate
                                                     : sim_scaling::none;
  return other;
}

}  // namespace

rescode sim_optimize(const lp_view& prob, const sim_settings& set, const monitor& mon, memman& mman,
                     sim_info& info, lp_basis& basis, lp_point& point) {
  const double t0 = timer_cpu(mon.clock);
  info.numcon = prob.numcon;
  info.numvar = prob.numvar;
  info.primhot = info.dualhot = false;
  lp_point found(mm_at(mman));
  lp_basis last(mm_at(mman));
  rescode code = rescode::ok;
  for (int32_t attempt = 0; attempt <= opt_maxagain; ++attempt) {
    const sim_settings now = attempt == 0 ? set : other_settings(set, attempt);
    sim_state st(prob, now, mon, mman, info);
    st.point = &found;
    const int32_t left = set.maxsetback - info.primsetback - info.dualsetback;
    st.setbackleft = attempt < opt_maxagain ? std::min(left, opt_setbacks) : left;
    if (attempt > 0) st.pivrel = opt_carefulpivrel;
    code = run_attempt(st, basis, last);
    if (!is_trouble(code) || info.primsetback + info.dualsetback > set.maxsetback) break;
  }
  info.cputime += timer_cpu(mon.clock) - t0;
  std::swap(basis.con, last.con);
  std::swap(basis.var, last.var);
  std::swap(point.x, found.x);
  std::swap(point.y, found.y);
  point.verdict = found.verdict;
  return code;
}
