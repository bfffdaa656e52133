// The dual of a linear problem as a linear problem with bounds of its own, for the simplex optimizers,
// and the way of bases and points between the two. With every column shifted to one of its bounds,
// x = s + x', and L, U the rows' bounds less A s,
//
//   minimize cfix + c's + c'x',  L <= A x' <= U,  0 <= x' <= t (or -t <= x' <= 0, or x' free)
//
// becomes
//
//   minimize -cfix - c's - L'p - U'q + t'w,  A'(p + q) -+ w <= (>=, =) c,  p >= 0 >= q,  w >= 0
//
// with one column p or q, or a free one for both, for each side of a row, a w for the other bound of a
// column, and no row for a fixed column. Other than the dual of the interior point's form (optdual.h)
// it has no columns for slacks, so that a basis of the one problem is a basis of the other:
// a row is nonbasic where its p or q is basic, a column is basic where its row's logical is not
// and no w is in its place.
#pragma once

#include <cstdint>

#include "cpub/memman.h"
#include "misc/linprob.h"

struct opt_mirror {
  spmat a;
  mm_vector<double> blc, buc, blx, bux, c;
  double cfix = 0;
  mm_vector<double> shift;          // column of the problem: s, the value that it is shifted to
  mm_vector<int32_t> rowof;         // column: its row here, -1 of a fixed one
  mm_vector<int32_t> boxof;         // column: its w, or -1
  mm_vector<int32_t> lowof, uppof;  // row: its p and its q, or -1; both the same of an equation
  explicit opt_mirror(mm_place place)
      : a(place),
        blc(place),
        buc(place),
        blx(place),
        bux(place),
        c(place),
        shift(place),
        rowof(place),
        boxof(place),
        lowof(place),
        uppof(place) {}
};

// opt_prefersmirror: whether the free choice of the dual simplex is the dual: rows outnumber columns by
// far, so that it has bases of a much smaller order.
bool opt_prefersmirror(const lp_view& lp);
// opt_makemirror: out must be empty. Bounds of lp must not cross.
void opt_makemirror(const lp_view& lp, opt_mirror& out);
lp_view opt_mirrorview(const opt_mirror& mirror);
// opt_tomirror: the basis of the dual that belongs to one of lp; any keys will do.
void opt_tomirror(const lp_view& lp, const opt_mirror& mirror, const lp_basis& from, lp_basis& to);
// opt_frommirror: basis and point (or certificate) of lp from those of its dual.
void opt_frommirror(const lp_view& lp, const opt_mirror& mirror, const lp_basis& basis,
                    const lp_point& from, lp_basis& to, lp_point& point);
