// Solves with the supernodal factor, for one, two or four vectors at a time. Ranges of subtrees are
// solved in parallel, what they give to rows behind them is added range by range; in the top the
// panels that are large are cut into blocks of rows. Ranges and blocks depend on the factor only, so
// that the bits of a solution do not depend on the team.
#pragma once

#include <cstdint>
#include <span>

#include "kfac/kopenmp.h"
#include "kfac/pcholfac.h"
#include "kfac/symface.h"

struct pchsolve {
  int32_t numthreads = 1;          // of the team that pays for one pair of solves
  mm_vector<int32_t> first, last;  // supernodes of each range, increasing
  mm_vector<int32_t> top;          // the other supernodes, increasing
  mm_vector<ptrdiff_t> outptr;     // for each range, into outrow
  mm_vector<int32_t> outrow;       // rows behind the range that it gives to, increasing
  mm_vector<int32_t> outrel;       // as sym.rowsub: index among these rows of the range
  mm_vector<double> front;         // a front for each thread
  mm_vector<double> out;           // what ranges give, 4 for each of outrow
  mm_vector<double> part;          // sums of the blocks of rows
  ptrdiff_t frontsize = 0;
  explicit pchsolve(mm_place at)
      : first(at),
        last(at),
        top(at),
        outptr(at),
        outrow(at),
        outrel(at),
        front(at),
        out(at),
        part(at) {}
};

// pchsolve_make: the ranges and all space. numthreads is the team there is; small factors get one.
void pchsolve_make(const symface& sym, int32_t numthreads, pchsolve& ps);

// The vectors x stand ldx apart, n entries each, in the order of the factor; nrhs is 1, 2 or 4. By
// the leader of a team of at most numthreads given to pchsolve_make.
struct pchsolve_vectors {
  double* x;
  ptrdiff_t ldx;
  int32_t nrhs;
};
// pchsolve_lower: x := L^-1 x.
void pchsolve_lower(const symface& sym, const pcholfac& fac, pchsolve& ps, kteam& team,
                    const pchsolve_vectors& v) noexcept;
// pchsolve_upper: x := L^-T x; the entries of skipped pivots come out as zero when they went in so.
void pchsolve_upper(const symface& sym, const pcholfac& fac, pchsolve& ps, kteam& team,
                    const pchsolve_vectors& v) noexcept;
// pchsolve_diag: x := D^-1 x, zero where the pivot was skipped.
void pchsolve_diag(const pcholfac& fac, const pchsolve_vectors& v) noexcept;
