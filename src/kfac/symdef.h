// Definiteness of a sparse symmetric matrix: is it positive semidefinite, up to rounding?
#pragma once

#include <cstdint>

#include "cpub/memman.h"
#include "cpub/spmat.h"

struct symdef_tol {
  // Rounding of the entries relative to the largest one: a diagonal entry above minus this counts as
  // not negative, and an entry up to this beside a zero of the diagonal as zero.
  double zero = 1e-16;
  // An eigenvalue of at least minus this counts as not negative; of the matrix scaled to a unit
  // diagonal, so relative to the largest eigenvalue or stricter. Well above n times the rounding
  // unit for every n in reach, and well below what data mean.
  double shift = 1e-10;
};

// symdef_ispsd: whether sign * a is positive semidefinite.
//   a     n x n by columns, each off-diagonal pair once (either triangle), each entry once; finite
//   sign  1 or -1
// The matrix scaled to a unit diagonal and shifted by tol.shift has an L D L' with D > 0 exactly when
// it is positive definite, up to n rounding units of its size (the factorization is backward stable
// for it without pivoting), so singular matrices of any rank are told right where pivots of their
// own factorization would be rounding. Ordered for fill; work and space as of the factorization,
// which stops at the first pivot that is not positive. Throws std::bad_alloc.
// Higham, "Accuracy and Stability of Numerical Algorithms", 2nd ed., SIAM 2002, section 10.
bool symdef_ispsd(const spmat_view& a, double sign, const symdef_tol& tol, memman& mman);

// symdef_root: a factor of a matrix that symdef_ispsd found semidefinite: sign * a = F'F up to rounding.
//   root  out, replaced: F by rows, that is F' by columns (n x rank), rows increasing. Pivots that are
//         rounding are left out, so there are as many columns as the rank, not n
void symdef_root(const spmat_view& a, double sign, memman& mman, spmat& root);
