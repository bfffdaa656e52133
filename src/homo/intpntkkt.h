// Newton systems of the conic method in scaled variables. With W the scaling of the current point
// (diagonal for linear columns, symmetric per cone; free columns have none), xt = W x, B = A W^-1:
//
//   [-I  B'] [xt]   [r1t]
//   [ B  0 ] [y ] = [r2 ]          (free columns: 0 in place of I, and their own A)
//
// is factorized as a quasi-definite system. Forming B by the product form of W, never W^2, keeps the
// small eigenvalues of the scaling.
// - A small cone gets the union of its columns' patterns in each of its columns of B.
// - A large cone keeps the pattern of A in its columns: the tail has the weights 1 / eta with its part
//   along w_1 taken out by one more row, and the plane of the head and w_1 stands in the head's column
//   and one more (cone_expand). That column is dense and keeps out of the elimination of columns, the
//   row comes behind it, where its pivot is at least 1/2.
// Refinement is for both blocks together and against the system without regularization: taking xt
// from y would multiply the rounding of y by W^-2.
// Vanderbei, "Symmetric quasidefinite matrices", SIAM J. Optim. 5 (1995); Andersen, Roos, Terlaky,
// "On implementing a primal-dual interior-point method for conic quadratic optimization", Math.
// Program. 95 (2003); Goldfarb, Scheinberg, "Product-form Cholesky factorization in interior point
// methods for second-order cone programming", Math. Program. 103 (2005).
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "homo/homprob.h"
#include "homo/intpntcone.h"
#include "kfac/kktfac.h"

// The problem of the iteration: all cones quadratic, columns of cones after all others.
struct intpnt_data {
  hom_prob lp;                 // scaled; columns of a cone have one common factor
  int32_t numlin = 0;          // columns in no cone: linear or free
  mm_vector<int32_t> conebeg;  // number of cones + 1: first column of each, then n
  explicit intpnt_data(mm_place place) : lp(place), conebeg(place) {}
  int32_t numcone() const { return int32_t(conebeg.size()) - 1; }
};

// Scaling at a point.
struct intpnt_scal {
  mm_vector<double> w;           // n: linear: the entry of W; free: 1; members of a cone: its w
  mm_vector<double> lam;         // n: W x = W^-1 s of cone members
  mm_vector<double> eta;         // of each cone
  mm_vector<double> detx, dets;  // of each cone, carried from step to step
  explicit intpnt_scal(mm_place place)
      : w(place), lam(place), eta(place), detx(place), dets(place) {}
};

// intpnt_bardtimesh: out = W z (power 1) or W^-1 z (power -1); free columns are copied. out may be z.
void intpnt_bardtimesh(const intpnt_data& data, const intpnt_scal& scal, int power,
                       std::span<const double> z, std::span<double> out);

constexpr int intpnt_maxkrylov = 12;  // most corrections that intpnt_kktsolve combines

struct intpnt_kkt {
  const intpnt_data& data;
  kktfac_ptr fac;
  spmat b;  // B: A with its columns transformed; a row and a column for each large cone behind
  spmat h;  // no entries
  int32_t numlarge = 0;
  // Weight of the step in free columns, part of the system: where nothing else holds them they would
  // drift away. Pougkakiotis, Gondzio, "An interior point-proximal method of multipliers for convex
  // quadratic programming", Comput. Optim. Appl. 78 (2021).
  double proximal = 0;
  mm_vector<int32_t> large;  // number of each cone among the large ones, or -1
  mm_vector<int32_t> local;  // entry of A in a small cone: its place in B's column
  mm_vector<kktfac_border> border;
  mm_vector<double> dir;        // n: of members of large cones: direction of w_1
  mm_vector<cone_frame> frame;  // of each large cone
  mm_vector<double> d, e;       // diagonals, extended
  mm_vector<double> rhs;        // extended
  mm_vector<double> along;      // m
  mm_vector<double> x, e1, e2, cx, cy, zero1, zero2;
  mm_vector<double> krylov;  // residuals and corrections of intpnt_kktsolve, side by side
  intpnt_kkt(const intpnt_data& problem, memman& mman);
};

// intpnt_kktsetup: patterns, ordering and symbolic factor.
rescode intpnt_kktsetup(intpnt_kkt& kkt, const kktfac_settings& set, const monitor& mon,
                        const monitor& orderlog);
// How a factorization treats small pivots.
struct intpnt_pivots {
  double regul = 0;      // added to every diagonal, > 0
  bool keeprow = false;  // rows whose pivots are rounding stay in, else they leave
  bool operator==(const intpnt_pivots&) const = default;
};

// intpnt_kktfactor: B for a scaling, and its factor.
rescode intpnt_kktfactor(intpnt_kkt& kkt, const intpnt_scal& scal, const intpnt_pivots& piv,
                         const monitor& mon);

// intpnt_kktsolve: solves with refinement against the system without regularization.
//   r1t, r2  right-hand side
//   xt, y    out
//   aty      out: A'y
// Returns the residual relative to right-hand side and solution.
double intpnt_kktsolve(intpnt_kkt& kkt, const intpnt_scal& scal, std::span<const double> r1t,
                       std::span<const double> r2, std::span<double> xt, std::span<double> y,
                       std::span<double> aty);
