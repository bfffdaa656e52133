// Kernels of one quadratic cone Q = { x : x_0 >= |(x_1, ...)| } of any number of members from 1 on:
// Nesterov-Todd scaling in product form, Jordan products, steps to the boundary and the sparse form
// of a large cone. J = diag(1, -1, ..., -1), e = (1, 0, ...), det x = x'Jx.
//
//   W = eta [w_0, w_1'; w_1, I + w_1 w_1' / (1 + w_0)],  w'Jw = 1,  W x = W^-1 s = lam,  W^2 x = s
//
// Every span has the members of the cone, head first.
// Nesterov, Todd, "Self-scaled barriers and interior-point methods for convex programming", Math.
// Oper. Res. 22 (1997); Sturm, "Implementation of interior point methods for mixed semidefinite and
// second order cone optimization problems", Optim. Methods Softw. 17 (2002).
#pragma once

#include <span>

// cone_det: det x without forming the difference of squares.
double cone_det(std::span<const double> x);
// cone_dist: x_0 - |x_1|, the smaller eigenvalue.
double cone_dist(std::span<const double> x);

// cone_settle: makes a point and what is known of its determinant agree. Well inside the cone the
// point says more, near the boundary det does, and the head gives way. Returns the determinant.
double cone_settle(std::span<double> x, double det);

// cone_scaling: w, lam and the returned eta of the interior points x and s. Their determinants are
// given, since near the boundary they cannot be had from x and s any more; both positive.
double cone_scaling(std::span<const double> x, std::span<const double> s, double detx, double dets,
                    std::span<double> w, std::span<double> lam);

// cone_advance: the scaling of W^-1 x and W s, given that of W: products of scalings lose nothing near
// the boundary, where it can't be had from points any more.
//   w, eta  in and out: the scaling
//   x       in: a scaled point; out: the new lam
//   s       the other scaled point
//   work    any contents, replaced
// The determinants of both are given, both positive.
void cone_advance(std::span<double> w, double& eta, std::span<double> x, std::span<const double> s,
                  double detx, double dets, std::span<double> work);

// cone_mulw, cone_divw: out = W z and W^-1 z; out may be z.
void cone_mulw(std::span<const double> w, double eta, std::span<const double> z,
               std::span<double> out);
void cone_divw(std::span<const double> w, double eta, std::span<const double> z,
               std::span<double> out);

// cone_mul: out = a o b = (a'b ; a_0 b_1 + b_0 a_1); out may be a or b.
void cone_mul(std::span<const double> a, std::span<const double> b, std::span<double> out);
// cone_div: out = the z with a o z = b; det a > 0 given; out may be b.
void cone_div(std::span<const double> a, double deta, std::span<const double> b,
              std::span<double> out);
// cone_pushback: p = the change that sends the eigenvalues of p into lower .. upper, none of them by
// less than -upper. Eigenvectors stay.
void cone_pushback(std::span<double> p, double lower, double upper);

// cone_maxstep: largest t with x + t d in Q, infinity when there is none; det x > 0 given.
double cone_maxstep(std::span<const double> x, double detx, std::span<const double> d);

// cone_expand: the sparse form of a cone of two or more members. With dir = (0, w_1 / |w_1|),
// P = I - e e' - dir dir' and T = [1/root, -kappa root; 0, root],
//   eta^2 W^-2 = P + [e dir] T T' [e dir]',  eta T = W^-1 [e dir] [cosine, -sine; sine, cosine]
// where nothing cancels: all of what makes W^-2 large or small stands in two columns.
struct cone_frame {
  double root = 1, kappa = 0, cosine = 1, sine = 0;
};
cone_frame cone_expand(std::span<const double> w, std::span<double> dir);

// cone_rotate: (z_0, z_1) = ((z_0 + z_1), (z_0 - z_1)) / sqrt(2): its own inverse; takes the rotated
// cone 2 z_0 z_1 >= |z_2|^2 to Q and back.
void cone_rotate(double& z0, double& z1);
