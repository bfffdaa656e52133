// Convex quadratic problems through the interface: random ones with a planted answer, small ones with a
// known one, senses, rewritings and refusals.
#include <gtest/gtest.h>

#include "support/api_box.h"
#include "support/planted_lp.h"
#include "support/solved_run.h"

namespace {

// ---- Random problems

struct random_case {
  const char* name;
  planted_size size;
  int32_t rank;
  bool isdiagonal;
  int count;
};
class RandomQp : public testing::TestWithParam<random_case> {};

TEST_P(RandomQp, ReachesThePlantedObjective) {
  const random_case& rc = GetParam();
  std::mt19937 gen(20264);
  for (int k = 0; k < rc.count; ++k) {
    SCOPED_TRACE(k);
    planted_lp qp = plant_optimal(gen, rc.size, k % 2 == 1);
    plant_curvature(gen, rc.rank, rc.isdiagonal, false, qp);
    ASSERT_NO_FATAL_FAILURE(expect_objective(solve(qp.p), qp.objective));
  }
}

TEST_P(RandomQp, ProvesPlantedInfeasibility) {
  const random_case& rc = GetParam();
  std::mt19937 gen(20265);
  for (int k = 0; k < rc.count && rc.size.m > 0; ++k) {
    SCOPED_TRACE(k);
    planted_lp qp = plant_infeasible(gen, rc.size, k % 2 == 1);
    plant_curvature(gen, rc.rank, rc.isdiagonal, false, qp);
    const solved run = solve(qp.p);
    EXPECT_EQ(run.code, ZLV_RES_OK);
    ASSERT_EQ(run.s.solsta, ZLV_SOL_STA_PRIM_INFEAS_CER);
    expect_honest(run.p, run.s);
  }
}

TEST_P(RandomQp, ProvesUnboundednessAlongTheNullSpace) {
  const random_case& rc = GetParam();
  std::mt19937 gen(20266);
  for (int k = 0; k < rc.count && !rc.isdiagonal && rc.size.n > 1; ++k) {
    SCOPED_TRACE(k);
    planted_lp qp = plant_unbounded(gen, rc.size, k % 2 == 1);
    plant_curvature(gen, std::min(rc.rank, rc.size.n - 1), false, true, qp);
    const solved run = solve(qp.p);
    EXPECT_EQ(run.code, ZLV_RES_OK);
    ASSERT_EQ(run.s.solsta, ZLV_SOL_STA_DUAL_INFEAS_CER);
    expect_honest(run.p, run.s);
  }
}
INSTANTIATE_TEST_SUITE_P(Sizes, RandomQp,
                         testing::Values(random_case{"One", {1, 1, 1.0}, 1, false, 60},
                                         random_case{"Tiny", {3, 4, 0.7}, 2, false, 100},
                                         random_case{"TinyDiagonal", {3, 4, 0.7}, 2, true, 100},
                                         random_case{"FullRank", {6, 12, 0.5}, 24, false, 40},
                                         random_case{"MoreRows", {15, 6, 0.4}, 3, false, 60},
                                         random_case{"MoreColumns", {6, 30, 0.4}, 10, false, 40},
                                         random_case{"Diagonal", {10, 30, 0.3}, 15, true, 40},
                                         random_case{"NoRows", {0, 8, 0}, 5, false, 40},
                                         random_case{"Sparse", {60, 90, 0.05}, 3, false, 10}),
                         [](const auto& tc) { return std::string(tc.param.name); });

// ---- Known answers, from W. Hock, K. Schittkowski, "Test examples for nonlinear programming codes",
// Springer 1981, and by hand

struct known_case {
  const char* name;
  void (*make)(lp_data& p);
  double objective;
};

void columns(lp_data& p, std::vector<double> c, int32_t bk, double lower, double upper) {
  p.n = int32_t(c.size());
  p.c = std::move(c);
  p.bkx.assign(p.n, bk);
  p.blx.assign(p.n, has_lower(bk) ? lower : -1e30);
  p.bux.assign(p.n, has_upper(bk) ? upper : 1e30);
}
void row(lp_data& p, const std::vector<double>& a, int32_t bk, double bound) {
  for (int32_t j = 0; j < int32_t(a.size()); ++j) {
    if (a[j] == 0) continue;
    p.subi.push_back(p.m);
    p.subj.push_back(j);
    p.val.push_back(a[j]);
  }
  ++p.m;
  p.bkc.push_back(bk);
  p.blc.push_back(has_lower(bk) ? bound : -1e30);
  p.buc.push_back(has_upper(bk) ? bound : 1e30);
}
void curve(lp_data& p, const std::vector<std::array<double, 3>>& terms) {
  for (const auto& [i, j, v] : terms) {
    p.qi.push_back(int32_t(i));
    p.qj.push_back(int32_t(j));
    p.qval.push_back(v);
  }
}

void problem21(lp_data& p) {  // 0.01 x0^2 + x1^2 - 100
  columns(p, {0, 0}, ZLV_BK_RA, -50, 50);
  p.blx[0] = 2;
  row(p, {10, -1}, ZLV_BK_LO, 10);
  curve(p, {{0, 0, 0.02}, {1, 1, 2}});
  p.cfix = -100;
}
void problem35(lp_data& p) {
  columns(p, {-8, -6, -4}, ZLV_BK_LO, 0, 0);
  row(p, {1, 1, 2}, ZLV_BK_UP, 3);
  curve(p, {{0, 0, 4}, {1, 1, 4}, {2, 2, 2}, {1, 0, 2}, {2, 0, 2}});
  p.cfix = 9;
}
void problem51(lp_data& p) {  // (x0 - x1)^2 + (x1 + x2 - 2)^2 + (x3 - 1)^2 + (x4 - 1)^2
  columns(p, {0, -4, -4, -2, -2}, ZLV_BK_FR, 0, 0);
  row(p, {1, 3, 0, 0, 0}, ZLV_BK_FX, 4);
  row(p, {0, 0, 1, 1, -2}, ZLV_BK_FX, 0);
  row(p, {0, 1, 0, 0, -1}, ZLV_BK_FX, 0);
  curve(p, {{0, 0, 2}, {1, 0, -2}, {1, 1, 4}, {2, 1, 2}, {2, 2, 2}, {3, 3, 2}, {4, 4, 2}});
  p.cfix = 6;
}
void problem76(lp_data& p) {
  columns(p, {-1, -3, 1, -1}, ZLV_BK_LO, 0, 0);
  row(p, {1, 2, 1, 1}, ZLV_BK_UP, 5);
  row(p, {3, 1, 2, -1}, ZLV_BK_UP, 4);
  row(p, {0, 1, 4, 0}, ZLV_BK_LO, 1.5);
  curve(p, {{0, 0, 2}, {1, 1, 1}, {2, 2, 2}, {3, 3, 1}, {2, 0, -1}, {3, 2, 1}});
}
void far_bounds(lp_data& p) {  // (x - 1000)^2 / 2 from a far lower bound, beside a fixed column
  columns(p, {-1000, 0}, ZLV_BK_LO, -1e6, 0);
  p.bkx[1] = ZLV_BK_FX;
  p.blx[1] = p.bux[1] = 2;
  curve(p, {{0, 0, 1}, {1, 0, 1}, {1, 1, 3}});  // + 2 x0 + 6
}
void no_bounds(lp_data& p) {  // x0^2 + x0 x1 + x1^2 - 3 x0
  columns(p, {-3, 0}, ZLV_BK_FR, 0, 0);
  curve(p, {{0, 0, 2}, {1, 0, 1}, {1, 1, 2}});
}
void twice_given(lp_data& p) {  // one place by two terms of both triangles, one that cancels
  columns(p, {-3, 0}, ZLV_BK_FR, 0, 0);
  curve(p, {{0, 0, 1}, {0, 0, 1}, {1, 0, 0.25}, {0, 1, 0.75}, {1, 1, 2}, {1, 1, 0}});
}
void empty_column(lp_data& p) {  // its cost alone decides
  columns(p, {1, 5}, ZLV_BK_RA, -1, 3);
  curve(p, {{0, 0, 1}});
}

constexpr int32_t chain = 1000;
constexpr double chain_step = 1000;
void long_chain(lp_data& p) {  // multipliers of 1e8 beside no costs: rounding alone leaves 1e-8
  columns(p, std::vector<double>(chain, 0.0), ZLV_BK_FR, 0, 0);
  for (int32_t j = 0; j + 1 < chain; ++j) {
    row(p, {}, ZLV_BK_LO, chain_step);
    p.subi.insert(p.subi.end(), {j, j});
    p.subj.insert(p.subj.end(), {j, j + 1});
    p.val.insert(p.val.end(), {1.0, -1.0});
  }
  for (int32_t j = 0; j < chain; ++j) curve(p, {{double(j), double(j), 1}});
}
constexpr double chain_objective =
    chain_step * chain_step * chain * (double(chain) * chain - 1) / 24;

class KnownQp : public testing::TestWithParam<known_case> {};
TEST_P(KnownQp, HasItsAnswerInBothSenses) {
  lp_data p;
  GetParam().make(p);
  const solved one = solve(p);
  ASSERT_NO_FATAL_FAILURE(expect_objective(one, GetParam().objective));
  for (double& cost : p.c) cost = -cost;
  for (double& value : p.qval) value = -value;
  p.cfix = -p.cfix;
  p.maximize = true;
  const solved other = solve(p);
  ASSERT_NO_FATAL_FAILURE(expect_objective(other, -GetParam().objective));
  EXPECT_EQ(one.s.xx, other.s.xx);  // the optimizer sees the same minimization
  for (const auto part : {&lp_point::y, &lp_point::slx, &lp_point::sux}) {
    std::vector<double> negated = other.s.*part;
    for (double& v : negated) v = 0 - v;
    EXPECT_EQ(one.s.*part, negated);
  }
}
INSTANTIATE_TEST_SUITE_P(Problems, KnownQp,
                         testing::Values(known_case{"Number21", problem21, -99.96},
                                         known_case{"Number35", problem35, 1.0 / 9},
                                         known_case{"Number51", problem51, 0},
                                         known_case{"Number76", problem76, -103.0 / 22},
                                         known_case{"FarBounds", far_bounds, -998.0 * 998 / 2 + 6},
                                         known_case{"LongChain", long_chain, chain_objective},
                                         known_case{"NoBounds", no_bounds, -3},
                                         known_case{"TwiceGiven", twice_given, -3},
                                         known_case{"EmptyColumn", empty_column, -5.5}),
                         [](const auto& tc) { return std::string(tc.param.name); });

TEST(QpRefusal, AWrongSignIsNeverSolved) {
  for (const bool maximize : {false, true}) {
    for (const bool ischecked : {false, true}) {
      lp_data p;
      problem35(p);  // with one negative eigenvalue that the bounds hide from the iterates
      p.qval[2] = -1e-3;
      for (double& value : p.qval) value = maximize ? -value : value;
      p.maximize = maximize;
      api_box box;
      put_data(box.task, p);
      EXPECT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_CHECK_CONVEXITY, ischecked ? 1 : 0), ZLV_RES_OK);
      EXPECT_EQ(ZLV_optimize(box.task), ZLV_RES_ERR_NONCONVEX);
      EXPECT_FALSE(get_point(box.task, p).isdefined);
      EXPECT_NE(box.err().find("1291"), std::string::npos) << box.err();
    }
  }
}

}  // namespace
