// Graph-partitioning orders: multilevel nested dissection with vertex separators.
//
// The graph (its indistinguishable vertices merged) is cut by a small vertex separator into two
// parts of similar weight, each part again, and so on until the parts are small. Then one run of
// approximate minimum degree orders all small parts, after them the separators, the last cut first:
// a separator counts in the degrees of the parts that it bounds.
//
// Karypis, Kumar, "A fast and high quality multilevel scheme for partitioning irregular graphs",
// SIAM J. Sci. Comput. 20 (1998); Hendrickson, Rothberg, "Improving the run time and quality of
// nested dissection ordering", SIAM J. Sci. Comput. 20 (1998); Ashcraft, Liu, "Robust ordering of
// sparse matrices using multisection", SIAM J. Matrix Anal. Appl. 19 (1998).
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/spmat.h"

// gpart_order: an elimination order of a symmetric pattern.
//   graph  n x n, every off-diagonal pair listed in both columns, any order, no values
//   form   1: parts of at most 200 vertices stay whole, two separators are tried in the first cuts;
//          2: parts of at most 50, the best of three separators in more of them
//   perm   out, n; perm[k] is the node eliminated k-th
// The same graph and form give the same order. Returns ok, err_internal for a pattern that is not
// symmetric, or a termination code of the monitor. Throws std::bad_alloc.
rescode gpart_order(const spmat_view& graph, int32_t form, const monitor& mon, memman& mman,
                    std::span<int32_t> perm);
