// The normal equations from setup to solve, against a dense A D A'.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ostream>
#include <string>

#include "kfac/kktfac.h"
#include "unit/kfac_cases.h"

namespace {

constexpr double exactly = 1e-13;  // backward error of a stable solve of these orders

// A manager whose k-th allocation from now on fails; negative: none.
struct counted_memory {
  int32_t left = -1;
  memman* mman = nullptr;
  explicit counted_memory(int32_t k = -1) {
    mman = memman_create(
        this,
        [](void* usr, size_t size) -> void* {
          auto* self = static_cast<counted_memory*>(usr);
          if (self->left == 0) return nullptr;
          if (self->left > 0) --self->left;
          return std::malloc(size);
        },
        [](void*, void* block) { std::free(block); }, false);
    left = k;
  }
  counted_memory(const counted_memory&) = delete;
  counted_memory& operator=(const counted_memory&) = delete;
  ~counted_memory() { EXPECT_EQ(memman_delete(mman), 0U); }
};

std::vector<double> weights(int32_t n, double decades, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> exponent(-decades, decades);
  std::vector<double> d(size_t(n), 1.0);
  for (double& v : d) v = std::pow(10.0, exponent(gen));
  return d;
}
std::vector<double> rhs(int32_t m, int32_t nrhs) {
  std::vector<double> b(size_t(m) * size_t(nrhs));
  for (size_t i = 0; i < b.size(); ++i) b[i] = std::cos(double(i) * 0.9) + 0.1;
  return b;
}

struct setup_box {
  counted_memory memory;
  kktfac_ptr fac;
  monitor mon;
  setup_box(const kfac_matrix& a, const kktfac_settings& set) {
    fac = kktfac_make(kktfac_kind::ada, a.m, a.n, *memory.mman);
    kktfac_inaij(*fac, a.view());
    EXPECT_EQ(kktfac_adasetup(*fac, set, mon, mon), rescode::ok);
  }
  std::vector<double> solve(const std::vector<double>& d, std::vector<double> x, int32_t nrhs,
                            const kktfac_regul& regul = {}) {
    EXPECT_EQ(kktfac_numfac(*fac, d, regul, mon), rescode::ok);
    kktfac_adasolve(*fac, x, nrhs);
    return x;
  }
};

struct ada_case {
  const char* name;
  kfac_matrix a;
};

void PrintTo(const ada_case& c, std::ostream* os) {
  *os << c.name;
}

class KktfacAda : public testing::TestWithParam<ada_case> {};

TEST_P(KktfacAda, SolvesForEveryOrderAndFamily) {
  const kfac_matrix& a = GetParam().a;
  const std::vector<double> d = weights(a.n, 1.5, 3), mat = kfac_dense(a, d, 1e-10);
  for (const int32_t order : {0, 1, 2, 3, 5}) {
    for (const int32_t cputype : {0, 1}) {
      setup_box box(a, {.ordermethod = order, .cputype = cputype});
      for (const int32_t nrhs : {1, 2, 3, 7}) {
        const std::vector<double> b = rhs(a.m, nrhs), x = box.solve(d, b, nrhs);
        for (int32_t r = 0; r < nrhs; ++r) {
          const std::vector<double> br(b.begin() + r * a.m, b.begin() + (r + 1) * a.m);
          const std::vector<double> xr(x.begin() + r * a.m, x.begin() + (r + 1) * a.m);
          EXPECT_LE(kfac_backward(mat, xr, br), exactly) << order << " " << cputype << " " << nrhs;
        }
      }
      EXPECT_EQ(kktfac_getstats(*box.fac).numskipped, 0);
      EXPECT_EQ(kktfac_getstats(*box.fac).numsolve, 13);
    }
  }
}

TEST_P(KktfacAda, SameBitsTwice) {
  const kfac_matrix& a = GetParam().a;
  setup_box box(a, {}), again(a, {});
  const std::vector<double> d = weights(a.n, 3, 4), b = rhs(a.m, 1);
  const std::vector<double> x = box.solve(d, b, 1);
  EXPECT_EQ(box.solve(weights(a.n, 1, 7), b, 1).size(), b.size());
  EXPECT_EQ(box.solve(d, b, 1), x);
  EXPECT_EQ(again.solve(d, b, 1), x);
}

TEST_P(KktfacAda, CountsEqualDenseElimination) {
  const kfac_matrix& a = GetParam().a;
  const setup_box box(a, {.ordermethod = 5, .offcoltrh = 0});
  std::vector<uint8_t> mat(size_t(a.m) * size_t(a.m), 0);
  for (int32_t j = 0; j < a.n; ++j) {
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
      for (ptrdiff_t q = a.ptr[j]; q < a.ptr[j + 1]; ++q) mat[a.sub[p] + a.m * a.sub[q]] = 1;
    }
  }
  int64_t nnz = 0, matnnz = a.m;
  double flops = 0;
  for (int32_t i = 0; i < a.m; ++i) {
    for (int32_t j = 0; j < i; ++j) matnnz += mat[i + a.m * j];
  }
  for (int32_t k = 0; k < a.m; ++k) {
    std::vector<int32_t> below;
    for (int32_t i = k + 1; i < a.m; ++i) {
      if (mat[i + a.m * k] != 0) below.push_back(i);
    }
    for (const int32_t i : below) {
      for (const int32_t j : below) mat[i + a.m * j] = 1;
    }
    const auto count = double(below.size() + 1);
    nnz += int64_t(count);
    flops += count * count;
  }
  const kktfac_stats& st = kktfac_getstats(*box.fac);
  EXPECT_EQ(st.numnz, nnz);
  EXPECT_EQ(st.flops, flops);
  EXPECT_EQ(st.matnumnz, matnnz);
  EXPECT_GE(st.storednz, nnz);
}

