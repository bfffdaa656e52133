// The conic interior-point runs: on a task with cones, and on one with quadratic terms that become
// cones.

#include <algorithm>

#include "cpub/callback.h"
#include "optimize/optconic.h"
#include "optimize/optqcone.h"
#include "zalvo/convexity.h"
#include "zalvo/zalvoopt.h"
#include "zalvo/zalvooptrun.h"

namespace {

// What multipliers of quadratic terms need to fit the gradients: they come as near as the root of the
// gap off the central path, and as near as the gap on it.
constexpr int32_t center_steps = 3;
constexpr double center_gap = 1e-2;

hs_settings conic_settings(const param_values& par) {
  hs_settings set = run_settings(par);
  set.tolpfeas = par.d[dpar::intpnt_co_tol_pfeas];
  set.toldfeas = par.d[dpar::intpnt_co_tol_dfeas];
  set.tolrelgap = par.d[dpar::intpnt_co_tol_rel_gap];
  set.tolmured = par.d[dpar::intpnt_co_tol_mu_red];
  set.tolinfeas = par.d[dpar::intpnt_co_tol_infeas];
  set.nearrel = par.d[dpar::intpnt_co_tol_near_rel];
  return set;
}

// What comes back is proved and stored; then the end is told.
rescode finish(opt_run& run, const opt_monitors& mon, const opt_solution& sol, rescode r) {
  task_rec& t = *run.task;
  if (sol.isdefined) {
    int32_t prosta = sol.prosta, solsta = sol.solsta;
    opt_prove(t, ZLV_SOL_ITR, prosta, solsta);
    sol_define(t, ZLV_SOL_ITR, run_prosta(prosta), solsta);
  }
  const rescode end = mon.announce(callback_code::end_conic, r);
  return r == rescode::ok ? end : r;
}

}  // namespace

rescode opt_runconic(task_rec& t, const timer& clock) {
  if (prob_qused(t.prob) > 0) {
    return t.prob.numcone > 0 ? rescode::err_mixed_problem : rescode::err_inv_optimizer;
  }
  t.inf.i[iinf::intpnt_num_threads] = t.par.i[ipar::intpnt_num_threads];
  const bool maximize = t.par.i[ipar::objective_sense] == ZLV_OBJECTIVE_SENSE_MAX;
  opt_run run{&t, {}, clock, clock, maximize};
  const opt_monitors mon = run_monitors(run);
  spmat a(mm_at(*t.mman));
  prob_acolumns(t.prob, a);
  mm_vector<opt_cone> cones(mm_at(*t.mman));
  for (const prob_cone& cone : t.prob.cone) cones.push_back({cone.type, cone.sub});
  const sol_view stored = sol_access(t, ZLV_SOL_ITR);
  opt_conic_solution sol{run_solution(t, ZLV_SOL_ITR), stored.snx, stored.skn};
  if (const rescode r = mon.announce(callback_code::begin_conic); r != rescode::ok) return r;
  const rescode r = opt_conslv({run_problem(t.prob, a, maximize), cones}, conic_settings(t.par),
                               mon.ipm, *t.mman, run.info.ipm, sol);
  return finish(run, mon, sol.lp, r);
}

rescode opt_runqcone(task_rec& t, const timer& clock) {
  if (const rescode r = convexity_find(t); r != rescode::ok) return r;
  t.inf.i[iinf::intpnt_num_threads] = t.par.i[ipar::intpnt_num_threads];
  const bool maximize = t.par.i[ipar::objective_sense] == ZLV_OBJECTIVE_SENSE_MAX;
  opt_run run{&t, {}, clock, clock, maximize};
  const opt_monitors mon = run_monitors(run);
  const mm_place at = mm_at(*t.mman);
  spmat a(at), q(at);
  prob_acolumns(t.prob, a);
  opt_problem prob = run_problem(t.prob, a, maximize);
  prob_qcolumns(t.prob, prob_obj, q);
  prob.q = spmat_look(q);
  mm_vector<spmat> store(at);
  mm_vector<int32_t> rows(at);
  for (int32_t k = 0; k < t.prob.numcon; ++k) {
    if (!prob_getq(t.prob, k).val.empty()) rows.push_back(k);
  }
  store.resize(rows.size(), spmat(at));
  mm_vector<opt_quadratic> terms(at);
  for (size_t k = 0; k < rows.size(); ++k) {
    prob_qcolumns(t.prob, rows[k], store[k]);
    if (!store[k].sub.empty()) terms.push_back({rows[k], spmat_look(store[k])});
  }
  opt_solution sol = run_solution(t, ZLV_SOL_ITR);
  const sol_view stored = sol_access(t, ZLV_SOL_ITR);
  std::fill(stored.snx.begin(), stored.snx.end(), 0.0);
  if (const rescode r = mon.announce(callback_code::begin_conic); r != rescode::ok) return r;
  hs_settings set = conic_settings(t.par);
  set.numcenter = center_steps;
  set.gapmore = center_gap;
  const rescode r = opt_qconslv(prob, terms, set, mon.ipm, *t.mman, run.info.ipm, sol);
  return finish(run, mon, sol, r);
}
