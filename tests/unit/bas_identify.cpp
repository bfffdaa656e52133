// Basis identification on problems with a planted point inside the optimal face: whatever the face,
// what comes back is a basis, optimal, and nonsingular.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "basic/basident.h"
#include "lu/lu.h"
#include "support/faulty_alloc.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double tol = 1e-7;     // of violations
constexpr double objtol = 1e-8;  // of the objective, relative

struct face_box {
  int32_t m = 0, n = 0;
  std::vector<ptrdiff_t> ptr{0};
  std::vector<int32_t> sub;
  std::vector<double> val, blc, buc, blx, bux, c, x, y;
  [[nodiscard]] lp_view view() const {
    return {m, n, {m, n, ptr, sub, val}, blc, buc, blx, bux, c, 1};
  }
  [[nodiscard]] double objective(std::span<const double> at) const {
    double sum = 1;
    for (int32_t j = 0; j < n; ++j) sum += c[size_t(j)] * at[size_t(j)];
    return sum;
  }
};

struct face_kind {
  const char* name;
  int32_t m, n;
  double density;
  double inside;   // share of columns strictly between their bounds
  double free;     // share of these that are free
  double equal;    // share of equality rows
  double active;   // share of the others that hold with a multiplier; the rest have slack
  int32_t copies;  // rows that repeat another
  double spread;   // decades over which distances from bounds and entries vary
};

// Bounds about a value with z >= 0 at lower, z <= 0 at upper, z = 0 between.
void plant(std::mt19937& gen, double value, double z, double spread, double& lower, double& upper) {
  std::uniform_real_distribution<double> u(0, 1);
  const auto room = [&] { return (0.5 + u(gen)) * std::pow(10.0, -spread * u(gen)); };
  const bool boxed = u(gen) < 0.4;
  lower = z > 0 ? value : value - room();
  upper = z < 0 ? value : value + room();
  if (boxed) return;
  if (z > 0 || (z == 0 && u(gen) < 0.5))
    upper = inf;
  else
    lower = -inf;
}

face_box planted(const face_kind& kind, uint32_t seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> u(0, 1);
  face_box b;
  b.m = kind.m;
  b.n = kind.n;
  b.y.assign(size_t(kind.m), 0.0);
  std::vector<double> ax(size_t(kind.m), 0.0);
  const int32_t base = kind.m - kind.copies;  // rows from here on repeat those from 0 on
  b.blc.resize(size_t(kind.m));
  b.buc.resize(size_t(kind.m));
  std::vector<double> yrow(size_t(kind.m));
  for (int32_t j = 0; j < kind.n; ++j) {
    const double xj = 4 * u(gen) - 2;
    b.x.push_back(xj);
    for (int32_t i = 0; i < kind.m; ++i) {
      double v = 0;
      if (i >= base)
        for (auto e = size_t(b.ptr.back()); e < b.sub.size(); ++e)
          v += b.sub[e] == i - base ? b.val[e] : 0;
      else if (u(gen) < kind.density)
        v = (2 * u(gen) - 1) * std::pow(10.0, kind.spread * (u(gen) - 0.5));
      if (v == 0) continue;
      b.sub.push_back(i);
      b.val.push_back(v);
      ax[size_t(i)] += v * xj;
    }
    b.ptr.push_back(ptrdiff_t(b.sub.size()));
  }
  for (int32_t i = 0; i < kind.m; ++i) {
    const auto k = size_t(i);
    const bool equal = u(gen) < kind.equal || i >= base || i < kind.copies;
    const bool holds = equal || u(gen) < kind.active;
    b.y[k] = holds ? 2 * u(gen) - 1 : 0;
    if (equal)
      b.blc[k] = b.buc[k] = ax[k];
    else
      plant(gen, ax[k], b.y[k], kind.spread, b.blc[k], b.buc[k]);
  }
  for (int32_t j = 0; j < kind.n; ++j) {
    double cost = 0, lower = -inf, upper = inf;
    for (ptrdiff_t e = b.ptr[size_t(j)]; e < b.ptr[size_t(j) + 1]; ++e)
      cost += b.val[size_t(e)] * b.y[size_t(b.sub[size_t(e)])];
    const bool inside = u(gen) < kind.inside;
    const double z = inside ? 0 : (u(gen) < 0.6 ? 1 : -1) * (0.1 + u(gen));
    if (!inside || u(gen) >= kind.free) plant(gen, b.x[size_t(j)], z, kind.spread, lower, upper);
    b.blx.push_back(lower);
    b.bux.push_back(upper);
    b.c.push_back(cost + z);
  }
  return b;
}

