// basident: a basic solution from an interior one (basis identification). The point is dropped to
// complementarity, a crash basis is taken from the columns that are farthest from their bounds, and
// pushes finish: dual ones make the reduced costs of basic variables zero, primal ones bring nonbasic
// variables to bounds. What little infeasibility rounding leaves is for a simplex optimizer.
//   Megiddo, "On finding primal- and dual-optimal bases", ORSA J. Comput. 3 (1991);
//   Bixby, Saltzman, "Recovering an optimal LP basis from an interior point solution", Oper. Res.
//   Lett. 15 (1994).
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/rescode.h"
#include "misc/linprob.h"

struct bas_settings {
  int32_t maxiter = 1000000;  // pushes after which the rest is rounded to bounds
  int32_t logfreq = 2500;     // pushes between two log rows and progress polls; 0: none
  double pivrel = 0.01;       // relative pivot tolerance of the factorizations, raised on trouble
  double tolx = 1e-6;         // violations below it are no infeasibility, absolute
  double tols = 1e-6;         // the same of reduced costs
};

// Updated before every poll. Iterations are pushes; those that changed the basis are pivots.
struct bas_info {
  int32_t numinside = 0;    // variables between their bounds after the drop
  int32_t numsuper = 0;     // of these, not in the crash basis
  int32_t numdualpush = 0;  // basic variables of the crash basis with a reduced cost
  int32_t dualiter = 0, primaliter = 0, dualpivot = 0, primalpivot = 0;
  int32_t numskipped = 0;  // pushes given up for want of a good pivot
  int32_t numfactor = 0;   // basis factorizations, that of the crash included
  double cputime = 0, crashtime = 0, dualtime = 0, primaltime = 0, lutime = 0;  // seconds
  // Of the point that is returned: violations beyond the tolerances, their number and largest one.
  int32_t numpviol = 0, numdviol = 0;
  double maxpviol = 0, maxdviol = 0;
  double pobj = 0;
};

struct bas_result {
  lp_basis basis;          // exactly numcon basic, nonsingular
  mm_vector<double> x, y;  // of that basis
  explicit bas_result(mm_place at) : basis(at), x(at), y(at) {}
};

// bas_identify: a basis near the interior point x, y.
//   x, y  numvar, numcon; any finite values will do, the nearer to optimal the fewer pushes and the
//         less is left to a simplex optimizer
//   mon   polled at every push; with update_dual_bi and update_primal_bi every logfreq pushes, and
//         with the begin_ and end_ codes of the two phases and their setups
//   out   replaced when ok is returned, else as it was
// Returns ok or what the monitor's poll returned.
rescode bas_identify(const lp_view& prob, std::span<const double> x, std::span<const double> y,
                     const bas_settings& set, const monitor& mon, memman& mman, bas_result& out,
                     bas_info& info);
