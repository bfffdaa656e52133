// lukernel: what is left of a basis behind its singletons, while Markowitz pivots eliminate it. The
// active columns are kept with values, the active rows as patterns; rows and columns stand in lists
// by their number of active entries.
#pragma once

#include <cstdint>

#include "cpub/memman.h"

struct lu_range {  // entries beg .. beg+num-1 of a file
  int32_t beg = 0, num = 0;
};
struct lu_slot {  // the same, with room for cap entries
  int32_t beg = 0, num = 0, cap = 0;
};

// Doubly linked lists of nodes by count.
struct lu_lists {
  mm_vector<int32_t> head, next, prev, count;  // count: the list a node stands in, -1: in none
  explicit lu_lists(mm_place at) : head(at), next(at), prev(at), count(at) {}
};

struct lu_kernel {
  // Active columns, by position.
  mm_vector<int32_t> csub;  // row of each entry
  mm_vector<double> cval;
  mm_vector<lu_slot> cat;
  mm_vector<double> cmax;     // largest active value
  mm_vector<int32_t> loaded;  // positions that came in
  mm_vector<double> czero;    // a value up to this one counts as zero
  // Active rows, by row.
  mm_vector<int32_t> rsub;  // position of each entry
  mm_vector<lu_slot> rat;
  lu_lists clist, rlist;
  int32_t numrow = 0, numcol = 0;  // active
  int64_t nnz = 0;                 // active
  double mostfirst = 0, most = 0;  // largest value at the start, and ever
  // Rows of U that pivots have left, one behind the other: row urrow[k] has the entries
  // urbeg[k] .. urbeg[k+1]-1.
  mm_vector<int32_t> urrow, urbeg, ursub;
  mm_vector<double> urval;
  mm_vector<double> mult;  // by row, multipliers of the pivot at work; zero between pivots
  mm_vector<uint8_t> mark;
  // Dense tail, column-major.
  mm_vector<double> dense;
  mm_vector<int32_t> denserow, densepos;

  // Singletons.
  mm_vector<int32_t> ccount, rcount, cxor, rxor;  // active entries and the xor of their subscripts
  mm_vector<int32_t> queue;
  mm_vector<int32_t> rank;    // by row, its place in the order of pivots, -1: active
  mm_vector<int32_t> pivpos;  // positions in order of pivots
  mm_vector<uint8_t> state;   // by position, lu_colstate
  explicit lu_kernel(mm_place at);
};

enum lu_colstate : uint8_t { lu_colactive, lu_colpivoted, lu_colrejected };
