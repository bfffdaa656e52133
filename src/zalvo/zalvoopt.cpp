// ZLV_optimize: choice of the optimizer, the run's bookkeeping, and the order of its steps. The runs
// themselves are in units of their own, by the kind of problem.

#include "zalvo/zalvoopt.h"

#include "zalvo/frame.h"
#include "zalvo/interrupt.h"
#include "zalvo/solmeasure.h"

namespace {

// Items of a run back to zero; what reading, storing and the processor left stays.
void reset_items(task_rec& t) {
  auto stays = [](int32_t k) {
    return (k >= iinf::rd_numanz && k <= iinf::rd_protype) || k == iinf::cpu_type ||
           k == iinf::cache_size_l1 || k == iinf::cache_size_l2 || k == iinf::num_cpucores ||
           (k >= iinf::sto_num_a_cache_flushes && k <= iinf::sto_num_a_transposes);
  };
  for (int32_t k = 0; k < iinf::count; ++k) {
    if (!stays(k)) t.inf.i[k] = 0;
  }
  for (int32_t k = 0; k < dinf::count; ++k) {
    if (k != dinf::rd_cputime) t.inf.d[k] = 0;
  }
  t.inf.i[iinf::opt_numcon] = t.prob.numcon;
  t.inf.i[iinf::opt_numvar] = t.prob.numvar;
  t.inf.i[iinf::opt_numanz] = prob_numanz(t.prob);
  t.inf.i[iinf::opt_numcone] = t.prob.numcone;
  t.inf.i[iinf::opt_numintvar] = t.prob.numintvar;
  t.inf.i[iinf::opt_numqnz] = prob_qused(t.prob);
}

// ---- Dispatch

// Basis identification behind the interior point: as its parameter says, or always when a linear
// problem comes here by another optimizer.
bool wants_basis(const task_rec& t, int32_t probtype) {
  if (probtype != ZLV_PROBTYPE_LO) return false;
  const int32_t optimizer = t.par.i[ipar::optimizer];
  if (optimizer == ZLV_OPTIMIZER_QCONE) return false;
  const bool isforced = optimizer != ZLV_OPTIMIZER_FREE && optimizer != ZLV_OPTIMIZER_INTPNT;
  return isforced || t.par.i[ipar::intpnt_basis] != ZLV_BI_NEVER;
}

rescode run_continuous(task_rec& t, const timer& clock) {
  const int32_t optimizer = t.par.i[ipar::optimizer];
  const int32_t probtype = prob_probtype(t.prob, false);
  const bool issimplex = optimizer == ZLV_OPTIMIZER_PRIMAL_SIMPLEX ||
                         optimizer == ZLV_OPTIMIZER_DUAL_SIMPLEX ||
                         optimizer == ZLV_OPTIMIZER_FREE_SIMPLEX;
  const int32_t whichsol = issimplex ? ZLV_SOL_BAS : ZLV_SOL_ITR;
  lp_basis start(mm_at(*t.mman));
  if (issimplex) opt_startbasis(t, start);
  if (const rescode r = sol_allocate(t, whichsol); r != rescode::ok) return r;
  if (optimizer == ZLV_OPTIMIZER_CONIC || (optimizer == ZLV_OPTIMIZER_FREE && t.prob.numcone > 0)) {
    return opt_runconic(t, clock);
  }
  if (issimplex) {
    return probtype == ZLV_PROBTYPE_LO ? opt_runsimplex(t, clock, start)
                                       : rescode::err_inv_optimizer;
  }
  if (probtype == ZLV_PROBTYPE_MIXED) return rescode::err_mixed_problem;
  if (probtype == ZLV_PROBTYPE_CONIC || t.prob.numcone > 0) return rescode::err_inv_optimizer;
  const bool isflat = probtype == ZLV_PROBTYPE_LO || probtype == ZLV_PROBTYPE_QO;
  if (!isflat && probtype != ZLV_PROBTYPE_QCQO) return rescode::err_solver_probtype;
  if (!isflat || optimizer == ZLV_OPTIMIZER_QCONE) return opt_runqcone(t, clock);
  const bool bi = wants_basis(t, probtype);
  if (bi) {
    if (const rescode r = sol_allocate(t, ZLV_SOL_BAS); r != rescode::ok) return r;
  }
  return opt_runintpnt(t, clock, bi);
}

rescode run_dispatch(task_rec& t, const timer& clock) {
  const int32_t optimizer = t.par.i[ipar::optimizer];
  if (optimizer == ZLV_OPTIMIZER_CONCURRENT) return opt_concurrent(t);
  const bool isinteger = t.prob.numintvar > 0 && t.par.i[ipar::mio_mode] != ZLV_MIO_MODE_IGNORED;
  if (isinteger || optimizer == ZLV_OPTIMIZER_NONCONVEX) return rescode::err_mio_not_loaded;
  return run_continuous(t, clock);
}

// ---- Bookkeeping after the run

void store_summary(task_rec& t, int32_t whichsol) {
  if (!sol_isdef(t, whichsol)) return;
  sol_measures m;
  sol_measure(t, whichsol, m);
  auto& d = t.inf.d;
  auto& i = t.inf.i;
  const sol_rec& rec = t.sol.rec[whichsol];
  if (whichsol == ZLV_SOL_ITR) {
    i[iinf::sol_itr_prosta] = rec.prosta;
    i[iinf::sol_itr_solsta] = rec.solsta;
    d[dinf::sol_itr_primal_obj] = m.primalobj;
    d[dinf::sol_itr_dual_obj] = m.dualobj;
    d[dinf::sol_itr_max_peqi] = m.maxpeqi;
    d[dinf::sol_itr_max_pbi] = m.maxpbi;
    d[dinf::sol_itr_max_pcni] = m.maxpcni;
    d[dinf::sol_itr_max_pinti] = m.maxinti;
    d[dinf::sol_itr_max_deqi] = m.maxdeqi;
    d[dinf::sol_itr_max_dbi] = m.maxdbi;
    d[dinf::sol_itr_max_dcni] = m.maxdcni;
  } else if (whichsol == ZLV_SOL_BAS) {
    i[iinf::sol_bas_prosta] = rec.prosta;
    i[iinf::sol_bas_solsta] = rec.solsta;
    d[dinf::sol_bas_primal_obj] = m.primalobj;
    d[dinf::sol_bas_dual_obj] = m.dualobj;
    d[dinf::sol_bas_max_peqi] = m.maxpeqi;
    d[dinf::sol_bas_max_pbi] = m.maxpbi;
    d[dinf::sol_bas_max_pinti] = m.maxinti;
    d[dinf::sol_bas_max_deqi] = m.maxdeqi;
    d[dinf::sol_bas_max_dbi] = m.maxdbi;
  } else {
    i[iinf::sol_int_prosta] = rec.prosta;
    i[iinf::sol_int_solsta] = rec.solsta;
    d[dinf::sol_int_primal_obj] = m.primalobj;
    d[dinf::sol_int_max_peqi] = m.maxpeqi;
    d[dinf::sol_int_max_pbi] = m.maxpbi;
    d[dinf::sol_int_max_pinti] = m.maxinti;
  }
}

rescode report_result(task_rec& t, rescode r) {
  if (r == rescode::err_inv_optimizer) return task_fail(t, r, t.par.i[ipar::optimizer]);
  return task_fail(t, r);
}

}  // namespace

