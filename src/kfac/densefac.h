// Dense symmetric indefinite systems of moderate order: L B L' with 1 x 1 and 2 x 2 pivots.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"

struct densefac {
  int32_t n = 0, lda = 0;
  mm_vector<double> a;      // lda x n, column-major; only the lower triangle counts
  mm_vector<double> scale;  // n, symmetric scaling of the rows to about one
  mm_vector<int32_t> swap;  // n; k or the row swapped with k, ~row for the two of a 2 x 2 pivot
  int32_t numskipped = 0;   // pivots that vanished: their unknowns come out as zero
  explicit densefac(mm_place at) : a(at), scale(at), swap(at) {}
};

// densefac_reserve: space for order n.
void densefac_reserve(densefac& fac, int32_t n);
// densefac_factor: factorizes the lower triangle that stands in a, order fac.n. Bunch, Kaufman,
// "Some stable methods for calculating inertia and solving symmetric linear systems", Math. Comp.
// 31 (1977).
void densefac_factor(densefac& fac);
// densefac_solve: x := A^-1 x, n entries.
void densefac_solve(const densefac& fac, std::span<double> x);
