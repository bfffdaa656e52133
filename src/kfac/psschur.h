// Dense columns by the Schur complement: solves with S + W G W', where S is factorized, the columns
// of W are few and G is diagonal with entries of +1 (a dense column, scaled by the square root of its
// weight) and -1 (what a replaced pivot added to S).
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/spmat.h"
#include "kfac/densefac.h"
#include "kfac/pcholfac.h"
#include "kfac/symface.h"

struct psschur {
  mm_vector<int32_t> cols;  // the dense columns of A
  int32_t capacity = 0;     // columns of W there is space for
  int32_t num = 0;          // columns of W of this factorization
  mm_vector<double> qt;     // capacity x n, column-major: transpose of Q = L^-1 W
  mm_vector<double> rhs;    // 4 n
  mm_vector<double> z, ones, kernelwork;
  densefac dense;  // G^-1 + Q' D^-1 Q
  double flops = 0;
  explicit psschur(mm_place at)
      : cols(at), qt(at), rhs(at), z(at), ones(at), kernelwork(at), dense(at) {}
};

// psschur_make: space; cols has been filled.
//   numextra  replaced pivots to be ready for
void psschur_make(const symface& sym, int32_t numextra, psschur& sc);
// psschur_factor: after pcholfac_numeric with replacement of pivots.
//   front  scratch, 4 maxrow
// Returns the number of replaced pivots for which there was no space.
int32_t psschur_factor(const spmat_view& a, std::span<const double> d, const symface& sym,
                       const pcholfac& fac, psschur& sc, std::span<double> front);
// psschur_correct: x = L^-1 r in, what the upper solve expects after D^-1 out.
void psschur_correct(const pcholfac& fac, psschur& sc, std::span<double> x);
