#include "simplex/simdual.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "cpub/callback.h"
#include "simplex/dualstate.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
// Factors with a larger relative residual are made again with a stricter threshold.
constexpr double run_badresidual = 1e-6;
// Iterations until an objective cut that could not be confirmed is looked at again.
constexpr int32_t run_cutwait = 100;
// Costs are perturbed harder by this factor each time the method stalls, so often at most.
constexpr double run_pertstep = 10;
constexpr int32_t run_maxpert = 4, run_stall = 1000;
// A given basis with no more wrong signs than this share of the variables needs no first phase.
constexpr double run_fewshare = 0.01;

enum class run_end { optimal, priminfeas, stuck, stopped };

void restore_weights(dual_state& ds) {
  for (int32_t p = 0; p < ds.st.m; ++p) ds.weight[p] = ds.savedweight[ds.st.basic[p]];
}
void save_weights(dual_state& ds) {
  std::fill(ds.savedweight.begin(), ds.savedweight.end(), 1.0);
  for (int32_t p = 0; p < ds.st.m; ++p) ds.savedweight[ds.st.basic[p]] = ds.weight[p];
}

// Factors and all values anew; wrong signs of duals are flipped or shifted away.
rescode rebuild(dual_state& ds) {
  sim_state& st = ds.st;
  if (!st.isfresh || !st.lu.isfactored) {
    bool isrestored = false;
    if (const rescode r = sim_factorize(st, &isrestored); r != rescode::ok) return r;
    if (isrestored) {
      restore_weights(ds);
      if (ds.p >= 0) dual_maketaboo(ds, ds.p);  // or the same exchanges are made again
    }
    save_weights(ds);
  }
  double residual = sim_duals(st);
  dual_correct(ds);
  residual = std::max(residual, sim_primals(st));
  if (residual > run_badresidual && st.pivrel < 0.5) {
    if (const rescode r = sim_setback(st); r != rescode::ok) return r;
    st.isfresh = false;
    return rebuild(ds);
  }
  dual_judgeall(ds);
  return rescode::ok;
}

// The dual objective for true bounds and the present duals, infeasible ones left out.
double true_dualobj(const sim_state& st) {
  double obj = 0;
  for (int32_t k = 0; k < st.nt; ++k) {
    if (st.pos[k] >= 0) continue;
    const double bound = st.d[k] >= 0 ? st.lo0[k] : st.up0[k];
    if (std::isfinite(bound)) obj += st.d[k] * bound;
  }
  return obj;
}

void tell(dual_state& ds) {
  sim_state& st = ds.st;
  double sum = 0;
  if (ds.isphase1) {
    for (int32_t k = 0; k < st.nt; ++k) {
      if (st.pos[k] >= 0) continue;
      if (st.up0[k] == inf) sum += std::max(0.0, -st.d[k]);
      if (st.lo0[k] == -inf) sum += std::max(0.0, st.d[k]);
    }
  } else {
    for (const int32_t p : ds.list) sum += std::sqrt(ds.infeas[p]);
  }
  st.info.feas = sum;
  st.info.dualobj = sim_objective(st, ds.isphase1 ? true_dualobj(st) : st.dualobj);
  st.info.primobj = st.info.dualobj;
}

// A lower bound of the optimum from the present basis with true costs; -inf when it gives none. Any
// multipliers give one, so neither perturbation nor wrong signs can make it wrong.
double safe_bound(dual_state& ds) {
  sim_state& st = ds.st;
  lu_vector& y = st.work;
  lu_vecclear(y);
  for (int32_t p = 0; p < st.m; ++p) {
    if (st.cost0[st.basic[p]] != 0) lu_vecset(y, p, st.cost0[st.basic[p]]);
  }
  sim_btran(st, y);
  double obj = 0;
  for (int32_t k = 0; k < st.nt && obj > -inf; ++k) {
    if (st.pos[k] >= 0) continue;
    const double d = st.cost0[k] - sim_dotcolumn(st, k, y.val);
    const double bound = d > 0 ? st.lo0[k] : st.up0[k];
    if (std::isfinite(bound)) {
      obj += d * bound;
    } else if (std::abs(d) > ds.told) {
      obj = -inf;
    }
  }
  lu_vecclear(y);
  return obj;
}

