// The simplex optimizers through the interface: planted answers, what a basic solution promises,
// starts from a basis, objective cuts, and the log.
#include <gtest/gtest.h>

#include "support/api_box.h"
#include "support/planted_lp.h"

namespace {

constexpr double objtol = 1e-7;  // relative to 1 + |objective|

int32_t int_item(ZLV_task_t task, int32_t item) {
  int32_t value = -1;
  EXPECT_EQ(ZLV_getintinf(task, item, &value), ZLV_RES_OK);
  return value;
}
int32_t iterations(ZLV_task_t task) {
  return int_item(task, ZLV_IINF_SIM_PRIMAL_ITER) + int_item(task, ZLV_IINF_SIM_DUAL_ITER);
}
void put(ZLV_task_t task, int32_t param, int32_t value) {
  ASSERT_EQ(ZLV_putintparam(task, param, value), ZLV_RES_OK);
}
double objective(const lp_data& p, const lp_point& s) {
  return judge(p, s).pobj;
}

struct way_case {
  const char* name;
  int32_t optimizer, presolve, form;
};
class SimplexWay : public testing::TestWithParam<way_case> {
 protected:
  static lp_point solve(api_box& box, const lp_data& p) {
    put_data(box.task, p);
    put(box.task, ZLV_IPAR_OPTIMIZER, GetParam().optimizer);
    put(box.task, ZLV_IPAR_PRESOLVE_USE, GetParam().presolve);
    put(box.task, ZLV_IPAR_SIM_SOLVE_FORM, GetParam().form);
    EXPECT_EQ(ZLV_optimize(box.task), ZLV_RES_OK) << box.err();
    const lp_point s = get_point(box.task, p, ZLV_SOL_BAS);
    EXPECT_TRUE(s.isdefined);
    const bool isdual = int_item(box.task, ZLV_IINF_SIM_SOLVE_DUAL) != 0;
    const bool isplain =
        GetParam().presolve == ZLV_OFF && int_item(box.task, ZLV_IINF_SIM_NUMVAR) > 0;
    EXPECT_TRUE(!isplain || isdual == (GetParam().form == ZLV_SOLVE_DUAL));
    EXPECT_FALSE(get_point(box.task, p, ZLV_SOL_ITR).isdefined);
    expect_honest(p, s);
    expect_same_measures(box.task, p, s, ZLV_SOL_BAS);
    return s;
  }
};

TEST_P(SimplexWay, FindsPlantedAnswers) {
  std::mt19937 gen(4711);
  for (int k = 0; k < 60; ++k) {
    SCOPED_TRACE(k);
    const planted_size size = k % 3 == 0 ? planted_size{40, 60, 0.15} : planted_size{8, 12, 0.4};
    const planted_lp lp = plant_optimal(gen, size, k % 2 == 1);
    api_box box;
    const lp_point s = solve(box, lp.p);
    ASSERT_EQ(s.solsta, ZLV_SOL_STA_OPTIMAL);
    expect_basic(lp.p, s);
    EXPECT_LE(std::abs(objective(lp.p, s) - lp.objective), objtol * (1 + std::abs(lp.objective)));
    lp_data crossed = lp.p;  // a column or a row whose bounds leave nothing
    const bool iscolumn = k % 4 < 2;
    (iscolumn ? crossed.bkx : crossed.bkc)[3] = ZLV_BK_RA;
    (iscolumn ? crossed.blx : crossed.blc)[3] = 2;
    (iscolumn ? crossed.bux : crossed.buc)[3] = 1;
    api_box no, open, cross;
    EXPECT_EQ(solve(cross, crossed).solsta, ZLV_SOL_STA_PRIM_INFEAS_CER);
    EXPECT_EQ(solve(no, plant_infeasible(gen, size, k % 2 == 1).p).solsta,
              ZLV_SOL_STA_PRIM_INFEAS_CER);
    EXPECT_EQ(solve(open, plant_unbounded(gen, size, k % 2 == 1).p).solsta,
              ZLV_SOL_STA_DUAL_INFEAS_CER);
  }
}

TEST_P(SimplexWay, StartsFromTheTasksBasis) {
  std::mt19937 gen(815);
  int64_t cold = 0, warm = 0;
  for (int k = 0; k < 20; ++k) {
    SCOPED_TRACE(k);
    lp_data p = plant_optimal(gen, {40, 60, 0.15}, k % 2 == 1).p;
    api_box box, fresh;
    const lp_point first = solve(box, p);
    ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
    EXPECT_EQ(iterations(box.task), 0);  // its own optimal basis
    EXPECT_NEAR(objective(p, get_point(box.task, p, ZLV_SOL_BAS)), objective(p, first),
                objtol * (1 + std::abs(objective(p, first))));
    const int32_t j = k % p.n;
    p.c[j] += k % 4 < 2 ? 0.3 : -0.3;
    ASSERT_EQ(ZLV_putcj(box.task, j, p.c[j]), ZLV_RES_OK);
    ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
    warm += iterations(box.task);
    const lp_point hot = get_point(box.task, p, ZLV_SOL_BAS);
    expect_honest(p, hot);
    put_data(fresh.task, p);
    put(fresh.task, ZLV_IPAR_OPTIMIZER, GetParam().optimizer);
    put(fresh.task, ZLV_IPAR_PRESOLVE_USE, 0);
    ASSERT_EQ(ZLV_optimize(fresh.task), ZLV_RES_OK);
    cold += iterations(fresh.task);
    const lp_point again = get_point(fresh.task, p, ZLV_SOL_BAS);
    ASSERT_EQ(again.solsta, hot.solsta);
    if (hot.solsta != ZLV_SOL_STA_OPTIMAL) continue;
    expect_basic(p, hot);
    EXPECT_NEAR(objective(p, hot), objective(p, again), objtol * (1 + std::abs(objective(p, hot))));
  }
  EXPECT_LT(4 * warm, cold);
}

TEST_P(SimplexWay, TakesAnyKeysAsAStart) {
  std::mt19937 gen(99);
  for (int k = 0; k < 30; ++k) {
    SCOPED_TRACE(k);
    const planted_lp lp = plant_optimal(gen, {12, 18, 0.3}, k % 2 == 1);
    api_box box;
    put_data(box.task, lp.p);
    put(box.task, ZLV_IPAR_OPTIMIZER, GetParam().optimizer);
    put(box.task, ZLV_IPAR_SIM_SOLVE_FORM, GetParam().form);
    std::vector<int32_t> skc(lp.p.m), skx(lp.p.n);
    for (int32_t& key : skc) key = int32_t(gen() % 7);
    for (int32_t& key : skx) key = k % 5 == 0 ? ZLV_SK_BAS : int32_t(gen() % 7);
    ASSERT_EQ(ZLV_putsolution(box.task, ZLV_SOL_BAS, skc.data(), skx.data(), nullptr, nullptr,
                              nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              ZLV_RES_OK);
    ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
    const lp_point s = get_point(box.task, lp.p, ZLV_SOL_BAS);
    ASSERT_EQ(s.solsta, ZLV_SOL_STA_OPTIMAL);
    expect_basic(lp.p, s);
    EXPECT_LE(std::abs(objective(lp.p, s) - lp.objective), objtol * (1 + std::abs(lp.objective)));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Ways, SimplexWay,
    testing::Values(way_case{"Primal", ZLV_OPTIMIZER_PRIMAL_SIMPLEX, ZLV_ON, ZLV_SOLVE_FREE},
                    way_case{"PrimalPlain", ZLV_OPTIMIZER_PRIMAL_SIMPLEX, ZLV_OFF,
                             ZLV_SOLVE_PRIMAL},
                    way_case{"PrimalOfDual", ZLV_OPTIMIZER_PRIMAL_SIMPLEX, ZLV_OFF, ZLV_SOLVE_DUAL},
                    way_case{"Dual", ZLV_OPTIMIZER_DUAL_SIMPLEX, ZLV_ON, ZLV_SOLVE_FREE},
                    way_case{"DualPlain", ZLV_OPTIMIZER_DUAL_SIMPLEX, ZLV_OFF, ZLV_SOLVE_PRIMAL},
                    way_case{"DualOfDual", ZLV_OPTIMIZER_DUAL_SIMPLEX, ZLV_OFF, ZLV_SOLVE_DUAL},
                    way_case{"Free", ZLV_OPTIMIZER_FREE_SIMPLEX, ZLV_ON, ZLV_SOLVE_FREE},
                    way_case{"FreeOfDual", ZLV_OPTIMIZER_FREE_SIMPLEX, ZLV_ON, ZLV_SOLVE_DUAL}),
    [](const auto& tc) { return std::string(tc.param.name); });

}  // namespace

// Rows and columns that come and go, bounds and costs that change: the basis is still a start.
TEST(SimplexStart, OutlivesEditsOfTheProblem) {
  std::mt19937 gen(6);
  const int32_t optimizers[] = {ZLV_OPTIMIZER_PRIMAL_SIMPLEX, ZLV_OPTIMIZER_DUAL_SIMPLEX,
                                ZLV_OPTIMIZER_FREE_SIMPLEX};
  for (int k = 0; k < 60; ++k) {
    SCOPED_TRACE(k);
    api_box box, fresh;
    put_data(box.task, plant_optimal(gen, {20, 30, 0.2}, k % 2 == 1).p);
    put(box.task, ZLV_IPAR_OPTIMIZER, optimizers[k % 3]);
    put(box.task, ZLV_IPAR_SIM_SOLVE_FORM, k % 4 == 0 ? ZLV_SOLVE_DUAL : ZLV_SOLVE_FREE);
    ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
    const int32_t acc = k % 2 == 0 ? ZLV_ACC_CON : ZLV_ACC_VAR, gone[] = {3, 7}, sub[] = {1, 4, 9};
    const int32_t next = acc == ZLV_ACC_CON ? 20 : 30;
    const double val[] = {uniform(gen), uniform(gen), uniform(gen)}, at = uniform(gen);
    int32_t r = ZLV_RES_OK;
    if (k % 5 == 0) r = ZLV_remove(box.task, acc, 2, gone);
    if (k % 5 == 1) {
      ASSERT_EQ(ZLV_append(box.task, acc, 1), ZLV_RES_OK);
      ASSERT_EQ(ZLV_putavec(box.task, acc, next, 3, sub, val), ZLV_RES_OK);
      r = ZLV_putbound(box.task, acc, next, ZLV_BK_RA, at, at + 2);
    }
    if (k % 5 == 2) r = ZLV_putbound(box.task, acc, 5, ZLV_BK_FX, at, at);
    if (k % 5 == 3) r = ZLV_putbound(box.task, acc, 5, ZLV_BK_FR, 0, 0);
    if (k % 5 == 4) r = ZLV_putcj(box.task, 5, at);
    ASSERT_EQ(r, ZLV_RES_OK);
    ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
    const lp_data p = get_data(box.task);
    put_data(fresh.task, p);
    ASSERT_EQ(ZLV_optimize(fresh.task), ZLV_RES_OK);
    const lp_point hot = get_point(box.task, p, ZLV_SOL_BAS), cold = get_point(fresh.task, p);
    expect_honest(p, hot);
    ASSERT_EQ(hot.solsta, cold.solsta);
    if (hot.solsta != ZLV_SOL_STA_OPTIMAL) continue;
    expect_basic(p, hot);
    EXPECT_NEAR(objective(p, hot), objective(p, cold), 1e-6 * (1 + std::abs(objective(p, cold))));
  }
}

TEST(SimplexLimits, EndTheRunWithTheirCodes) {
  std::mt19937 gen(5);
  const planted_lp lp = plant_optimal(gen, {40, 60, 0.2}, false);
  for (const int32_t optimizer : {ZLV_OPTIMIZER_PRIMAL_SIMPLEX, ZLV_OPTIMIZER_DUAL_SIMPLEX}) {
    api_box box;
    put_data(box.task, lp.p);
    put(box.task, ZLV_IPAR_OPTIMIZER, optimizer);
    put(box.task, ZLV_IPAR_SIM_MAX_ITERATIONS, 3);
    EXPECT_EQ(ZLV_optimize(box.task), ZLV_RES_TRM_MAX_ITERATIONS);
    EXPECT_LE(iterations(box.task), 3);
    const lp_point s = get_point(box.task, lp.p, ZLV_SOL_BAS);
    int32_t numbasic = int32_t(std::count(s.skc.begin(), s.skc.end(), ZLV_SK_BAS));
    for (int32_t j = 0; j < lp.p.n; ++j) {  // its point is one of a basis
      numbasic += s.skx[j] == ZLV_SK_BAS ? 1 : 0;
      if (s.skx[j] == ZLV_SK_BAS) continue;
      const double bound = s.skx[j] == ZLV_SK_UPR ? lp.p.bux[j] : lp.p.blx[j];
      EXPECT_LE(std::abs(s.xx[j] - (lp.p.bkx[j] == ZLV_BK_FR ? 0 : bound)), 1e-7);
    }
    EXPECT_EQ(numbasic, lp.p.m);
    EXPECT_NE(s.solsta, ZLV_SOL_STA_OPTIMAL);
    expect_honest(lp.p, s);
    put(box.task, ZLV_IPAR_SIM_MAX_ITERATIONS, 100000);
    EXPECT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
    EXPECT_EQ(get_point(box.task, lp.p, ZLV_SOL_BAS).solsta, ZLV_SOL_STA_OPTIMAL);
  }
  api_box cut;  // the dual objective passes the cut on its way to the optimum
  put_data(cut.task, lp.p);
  put(cut.task, ZLV_IPAR_OPTIMIZER, ZLV_OPTIMIZER_DUAL_SIMPLEX);
  const double limit = lp.objective - 0.1 * (1 + std::abs(lp.objective));
  ASSERT_EQ(ZLV_putdouparam(cut.task, ZLV_DPAR_UPPER_OBJ_CUT, limit), ZLV_RES_OK);
  EXPECT_EQ(ZLV_optimize(cut.task), ZLV_RES_TRM_OBJECTIVE_RANGE);
  EXPECT_NE(get_point(cut.task, lp.p, ZLV_SOL_BAS).solsta, ZLV_SOL_STA_OPTIMAL);
}
