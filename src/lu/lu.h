// lu: sparse factors of a simplex basis B (m x m), solves with B and B' that cost what their results
// cost, and exchanges of one column. B = L R U in a space whose nodes are the rows of B: each pivot
// is known by its row, and rowofpos says which position (column of B) pivots in it.
//
//   lu_factorize   singletons, Markowitz pivots, a dense tail; repairs a singular basis
//   lu_ftran       B x' = x     right-hand side by row, solution by position
//   lu_btran       B' y = x     right-hand side by position, solution by row
//   lu_update      Forrest-Tomlin exchange of the column at a position
//
// Variables as in misc/linprob.h: basic[p] = j < n is column j of A, n + i the logical with the
// column -e_i. Suhl, Suhl, "Computing sparse LU factorizations for large-scale linear programming
// bases", ORSA J. Comput. 2 (1990); "A fast LU update for linear programming", Ann. OR 43 (1993).
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/rescode.h"
#include "cpub/spmat.h"
#include "lu/lukernel.h"

// A vector of length m and where it may be nonzero. val is zero wherever ind does not list it.
struct lu_vector {
  mm_vector<double> val;   // m
  mm_vector<int32_t> ind;  // m; the first num list each nonzero position once, zeros may be listed
  int32_t num = 0;         // < 0: not listed, val is to be read as a whole
  explicit lu_vector(mm_place at) : val(at), ind(at) {}
};
void lu_vecsize(lu_vector& x, int32_t m);  // all zero, of length m
void lu_vecclear(lu_vector& x);            // all zero; cheap when few are listed
// lu_vecset: x(i) := v, for a position that is not listed yet. x must be listed.
inline void lu_vecset(lu_vector& x, int32_t i, double v) {
  x.val[i] = v;
  x.ind[x.num++] = i;
}

struct lu_settings {
  double pivrel = 0.1;  // threshold test, relative to the largest of its column
  double maxgrowth =
      1e5;                // with entries that grow more than this in the kernel, a factorization is
                          // done again with a larger pivrel, which stays
  double pivabs = 1e-11;  // a smaller pivot counts as zero, relative to its column of B when that
                          // has entries above 1, else absolute
  double droptol =
      1e-14;             // a smaller result becomes an exact zero, so solves stay sparse; absolute
  double updtol = 1e-8;  // how far the two values of a new pivot may differ, relative
  double agedtol =
      1e-10;             // factors that have had minaged exchanges are worn beyond this difference,
  double maxmult = 1e5;  // or with a larger multiplier in a row transformation
  int32_t minaged = 20;
  double maxfill = 3;  // updates may hold this many times nnz(L + U) + m before lu_state::refactor
  int32_t maxupdate = 5000;     // exchanges before lu_state::refactor
  double sparsedens = 0.05;     // a denser right-hand side is not followed by depth-first search,
  double sparseexpected = 0.1;  // nor one whose solution is expected to be denser than this
};

enum class lu_state {
  ok,
  refactor,  // exchanged, but factorize soon: digits are being lost, or the updates hold too much
  unstable,  // not exchanged: factorize (with the new basis) before the next solve
};

// Entries of one factor, vector behind vector, with gaps.
struct lu_file {
  mm_vector<int32_t> sub;
  mm_vector<double> val;
  explicit lu_file(mm_place at) : sub(at), val(at) {}
};

// Counters since the last factorization, but for the totals.
struct lu_count {
  int32_t numupdate = 0;
  int64_t nnzl = 0, nnzu = 0;  // of the fresh factors, without diagonals
  int64_t nnzupdate = 0;       // entries that updates have added
  double facwork = 0;     // of the factorization, in entries that a solve would touch meanwhile
  double solvework = 0;   // entries touched by solves and updates since
  double extrawork = 0;   // the part of solvework that comes from the age of the factors
  int32_t numkernel = 0;  // pivots that were no singletons
  int32_t numdense = 0;   // of these, pivots of the dense tail
  int64_t totfactor = 0, totupdate = 0, totsingular = 0;
};

struct lu_rec {
  int32_t m = 0, n = 0;
  lu_settings set;
  lu_count count;
  bool isfactored = false;

