// Homogeneous interior-point optimizer for linear and convex quadratic problems: entries, settings
// and results.
//
// Simplified homogeneous self-dual model with predictor-corrector steps and multiple centrality
// correctors:
//   Xu, Hung, Ye, "A simplified homogeneous and self-dual linear programming algorithm and its
//   implementation", Ann. Oper. Res. 62 (1996);
//   Mehrotra, "On the implementation of a primal-dual interior point method", SIAM J. Optim. 2 (1992);
//   Gondzio, "Multiple centrality corrections in a primal-dual method", Comput. Optim. Appl. 6 (1996).
#pragma once

#include <cstdint>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/rescode.h"
#include "homo/homprob.h"
#include "kfac/kktfac.h"

// The linear systems: by normal equations, where T + Q is diagonal, or by both blocks at once.
enum class hs_system : int32_t { free = 0, normal = 1, quasidefinite = 2 };

struct hs_settings {
  double tolpfeas = 1e-10;      // primal feasibility, relative to 1 + the largest right-hand side
  double toldfeas = 1e-10;      // dual feasibility, relative to 1 + the largest cost
  double tolrelgap = 1e-8;      // |primal - dual objective| relative to 1 + the smaller of the two
  double tolmured = 1e-16;      // complementarity relative to its start: reduced sufficiently
  double tolinfeas = 1e-8;      // residual of a certificate relative to its objective
  double tolpath = 1e-8;        // least product of a pair relative to the mean
  double tolrelstep = 0.9999;   // largest fraction of the step to the boundary
  double psafe = 1, dsafe = 1;  // floors of the starting point, primal and dual
  double nearrel = 100;         // factor of the relaxed status test made after a stall
  int32_t maxiter = 400;
  bool diffstep = true;  // primal and dual steps may differ
  bool constantstart = false;
  bool useregul = true;   // regularization levels above the first are allowed
  int32_t numcenter = 0;  // conic: steps to the central path behind an optimum, see intpnt_center
  double gapmore = 1;     // conic: an optimum is worth going on from down to this part of tolrelgap
  hs_scaling scaling = hs_scaling::free;
  hs_system system = hs_system::free;  // normal is taken for free where Q is not diagonal
  bool isconvex = false;               // Q is known to be positive semidefinite
  bool solvedual = false;              // only reported: the caller has dualized the problem
  kktfac_settings kkt;
  int32_t orderlevel = 0;  // level of detail of the ordering's log
};

enum class hs_status : int32_t {
  unknown,
  optimal,
  nearoptimal,
  priminfeas,  // y, s, v are the certificate
  nearpriminfeas,
  dualinfeas,  // x is the certificate
  neardualinfeas,
  illposed
};

// What the run tells while it goes on; the monitor's owner may read it at every poll.
struct hs_info {
  int32_t iter = 0;
  bool solvedual = false;  // objectives and infeasibilities are told in the terms of the primal
  double pfeas = 0, dfeas = 0, kapdivtau = 0, pobj = 0, dobj = 0, mu = 0, compgap = 0;
  int32_t numcon = 0, numvar = 0, numblo = 0, numbup = 0, numbfr = 0;
  double cputime = 0, realtime = 0;  // seconds since the optimizer was entered
  kktfac_stats fac;
};

// All in the caller's units, divided by tau; for a certificate, the ray scaled to objective 1.
struct hs_solution {
  hs_status status = hs_status::unknown;
  mm_vector<double> x, y, s, v;  // n, m, n, n; v is zero where there is no upper bound
  explicit hs_solution(mm_place place) : x(place), y(place), s(place), v(place) {}
};

// hs_optimize: solves lp, which has no Q.
//   info  updated before every poll of mon
//   sol   out; the best point found when the run is stopped early
// Returns ok, trm_max_iterations, trm_stall (numerical problems) or what ended the monitor's poll.
rescode hs_optimize(const hs_lp& lp, const hs_settings& set, const monitor& mon, memman& mman,
                    hs_info& info, hs_solution& sol);

// hs_optqc: the same for a convex problem with quadratic terms in rows, and with Q or without.
rescode hs_optqc(const hs_lp& lp, const hs_settings& set, const monitor& mon, memman& mman,
                 hs_info& info, hs_solution& sol);

// hs_optqp: the same for a problem with Q. Unless Q is known to be convex it is checked first: returns
// err_nonconvex, with sol and info as they were, when it is not positive semidefinite.
rescode hs_optqp(const hs_lp& lp, const hs_settings& set, const monitor& mon, memman& mman,
                 hs_info& info, hs_solution& sol);
