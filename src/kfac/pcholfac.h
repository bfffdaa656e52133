// Numeric L D L' of a matrix that stands in the panels of its symbolic factor: multifrontal, the
// update matrices on a stack whose places are fixed by the symbolic factor.
#pragma once

#include <cstdint>
#include <new>
#include <span>
#include <vector>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "kfac/kopenmp.h"
#include "kfac/psched.h"
#include "kfac/symface.h"
#include "lalib/parblas.h"

// An allocator that leaves what it makes room for as it is: forming writes all that is read.
template <class T>
struct pcholfac_alloc : mm_alloc<T> {
  using mm_alloc<T>::mm_alloc;
  template <class U>
  struct rebind {
    using other = pcholfac_alloc<U>;
  };
  template <class U>
  void construct(U* at) noexcept {
    ::new (static_cast<void*>(at)) U;
  }
};
using pcholfac_space = std::vector<double, pcholfac_alloc<double>>;

struct pchpoll;

struct pcholfac {
  const parblas_family* family = nullptr;
  int32_t blockm = 0;      // rows at a time of large updates
  pcholfac_space values;   // the panels, from base on
  pcholfac_space stack;    // update matrices
  mm_vector<double> work;  // of the kernels, worksize for each thread
  ptrdiff_t worksize = 0;
  mm_vector<int32_t> refused;  // for each thread
  mm_vector<double> d, dinv;   // n; zero where the pivot was skipped
  mm_vector<double> thr;       // n, in: what a pivot times its sign must exceed
  mm_vector<double> rep;       // n or empty, in: what replaces a pivot that does not
  mm_vector<double> sign;      // n or empty (all 1), in: sign of each pivot, 1 or -1
  mm_vector<double> delta;     // as rep, out: what the replacement added
  ptrdiff_t base = 0;          // first cache line of values
  ptrdiff_t stackbase = 0;
  explicit pcholfac(mm_place at)
      : values(at),
        stack(at),
        work(at),
        refused(at),
        d(at),
        dinv(at),
        thr(at),
        rep(at),
        sign(at),
        delta(at) {}
};
inline double* pcholfac_panels(pcholfac& fac) {
  return fac.values.data() + fac.base;
}
inline double* pcholfac_panel(pcholfac& fac, const symface& sym, int32_t s) {
  return fac.values.data() + fac.base + sym.panelpos[s];
}
inline const double* pcholfac_panel(const pcholfac& fac, const symface& sym, int32_t s) {
  return fac.values.data() + fac.base + sym.panelpos[s];
}

// pcholfac_make: space for the factor.
//   replaces  whether refused pivots are replaced (rep is used)
//   cachel2   second-level cache in kilobytes
void pcholfac_make(const symface& sym, const psched& sched, const parblas_family& family,
                   int32_t cachel2, bool replaces, pcholfac& fac);
// pcholfac_numeric: factorizes what the panels hold; by the leader of the team of the schedule. The
// bits of the factor do not depend on the team.
//   numrefused  out: pivots that did not exceed thr
rescode pcholfac_numeric(const symface& sym, const psched& sched, pcholfac& fac, pchpoll& poll,
                         kteam& team, int32_t& numrefused) noexcept;