TEST_P(KktfacAda, WideWeightsAreSolvedForConsistentRightHandSides) {
  const kfac_matrix& a = GetParam().a;
  setup_box box(a, {});
  std::vector<double> d = weights(a.n, 20, 11), b(size_t(a.m), 0.0), e(size_t(a.n));
  for (size_t j = 0; j < d.size(); j += 7) d[j] = 0;
  for (size_t j = 0; j < e.size(); ++j) e[j] = std::sqrt(d[j]) * std::sin(double(j));
  spmat_addax(a.view(), 1.0, e, b);  // in the range of A D^(1/2), as right-hand sides are
  // Refined until the residual stalls, relative to the right-hand side or to data of size one.
  const std::vector<double> mat = kfac_dense(a, d, 0);
  std::vector<double> x = box.solve(d, b, 1), r = b;
  double size = 1, least = 0;
  for (const double v : b) size = std::max(size, std::abs(v));
  for (int32_t round = 0; round < 10; ++round) {
    double now = 0;
    for (size_t i = 0; i < r.size(); ++i) {
      r[i] = b[i];
      for (size_t j = 0; j < r.size(); ++j) r[i] -= mat[i + r.size() * j] * x[j];
      now = std::max(now, std::abs(r[i]));
    }
    if (round > 0 && now >= least) break;
    least = now;
    kktfac_adasolve(*box.fac, r, 1);
    for (size_t i = 0; i < r.size(); ++i) x[i] += r[i];
  }
  EXPECT_LE(least, 1e-6 * size);
  for (const double v : x) EXPECT_TRUE(std::isfinite(v));
}

TEST_P(KktfacAda, FailingAllocationLeavesNothing) {
  const kfac_matrix& a = GetParam().a;
  const std::vector<double> d = weights(a.n, 1, 1);
  std::vector<double> x = rhs(a.m, 1);
  bool failed = true;
  for (int32_t k = 0; failed; ++k) {
    ASSERT_LT(k, 1000);
    counted_memory memory(k);
    failed = false;
    try {
      const kktfac_ptr fac = kktfac_make(kktfac_kind::ada, a.m, a.n, *memory.mman);
      kktfac_inaij(*fac, a.view());
      EXPECT_EQ(kktfac_adasetup(*fac, {}, {}, {}), rescode::ok);
      memory.left = 0;  // the numeric phase asks for nothing
      EXPECT_EQ(kktfac_numfac(*fac, d, {}, {}), rescode::ok);
      kktfac_adasolve(*fac, x, 1);
    } catch (const std::bad_alloc&) {
      failed = true;
    }
  }
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Shapes, KktfacAda, testing::Values(
    ada_case{"Empty", {}}, ada_case{"NoColumns", kfac_rows(5)}, ada_case{"One", kfac_chain(1)},
    ada_case{"Diagonal", kfac_edges(40, {})}, ada_case{"Chain", kfac_chain(60)},
    ada_case{"Tree", kfac_tree(80)}, ada_case{"Arrow", kfac_arrow(70)},
    ada_case{"Grid", kfac_grid(9)}, ada_case{"Full", kfac_full(75)},
    ada_case{"ZeroRows", kfac_random(30, 12, 2, 1)},
    ada_case{"Sparse", kfac_random(150, 300, 3, 2)},
    ada_case{"Denser", kfac_random(120, 200, 9, 3)}),
    [](const auto& tc) { return std::string(tc.param.name); });
