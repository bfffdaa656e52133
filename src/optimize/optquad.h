// The pipeline for convex problems with quadratic terms in constraints: into the form of the
// homogeneous optimizer, where the terms stay what they are, and back. What optqcone makes of them
// needs more rows and leaves duals that fit the gradients only to the root of the gap, but every
// infeasible problem has its certificate there.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/rescode.h"
#include "homo/homslv.h"
#include "misc/quadform.h"
#include "optimize/optdat.h"

struct opt_quadratic {
  int32_t row = -1;  // constraint that the term x'Qx/2 belongs to
  const quad_form* q = nullptr;
};

// A problem whose constraints carry terms. The caller has made sure that all terms are convex: Q
// semidefinite for an upper bound, -Q for a lower one. At most one term a constraint, none empty.
struct opt_quadproblem {
  opt_problem flat;  // without the terms
  std::span<const opt_quadratic> terms;
};

// An interior point of a problem's minimization, and where a proof of infeasibility holds.
struct quad_point {
  bool isfilled = false;  // a run that is stopped before its first iteration leaves nothing
  hs_status status = hs_status::unknown;
  lp_point point;
  explicit quad_point(mm_place at) : point(at) {}
};

// What the stages share.
struct quad_stage {
  const hs_settings& set;
  const monitor& mon;
  memman& mman;
  hs_info& info;
};

// opt_quadrun: one run of the homogeneous optimizer.
//   sol  receives what needs no optimizer, and is defined then; null: not looked for
rescode opt_quadrun(const opt_quadproblem& prob, const quad_stage& stage, opt_solution* sol,
                    quad_point& out);

// opt_quadslv: an interior solution of prob. Beside a certificate of primal infeasibility xx is the
// point at which the gradients of the terms prove something together with the multipliers.
//   info  updated before every poll of mon
// Returns ok or how the run ended early.
rescode opt_quadslv(const opt_quadproblem& prob, const hs_settings& set, const monitor& mon,
                    memman& mman, hs_info& info, opt_solution& sol);

// opt_fillquad: sol from the x and y of the minimization of prob, as opt_fill.
void opt_fillquad(const opt_quadproblem& prob, const lp_point& point, opt_status status,
                  memman& mman, opt_solution& sol);
