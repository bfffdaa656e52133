// A linear problem with storage of its own, in the form that the optimizer driver takes, random ones
// with a planted answer, and the independent check of what comes back.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "optimize/optdat.h"
#include "zalvo.h"

struct lp_box {
  int32_t m = 0, n = 0;
  std::vector<ptrdiff_t> ptr{0};
  std::vector<int32_t> sub, bkc, bkx, skc, skx;
  std::vector<double> val, blc, buc, blx, bux, c;
  std::vector<double> xc, xx, y, slc, suc, slx, sux;
  double cfix = 0;
  bool maximize = false;

  void add_row(int32_t key, double lower, double upper) {
    ++m;
    bkc.push_back(key);
    blc.push_back(key == ZLV_BK_UP || key == ZLV_BK_FR ? -1e30 : lower);
    buc.push_back(key == ZLV_BK_LO || key == ZLV_BK_FR ? 1e30 : upper);
  }
  void add_column(double cost, int32_t key, double lower, double upper,
                  const std::vector<std::pair<int32_t, double>>& entries) {
    ++n;
    c.push_back(cost);
    bkx.push_back(key);
    blx.push_back(key == ZLV_BK_UP || key == ZLV_BK_FR ? -1e30 : lower);
    bux.push_back(key == ZLV_BK_LO || key == ZLV_BK_FR ? 1e30 : upper);
    for (const auto& [i, v] : entries) {
      sub.push_back(i);
      val.push_back(v);
    }
    ptr.push_back(ptrdiff_t(sub.size()));
  }
  opt_problem view() const {
    opt_problem p;
    p.numcon = m;
    p.numvar = n;
    p.a = {m, n, ptr, sub, val};
    p.bkc = bkc;
    p.bkx = bkx;
    p.blc = blc;
    p.buc = buc;
    p.blx = blx;
    p.bux = bux;
    p.c = c;
    p.cfix = cfix;
    p.maximize = maximize;
    return p;
  }
  opt_solution solution() {
    for (auto* v : {&xc, &y, &slc, &suc}) v->assign(m, 7.0);  // anything: all must be filled
    for (auto* v : {&xx, &slx, &sux}) v->assign(n, 7.0);
    skc.assign(m, 99);
    skx.assign(n, 99);
    opt_solution s;
    s.skc = skc;
    s.skx = skx;
    s.xc = xc;
    s.xx = xx;
    s.y = y;
    s.slc = slc;
    s.suc = suc;
    s.slx = slx;
    s.sux = sux;
    return s;
  }
};

// Largest violations of the optimality conditions (of a certificate, with ray set), each relative to
// 1 + the largest datum it is made of. All duals are read in the sense of a minimization.
struct lp_violations {
  double primal = 0, dual = 0, sign = 0, gap = 0;
  double pobj = 0, dobj = 0;
};

inline lp_violations lp_check(const lp_box& p, bool dualray = false, bool primalray = false) {
  lp_violations v;
  const double d = p.maximize ? -1 : 1;
  double nrmb = 0, nrmc = 0;
  for (const double cost : p.c) nrmc = std::max(nrmc, std::abs(cost));
  v.pobj = primalray ? 0 : p.cfix;
  v.dobj = dualray ? 0 : p.cfix;
  std::vector<double> ax(p.m, 0.0);
  auto bound = [&](int32_t key, double value, double lower, double upper, double sl, double su,
                   double& norm) {
    const bool haslower = opt_haslower(key), hasupper = opt_hasupper(key);
    const double lo = primalray ? 0 : lower, up = primalray ? 0 : upper;
    if (haslower) v.primal = std::max(v.primal, lo - value);
    if (hasupper) v.primal = std::max(v.primal, value - up);
    v.sign = std::max({v.sign, -d * sl, -d * su});
    if (!haslower) v.sign = std::max(v.sign, std::abs(sl));
    if (!hasupper) v.sign = std::max(v.sign, std::abs(su));
    if (haslower) v.dobj += lower * sl, norm = std::max(norm, std::abs(lower));
    if (hasupper) v.dobj -= upper * su, norm = std::max(norm, std::abs(upper));
  };
  double nrmx = 0;
  for (int32_t j = 0; j < p.n; ++j) {
    double red = dualray ? 0 : p.c[j];
    for (ptrdiff_t q = p.ptr[j]; q < p.ptr[j + 1]; ++q) {
      red -= p.val[q] * p.y[p.sub[q]];
      ax[p.sub[q]] += p.val[q] * p.xx[j];
    }
    v.dual = std::max(v.dual, std::abs(red - p.slx[j] + p.sux[j]));
    v.pobj += p.c[j] * p.xx[j];
    bound(p.bkx[j], p.xx[j], p.blx[j], p.bux[j], p.slx[j], p.sux[j], nrmx);
  }
  for (int32_t i = 0; i < p.m; ++i) {
    v.primal = std::max(v.primal, std::abs(ax[i] - p.xc[i]));
    v.dual = std::max(v.dual, std::abs(p.y[i] - p.slc[i] + p.suc[i]));
    bound(p.bkc[i], p.xc[i], p.blc[i], p.buc[i], p.slc[i], p.suc[i], nrmb);
  }
  if (!primalray) v.primal /= 1 + std::max(nrmb, nrmx);
  if (!dualray) v.dual /= 1 + nrmc;
  v.gap = std::abs(v.pobj - v.dobj) / (1 + std::abs(v.pobj));
  return v;
}

// A random problem with a planted pair of solutions: every kind of bound on rows and columns, costs
// made so that a chosen point is optimal. density is the share of entries.
inline lp_box lp_random(std::mt19937& gen, int32_t m, int32_t n, double density) {
  std::uniform_real_distribution<double> uni(-1, 1);
  std::uniform_int_distribution<int32_t> key(0, 4), active(0, 2);
  lp_box p;
  std::vector<double> x(n), xc(m, 0.0), y(m, 0.0);
  std::vector<std::vector<std::pair<int32_t, double>>> cols(n);
  for (int32_t j = 0; j < n; ++j) {
    x[j] = 5 * uni(gen);
    for (int32_t i = 0; i < m; ++i) {
      if (uni(gen) < 2 * density - 1) cols[j].emplace_back(i, 3 * uni(gen));
    }
    for (const auto& [i, v] : cols[j]) xc[i] += v * x[j];
  }
  // Bounds around a value so that the multiplier chosen fits: 0 interior, 1 at lower, 2 at upper.
  auto plant = [&](int32_t bk, double value, double& lower, double& upper) {
    const double room1 = 1 + std::abs(uni(gen)), room2 = 1 + std::abs(uni(gen));
    lower = value - room1;
    upper = value + room2;
    const int32_t at = active(gen);
    const double mult = std::abs(uni(gen)) + 0.1;
    if (bk == ZLV_BK_FX) return lower = upper = value, uni(gen);
    if (at == 1 && opt_haslower(bk)) return lower = value, mult;
    if (at == 2 && opt_hasupper(bk)) return upper = value, -mult;
    return 0.0;
  };
  for (int32_t i = 0; i < m; ++i) {
    const int32_t bk = key(gen);
    double lower = 0, upper = 0;
    y[i] = plant(bk, xc[i], lower, upper);
    p.add_row(bk, lower, upper);
  }
  for (int32_t j = 0; j < n; ++j) {
    const int32_t bk = key(gen);
    double lower = 0, upper = 0;
    double cost = plant(bk, x[j], lower, upper);
    for (const auto& [i, v] : cols[j]) cost += v * y[i];
    p.add_column(cost, bk, lower, upper, cols[j]);
  }
  p.cfix = uni(gen);
  return p;
}
