// Every parameter of the simplex optimizers and of basis identification does something that a caller can
// see, and the answer stays right.
#include <gtest/gtest.h>

#include "support/api_box.h"
#include "support/planted_lp.h"

namespace {

int32_t int_item(ZLV_task_t task, int32_t item) {
  int32_t value = -1;
  EXPECT_EQ(ZLV_getintinf(task, item, &value), ZLV_RES_OK);
  return value;
}

struct param_case {
  const char *name, *param, *value;
  int32_t optimizer;
  int32_t item;  // integer information item that is another then
  int32_t basis = ZLV_BI_NEVER;
  double tolerance = 1e-7;  // of the objective, relative
};

class SimplexParam : public testing::TestWithParam<param_case> {
 protected:
  static int32_t run(bool ischanged) {
    const param_case& c = GetParam();
    std::mt19937 gen(2024);  // large enough for rules to differ
    const planted_lp lp = plant_optimal(gen, {90, 140, 0.12}, true);
    api_box box;
    put_data(box.task, lp.p);
    EXPECT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_OPTIMIZER, c.optimizer), ZLV_RES_OK);
    EXPECT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_INTPNT_BASIS, c.basis), ZLV_RES_OK);
    EXPECT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_PRESOLVE_USE, ZLV_OFF), ZLV_RES_OK);
    EXPECT_EQ(ischanged ? ZLV_putparam(box.task, c.param, c.value) : ZLV_RES_OK, ZLV_RES_OK);
    EXPECT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
    const lp_point s = get_point(box.task, lp.p, ZLV_SOL_BAS);
    EXPECT_EQ(s.solsta, ZLV_SOL_STA_OPTIMAL);
    if (!ischanged) expect_basic(lp.p, s);
    EXPECT_LE(std::abs(judge(lp.p, s).pobj - lp.objective),
              c.tolerance * (1 + std::abs(lp.objective)));
    return int_item(box.task, c.item);
  }
};

TEST_P(SimplexParam, ChangesTheRun) {
  EXPECT_NE(run(true), run(false));
}

constexpr int32_t dual = ZLV_OPTIMIZER_DUAL_SIMPLEX, primal = ZLV_OPTIMIZER_PRIMAL_SIMPLEX;
constexpr int32_t interior = ZLV_OPTIMIZER_INTPNT;
// clang-format off
const param_case cases[] = {
    {"DualCrash", "ZLV_IPAR_SIM_DUAL_CRASH", "0", dual, ZLV_IINF_SIM_CRASH_NUM},
    {"DualFull", "ZLV_IPAR_SIM_DUAL_SELECTION", "ZLV_SIM_SELECTION_FULL", dual, ZLV_IINF_SIM_DUAL_ITER},
    {"DualDevex", "ZLV_IPAR_SIM_DUAL_SELECTION", "ZLV_SIM_SELECTION_ASE", dual, ZLV_IINF_SIM_DUAL_ITER},
    {"DualPartial", "ZLV_IPAR_SIM_DUAL_SELECTION", "ZLV_SIM_SELECTION_PARTIAL", dual, ZLV_IINF_SIM_DUAL_ITER},
    {"PrimalCrash", "ZLV_IPAR_SIM_PRIMAL_CRASH", "0", primal, ZLV_IINF_SIM_CRASH_NUM},
    {"PrimalFull", "ZLV_IPAR_SIM_PRIMAL_SELECTION", "ZLV_SIM_SELECTION_FULL", primal, ZLV_IINF_SIM_PRIMAL_ITER},
    {"PrimalDevex", "ZLV_IPAR_SIM_PRIMAL_SELECTION", "ZLV_SIM_SELECTION_ASE", primal, ZLV_IINF_SIM_PRIMAL_ITER},
    {"PrimalPartial", "ZLV_IPAR_SIM_PRIMAL_SELECTION", "ZLV_SIM_SELECTION_PARTIAL", primal, ZLV_IINF_SIM_PRIMAL_ITER},
    {"Refactor", "ZLV_IPAR_SIM_REFACTOR_FREQ", "2", dual, ZLV_IINF_SIM_LU_NUM_FACTOR},
    {"RefactorPrimal", "ZLV_IPAR_SIM_REFACTOR_FREQ", "2", primal, ZLV_IINF_SIM_LU_NUM_FACTOR},
    {"Scaling", "ZLV_IPAR_SIM_SCALING", "ZLV_SCALING_NONE", dual, ZLV_IINF_SIM_DUAL_ITER},
    {"Form", "ZLV_IPAR_SIM_SOLVE_FORM", "ZLV_SOLVE_DUAL", dual, ZLV_IINF_SIM_SOLVE_DUAL},
    {"Pivot", "ZLV_DPAR_SIMPLEX_ABS_TOL_PIV", "0.05", dual, ZLV_IINF_SIM_LU_NUM_FACTOR},
    {"PivotPrimal", "ZLV_DPAR_SIMPLEX_ABS_TOL_PIV", "0.05", primal, ZLV_IINF_SIM_LU_NUM_FACTOR},
    {"PrimalTolerance", "ZLV_DPAR_BASIS_TOL_X", "5", dual, ZLV_IINF_SIM_DUAL_ITER, ZLV_BI_NEVER, 1},
    {"DualTolerance", "ZLV_DPAR_BASIS_TOL_S", "5", primal, ZLV_IINF_SIM_PRIMAL_ITER, ZLV_BI_NEVER, 1},
    {"Pushes", "ZLV_IPAR_BI_MAX_ITERATIONS", "1", interior, ZLV_IINF_BI_PRIMAL_ITER, ZLV_BI_ALWAYS},
    {"Cleaner", "ZLV_IPAR_BI_MAX_ITERATIONS", "1", interior, ZLV_IINF_BI_CLEAN_ITER, ZLV_BI_ALWAYS},
};
// clang-format on
INSTANTIATE_TEST_SUITE_P(All, SimplexParam, testing::ValuesIn(cases),
                         [](const auto& tc) { return std::string(tc.param.name); });

}  // namespace
