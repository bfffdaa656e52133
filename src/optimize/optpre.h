// Presolve as a stage of the pipelines, and the check of what came back through postsolve.
#pragma once

#include "optimize/optslv.h"

// opt_presolve: announces, reduces, and tells the caller what is left to solve.
//   held  columns that presolve leaves alone, by a nonzero; empty: none
//   rec   out; with verdict undecided the problem itself is to be solved
rescode opt_presolve(const lp_view& lp, std::span<const uint8_t> held, bool forinterior,
                     const opt_stage& stage, prslv_rec& rec);

// Violations of a point, relative as in the proof of a status; of a ray, relative to its objective.
struct opt_quality {
  double primal = 0, dual = 0, gap = 0;
};
opt_quality opt_judge(const lp_view& lp, const lp_point& point, opt_kind kind);
// opt_isgood: whether a point or ray that is said to be optimal, or a certificate, is one.
bool opt_isgood(const lp_view& lp, const lp_point& point, opt_kind kind);

// opt_slackbasis: all rows basic, every column at a bound or at zero.
void opt_slackbasis(const lp_view& lp, lp_basis& basis);
