// Conic problems through the interface: random ones with a planted answer of every kind, small ones
// whose answer is known, and what the driver refuses.
#include <gtest/gtest.h>

#include "support/api_box.h"
#include "support/planted_cones.h"

namespace {

// An optimum: rows of every key at a value of the planted point, costs that make it optimal.
lp_data plant_optimum(std::mt19937& gen, int32_t numlin, int32_t numcone, int32_t maxsize,
                      double& objective) {
  planted out = plant_columns(gen, numlin, numcone, maxsize);
  lp_data& p = out.p;
  add_matrix(gen, p, std::max(1, p.n / 3), 0.3);
  std::uniform_real_distribution<double> uni(-1, 1);
  std::uniform_int_distribution<int32_t> key(0, 4);
  std::vector<double> act(p.m, 0), y(p.m, 0);
  for (size_t q = 0; q < p.val.size(); ++q) act[p.subi[q]] += p.val[q] * out.x[p.subj[q]];
  p.bkc.assign(p.m, 0), p.blc.assign(p.m, -inf), p.buc.assign(p.m, inf);
  for (int32_t i = 0; i < p.m; ++i) {
    p.bkc[i] = key(gen);
    const bool active = uni(gen) > -0.5, lower = has_lower(p.bkc[i]), upper = has_upper(p.bkc[i]);
    if (lower) p.blc[i] = act[i] - (active ? 0 : 1);
    if (upper) p.buc[i] = act[i] + (active && p.bkc[i] != ZLV_BK_RA ? 0 : 1);
    if (p.bkc[i] == ZLV_BK_FX)
      p.blc[i] = p.buc[i] = act[i], y[i] = uni(gen);
    else if (active && lower)
      y[i] = std::abs(uni(gen));
    else if (active && upper)
      y[i] = -std::abs(uni(gen));
  }
  p.c = out.s;
  for (size_t q = 0; q < p.val.size(); ++q) p.c[p.subj[q]] += p.val[q] * y[p.subi[q]];
  p.maximize = uni(gen) > 0;
  p.cfix = objective = uni(gen);
  for (double& c : p.c) c = p.maximize ? -c : c;
  for (int32_t j = 0; j < p.n; ++j) objective += p.c[j] * out.x[j];
  return p;
}

// No feasible point: y = e with A'y in minus the dual cone of every column, and b'y = 1. Unbounded: a
// feasible point and a ray.
lp_data plant_ray(std::mt19937& gen, int32_t numcone, int32_t maxsize, bool infeasible) {
  planted out = plant_columns(gen, 0, numcone, maxsize);
  lp_data& p = out.p;
  const int32_t m = std::max(2, p.n / 3);
  add_matrix(gen, p, m, 2.0);  // every entry
  std::vector<double> inside(p.n, 0), b(m, 0);
  for (const lp_cone& cone : p.cones) {
    for (const int32_t j : cone.sub) inside[j] = 0.1;
    inside[cone.sub[0]] = double(cone.sub.size());
    rotate(inside, cone);
  }
  p.c.assign(p.n, 0);
  auto entry = [&](int32_t i, int32_t j) -> double& { return p.val[size_t(j) * m + i]; };
  for (int32_t i = 0; i < m; ++i) {
    double sum = 0;
    for (int32_t j = 0; j < p.n; ++j) sum += entry(i, j) * inside[j];
    b[i] = sum;
  }
  if (infeasible) {
    for (int32_t j = 0; j < p.n; ++j) {
      double sum = 0;
      for (int32_t i = 1; i < m; ++i) sum += entry(i, j);
      entry(0, j) = -inside[j] - sum;
      p.c[j] = inside[j];
    }
    double sum = 0;
    for (int32_t i = 1; i < m; ++i) sum += b[i];
    b[0] = 1 - sum;
  } else {
    const int32_t j = p.cones[0].sub[0];  // the first head: its entry in inside is not 0
    for (int32_t i = 0; i < m; ++i) entry(i, j) -= b[i] / inside[j];
    std::vector<double> x(p.n, 0);
    for (const lp_cone& cone : p.cones) x[cone.sub[0]] = 1, rotate(x, cone);
    for (int32_t i = 0; i < m; ++i) {
      b[i] = 0;
      for (int32_t jj = 0; jj < p.n; ++jj) b[i] += entry(i, jj) * x[jj];
    }
    for (int32_t jj = 0; jj < p.n; ++jj) p.c[jj] = -inside[jj];
  }
  p.bkc.assign(m, ZLV_BK_FX);
  p.blc = p.buc = b;
  return p;
}

lp_point solve(api_box& box, const lp_data& p, double tol = 0, int32_t code = ZLV_RES_OK) {
  put_data(box.task, p);
  for (const int32_t k : {ZLV_DPAR_INTPNT_CO_TOL_PFEAS, ZLV_DPAR_INTPNT_CO_TOL_DFEAS,
                          ZLV_DPAR_INTPNT_CO_TOL_REL_GAP}) {
    if (tol > 0) {
      EXPECT_EQ(ZLV_putdouparam(box.task, k, tol), ZLV_RES_OK);
    }
  }
  EXPECT_EQ(ZLV_optimize(box.task), code) << box.err();
  const lp_point s = get_point(box.task, p);
  EXPECT_TRUE(s.isdefined);
  if (s.isdefined) {
    expect_honest(p, s);
    expect_same_measures(box.task, p, s);
  }
  return s;
}

struct conic_case {
  const char* name;
  int32_t numlin, numcone, maxsize, count;
};
void PrintTo(const conic_case& tc, std::ostream* out) {
  *out << tc.name;
}

class ConicRandom : public testing::TestWithParam<conic_case> {};

TEST_P(ConicRandom, ReachesThePlantedOptimum) {
  const conic_case& tc = GetParam();
  for (int32_t seed = 0; seed < tc.count; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 gen(1000 + seed);
    double objective = 0;
    const lp_data p = plant_optimum(gen, tc.numlin, tc.numcone, tc.maxsize, objective);
    for (const double tol : {0.0, 1e-9}) {
      api_box box;
      const lp_point s = solve(box, p, tol);
      EXPECT_EQ(s.solsta, ZLV_SOL_STA_OPTIMAL);
      if (s.solsta != ZLV_SOL_STA_OPTIMAL) continue;
      const lp_quality q = judge(p, s);
      EXPECT_LE(std::abs(q.pobj - objective), 1e-6 * (1 + std::abs(objective)));
      if (tol > 0) {
        EXPECT_LE(std::max({q.relprimal(), q.reldual(), q.relgap()}), 3 * tol);
      }
    }
  }
}

TEST_P(ConicRandom, ProvesPlantedRays) {
  const conic_case& tc = GetParam();
  for (int32_t seed = 0; seed < tc.count; ++seed) {
    for (const bool infeasible : {true, false}) {
      SCOPED_TRACE(seed);
      std::mt19937 gen(2000 + seed);
      api_box box;
      const lp_point s = solve(box, plant_ray(gen, tc.numcone, tc.maxsize, infeasible));
      EXPECT_EQ(s.solsta, infeasible ? ZLV_SOL_STA_PRIM_INFEAS_CER : ZLV_SOL_STA_DUAL_INFEAS_CER);
    }
  }
}
INSTANTIATE_TEST_SUITE_P(Shapes, ConicRandom,
                         testing::Values(conic_case{"OneCone", 0, 1, 5, 10},
                                         conic_case{"LinearMembers", 5, 6, 1, 10},
                                         conic_case{"Pairs", 5, 6, 2, 10},
                                         conic_case{"Small", 10, 12, 5, 20},
                                         conic_case{"FewLarge", 20, 3, 40, 10}),
                         [](const auto& tc) { return std::string(tc.param.name); });

// Rows of A by {row, column, value}; bounds by key.
lp_data make(int32_t m, int32_t n, const std::vector<double>& c, bool maximize) {
  lp_data p;
  p.m = m, p.n = n, p.c = c, p.maximize = maximize;
  p.bkc.assign(m, ZLV_BK_FX), p.blc.assign(m, 0), p.buc.assign(m, 0);
  p.bkx.assign(n, ZLV_BK_FR), p.blx.assign(n, -inf), p.bux.assign(n, inf);
  return p;
}
void put(lp_data& p, int32_t i, int32_t j, double v) {
  p.subi.push_back(i), p.subj.push_back(j), p.val.push_back(v);
}
void bound(lp_data& p, int32_t j, int32_t bk, double lower, double upper) {
  p.bkx[j] = bk, p.blx[j] = lower, p.bux[j] = upper;
}

struct known_case {
  const char* name;
  lp_data p;
  int32_t solsta;
  double objective;
};
void PrintTo(const known_case& tc, std::ostream* out) {
  *out << tc.name;
}

std::vector<known_case> known() {
  std::vector<known_case> all;
  const int32_t opt = ZLV_SOL_STA_OPTIMAL;
  lp_data p = make(0, 3, {1, 0, 0}, false);
  p.cones = {{ZLV_CT_QUAD, {0, 1, 2}}};
  all.push_back({"ApexWithoutRows", p, opt, 0});
  p.c = {1, 2, 0};
  all.push_back({"UnboundedWithoutRows", p, ZLV_SOL_STA_DUAL_INFEAS_CER, 0});
  p = make(1, 3, {1, 0, 0}, false);  // nearest point to the origin of 3 x1 + 4 x2 = 10
  p.cones = {{ZLV_CT_QUAD, {0, 1, 2}}};
  put(p, 0, 1, 3), put(p, 0, 2, 4), p.blc[0] = p.buc[0] = 10;
  all.push_back({"Distance", p, opt, 2});
  p.c = {-1, 0, 0}, p.maximize = true;
  all.push_back({"DistanceMaximized", p, opt, -2});
  p = make(1, 3, {0, 1, 1}, true);  // largest x1 + x2 on the disc of radius 2
  p.cones = {{ZLV_CT_QUAD, {0, 1, 2}}};
  put(p, 0, 0, 1), p.blc[0] = p.buc[0] = 2;
  all.push_back({"DiscMaximized", p, opt, std::sqrt(8.0)});
  bound(p, 1, ZLV_BK_UP, -inf, 1);  // and with bounds of members
  all.push_back({"MemberWithUpperBound", p, opt, 1 + std::sqrt(3.0)});
  bound(p, 2, ZLV_BK_RA, -1, 0.5), bound(p, 0, ZLV_BK_LO, 0, inf);
  all.push_back({"MembersWithRanges", p, opt, 1.5});
  bound(p, 1, ZLV_BK_FX, 0.25, 0.25);
  all.push_back({"FixedMember", p, opt, 0.75});
  bound(p, 0, ZLV_BK_UP, -inf, -1);
  all.push_back({"HeadBelowZero", p, ZLV_SOL_STA_PRIM_INFEAS_CER, 0});
  p = make(1, 3, {1, 1, 0}, false);  // 2 x0 x1 >= x2^2, x2 = 2: x0 = x1 = sqrt(2)
  p.cones = {{ZLV_CT_RQUAD, {0, 1, 2}}};
  put(p, 0, 2, 1), p.blc[0] = p.buc[0] = 2;
  all.push_back({"Rotated", p, opt, std::sqrt(8.0)});
  p.cones = {{ZLV_CT_RQUAD, {1, 0}}};
  all.push_back({"RotatedPair", p, opt, 0});
  p = make(1, 2, {1, 0}, false);
  p.cones = {{ZLV_CT_QUAD, {0}}, {ZLV_CT_QUAD, {1}}};
  put(p, 0, 0, 1), put(p, 0, 1, 1), p.blc[0] = p.buc[0] = 1;
  all.push_back({"OneMemberEach", p, opt, 0});
  p = make(2, 3, {1, 0, 0}, false);  // a copy through a row, and data that are all zero
  p.cones = {{ZLV_CT_QUAD, {0, 1}}};
  put(p, 0, 1, 1), put(p, 0, 2, -1), p.blc[0] = p.buc[0] = 0, bound(p, 2, ZLV_BK_LO, 3, inf);
  all.push_back({"BoundThroughRow", p, opt, 3});
  bound(p, 2, ZLV_BK_FR, -inf, inf), p.c = {0, 0, 0};
  all.push_back({"NothingToDo", p, opt, 0});
  p = make(2, 3, {0, 0, 1}, false);  // x0 = x1 leaves x2 = 0: rays and multipliers are only near
  p.cones = {{ZLV_CT_QUAD, {0, 1, 2}}};
  put(p, 0, 0, 1), put(p, 0, 1, -1), p.blc[0] = p.buc[0] = 0;
  all.push_back({"WeaklyUnbounded", p, ZLV_SOL_STA_UNKNOWN, 0});
  put(p, 1, 2, 1), p.blc[1] = p.buc[1] = 1, p.c = {0, 0, 0};
  all.push_back({"WeaklyInfeasible", p, ZLV_SOL_STA_UNKNOWN, 0});
  return all;
}

class ConicKnown : public testing::TestWithParam<known_case> {};

TEST_P(ConicKnown, HasItsAnswer) {
  const known_case& tc = GetParam();
  api_box box;
  const bool isopen = tc.solsta == ZLV_SOL_STA_UNKNOWN;
  const lp_point s = solve(box, tc.p, 0, isopen ? ZLV_RES_TRM_STALL : ZLV_RES_OK);
  EXPECT_EQ(s.solsta, tc.solsta);
  if (tc.solsta == ZLV_SOL_STA_OPTIMAL) {
    EXPECT_NEAR(judge(tc.p, s).pobj, tc.objective, 1e-6);
  }
}
INSTANTIATE_TEST_SUITE_P(Models, ConicKnown, testing::ValuesIn(known()),
                         [](const auto& tc) { return std::string(tc.param.name); });

// The dual of the disc's cone: maximizing turns every sign.
TEST(Conic, DualsHaveTheSignOfTheSense) {
  lp_data p = make(1, 2, {0, 1}, true);
  p.cones = {{ZLV_CT_QUAD, {0, 1}}};
  put(p, 0, 0, 1), p.blc[0] = p.buc[0] = 2;
  api_box box;
  const lp_point s = solve(box, p);
  EXPECT_NEAR(s.y[0], 1, 1e-6);
  EXPECT_NEAR(s.snx[0], -1, 1e-6);
  EXPECT_NEAR(s.snx[1], 1, 1e-6);
  EXPECT_NE(box.log().find("Conic interior-point optimizer started.\n"), std::string::npos);
  EXPECT_NE(box.log().find("Conic interior-point optimizer terminated. CPU Time: "),
            std::string::npos);
  int32_t iter = 0;
  EXPECT_EQ(ZLV_getintinf(box.task, ZLV_IINF_INTPNT_ITER, &iter), ZLV_RES_OK);
  EXPECT_GT(iter, 0);
}

TEST(Conic, OtherOptimizersAndQuadraticTermsAreRefused) {
  lp_data p = make(1, 2, {1, 0}, false);
  p.cones = {{ZLV_CT_QUAD, {0, 1}}};
  put(p, 0, 1, 1), p.blc[0] = p.buc[0] = 1;
  api_box box;
  put_data(box.task, p);
  for (const int32_t k : {ZLV_OPTIMIZER_INTPNT, ZLV_OPTIMIZER_DUAL_SIMPLEX}) {
    ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_OPTIMIZER, k), ZLV_RES_OK);
    EXPECT_EQ(ZLV_optimize(box.task), ZLV_RES_ERR_INV_OPTIMIZER);
  }
  ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_OPTIMIZER, ZLV_OPTIMIZER_FREE), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putqobjij(box.task, 0, 0, 1.0), ZLV_RES_OK);
  EXPECT_EQ(ZLV_optimize(box.task), ZLV_RES_ERR_MIXED_PROBLEM);
}

}  // namespace
