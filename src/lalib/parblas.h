// Dense kernels of the supernodal factorization and its solves, in families of one template: a
// generic one and three after the processors that they serve, P3, P4 and AAMD, each for every set of
// instructions (SSE2; AVX2 with fused multiply-add; AVX-512). All matrices are column-major; a family
// is a table of functions, chosen once by parblas_choose.
#pragma once

#include <cstddef>
#include <cstdint>

// C -= A (B diag(scale))', or C = -A (B diag(scale))' when fresh. With lower, only the entries on and
// below the diagonal of C count; those above it may receive anything.
struct parblas_update {
  int32_t m = 0, n = 0, k = 0;  // C is m x n, A is m x k, B is n x k
  const double* a = nullptr;
  ptrdiff_t lda = 0;
  const double* b = nullptr;
  ptrdiff_t ldb = 0;
  const double* scale = nullptr;  // k
  double* c = nullptr;
  ptrdiff_t ldc = 0;
  bool lower = false, fresh = false;
  int32_t blockm = 0;      // rows of A at a time; 0: the family's own
  double* work = nullptr;  // parblas_worksize(n, k) doubles
};

// The pivots of a panel, all arrays of its number of columns. A pivot times its sign must be greater
// than thr, or it is replaced by sign times rep (when rep is given and positive) or its column leaves
// the system: d = dinv = 0.
struct parblas_pivots {
  const double* thr = nullptr;
  const double* rep = nullptr;   // null: nothing is replaced
  double* d = nullptr;           // out
  double* dinv = nullptr;        // out, 1 / d or 0
  double* delta = nullptr;       // out, what a replacement added; unused when rep is null
  const double* sign = nullptr;  // 1 or -1; null: all are 1
};

// Adds columns j0 .. j1-1 of the lower triangle of u (n x n) into dst: entry (i, j) goes to row
// rel[i] - rowoff and column rel[j] - coloff. From index contfrom on, rel is consecutive. With numrun
// > 0, rel is consecutive within each of run[r] .. run[r+1]-1 (run[0] = 0, run[numrun] = n).
struct parblas_assemble {
  int32_t n = 0, j0 = 0, j1 = 0, contfrom = 0;
  const double* u = nullptr;
  ptrdiff_t ldu = 0;
  const int32_t* rel = nullptr;
  const int32_t* run = nullptr;
  int32_t numrun = 0;
  double* dst = nullptr;
  ptrdiff_t ldd = 0;
  int32_t rowoff = 0, coloff = 0;
};

inline constexpr int parblas_maxrhs = 4;  // right-hand sides that one pass over the factor serves

// Panels are factorized by blocks of that many columns, each of which updates all columns behind it.
inline constexpr int32_t parblas_panelblock = 128;

enum class parblas_kind : int32_t { generic, p3, p4, aamd };

struct parblas_family {
  parblas_kind kind;
  const char* instructions;
  int32_t tilem, tilen;  // register tile
  void (*update)(const parblas_update& args) noexcept;
  // panel: L D L' of the leading ncol x ncol block of an nrow x ncol panel and L of the rows below,
  // in place. The unit diagonal is not stored. Returns the number of pivots that were not taken.
  int32_t (*panel)(int32_t ncol, int32_t nrow, double* l, ptrdiff_t ld, const parblas_pivots& piv,
                   double* work) noexcept;
  // rows: the same L for nrow rows whose leading block is factorized already. l at that block, d and
  // dinv its pivots; gives the bits that panel gives.
  void (*rows)(int32_t ncol, int32_t nrow, const double* l, const parblas_pivots& piv,
               double* below, ptrdiff_t ld, double* work) noexcept;
  void (*assemble)(const parblas_assemble& args) noexcept;
  // Solves with a panel on nrhs (1, 2 or 4) vectors v, nrow entries each, ldv apart. forward:
  // v1 := L1^-1 v1, v2 -= L2 v1; backward: v1 := L1^-T (v1 - L2' v2).
  void (*forward)(int32_t ncol, int32_t nrow, const double* l, ptrdiff_t ld, double* v,
                  ptrdiff_t ldv, int32_t nrhs) noexcept;
  void (*backward)(int32_t ncol, int32_t nrow, const double* l, ptrdiff_t ld, double* v,
                   ptrdiff_t ldv, int32_t nrhs) noexcept;
  // The products of such a solve alone, L2 of nrow rows: times: v2 -= L2 v1, both ldv apart; timest:
  // v1 -= L2' v2, vectors parblas_panelblock and ldv2 apart.
  void (*times)(int32_t ncol, int32_t nrow, const double* l, ptrdiff_t ld, const double* v1,
                double* v2, ptrdiff_t ldv, int32_t nrhs) noexcept;
  void (*timest)(int32_t ncol, int32_t nrow, const double* l, ptrdiff_t ld, double* v1,
                 const double* v2, ptrdiff_t ldv2, int32_t nrhs) noexcept;
};

// parblas_choose: the family for a processor type (ZLV_CPU_*) with the widest instructions that this
// processor has. The Pentium III has P3; all later Intel processors P4; those of AMD AAMD; the
// generic type and processors of other kinds the generic family, which has SSE2 only; an unknown type
// is told by the processor's vendor.
const parblas_family& parblas_choose(int32_t cputype) noexcept;
// parblas_get: the families that this processor can run, from 0 on; null behind the last.
const parblas_family* parblas_get(int32_t number) noexcept;
const char* parblas_name(parblas_kind kind) noexcept;
// parblas_blockm: rows of A that update should keep in a second-level cache of that many kilobytes.
int32_t parblas_blockm(const parblas_family& family, int32_t cachel2) noexcept;
// parblas_worksize: doubles of work that update needs for any family.
ptrdiff_t parblas_worksize(int32_t n, int32_t k) noexcept;