rescode check_limits(dual_state& ds) {
  sim_state& st = ds.st;
  sim_info& info = st.info;
  const int32_t iter = info.primiter + info.dualiter;
  if (iter >= st.set.maxiter) {
    st.code = rescode::trm_max_iterations;
    return st.code;
  }
  if (!ds.isphase1 && info.dualiter >= ds.nextcut &&
      sim_objective(st, st.dualobj) > st.set.uppercut) {
    if (sim_objective(st, safe_bound(ds)) > st.set.uppercut) {
      st.code = rescode::trm_objective_range;
      return st.code;
    }
    ds.nextcut = info.dualiter + run_cutwait;
  }
  if (st.set.logfreq > 0 && info.dualiter >= ds.lastlog + st.set.logfreq) {
    ds.lastlog = info.dualiter;
    tell(ds);
    return sim_poll(st, callback_code::update_dual_simplex);
  }
  return sim_poll(st);
}

// When nothing can enter: infeasible if that can be proved, else the row is left alone for a while.
bool prove_infeasible(dual_state& ds) {
  if (ds.isphase1) return false;
  return sim_provedual(ds.st, ds.rho.val);
}

bool has_infeasible(const dual_state& ds) {
  return std::any_of(ds.infeas.begin(), ds.infeas.end(), [](double v) { return v > 0; });
}

void perturb_at_stall(dual_state& ds) {
  if (!ds.mayperturb || ds.numstall < run_stall || ds.numpert >= run_maxpert) return;
  double factor = 1;
  for (int32_t t = 0; t < ds.numpert; ++t) factor *= run_pertstep;
  ++ds.numpert;
  ds.numstall = 0;
  dual_perturb(ds, factor);
}

// Iterations with the present bounds until a row chosen by them remains or none.
run_end run(dual_state& ds) {
  sim_state& st = ds.st;
  dual_cleartaboo(ds);
  for (;;) {
    perturb_at_stall(ds);
    if (rebuild(ds) != rescode::ok) return run_end::stopped;
    const int32_t iter0 = st.info.dualiter;
    dual_action act = dual_action::ok;
    while (act == dual_action::ok) {
      if (check_limits(ds) != rescode::ok) return run_end::stopped;
      act = dual_iterate(ds);
      if (act != dual_action::noenter) continue;
      if (prove_infeasible(ds)) return run_end::priminfeas;
      dual_maketaboo(ds, ds.p);
      act = st.isfresh ? dual_action::ok : dual_action::rebuild;
    }
    const bool ismoved = st.info.dualiter > iter0;
    if (act == dual_action::noleave && !ismoved && st.isfresh) {
      if (ds.taboo.empty() && has_infeasible(ds)) {  // weights beyond the range of numbers hide it
        std::fill(ds.weight.begin(), ds.weight.end(), 1.0);
        continue;
      }
      return ds.taboo.empty() ? run_end::optimal : run_end::stuck;
    }
    if (ismoved) dual_cleartaboo(ds);
  }
}

run_end run_phase1(dual_state& ds) {
  dual_phase1bounds(ds);
  run_end end = run(ds);
  if (end == run_end::optimal && dual_numinfeas(ds) > 0 && dual_restorecosts(ds)) end = run(ds);
  return end;
}

// x of the first phase is a ray along which the cost falls when its objective is negative.
bool prove_unbounded(dual_state& ds) {
  sim_state& st = ds.st;
  for (int32_t k = 0; k < st.nt; ++k) {
    st.dwork[k] = st.pos[k] >= 0 ? st.xb[st.pos[k]] : st.xval[k];
  }
  return sim_proveprimal(st, st.dwork);
}

// True costs and values for them after the second phase.
sim_end finish(dual_state& ds) {
  sim_state& st = ds.st;
  if (dual_restorecosts(ds)) sim_duals(st);
  const sim_measures s = sim_measure(st);
  return s.numdual == 0 && s.numprim == 0 ? sim_end::optimal : sim_end::undecided;
}

