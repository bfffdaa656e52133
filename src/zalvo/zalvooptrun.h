// What every run of an interior-point optimizer needs between the task and the rooms below:
// parameters become settings and a monitor, problem storage becomes views, results become
// information items.
#pragma once

#include "cpub/monitor.h"
#include "cpub/timer.h"
#include "optimize/optslv.h"
#include "zalvo/frame.h"

// What the monitor of a run hands to its functions.
struct opt_run {
  task_rec* task = nullptr;
  opt_info info;
  timer clock;            // of the run
  timer phase = {};       // of the interior-point optimizer
  bool maximize = false;  // objectives of the simplex optimizers are told with the other sign
};

// run_monitor: text to the task's log, breaks and callbacks of the task, items copied at every poll.
//   phaselevel  level of detail of the phase
monitor run_monitor(opt_run& run, int32_t phaselevel);
// run_monitors: the same for every phase of the linear pipelines, with what announces them.
opt_monitors run_monitors(opt_run& run);
void run_copyinfo(const hs_info& info, inf_values& inf);
// run_copyall: what every phase has told so far.
void run_copyall(opt_run& run);
hs_settings run_settings(const param_values& par);
prslv_settings run_presolve(const param_values& par);

opt_problem run_problem(const prob_rec& p, const spmat& a, bool maximize);
opt_solution run_solution(task_rec& t, int32_t whichsol);
// run_prosta: the problem statuses that may be handed over; the near ones become unknown.
int32_t run_prosta(int32_t prosta);
