// The quasi-definite system from setup to solve, against a dense K.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ostream>
#include <string>

#include "cpub/fault.h"
#include "kfac/kktfac.h"
#include "kfac/sqdwait.h"
#include "unit/kfac_cases.h"

namespace {

constexpr double solved = 1e-13;  // normwise backward error after refinement

// Lower triangle of a block-diagonal F F' with blocks of the given size and rank.
kfac_matrix blocks(int32_t n, int32_t size, int32_t rank, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> value(-1, 1);
  kfac_matrix h = kfac_rows(n);
  for (int32_t b = 0; b < n; b += size) {
    const int32_t k = std::min(size, n - b);
    std::vector<double> f(size_t(k) * size_t(std::max(1, rank)));
    for (double& v : f) v = rank > 0 ? value(gen) : 0;
    for (int32_t j = 0; j < k; ++j) {
      std::vector<std::pair<int32_t, double>> col;
      for (int32_t i = j; i < k; ++i) {
        double sum = 0;
        for (int32_t r = 0; r < rank; ++r) sum += f[i * rank + r] * f[j * rank + r];
        if (sum != 0) col.emplace_back(b + i, sum);
      }
      h.add(col);
    }
  }
  return h;
}
// Second differences: one component that holds all columns.
kfac_matrix band(int32_t n) {
  kfac_matrix h = kfac_rows(n);
  for (int32_t j = 0; j < n; ++j) {
    if (j + 1 < n) {
      h.add({{j, j == 0 ? 1.0 : 2.0}, {j + 1, -1.0}});
    } else {
      h.add({{j, 1.0}});
    }
  }
  return h;
}
kfac_matrix with_dense(kfac_matrix a, int32_t count) {
  for (int32_t k = 0; k < count; ++k) {
    std::vector<std::pair<int32_t, double>> col;
    for (int32_t i = 0; i < a.m; ++i) col.emplace_back(i, std::sin(1.0 + i * (k + 1.5)));
    a.add(col);
  }
  return a;
}

struct sqd_box {
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  kktfac_ptr fac;
  const kfac_matrix &a, &h;
  monitor mon;
  sqd_box(const kfac_matrix& theA, const kfac_matrix& theH, const kktfac_settings& set)
      : a(theA), h(theH) {
    fac = kktfac_make(kktfac_kind::sqd, a.m, a.n, *mman);
    kktfac_inaij(*fac, a.view());
    kktfac_inqij(*fac, h.view());
    EXPECT_TRUE(kktfac_checkh(*fac));
    EXPECT_EQ(kktfac_autosetup(*fac, set, mon, mon), rescode::ok);
  }
  sqd_box(const sqd_box&) = delete;
  sqd_box& operator=(const sqd_box&) = delete;
  ~sqd_box() {
    fac.reset();
    EXPECT_EQ(memman_delete(mman), 0U);
  }
};

struct system {
  std::vector<double> d, e, b;
};
system make_system(const kfac_matrix& a, double decades, double least, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> exponent(-decades, decades);
  system s{std::vector<double>(size_t(a.n)), std::vector<double>(size_t(a.m), least),
           std::vector<double>(size_t(a.n) + size_t(a.m))};
  for (double& v : s.d) v = std::pow(10.0, exponent(gen));
  for (size_t i = 0; i < s.b.size(); ++i) s.b[i] = std::cos(double(i) * 0.9) + 0.1;
  return s;
}

// b - K x from a dense K, relative to |K| |x| + |b|, all in the norm of the largest component.
double backward(const kfac_matrix& a, const kfac_matrix& h, const system& s,
                const std::vector<double>& x, const std::vector<double>& b) {
  const size_t dim = b.size(), n = size_t(a.n);
  std::vector<double> k(dim * dim, 0.0);
  for (size_t j = 0; j < n; ++j) {
    for (ptrdiff_t p = h.ptr[j]; p < h.ptr[j + 1]; ++p) {
      k[size_t(h.sub[p]) + dim * j] = k[j + dim * size_t(h.sub[p])] = -h.val[p];
    }
    k[j + dim * j] -= s.d[j];
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
      const size_t i = n + size_t(a.sub[p]);
      k[i + dim * j] = k[j + dim * i] = a.val[p];
    }
  }
  for (size_t i = n; i < dim; ++i) k[i + dim * i] = s.e[i - n];
  double res = 0, size = 0, bmost = 0, xmost = 0;
  for (size_t i = 0; i < dim; ++i) {
    double r = b[i], row = 0;
    for (size_t j = 0; j < dim; ++j) {
      r -= k[i + dim * j] * x[j];
      row += std::abs(k[i + dim * j]);
    }
    res = std::abs(r) <= res ? res : std::abs(r);  // keeps NaN
    size = std::max(size, row);
    bmost = std::max(bmost, std::abs(b[i]));
    xmost = std::max(xmost, std::abs(x[i]));
  }
  return res == 0 ? 0 : res / (size * xmost + bmost);
}

