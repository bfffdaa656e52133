// Factors of a basis against products with it: fresh, after exchanges, by each way of solving, of
// singular bases, and when memory runs out.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "lu/lu.h"
#include "lu/luselect.h"
#include "support/faulty_alloc.h"
#include "unit/lu_cases.h"

namespace {

constexpr double roundoff = 1e-11;     // of fresh factors, relative
constexpr double agedroundoff = 1e-8;  // after hundreds of exchanges by pivots of a tenth

struct lu_box {
  faulty_alloc fault;
  memman* mman = memman_create(&fault, faulty_alloc::alloc, faulty_alloc::free, false);
  lu_rec* f = mm_make<lu_rec>(mm_at(*mman), mm_at(*mman));
  lu_vector x{mm_at(*mman)};
  lu_box() = default;
  lu_box(const lu_box&) = delete;
  lu_box& operator=(const lu_box&) = delete;
  ~lu_box() {
    mm_destroy(mm_at(*mman), f);
    x = lu_vector(mm_at(*mman));
    EXPECT_EQ(memman_delete(mman), 0U);
  }
  rescode make(const lu_problem& pr, std::vector<int32_t>& basic) {
    lu_vecsize(x, pr.m);
    return lu_factorize(*f, pr.a(), basic, monitor{});
  }
  // The vector in x, solved, as a plain one. Checks that everything nonzero is listed once.
  std::vector<double> taken() {
    std::vector<double> v(x.val.begin(), x.val.end());
    EXPECT_GE(x.num, 0);
    lu_vecclear(x);
    EXPECT_TRUE(std::all_of(x.val.begin(), x.val.end(), [](double e) { return e == 0; }));
    return v;
  }
  std::vector<double> ftran(const std::vector<double>& b, bool listed = true, bool keep = false) {
    load(b, listed);
    lu_ftran(*f, x, keep);
    return taken();
  }
  std::vector<double> btran(const std::vector<double>& c, bool listed = true) {
    load(c, listed);
    lu_btran(*f, x);
    return taken();
  }

