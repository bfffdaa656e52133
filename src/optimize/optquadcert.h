// Certificates for problems with quadratic terms in constraints, looked for on their own where a run has
// ended without a verdict: each by a problem that has a solution.
#pragma once

#include "optimize/optquad.h"

// opt_quadinfeas: multipliers and a point that prove prob primal infeasible, by the least sum of
// violations; opt_quadunbounded: a direction along which the objective runs off, by a linear problem. out
// is as it was when there is none, or none that rounding would not explain.
// Return ok or how their runs ended early.
rescode opt_quadinfeas(const opt_quadproblem& prob, const quad_stage& stage, quad_point& out);
rescode opt_quadunbounded(const opt_quadproblem& prob, const quad_stage& stage, quad_point& out);