struct sqd_case {
  const char* name;
  kfac_matrix a, h;
  int32_t autoform = 1;
};
void PrintTo(const sqd_case& c, std::ostream* os) {
  *os << c.name;
}
class KktfacSqd : public testing::TestWithParam<sqd_case> {};

TEST_P(KktfacSqd, InverseTimesMatrixForEveryFormAndOrder) {
  const auto& [name, a, h, autoform] = GetParam();
  for (const int32_t form : {0, 1, 2}) {
    for (const int32_t order : {0, 2, 3, 5}) {
      sqd_box box(a, h, {.ordermethod = order, .form = form});
      EXPECT_EQ(kktfac_getstats(*box.fac).form, form > 0 ? form : autoform);
      for (const double least : {0.0, 1e-6, 1.0}) {
        const system s = make_system(a, 2, std::max(least, 1e-8), 5);
        ASSERT_EQ(kktfac_numfacsqd(*box.fac, s.d, s.e, {}, box.mon), rescode::ok);
        EXPECT_EQ(kktfac_getstats(*box.fac).numskipped, 0);
        std::vector<double> x(s.b.size());
        kktfac_sqdrefine(*box.fac, s.d, s.e, s.b, x, {});
        EXPECT_LE(backward(a, h, s, x, s.b), solved) << form << " " << order << " " << least;
      }
    }
  }
}

TEST_P(KktfacSqd, SeveralRightHandSidesAreSolvedAsOne) {
  const auto& [name, a, h, autoform] = GetParam();
  sqd_box box(a, h, {});
  const system s = make_system(a, 1, 0.5, 6);
  ASSERT_EQ(kktfac_numfacsqd(*box.fac, s.d, s.e, {.regcol = 0, .regrow = 0}, box.mon), rescode::ok);
  const size_t dim = s.b.size();
  std::vector<double> many(7 * dim), r(dim);
  for (size_t i = 0; i < many.size(); ++i) many[i] = std::sin(double(i) * 1.1);
  const std::vector<double> rhs = many;
  kktfac_solve(*box.fac, many, 7);
  for (size_t k = 0; k < 7; ++k) {
    const std::vector<double> x(many.begin() + ptrdiff_t(k * dim),
                                many.begin() + ptrdiff_t((k + 1) * dim));
    const std::vector<double> b(rhs.begin() + ptrdiff_t(k * dim),
                                rhs.begin() + ptrdiff_t((k + 1) * dim));
    EXPECT_LE(backward(a, h, s, x, b), solved) << k;
    kktfac_sqdresidual(*box.fac, s.d, s.e, x, b, r);
    for (const double v : r) EXPECT_LE(std::abs(v), 1e-9) << k;
  }
}

// Columns of D from nothing to infinite, rows without any weight: finite, and solved as far as the
// right-hand side can be met at all.
TEST_P(KktfacSqd, WideWeightsAreSolvedForConsistentRightHandSides) {
  const auto& [name, a, h, autoform] = GetParam();
  const size_t n = size_t(a.n);
  for (const int32_t form : {1, 2}) {
    sqd_box box(a, h, {.form = form});
    for (const double least : {0.0, 1e-20}) {
      system s = make_system(a, 20, least, 11);
      for (size_t j = 0; j < n; j += 5) s.d[j] = 0;
      // The image of a vector that is small where D is large.
      std::vector<double> want(s.b.size()), zero(s.b.size(), 0.0), x(s.b.size());
      for (size_t i = 0; i < want.size(); ++i) {
        want[i] = std::cos(double(i)) / (i < n ? 1 + s.d[i] : 1.0);
      }
      kktfac_sqdresidual(*box.fac, s.d, s.e, want, zero, s.b);
      for (double& v : s.b) v = -v;
      ASSERT_EQ(kktfac_numfacsqd(*box.fac, s.d, s.e, {}, box.mon), rescode::ok);
      const double res = kktfac_sqdrefine(*box.fac, s.d, s.e, s.b, x, {.maxround = 20});
      for (const double v : x) ASSERT_TRUE(std::isfinite(v));
      double size = 0;
      for (const double v : s.b) size = std::max(size, std::abs(v));
      EXPECT_LE(res * size, 1e-6 * std::max(1.0, size)) << form << " " << least;
    }
  }
}

