// A linear problem as the optimizers below the interface hand it to each other: presolve, interior
// point, simplex and basis identification all read this record. Always a minimization.
//
//   minimize cfix + c'x   subject to   blc <= A x <= buc,   blx <= x <= bux
//
// Dual signs, everywhere: y for the rows and z = c - A'y for the columns are >= 0 where the lower
// side holds them and <= 0 where the upper side does. Row i is also the logical variable n + i with
// the column -e_i, value (A x)_i, bounds blc, buc and the reduced cost y_i, so that A x - r = 0.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/spmat.h"

struct lp_view {
  int32_t numcon = 0, numvar = 0;
  spmat_view a;                      // by columns, rows increasing within a column, no zeros
  std::span<const double> blc, buc;  // numcon; -infinity and +infinity (IEEE) where there is none
  std::span<const double> blx, bux;  // numvar, likewise
  std::span<const double> c;         // numvar
  double cfix = 0;
};

// Where a row or column stands in a basic solution; the values are those of ZLV_SK_*.
enum class lp_key : uint8_t {
  unknown = 0,
  basic = 1,
  superbasic = 2,  // between its bounds and not basic; a nonbasic free one stands at zero
  lower = 3,
  upper = 4,
  fixed = 5,
};

struct lp_basis {
  mm_vector<lp_key> con, var;  // numcon, numvar; empty: no basis
  explicit lp_basis(mm_place place) : con(place), var(place) {}
};

// What the vectors of an lp_point are: a point, or a certificate.
enum class lp_verdict : int32_t {
  none,        // the best point that was found
  optimal,     // x and y optimal
  priminfeas,  // y is a dual ray: with z = -A'y its bound terms sum to a positive value
  dualinfeas,  // x is a primal ray: c'x < 0, A x and x within the recession of all bounds
};

struct lp_point {
  lp_verdict verdict = lp_verdict::none;
  mm_vector<double> x, y;  // numvar, numcon; z = c - A'y (for a dual ray -A'y) is not stored
  explicit lp_point(mm_place place) : x(place), y(place) {}
};
