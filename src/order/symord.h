// Fill-reducing orderings of a symmetric pattern by local information: approximate minimum degree
// and approximate minimum local fill on a quotient graph.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/spmat.h"

// Key of the elimination queue.
enum class symord_scoretype : int32_t {
  degree = 0,  // approximate external degree
  clique = 1,  // the same, checked against and tie-broken by the largest clique of the node
  fill = 2,    // approximate local fill per eliminated column
};

struct symord_result {
  int64_t nnzl = 0;           // nonzeros of L with the diagonal, before any supernode padding
  double flops = 0;           // of the factorization: sum of the squared column counts
  int32_t numdense = 0;       // nodes set aside as dense and ordered last
  int32_t numcompressed = 0;  // groups of indistinguishable nodes that were left
};

// symord_order: an elimination order of a symmetric pattern.
//   graph  n x n, every off-diagonal pair listed in both columns, no diagonal, any order, no values
//   perm   out, n; perm[k] is the node eliminated k-th
// Returns ok or a termination code of the monitor. Throws std::bad_alloc.
rescode symord_order(const spmat_view& graph, symord_scoretype score, const monitor& mon,
                     memman& mman, std::span<int32_t> perm, symord_result& result);
