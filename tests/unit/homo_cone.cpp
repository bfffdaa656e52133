// Identities of the kernels of one quadratic cone, for points from the middle to the boundary.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "homo/intpntcone.h"

namespace {

using vec = std::vector<double>;

double norm(const vec& v) {
  double sum = 0;
  for (const double e : v) sum += e * e;
  return std::sqrt(sum);
}

double distance(const vec& a, const vec& b) {
  vec d(a.size());
  for (size_t j = 0; j < a.size(); ++j) d[j] = a[j] - b[j];
  return norm(d);
}

// A point at the given distance from the boundary; its determinant is known from how it was made.
vec point(std::mt19937& gen, int n, double dist, double& det) {
  std::normal_distribution<double> normal;
  vec x(n, 0.0);
  for (int j = 1; j < n; ++j) x[j] = normal(gen);
  const double tail = norm(x);
  x[0] = tail + dist;
  det = dist * (2 * tail + dist);
  return x;
}

TEST(IntpntCone, KernelsKeepTheirIdentities) {
  std::mt19937 gen(7);
  for (const double dist : {1.0, 1e-3, 1e-6}) {
    for (int n = 1; n <= 50; n += n < 6 ? 1 : 11) {
      SCOPED_TRACE(n);
      double detx = 0, dets = 0, detd = 0;
      const vec x = point(gen, n, dist, detx), s = point(gen, n, dist, dets);
      vec w(n), lam(n), wx(n), ws(n), out(n), u(n);
      const double eta = cone_scaling(x, s, detx, dets, w, lam);
      const double tol = 1e-13 * w[0] * w[0];  // W^2 has a condition of w_0^4
      cone_mulw(w, eta, x, wx);
      cone_divw(w, eta, s, ws);
      EXPECT_LE(distance(wx, lam), tol * norm(lam) * w[0]);
      EXPECT_LE(distance(ws, lam), tol * norm(lam) * w[0]);
      cone_mulw(w, eta, wx, out);
      EXPECT_LE(distance(out, s), tol * w[0] * w[0] * norm(s));
      cone_divw(w, eta, wx, out);
      EXPECT_LE(distance(out, x), tol * w[0] * norm(x));
      cone_mul(lam, x, out);
      cone_div(lam, std::sqrt(detx * dets), out, out);
      EXPECT_LE(distance(out, x), 1e-6 * norm(x));
      // W^-1 in its frame: [e dir] turned by the rotation, then W^-1, are the columns of T.
      if (n > 1) {
        const cone_frame f = cone_expand(w, u);
        vec head(n), other(n);
        for (int j = 0; j < n; ++j) head[j] = f.sine * u[j], other[j] = f.cosine * u[j];
        head[0] = f.cosine, other[0] = -f.sine;
        cone_divw(w, 1, head, wx);
        cone_divw(w, 1, other, ws);
        for (int j = 0; j < n; ++j) wx[j] -= j == 0 ? 1 / f.root : 0;
        for (int j = 0; j < n; ++j) ws[j] -= j == 0 ? -f.kappa * f.root : f.root * u[j];
        EXPECT_LE(norm(wx), 1e-13 * w[0]);
        EXPECT_LE(norm(ws), 1e-13 * w[0]);
      }
      // The scaling of other points, as a product with this one.
      if (w[0] < 1e3) {
        double detp = 0, detq = 0;
        const vec p = point(gen, n, 0.01, detp), q = point(gen, n, 0.01, detq);
        vec have = w, direct(n), dlam(n), work(n);
        double etah = eta;
        cone_mulw(w, eta, p, wx);
        cone_divw(w, eta, q, ws);
        cone_advance(have, etah, wx, ws, detp * eta * eta, detq / (eta * eta), work);
        const double etad = cone_scaling(p, q, detp, detq, direct, dlam);
        EXPECT_NEAR(etah, etad, 1e-9 * etad);
        EXPECT_LE(distance(have, direct), 1e-9 * norm(direct));
        EXPECT_LE(distance(wx, dlam), 1e-8 * norm(dlam));
        vec near = p;
        near[0] = norm(p) * 2;  // well inside the point counts, on the boundary the determinant
        EXPECT_NEAR(cone_settle(near, 1.0), cone_det(near), 1e-12 * near[0] * near[0]);
        near[0] = std::sqrt(near[0] * near[0] - cone_det(near));
        if (n > 1) {
          EXPECT_EQ(cone_settle(near, 1e-12), 1e-12);
        }
      }
      // The largest step ends on the boundary, or never does.
      vec dir = point(gen, n, -0.5, detd);
      const double t = cone_maxstep(x, detx, dir);
      for (int j = 0; j < n; ++j) out[j] = x[j] + t * dir[j];
      if (std::isfinite(t)) {
        EXPECT_LE(std::abs(cone_dist(out)), 1e-9 * norm(out) + 1e-12);
      }
      EXPECT_EQ(cone_maxstep(x, detx, x), std::numeric_limits<double>::infinity());
      vec p = s;
      cone_pushback(p, 0.5, 1.0);
      for (int j = 0; j < n; ++j) p[j] += s[j];
      EXPECT_GE(cone_dist(p), 0.5 - 1e-9);
    }
  }
}

}  // namespace
