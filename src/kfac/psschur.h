// Dense columns apart: factorizes S + W W' where S = L D L' is factorized and the columns of W are few
// (dense columns of A times the square roots of their weights). The Schur complement of the dense
// columns is never formed: each column is absorbed by a product-form factor,
//   D + w w' = N E N',  N unit lower triangular with N(r,s) = w(r) beta(s) for r > s,
// so that S + W W' = L N1 .. Nk E Nk' .. N1' L'. This stays accurate when S is singular or the
// weights outgrow it by any factor, where the complement I + W' S^-1 W loses all digits.
// Goldfarb, Scheinberg, "A product-form Cholesky factorization method for handling dense columns in
// interior point methods for linear programming", Math. Program. 99 (2004).
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/spmat.h"
#include "kfac/pcholfac.h"
#include "kfac/pchsolve.h"
#include "kfac/symface.h"

struct psschur {
  mm_vector<int32_t> cols;    // the dense columns of A
  mm_vector<double> w, beta;  // n x cols.size(), column-major, in the order of the factor
  mm_vector<double> e, einv;  // n: E and its inverse
  double flops = 0;
  explicit psschur(mm_place at) : cols(at), w(at), beta(at), e(at), einv(at) {}
};

// psschur_make: space; cols has been filled.
void psschur_make(const symface& sym, psschur& sc);
// sc_calschur_par: after pcholfac_numeric, in which refused pivots were replaced by small ones.
//   numskipped  out: rows that neither the rest nor a dense column holds; they are skipped
// Returns ok or a termination code of the monitor.
struct psschur_input {
  const spmat_view& a;
  std::span<const double> d;  // weights of all columns of A
  const symface& sym;
  const pcholfac& fac;
};
rescode sc_calschur_par(const psschur_input& in, const monitor& mon, pchsolve& solve, psschur& sc,
                        int32_t& numskipped);
// psschur_correct: x = L^-1 r in; out D times what the upper solve expects, in place of x.
void psschur_correct(const pcholfac& fac, const psschur& sc, std::span<double> x);
