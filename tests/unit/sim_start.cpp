// What the simplex methods begin with: scaling and the crash basis.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "misc/simscale.h"
#include "simplex/simcrash.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();

struct lp_store {
  std::vector<ptrdiff_t> ptr{0};
  std::vector<int32_t> sub;
  std::vector<double> val, blc, buc, blx, bux, c;
  lp_view view() const {
    const int32_t m = int32_t(blc.size()), n = int32_t(blx.size());
    return {m, n, {m, n, ptr, sub, val}, blc, buc, blx, bux, c, 1.5};
  }
};

// Entries 2^-spread .. 2^spread; a share of rows fixed and of columns free, fixed, boxed, one-sided.
lp_store random_lp(uint32_t seed, int32_t m, int32_t n, double spread) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> uni(-1, 1);
  lp_store p;
  for (int32_t i = 0; i < m; ++i) {
    const bool isfixed = gen() % 2 == 0;
    p.blc.push_back(isfixed ? 1 : gen() % 4 == 0 ? -inf : 0);
    p.buc.push_back(isfixed || gen() % 2 == 0 ? 1 : inf);
  }
  for (int32_t j = 0; j < n; ++j) {
    for (int32_t i = 0; i < m; ++i) {
      if (gen() % 5 != 0) continue;
      p.sub.push_back(i);
      p.val.push_back((uni(gen) < 0 ? -1 : 1) * std::exp2(spread * uni(gen)));
    }
    p.ptr.push_back(ptrdiff_t(p.sub.size()));
    const auto kind = gen() % 4;
    p.blx.push_back(kind == 0 ? -inf : kind == 1 ? 2 : 0);
    p.bux.push_back(kind == 0 || kind == 3 ? inf : 2);
    p.c.push_back(100 * uni(gen));
  }
  return p;
}

TEST(SimScale, MakesColumnsOneByPowersOfTwo) {
  memman* mman = memman_create(nullptr, nullptr, nullptr, true);
  for (const auto& [m, n] : {std::pair{0, 0}, {0, 3}, {3, 0}, {1, 1}, {30, 20}, {20, 60}}) {
    const lp_store store = random_lp(uint32_t(7 * m + n), m, n, 6);
    const lp_view lp = store.view();
    sim_scale s(mm_at(*mman));
    sim_scaled scaled(mm_at(*mman));
    sim_scale_make(lp, sim_scaling::moderate, *mman, s);
    const lp_view q = sim_scale_apply(lp, s, scaled);
    int exponent = 0;
    for (const double f : s.row) EXPECT_EQ(std::frexp(f, &exponent), 0.5);
    double before = 0, after = 0;  // logarithmic spread within columns
    for (int32_t j = 0; j < n; ++j) {
      EXPECT_EQ(std::frexp(s.col[j], &exponent), 0.5);
      EXPECT_EQ(q.c[j], lp.c[j] * s.col[j] * s.cost);
      EXPECT_EQ(q.bux[j] * s.col[j], lp.bux[j]);
      double big = 0, small = inf, oldbig = 0, oldsmall = inf;
      for (ptrdiff_t k = lp.a.ptr[j]; k < lp.a.ptr[j + 1]; ++k) {
        EXPECT_EQ(q.a.val[k], lp.a.val[k] * s.row[lp.a.sub[k]] * s.col[j]);
        big = std::max(big, std::abs(q.a.val[k])), small = std::min(small, std::abs(q.a.val[k]));
        oldbig = std::max(oldbig, std::abs(lp.a.val[k]));
        oldsmall = std::min(oldsmall, std::abs(lp.a.val[k]));
      }
      if (big == 0) continue;
      EXPECT_LE(big, std::sqrt(2.0) * (1 + 1e-9)) << j;
      EXPECT_GE(big, std::sqrt(0.5) * (1 - 1e-9)) << j;
      after += std::log2(big / small), before += std::log2(oldbig / oldsmall);
    }
    EXPECT_LE(after, before);
    sim_scale_make(lp, sim_scaling::none, *mman, s);
    EXPECT_FALSE(s.isused);
  }
  const lp_store even = random_lp(3, 20, 20, 2);  // entries 1/4 .. 4: all good but perhaps the last
  const lp_store nice = random_lp(3, 20, 20, 1);
  sim_scale s(mm_at(*mman));
  sim_scale_make(nice.view(), sim_scaling::free, *mman, s);
  EXPECT_FALSE(s.isused);
  sim_scale_make(even.view(), sim_scaling::moderate, *mman, s);
  EXPECT_TRUE(s.isused);
  EXPECT_EQ(memman_numblocks(*mman), 2u);
  s = sim_scale(mm_at(*mman));
  EXPECT_EQ(memman_delete(mman), 0u);
}

