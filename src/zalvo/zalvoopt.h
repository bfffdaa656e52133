// What the parts of the optimizer driver share.
#pragma once

#include <cstdint>

#include "cpub/rescode.h"
#include "cpub/timer.h"
#include "misc/linprob.h"

struct ZLV_task_rec;

// opt_prove: lowers the statuses of a solution until the stored point or ray keeps what they promise
// on the task's own data, and says what can be said of a point without a verdict. Logs each step.
//   whichsol        ZLV_SOL_*, allocated and filled
//   prosta, solsta  in and out, ZLV_PRO_STA_* and ZLV_SOL_STA_*
void opt_prove(ZLV_task_rec& t, int32_t whichsol, int32_t& prosta, int32_t& solsta);

// opt_core: one run of the task's optimizer, from the choice to the summary items. Reports its result.
rescode opt_core(ZLV_task_rec& t);

// opt_runintpnt: the interior-point pipeline on a linear or quadratic problem. The solutions that it fills are
// allocated; it proves and defines them.
//   clock  started with the run
//   bi     a basis may be identified behind it
rescode opt_runintpnt(ZLV_task_rec& t, const timer& clock, bool bi);

// opt_startbasis: the keys of the task's basic solution, when it is defined and may be a start.
void opt_startbasis(ZLV_task_rec& t, lp_basis& basis);
// opt_runsimplex: the simplex pipeline on a linear problem, likewise.
//   start  basis to start from; empty: none
rescode opt_runsimplex(ZLV_task_rec& t, const timer& clock, const lp_basis& start);

// opt_logphase: writes what the log says at a callback code: beginnings, ends with their results, and
// rows of the simplex optimizers from the task's items.
//   clock  of the run
void opt_logphase(ZLV_task_rec& t, int32_t where, const timer& clock, rescode result);
// opt_runconic: the conic interior-point optimizer, likewise.
rescode opt_runconic(ZLV_task_rec& t, const timer& clock);
// opt_runqcone: quadratic terms of the objective and of constraints by the homogeneous method, and as
// cones where that leaves the status open, likewise.
rescode opt_runqcone(ZLV_task_rec& t, const timer& clock);

// opt_concurrent: the run of ZLV_OPTIMIZER_CONCURRENT. Reports its result.
rescode opt_concurrent(ZLV_task_rec& t);

// opt_infeasreport: what the certificate among the task's solutions says, to the log; nothing when
// there is none.
void opt_infeasreport(ZLV_task_rec& t);
