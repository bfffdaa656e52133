// The pipelines: the interior point for linear and convex quadratic problems with basis identification
// behind it, and the simplex optimizers for linear ones; each between presolve and postsolve.
#pragma once

#include "basic/basident.h"
#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/rescode.h"
#include "homo/homslv.h"
#include "optimize/optdat.h"
#include "optimize/optdual.h"
#include "prslv/prslv.h"
#include "simplex/simplex.h"

// When a basis is identified behind the interior point: the values of ZLV_BI_* but for 1 and 4, which
// are both always.
enum class opt_bimode : int32_t {
  never = 0,
  always = 1,         // when the optimizer came to its own end
  ignoremaxiter = 2,  // also when the iteration limit ended the run
  ignorenumerr = 3,   // also when numerical problems did
  iffeasible = 5,     // only when the problem is feasible
};

struct opt_settings {
  opt_form form = opt_form::free;  // whether the problem or its dual goes to the interior point
  hs_settings ipm;
  prslv_settings prs;
  opt_form simform = opt_form::free;  // the same for the simplex optimizers
  sim_settings sim;
  bas_settings bi;
  opt_bimode bimode = opt_bimode::never;
  sim_method clean = sim_method::free;  // of the clean-up behind basis identification
};

// What the phases tell while they run; updated before every poll.
struct opt_info {
  hs_info ipm;
  prslv_info prs;
  sim_info sim;
  bool simdual = false;  // it solved the dual
  bool simflip = false;  // it is at work on the dual, and its objectives are of the other sign
  bas_info bi;
  sim_info clean;        // the simplex optimizer behind basis identification
  double bicputime = 0;  // of both, seconds
};

// One monitor for each phase, all with the same poll and clock and each with its own level of detail.
struct opt_monitors {
  monitor ipm, prs, sim, bi;
  // Tells that a phase begins, or has ended with a result. Null: nobody wants to know. What it returns
  // ends the run.
  rescode (*announcefn)(void* ctx, monitor_where where, rescode result) = nullptr;
  rescode announce(monitor_where where, rescode result = rescode::ok) const {
    return announcefn != nullptr ? announcefn(ipm.ctx, where, result) : rescode::ok;
  }
  template <class Work>
  rescode phase(monitor_where begin, monitor_where end, const Work& work) const {
    return monitor_phase([this](monitor_where where, rescode r) { return announce(where, r); },
                         begin, end, work);
  }
};

// What the stages of a pipeline share.
struct opt_stage {
  const opt_settings& set;
  const opt_monitors& mon;
  memman& mman;
  opt_info& info;
};

// opt_ipmslv: an interior solution of prob. A run that is stopped early leaves the best point found.
// Returns ok, how the run ended early, or err_nonconvex (and no solution) for a quadratic objective that
// the settings do not say to be convex and that is not.
//   bas  a basic solution as well, where the settings and the end of the run allow it; null: none
rescode opt_ipmslv(const opt_problem& prob, const opt_stage& stage, opt_solution& sol,
                   opt_solution* bas);

// opt_simslv: a basic solution of prob.
//   start  basis to start from, which keeps presolve out of the way; empty: none
// Returns ok or how the run ended early; sol is filled then too.
rescode opt_simslv(const opt_problem& prob, const opt_stage& stage, const lp_basis& start,
                   opt_solution& sol);
