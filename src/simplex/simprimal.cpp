#include "simplex/simprimal.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "cpub/callback.h"
#include "simplex/primstate.h"

namespace {

// Times that taboos are lifted, each with smaller pivots allowed, and that true bounds are restored
// with perturbation still allowed afterwards.
constexpr int32_t loop_maxretry = 3, loop_maxperturb = 3;
// Where a ray is no proof the reduced costs of phase 1 have to keep tolerances smaller by the first,
// down to the second.
constexpr double loop_tighten = 0.01, loop_leasttold = 1e-11;
// Times that an end may be taken back before the method gives up.
constexpr int32_t loop_maxround = 60;
// Looks in a row that may find no progress although all was done against it.
constexpr int32_t loop_maxidle = 50;
// Of the accepted size of pivots, at each lifting; and its end, times the setting.
constexpr double loop_retrypivot = 0.1, loop_leastpivot = 0.1;
constexpr double loop_pivstep = 5.0, loop_maxpivrel = 0.5;  // of the threshold of the factorization
// Reduced costs found wrong, since the last rebuild, before all are made anew.
constexpr int32_t loop_maxbaddual = 5;
// More columns than so many for a row: partial pricing unless another rule is asked for.
constexpr double loop_partial = 20.0;
// Fresh factors: pivots by row and column may differ by so much, relative, before q is refused.
constexpr double loop_worstpivot = 1e-3;
// Share of the largest cost in the costs of phase 1, beside infeasibilities of 1.
constexpr double loop_costshare = 0.1;

bool stop(sim_state& st, rescode why) {
  st.code = why;
  return false;
}

void set_costs(prim_state& p) {
  sim_state& st = p.st;
  if (!p.isphase1) {
    std::copy(st.cost0.begin(), st.cost0.end(), st.cost.begin());
    return;
  }
  for (int32_t k = 0; k < st.nt; ++k) st.cost[k] = p.costshare * st.cost0[k];
  for (int32_t i = 0; i < st.m; ++i) st.cost[st.basic[i]] += p.infeas[i];
}

// The objective without perturbation of costs; x may lie at widened bounds.
double true_objective(const sim_state& st) {
  double obj = 0;
  for (int32_t k = 0; k < st.n; ++k) {
    if (st.cost0[k] != 0) obj += st.cost0[k] * (st.pos[k] >= 0 ? st.xb[st.pos[k]] : st.xval[k]);
  }
  return sim_objective(st, obj);
}

void tell(prim_state& p) {
  prim_judge(p);
  p.st.info.feas = p.suminfeas;
  p.st.info.primobj = true_objective(p.st);
}

void clear_taboo(prim_state& p) {
  for (const int32_t k : p.taboo) p.flag[k] &= uint8_t(~prim_istaboo);
  p.taboo.clear();
}
void refuse(prim_state& p) {
  p.taboo.push_back(p.q);
  p.flag[p.q] |= prim_istaboo;
  prim_touch(p, p.q);
}

bool factorize(prim_state& p) {
  bool isrestored = false;
  if (sim_factorize(p.st, &isrestored) != rescode::ok) return false;
  if (isrestored) prim_setweights(p, false);
  return true;
}

// Factors when they are not fresh (and asked for), values, phase, costs and reduced costs.
bool rebuild(prim_state& p, bool refactor) {
  sim_state& st = p.st;
  lu_vecclear(p.delta);
  if (!st.lu.isfactored || (refactor && !st.isfresh)) {
    if (!factorize(p)) return false;
  }
  while (sim_primals(st) > prim_badresidual && st.pivrel < loop_maxpivrel) {
    st.pivrel = std::min(st.pivrel * loop_pivstep, loop_maxpivrel);
    if (!factorize(p)) return false;
  }
  prim_judge(p);
  p.isphase1 = p.numinfeas > 0;
  if (!p.isphase1) p.told = st.tols;
  set_costs(p);
  if (std::isfinite(st.set.lowercut)) {
    p.objective = true_objective(st);
    p.gainedthen = p.gained;
  }
  sim_duals(st);
  if (!p.isphase1 && std::isfinite(st.set.uppercut)) {
    p.bound = sim_objective(st, sim_dualbound(st));
  }
  prim_setcands(p);
  p.numbaddual = 0;
  return true;
}

// The entering column and what can be checked with it. ok with q < 0: choose again.
prim_action take_column(prim_state& p) {
  sim_state& st = p.st;
  const int32_t q = p.q;
  lu_vecclear(p.col);
  sim_column(st, q, p.col);
  sim_ftran(st, p.col, true);
  const double off = prim_checkcolumn(p);
  const double dq = st.d[q];
  const bool isout = p.candat[q] < 0;
  if (isout || off > prim_duadiffer * (1 + std::abs(dq))) {
    if (++p.numbaddual > loop_maxbaddual && !st.isfresh) return prim_action::rebuild;
  }
  if (isout) {
    p.q = -1;
    return prim_action::ok;
  }
  p.dq = dq;
  p.dir = dq < 0 ? 1 : -1;
  return prim_action::ok;
}

// The pivotal row; whether it confirms the pivot.
bool take_row(prim_state& p) {
  sim_state& st = p.st;
  prim_edge(p);
  lu_vecclear(p.rho);
  lu_vecset(p.rho, p.p, 1.0);
  sim_btran(st, p.rho);
  const double byrow = sim_dotcolumn(st, p.q, p.rho.val);
  const double off = std::abs(byrow - p.alpha);
  if (off > prim_pivdiffer * (1 + std::abs(p.alpha)) && !st.isfresh) return false;
  if (off > loop_worstpivot * std::abs(p.alpha)) return false;
  prim_price(p, p.rho);
  return true;
}

void count_iteration(prim_state& p) {
  ++p.st.info.primiter;
  if (p.isphase1) ++p.st.info.priminf;
  if (p.theta <= prim_degenerate) ++p.st.info.primdeg;
}

prim_action flip(prim_state& p) {
  sim_state& st = p.st;
  prim_move(p);
  st.xval[p.q] = st.move[p.q] > 0 ? st.up[p.q] : st.lo[p.q];
  st.move[p.q] = int8_t(-st.move[p.q]);
  prim_touch(p, p.q);
  count_iteration(p);
  if (p.delta.num > 0) prim_addcosts(p);
  return p.isphase1 && p.numinfeas == 0 ? prim_action::feasible : prim_action::ok;
}

// The leaving variable's bound: taken along when it is not quite there; both, of a fixed one.
void settle_leaving(prim_state& p, int32_t k) {
  sim_state& st = p.st;
  double& bound = p.toupper ? st.up[k] : st.lo[k];
  if (const double by = std::abs(st.xb[p.p] - bound); by > prim_shift) {
    if (!p.isphase1) p.borrowed += by * std::abs(p.dq / p.alpha);
    bound = st.xb[p.p];
    p.isshifted = true;
  }
  if ((p.flag[k] & prim_isheld) != 0) st.lo[k] = st.up[k] = bound;
}

prim_action pivot(prim_state& p) {
  sim_state& st = p.st;
  const int32_t leaving = st.basic[p.p];
  const double x = st.xval[p.q] + p.dir * p.theta;
  prim_move(p);
  settle_leaving(p, leaving);
  prim_updateduals(p);
  if (p.isphase1 && p.infeas[p.p] != 0) {
    st.d[leaving] -= p.infeas[p.p];
    st.cost[leaving] -= p.infeas[p.p];
    --p.numinfeas;
    p.infeas[p.p] = 0;
  }
  prim_widen(p, p.q);
  const lu_state lus = sim_exchange(st, p.p, p.q, p.alpha, x, p.toupper);
  prim_touch(p, p.q);
  prim_touch(p, leaving);
  count_iteration(p);
  if (lus == lu_state::unstable) return prim_action::rebuild;
  if (p.delta.num > 0) prim_addcosts(p);
  if (p.isphase1 && p.numinfeas == 0) return prim_action::feasible;
  return lus == lu_state::refactor || sim_wantfactor(st) ? prim_action::rebuild : prim_action::ok;
}

// Whether the pivot is good enough; else asks for fresh factors or refuses q.
prim_action accept(prim_state& p) {
  if (std::abs(p.alpha) >= p.pivaccept) return prim_action::ok;
  if (!p.st.isfresh) return prim_action::rebuild;
  refuse(p);
  p.q = -1;
  return prim_action::ok;
}

prim_action iterate(prim_state& p) {
  sim_state& st = p.st;
  p.q = prim_chuzc(p);
  if (p.q < 0) return prim_action::nonelects;
  prim_action action = take_column(p);
  if (action != prim_action::ok || p.q < 0) return action;
  action = prim_chuzr(p);
  if (action != prim_action::ok) return action;
  if (p.p < 0) {
    action = flip(p);
  } else {
    action = accept(p);
    if (action != prim_action::ok || p.q < 0) return action;
    if (!take_row(p)) {
      if (st.isfresh) {
        refuse(p);
        return prim_action::ok;
      }
      st.pivrel = std::min(st.pivrel * loop_pivstep, loop_maxpivrel);
      return prim_action::rebuild;
    }
    action = pivot(p);
  }
  if (!p.taboo.empty() && p.theta > prim_degenerate) {
    for (const int32_t k : p.taboo) {
      p.flag[k] &= uint8_t(~prim_istaboo);
      prim_touch(p, k);
    }
    p.taboo.clear();
  }
  prim_watch(p);
  return action;
}

bool poll_row(prim_state& p) {
  sim_state& st = p.st;
  const int32_t iter = st.info.primiter;
  if (st.set.logfreq > 0 && iter > 0 && iter % st.set.logfreq == 0) {
    st.info.feas = p.isphase1 ? p.suminfeas : 0;
    st.info.primobj = true_objective(st);
    if (sim_poll(st, callback_code::update_primal_simplex) != rescode::ok) return false;
  } else if (sim_poll(st) != rescode::ok) {
    return false;
  }
  if (iter + st.info.dualiter >= st.set.maxiter) return stop(st, rescode::trm_max_iterations);
  return true;
}

// False: the objective has passed the lower cut, or a bound of the optimum the upper one, or factors
// could not be made to see that. Bounds that were moved are restored first; perturbation is over then.
bool watch_cut(prim_state& p) {
  sim_state& st = p.st;
  const double cut = st.set.lowercut;
  if (p.bound > st.set.uppercut) return stop(st, rescode::trm_objective_range);
  if (!std::isfinite(cut) || p.isphase1) return true;
  if (!(p.objective + (p.gained - p.gainedthen) / st.scale.cost < cut)) return true;
  if (!st.isfresh || p.isperturbed || p.isshifted) {
    if (prim_restore(p)) p.mayperturb = false;
    if (!rebuild(p, true)) return false;
  }
  return p.isphase1 || !(p.objective < cut) || stop(st, rescode::trm_objective_range);
}

// True bounds and costs, factors and values: what every end leaves.
sim_end finish(prim_state& p, sim_end end) {
  sim_state& st = p.st;
  prim_restore(p);
  if (!st.lu.isfactored || (!st.isfresh && st.lu.count.numupdate > 0)) {
    const rescode before = st.code;
    if (sim_factorize(st) != rescode::ok) return sim_end::stopped;
    st.code = before;
  }
  sim_primals(st);
  sim_duals(st);
  tell(p);
  return end;
}

// The last basis of phase 1 is optimal: is the problem infeasible?
bool prove_infeasible(prim_state& p) {
  sim_state& st = p.st;
  lu_vecclear(p.rho);
  for (int32_t i = 0; i < st.m; ++i) {
    if (p.infeas[i] != 0) lu_vecset(p.rho, i, double(p.infeas[i]));
  }
  sim_btran(st, p.rho);
  return sim_provedual(st, p.rho.val);
}

bool prove_unbounded(prim_state& p) {
  sim_state& st = p.st;
  std::fill(st.dwork.begin(), st.dwork.end(), 0.0);
  st.dwork[p.q] = p.dir;
  for (int32_t t = 0; t < p.col.num; ++t) {
    const int32_t i = p.col.ind[t];
    st.dwork[st.basic[i]] = -p.dir * p.col.val[i];
  }
  return sim_proveprimal(st, st.dwork);
}

// What becomes of an apparent end: go on (ok) after what was doubtful was made anew, or the end.
struct loop_verdict {
  bool goeson = true;
  sim_end end = sim_end::undecided;
};

// From here on phase 1 looks at infeasibilities only.
loop_verdict drop_costs(prim_state& p) {
  p.costshare = 0;
  p.bestsum = std::numeric_limits<double>::infinity();
  return {rebuild(p, true), sim_end::stopped};
}

loop_verdict judge_optimal(prim_state& p) {
  sim_state& st = p.st;
  if (!st.isfresh) return {rebuild(p, true), sim_end::stopped};
  if (p.isphase1 && p.costshare > 0) return drop_costs(p);
  // The proof counts whatever bounds were moved on the way to it.
  if (p.isphase1 && prove_infeasible(p)) return {false, sim_end::priminfeas};
  if (!p.taboo.empty() && p.numretry < loop_maxretry) {
    ++p.numretry;
    p.pivaccept = std::max(loop_retrypivot * p.pivaccept, loop_leastpivot * st.set.tolpiv);
    clear_taboo(p);
    return {rebuild(p, true), sim_end::stopped};
  }
  if (prim_restore(p)) {
    const bool wasphase1 = p.isphase1;
    p.mayperturb = p.mayperturb && ++p.numrestore < loop_maxperturb;
    if (!rebuild(p, true)) return {false, sim_end::stopped};
    // What is infeasible now the dual simplex repairs faster.
    return {wasphase1 || !p.isphase1, sim_end::undecided};
  }
  if (!p.isphase1) return {false, p.taboo.empty() ? sim_end::optimal : sim_end::undecided};
  if (p.told > loop_leasttold) {  // a ray with smaller errors
    p.told = std::max(loop_tighten * p.told, loop_leasttold);
    return {rebuild(p, true), sim_end::stopped};
  }
  // Too little for a proof may be little enough for the tolerance asked for.
  if (p.maxinfeas <= st.set.tolx && p.tolp < st.set.tolx) {
    p.tolp = p.tolh = st.set.tolx;
    return {rebuild(p, true), sim_end::stopped};
  }
  if (st.pivrel < loop_maxpivrel) {
    st.pivrel = std::min(st.pivrel * loop_pivstep, loop_maxpivrel);
    st.isfresh = false;
    return {rebuild(p, true), sim_end::stopped};
  }
  return {false, sim_end::undecided};
}

loop_verdict judge_unblocked(prim_state& p) {
  if (!p.st.isfresh) return {rebuild(p, true), sim_end::stopped};
  if (p.isphase1 && p.costshare > 0) return drop_costs(p);
  if (!p.isphase1 && prove_unbounded(p)) return {false, sim_end::dualinfeas};
  refuse(p);
  return {};
}

}  // namespace

