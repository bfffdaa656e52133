// Factorization of the systems of the interior-point methods, set up once for a structure and
// factorized once an iteration. Two kinds: the normal equations A D A' with a positive diagonal D,
// and the symmetric quasi-definite ("big") system of the quadratic and conic optimizers.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/spmat.h"

struct kktfac;  // opaque
struct kktfac_deleter {
  void operator()(kktfac* fac) const noexcept;
};
using kktfac_ptr = std::unique_ptr<kktfac, kktfac_deleter>;

enum class kktfac_kind : int32_t { ada, sqd };

struct kktfac_settings {
  int32_t ordermethod = 0;  // ZLV_ORDER_METHOD_*
  int32_t offcoltrh = 40;   // threshold of the dense-column rule; 0 keeps every column in A D A'
  int32_t numthreads = 1;   // team size of the numeric factorization and the solves
  int32_t cputype = 0;      // ZLV_CPU_*; chooses the kernel family
  int32_t cachel1 = 32;     // kilobytes
  int32_t cachel2 = 1024;   // kilobytes
};

struct kktfac_regul {
  double shift = 1e-10;   // added to the diagonal of A D A'; absolute, data scaled to about 1
  double pivrel = 1e-13;  // a pivot of at most pivrel times its original diagonal is skipped
};

struct kktfac_stats {
  int32_t dim = 0;                // of the factored system
  int32_t dendim = 0;             // of the dense Schur complement
  int32_t numoffcol = 0;          // offending (dense) columns
  int64_t matnumnz = 0;           // lower triangle with diagonal of the matrix before factorization
  int64_t numnz = 0;              // L with its diagonal, before amalgamation
  int64_t storednz = 0;           // doubles that L takes, with padding
  int32_t num = 0, numsolve = 0;  // factorizations and right-hand sides so far
  int32_t numskipped = 0;         // pivots skipped by the last factorization
  bool gpused = false;            // graph-partitioning order taken
  int64_t gpsavednz = 0;
  double gpsavedflops = 0;
  double flops = 0, adaflops = 0, denseflops = 0;  // of one factorization, by stage
  // Seconds, wall-clock, accumulated.
  double tsetup = 0, torder = 0, tgporder = 0, tfactor = 0, tada = 0, tdense = 0, tsolve = 0;
};

// Calling order: make, inaij, adasetup, then numfac and adasolve as often as wanted.
kktfac_ptr kktfac_make(kktfac_kind kind, int32_t numrow, int32_t numcol, memman& mman);

// kktfac_inaij: A by columns, rows increasing within a column. The view is kept, not copied.
void kktfac_inaij(kktfac& fac, const spmat_view& a);

// kktfac_adasetup: dense columns, order, symbolic factor, schedule, all memory of the later phases.
// Returns ok, err_internal for an object of the other kind, or a termination code of the monitor.
// orderlog: receives the log of the ordering (its own level of detail).
rescode kktfac_adasetup(kktfac& fac, const kktfac_settings& set, const monitor& mon,
                        const monitor& orderlog);

// kktfac_numfac: factorizes A D A' + shift I. Never fails for lack of definiteness: a tiny pivot
// takes its row out of the system (solution component about zero).
//   d      numcol entries, >= 0; a zero takes its column out
// Returns ok or a termination code of the monitor, after which the factor is not usable.
rescode kktfac_numfac(kktfac& fac, std::span<const double> d, const kktfac_regul& regul,
                      const monitor& mon);

// kktfac_adasolve: solves in place for nrhs right-hand sides, each of numrow entries, one after the
// other in x.
void kktfac_adasolve(kktfac& fac, std::span<double> x, int32_t nrhs);

const kktfac_stats& kktfac_getstats(const kktfac& fac) noexcept;
