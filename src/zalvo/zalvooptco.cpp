// The runs on a task with cones, and on one with quadratic terms, which may become cones.

#include <algorithm>
#include <array>

#include "cpub/callback.h"
#include "optimize/optconpre.h"
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

// What comes back is proved and stored.
void store(task_rec& t, const opt_solution& sol) {
  if (!sol.isdefined) return;
  int32_t prosta = sol.prosta, solsta = sol.solsta;
  opt_prove(t, ZLV_SOL_ITR, prosta, solsta);
  sol_define(t, ZLV_SOL_ITR, run_prosta(prosta), solsta);
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
  opt_settings set;
  set.ipm = conic_settings(t.par);
  set.prs = run_presolve(t.par);
  return mon.phase(callback_code::begin_conic, callback_code::end_conic, [&] {
    const rescode r = opt_conpreslv({run_problem(t.prob, a, maximize), cones},
                                    {set, mon, *t.mman, run.info}, sol);
    store(t, sol.lp);
    return r;
  });
}

namespace {

// The task's problem with quadratic terms, as the pipelines want it.
struct quad_run {
  spmat a, q;
  mm_vector<quad_form> forms;
  mm_vector<opt_quadratic> terms;
  opt_quadproblem prob;
  quad_run(task_rec& t, bool maximize)
      : a(mm_at(*t.mman)), q(mm_at(*t.mman)), forms(mm_at(*t.mman)), terms(mm_at(*t.mman)) {
    prob_acolumns(t.prob, a);
    prob_qcolumns(t.prob, prob_obj, q);
    prob.flat = run_problem(t.prob, a, maximize);
    if (!q.sub.empty()) prob.flat.q = spmat_look(q);
    mm_vector<int32_t> rows(mm_at(*t.mman));
    for (int32_t k = 0; k < t.prob.numcon; ++k) {
      if (!prob_getq(t.prob, k).val.empty()) rows.push_back(k);
    }
    forms.resize(rows.size(), quad_form(mm_at(*t.mman)));
    for (size_t k = 0; k < rows.size(); ++k) {
      const prob_qterms from = prob_getq(t.prob, rows[k]);
      quadform_assemble(from.subi, from.subj, from.val, t.par.d[dpar::data_tol_qij], forms[k]);
      if (!forms[k].vars.empty()) terms.push_back({rows[k], &forms[k]});
    }
    prob.terms = terms;
  }
  quad_run(const quad_run&) = delete;
  quad_run& operator=(const quad_run&) = delete;
};

// Entries of terms beyond which their factors, rows of the conic problem, are more work than a second
// opinion is worth.
constexpr size_t most_entries = 5000000;

size_t count_entries(const quad_run& quad) {
  size_t sum = quad.q.sub.size() / 2;
  for (const quad_form& form : quad.forms) sum += form.low.sub.size();
  return sum;
}

// How much a status says.
int rank_of(int32_t solsta) {
  switch (solsta) {
    case ZLV_SOL_STA_OPTIMAL:
    case ZLV_SOL_STA_PRIM_INFEAS_CER:
    case ZLV_SOL_STA_DUAL_INFEAS_CER:
      return 3;
    case ZLV_SOL_STA_NEAR_OPTIMAL:
    case ZLV_SOL_STA_NEAR_PRIM_INFEAS_CER:
    case ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER:
      return 2;
    case ZLV_SOL_STA_UNKNOWN:
      return 0;
    default:
      return 1;
  }
}

// Room for a solution of the same sizes, in which the second run of a problem works.
struct spare_solution {
  mm_vector<int32_t> keys;
  mm_vector<double> values;
  opt_solution view;
  spare_solution(const opt_solution& like, mm_place at)
      : keys(like.skc.size() + like.skx.size(), ZLV_SK_UNK, at),
        values(4 * like.xc.size() + 3 * like.xx.size(), 0.0, at),
        view(like) {
    size_t key = 0, value = 0;
    for (std::span<int32_t>* part : {&view.skc, &view.skx}) {
      *part = std::span<int32_t>(keys).subspan(key, part->size());
      key += part->size();
    }
    for (std::span<double>* part :
         {&view.xc, &view.xx, &view.y, &view.slc, &view.suc, &view.slx, &view.sux}) {
      *part = std::span<double>(values).subspan(value, part->size());
      value += part->size();
    }
    view.isdefined = false;
  }
};

void swap_values(opt_solution& a, opt_solution& b) {
  std::swap_ranges(a.skc.begin(), a.skc.end(), b.skc.begin());
  std::swap_ranges(a.skx.begin(), a.skx.end(), b.skx.begin());
  const auto parts = [](opt_solution& s) {
    return std::array{s.xc, s.xx, s.y, s.slc, s.suc, s.slx, s.sux};
  };
  const auto from = parts(a), to = parts(b);
  for (size_t k = 0; k < from.size(); ++k) {
    std::swap_ranges(from[k].begin(), from[k].end(), to[k].begin());
  }
  std::swap(a.prosta, b.prosta);
  std::swap(a.solsta, b.solsta);
  std::swap(a.isdefined, b.isdefined);
}

void prove(task_rec& t, opt_solution& sol) {
  if (sol.isdefined) opt_prove(t, ZLV_SOL_ITR, sol.prosta, sol.solsta);
}

// The terms as they are.
rescode run_direct(opt_run& run, const opt_monitors& mon, const quad_run& quad, opt_solution& sol) {
  hs_settings set = run_settings(run.task->par);
  set.isconvex = true;
  const rescode r = mon.phase(callback_code::begin_intpnt, callback_code::end_intpnt, [&] {
    return opt_quadslv(quad.prob, set, mon.ipm, *run.task->mman, run.info.ipm, sol);
  });
  prove(*run.task, sol);
  return r;
}

// The terms as cones.
rescode run_cones(opt_run& run, const opt_monitors& mon, const quad_run& quad, opt_solution& sol) {
  hs_settings set = conic_settings(run.task->par);
  set.numcenter = center_steps;
  set.gapmore = center_gap;
  const rescode r = mon.phase(callback_code::begin_conic, callback_code::end_conic, [&] {
    return opt_qconslv(quad.prob, set, mon.ipm, *run.task->mman, run.info.ipm, sol);
  });
  prove(*run.task, sol);
  return r;
}

}  // namespace

