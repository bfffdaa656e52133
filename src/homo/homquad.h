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
struct hom_target;

struct hom_quadrow {
  int32_t row = -1;
  double sign = 1;                   // 1: Q_i is positive semidefinite, -1: negative
  quad_form q;                       // scaled
  mm_vector<double> a;               // over q.vars: a_i, scaled
  mm_vector<double> grad;            // over q.vars: Q_i z of the last point
  mm_vector<double> along;           // over q.vars: Q_i u, u = dx - z dtau of a direction
  double curve = 0;                  // u'Q_i u
  double rp = 0;                     // see homquad_keeprp
  mm_vector<ptrdiff_t> in_a, in_at;  // over q.vars: places of the row in prob.a and prob.at
  explicit hom_quadrow(mm_place at) : q(at), a(at), grad(at), along(at), in_a(at), in_at(at) {}
};

struct hom_quads {
  hom_prob& prob;  // whose data are those of the last point
  mm_vector<hom_quadrow> rows;
  mm_vector<double> b, c;    // of the problem itself, scaled; n and m
  mm_vector<double> h;       // its Q: values of prob.q or prob.qdiag
  mm_vector<double> origin;  // n, as hs_lp's, scaled
  mm_vector<double> z;       // n, work
  // The terms that column j of H is the sum of: columns of the rows' matrices.
  mm_vector<ptrdiff_t> use_ptr;  // n + 1
  mm_vector<int32_t> use_row, use_col;
  mm_vector<double> weight;    // -y_i / tau of each row, of the sign that makes H semidefinite
  mm_vector<ptrdiff_t> place;  // n, work: of a row in a column of prob.q
  mm_vector<double> qx;        // n: H x of the last point
  double shift = 0;  // what the terms add to the objectives of the problem with these data, scaled
  hom_quads(hom_prob& of, mm_place at)
      : prob(of),
        rows(at),
        b(at),
        c(at),
        h(at),
        origin(at),
        z(at),
        use_ptr(at),
        use_row(at),
        use_col(at),
        weight(at),
        place(at),
        qx(at) {}
};

// homquad_scale: prob scaled from lp, whose rows have the terms lp.quads, and what is needed to make its
// data those of a point. quads.prob is prob.
void homquad_scale(const hs_lp& lp, hs_scaling scaling, hom_quads& quads);

// homquad_start: from a starting point of the problem without terms one with them: columns of terms go to
// the origin that the terms were scaled by, and slacks and multipliers of the rows fit these.
//   floor, dfloor  least value of columns and slacks, and of their duals
void homquad_start(hom_quads& quads, double floor, double dfloor, hom_point& point);

// homquad_move: makes the data of quads.prob those of a point, but for H, and quads.qx its H x.
// O(nonzeros of all terms).
void homquad_move(hom_quads& quads, const hom_point& point);
// homquad_hessian: H of the last point. O(nonzeros of all terms and of H).
void homquad_hessian(hom_quads& quads);

// homquad_setalong: what the next two need of a direction from the point that was moved to.
void homquad_setalong(hom_quads& quads, const hom_point& point, const hom_point& dir);
// homquad_movealong: as homquad_move for the point at a step along the direction, without a product.
void homquad_movealong(hom_quads& quads, const hom_point& moved, double step);
// homquad_keeprp: the primal residuals of the point that a direction starts from. homquad_reslack: moves
// the slacks of a point along it so that the residuals of their rows are these times factor, as if the
// rows were straight; within limits, which keep the products of slacks in bounds.
void homquad_keeprp(hom_quads& quads, std::span<const double> rp);
void homquad_reslack(const hom_quads& quads, double factor, hom_point& moved, std::span<double> rp);
// homquad_error: what a whole step along the direction adds to the residuals that the model has not
// foreseen, in rp, rd and rg of target.
void homquad_error(const hom_quads& quads, const hom_point& point, const hom_point& dir,
                   hom_target& target);

// homquad_addq: out += Q x for the objective's Q.
void homquad_addq(const hom_quads& quads, std::span<const double> x, std::span<double> out);

// homquad_ray: of the direction x of the last point, the largest |a_i'x| and |Q_i x|_j of the rows, in
// the caller's units but for the factor sb of x. Rows without terms are left out.
double homquad_ray(const hom_quads& quads, const hom_point& point);