// clang-format on

// Dense columns: the split must not change the answer.
struct dense_case {
  const char* name;
  kfac_matrix a;
  int32_t numoffcol;
  double decades;
};

kfac_matrix with_dense(kfac_matrix a, int32_t count, int32_t from, int32_t step, double scale = 1) {
  for (int32_t k = 0; k < count; ++k) {
    std::vector<std::pair<int32_t, double>> col;
    for (int32_t i = from; i < a.m; i += step)
      col.emplace_back(i, scale * std::sin(1.0 + i * (k + 1.5)));
    a.add(col);
  }
  return a;
}
// The chain's matrix without the entries of its first rows, which dense columns must hold.
kfac_matrix bare_rows(int32_t m, int32_t numbare) {
  kfac_matrix a = kfac_rows(m);
  for (int32_t i = numbare; i < m; ++i) a.add({{i, 1.0 + 0.1 * (i % 7)}});
  for (int32_t i = numbare; i + 1 < m; ++i) a.add({{i, 1.0}, {i + 1, -0.7}});
  return a;
}

void PrintTo(const dense_case& c, std::ostream* os) {
  *os << c.name;
}

class KktfacDense : public testing::TestWithParam<dense_case> {};

TEST_P(KktfacDense, EqualsTheSolveWithoutSplit) {
  constexpr double solved = 1e-10;
  const kfac_matrix& a = GetParam().a;
  const std::vector<double> d = weights(a.n, GetParam().decades, 21), b = rhs(a.m, 3);
  setup_box split(a, {}), whole(a, {.offcoltrh = 0});
  EXPECT_EQ(kktfac_getstats(*split.fac).numoffcol, GetParam().numoffcol);
  EXPECT_EQ(kktfac_getstats(*whole.fac).numoffcol, 0);
  const std::vector<double> x = split.solve(d, b, 3), y = whole.solve(d, b, 3);
  const std::vector<double> mat = kfac_dense(a, d, 1e-10);
  const std::vector<double> b0(b.begin(), b.begin() + a.m);
  EXPECT_LE(kfac_backward(mat, {x.begin(), x.begin() + a.m}, b0), solved);
  EXPECT_LE(kfac_backward(mat, {y.begin(), y.begin() + a.m}, b0), solved);
  EXPECT_LE(kktfac_getstats(*split.fac).numnz, kktfac_getstats(*whole.fac).numnz);
  EXPECT_EQ(kktfac_getstats(*split.fac).numskipped, 0);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Shapes, KktfacDense, testing::Values(
    dense_case{"OneFull", with_dense(kfac_chain(120), 1, 0, 1), 1, 1},
    dense_case{"FiveInAGrid", with_dense(kfac_grid(12), 5, 3, 2), 5, 1},
    dense_case{"WideWeights", with_dense(kfac_grid(12), 5, 0, 1), 5, 4},
    dense_case{"HeavyColumns", with_dense(kfac_grid(12), 5, 0, 1, 1e4), 5, 3},
    dense_case{"HeavyOnBareRows", with_dense(bare_rows(150, 3), 6, 0, 1, 1e3), 6, 3},
    dense_case{"OneBareRow", with_dense(bare_rows(150, 1), 2, 0, 1), 2, 1},
    dense_case{"ThreeBareRows", with_dense(bare_rows(150, 3), 6, 0, 1), 6, 2},
    dense_case{"NoneDense", kfac_chain(120), 0, 1}),
    [](const auto& tc) { return std::string(tc.param.name); });
// clang-format on

TEST(KktfacSingular, RowsLeaveAndTheRestIsSolved) {
  // Row 7 twice the sum of rows 2 and 3 in every column: M has rank m - 1 without the shift.
  kfac_matrix a = kfac_rows(20);
  for (int32_t j = 0; j < 60; ++j) {
    std::vector<std::pair<int32_t, double>> col;
    const double v2 = std::sin(j * 1.7), v3 = std::cos(j * 0.3);
    for (int32_t i = 0; i < 20; ++i) {
      if (i != 2 && i != 3 && i != 7 && (i + j) % 5 == 0)
        col.emplace_back(i, std::sin(i * i * 0.77 + j * 2.1 * (i + 1)));
    }
    col.emplace_back(2, v2);
    col.emplace_back(3, v3);
    col.emplace_back(7, 2 * (v2 + v3));
    a.add(col);
  }
  setup_box box(a, {});
  const std::vector<double> d = weights(a.n, 1, 2);
  std::vector<double> b(20, 0.0), e(60);
  for (size_t j = 0; j < e.size(); ++j) e[j] = std::cos(double(j));
  spmat_addax(a.view(), 1.0, e, b);  // consistent
  const std::vector<double> x = box.solve(d, b, 1, {.shift = 0});
  EXPECT_EQ(kktfac_getstats(*box.fac).numskipped, 1);
  EXPECT_LE(kfac_backward(kfac_dense(a, d, 0), x, b), exactly);
}