rescode opt_runqcone(task_rec& t, const timer& clock) {
  if (const rescode r = convexity_find(t); r != rescode::ok) return r;
  t.inf.i[iinf::intpnt_num_threads] = t.par.i[ipar::intpnt_num_threads];
  const bool maximize = t.par.i[ipar::objective_sense] == ZLV_OBJECTIVE_SENSE_MAX;
  opt_run run{&t, {}, clock, clock, maximize};
  const opt_monitors mon = run_monitors(run);
  const quad_run quad(t, maximize);
  opt_solution sol = run_solution(t, ZLV_SOL_ITR);
  const sol_view stored = sol_access(t, ZLV_SOL_ITR);
  std::fill(stored.snx.begin(), stored.snx.end(), 0.0);
  rescode r = run_direct(run, mon, quad, sol);
  const bool isended = r == rescode::ok || r == rescode::trm_stall;
  if (isended && rank_of(sol.solsta) < 3 && count_entries(quad) <= most_entries) {
    spare_solution spare(sol, mm_at(*t.mman));
    swap_values(sol, spare.view);
    const rescode second = run_cones(run, mon, quad, sol);
    if (rank_of(sol.solsta) <= rank_of(spare.view.solsta)) {
      swap_values(sol, spare.view);
    } else {
      r = second;
    }
    if (second != rescode::ok && second != rescode::trm_stall) r = second;
  }
  if (sol.isdefined) sol_define(t, ZLV_SOL_ITR, run_prosta(sol.prosta), sol.solsta);
  return r;
}
