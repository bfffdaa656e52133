// The pipelines for linear and convex quadratic problems: interior point with basis identification behind it, and the
// simplex optimizers; each between presolve and postsolve.
#pragma once

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/rescode.h"
#include "homo/homslv.h"
#include "optimize/optdat.h"
#include "optimize/optdual.h"

struct opt_settings {
  opt_form form = opt_form::free;  // whether the problem or its dual goes to the interior point
  hs_settings ipm;
};

// One monitor for each phase: the same poll and clock, its own level of detail.
struct opt_monitors {
  monitor ipm;
};

// What the phases tell while they run; updated before every poll.
struct opt_info {
  hs_info ipm;
};

// opt_ipmslv: an interior solution of prob. A run that is stopped early leaves the best point found.
// Returns ok, how the run ended early, or err_nonconvex (and no solution) for a quadratic objective that
// the settings do not say to be convex and that is not.
rescode opt_ipmslv(const opt_problem& prob, const opt_settings& set, const opt_monitors& mon,
                   memman& mman, opt_info& info, opt_solution& sol);
