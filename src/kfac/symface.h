// Symbolic factorization of a symmetric pattern under a given order: elimination tree, postorder,
// column counts, fundamental supernodes, their amalgamation by cost, and the row structure of each
// supernode with its places in the parent's front.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/spmat.h"

// Supernode s owns columns first[s] .. first[s+1]-1 of L and the rows of these columns and of
// rowsub[rowptr[s] .. rowptr[s+1]-1] below, increasing. Supernodes are in postorder. Its panel is
// column-major at panelpos[s] with leading dimension panelld[s]. Its update matrix (of the order of
// the rows below, leading dimension upld) stands at stackpos[s] of the update stack from the time
// that it is made to the time that the parent has taken it; these places are the schedule's.
struct symface {
  int32_t n = 0, numsn = 0;
  mm_vector<int32_t> perm, iperm;  // n; perm[k] is the row of the matrix that is eliminated k-th
  mm_vector<int32_t> first;        // numsn + 1
  mm_vector<int32_t> parent;       // supernode of the first row below, -1 for a root
  mm_vector<int32_t> child, next;  // first child and next sibling in postorder, -1 for none
  mm_vector<ptrdiff_t> rowptr;     // numsn + 1
  mm_vector<int32_t> rowsub;
  mm_vector<int32_t> rel;         // as rowsub: position in the rows of the parent's front
  mm_vector<ptrdiff_t> runptr;    // numsn + 1, into run; nothing where runs are too short to help
  mm_vector<int32_t> run;         // begins of the consecutive stretches of rel, and their end
  mm_vector<int32_t> contfrom;    // from this index of its rows on, rel is consecutive
  mm_vector<ptrdiff_t> panelpos;  // numsn + 1
  mm_vector<int32_t> panelld;
  mm_vector<ptrdiff_t> stackpos;
  ptrdiff_t stacksize = 0;  // doubles
  int32_t maxrow = 0;       // most rows of a front
  int32_t maxcol = 0;       // most columns of a panel
  int64_t numnz = 0;        // of L with its diagonal, before amalgamation
  double flops = 0;         // sum of the squared column counts, before amalgamation
  explicit symface(mm_place at)
      : perm(at),
        iperm(at),
        first(at),
        parent(at),
        child(at),
        next(at),
        rowptr(at),
        rowsub(at),
        rel(at),
        runptr(at),
        run(at),
        contfrom(at),
        panelpos(at),
        panelld(at),
        stackpos(at) {}
};

inline int32_t symface_upld(int32_t numbelow) {
  return numbelow <= 16 ? numbelow : (numbelow + 7) & ~7;
}

// symface_etree: parents in the elimination tree of the permuted matrix, -1 for roots.
//   graph   n x n, each off-diagonal pair in both columns
//   parent  out, n, by position in the order;  scratch  n, any contents
void symface_etree(const spmat_view& graph, std::span<const int32_t> perm,
                   std::span<const int32_t> iperm, std::span<int32_t> parent,
                   std::span<int32_t> scratch);
// symface_postorder: post[k] is the k-th node of a postorder, children by increasing number.
//   scratch  3 n, any contents
void symface_postorder(std::span<const int32_t> parent, std::span<int32_t> post,
                       std::span<int32_t> scratch);
// symface_colcount: nonzeros of each column of L with its diagonal; the order must be a postorder of
// its own elimination tree. Gilbert, Ng, Peyton, "An efficient algorithm to compute row and column
// counts for sparse Cholesky factorization", SIAM J. Matrix Anal. Appl. 15 (1994).
//   scratch  4 n, any contents
void symface_colcount(const spmat_view& graph, std::span<const int32_t> perm,
                      std::span<const int32_t> iperm, std::span<const int32_t> parent,
                      std::span<int32_t> count, std::span<int32_t> scratch);

// symface_size: what the factor under an order costs, from its column counts alone.
struct symface_cost {
  int64_t numnz = 0;  // of L with its diagonal
  double flops = 0;   // sum of the squared column counts
};
symface_cost symface_size(const spmat_view& graph, std::span<const int32_t> order, memman& mman);

// symface_make: the symbolic factor of a pattern under an order, which it refines to a postorder.
//   order  n; order[k] is the row eliminated k-th
//   sym    out; as it was when std::bad_alloc is thrown
void symface_make(const spmat_view& graph, std::span<const int32_t> order, symface& sym);
