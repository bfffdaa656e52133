// Random linear problems with a planted answer through the interface, and what has to stay the same
// when such a problem is written another way.
#include <gtest/gtest.h>

#include "support/api_box.h"
#include "support/planted_lp.h"
#include "support/solved_run.h"

namespace {

struct size_case {
  const char* name;
  planted_size size;
  int count;
};
class RandomLp : public testing::TestWithParam<size_case> {};

TEST_P(RandomLp, ReachesThePlantedObjective) {
  std::mt19937 gen(20261);
  for (int k = 0; k < GetParam().count; ++k) {
    SCOPED_TRACE(k);
    const planted_lp lp = plant_optimal(gen, GetParam().size, k % 2 == 1);
    ASSERT_NO_FATAL_FAILURE(expect_objective(solve(lp.p), lp.objective));
  }
}

TEST_P(RandomLp, ProvesPlantedInfeasibility) {
  std::mt19937 gen(20262);
  for (int k = 0; k < GetParam().count; ++k) {
    SCOPED_TRACE(k);
    const solved run = solve(plant_infeasible(gen, GetParam().size, k % 2 == 1).p);
    EXPECT_EQ(run.code, ZLV_RES_OK);
    ASSERT_EQ(run.s.solsta, ZLV_SOL_STA_PRIM_INFEAS_CER);
    expect_honest(run.p, run.s);
  }
}

TEST_P(RandomLp, ProvesPlantedUnboundedness) {
  std::mt19937 gen(20263);
  for (int k = 0; k < GetParam().count; ++k) {
    SCOPED_TRACE(k);
    const solved run = solve(plant_unbounded(gen, GetParam().size, k % 2 == 1).p);
    EXPECT_EQ(run.code, ZLV_RES_OK);
    ASSERT_EQ(run.s.solsta, ZLV_SOL_STA_DUAL_INFEAS_CER);
    expect_honest(run.p, run.s);
  }
}
INSTANTIATE_TEST_SUITE_P(Sizes, RandomLp,
                         testing::Values(size_case{"One", {1, 1, 1.0}, 60},
                                         size_case{"Tiny", {3, 4, 0.7}, 100},
                                         size_case{"MoreRows", {15, 6, 0.4}, 60},
                                         size_case{"MoreColumns", {6, 30, 0.4}, 60},
                                         size_case{"Sparse", {60, 90, 0.05}, 20}),
                         [](const auto& tc) { return std::string(tc.param.name); });

// ---- The same problem written another way

TEST(RewrittenLp, NegatedForTheOtherSenseHasNegatedDuals) {
  std::mt19937 gen(31);
  for (int k = 0; k < 40; ++k) {
    SCOPED_TRACE(k);
    lp_data p = plant_optimal(gen, {6, 10, 0.6}, false).p;
    const solved one = solve(p);
    for (double& cost : p.c) cost = -cost;
    p.cfix = -p.cfix;
    p.maximize = true;
    const solved other = solve(p);
    ASSERT_EQ(one.s.solsta, ZLV_SOL_STA_OPTIMAL);
    ASSERT_EQ(other.s.solsta, ZLV_SOL_STA_OPTIMAL);
    EXPECT_EQ(one.s.xx, other.s.xx);  // the optimizer sees the same minimization
    EXPECT_EQ(one.s.skx, other.s.skx);
    EXPECT_EQ(one.s.skc, other.s.skc);
    for (const auto part :
         {&lp_point::y, &lp_point::slc, &lp_point::suc, &lp_point::slx, &lp_point::sux}) {
      std::vector<double> negated = other.s.*part;
      for (double& v : negated) v = 0 - v;
      EXPECT_EQ(one.s.*part, negated);
    }
  }
}

TEST(RewrittenLp, ScaledByPowersOfTenHasTheSameObjective) {
  std::mt19937 gen(32);
  for (int k = 0; k < 40; ++k) {
    SCOPED_TRACE(k);
    const planted_lp lp = plant_optimal(gen, {8, 12, 0.5}, k % 2 == 1);
    lp_data p = lp.p;
    std::vector<double> row(p.m), col(p.n);
    for (double& f : row) f = std::pow(10.0, int(gen() % 7) - 3);
    for (double& f : col) f = std::pow(10.0, int(gen() % 7) - 3);
    for (size_t q = 0; q < p.val.size(); ++q) p.val[q] *= row[p.subi[q]] * col[p.subj[q]];
    auto rescale = [](int32_t bk, double f, double& lower, double& upper) {
      if (has_lower(bk)) lower *= f;
      if (has_upper(bk)) upper *= f;
    };
    for (int32_t i = 0; i < p.m; ++i) rescale(p.bkc[i], row[i], p.blc[i], p.buc[i]);
    for (int32_t j = 0; j < p.n; ++j) {
      rescale(p.bkx[j], 1 / col[j], p.blx[j], p.bux[j]);
      p.c[j] *= col[j];
    }
    ASSERT_NO_FATAL_FAILURE(expect_objective(solve(p), lp.objective));
  }
}

// Rows and columns that say nothing, and rows that say it twice.
TEST(RewrittenLp, PaddedWithIdleItemsHasTheSameObjective) {
  std::mt19937 gen(33);
  for (int k = 0; k < 40; ++k) {
    SCOPED_TRACE(k);
    const planted_lp lp = plant_optimal(gen, {6, 9, 0.6}, k % 2 == 1);
    lp_data p = lp.p;
    auto add_row = [&p](int32_t bk, double lower, double upper) {
      p.bkc.push_back(bk), p.blc.push_back(lower), p.buc.push_back(upper);
      return p.m++;
    };
    auto add_column = [&p](int32_t bk, double lower, double upper, double cost) {
      p.bkx.push_back(bk), p.blx.push_back(lower), p.bux.push_back(upper), p.c.push_back(cost);
      return p.n++;
    };
    const int32_t numrow = p.m;
    const size_t numentry = p.val.size();
    for (int32_t i = 0; i < numrow; ++i) {  // every row again, doubled, its sides exchanged
      int32_t bk = p.bkc[i];
      if (has_lower(bk) != has_upper(bk)) bk = bk == ZLV_BK_LO ? ZLV_BK_UP : ZLV_BK_LO;
      add_row(bk, has_upper(p.bkc[i]) ? -2 * p.buc[i] : -1e30,
              has_lower(p.bkc[i]) ? -2 * p.blc[i] : 1e30);
    }
    for (size_t q = 0; q < numentry; ++q) {
      p.subi.push_back(numrow + p.subi[q]);
      p.subj.push_back(p.subj[q]);
      p.val.push_back(-2 * p.val[q]);
    }
    const int32_t freerow = add_row(ZLV_BK_FR, -1e30, 1e30);
    add_row(ZLV_BK_RA, -1, 1);  // empty
    add_row(ZLV_BK_FX, 0, 0);   // empty
    add_column(ZLV_BK_FR, -1e30, 1e30, 0);
    const int32_t fixed = add_column(ZLV_BK_FX, 3, 3, 0);
    const int32_t fixedrow = add_row(ZLV_BK_UP, -1e30, 3.5);
    for (const int32_t i : {freerow, fixedrow}) {
      p.subi.push_back(i);
      p.subj.push_back(fixed);
      p.val.push_back(1);
    }
    ASSERT_NO_FATAL_FAILURE(expect_objective(solve(p), lp.objective));
  }
}

// y_i is the change of the objective per unit that row i is moved.
TEST(RewrittenLp, DualsAreTheRatesOfChange) {
  constexpr double step = 1e-4;
  std::mt19937 gen(34);
  for (int k = 0; k < 20; ++k) {
    SCOPED_TRACE(k);
    const lp_data p = plant_optimal(gen, {4, 7, 0.8}, k % 2 == 1).p;
    const solved middle = solve(p);
    for (int32_t i = 0; i < p.m; ++i) {
      if (p.bkc[i] != ZLV_BK_FX) continue;
      lp_data moved = p;
      moved.blc[i] += step, moved.buc[i] += step;
      const solved up = solve(moved);
      moved.blc[i] -= 2 * step, moved.buc[i] -= 2 * step;
      const solved down = solve(moved);
      if (up.s.solsta != ZLV_SOL_STA_OPTIMAL || down.s.solsta != ZLV_SOL_STA_OPTIMAL) continue;
      const double rise = (judge(up.p, up.s).pobj - judge(middle.p, middle.s).pobj) / step;
      const double fall = (judge(middle.p, middle.s).pobj - judge(down.p, down.s).pobj) / step;
      // The optimal value bends at a vertex; there any slope between the two is a dual.
      EXPECT_GE(middle.s.y[i], std::min(rise, fall) - 2e-2) << i;
      EXPECT_LE(middle.s.y[i], std::max(rise, fall) + 2e-2) << i;
    }
  }
}

}  // namespace
