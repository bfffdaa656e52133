// The interior-point pipeline for linear problems: internal form, homogeneous optimizer, and the way
// back to a solution of the problem.
#pragma once

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/rescode.h"
#include "homo/homslv.h"
#include "optimize/optdat.h"
#include "optimize/optdual.h"

// opt_ipmslv: an interior solution of prob. A run that is stopped early leaves the best point found.
//   form  whether the problem or its dual is given to the optimizer; free: by estimated work
//   info  updated before every poll of mon
// Returns ok or how the run ended early.
rescode opt_ipmslv(const opt_problem& prob, opt_form form, const hs_settings& set,
                   const monitor& mon, memman& mman, hs_info& info, opt_solution& sol);
