// Convex problems with quadratic terms as conic ones. With Q = F'F and p the room that a constraint
// leaves to its quadratic term,
//
//   x'Qx/2 <= p   is   (h, g, F x) in the quadratic cone,  h, g = (p/f +- f) / sqrt(2)
//
// for any f > 0, and p = u - a'x puts h and g in two rows of their own; the objective's term becomes
// p itself. Every cone member is then a column with one entry.
// Lobo, Vandenberghe, Boyd, Lebret, "Applications of second-order cone programming", Linear Algebra
// Appl. 284 (1998).
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/rescode.h"
#include "homo/homslv.h"
#include "optimize/optquad.h"

// opt_qconslv: as opt_quadslv.
//   info  updated before every poll of mon
// Returns ok or how the run ended early.
rescode opt_qconslv(const opt_quadproblem& quad, const hs_settings& set, const monitor& mon,
                    memman& mman, hs_info& info, opt_solution& sol);