prim_state::prim_state(sim_state& state)
    : st(state),
      weight(mm_at(state.mman)),
      flag(mm_at(state.mman)),
      cand(mm_at(state.mman)),
      candat(mm_at(state.mman)),
      hot(mm_at(state.mman)),
      score(mm_at(state.mman)),
      awake(mm_at(state.mman)),
      taboo(mm_at(state.mman)),
      col(mm_at(state.mman)),
      rho(mm_at(state.mman)),
      row(mm_at(state.mman)),
      delta(mm_at(state.mman)),
      tau(mm_at(state.mman)),
      cross(mm_at(state.mman)),
      breaks(mm_at(state.mman)),
      infeas(mm_at(state.mman)) {
  weight.assign(st.nt, 1.0);
  candat.assign(st.nt, -1);
  flag.resize(st.nt);
  for (int32_t k = 0; k < st.nt; ++k) flag[k] = st.lo0[k] == st.up0[k] ? prim_isheld : 0;
  for (lu_vector* v : {&col, &rho, &tau, &delta}) lu_vecsize(*v, st.m);
  lu_vecsize(row, st.n);
  lu_vecsize(cross, st.n);
  infeas.assign(st.m, 0);
  tolp = tolh = st.tolx;
  told = st.tols;
  pivaccept = prim_pivaccept * st.set.tolpiv;
  double largest = 0;
  for (const double c : st.cost0) largest = std::max(largest, std::abs(c));
  if (largest > 0) costshare = loop_costshare / largest;
  if (st.set.primsel != sim_selection::free) {
    rule = st.set.primsel;
  } else if (st.n > loop_partial * st.m) {
    rule = sim_selection::partial;
  }
  if (rule == sim_selection::partial) {
    for (int32_t j = 0; j < st.n; ++j) flag[j] |= prim_isasleep;
  }
}

sim_end prim_run(prim_state& p) {
  sim_state& st = p.st;
  if (!rebuild(p, true)) return sim_end::stopped;
  prim_setweights(p, true);
  for (int32_t round = 0; round < loop_maxround;) {
    if (!poll_row(p) || !watch_cut(p)) return sim_end::stopped;
    if (p.numidle > loop_maxidle) return sim_end::undecided;
    loop_verdict verdict;
    switch (iterate(p)) {
      case prim_action::ok:
        continue;
      case prim_action::rebuild:
        if (!rebuild(p, true)) return sim_end::stopped;
        continue;
      case prim_action::feasible:
        if (!rebuild(p, sim_wantfactor(st))) return sim_end::stopped;
        continue;
      case prim_action::nonelects:
        verdict = judge_optimal(p);
        break;
      case prim_action::unblocked:
        verdict = judge_unblocked(p);
        break;
      case prim_action::stopped:
        return sim_end::stopped;
    }
    ++round;
    if (!verdict.goeson) return verdict.end;
  }
  return sim_end::undecided;
}

sim_end sim_primal(sim_state& st, bool mayperturb) {
  prim_state p(st);
  p.mayperturb = mayperturb;
  sim_truedata(st);
  return finish(p, prim_run(p));
}
