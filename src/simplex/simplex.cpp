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

// What counts as rounding error, relative to 1 and the largest bound or cost.
constexpr double opt_rounding = 1e-9;

// A crash basis may have this many times the infeasibility of the logical one.
constexpr double opt_worsecrash = 1e10;

struct opt_run {
  sim_state& st;
  bool mayperturb;
  int32_t turn = 0;
};

sim_end run_method(opt_run& run, sim_method method) {
  sim_state& st = run.st;
  const bool isprimal = method == sim_method::primal;
  st.info.running = method;
  const double t0 = timer_cpu(st.mon.clock);
  sim_end end = sim_end::stopped;
  if (sim_poll(st, isprimal ? callback_code::begin_primal_simplex
                            : callback_code::begin_dual_simplex) == rescode::ok &&
      sim_poll(st, isprimal ? callback_code::primal_simplex : callback_code::dual_simplex) ==
          rescode::ok) {
    end = isprimal ? sim_primal(st, run.mayperturb) : sim_dual(st, run.mayperturb);
  }
  (isprimal ? st.info.primtime : st.info.dualtime) += timer_cpu(st.mon.clock) - t0;
  const rescode r =
      sim_poll(st, isprimal ? callback_code::end_primal_simplex : callback_code::end_dual_simplex);
  if (r != rescode::ok && end != sim_end::priminfeas && end != sim_end::dualinfeas) {
    end = sim_end::stopped;
  }
  return end;
}

// The method to begin with: a given start that is feasible on one side only decides.
sim_method first_method(const sim_state& st, bool ishot) {
  if (st.set.method != sim_method::free) return st.set.method;
  const sim_measures s = sim_measure(st);
  return ishot && s.numprim == 0 && s.numdual > 0 ? sim_method::primal : sim_method::dual;
}

// Sum of infeasibilities of the present basis, which is factored for it.
rescode look_at(sim_state& st, double& suminfeas) {
  const rescode r = sim_factorize(st);
  if (r == rescode::ok) sim_primals(st);
  suminfeas = sim_measure(st).sumprim;
  return r;
}

// Puts columns in place of logicals for the primal simplex. A crash that makes things much worse is
// taken back: along a chain of columns values can grow without end.
rescode take_crash(sim_state& st) {
  const double t0 = timer_cpu(st.mon.clock);
  mm_vector<int32_t> colofrow(mm_at(st.mman));
  st.info.numcrash = sim_crash(st.lp, st.set.primcrash, st.mman, colofrow);
  rescode r = rescode::ok;
  if (st.info.numcrash > 0) {
    double before = 0, after = 0;
    r = look_at(st, before);
    for (int32_t i = 0; i < st.m; ++i) {
      if (colofrow[i] < 0) colofrow[i] = st.n + i;
    }
    sim_takebasis(st, colofrow);
    if (r == rescode::ok) r = look_at(st, after);
    if (after > opt_worsecrash * (1 + before)) {
      for (int32_t i = 0; i < st.m; ++i) colofrow[i] = st.n + i;
      sim_takebasis(st, colofrow);
      st.info.numcrash = 0;
    }
  }
  st.info.crashtime += timer_cpu(st.mon.clock) - t0;
  return r;
}

// Whether the present basis is optimal in the caller's units. When the tolerances of the iteration
// cannot shrink any more, violations that are rounding errors beside the data are let pass.
bool is_optimal(sim_state& st) {
  sim_measures s = sim_truemeasure(st);
  if (s.numprim == 0 && s.numdual == 0) return true;
  sim_polish(st);
  s = sim_truemeasure(st);
  if (s.numprim == 0 && s.numdual == 0) return true;
  if (st.tolx > opt_leasttol || st.tols > opt_leasttol) return false;
  double rhs = 1, cost = 1;
  for (const auto& v : {st.prob.blc, st.prob.buc, st.prob.blx, st.prob.bux}) {
    for (const double b : v) rhs = std::isfinite(b) ? std::max(rhs, std::abs(b)) : rhs;
  }
  for (const double c : st.prob.c) cost = std::max(cost, std::abs(c));
  return s.maxprim <= opt_rounding * rhs && s.maxdual <= opt_rounding * cost;
}

rescode run_turns(opt_run& run, sim_method method) {
  sim_state& st = run.st;
  for (; run.turn < opt_maxturn; ++run.turn) {
    const sim_end end = run_method(run, method);
    if (end == sim_end::stopped) return st.code;
    if (end == sim_end::priminfeas || end == sim_end::dualinfeas) return rescode::ok;
    if (end == sim_end::optimal) {
      if (is_optimal(st)) {
        st.point->verdict = lp_verdict::optimal;
        return rescode::ok;
      }
      st.tolx = std::max(opt_leasttol, opt_tolstep * st.tolx);
      st.tols = std::max(opt_leasttol, opt_tolstep * st.tols);
    } else {
      method = method == sim_method::primal ? sim_method::dual : sim_method::primal;
    }
    run.mayperturb = false;
  }
  return rescode::trm_stall;
}

}  // namespace

rescode sim_optimize(const lp_view& prob, const sim_settings& set, const monitor& mon, memman& mman,
                     sim_info& info, lp_basis& basis, lp_point& point) {
  const double t0 = timer_cpu(mon.clock);
  info = {};
  lp_point found(mm_at(mman));
  lp_basis last(mm_at(mman));
  sim_state st(prob, set, mon, mman, info);
  st.point = &found;
  st.tolx = opt_tolshare * set.tolx;
  st.tols = opt_tolshare * set.tols;
  const bool ishot = set.hotstart && int32_t(basis.con.size()) == prob.numcon &&
                     int32_t(basis.var.size()) == prob.numvar && prob.numvar + prob.numcon > 0;
  sim_setup(st, basis);
  rescode code = set.method == sim_method::primal && !ishot ? take_crash(st) : rescode::ok;
  if (code == rescode::ok) code = sim_factorize(st);
  if (code == rescode::ok) {
    sim_primals(st);
    sim_duals(st);
    opt_run run{st, set.perturb};
    const sim_method method = first_method(st, ishot);
    (method == sim_method::primal ? info.primhot : info.dualhot) = ishot;
    code = run_turns(run, method);
  }
  info.running = sim_method::free;
  if (found.verdict == lp_verdict::none) (void)sim_truemeasure(st);
  sim_keys(st, last);
  info.cputime = timer_cpu(mon.clock) - t0;
  std::swap(basis.con, last.con);
  std::swap(basis.var, last.var);
  std::swap(point.x, found.x);
  std::swap(point.y, found.y);
  point.verdict = found.verdict;
  return code;
}
