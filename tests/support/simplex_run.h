// One run of the simplex methods with all that it takes and leaves, the check of its answer against
// the problem alone, and small problems that are hard in one way.
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "simplex/simplex.h"
#include "support/dense_lp.h"
#include "support/faulty_alloc.h"

constexpr double simplex_inf = std::numeric_limits<double>::infinity();

struct simplex_run {
  memman* mman;
  sim_settings set;
  monitor mon;
  sim_info info;
  lp_basis basis;
  lp_point point;
  rescode code = rescode::ok;
  explicit simplex_run(faulty_alloc* from = nullptr)
      : mman(from == nullptr ? memman_create(nullptr, nullptr, nullptr, false)
                             : memman_create(from, faulty_alloc::alloc, faulty_alloc::free, false)),
        basis(mm_at(*mman)),
        point(mm_at(*mman)) {
    mon.clock = timer_start();
  }
  ~simplex_run() {
    basis = lp_basis(mm_at(*mman));
    point = lp_point(mm_at(*mman));
    EXPECT_EQ(memman_delete(mman), 0u);
  }
  simplex_run(const simplex_run&) = delete;
  simplex_run& operator=(const simplex_run&) = delete;
  void solve(const lp_view& lp) {
    info = {};
    code = sim_optimize(lp, set, mon, *mman, info, basis, point);
  }
  double objective(const lp_view& lp) const {
    double obj = lp.cfix;
    for (int32_t j = 0; j < lp.numvar; ++j) obj += lp.c[j] * point.x[j];
    return obj;
  }
};

// How far a multiplier at a value is from fitting its bounds.
inline double misfit(double mult, double value, double lo, double up, double tol) {
  const bool islow = value <= lo + tol * (1 + std::abs(lo));
  const bool isup = value >= up - tol * (1 + std::abs(up));
  if (islow && isup) return 0;
  return islow ? std::max(0.0, -mult) : isup ? std::max(0.0, mult) : std::abs(mult);
}

// Holds the answer against the problem alone.
inline void check_answer(const lp_view& lp, const simplex_run& run) {
  const double tol = 1e-6;
  const lp_verdict verdict = run.point.verdict;
  const auto& x = run.point.x;
  const auto& y = run.point.y;
  std::vector<double> act(lp.numcon, 0.0);
  spmat_addax(lp.a, 1.0, x, act);
  double value = 0;  // of a dual ray
  const auto item = [&](double mult, double at, double lo, double up) {
    if (verdict == lp_verdict::priminfeas) {
      if (std::abs(mult) < 1e-9) return;
      EXPECT_TRUE(std::isfinite(mult > 0 ? lo : up));
      value += mult * (mult > 0 ? lo : up);
    } else if (verdict == lp_verdict::dualinfeas) {
      EXPECT_GE(at, std::isfinite(lo) ? -tol : -simplex_inf);
      EXPECT_LE(at, std::isfinite(up) ? tol : simplex_inf);
    } else {
      EXPECT_GE(at, lo - tol);
      EXPECT_LE(at, up + tol);
      EXPECT_LE(misfit(mult, at, lo, up, tol), tol);
    }
  };
  int32_t numbasic = 0;
  for (int32_t i = 0; i < lp.numcon; ++i) {
    item(y[i], act[i], lp.blc[i], lp.buc[i]);
    numbasic += run.basis.con[i] == lp_key::basic ? 1 : 0;
  }
  double cost = 0;
  for (int32_t j = 0; j < lp.numvar; ++j) {
    double z = verdict == lp_verdict::priminfeas ? 0 : lp.c[j];
    for (ptrdiff_t k = lp.a.ptr[j]; k < lp.a.ptr[j + 1]; ++k) z -= lp.a.val[k] * y[lp.a.sub[k]];
    if (verdict == lp_verdict::dualinfeas) z = 0;
    item(z, x[j], lp.blx[j], lp.bux[j]);
    cost += lp.c[j] * x[j];
    numbasic += run.basis.var[j] == lp_key::basic ? 1 : 0;
  }
  EXPECT_EQ(numbasic, lp.numcon);
  EXPECT_TRUE(verdict != lp_verdict::priminfeas || value > 0.5) << value;
  EXPECT_TRUE(verdict != lp_verdict::dualinfeas || cost < -0.5) << cost;
}

// Small whole numbers: many ties, all kinds of bounds, every verdict.
inline dense_lp random_small(std::mt19937& gen) {
  const auto pick = [&](int32_t low, int32_t high) {
    return std::uniform_int_distribution<int32_t>(low, high)(gen);
  };
  dense_lp p;
  p.m = pick(0, 8), p.n = pick(0, 9);
  p.cfix = pick(-3, 3);
  p.a.assign(p.m, std::vector<double>(p.n));
  for (auto& row : p.a) {
    for (double& v : row) v = pick(0, 2) == 0 ? pick(-2, 2) : 0;
  }
  const auto bounds = [&](std::vector<double>& lo, std::vector<double>& up) {
    const int32_t kind = pick(0, 9), low = pick(-3, 3);
    lo.push_back(kind == 0 || kind == 1 ? -simplex_inf : low);
    up.push_back(kind == 0 || kind >= 6 ? simplex_inf : kind == 2 ? low : low + pick(0, 6));
  };
  for (int32_t i = 0; i < p.m; ++i) bounds(p.blc, p.buc);
  for (int32_t j = 0; j < p.n; ++j) bounds(p.blx, p.bux), p.c.push_back(pick(-4, 4));
  return p;
}

// A transport problem with equal supplies and demands: massively degenerate.
inline dense_lp transport(std::mt19937& gen, int32_t k) {
  dense_lp p;
  p.m = 2 * k, p.n = k * k;
  p.a.assign(p.m, std::vector<double>(p.n, 0.0));
  p.blc.assign(p.m, 1.0), p.buc.assign(p.m, 1.0);
  p.blx.assign(p.n, 0.0), p.bux.assign(p.n, simplex_inf);
  for (int32_t s = 0; s < k; ++s) {
    for (int32_t t = 0; t < k; ++t) {
      p.a[s][s * k + t] = p.a[k + t][s * k + t] = 1;
      p.c.push_back(double(gen() % 20));
    }
  }
  return p;
}