TEST_P(KktfacSqd, ValuesAreReadAgain) {
  const auto& [name, a, h, autoform] = GetParam();
  kfac_matrix a2 = a, h2 = h;
  sqd_box box(a2, h2, {});
  const system s = make_system(a, 1, 0.1, 2);
  std::vector<double> x(s.b.size());
  ASSERT_EQ(kktfac_numfacsqd(*box.fac, s.d, s.e, {}, box.mon), rescode::ok);
  for (double& v : a2.val) v = 0.5 - v;
  for (double& v : h2.val) v *= 2;
  ASSERT_EQ(kktfac_numfacsqd(*box.fac, s.d, s.e, {}, box.mon), rescode::ok);
  kktfac_sqdrefine(*box.fac, s.d, s.e, s.b, x, {});
  EXPECT_LE(backward(a2, h2, s, x, s.b), solved);
  kktfac_numinaij(*box.fac, a.val);
  kktfac_numinqij(*box.fac, h.val);
  ASSERT_EQ(kktfac_numfacsqd(*box.fac, s.d, s.e, {}, box.mon), rescode::ok);
  kktfac_sqdrefine(*box.fac, s.d, s.e, s.b, x, {});
  EXPECT_LE(backward(a, h, s, x, s.b), solved);
}

TEST_P(KktfacSqd, FailingAllocationLeavesNothing) {
  const auto& [name, a, h, autoform] = GetParam();
  const system s = make_system(a, 1, 1, 1);
  std::vector<double> x(s.b.size());
  bool failed = true;
  for (int32_t k = 0; failed; ++k) {
    ASSERT_LT(k, 2000);
    int32_t left = k;
    memman* mman = memman_create(
        &left,
        [](void* usr, size_t size) -> void* {
          return (*static_cast<int32_t*>(usr))-- > 0 ? std::malloc(size) : nullptr;
        },
        [](void*, void* block) { std::free(block); }, false);
    if (mman == nullptr) continue;
    failed = false;
    try {
      const kktfac_ptr fac = kktfac_make(kktfac_kind::sqd, a.m, a.n, *mman);
      kktfac_inaij(*fac, a.view());
      kktfac_inqij(*fac, h.view());
      EXPECT_EQ(kktfac_autosetup(*fac, {}, {}, {}), rescode::ok);
      left = 0;  // the numeric phase asks for nothing
      EXPECT_EQ(kktfac_numfacsqd(*fac, s.d, s.e, {}, {}), rescode::ok);
      kktfac_sqdrefine(*fac, s.d, s.e, s.b, x, {});
    } catch (const std::bad_alloc&) {
      failed = true;
    }
    EXPECT_EQ(memman_delete(mman), 0U) << k;
  }
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Shapes, KktfacSqd, testing::Values(
    sqd_case{"Empty", {}, {}}, sqd_case{"NoColumns", kfac_rows(5), {}},
    sqd_case{"NoRows", kfac_random(1, 0, 1, 1), {}},
    sqd_case{"One", kfac_chain(1), blocks(1, 1, 1, 1)},
    sqd_case{"ZeroH", kfac_grid(6), blocks(96, 1, 0, 1)},
    sqd_case{"Diagonal", kfac_random(60, 100, 4, 2), blocks(100, 1, 1, 3)},
    sqd_case{"SmallBlocks", kfac_random(60, 120, 3, 4), blocks(120, 3, 2, 5)},
    sqd_case{"LargeBlocks", kfac_random(60, 120, 3, 6), blocks(120, 40, 11, 7)},
    sqd_case{"Band", kfac_random(60, 120, 3, 8), band(120)},
    sqd_case{"DenseColumns", with_dense(kfac_grid(9), 2), blocks(227, 2, 1, 9)},
    sqd_case{"ZeroRowsAndColumns", kfac_random(60, 40, 2, 10), blocks(40, 4, 0, 1)}),
    [](const auto& tc) { return std::string(tc.param.name); });
// clang-format on

