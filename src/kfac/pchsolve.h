// Solves with the supernodal factor, for one, two or four vectors at a time.
#pragma once

#include <cstdint>
#include <span>

#include "kfac/pcholfac.h"
#include "kfac/symface.h"

// The vectors x stand ldx apart, n entries each, in the order of the factor; nrhs is 1, 2 or 4.
// front: scratch of maxrow * nrhs doubles.

// pchsolve_lower: x := L^-1 x.
void pchsolve_lower(const symface& sym, const pcholfac& fac, double* x, ptrdiff_t ldx, int32_t nrhs,
                    std::span<double> front);
// pchsolve_upper: x := L^-T x; the entries of skipped pivots come out as zero when they went in so.
void pchsolve_upper(const symface& sym, const pcholfac& fac, double* x, ptrdiff_t ldx, int32_t nrhs,
                    std::span<double> front);
// pchsolve_diag: x := D^-1 x, zero where the pivot was skipped.
void pchsolve_diag(const pcholfac& fac, double* x, ptrdiff_t ldx, int32_t nrhs);
