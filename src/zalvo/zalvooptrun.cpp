#include "zalvo/zalvooptrun.h"

#include <algorithm>

#include "cpub/callback.h"
#include "zalvo/interrupt.h"
#include "zalvo/zalvoopt.h"

namespace {

int32_t count32(int64_t v) {
  return int32_t(std::min<int64_t>(v, INT32_MAX));
}

}  // namespace

void run_copyinfo(const hs_info& info, inf_values& inf) {
  const kktfac_stats& fs = info.fac;
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
  inf.i[iinf::intpnt_factor_mat_num_nz] = count32(fs.matnumnz);
  inf.i[iinf::intpnt_factor_num_nz] = count32(fs.numnz);
  inf.i[iinf::intpnt_factor_num] = fs.num;
  inf.i[iinf::intpnt_factor_num_solve] = fs.numsolve;
  inf.i[iinf::intpnt_gp_order_used] = fs.gpused ? 1 : 0;
  inf.i[iinf::intpnt_gp_order_saved_nzs] = count32(fs.gpsavednz);
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

void copy_presolve(const prslv_info& info, inf_values& inf) {
  inf.i[iinf::presolve_numcon] = info.numcon;
  inf.i[iinf::presolve_numvar] = info.numvar;
  inf.i[iinf::presolve_numanz] = count32(info.numanz);
  inf.i[iinf::presolve_num_pass] = info.numpass;
  inf.i[iinf::presolve_num_emptyrow] = info.numemptyrow;
  inf.i[iinf::presolve_num_singleton] = info.numsingleton;
  inf.i[iinf::presolve_num_redundant] = info.numredundant;
  inf.i[iinf::presolve_num_forcing] = info.numforcing;
  inf.i[iinf::presolve_num_duprow] = info.numduprow;
  inf.i[iinf::presolve_num_lindep] = info.numlindep;
  inf.i[iinf::presolve_num_emptycol] = info.numemptycol;
  inf.i[iinf::presolve_num_fixed] = info.numfixed;
  inf.i[iinf::presolve_num_domcol] = info.numdomcol;
  inf.i[iinf::presolve_num_dupcol] = info.numdupcol;
  inf.i[iinf::presolve_num_implfree] = info.numimplfree;
  inf.i[iinf::presolve_num_elim] = info.numelim + info.numdoubleton;
  inf.i[iinf::presolve_num_bound] = info.numbound;
  inf.d[dinf::presolve_cputime] = info.cputime;
  inf.d[dinf::presolve_realtime] = info.realtime;
  inf.d[dinf::presolve_eli_cputime] = info.elicputime;
  inf.d[dinf::presolve_lindep_cputime] = info.lindepcputime;
  inf.d[dinf::presolve_dom_cputime] = info.domcputime;
  inf.d[dinf::presolve_dup_cputime] = info.dupcputime;
}

// flip: objectives are told with the other sign.
void copy_simplex(const sim_info& info, bool flip, inf_values& inf) {
  const double sign = flip ? -1 : 1;
  inf.i[iinf::sim_numcon] = info.numcon;
  inf.i[iinf::sim_numvar] = info.numvar;
  inf.i[iinf::sim_dual_iter] = info.dualiter;
  inf.i[iinf::sim_primal_iter] = info.primiter;
  inf.i[iinf::sim_dual_deg_iter] = info.dualdeg;
  inf.i[iinf::sim_primal_deg_iter] = info.primdeg;
  inf.i[iinf::sim_dual_inf_iter] = info.dualinf;
  inf.i[iinf::sim_primal_inf_iter] = info.priminf;
  inf.i[iinf::sim_dual_setback_num] = info.dualsetback;
  inf.i[iinf::sim_primal_setback_num] = info.primsetback;
  inf.i[iinf::sim_dual_hotstart] = info.dualhot ? 1 : 0;
  inf.i[iinf::sim_primal_hotstart] = info.primhot ? 1 : 0;
  inf.i[iinf::sim_dual_flip_num] = info.dualflip;
  inf.i[iinf::sim_num_perturb] = info.numperturb;
  inf.i[iinf::sim_crash_num] = info.numcrash;
  inf.i[iinf::sim_lu_num_factor] = info.numfactor;
  inf.i[iinf::sim_lu_num_update] = info.numupdate;
  inf.i[iinf::sim_lu_num_singular] = info.numsingular;
  inf.i[iinf::sim_lu_num_nz] = count32(info.lunz);
  inf.d[dinf::sim_cputime] = info.cputime;
  inf.d[dinf::sim_dual_cputime] = info.dualtime;
  inf.d[dinf::sim_primal_cputime] = info.primtime;
  inf.d[dinf::sim_lu_cputime] = info.lutime;
  inf.d[dinf::sim_crash_cputime] = info.crashtime;
  inf.d[dinf::sim_feas] = info.feas;
  inf.d[dinf::sim_dual_obj] = sign * info.dualobj;
  inf.d[dinf::sim_obj] = sign * info.primobj;
}

void copy_basis(const opt_info& info, inf_values& inf) {
  const bas_info& bi = info.bi;
  const sim_info& clean = info.clean;
  inf.i[iinf::bi_iter] = bi.dualiter + bi.primaliter + clean.primiter + clean.dualiter;
  inf.i[iinf::bi_dual_iter] = bi.dualiter;
  inf.i[iinf::bi_primal_iter] = bi.primaliter;
  inf.i[iinf::bi_super_num] = bi.numsuper;
  inf.i[iinf::bi_lu_num_factor] = bi.numfactor + clean.numfactor;
  inf.i[iinf::bi_clean_iter] = clean.primiter + clean.dualiter;
  inf.i[iinf::bi_clean_primal_iter] = clean.primiter;
  inf.i[iinf::bi_clean_dual_iter] = clean.dualiter;
  inf.d[dinf::bi_cputime] = info.bicputime;
  inf.d[dinf::bi_dual_cputime] = bi.dualtime;
  inf.d[dinf::bi_primal_cputime] = bi.primaltime;
  inf.d[dinf::bi_lu_cputime] = bi.lutime + clean.lutime;
  inf.d[dinf::bi_clean_cputime] = clean.cputime;
  inf.d[dinf::bi_clean_primal_cputime] = clean.primtime;
  inf.d[dinf::bi_clean_dual_cputime] = clean.dualtime;
}

}  // namespace

