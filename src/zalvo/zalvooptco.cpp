// The conic interior-point run on a task with cones.

#include "cpub/callback.h"
#include "optimize/optconic.h"
#include "zalvo/zalvoopt.h"
#include "zalvo/zalvooptrun.h"

namespace {

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
  if (sol.lp.isdefined) {
    int32_t prosta = sol.lp.prosta, solsta = sol.lp.solsta;
    opt_prove(t, ZLV_SOL_ITR, prosta, solsta);
    sol_define(t, ZLV_SOL_ITR, run_prosta(prosta), solsta);
  }
  const rescode end = mon.announce(callback_code::end_conic, r);
  return r == rescode::ok ? end : r;
}