TEST(SimCrash, IsTriangularAndTakesFixedRowsOnly) {
  memman* mman = memman_create(nullptr, nullptr, nullptr, true);
  int32_t total = 0;
  for (uint32_t seed = 0; seed < 20; ++seed) {
    const auto m = int32_t(seed * 3), n = int32_t(40 - seed);
    lp_store store = random_lp(seed, m, n, 8);
    const bool fordual = seed % 2 != 0;
    for (size_t j = 0; j < store.c.size(); j += 2) store.c[j] = 0;
    const lp_view lp = store.view();
    mm_vector<int32_t> colofrow(mm_at(*mman));
    const int32_t num = sim_crash(lp, 90, fordual, *mman, colofrow);
    ASSERT_EQ(int32_t(colofrow.size()), m);
    std::vector<int32_t> rowof(n, -1), open;
    for (int32_t i = 0; i < m; ++i) {
      const int32_t j = colofrow[i];
      if (j < 0) continue;
      EXPECT_EQ(rowof[j], -1);
      rowof[j] = i;
      open.push_back(i);
      EXPECT_NE(lp.blx[j], lp.bux[j]);
      const bool isfree = lp.blx[j] == -inf && lp.bux[j] == inf;
      EXPECT_TRUE(isfree || lp.blc[i] == lp.buc[i]);
      EXPECT_TRUE(isfree || !fordual || lp.c[j] == 0);
    }
    EXPECT_EQ(int32_t(open.size()), num);
    total += num;
    // Peels rows in which one open column is left; all must go.
    for (bool moved = true; moved;) {
      moved = false;
      for (size_t o = 0; o < open.size(); ++o) {
        int32_t inrow = 0;
        double pivot = 0, largest = 0;
        for (const int32_t other : open) {
          const int32_t j = colofrow[other];
          for (ptrdiff_t k = lp.a.ptr[j]; k < lp.a.ptr[j + 1]; ++k) {
            if (other == open[o]) largest = std::max(largest, std::abs(lp.a.val[k]));
            if (lp.a.sub[k] != open[o]) continue;
            ++inrow;
            if (other == open[o]) pivot = std::abs(lp.a.val[k]);
          }
        }
        if (inrow != 1 || pivot < simcrash_relpiv * largest) continue;
        open.erase(open.begin() + ptrdiff_t(o));
        moved = true;
        break;
      }
    }
    EXPECT_TRUE(open.empty()) << seed;
  }
  EXPECT_GT(total, 60);
  lp_store rows = random_lp(5, 10, 8, 1);  // nothing to do without fixed rows and free columns
  for (double& b : rows.buc) b = 9;
  for (double& b : rows.bux) b = std::min(b, 1e6);
  mm_vector<int32_t> colofrow(mm_at(*mman));
  EXPECT_EQ(sim_crash(rows.view(), 90, false, *mman, colofrow), 0);
  colofrow = mm_vector<int32_t>(mm_at(*mman));
  EXPECT_EQ(memman_delete(mman), 0u);
}

}  // namespace