TEST(KktfacSqdForm, FreeOrderIsTakenWhereColumnsFirstFillTheRows) {
  // A long row in each column, all alike, so that no column is denser than the others.
  const kfac_matrix a = kfac_random(900, 60, 60, 3), h = blocks(60, 1, 1, 3);
  sqd_box open(a, h, {}), first(a, h, {.form = 1});
  EXPECT_EQ(kktfac_getstats(*open.fac).form, 2);
  EXPECT_LT(3 * kktfac_getstats(*open.fac).flops, kktfac_getstats(*first.fac).flops);
  EXPECT_EQ(kktfac_setup(*open.fac, {}, {}, {}), rescode::ok);  // the choice is kept
  EXPECT_EQ(kktfac_getstats(*open.fac).form, 2);
}

// Every fourth column has no node, every third of the others is bare, row 7 waits for column 5.
TEST(KktfacSqdBorder, WaitingNodesComeBehindWhatTheyWaitFor) {
  const kfac_matrix a = kfac_random(60, 120, 3, 4);
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  {
    std::vector<int32_t> node(120, -1);
    std::vector<uint8_t> isreached(60, 0);
    std::vector<kktfac_border> border{{5, 7}};
    int32_t num = 0;
    for (int32_t j = 0; j < a.n; ++j) {
      if (j % 4 != 0) node[j] = num++;
      if (j % 4 != 0 && j % 3 == 0) border.push_back({j, -1, -1, true});
      for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1] && j % 4 == 0; ++p) isreached[a.sub[p]] = 1;
    }
    mm_vector<int32_t> order(size_t(num) + 60, 0, mm_at(*mman));
    for (size_t k = 0; k < order.size(); ++k) order[k] = int32_t(k);
    std::mt19937 gen(3);
    std::shuffle(order.begin(), order.end(), gen);
    sqdwait_delay({a.view(), node, num, isreached, border}, order);
    std::vector<int32_t> place(order.size(), -1);
    for (size_t k = 0; k < order.size(); ++k) place[order[k]] = int32_t(k);
    EXPECT_EQ(std::count(place.begin(), place.end(), -1), 0);
    EXPECT_GT(place[num + 7], place[node[5]]);
    std::vector<int32_t> firstcol(60, 1000);  // place of the first column of each row
    for (int32_t j = 0; j < a.n; ++j) {
      int32_t firstrow = 1000;
      for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1] && node[j] >= 0; ++p) {
        firstrow = std::min(firstrow, place[num + a.sub[p]]);
        firstcol[a.sub[p]] = std::min(firstcol[a.sub[p]], place[node[j]]);
      }
      const bool isbare = node[j] >= 0 && j % 3 == 0;
      EXPECT_TRUE(!isbare || firstrow < place[node[j]]) << j;
    }
    for (int32_t i = 0; i < 60; ++i) {
      EXPECT_TRUE(isreached[i] != 0 || firstcol[i] == 1000 || firstcol[i] < place[num + i]) << i;
    }
  }
  EXPECT_EQ(memman_delete(mman), 0U);
}

TEST(KktfacSqdTeam, SameBitsForEverySizeOfTheTeam) {
  const kfac_matrix a = kfac_grid(60), h = blocks(a.n, 3, 2, 4);
  const system s = make_system(a, 2, 1e-8, 9);
  for (const int32_t form : {1, 2}) {
    std::vector<double> one, x(s.b.size());
    for (const int32_t numthreads : {1, 2, 4}) {
      sqd_box box(a, h, {.numthreads = numthreads, .form = form});
      ASSERT_EQ(kktfac_numfacsqd(*box.fac, s.d, s.e, {}, box.mon), rescode::ok);
      EXPECT_LE(kktfac_sqdrefine(*box.fac, s.d, s.e, s.b, x, {}), 1e-8);
      if (one.empty()) one = x;
      EXPECT_EQ(x, one) << numthreads;
    }
  }
}

TEST(KktfacCheck, ResidualOfASolveIsLoggedWhenAskedFor) {
  const kfac_matrix a = kfac_grid(6), h = blocks(a.n, 3, 3, 4);
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  const system s = make_system(a, 1, 0.1, 2);
  for (const auto kind : {kktfac_kind::sqd, kktfac_kind::ada}) {
    std::string text;
    monitor mon;
    mon.ctx = &text;
    mon.sinkfn = [](void* ctx, const char* t) { *static_cast<std::string*>(ctx) += t; };
    const kktfac_ptr fac = kktfac_make(kind, a.m, a.n, *mman);
    kktfac_inaij(*fac, a.view());
    std::vector<double> x = s.b;
    if (kind == kktfac_kind::sqd) {
      kktfac_inqij(*fac, h.view());
      ASSERT_EQ(kktfac_setup(*fac, {.check = true}, mon, mon), rescode::ok);
      ASSERT_EQ(kktfac_numfacsqd(*fac, s.d, s.e, {}, mon), rescode::ok);
      kktfac_solve(*fac, x, 1);
    } else {
      ASSERT_EQ(kktfac_adasetup(*fac, {.check = true}, mon, mon), rescode::ok);
      ASSERT_EQ(kktfac_numfac(*fac, s.d, {}, mon), rescode::ok);
      kktfac_adasolve(*fac, x, 2);
    }
    EXPECT_EQ(text.rfind("\nchk factor=", 0), 0U) << text;
    EXPECT_LE(std::stod(text.substr(12)), 1e-12);
    EXPECT_GT(kktfac_getstats(*fac).chkfactor, 0);
  }
  EXPECT_EQ(memman_delete(mman), 0U);
}