// All that a basic solution promises.
void expect_vertex(const face_box& b, memman& mman, const bas_result& out, const char* what) {
  const lp_view lp = b.view();
  std::vector<int32_t> basic;
  std::vector<double> z(b.c), ax(size_t(b.m), 0.0);
  spmat_addax(lp.a, 1, out.x, ax);
  spmat_addatx(lp.a, -1, out.y, z);
  const auto look = [&](lp_key key, int32_t var, double v, double red, double lo, double up) {
    const double room = tol * (1 + std::abs(v));
    EXPECT_GE(v, lo - room) << what << " variable " << var;
    EXPECT_LE(v, up + room) << what << " variable " << var;
    if (key == lp_key::basic) basic.push_back(var);
    if (key == lp_key::basic || key == lp_key::superbasic) {
      EXPECT_NEAR(red, 0, tol) << what << var;
    }
    if (key == lp_key::superbasic) {
      EXPECT_TRUE(v == 0 && std::isinf(lo) && std::isinf(up)) << what;
    }
    if (key == lp_key::lower || key == lp_key::fixed) {
      EXPECT_NEAR(v, lo, room) << what << var;
    }
    if (key == lp_key::upper || key == lp_key::fixed) {
      EXPECT_NEAR(v, up, room) << what << var;
    }
    if (key == lp_key::lower) {
      EXPECT_GE(red, -tol) << what << " variable " << var;
    }
    if (key == lp_key::upper) {
      EXPECT_LE(red, tol) << what << " variable " << var;
    }
  };
  for (int32_t j = 0; j < b.n; ++j) {
    const auto k = size_t(j);
    look(out.basis.var[k], j, out.x[k], z[k], b.blx[k], b.bux[k]);
  }
  for (int32_t i = 0; i < b.m; ++i) {
    const auto k = size_t(i);
    look(out.basis.con[k], b.n + i, ax[k], out.y[k], b.blc[k], b.buc[k]);
  }
  ASSERT_EQ(int32_t(basic.size()), b.m) << what;
  lu_rec lu(mm_at(mman));
  ASSERT_EQ(lu_factorize(lu, lp.a, basic, monitor{}), rescode::ok);
  EXPECT_EQ(lu.numsing, 0) << what;
}

struct run_box {
  faulty_alloc fault;
  memman* mman = memman_create(&fault, faulty_alloc::alloc, faulty_alloc::free, false);
  bas_settings set;
  bas_info info;
  monitor mon;
  run_box() = default;
  run_box(const run_box&) = delete;
  run_box& operator=(const run_box&) = delete;
  ~run_box() { EXPECT_EQ(memman_delete(mman), 0U); }
  rescode run(const face_box& b, bas_result& out) {
    return bas_identify(b.view(), b.x, b.y, set, mon, *mman, out, info);
  }
};

class BasFace : public testing::TestWithParam<face_kind> {};

