#include "zalvo/zalvooptrun.h"

#include <algorithm>

#include "zalvo/interrupt.h"

void run_copyinfo(const hs_info& info, inf_values& inf) {
  const kktfac_stats& fs = info.fac;
  auto count = [](int64_t v) { return int32_t(std::min<int64_t>(v, INT32_MAX)); };
  inf.i[iinf::intpnt_iter] = info.iter;
  inf.i[iinf::intpnt_solve_dual] = info.solvedual ? 1 : 0;
  inf.i[iinf::intpnt_numcon] = info.numcon;
  inf.i[iinf::intpnt_numvar] = info.numvar;
  inf.i[iinf::intpnt_numblo] = info.numblo;
  inf.i[iinf::intpnt_numbup] = info.numbup;
  inf.i[iinf::intpnt_numbfr] = info.numbfr;
  inf.i[iinf::intpnt_factor_dim] = fs.dim;
  inf.i[iinf::intpnt_factor_den_dim] = fs.dendim;
  inf.i[iinf::intpnt_factor_num_offcol] = fs.numoffcol;
  inf.i[iinf::intpnt_factor_mat_num_nz] = count(fs.matnumnz);
  inf.i[iinf::intpnt_factor_num_nz] = count(fs.numnz);
  inf.i[iinf::intpnt_factor_num] = fs.num;
  inf.i[iinf::intpnt_factor_num_solve] = fs.numsolve;
  inf.i[iinf::intpnt_gp_order_used] = fs.gpused ? 1 : 0;
  inf.i[iinf::intpnt_gp_order_saved_nzs] = count(fs.gpsavednz);
  inf.d[dinf::intpnt_primal_feas] = info.pfeas;
  inf.d[dinf::intpnt_dual_feas] = info.dfeas;
  inf.d[dinf::intpnt_kap_div_tau] = info.kapdivtau;
  inf.d[dinf::intpnt_primal_obj] = info.pobj;
  inf.d[dinf::intpnt_dual_obj] = info.dobj;
  inf.d[dinf::intpnt_comp_gap] = info.compgap;
  inf.d[dinf::intpnt_factor_num_flops] = fs.flops;
  inf.d[dinf::intpnt_factor_num_ada_flops] = fs.adaflops;
  inf.d[dinf::intpnt_factor_num_dense_flops] = fs.denseflops;
  inf.d[dinf::intpnt_fsetup_cputime] = fs.tsetup;
  inf.d[dinf::intpnt_order_cputime] = fs.torder;
  inf.d[dinf::intpnt_gp_order_cputime] = fs.tgporder;
  inf.d[dinf::intpnt_gp_order_saved_flops] = fs.gpsavedflops;
  inf.d[dinf::intpnt_factor_cputime] = fs.tfactor;
  inf.d[dinf::intpnt_factor_ada_cputime] = fs.tada;
  inf.d[dinf::intpnt_factor_dense_cputime] = fs.tdense;
  inf.d[dinf::intpnt_factor_solve_cputime] = fs.tsolve;
}

namespace {

void run_sink(void* ctx, const char* text) {
  msg_write(static_cast<opt_run*>(ctx)->task->streams, msg_kind::log, text);
}

rescode run_poll(void* ctx, monitor_where where) {
  opt_run& run = *static_cast<opt_run*>(ctx);
  run_copyinfo(run.info.ipm, run.task->inf);
  if (const rescode r = task_pollbreak(*run.task); r != rescode::ok) return r;
  return task_callback(*run.task, where);
}

}  // namespace

monitor run_monitor(opt_run& run, int32_t phaselevel) {
  monitor mon;
  mon.ctx = &run;
  mon.sinkfn = run_sink;
  mon.pollfn = run_poll;
  mon.level = run.task->par.i[ipar::log] != 0 ? phaselevel : 0;
  mon.maxtime = run.task->par.d[dpar::optimizer_max_time];
  mon.clock = run.clock;
  return mon;
}