// Rows 3 and 7 alike and H of rank one: K is singular without regularization.
TEST(KktfacSqdSingular, DependentRowsAndFlatDirectionsAreSolved) {
  kfac_matrix a = kfac_rows(9);
  for (int32_t j = 0; j < 12; ++j) {
    a.add({{j % 3, 1.0 + j}, {3, std::cos(double(j))}, {7, std::cos(double(j))}});
  }
  const kfac_matrix h = blocks(12, 12, 1, 1);
  for (const double weight : {0.0, 1e-9, 1e9}) {
    for (const int32_t form : {1, 2}) {
      sqd_box box(a, h, {.form = form});
      system s = make_system(a, 0, 0, 1);
      for (size_t j = 0; j < 12; ++j) s.d[j] = j % 4 == 0 ? weight : 0;
      std::vector<double> want(21), zero(21, 0.0), x(21);
      for (size_t i = 0; i < 21; ++i) want[i] = std::sin(double(i) + 1);
      kktfac_sqdresidual(*box.fac, s.d, s.e, want, zero, s.b);
      ASSERT_EQ(kktfac_numfacsqd(*box.fac, s.d, s.e, {}, box.mon), rescode::ok);
      EXPECT_LE(kktfac_sqdrefine(*box.fac, s.d, s.e, s.b, x, {}), 1e-9) << weight << form;
    }
  }
}

TEST(KktfacMix, FaultsHaveTheirTexts) {
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  const kfac_matrix a = kfac_chain(4), h = blocks(a.n, 1, 1, 1);
  const auto text = [](auto&& work) {
    try {
      work();
    } catch (const internal_fault& fault) {
      return std::string(fault.text);
    }
    return std::string("no fault");
  };
  {
    const kktfac_ptr big = kktfac_make(kktfac_kind::sqd, a.m, a.n, *mman);
    const kktfac_ptr ada = kktfac_make(kktfac_kind::ada, a.m, a.n, *mman);
    std::vector<double> x(size_t(a.n + a.m));
    const auto setup = [&](kktfac& f) { (void)kktfac_autosetup(f, {}, {}, {}); };
    EXPECT_EQ(text([&] { kktfac_make(kktfac_kind(7), 1, 1, *mman); }), "Wrong ktpe");
    EXPECT_EQ(text([&] { setup(*big); }), "acol==NULL");
    kktfac_inaij(*big, a.view());
    EXPECT_EQ(text([&] { setup(*big); }), "h!=NULL in SQDT");
    EXPECT_EQ(text([&] { (void)kktfac_adasetup(*big, {}, {}, {}); }), "ADAT and big system mix");
    EXPECT_EQ(text([&] { kktfac_adasolve(*big, x, 1); }), "Wrong factor type");
    EXPECT_EQ(text([&] { (void)kktfac_adasetup(*ada, {}, {}, {}); }), "acol==NULL");
    kktfac_inaij(*ada, a.view());
    EXPECT_EQ(text([&] { kktfac_inqij(*ada, h.view()); }), "ADAT and big system mix");
    EXPECT_EQ(text([&] { setup(*ada); }), "wrong factor type");
    EXPECT_EQ(text([&] { kktfac_solve(*ada, x, 1); }), "Wrong factor type");
    EXPECT_EQ(kktfac_adasetup(*ada, {}, {}, {}), rescode::ok);
    EXPECT_EQ(text([&] { setup(*ada); }), "ADAT and big system mix");
    EXPECT_EQ(text([&] { kktfac_solve(*ada, x, 1); }), "ADAT and big system mix");
    kfac_matrix upper = h;
    upper.sub[2] = 1;
    kktfac_inqij(*big, upper.view());
    EXPECT_FALSE(kktfac_checkh(*big));
  }
  EXPECT_EQ(memman_delete(mman), 0U);
}

}  // namespace