TEST_P(BasFace, EndsAtAnOptimalVertex) {
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    const face_box b = planted(GetParam(), seed);
    run_box run;
    bas_result out(mm_at(*run.mman));
    ASSERT_EQ(run.run(b, out), rescode::ok);
    const std::string what = std::string(GetParam().name) + " " + std::to_string(seed);
    expect_vertex(b, *run.mman, out, what.c_str());
    const double planted = b.objective(b.x);
    EXPECT_NEAR(b.objective(out.x), planted, objtol * (1 + std::abs(planted))) << what;
    EXPECT_EQ(run.info.numpviol + run.info.numdviol, 0) << what;
    EXPECT_NEAR(run.info.pobj, planted, objtol * (1 + std::abs(planted))) << what;
    if (testing::Test::HasFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, BasFace,
    testing::Values(face_kind{"Empty", 0, 0, 0, 0, 0, 0, 0, 0, 0},
                    face_kind{"NoRows", 0, 5, 0, 0.4, 0.5, 0, 0, 0, 0},
                    face_kind{"OneRow", 1, 4, 1, 0.5, 0.3, 0.5, 0.5, 0, 0},
                    face_kind{"Vertex", 30, 60, 0.2, 0.2, 0, 0.1, 0.3, 0, 0},
                    face_kind{"WholeFace", 20, 60, 0.3, 1, 0, 0.5, 0, 0, 0},
                    face_kind{"Degenerate", 40, 60, 0.15, 0.2, 0, 0.6, 1, 0, 0},
                    face_kind{"FreeColumns", 30, 50, 0.2, 0.6, 0.5, 0.5, 0.5, 0, 0},
                    face_kind{"DependentRows", 30, 60, 0.2, 0.6, 0.1, 0.4, 0.5, 8, 0},
                    face_kind{"Ranges", 40, 40, 0.15, 0.5, 0, 0, 0.5, 0, 0},
                    face_kind{"Spread", 40, 80, 0.15, 0.5, 0.05, 0.4, 0.5, 2, 3},
                    face_kind{"Large", 300, 600, 0.01, 0.5, 0.02, 0.5, 0.5, 10, 1}),
    [](const auto& tc) { return std::string(tc.param.name); });

// All points of a transport problem without costs are optimal; its vertices are trees.
TEST(BasTransport, WithoutCostsEndsAtATree) {
  const int32_t from = 12, to = 9;
  face_box b;
  b.m = from + to;
  b.n = from * to;
  b.y.assign(size_t(b.m), 0.0);
  for (int32_t j = 0; j < b.n; ++j) {
    b.sub.push_back(j / to);
    b.sub.push_back(from + j % to);
    b.ptr.push_back(ptrdiff_t(b.sub.size()));
    b.x.push_back(1);
  }
  b.val.assign(b.sub.size(), 1.0);
  b.c.assign(size_t(b.n), 0.0);
  b.blx.assign(size_t(b.n), 0.0);
  b.bux.assign(size_t(b.n), inf);
  for (int32_t i = 0; i < b.m; ++i) b.blc.push_back(i < from ? to : from);
  b.buc = b.blc;
  run_box run;
  bas_result out(mm_at(*run.mman));
  ASSERT_EQ(run.run(b, out), rescode::ok);
  expect_vertex(b, *run.mman, out, "transport");
  EXPECT_LE(std::count_if(out.x.begin(), out.x.end(), [](double v) { return v > tol; }), b.m - 1);
}

TEST(BasEnd, TheLimitOfPushesStillGivesABasis) {
  const face_box b = planted({"", 40, 80, 0.2, 0.8, 0.1, 0.3, 0.3, 0, 0}, 3);
  run_box run;
  run.set.maxiter = 5;
  bas_result out(mm_at(*run.mman));
  ASSERT_EQ(run.run(b, out), rescode::ok);
  EXPECT_LE(run.info.dualiter + run.info.primaliter, 5);
  EXPECT_EQ(std::count(out.basis.var.begin(), out.basis.var.end(), lp_key::basic) +
                std::count(out.basis.con.begin(), out.basis.con.end(), lp_key::basic),
            b.m);
}

// A stop at any poll leaves what was there.
TEST(BasEnd, AStopLeavesTheResultAsItWas) {
  const face_box b = planted({"", 20, 40, 0.2, 0.6, 0.1, 0.5, 0.5, 0, 0}, 3);
  struct counter {
    int32_t left;
    static rescode poll(void* self, monitor_where) {
      return --static_cast<counter*>(self)->left < 0 ? rescode::trm_user_callback : rescode::ok;
    }
  };
  for (int32_t k = 0;; ++k) {
    run_box run;
    counter polls{k};
    run.mon.ctx = &polls;
    run.mon.pollfn = counter::poll;
    bas_result out(mm_at(*run.mman));
    out.x.assign(1, 77.0);
    const rescode r = run.run(b, out);
    if (r == rescode::ok) {
      EXPECT_GT(k, 10);
      break;
    }
    ASSERT_EQ(r, rescode::trm_user_callback) << k;
    EXPECT_EQ(out.x[0], 77.0);
    EXPECT_TRUE(out.basis.var.empty());
  }
}

TEST(BasEnd, OutOfSpaceLeaksNothing) {
  const face_box b = planted({"", 15, 30, 0.2, 0.6, 0.1, 0.5, 0.5, 0, 0}, 5);
  for (long k = 0;; ++k) {
    run_box run;
    run.fault.failat = run.fault.numcalls + k;
    bas_result out(mm_at(*run.mman));
    try {
      ASSERT_EQ(run.run(b, out), rescode::ok);
      break;
    } catch (const std::bad_alloc&) {
      EXPECT_TRUE(out.basis.var.empty()) << k;
    }
  }
}

}  // namespace
