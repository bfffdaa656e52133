// The interior-point run on the linear or quadratic problem of a task.

#include "cpub/callback.h"
#include "zalvo/interrupt.h"
#include "zalvo/zalvoopt.h"
#include "zalvo/zalvooptrun.h"

rescode opt_runintpnt(task_rec& t, const timer& clock) {
  opt_run run{&t, {}, clock};
  const timer own = timer_start();
  if (run_logs(t, ipar::log_intpnt)) {
    task_echo(t, msg_kind::log, "Interior-point optimizer started.\n");
  }
  if (const rescode r = task_callback(t, callback_code::begin_intpnt); r != rescode::ok) return r;
  t.inf.i[iinf::intpnt_num_threads] = t.par.i[ipar::intpnt_num_threads];
  spmat a(mm_at(*t.mman)), q(mm_at(*t.mman));
  prob_acolumns(t.prob, a);
  if (!prob_getq(t.prob, prob_obj).val.empty()) prob_qcolumns(t.prob, prob_obj, q);
  const bool maximize = t.par.i[ipar::objective_sense] == ZLV_OBJECTIVE_SENSE_MAX;
  const monitor mon = run_monitor(run, t.par.i[ipar::log_intpnt]);
  opt_solution sol = run_solution(t, ZLV_SOL_ITR);
  const opt_settings set{opt_form(t.par.i[ipar::intpnt_solve_form]), run_settings(t.par)};
  opt_problem prob = run_problem(t.prob, a, maximize);
  prob.q = spmat_look(q);
  const rescode r = opt_ipmslv(prob, set, {mon}, *t.mman, run.info, sol);
  run.info.ipm.cputime = timer_cpu(own);
  run.info.ipm.realtime = timer_wall(own);
  run_copyinfo(run.info.ipm, t.inf);
  t.inf.d[dinf::intpnt_cputime] = run.info.ipm.cputime;
  t.inf.d[dinf::intpnt_realtime] = run.info.ipm.realtime;
  if (run_logs(t, ipar::log_intpnt)) run_announceend(t, "Interior-point optimizer", run, r);
  if (r != rescode::err_nonconvex) {
    int32_t prosta = sol.prosta, solsta = sol.solsta;
    opt_prove(t, ZLV_SOL_ITR, prosta, solsta);
    sol_define(t, ZLV_SOL_ITR, run_prosta(prosta), solsta);
  }
  const rescode end = task_callback(t, callback_code::end_intpnt);
  return r == rescode::ok ? end : r;
}
