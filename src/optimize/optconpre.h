// The pipeline for conic problems: presolve of their linear part, the conic optimizer, postsolve.
#pragma once

#include "optimize/optconic.h"
#include "optimize/optslv.h"

// opt_conpreslv: as opt_conslv, between presolve and postsolve. Presolve holds the members of cones:
// they and their cones stay; what it takes are rows and the other columns. A result that is worse on
// prob than it was on what presolve left, or none, sends prob itself to the optimizer.
rescode opt_conpreslv(const opt_conic_problem& prob, const opt_stage& stage,
                      opt_conic_solution& sol);
