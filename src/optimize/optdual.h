// The dual of the optimizer's internal problem as a problem of the same form, and the way back. Solving
// it factorizes a matrix of the order of the columns instead of the rows.
//
//   minimize c'x, A x = b, 0 <= x (<= u), some x free    becomes
//   minimize -b'y + u'v,  A'y + s - E v = c,  s, v >= 0, y free
//
// A row that a zero-cost singleton column closes gets a signed y, which is that column's s over its
// coefficient, and the column's own row goes.
#pragma once

#include <cstdint>

#include "cpub/memman.h"
#include "cpub/spmat.h"
#include "homo/homslv.h"
#include "optimize/optdat.h"

enum class opt_form : int32_t { free = 0, primal = 1, dual = 2 };

struct opt_dual {
  spmat a;
  mm_vector<double> b, c, u;
  mm_vector<uint8_t> isfree;
  mm_vector<int32_t> slackof;   // row of the primal: its closing column, or -1
  mm_vector<int32_t> rowof;     // column of the primal: row of the dual, or -1 for a closing one
  mm_vector<int32_t> sof, vof;  // column of the primal: columns of its s and v, or -1
  explicit opt_dual(mm_place place)
      : a(place),
        b(place),
        c(place),
        u(place),
        isfree(place),
        slackof(place),
        rowof(place),
        sof(place),
        vof(place) {}
};

// opt_prefersdual: whether the free choice is the dual: its normal equations are estimated to be much
// cheaper, all the more where many rows would give free variables.
//   offcoltrh  threshold of the dense-column rule
bool opt_prefersdual(const hs_lp& lp, int32_t offcoltrh, memman& mman);
void opt_makedual(const hs_lp& lp, opt_dual& dual);
hs_lp opt_dualview(const opt_dual& dual, const hs_lp& lp);
// opt_fromdual: the solution of lp from that of its dual.
void opt_fromdual(const hs_lp& lp, const opt_dual& dual, const hs_solution& from, hs_solution& sol);