hs_settings run_settings(const param_values& par) {
  hs_settings set;
  set.tolpfeas = par.d[dpar::intpnt_tol_pfeas];
  set.toldfeas = par.d[dpar::intpnt_tol_dfeas];
  set.tolrelgap = par.d[dpar::intpnt_tol_rel_gap];
  set.tolmured = par.d[dpar::intpnt_tol_mu_red];
  set.tolinfeas = par.d[dpar::intpnt_tol_infeas];
  set.tolpath = par.d[dpar::intpnt_tol_path];
  set.tolrelstep = par.d[dpar::intpnt_tol_rel_step];
  set.psafe = par.d[dpar::intpnt_tol_psafe];
  set.dsafe = par.d[dpar::intpnt_tol_dsafe];
  set.maxiter = par.i[ipar::intpnt_max_iterations];
  set.diffstep = par.i[ipar::intpnt_diff_step] != 0;
  set.constantstart = par.i[ipar::intpnt_starting_point] == ZLV_STARTING_POINT_CONSTANT;
  set.useregul = par.i[ipar::intpnt_regularization_use] != 0;
  set.scaling = hs_scaling(par.i[ipar::intpnt_scaling]);
  set.kkt.ordermethod = par.i[ipar::intpnt_order_method];
  set.kkt.offcoltrh = par.i[ipar::intpnt_off_col_trh];
  set.kkt.numthreads = par.i[ipar::intpnt_num_threads];
  set.kkt.cputype = par.i[ipar::cpu_type];
  set.kkt.cachel1 = par.i[ipar::cache_size_l1];
  set.kkt.cachel2 = par.i[ipar::cache_size_l2];
  const bool detail = par.i[ipar::log] != 0 && par.i[ipar::log_intpnt] > 1;
  set.orderlevel = detail ? par.i[ipar::log_order] : 0;
  return set;
}

void run_announceend(task_rec& t, const char* what, const opt_run& run, rescode r) {
  if (t.par.i[ipar::log] == 0) return;
  task_echo(t, msg_kind::log, "%s terminated. CPU Time: %-.2f. Real Time: %-.2f. %s\n\n", what,
            run.info.ipm.cputime, run.info.ipm.realtime,
            r == rescode::ok ? "" : rescode_description(r));
}

bool run_logs(const task_rec& t, int32_t phase) {
  return t.par.i[ipar::log] != 0 && t.par.i[phase] != 0;
}

opt_problem run_problem(const prob_rec& p, const spmat& a, bool maximize) {
  opt_problem view;
  const size_t m = p.numcon, n = p.numvar;
  view.numcon = p.numcon;
  view.numvar = p.numvar;
  view.a = spmat_look(a);
  view.bkc = std::span(p.bkc).first(m);
  view.blc = std::span(p.blc).first(m);
  view.buc = std::span(p.buc).first(m);
  view.bkx = std::span(p.bkx).first(n);
  view.blx = std::span(p.blx).first(n);
  view.bux = std::span(p.bux).first(n);
  view.c = std::span(p.c).first(n);
  view.cfix = p.cfix;
  view.maximize = maximize;
  return view;
}

opt_solution run_solution(task_rec& t, int32_t whichsol) {
  const sol_view from = sol_access(t, whichsol);
  opt_solution to;
  to.skc = from.skc;
  to.skx = from.skx;
  to.xc = from.xc;
  to.xx = from.xx;
  to.y = from.y;
  to.slc = from.slc;
  to.suc = from.suc;
  to.slx = from.slx;
  to.sux = from.sux;
  return to;
}

int32_t run_prosta(int32_t prosta) {
  return prosta >= ZLV_PRO_STA_PRIM_AND_DUAL_FEAS && prosta <= ZLV_PRO_STA_ILL_POSED
             ? prosta
             : ZLV_PRO_STA_UNKNOWN;
}
