#include "homo/intpntcone.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace {

// Distance from the boundary, relative to the tail, from where on rounding of the members leaves the
// determinant too few digits.
constexpr double settle_dist = 1e-8;

double dot_tail(std::span<const double> a, std::span<const double> b) {
  double sum = 0;
  for (size_t j = 1; j < a.size(); ++j) sum += a[j] * b[j];
  return sum;
}

double norm_tail(std::span<const double> a) {
  return std::sqrt(dot_tail(a, a));
}

// out = eta^(+-1) [w0, t; t, I + w1 w1' / (1 + w0)] z, where t = sign w1.
void apply(std::span<const double> w, double factor, double sign, std::span<const double> z,
           std::span<double> out) {
  const double t = sign * dot_tail(w, z), z0 = z[0];
  const double along = sign * (z0 + t / (1 + w[0]));
  out[0] = factor * (w[0] * z0 + t);
  for (size_t j = 1; j < w.size(); ++j) out[j] = factor * (z[j] + along * w[j]);
}

}  // namespace

double cone_dist(std::span<const double> x) {
  return x[0] - norm_tail(x);
}

double cone_det(std::span<const double> x) {
  const double norm = norm_tail(x);
  return (x[0] - norm) * (x[0] + norm);
}

double cone_settle(std::span<double> x, double det) {
  const double norm = norm_tail(x), dist = x[0] - norm;
  if (dist > settle_dist * norm) return dist * (x[0] + norm);
  if (!(det > 0)) return det;
  x[0] = std::hypot(norm, std::sqrt(det));
  return det;
}

double cone_scaling(std::span<const double> x, std::span<const double> s, double detx, double dets,
                    std::span<double> w, std::span<double> lam) {
  const double rx = std::sqrt(detx), rs = std::sqrt(dets), root = std::sqrt(rx) * std::sqrt(rs);
  const double xs = (x[0] * s[0] + dot_tail(x, s)) / (rx * rs);
  const double gam = std::sqrt((1 + std::max(xs, 1.0)) / 2);
  const double x0 = x[0] / rx, s0 = s[0] / rs, sum = x0 + s0 + 2 * gam;
  const double fs = root * (gam + x0) / (rs * sum), fx = root * (gam + s0) / (rx * sum);
  const double ws = 1 / (2 * gam * rs), wx = 1 / (2 * gam * rx);
  double square = 0;
  for (size_t j = 1; j < x.size(); ++j) {
    w[j] = ws * s[j] - wx * x[j];
    lam[j] = fs * s[j] + fx * x[j];
    square += w[j] * w[j];
  }
  w[0] = std::sqrt(1 + square);
  lam[0] = root * gam;
  return std::sqrt(rs / rx);
}

// With V the scaling of the two scaled points, the new scaling is that of W v, and V W is it times a
// rotation of the tails, which lam is turned back by. Ungar, "Analytic hyperbolic geometry", World
// Scientific 2005, section 3.4: the rotation by half vectors p and q of both.
void cone_advance(std::span<double> w, double& eta, std::span<double> x, std::span<const double> s,
                  double detx, double dets, std::span<double> work) {
  eta *= cone_scaling(x, s, detx, dets, work, x);
  const double fp = 1 / (1 + w[0]), fq = 1 / (1 + work[0]);
  double ww = 0, vv = 0, wv = 0, wz = 0, vz = 0;
  for (size_t j = 1; j < w.size(); ++j) {
    ww += w[j] * w[j];
    vv += work[j] * work[j];
    wv += w[j] * work[j];
    wz += w[j] * x[j];
    vz += work[j] * x[j];
  }
  const double pp = fp * fp * ww, qq = fq * fq * vv, pq = fp * fq * wv, pz = fp * wz, qz = fq * vz;
  const double scale = 2 / (1 + 2 * pq + pp * qq);
  const double alongp = scale * fp * ((1 + 2 * pq) * qz - qq * pz);
  const double alongq = -scale * fq * (pp * qz + pz);
  for (size_t j = 1; j < w.size(); ++j) x[j] += alongp * w[j] + alongq * work[j];
  cone_mulw(w, 1, work, work);
  double square = 0;
  for (size_t j = 1; j < w.size(); ++j) {
    w[j] = work[j];
    square += w[j] * w[j];
  }
  w[0] = std::sqrt(1 + square);
}

void cone_mulw(std::span<const double> w, double eta, std::span<const double> z,
               std::span<double> out) {
  apply(w, eta, 1, z, out);
}

void cone_divw(std::span<const double> w, double eta, std::span<const double> z,
               std::span<double> out) {
  apply(w, 1 / eta, -1, z, out);
}

void cone_mul(std::span<const double> a, std::span<const double> b, std::span<double> out) {
  const double a0 = a[0], b0 = b[0], head = a0 * b0 + dot_tail(a, b);
  for (size_t j = 1; j < a.size(); ++j) out[j] = a0 * b[j] + b0 * a[j];
  out[0] = head;
}

void cone_div(std::span<const double> a, double deta, std::span<const double> b,
              std::span<double> out) {
  const double v = dot_tail(a, b), a0 = a[0], b0 = b[0];
  const double along = (v / a0 - b0) / deta;
  for (size_t j = 1; j < a.size(); ++j) out[j] = along * a[j] + b[j] / a0;
  out[0] = (a0 * b0 - v) / deta;
}

void cone_pushback(std::span<double> p, double lower, double upper) {
  auto push = [&](double e) { return std::max(std::clamp(e, lower, upper) - e, -upper); };
  const double norm = norm_tail(p);
  const double low = push(p[0] - norm), high = push(p[0] + norm);
  const double along = norm > 0 ? (high - low) / (2 * norm) : 0;
  p[0] = (low + high) / 2;
  for (size_t j = 1; j < p.size(); ++j) p[j] *= along;
}

double cone_maxstep(std::span<const double> x, double detx, std::span<const double> d) {
  constexpr double inf = std::numeric_limits<double>::infinity();
  if (x.size() == 1) return d[0] < 0 ? -x[0] / d[0] : inf;
  const double a = cone_det(d), b = x[0] * d[0] - dot_tail(x, d), c = std::max(detx, 0.0);
  const double disc = b * b - a * c;
  if (a < 0) {
    const double root = std::sqrt(disc);
    return b > 0 ? -(b + root) / a : c / (-b + root);
  }
  if (b >= 0 || disc <= 0) return inf;
  return c / (-b + std::sqrt(disc));
}

cone_frame cone_expand(std::span<const double> w, std::span<double> dir) {
  const double norm = norm_tail(w), root = std::hypot(w[0], norm);
  dir[0] = 0;
  for (size_t j = 1; j < w.size(); ++j) dir[j] = norm > 0 ? w[j] / norm : 0;
  if (norm == 0) dir[1] = 1;
  const double cosine = w[0] / root, sine = norm / root;
  return {root, 2 * cosine * sine, cosine, sine};
}

void cone_rotate(double& z0, double& z1) {
  const double sum = (z0 + z1) * (1 / std::numbers::sqrt2);
  z1 = (z0 - z1) * (1 / std::numbers::sqrt2);
  z0 = sum;
}