void leave(dual_state& ds) {
  sim_state& st = ds.st;
  dual_restorecosts(ds);
  if (ds.isphase1) dual_truebounds(ds);
  if (!st.lu.isfactored) {
    // The run may be stopped by its monitor; what is left to do is short.
    const rescode code = st.code;
    const monitor quiet;
    if (lu_factorize(st.lu, st.lp.a, st.basic, quiet) == rescode::ok) sim_takerepair(st);
    st.isfresh = true;
    st.code = code;
  }
  sim_duals(st);
  sim_primals(st);
  tell(ds);
}

sim_end phases(dual_state& ds) {
  const sim_state& st = ds.st;
  // A few wrong signs of a given basis, from changed costs, are shifted away and left to the primal.
  const int32_t numinfeas = dual_numinfeas(ds);
  if (numinfeas > (st.info.dualhot ? 1 + run_fewshare * st.nt : 0)) {
    const run_end end = run_phase1(ds);
    if (end == run_end::stopped) return sim_end::stopped;
    if (end == run_end::optimal && dual_numinfeas(ds) > 0 && prove_unbounded(ds)) {
      return sim_end::dualinfeas;
    }
    dual_truebounds(ds);
  }
  switch (run(ds)) {
    case run_end::optimal:
      return finish(ds);
    case run_end::priminfeas:
      return sim_end::priminfeas;
    case run_end::stopped:
      return sim_end::stopped;
    default:
      return sim_end::undecided;
  }
}

}  // namespace

dual_state::dual_state(sim_state& state)
    : st(state),
      weight(mm_at(state.mman)),
      infeas(mm_at(state.mman)),
      list(mm_at(state.mman)),
      islisted(mm_at(state.mman)),
      istaboo(mm_at(state.mman)),
      taboo(mm_at(state.mman)),
      hot(mm_at(state.mman)),
      ishot(mm_at(state.mman)),
      merit(mm_at(state.mman)),
      savedweight(mm_at(state.mman)),
      rho(mm_at(state.mman)),
      row(mm_at(state.mman)),
      col(mm_at(state.mman)),
      tau(mm_at(state.mman)),
      flip(mm_at(state.mman)),
      packind(mm_at(state.mman)),
      packval(mm_at(state.mman)),
      cand(mm_at(state.mman)),
      sufmin(mm_at(state.mman)),
      flips(mm_at(state.mman)),
      isdropped(mm_at(state.mman)),
      dropped(mm_at(state.mman)),
      seen(mm_at(state.mman)) {
  tolp = st.tolx;
  told = st.tols;
  if (st.set.dualsel != sim_selection::free) rule = st.set.dualsel;
  infeas.assign(st.m, 0.0);
  islisted.assign(st.m, 0);
  istaboo.assign(st.m, 0);
  ishot.assign(st.m, 0);
  for (auto* v : {&list, &hot, &taboo}) v->reserve(st.m);
  merit.reserve(st.m);
  for (lu_vector* v : {&rho, &col, &tau, &flip}) lu_vecsize(*v, st.m);
  lu_vecsize(row, st.n);
  packind.resize(st.nt + 1);  // one more: what is written and not counted
  packval.resize(st.nt + 1);
  cand.resize(st.nt + 1);
  flips.reserve(st.nt);
  isdropped.assign(st.nt, 0);
  savedweight.assign(st.nt, 1.0);
  dual_startweights(*this);
  save_weights(*this);
}

sim_end sim_dual(sim_state& st, bool mayperturb) {
  dual_state ds(st);
  ds.mayperturb = mayperturb;
  ds.lastlog = st.info.dualiter;
  // A given basis is close to optimal as a rule: then only a stall is reason to perturb.
  if (mayperturb && !st.info.dualhot) {
    dual_perturb(ds, 1);
    ds.numpert = 1;
    sim_duals(st);
  }
  const sim_end end = phases(ds);
  leave(ds);
  return end;
}
