// Forming the quasi-definite system in the panels of its symbolic factor: columns without a node of
// their own go into the rows as A D A' does, all other entries have a fixed place.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/spmat.h"
#include "kfac/pcholfac.h"
#include "kfac/pkktfac1.h"
#include "kfac/sqdplan.h"
#include "kfac/symface.h"

struct sqdform {
  adaform elim;                // the columns without a node
  mm_vector<ptrdiff_t> hdiag;  // for each column the position of its diagonal in H's values, or -1
  mm_vector<int32_t> index;    // for each place in the factor's order its component: column j is j,
                               // row i is numcol + i
  mm_vector<uint8_t> isnode;   // for each column
  // Fixed entries of column c of the factor: entry k of [ptr[c], ptr[c+1]) adds to row to[k] of its
  // panel the value at from[k] of A, or when that is negative minus the value at -1 - from[k] of H.
  mm_vector<ptrdiff_t> ptr, from;
  mm_vector<int32_t> to;
  mm_vector<double> theta;  // for each column without a node 1 / (H + D), else 0
  explicit sqdform(mm_place at)
      : elim(at), hdiag(at), index(at), isnode(at), ptr(at), from(at), to(at), theta(at) {}
};

// What is factorized: views of the caller's matrices with their values now.
struct sqdmatrix {
  const spmat_view& a;
  const spmat_view& h;            // lower triangle
  std::span<const double> d, e;   // diagonals, without regularization
  double regcol = 0, regrow = 0;  // regularization added to H + D and to E
};

void sqdform_make(const spmat_view& a, const spmat_view& h, const sqdplan& plan, const symface& sym,
                  sqdform& form);
// sqdform_begin: reads the values; before par_a_d_h_anumfac.
//   diag  out, in the order of the factor
void sqdform_begin(const sqdmatrix& k, sqdform& form, std::span<double> diag);
// par_a_d_h_anumfac: columns c0 .. c1-1 of the matrix; arguments as those of par_arow_adanumfac.
void par_a_d_h_anumfac(const sqdmatrix& k, const sqdform& form, const symface& sym, int32_t c0,
                       int32_t c1, double* panels, std::span<double> diag,
                       std::span<int32_t> place);

// sqdform_fold, sqdform_unfold: between a right-hand side of all components and one of the nodes in
// the order of the factor. fold moves the part of the columns without a node into the rows of x
// (n + m, overwritten there); unfold writes all of x from y and what fold left.
void sqdform_fold(const spmat_view& a, const sqdform& form, double* x, double* y);
void sqdform_unfold(const spmat_view& a, const sqdform& form, const double* y, double* x);
// sqdform_residual: r = b - K x without the regularization; r may not overlap x.
void sqdform_residual(const sqdmatrix& k, std::span<const double> x, std::span<const double> b,
                      std::span<double> r);
