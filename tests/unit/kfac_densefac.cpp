// Dense symmetric indefinite systems against their residuals.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "kfac/densefac.h"

namespace {

struct dense_system {
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  densefac fac{mm_at(*mman)};
  std::vector<double> full, b, x;
  explicit dense_system(int32_t n) : full(size_t(n) * size_t(n)), b(size_t(n)) {
    densefac_reserve(fac, n);
    fac.n = n;
  }
  dense_system(const dense_system&) = delete;
  dense_system& operator=(const dense_system&) = delete;
  ~dense_system() {
    fac = densefac{mm_at(*mman)};
    EXPECT_EQ(memman_delete(mman), 0U);
  }
  double& at(int32_t i, int32_t j) { return full[i + size_t(j) * b.size()]; }
  // The largest residual relative to |A| |x| + |b|.
  double solve() {
    const int32_t n = fac.n;
    for (int32_t j = 0; j < n; ++j) {
      b[j] = std::cos(j * 1.1);
      for (int32_t i = j; i < n; ++i) fac.a[i + ptrdiff_t(j) * fac.lda] = at(i, j);
    }
    densefac_factor(fac);
    x = b;
    densefac_solve(fac, x);
    double worst = 0;
    for (int32_t i = 0; i < n; ++i) {
      double res = b[i], size = std::abs(b[i]);
      for (int32_t j = 0; j < n; ++j) {
        const double term = at(std::max(i, j), std::min(i, j)) * x[j];
        res -= term;
        size += std::abs(term);
      }
      worst = std::max(worst, std::abs(res) / std::max(size, 1e-300));
      if (std::isnan(res)) return res;
    }
    return worst;
  }
};

TEST(Densefac, IndefiniteMatricesOfEverySmallOrder) {
  constexpr double stable = 1e-10;  // growth of the elements included
  std::mt19937 gen(7);
  std::uniform_real_distribution<double> value(-1, 1);
  for (int32_t n = 0; n <= 40; ++n) {
    for (const double diag : {0.0, 0.05, 1.0, 30.0}) {
      for (const double decades : {0.0, 3.0}) {
        dense_system s(n);
        std::vector<double> weight(size_t(n), 1.0);
        for (double& w : weight) w = std::pow(10.0, decades * value(gen));
        for (int32_t j = 0; j < n; ++j) {
          for (int32_t i = j; i < n; ++i) {
            s.at(i, j) = (i == j ? diag : 1.0) * value(gen) * weight[i] * weight[j];
          }
        }
        if (n == 1 && diag == 0) continue;  // singular
        const double residual = s.solve();
        EXPECT_LE(residual, stable) << n << ' ' << diag << ' ' << decades;
        EXPECT_EQ(s.fac.numskipped, 0);
      }
    }
  }
}

TEST(Densefac, VanishingPivotsGiveZeros) {
  dense_system s(3);
  s.at(0, 0) = 2;
  s.at(2, 2) = -4;
  s.solve();
  EXPECT_EQ(s.fac.numskipped, 1);
  EXPECT_DOUBLE_EQ(s.x[0], 0.5);
  EXPECT_EQ(s.x[1], 0);
  EXPECT_DOUBLE_EQ(s.x[2], std::cos(2.2) / -4);
}

}  // namespace
