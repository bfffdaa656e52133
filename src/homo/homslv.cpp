// Entries of the homogeneous optimizer: scales, sets up the factorization, runs the loop and
// brings the final point back into the caller's units.

#include "homo/homslv.h"

#include <algorithm>
#include <cmath>

#include "cpub/callback.h"
#include "homo/homopt.h"
#include "homo/homquad.h"
#include "homo/homtool.h"
#include "kfac/symdef.h"

namespace {

void count_bounds(const hom_prob& prob, hs_info& info) {
  info.numcon = prob.m;
  info.numvar = prob.n;
  info.numbfr = int32_t(prob.fcol.size());
  info.numbup = int32_t(prob.u.size());
  info.numblo = prob.n - info.numbfr;
}

// The final point in the caller's units, over tau, or over the objective of the ray it proves.
void unscale(const hom_state& st, hs_solution& sol) {
  const hom_prob& prob = st.prob;
  const hom_point& it = st.it;
  double primal = prob.sb / it.tau, dual = prob.sc / it.tau;
  if (sol.status == hs_status::priminfeas || sol.status == hs_status::nearpriminfeas) {
    dual = prob.sc / hom_dualray(st).objective;
  } else if (sol.status == hs_status::dualinfeas || sol.status == hs_status::neardualinfeas) {
    primal = prob.sb / hom_primalray(st).objective;
  }
  sol.x.resize(prob.n);
  sol.s.resize(prob.n);
  sol.y.resize(prob.m);
  sol.v.assign(prob.n, 0.0);
  for (int32_t j = 0; j < prob.n; ++j) {
    sol.x[j] = it.x[j] * prob.colfac[j] * primal;
    sol.s[j] = it.s[j] / prob.colfac[j] * dual;
  }
  for (int32_t i = 0; i < prob.m; ++i) sol.y[i] = it.y[i] * prob.rowfac[i] * dual;
  for (size_t k = 0; k < prob.u.size(); ++k) {
    sol.v[prob.ucol[k]] = it.v[k] / prob.colfac[prob.ucol[k]] * dual;
  }
}

// A run that ended without a verdict may have met a problem that is all but feasible: without the
// objective the certificate is much easier to find. Keeps the first run's point otherwise.
hom_outcome prove_infeasible(const hom_prob& prob, hom_state& first, memman& mman, hs_info& info,
                             hs_solution& sol) {
  if (first.quads != nullptr) return {};
  hom_prob feas(mm_at(mman));
  feas = prob;
  std::fill(feas.c.begin(), feas.c.end(), 0.0);
  std::fill(feas.q.val.begin(), feas.q.val.end(), 0.0);
  feas.qdiag.clear();
  if (first.isbig) kktfac_numinqij(first.fac, feas.q.val);
  feas.bcol = feas.fcol;
  feas.nrmc = 0;
  first.mon.log(2, "Looking for a certificate without the objective.\n");
  hs_info again = info;
  hom_state second(feas, first.set, first.mon, first.fac, mman);
  const hom_outcome outcome = hom_optlp(second, again);
  info.iter += again.iter;
  if (outcome.status == hs_status::priminfeas) {
    sol.status = outcome.status;
    unscale(second, sol);
  }
  return outcome;
}

bool is_doubtful(const hom_outcome& outcome) {
  const bool ended = outcome.code == rescode::ok || outcome.code == rescode::trm_stall;
  return ended && (outcome.status == hs_status::unknown || outcome.status == hs_status::illposed);
}

// What one run tells the next: the kind of its linear systems, and the sizes that its last point had in
// the scaled problem.
struct run_trace {
  bool isbig = false;
  double sizex = 1, sizeg = 1;  // of x and of the gradient of the objective
};

// One run with one kind of linear systems.
//   quads  rows of prob with quadratic terms, or null
hom_outcome run(const hom_prob& prob, hom_quads* quads, const hs_settings& set, const monitor& mon,
                memman& mman, hs_info& info, hs_solution& sol, run_trace& trace) {
  const timer clock = timer_start();
  kktfac_ptr fac;
  if (const rescode r = hom_setupfac(prob, set, mon, mman, fac); r != rescode::ok) {
    mon.log(6, "resp(%d)\n", int32_t(r));
    return {hs_status::unknown, r};
  }
  info.fac = kktfac_getstats(*fac);
  hom_state st(prob, set, mon, *fac, mman);
  st.quads = quads;
  trace.isbig = st.isbig;
  hom_logsetup(prob, set, info.fac, mon, mman);
  hom_outcome outcome = hom_optlp(st, info);
  sol.status = outcome.status;
  unscale(st, sol);
  trace.sizex = hom_maxabs(st.it.x) / st.it.tau;
  trace.sizeg = std::max(hom_maxabs(prob.c), hom_maxabs(st.qx) / st.it.tau);
  hom_logend(st, outcome);
  if (is_doubtful(outcome) && (prob.nrmc > 0 || hom_hasq(prob))) {
    const hom_outcome proof = prove_infeasible(prob, st, mman, info, sol);
    if (proof.status == hs_status::priminfeas) outcome = proof;
  }
  hom_logtimes(mon, st.times, kktfac_getstats(*fac), timer_wall(clock));
  info.fac = kktfac_getstats(*fac);
  return outcome;
}

// Whether another run may do better; near optimal is all that is to be had of some linear problems.
bool is_worthanother(const hom_prob& prob, const hom_outcome& outcome) {
  const bool isnear = outcome.code == rescode::ok && outcome.status == hs_status::nearoptimal;
  return is_doubtful(outcome) || (isnear && hom_hasq(prob));
}

struct try_state {
  hom_outcome outcome;
  run_trace trace;
};

// Another run; its result stands when it is better.
void run_again(const hom_prob& prob, hom_quads* quads, const hs_settings& set, const monitor& mon,
               memman& mman, hs_info& info, hs_solution& sol, try_state& now) {
  hs_solution second(mm_at(mman));
  const int32_t before = info.iter;
  const hom_outcome next = run(prob, quads, set, mon, mman, info, second, now.trace);
  info.iter += before;
  if (next.status == hs_status::optimal || is_doubtful(now.outcome)) {
    now.outcome = next;
    std::swap(sol, second);
  }
}

rescode optimize(const hs_lp& lp, const hs_settings& set, const monitor& mon, memman& mman,
                 hs_info& info, hs_solution& sol) {
  const timer clock = timer_start();
  hom_prob prob(mm_at(mman));
  hom_quads quads(prob, mm_at(mman));
  if (lp.quads.empty()) {
    hs_scaleproblem(lp, set.scaling, prob);
  } else {
    homquad_scale(lp, set.scaling, quads);
  }
  hom_quads* const rows = lp.quads.empty() ? nullptr : &quads;
  count_bounds(prob, info);
  info.solvedual = set.solvedual;
  try_state now;
  now.outcome = run(prob, rows, set, mon, mman, info, sol, now.trace);
  const bool isopen = set.system == hs_system::free;
  hs_settings again = set;
  // Scaling may make a problem harder, for instance one whose units presolve has mixed.
  if (isopen && rows == nullptr && !hom_hasq(prob) && set.scaling == hs_scaling::free &&
      is_doubtful(now.outcome)) {
    mon.log(2, "Solving again without scaling.\n");
    again.scaling = hs_scaling::none;
    hom_prob plain(mm_at(mman));
    hs_scaleproblem(lp, again.scaling, plain);
    run_again(plain, nullptr, again, mon, mman, info, sol, now);
    again.scaling = set.scaling;
  }
  // Normal equations square the condition of A: where a problem is too much for them, both blocks at
  // once have another try.
  if (isopen && !now.trace.isbig && is_worthanother(prob, now.outcome)) {
    mon.log(2, "Solving again with the quasi-definite system.\n");
    again.system = hs_system::quasidefinite;
    run_again(prob, rows, again, mon, mman, info, sol, now);
  }
  // The entries of Q say little about how large x and the gradient will be; the last point does.
  if (isopen && rows == nullptr && hom_hasq(prob) && set.scaling != hs_scaling::none &&
      is_worthanother(prob, now.outcome) && std::isfinite(now.trace.sizex) &&
      std::isfinite(now.trace.sizeg)) {
    mon.log(2, "Solving again, scaled by the last point.\n");
    hs_rescale(now.trace.sizex, now.trace.sizeg, prob);
    run_again(prob, nullptr, again, mon, mman, info, sol, now);
  }
  info.cputime = timer_cpu(clock);
  info.realtime = timer_wall(clock);
  return now.outcome.code;
}

}  // namespace

rescode hs_optimize(const hs_lp& lp, const hs_settings& set, const monitor& mon, memman& mman,
                    hs_info& info, hs_solution& sol) {
  return optimize(lp, set, mon, mman, info, sol);
}

rescode hs_optqc(const hs_lp& lp, const hs_settings& set, const monitor& mon, memman& mman,
                 hs_info& info, hs_solution& sol) {
  return optimize(lp, set, mon, mman, info, sol);
}

rescode hs_optqp(const hs_lp& lp, const hs_settings& set, const monitor& mon, memman& mman,
                 hs_info& info, hs_solution& sol) {
  if (!set.isconvex && !symdef_ispsd(lp.q, 1, {}, mman)) return rescode::err_nonconvex;
  return optimize(lp, set, mon, mman, info, sol);
}
