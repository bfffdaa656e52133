// The linear or convex quadratic problem as the homogeneous method sees it, and its scaling.
//
//   minimize c'x + x'Qx/2  subject to  A x = b,  0 <= x <= u  (u may be +infinity),  some x free.
//
// hs_lp is the caller's view; hom_prob is the scaled copy that the iteration works on. With row
// factors R, column factors C (powers of two) and the scalars sb, sc:
//   A_s = R A C,  b_s = R b / sb,  c_s = C c / sc,  Q_s = C Q C sb / sc,
//   x = C x_s sb,  y = R y_s sc,  s = C^-1 s_s sc.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/spmat.h"
#include "misc/quadform.h"

// The term x'Qx/2 of a row that is an inequality by a slack column of its own, the last column with an
// entry in it, and convex.
struct hs_quad {
  int32_t row = -1;
  const quad_form* q = nullptr;  // over columns without the slack
  // Linear part over q->vars and right-hand side before the row was shifted to bounds: scaling goes by
  // these, since what a shift adds to both is no measure of a solution.
  std::span<const double> a;
  double rhs = 0;
};

struct hs_lp {
  spmat_view a;               // m x n, rows increasing within a column
  std::span<const double> b;  // m
  std::span<const double> c;  // n
  std::span<const double> u;  // n, > 0, +infinity where there is none; ignored for free columns
  std::span<const uint8_t> isfree;  // n
  // n or empty: columns of one group (numbered from 0, each a range of columns) get one common
  // factor of scaling, -1: one of its own.
  std::span<const int32_t> group = {};
  double nrmb = 0;  // largest right-hand side that feasibility is relative to; 0: of b
  double nrmc =
      -1;           // largest cost that feasibility is relative to; negative: of c. With quads only
  double cfix = 0;  // constant of the objective, only reported
  double objsign = 1;  // -1 when reported objectives are to be negated
  spmat_view q = {};   // n x n, lower triangle of Q, rows increasing; no columns: a linear problem
  // n, with quads: where zero was before columns were shifted to bounds, or the bound nearest to it.
  std::span<const double> origin = {};
  std::span<const hs_quad> quads = {};  // at most one a row
};

enum class hs_scaling : int32_t { free = 0, none = 1, moderate = 2, aggressive = 3 };

struct hom_prob {
  int32_t m = 0, n = 0;
  spmat a, at;                       // scaled A by columns, and its transpose
  mm_vector<double> b, c;            // scaled
  mm_vector<int32_t> ucol;           // columns with an upper bound, increasing; free columns never
  mm_vector<double> u;               // their scaled bounds
  mm_vector<int32_t> fcol;           // free columns, increasing
  mm_vector<int32_t> bcol;           // those of them that no diagonal Q holds
  mm_vector<uint8_t> isfree;         // n
  mm_vector<double> rowfac, colfac;  // R and C, powers of two
  double sb = 1, sc = 1;
  double nrmb = 0, nrmc = 0, nrmu = 0;  // largest entries in the caller's units
  double cfix = 0, objsign = 1;
  // Q scaled: as a diagonal when it is one, otherwise its lower triangle; both empty without Q.
  mm_vector<double> qdiag;  // n or empty
  spmat q;                  // n x n
  explicit hom_prob(mm_place place)
      : a(place),
        at(place),
        b(place),
        c(place),
        ucol(place),
        u(place),
        fcol(place),
        bcol(place),
        isfree(place),
        rowfac(place),
        colfac(place),
        qdiag(place),
        q(place) {}
};
inline bool hom_hasq(const hom_prob& prob) {
  return !prob.q.sub.empty() || !prob.qdiag.empty();
}

// hs_scaleproblem: fills prob from the caller's problem.
//   scaling  free: moderate unless the entries of A already lie within a factor of 100 (of a
//            quadratic problem: moderate)
void hs_scaleproblem(const hs_lp& lp, hs_scaling scaling, hom_prob& prob);

// hom_findbare: fills prob.bcol.
void hom_findbare(hom_prob& prob);
// hs_rescale: divides b and u by factorb and the objective by factorc, rounded to powers of two.
void hs_rescale(double factorb, double factorc, hom_prob& prob);

// hom_addqx: out += alpha Q x for the scaled Q.
void hom_addqx(const hom_prob& prob, double alpha, std::span<const double> x,
               std::span<double> out);
// hom_sizeqx: out = |Q| |x|, the size of what is summed up in Q x.
void hom_sizeqx(const hom_prob& prob, std::span<const double> x, std::span<double> out);

// hs_objective: a scaled objective value in the caller's units, constant and sign included.
double hs_objective(const hom_prob& prob, double scaled);
