// Factorization of the systems of the interior-point methods, set up once for a structure and
// factorized once an iteration. Two kinds: the normal equations A D A' with a positive diagonal D,
// and the symmetric quasi-definite ("big") system of the quadratic and conic optimizers,
//     K = [ -(H + D)   A' ]   n
//         [    A       E  ]   m
// with H symmetric positive semidefinite and D, E >= 0 diagonal. K is factorized as L D L' in any
// order, since the signs of its pivots are known; what regularization adds is refined away.
// Operations on an object of the other kind are internal faults.
//
//   kktfac_ptr fac = kktfac_make(kktfac_kind::sqd, m, n, mman);
//   kktfac_inaij(*fac, a); kktfac_inqij(*fac, h);               // views, values read at each numfac
//   kktfac_autosetup(*fac, set, mon, orderlog);
//   kktfac_numfacsqd(*fac, d, e, {}, mon);                      // each iteration
//   kktfac_sqdrefine(*fac, d, e, rhs, x, {});                   // x := K^-1 rhs, x and rhs (n + m)
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
  int32_t form = 0;         // of the big system: 1 columns first, 2 any order, 0 open
  bool check = false;       // each solve logs the residual of its first right-hand side
};

struct kktfac_regul {
  double shift = 1e-10;   // added to the diagonal of A D A'; absolute, data scaled to about 1
  double pivrel = 1e-13;  // a pivot of at most pivrel times its original diagonal is skipped
  // Of the big system; absolute, data scaled to about 1. A pivot whose part of the known sign is at
  // most dynthr (or pivrel of its diagonal before elimination) is replaced by dynval of that sign;
  // a row that falls below pivrel depends on others and leaves the system instead.
  double regcol = 1e-10;  // added to H + D
  double regrow = 1e-10;  // added to E
  double dynthr = 1e-13, dynval = 2e-7;
  bool keeprow =
      false;  // it stays, its pivot raised to pivrel of its diagonal: what that changes has
              // low rank, and refinement by a Krylov method takes it out
};

struct kktfac_stats {
  int32_t dim = 0;                // of the factored system
  int32_t dendim = 0;             // of the dense Schur complement
  int32_t numoffcol = 0;          // offending (dense) columns
  int64_t matnumnz = 0;           // lower triangle with diagonal of the matrix before factorization
  int64_t numnz = 0;              // L with its diagonal, before amalgamation
  int64_t storednz = 0;           // doubles that L takes, with padding
  int32_t num = 0, numsolve = 0;  // factorizations and right-hand sides so far
  int32_t numskipped = 0;         // pivots skipped or replaced by the last factorization
  int32_t form = 0;               // of the big system: 1 or 2
  double chkfactor = -1;  // residual of the last solve that was checked, relative to its right-hand
                          // side, of the matrix with its regularization; negative: none was
  bool gpused = false;    // graph-partitioning order taken
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

// ---- The big system

// kktfac_inqij: H by its lower triangle (n x n), columns with increasing rows, diagonal entries
// optional. The view is kept; an H without entries is given as such, not left out.
void kktfac_inqij(kktfac& fac, const spmat_view& h);
// kktfac_numinaij, kktfac_numinqij: other arrays with the values of the same patterns.
void kktfac_numinaij(kktfac& fac, std::span<const double> val);
void kktfac_numinqij(kktfac& fac, std::span<const double> val);
// kktfac_inborder: what the order has to keep to, from the next setup on: the column `node` stays out
// of the elimination of columns, which form 1 begins with; `row` comes behind it, and a row in which
// only `weak` columns would stand before it waits too; -1 for none. A bare column is one that neither
// H nor D holds: it waits for the first of its rows. Replaces the list of an earlier call.
struct kktfac_border {
  int32_t node = -1, row = -1, weak = -1;
  bool isbare = false;
};
void kktfac_inborder(kktfac& fac, std::span<const kktfac_border> list);
// kktfac_checkh: whether H is what kktfac_inqij asks for: the lower triangle, rows increasing, finite
// values and no negative diagonal.
bool kktfac_checkh(const kktfac& fac);

// kktfac_setup: as kktfac_adasetup, with the form of the settings; open means the one that the object
// had, or 1. kktfac_autosetup: an open form is chosen by the cost of a factorization, 1 (columns
// first, more accurate) unless 2 is much cheaper. The choice is kept.
rescode kktfac_setup(kktfac& fac, const kktfac_settings& set, const monitor& mon,
                     const monitor& orderlog);
rescode kktfac_autosetup(kktfac& fac, const kktfac_settings& set, const monitor& mon,
                         const monitor& orderlog);

// kktfac_numfacsqd: factorizes K with the values that A and H have now. Never fails for its values.
//   d, e  numcol and numrow entries, >= 0
// Returns ok or a termination code of the monitor, after which the factor is not usable.
rescode kktfac_numfacsqd(kktfac& fac, std::span<const double> d, std::span<const double> e,
                         const kktfac_regul& regul, const monitor& mon);
// kktfac_solve: solves in place with the factor for nrhs right-hand sides of numcol + numrow entries
// (columns first), one after the other in x. The regularization is not refined away.
void kktfac_solve(kktfac& fac, std::span<double> x, int32_t nrhs);
// kktfac_sqdresidual: r := rhs - K x with the K of d and e, without regularization. No overlaps.
void kktfac_sqdresidual(const kktfac& fac, std::span<const double> d, std::span<const double> e,
                        std::span<const double> x, std::span<const double> rhs,
                        std::span<double> r);
// kktfac_sqdrefine: x := K^-1 rhs by solves and refinement until the residual stalls or is small. x
// and rhs may not overlap. Returns the largest component of the last residual rhs - K x, relative to
// that of rhs (zero for a zero right-hand side).
struct kktfac_refine {
  int32_t maxround = 8;  // solves after the first
  double stop = 1e-15;   // residual, relative to the right-hand side
  double gain = 2;       // a round that does not reduce the residual by this factor is the last
};
double kktfac_sqdrefine(kktfac& fac, std::span<const double> d, std::span<const double> e,
                        std::span<const double> rhs, std::span<double> x, const kktfac_refine& set);

const kktfac_stats& kktfac_getstats(const kktfac& fac) noexcept;