TEST(KktfacTeam, SameBitsForEverySizeOfTheTeam) {
  std::vector<std::pair<int32_t, int32_t>> edges;
  constexpr int32_t k = 18;  // a cube, so that the top fronts are wide and solves are shared
  for (int32_t i = 0; i < k * k * k; ++i) {
    if (i % k + 1 < k) edges.emplace_back(i, i + 1);
    if (i / k % k + 1 < k) edges.emplace_back(i, i + k);
    if (i / k / k + 1 < k) edges.emplace_back(i, i + k * k);
  }
  for (const bool isfull : {false, true}) {
    const kfac_matrix a =
        isfull ? with_dense(kfac_edges(1100, {}), 2, 0, 1) : kfac_edges(k * k * k, edges);
    const std::vector<double> d = weights(a.n, 2, 9), b = rhs(a.m, 2);
    std::vector<double> one;
    for (const int32_t numthreads : {1, 2, 3, 4}) {
      setup_box box(a, {.offcoltrh = 0, .numthreads = numthreads});
      const std::vector<double> x = box.solve(d, b, 2);
      if (numthreads == 1) one = x;
      EXPECT_EQ(x, one) << numthreads;
      EXPECT_EQ(box.solve(d, b, 2), one) << numthreads;
    }
    std::vector<double> res(b.begin(), b.begin() + a.m), col(size_t(a.n), 0.0);
    for (int32_t i = 0; i < a.m; ++i) res[i] -= 1e-10 * one[i];
    spmat_addatx(a.view(), 1.0, std::span(one).first(size_t(a.m)), col);
    for (int32_t j = 0; j < a.n; ++j) col[j] *= d[j];
    spmat_addax(a.view(), -1.0, col, res);
    for (const double r : res) EXPECT_LE(std::abs(r), 1e-8);
  }
}

TEST(KktfacStop, MonitorEndsAFactorization) {
  const kfac_matrix a = with_dense(kfac_edges(1000, {}), 1, 0, 1);  // long enough for a poll
  setup_box box(a, {.ordermethod = 5, .offcoltrh = 0});
  monitor stop;
  stop.pollfn = [](void*, monitor_where) { return rescode::trm_user_callback; };
  const std::vector<double> d(size_t(a.n), 1.0);
  EXPECT_EQ(kktfac_numfac(*box.fac, d, {}, stop), rescode::trm_user_callback);
  EXPECT_EQ(kktfac_numfac(*box.fac, d, {}, box.mon), rescode::ok);
  setup_box team(a, {.ordermethod = 5, .offcoltrh = 0, .numthreads = 2});
  EXPECT_EQ(kktfac_numfac(*team.fac, d, {}, stop), rescode::trm_user_callback);
  EXPECT_EQ(kktfac_numfac(*team.fac, d, {}, team.mon), rescode::ok);
}

// ---- Choice of the order

TEST(KktfacOrder, TakesThePartitionOrderOnlyWhereItSaves) {
  const kfac_matrix grid = kfac_grid(90);
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  double flops[3] = {};
  {
    int k = 0;
    for (const int32_t method : {1, 0, 3}) {  // local fill, free choice, partitioning
      const kktfac_ptr fac = kktfac_make(kktfac_kind::ada, grid.m, grid.n, *mman);
      kktfac_inaij(*fac, grid.view());
      kktfac_settings set;
      set.ordermethod = method;
      set.offcoltrh = 0;
      ASSERT_EQ(kktfac_adasetup(*fac, set, {}, {}), rescode::ok);
      const kktfac_stats& st = kktfac_getstats(*fac);
      flops[k++] = st.flops;
      EXPECT_EQ(st.gpused, method != 1 && (method == 3 || st.flops < flops[0]));
      if (method == 0 && st.gpused) {
        EXPECT_GT(st.gpsavedflops, 0);
      }
    }
  }
  EXPECT_LE(flops[1], std::min(flops[0], flops[2]) / 0.95);
  EXPECT_EQ(memman_delete(mman), 0u);
}

}  // namespace
