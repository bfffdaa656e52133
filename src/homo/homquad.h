// Rows with quadratic terms in the homogeneous method,
//   a_i'x + x'Q_i x / 2 = b_i,
// where the row's slack column makes it an inequality that is convex. At a point, with z = x / tau, the
// model of the monotone complementarity embedding and its derivatives are those of a problem without
// such terms whose data are
//   a_i + Q_i z,   b_i + z'Q_i z / 2,   H = Q - sum (y_i / tau) Q_i,   c + sum (y_i / tau) Q_i z
// (the terms are homogeneous of first degree in (x, y, tau), so values follow from derivatives). So
// the data change from point to point, their patterns do not, and everything else stays as it is.
//   Andersen, Ye, "On a homogeneous algorithm for the monotone complementarity problem", Math.
//   Program. 84 (1999).
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "homo/homprob.h"
#include "misc/quadform.h"

struct hom_point;

struct hom_quadrow {
  int32_t row = -1;
  double sign = 1;                   // 1: Q_i is positive semidefinite, -1: negative
  quad_form q;                       // scaled
  mm_vector<double> a;               // over q.vars: a_i, scaled
  mm_vector<double> grad;            // work over q.vars: Q_i z
  mm_vector<ptrdiff_t> in_a, in_at;  // over q.vars: places of the row in prob.a and prob.at
  explicit hom_quadrow(mm_place at) : q(at), a(at), grad(at), in_a(at), in_at(at) {}
};

struct hom_quads {
  hom_prob& prob;  // whose data are those of the last point
  mm_vector<hom_quadrow> rows;
  mm_vector<double> b, c;  // of the problem itself, scaled; n and m
  mm_vector<double> h;     // its Q: values of prob.q or prob.qdiag
  mm_vector<double> z;     // n, work
  // The terms that column j of H is the sum of: columns of the rows' matrices.
  mm_vector<ptrdiff_t> use_ptr;  // n + 1
  mm_vector<int32_t> use_row, use_col;
  mm_vector<double> weight;    // -y_i / tau of each row, of the sign that makes H semidefinite
  mm_vector<ptrdiff_t> place;  // n, work: of a row in a column of prob.q
  double shift = 0;  // what the terms add to the objectives of the problem with these data, scaled
  hom_quads(hom_prob& of, mm_place at)
      : prob(of),
        rows(at),
        b(at),
        c(at),
        h(at),
        z(at),
        use_ptr(at),
        use_row(at),
        use_col(at),
        weight(at),
        place(at) {}
};

// homquad_scale: prob scaled from lp, whose rows have the terms lp.quads, and what is needed to make its
// data those of a point. quads.prob is prob.
void homquad_scale(const hs_lp& lp, hs_scaling scaling, hom_quads& quads);

// homquad_start: the slacks of rows with terms and the multipliers of these rows fit each other.
void homquad_start(const hom_quads& quads, hom_point& point);

// homquad_move: makes the data of quads.prob those of a point. O(nonzeros of all terms and of H).
void homquad_move(hom_quads& quads, const hom_point& point);

// homquad_ray: of the direction x, scaled, the largest |a_i'x| and |Q_i x|_j of the rows, in the
// caller's units but for the factor sb of x. Rows without terms are left out.
double homquad_ray(const hom_quads& quads, std::span<const double> x);
// homquad_noobjective: the problem without its objective.
void homquad_noobjective(hom_quads& quads);