void run_copyall(opt_run& run) {
  task_rec& t = *run.task;
  run_copyinfo(run.info.ipm, t.inf);
  copy_presolve(run.info.prs, t.inf);
  // Rows of the log and callbacks tell of the optimizer that runs; it may be the one that cleans up.
  const bool iscleaning = run.info.clean.running != sim_method::free;
  copy_simplex(iscleaning ? run.info.clean : run.info.sim, run.maximize != run.info.simflip, t.inf);
  t.inf.i[iinf::sim_solve_dual] = run.info.simdual ? 1 : 0;
  copy_basis(run.info, t.inf);
}

namespace {

void run_sink(void* ctx, const char* text) {
  msg_write(static_cast<opt_run*>(ctx)->task->streams, msg_kind::log, text);
}

rescode run_poll(void* ctx, monitor_where where) {
  opt_run& run = *static_cast<opt_run*>(ctx);
  run_copyall(run);
  const rescode r = task_pollbreak(*run.task);
  if (r != rescode::ok && where < 0) return r;
  if (where >= 0) opt_logphase(*run.task, where, run.clock, rescode::ok);
  const rescode asked = task_callback(*run.task, where);
  return r == rescode::ok ? asked : r;
}

rescode run_announce(void* ctx, monitor_where where, rescode result) {
  opt_run& run = *static_cast<opt_run*>(ctx);
  if (where == callback_code::begin_intpnt || where == callback_code::begin_conic) {
    run.phase = timer_start();
  }
  if (where == callback_code::end_intpnt || where == callback_code::end_conic) {
    run.info.ipm.cputime = timer_cpu(run.phase);
    run.info.ipm.realtime = timer_wall(run.phase);
    run.task->inf.d[dinf::intpnt_cputime] = run.info.ipm.cputime;
    run.task->inf.d[dinf::intpnt_realtime] = run.info.ipm.realtime;
  }
  run_copyall(run);
  opt_logphase(*run.task, where, run.clock, result);
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

opt_monitors run_monitors(opt_run& run) {
  const param_values& par = run.task->par;
  return {run_monitor(run, par.i[ipar::log_intpnt]), run_monitor(run, par.i[ipar::log_presolve]),
          run_monitor(run, par.i[ipar::log_sim]), run_monitor(run, par.i[ipar::log_bi]),
          run_announce};
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

prslv_settings run_presolve(const param_values& par) {
  prslv_settings set;
  set.use = par.i[ipar::presolve_use] != 0;
  set.eliminatoruse = par.i[ipar::presolve_eliminator_use] != 0;
  set.lindepuse = par.i[ipar::presolve_lindep_use] != 0;
  set.elimfill = par.i[ipar::presolve_elim_fill];
  set.lindepworklim = par.i[ipar::presolve_lindep_work_lim];
  set.tolx = par.d[dpar::presolve_tol_x];
  set.tols = par.d[dpar::presolve_tol_s];
  set.tolaij = par.d[dpar::presolve_tol_aij];
  set.tollindep = par.d[dpar::presolve_tol_lin_dep];
  return set;
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
