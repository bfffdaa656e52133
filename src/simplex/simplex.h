// Simplex optimizers for linear problems: entry, settings and what a run tells.
//
// Bounded dual simplex with steepest edge pricing and a bound flipping ratio test, bounded primal
// simplex with Devex or steepest edge pricing; both on one scaled copy of the problem and one
// factored basis (simcore.h), so that either can take over from the other.
//   Koberstein, "The dual simplex method, techniques for a fast and stable implementation",
//   PhD thesis, Paderborn (2005);
//   Maros, "Computational techniques of the simplex method", Kluwer (2003).
#pragma once

#include <cstdint>
#include <limits>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/rescode.h"
#include "misc/linprob.h"
#include "misc/simscale.h"

// The values of the next two are those of ZLV_OPTIMIZER_* variants as the driver numbers them, and
// of ZLV_SIM_SELECTION_*.
enum class sim_method : int32_t { free = 0, primal = 1, dual = 2 };
enum class sim_selection : int32_t {
  free = 0,
  full = 1,     // Dantzig's rule: the largest infeasibility
  ase = 2,      // approximate steepest edge, Devex
  se = 3,       // steepest edge
  partial = 4,  // a part of the candidates at a time
};

struct sim_settings {
  sim_method method = sim_method::free;
  sim_selection primsel = sim_selection::free, dualsel = sim_selection::free;
  sim_scaling scaling = sim_scaling::free;
  double tolx = 1e-6;  // largest violation of a bound or row of an optimal solution, absolute
  double tols = 1e-6;  // largest wrong sign of a dual value of an optimal solution, absolute
  // What they may be larger by, relative to the terms of the sum in question.
  double relx = 1e-12, rels = 1e-12;
  // Pivots below ten times this need fresh factors, those below a tenth are refused; absolute, scaled.
  double tolpiv = 1e-6;
  // Objective values outside of these need not be looked for; infinite: no cut.
  double lowercut = -std::numeric_limits<double>::infinity();
  double uppercut = std::numeric_limits<double>::infinity();
  int32_t maxiter = 2000000;
  int32_t maxsetback = 250;
  int32_t refactorfreq = 0;                // iterations between factorizations; 0: chosen here
  int32_t logfreq = 250;                   // iterations between two progress polls; 0: none
  int32_t primcrash = 90, dualcrash = 90;  // percent, see simcrash.h
  bool hotstart = true;                    // start from the given basis when there is one
  bool perturb = true;                     // costs or bounds may be perturbed on the way
  uint32_t seed = 1;                       // of the perturbations and of ties
};

// What the run tells while it goes on; the monitor's owner may read it at every poll.
struct sim_info {
  sim_method running = sim_method::free;  // the optimizer that polls, free: none
  int32_t numcon = 0, numvar = 0;         // of the problem
  int32_t primiter = 0, dualiter = 0;
  int32_t primdeg = 0, dualdeg = 0;  // degenerate ones among them
  int32_t priminf = 0, dualinf = 0;  // those of the first phase among them
  int32_t primsetback = 0, dualsetback = 0;
  int32_t dualflip = 0;                   // bound flips of the dual ratio test
  int32_t numperturb = 0;                 // times that costs or bounds were perturbed
  int32_t numcrash = 0;                   // columns put into the basis by the crash
  bool primhot = false, dualhot = false;  // started from a given basis
  int32_t numfactor = 0, numupdate = 0, numsingular = 0;
  int64_t lunz = 0;                   // nonzeros of the last factorization
  double feas = 0;                    // sum of infeasibilities of the method that runs
  double primobj = 0, dualobj = 0;    // of the last iterate, and of the dual method's last
  double cputime = 0;                 // seconds since the optimizer was entered
  double primtime = 0, dualtime = 0;  // parts of it
  double lutime = 0, crashtime = 0;
};

// sim_optimize: solves prob.
//   set    settings, in the caller's units
//   mon    polled at least every few iterations, quietly; with update_dual_simplex or
//          update_primal_simplex every logfreq iterations; with begin_ and end_ codes around each
//          method, and with dual_simplex (primal_simplex) between begin and the first iteration,
//          once the setup is done
//   info   in: of an earlier run, whose counts and times go on and count for the limits, or as made.
//          Updated before every poll
//   basis  in: start basis when not empty; any keys will do, it is repaired, and when it is optimal
//          neither method is begun. out: the last basis,
//          exactly numcon of it basic, nonsingular
//   point  out: x and y of the basis with verdict optimal or none, or a certificate, checked on prob
//          with sums free of rounding errors
// Bounds must not cross. A run that meets numerical trouble is made again from scratch, scaled another
// way.
// Returns ok, trm_max_iterations, trm_objective_range, trm_max_num_setbacks, trm_numerical_problem,
// trm_stall or what ended the monitor's poll. basis and point are filled in each of these cases.
rescode sim_optimize(const lp_view& prob, const sim_settings& set, const monitor& mon, memman& mman,
                     sim_info& info, lp_basis& basis, lp_point& point);
