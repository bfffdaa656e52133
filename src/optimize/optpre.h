// The stages that the pipelines share: presolve, the check of what came back through postsolve, and
// the way of a basic solution.
#pragma once

#include "optimize/optslv.h"

// opt_presolve: announces, reduces, and tells the caller what is left to solve.
//   held  columns that presolve leaves alone, or their bounds too; empty: none
//   rec   out; with verdict undecided the problem itself is to be solved
rescode opt_presolve(const lp_view& lp, std::span<const prslv_hold> held, bool forinterior,
                     const opt_stage& stage, prslv_rec& rec);

// What a result must keep on the original problem before it leaves the pipeline, relative. A tenth of
// what a stored status promises.
constexpr double opt_goodlimit = 1e-7;

// opt_tooknothing: whether the problem itself is to be solved: presolve gave no verdict, or found nothing.
inline bool opt_tooknothing(const prslv_rec& rec) {
  return rec.verdict == prslv_verdict::undecided ||
         (rec.verdict == prslv_verdict::reduced && rec.stack.op.empty());
}

// Violations of a point, relative as in the proof of a status; of a ray, relative to its objective.
struct opt_quality {
  double primal = 0, dual = 0, gap = 0;
  double primalscale = 1, dualscale = 1;  // what the violations are relative to
};
opt_quality opt_judge(const lp_view& lp, const lp_point& point, opt_kind kind);
// opt_isgood: whether a point or ray that is said to be optimal, or a certificate, is one.
bool opt_isgood(const opt_quality& quality);
bool opt_isgood(const lp_view& lp, const lp_point& point, opt_kind kind);

// opt_slackbasis: all rows basic, every column at a bound or at zero.
void opt_slackbasis(const lp_view& lp, lp_basis& basis);

// opt_trivialbasic: opt_trivial of a basic solution, with the keys of that basis.
bool opt_trivialbasic(const opt_problem& prob, const lp_view& lp, memman& mman, opt_solution& sol);

struct basic_point {
  bool isfilled = false;
  lp_basis basis;
  lp_point point;
  explicit basic_point(mm_place place) : basis(place), point(place) {}
};

// opt_simplex: the simplex optimizer from at.basis, if there is one. Counts and times add to those of
// earlier runs of the pipeline.
rescode opt_simplex(const lp_view& lp, const opt_stage& stage, const sim_settings& set,
                    basic_point& at);
// opt_goon: the same from at.basis whatever the caller says of hot starts, since it is none of his.
rescode opt_goon(const lp_view& lp, const opt_stage& stage, basic_point& at);
// opt_isbasic: whether at is what its verdict says, proved on lp, to the tolerances of set, with nonbasic
// variables at bounds, which their keys name afterwards. No verdict: false.
bool opt_isbasic(const lp_view& lp, const sim_settings& set, basic_point& at);

// opt_basind: a basic point of lp from an interior one: basis identification and clean-up simplex.
rescode opt_basind(const lp_view& lp, const lp_point& interior, const opt_stage& stage,
                   basic_point& at);

// opt_finishbasic: a basic point of the reduced problem as one of lp. Iterations follow on lp itself
// when it is not as good there, or not basic.
rescode opt_finishbasic(const lp_view& lp, const prslv_rec& rec, const opt_stage& stage,
                        basic_point& at);