  // Positions of the last lu_factorize that had no pivot, and the rows whose logicals took them.
  int32_t numsing = 0;
  mm_vector<int32_t> singpos, singrow, singvar;  // singvar: the variable that was there before

  mm_vector<int32_t> rowofpos, posofrow;
  lu_file lcol, lrow;                  // multipliers by pivot row, and the same transposed
  mm_vector<lu_range> lcolat, lrowat;  // by row
  mm_vector<int32_t> lseq, lrseq;  // rows with entries in lcol, in lrow; in order of elimination
  lu_file ucol, urow;              // off-diagonal entries by column and by row
  mm_vector<lu_range> ucolat;      // by pivot row
  mm_vector<lu_slot> urowat;
  mm_vector<double> udiag;
  // Node of the vector that each entry of lcol, lrow and ucol belongs to, for passes over all entries.
  mm_vector<int32_t> lcolof, lrowof, ucolof;
  mm_vector<int32_t> useq;  // pivot rows in order of elimination; -1: moved to the end by an update
  mm_vector<int32_t> useqat;  // by row, its place in useq
  lu_file reta;               // row transformations of the updates
  mm_vector<int32_t> retabeg, retarow;
  lu_file rcol;               // the same by columns: number of the transformation and value,
  mm_vector<lu_slot> rcolat;  // by row, numbers increasing
  int32_t rcolnum = 0;        // transformations that rcol has; a sparse solve adds the others

  // What an update needs of the last solves: the spike (the entering column after L and R) and the
  // row of U's inverse that the last lu_btran of a unit vector passed through.
  bool isspike = false;
  int32_t spikenum = 0, ueinvnum = 0;
  int32_t ueinvrow = -1;  // pivot row, -1: none is kept
  mm_vector<int32_t> spikeind, ueinvind;
  mm_vector<double> spikeval, ueinvval;

  // Expected of the results of ftranl, ftranu, btranu, btranl, for two kinds of right-hand sides:
  // columns that enter and unit vectors; others.
  double density[2][4] = {};
  int32_t kind = 0;  // of the solve at work

  // Scratch.
  mm_vector<int32_t> topo, stack, stackpos, outind;
  mm_vector<double> outval, dense;  // dense is zero between calls
  mm_vector<uint8_t> mark;          // zero between calls
  mm_vector<double> rsum;           // by row transformation, zero between calls
  mm_vector<uint64_t> rwaiting;     // a bit for each, likewise
  lu_kernel ker;
  explicit lu_rec(mm_place at);
};

// lu_factorize: P B Q = L U with threshold pivoting. Where B has no acceptable pivot left, the
// remaining positions get the logicals of the remaining rows: basic is changed accordingly, and
// numsing of them are listed in singpos, singrow, singvar. The factors are those of the repaired
// basis, so a singular basis is no error.
//   a      m x n, the structural columns
//   basic  m variables, in and out
// Returns ok, or what mon's poll returned; after that, or after std::bad_alloc, isfactored is false.
rescode lu_factorize(lu_rec& f, const spmat_view& a, std::span<int32_t> basic, const monitor& mon);

// lu_ftran: x := B^-1 x. keepspike: the right-hand side is the column that lu_update will put in.
// x may come listed or not; it leaves listed, each nonzero once.
void lu_ftran(lu_rec& f, lu_vector& x, bool keepspike = false);

// lu_btran: x := B^-T x, likewise. When x is a multiple of a unit vector e_p (num = 1), what a
// following lu_update at p needs is kept, so that the update is cheaper.
void lu_btran(lu_rec& f, lu_vector& x);

// lu_update: the column kept by the last lu_ftran with keepspike replaces that of position p.
//   alpha  entry p of that lu_ftran's result, the pivot of the exchange
lu_state lu_update(lu_rec& f, int32_t p, double alpha);

// lu_wantfactor: whether a fresh factorization pays: what the age of the factors has cost since the
// last one has reached what that one cost. With a cost that grows linearly with the number of
// exchanges this is where the average cost of an exchange begins to rise.
bool lu_wantfactor(const lu_rec& f);
