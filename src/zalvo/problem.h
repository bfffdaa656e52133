// Problem storage of a task: bounds, objective, constraint matrix, quadratic terms, cones, variable
// types and names. Bound keys always agree with which bounds are finite, so readers trust the key.
#pragma once

#include <cstdint>

#include "cpub/memman.h"
#include "cpub/spmat.h"

struct prob_rec {
  int32_t numvar = 0, numcon = 0, numcone = 0;
  int32_t maxnumvar = 0, maxnumcon = 0, maxnumcone = 0, maxnumanz = 0, maxnumqnz = 0;
  mm_vector<int32_t> bkc, bkx;  // ZLV_BK_*, maxnumcon and maxnumvar entries
  mm_vector<double> blc, buc, blx, bux, c;
  double cfix = 0;
  explicit prob_rec(mm_place at) : bkc(at), bkx(at), blc(at), buc(at), blx(at), bux(at), c(at) {}
};

// prob_acolumns: A packed by columns, rows increasing within a column. a is replaced.
void prob_acolumns(const prob_rec& prob, spmat& a);
