// Random columns, some of them in cones, with a complementary pair of points; and random rows.
#pragma once

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "support/solved_lp.h"

inline constexpr double inf = 1e30;

struct planted {
  lp_data p;
  std::vector<double> x, s;  // a complementary pair, s = slx - sux + snx of the minimization
};

inline void rotate(std::vector<double>& z, const lp_cone& cone) {
  if (cone.type != ZLV_CT_RQUAD) return;
  const double z0 = z[cone.sub[0]], z1 = z[cone.sub[1]];
  z[cone.sub[0]] = (z0 + z1) / std::sqrt(2.0);
  z[cone.sub[1]] = (z0 - z1) / std::sqrt(2.0);
}

// Cones over shuffled columns, and between them linear columns of every bound key.
inline planted plant_columns(std::mt19937& gen, int32_t numlin, int32_t numcone, int32_t maxsize) {
  std::uniform_real_distribution<double> uni(-1, 1);
  std::uniform_int_distribution<int32_t> size(1, maxsize), kind(0, 2), key(0, 4);
  planted out;
  lp_data& p = out.p;
  std::vector<int32_t> sizes(numcone);
  p.n = numlin;
  for (int32_t& k : sizes) p.n += k = size(gen);
  std::vector<int32_t> order(p.n);
  for (int32_t j = 0; j < p.n; ++j) order[j] = j;
  std::shuffle(order.begin(), order.end(), gen);
  out.x.assign(p.n, 0);
  out.s.assign(p.n, 0);
  p.bkx.assign(p.n, ZLV_BK_FR);
  p.blx.assign(p.n, -inf);
  p.bux.assign(p.n, inf);
  for (int32_t k = 0; k < numlin; ++k) {
    const int32_t j = order[k], at = kind(gen);
    out.x[j] = 2 * uni(gen);
    p.bkx[j] = key(gen);
    const bool lower = has_lower(p.bkx[j]), upper = has_upper(p.bkx[j]);
    if (lower) p.blx[j] = out.x[j] - (at == 1 ? 0 : 1);
    if (upper) p.bux[j] = out.x[j] + (at == 2 ? 0 : 1);
    if (p.bkx[j] == ZLV_BK_FX) p.blx[j] = p.bux[j] = out.x[j], out.s[j] = uni(gen);
    if (lower && at == 1) out.s[j] = std::abs(uni(gen)) + 0.1;
    if (upper && at == 2) out.s[j] = -std::abs(uni(gen)) - 0.1;
  }
  int32_t next = numlin;
  for (const int32_t k : sizes) {
    lp_cone cone{k > 1 && uni(gen) > 0 ? ZLV_CT_RQUAD : ZLV_CT_QUAD,
                 {order.begin() + next, order.begin() + next + k}};
    next += k;
    double norm = 0;
    for (int32_t t = 1; t < k; ++t) {
      out.x[cone.sub[t]] = uni(gen);
      norm = std::hypot(norm, out.x[cone.sub[t]]);
    }
    const int32_t at = kind(gen), head = cone.sub[0];
    out.x[head] = norm + 0.5;
    if (at == 1) std::swap(out.x, out.s);  // the apex; swaps all, and back below
    if (at == 2) {
      const double beta = std::abs(uni(gen)) + 0.1;
      out.x[head] = norm;
      for (const int32_t j : cone.sub) out.s[j] = -beta * out.x[j];
      out.s[head] = beta * norm;
    }
    if (at == 1) {
      std::swap(out.x, out.s);
      for (const int32_t j : cone.sub) std::swap(out.x[j], out.s[j]);
    }
    rotate(out.x, cone);
    rotate(out.s, cone);
    p.cones.push_back(cone);
  }
  return out;
}

inline void add_matrix(std::mt19937& gen, lp_data& p, int32_t m, double density) {
  std::uniform_real_distribution<double> uni(-1, 1);
  p.m = m;
  for (int32_t j = 0; j < p.n; ++j) {
    for (int32_t i = 0; i < m; ++i) {
      if (std::abs(uni(gen)) > density && i != j % m) continue;
      p.subi.push_back(i);
      p.subj.push_back(j);
      p.val.push_back(uni(gen));
    }
  }
}