rescode opt_core(task_rec& t) {
  const timer clock = timer_start();
  const bool isconcurrent = t.par.i[ipar::optimizer] == ZLV_OPTIMIZER_CONCURRENT;
  reset_items(t);
  task_resetbreaks(t);
  rescode r = rescode::ok;
  try {
    r = run_dispatch(t, clock);
    for (int32_t whichsol = 0; whichsol < sol_count; ++whichsol) store_summary(t, whichsol);
  } catch (const std::bad_alloc&) {
    r = rescode::err_space;
  }
  task_leavebreaks(t);
  t.inf.d[dinf::optimizer_cputime] = timer_cpu(clock);
  t.inf.d[dinf::optimizer_realtime] = timer_wall(clock);
  if (r == rescode::err_space && t.par.i[ipar::log] != 0) {
    task_echo(t, msg_kind::log, "*** ZALVO ran out of space (=RAM) while optimizing a task.\n\n");
  }
  return isconcurrent ? r : report_result(t, r);
}

int32_t ZLV_optimize(ZLV_task_t task) {
  return task_call(task, [](task_rec& t) {
    if (t.par.i[ipar::check_convexity] == ZLV_CHECK_CONVEXITY_SIMPLE && prob_qused(t.prob) > 0) {
      if (const rescode r = rescode(ZLV_checkconvexity(&t)); r != rescode::ok) return r;
    }
    const rescode r = opt_core(t);
    if (t.par.i[ipar::infeas_report_auto] != 0) opt_infeasreport(t);
    return r;
  });
}
