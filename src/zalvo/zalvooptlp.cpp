// The runs on the linear or quadratic problem of a task: interior point and simplex.

#include "cpub/fault.h"
#include "zalvo/zalvoopt.h"
#include "zalvo/zalvooptrun.h"

namespace {

sim_method simplex_method(int32_t optimizer) {
  switch (optimizer) {
    case ZLV_OPTIMIZER_PRIMAL_SIMPLEX:
      return sim_method::primal;
    case ZLV_OPTIMIZER_DUAL_SIMPLEX:
      return sim_method::dual;
    case ZLV_OPTIMIZER_FREE_SIMPLEX:
      return sim_method::free;
    default:
      fault_raise(fault_here(), "Invalid optimizer: %d", optimizer);
  }
}

sim_settings simplex_settings(const param_values& par) {
  sim_settings set;
  set.primsel = sim_selection(par.i[ipar::sim_primal_selection]);
  set.dualsel = sim_selection(par.i[ipar::sim_dual_selection]);
  set.scaling = sim_scaling(par.i[ipar::sim_scaling]);
  set.tolx = par.d[dpar::basis_tol_x];
  set.tols = par.d[dpar::basis_tol_s];
  set.rels = par.d[dpar::basis_rel_tol_s];
  set.tolpiv = par.d[dpar::simplex_abs_tol_piv];
  set.maxiter = par.i[ipar::sim_max_iterations];
  set.maxsetback = par.i[ipar::sim_max_num_setbacks];
  set.refactorfreq = par.i[ipar::sim_refactor_freq];
  set.logfreq = par.i[ipar::sim_log_freq];
  set.primcrash = par.i[ipar::sim_primal_crash];
  set.dualcrash = par.i[ipar::sim_dual_crash];
  set.hotstart = par.i[ipar::sim_hotstart] != 0;
  const double lower = par.d[dpar::lower_obj_cut], upper = par.d[dpar::upper_obj_cut];
  if (lower > par.d[dpar::lower_obj_cut_finite_trh]) set.lowercut = lower;
  if (upper < par.d[dpar::upper_obj_cut_finite_trh]) set.uppercut = upper;
  if (par.i[ipar::objective_sense] == ZLV_OBJECTIVE_SENSE_MAX) {
    std::swap(set.lowercut, set.uppercut);
    set.lowercut = -set.lowercut;
    set.uppercut = -set.uppercut;
  }
  return set;
}

// From the view of the problem to the items.
struct linear_run {
  spmat a, q;
  opt_run run;
  opt_monitors mon;
  opt_problem prob;
  linear_run(task_rec& t, const timer& clock)
      : a(mm_at(*t.mman)),
        q(mm_at(*t.mman)),
        run{&t, {}, clock, clock, false},
        mon(run_monitors(run)) {
    prob_acolumns(t.prob, a);
    run.maximize = t.par.i[ipar::objective_sense] == ZLV_OBJECTIVE_SENSE_MAX;
    prob = run_problem(t.prob, a, run.maximize);
    if (prob_getq(t.prob, prob_obj).val.empty()) return;
    prob_qcolumns(t.prob, prob_obj, q);
    prob.q = spmat_look(q);
  }
  opt_stage stage(const opt_settings& set) { return {set, mon, *run.task->mman, run.info}; }
  linear_run(const linear_run&) = delete;
  linear_run& operator=(const linear_run&) = delete;
};

bas_settings basis_settings(const param_values& par) {
  bas_settings set;
  set.maxiter = par.i[ipar::bi_max_iterations];
  set.logfreq = par.i[ipar::bi_log_freq];
  set.pivrel = par.d[dpar::bi_lu_tol_rel_piv];
  set.tolx = par.d[dpar::basis_tol_x];
  set.tols = par.d[dpar::basis_tol_s];
  return set;
}

opt_settings all_settings(const param_values& par) {
  opt_settings set;
  set.form = opt_form(par.i[ipar::intpnt_solve_form]);
  set.ipm = run_settings(par);
  set.prs = run_presolve(par);
  set.simform = opt_form(par.i[ipar::sim_solve_form]);
  set.sim = simplex_settings(par);
  set.bi = basis_settings(par);
  return set;
}

// The mode that goes on to the pipeline: the values without a meaning of their own are always.
opt_bimode basis_mode(int32_t mode) {
  switch (mode) {
    case ZLV_BI_NEVER:
    case ZLV_BI_IGNORE_INTPNT_MAX_ITER:
    case ZLV_BI_IGNORE_INTPNT_NUM_ERR:
    case ZLV_BI_IF_FEASIBLE:
      return opt_bimode(mode);
    default:
      return opt_bimode::always;
  }
}

// The simplex optimizer that cleans up; other optimizers leave the choice.
sim_method clean_method(int32_t optimizer) {
  if (optimizer == ZLV_OPTIMIZER_PRIMAL_SIMPLEX) return sim_method::primal;
  return optimizer == ZLV_OPTIMIZER_DUAL_SIMPLEX ? sim_method::dual : sim_method::free;
}

void prove_and_define(task_rec& t, int32_t whichsol, const opt_solution& sol) {
  if (!sol.isdefined) return;
  int32_t prosta = sol.prosta, solsta = sol.solsta;
  opt_prove(t, whichsol, prosta, solsta);
  sol_define(t, whichsol, run_prosta(prosta), solsta);
}

}  // namespace

rescode opt_runintpnt(task_rec& t, const timer& clock, bool bi) {
  t.inf.i[iinf::intpnt_num_threads] = t.par.i[ipar::intpnt_num_threads];
  linear_run linear(t, clock);
  opt_settings set = all_settings(t.par);
  if (bi) set.bimode = basis_mode(t.par.i[ipar::intpnt_basis]);
  set.clean = clean_method(t.par.i[ipar::bi_clean_optimizer]);
  opt_solution sol = run_solution(t, ZLV_SOL_ITR), bas;
  if (bi) bas = run_solution(t, ZLV_SOL_BAS);
  const rescode r = opt_ipmslv(linear.prob, linear.stage(set), sol, bi ? &bas : nullptr);
  run_copyall(linear.run);
  prove_and_define(t, ZLV_SOL_ITR, sol);
  if (bi) prove_and_define(t, ZLV_SOL_BAS, bas);
  return r;
}

void opt_startbasis(task_rec& t, lp_basis& basis) {
  if (t.par.i[ipar::sim_hotstart] == 0 || !sol_isdef(t, ZLV_SOL_BAS)) return;
  const sol_view from = sol_items(t, ZLV_SOL_BAS);
  auto keys = [](std::span<const int32_t> sk, mm_vector<lp_key>& to) {
    to.resize(sk.size());
    for (size_t k = 0; k < sk.size(); ++k) {
      to[k] = sk[k] >= ZLV_SK_BAS && sk[k] <= ZLV_SK_FIX ? lp_key(sk[k]) : lp_key::unknown;
    }
  };
  keys(from.skc, basis.con);
  keys(from.skx, basis.var);
}

rescode opt_runsimplex(task_rec& t, const timer& clock, const lp_basis& start) {
  linear_run linear(t, clock);
  opt_settings set = all_settings(t.par);
  set.sim.method = simplex_method(t.par.i[ipar::optimizer]);
  opt_solution sol = run_solution(t, ZLV_SOL_BAS);
  const rescode r = opt_simslv(linear.prob, linear.stage(set), start, sol);
  run_copyall(linear.run);
  prove_and_define(t, ZLV_SOL_BAS, sol);
  return r;
}
