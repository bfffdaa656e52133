// Definiteness of symmetric matrices against matrices of known eigenvalues.
#include "kfac/symdef.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <utility>
#include <vector>

namespace {

using dense = std::vector<std::vector<double>>;

struct symdef_box {
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  ~symdef_box() { EXPECT_EQ(memman_delete(mman), 0U); }
  symdef_box() = default;
  symdef_box(const symdef_box&) = delete;
  symdef_box& operator=(const symdef_box&) = delete;

  // The lower triangle of a, zeros left out.
  bool ispsd(const dense& a, double sign = 1) {
    spmat lower(mm_at(*mman));
    lower.nrow = lower.ncol = int32_t(a.size());
    lower.ptr.push_back(0);
    for (size_t j = 0; j < a.size(); ++j) {
      for (size_t i = j; i < a.size(); ++i) {
        if (a[i][j] == 0) continue;
        lower.sub.push_back(int32_t(i));
        lower.val.push_back(a[i][j]);
      }
      lower.ptr.push_back(ptrdiff_t(lower.sub.size()));
    }
    return symdef_ispsd(spmat_look(lower), sign, {}, *mman);
  }
};

dense gram(const dense& b) {  // b b'
  dense a(b.size(), std::vector<double>(b.size()));
  for (size_t i = 0; i < b.size(); ++i) {
    for (size_t j = 0; j < b.size(); ++j) {
      for (size_t k = 0; k < b[i].size(); ++k) a[i][j] += b[i][k] * b[j][k];
    }
  }
  return a;
}

dense random_matrix(int n, int rank, std::mt19937& rng) {
  std::normal_distribution<double> entry;
  dense b(n, std::vector<double>(rank));
  for (auto& row : b) {
    for (double& x : row) x = entry(rng);
  }
  return b;
}

// h d h with a reflection h: the eigenvalues are d.
dense with_eigenvalues(const std::vector<double>& d, std::mt19937& rng) {
  const int n = int(d.size());
  dense a(n, std::vector<double>(n));
  for (int i = 0; i < n; ++i) a[i][i] = d[i];
  for (int times = 0; times < 2; ++times) {
    const dense v = random_matrix(n, 1, rng);
    double vv = 0;
    for (int i = 0; i < n; ++i) vv += v[i][0] * v[i][0];
    dense h(n, std::vector<double>(n)), ha = h, hah = h;
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) h[i][j] = (i == j ? 1 : 0) - 2 * v[i][0] * v[j][0] / vv;
    }
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) {
        for (int k = 0; k < n; ++k) ha[i][j] += h[i][k] * a[k][j];
      }
    }
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) {
        for (int k = 0; k < n; ++k) hah[i][j] += ha[i][k] * h[k][j];
      }
    }
    a = hah;
  }
  return a;
}

TEST(SymdefGram, IsSemidefiniteForEveryRank) {
  symdef_box box;
  std::mt19937 rng(1);
  for (int n = 1; n <= 24; ++n) {
    for (int rank = 0; rank <= n; ++rank) {
      dense b = random_matrix(n, rank, rng);
      for (int i = 0; i < n; ++i) {  // badly scaled variables are no matter
        for (double& x : b[i]) x *= std::pow(10.0, i % 13 - 6);
      }
      const dense a = gram(b);
      EXPECT_TRUE(box.ispsd(a)) << n << " " << rank;
      EXPECT_EQ(box.ispsd(a, -1), rank == 0) << n << " " << rank;
    }
  }
}

TEST(SymdefEigenvalue, OfMinusAMillionthIsSeen) {
  symdef_box box;
  std::mt19937 rng(2);
  for (const int n : {2, 5, 8, 14, 23, 40, 330}) {  // the last one by blocks
    for (const double least : {-1e-6, -1e-8, 0.0, 1e-6}) {
      std::vector<double> d(n, 1.0);
      for (int i = 1; i < n; ++i) d[i] = double(i) / n;
      d[n - 1] = 1;
      d[0] = least;
      EXPECT_EQ(box.ispsd(with_eigenvalues(d, rng)), least >= 0) << n << " " << least;
    }
  }
}

TEST(SymdefSmall, CasesByHand) {
  struct {
    const char* name;
    dense a;
    bool ispsd, isnsd;
  } const cases[] = {{"Empty", {}, true, true},
                     {"Zero", {{0}}, true, true},
                     {"Positive", {{2}}, true, false},
                     {"Negative", {{-2}}, false, true},
                     {"ZeroDiagonal", {{0, 1}, {1, 5}}, false, false},
                     {"OnlyOffDiagonal", {{0, 1}, {1, 0}}, false, false},
                     {"ZeroRow", {{1, 0, 2}, {0, 0, 0}, {2, 0, 4}}, true, false},
                     {"Indefinite", {{1, 2}, {2, 1}}, false, false},
                     {"Tiny", {{1e-300, 0}, {0, 1e-300}}, true, false},
                     {"Huge", {{1e300, 1e300}, {1e300, 1e300}}, true, false},
                     {"Mixed", {{1, 0}, {0, -1}}, false, false}};
  symdef_box box;
  for (const auto& c : cases) {
    EXPECT_EQ(box.ispsd(c.a), c.ispsd) << c.name;
    EXPECT_EQ(box.ispsd(c.a, -1), c.isnsd) << c.name;
  }
}

// A banded matrix of many rows: B B' of a band, singular on purpose, and the same spoilt by one entry.
TEST(SymdefBand, OfManyRowsIsDoneSparsely) {
  constexpr int32_t n = 20000;
  constexpr int32_t width = 5;
  symdef_box box;
  spmat lower(mm_at(*box.mman));
  lower.nrow = lower.ncol = n;
  std::mt19937 rng(3);
  std::vector<std::array<double, width>> b(n);
  for (auto& row : b) {
    for (double& x : row) x = double(int32_t(rng() % 9)) - 4;
  }
  for (int32_t i = 0; i < n; i += 3) b[i] = {};  // zero rows
  lower.ptr.push_back(0);
  for (int32_t j = 0; j < n; ++j) {
    for (int32_t i = j; i < std::min(n, j + width); ++i) {
      double sum = 0;
      for (int32_t k = i; k < j + width; ++k) sum += b[i][k - i] * b[j][k - j];
      if (sum == 0) continue;
      lower.sub.push_back(i);
      lower.val.push_back(sum);
    }
    lower.ptr.push_back(ptrdiff_t(lower.sub.size()));
  }
  EXPECT_TRUE(symdef_ispsd(spmat_look(lower), 1, {}, *box.mman));
  const ptrdiff_t last = ptrdiff_t(lower.val.size()) - 1;
  lower.val[last] = -std::abs(lower.val[last]);
  EXPECT_FALSE(symdef_ispsd(spmat_look(lower), 1, {}, *box.mman));
}

}  // namespace