 private:
  void load(const std::vector<double>& b, bool listed) {
    for (size_t i = 0; i < b.size(); ++i)
      if (b[i] != 0) lu_vecset(x, int32_t(i), b[i]);
    if (!listed) x.num = -1;
  }
};

std::vector<double> sparse_vector(int32_t m, double density, std::mt19937& gen) {
  std::uniform_real_distribution<double> u(0, 1);
  std::vector<double> b(size_t(m), 0.0);
  for (double& v : b)
    if (u(gen) < density) v = 2 * u(gen) - 1;
  if (m > 0) b[size_t(u(gen) * m)] = 1;
  return b;
}

class LuBasis : public testing::TestWithParam<lu_kind> {};

void expect_solves(lu_box& box, const lu_problem& pr, const std::vector<int32_t>& basic,
                   std::mt19937& gen, double bound = roundoff) {
  for (const double density : {0.0, 0.05, 1.0}) {
    const std::vector<double> b = sparse_vector(pr.m, density, gen);
    EXPECT_LE(pr.error(basic, box.ftran(b), b), bound);
    EXPECT_LE(pr.errort(basic, box.btran(b), b), bound);
  }
}

// The column of a variable is exchanged for that of the position with a large pivot.
lu_state exchange(lu_box& box, const lu_problem& pr, std::vector<int32_t>& basic, int32_t enter,
                  std::mt19937& gen, bool unitfirst) {
  std::vector<double> col(size_t(pr.m), 0.0);
  pr.column(enter, [&](int32_t i, double v) { col[size_t(i)] = v; });
  const std::vector<double> alpha = box.ftran(col, true, true);
  double big = 0;
  for (const double v : alpha) big = std::max(big, std::abs(v));
  std::vector<int32_t> able;
  for (int32_t p = 0; p < pr.m; ++p)
    if (std::abs(alpha[size_t(p)]) >= 0.1 * big) able.push_back(p);
  const int32_t p = able[gen() % able.size()];
  if (unitfirst) {
    std::vector<double> unit(size_t(pr.m), 0.0);
    unit[size_t(p)] = 2;
    box.btran(unit);
  }
  const lu_state state = lu_update(*box.f, p, alpha[size_t(p)]);
  basic[size_t(p)] = enter;
  if (state != lu_state::ok) {
    std::vector<int32_t> same = basic;
    EXPECT_EQ(lu_factorize(*box.f, pr.a(), same, monitor{}), rescode::ok);
    EXPECT_EQ(same, basic);
  }
  return state;
}

TEST_P(LuBasis, SolvesWithBothSidesAndAfterExchanges) {
  for (const uint32_t seed : {1U, 2U}) {
    const lu_problem pr = lu_random(GetParam(), seed);
    std::mt19937 gen(seed);
    lu_box box;
    std::vector<int32_t> basic = pr.basic;
    ASSERT_EQ(box.make(pr, basic), rescode::ok);
    ASSERT_EQ(basic, pr.basic) << box.f->numsing;
    expect_solves(box, pr, basic, gen);
    if (pr.m == 0) continue;
    int32_t fresh = 0;
    for (int32_t k = 0; k < 500; ++k) {
      const auto enter = int32_t(gen() % uint32_t(pr.n + pr.m));
      if (std::find(basic.begin(), basic.end(), enter) != basic.end()) continue;
      fresh += int32_t(exchange(box, pr, basic, enter, gen, k % 2 == 0) != lu_state::ok);
      if (k % 20 == 0) expect_solves(box, pr, basic, gen, agedroundoff);
      if (testing::Test::HasFailure()) FAIL() << "exchange " << k;
    }
    expect_solves(box, pr, basic, gen, agedroundoff);
    EXPECT_LE(fresh, 60);
    EXPECT_LE(box.f->count.nnzupdate, 4 * (box.f->count.nnzl + box.f->count.nnzu + pr.m));
  }
}

TEST_P(LuBasis, EveryWayOfSolvingGivesTheSame) {
  const lu_problem pr = lu_random(GetParam(), 7);
  std::mt19937 gen(7);
  lu_box box;
  std::vector<int32_t> basic = pr.basic;
  ASSERT_EQ(box.make(pr, basic), rescode::ok);
  for (int32_t k = 0; k < std::min(pr.m, 40); ++k) {
    const std::vector<double> b = sparse_vector(pr.m, 0.02 * (k % 3), gen);
    std::vector<std::vector<double>> way[2];
    for (int32_t w = 0; w < 3; ++w) {
      box.f->set.sparsedens = w == 0 ? 1 : -1;
      box.f->set.sparseexpected = w == 0 ? 1 : 0.1;
      if (w == 2) std::fill_n(&box.f->density[0][0], 8, 1.0);
      way[0].push_back(box.ftran(b, w < 2));
      way[1].push_back(box.btran(b, w < 2));
    }
    for (const auto& results : way) {
      double most = 1;
      for (const double v : results[0]) most = std::max(most, std::abs(v));
      for (size_t i = 0; i < b.size(); ++i)
        for (size_t w = 1; w < results.size(); ++w)
          ASSERT_NEAR(results[0][i], results[w][i], roundoff * most);
    }
    box.f->set = lu_settings{};
    const auto enter = int32_t(gen() % uint32_t(pr.n));
    if (std::find(basic.begin(), basic.end(), enter) == basic.end())
      exchange(box, pr, basic, enter, gen, true);
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, LuBasis,
                         testing::Values(lu_kind{"Empty", 0, 0, 0, 0, 0},
                                         lu_kind{"One", 1, 0, 0, 0, 0},
                                         lu_kind{"Logicals", 30, 0.1, 1, 0, 0},
                                         lu_kind{"Sparse", 300, 0.01, 0.3, 0.5, 0},
                                         lu_kind{"Triangular", 400, 0.01, 0, 1, 0},
                                         lu_kind{"Kernel", 200, 0.03, 0, 0, 0},
                                         lu_kind{"DenseTail", 150, 0.3, 0, 0, 0},
                                         lu_kind{"BadlyScaled", 120, 0.02, 0.2, 0.5, 4},
                                         lu_kind{"Large", 2000, 0.0008, 0.5, 0.8, 0}),
                         [](const auto& tc) { return std::string(tc.param.name); });

// Columns that depend on others get the logicals of rows that are left; the rest of the basis stays,
// and the factors are those of the new basis.
TEST(LuSingular, GetsLogicals) {
  struct singular_case {
    const char* name;
    lu_kind kind;
    int32_t number;  // columns that become combinations of two others
  };
  const singular_case cases[] = {{"one", {"", 40, 0.05, 0.2, 0.5, 0}, 1},
                                 {"many", {"", 90, 0.05, 0, 0, 0}, 30},
                                 {"dense", {"", 80, 0.5, 0, 0, 0}, 7},
                                 {"all", {"", 12, 0.2, 0, 0, 0}, 12}};
  for (const singular_case& tc : cases) {
    const lu_problem base = lu_random(tc.kind, 3);
    lu_problem pr;
    pr.m = base.m;
    std::mt19937 gen(5);
    for (int32_t p = 0; p < pr.m; ++p) {
      std::vector<double> col(size_t(pr.m), 0.0);
      const auto put = [&](int32_t var, double times) {
        base.column(var, [&](int32_t i, double v) { col[size_t(i)] += times * v; });
      };
      if (p >= tc.number)
        put(base.basic[size_t(p)], 1);
      else if (tc.number < pr.m)
        for (int32_t k = 0; k < 2; ++k)
          put(base.basic[size_t(tc.number) + gen() % size_t(pr.m - tc.number)], 1.5 - k);
      std::vector<std::pair<int32_t, double>> entries;
      for (int32_t i = 0; i < pr.m; ++i)
        if (col[size_t(i)] != 0) entries.emplace_back(i, col[size_t(i)]);
      pr.add(entries);
      pr.basic.push_back(p);
    }
    lu_box box;
    std::vector<int32_t> basic = pr.basic;
    ASSERT_EQ(box.make(pr, basic), rescode::ok);
    EXPECT_EQ(box.f->numsing, tc.number) << tc.name;
    for (int32_t k = 0; k < box.f->numsing; ++k) {
      const auto p = size_t(box.f->singpos[size_t(k)]);
      EXPECT_EQ(basic[p], pr.n + box.f->singrow[size_t(k)]) << tc.name;
      EXPECT_EQ(pr.basic[p], box.f->singvar[size_t(k)]) << tc.name;
    }
    expect_solves(box, pr, basic, gen);
    std::vector<int32_t> again = basic;
    ASSERT_EQ(box.make(pr, again), rescode::ok);
    EXPECT_EQ(box.f->numsing, 0) << tc.name;
  }
}

TEST(LuSingular, SameVariableTwiceCountsOnce) {
  lu_problem pr = lu_random({"", 20, 0.1, 0.5, 0.5, 0}, 4);
  const auto logical =
      std::find_if(pr.basic.begin(), pr.basic.end(), [&](int32_t v) { return v >= pr.n; });
  ASSERT_NE(logical, pr.basic.end());
  for (const int32_t twice : {*logical, pr.basic[logical == pr.basic.begin() ? 1 : 0]}) {
    std::vector<int32_t> basic = pr.basic;
    basic[10] = basic[11] = twice;
    lu_box box;
    ASSERT_EQ(box.make(pr, basic), rescode::ok);
    EXPECT_GE(box.f->numsing, 1);
    std::sort(basic.begin(), basic.end());
    EXPECT_EQ(std::adjacent_find(basic.begin(), basic.end()), basic.end());
  }
}

// A threshold that lets entries grow too far is raised until the factors are good.
TEST(LuGrowth, RaisesTheThreshold) {
  const lu_problem pr = lu_random({"", 200, 0.04, 0, 0, 6}, 10);
  lu_box box;
  box.f->set.pivrel = 1e-7;
  std::vector<int32_t> basic = pr.basic;
  ASSERT_EQ(box.make(pr, basic), rescode::ok);
  EXPECT_GT(box.f->set.pivrel, 1e-7);
  EXPECT_GE(box.f->count.totfactor, 2);
  std::mt19937 gen(2);
  expect_solves(box, pr, basic, gen, agedroundoff);
}

// Of columns with copies and sums of others a basis of the whole span is taken, earlier classes first.
TEST(LuSelect, TakesIndependentColumnsOfEarlyClasses) {
  const lu_problem pr = lu_random({"", 80, 0.05, 0, 0.3, 0}, 9);
  std::vector<int32_t> vars;
  for (int32_t k = 0; k < 30; ++k) vars.push_back(k);           // independent
  for (int32_t k = 0; k < 30; ++k) vars.push_back(29 - k);      // nothing new
  for (int32_t k = 0; k < 40; ++k) vars.push_back(20 + k);      // 30 new ones
  for (int32_t i = 0; i < pr.m; ++i) vars.push_back(pr.n + i);  // what is left
  const int32_t classend[] = {30, 60, 100, 180};
  lu_box box;
  lu_selection sel(mm_at(*box.mman));
  ASSERT_EQ(lu_select(*box.f, pr.a(), vars, classend, monitor{}, sel), rescode::ok);
  const auto taken = [&](int32_t from, int32_t to) {
    return std::count_if(sel.taken.begin(), sel.taken.end(),
                         [&](int32_t k) { return k >= from && k < to; });
  };
  EXPECT_EQ(taken(0, 30), 30);
  EXPECT_EQ(taken(30, 60), 0);
  EXPECT_EQ(taken(60, 100), 30);
  EXPECT_EQ(taken(100, 180), 20);
  EXPECT_TRUE(sel.rest.empty());
  std::vector<int32_t> basic;
  for (const int32_t k : sel.taken) basic.push_back(vars[size_t(k)]);
  ASSERT_EQ(box.make(pr, basic), rescode::ok);
  EXPECT_EQ(box.f->numsing, 0);
}

// A wrong pivot is refused and leaves the factors as they were.
TEST(LuUpdate, RefusesAPivotThatDoesNotFit) {
  const lu_problem pr = lu_random({"", 60, 0.05, 0.2, 0.3, 0}, 6);
  lu_box box;
  std::vector<int32_t> basic = pr.basic;
  ASSERT_EQ(box.make(pr, basic), rescode::ok);
  EXPECT_EQ(lu_update(*box.f, 0, 1), lu_state::unstable);  // no spike
  std::vector<double> col(size_t(pr.m), 0.0);
  pr.column(pr.m + 3, [&](int32_t i, double v) { col[size_t(i)] = v; });
  const std::vector<double> alpha = box.ftran(col, true, true);
  const auto p = int32_t(std::max_element(alpha.begin(), alpha.end()) - alpha.begin());
  EXPECT_EQ(lu_update(*box.f, p, alpha[size_t(p)] * 1.001), lu_state::unstable);
  std::mt19937 gen(1);
  expect_solves(box, pr, basic, gen);
  EXPECT_EQ(lu_update(*box.f, p, alpha[size_t(p)]), lu_state::ok);
}

TEST(LuMemory, OutOfSpaceLeavesNothingAndAFurtherTryWorks) {
  const lu_problem pr = lu_random({"", 60, 0.15, 0.1, 0.2, 0}, 8);
  for (long k = 0;; ++k) {
    lu_box box;
    std::vector<int32_t> basic = pr.basic;
    lu_vecsize(box.x, pr.m);
    box.fault.failat = box.fault.numcalls + k;
    try {
      ASSERT_EQ(lu_factorize(*box.f, pr.a(), basic, monitor{}), rescode::ok);
      box.fault.failat = -1;
      const long calls = box.fault.numcalls;
      basic = pr.basic;  // warm: the same again allocates nothing
      ASSERT_EQ(lu_factorize(*box.f, pr.a(), basic, monitor{}), rescode::ok);
      EXPECT_EQ(box.fault.numcalls, calls);
      break;
    } catch (const std::bad_alloc&) {
      EXPECT_FALSE(box.f->isfactored) << k;
    }
    box.fault.failat = -1;
    basic = pr.basic;
    ASSERT_EQ(lu_factorize(*box.f, pr.a(), basic, monitor{}), rescode::ok) << k;
    std::mt19937 gen(1);
    expect_solves(box, pr, basic, gen);
  }
}

}  // namespace
