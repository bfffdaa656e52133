// Supernodes: columns of L of one structure, and the merging of small ones into their parents where
// fewer and wider panels are faster than the zeros they store.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"

struct symamal {
  int32_t num = 0;                // supernodes after merging, in postorder
  mm_vector<int32_t> fundfirst;   // first column of each fundamental supernode, and n behind them
  mm_vector<int32_t> memberhead;  // num: the first fundamental supernode of each
  mm_vector<int32_t>
      membernext;             // the next in the same, -1 behind the last; descendants come first
  mm_vector<int32_t> parent;  // num, -1 for roots
  mm_vector<int32_t> below;   // num: rows below the columns
  explicit symamal(mm_place at)
      : fundfirst(at), memberhead(at), membernext(at), parent(at), below(at) {}
};

// symamal_make: fundamental supernodes and their amalgamation.
//   parent, count  elimination tree in postorder and the column counts with the diagonal
// Liu, Ng, Peyton, "On finding supernodes for sparse matrix computations", SIAM J. Matrix Anal. Appl.
// 14 (1993); Ashcraft, Grimes, "The influence of relaxed supernode partitions on the multifrontal
// method", ACM Trans. Math. Softw. 15 (1989).
void symamal_make(std::span<const int32_t> parent, std::span<const int32_t> count, symamal& sn);
// symamal_cost: nanoseconds that a front of ncol columns and below rows is expected to take on the
// processor that the model was measured on; only ratios matter.
double symamal_cost(int32_t ncol, int32_t below) noexcept;
