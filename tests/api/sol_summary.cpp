// The report of the solutions and the run, character by character.
#include <gtest/gtest.h>

#include <string>

#include "support/api_box.h"

namespace {

const std::string run_block =
    "\nOptimizer                 - real time  : 0.00       cpu time: 0.00    \n"
    "  Interior-point          - iterations : 0          cpu time: 0.00    \n"
    "    Basis identification  -                         cpu time: 0.00    \n"
    "      Primal              - iterations : 0          cpu time: 0.00    \n"
    "      Dual                - iterations : 0          cpu time: 0.00    \n"
    "      Clean               - iterations : 0          cpu time: 0.00    \n"
    "  Simplex                 -                         cpu time: 0.00    \n"
    "    Primal simplex        - iterations : 0          cpu time: 0.00    \n"
    "    Dual simplex          - iterations : 0          cpu time: 0.00    \n"
    "  Mixed integer           - relaxations: 0          cpu time: 0.00    \n"
    "\n";

// minimize -2 x + 1.5, x <= 5 by the constraint, x integer; at x = 4.25 with y = -2.
struct summary_box {
  api_box box;
  ZLV_task_t task = box.task;
  summary_box() {
    EXPECT_EQ(ZLV_append(task, ZLV_ACC_CON, 1), 0);
    EXPECT_EQ(ZLV_append(task, ZLV_ACC_VAR, 1), 0);
    EXPECT_EQ(ZLV_putbound(task, ZLV_ACC_CON, 0, ZLV_BK_UP, 0, 5), 0);
    EXPECT_EQ(ZLV_putbound(task, ZLV_ACC_VAR, 0, ZLV_BK_FR, 0, 0), 0);
    EXPECT_EQ(ZLV_putaij(task, 0, 0, 1), 0);
    EXPECT_EQ(ZLV_putcj(task, 0, -2), 0);
    EXPECT_EQ(ZLV_putcfix(task, 1.5), 0);
  }
  void put(int32_t whichsol, double x, double xc, double suc) {
    const double y = -suc, zero = 0;
    EXPECT_EQ(ZLV_putsolution(task, whichsol, nullptr, nullptr, nullptr, &xc, &x, &y, &zero, &suc,
                              &zero, &zero, &zero),
              0);
  }
  std::string summary(int32_t code = 0) {
    box.forget();
    EXPECT_EQ(ZLV_solutionsummary(task, ZLV_STREAM_MSG), code);
    return box.msg();
  }
};

TEST(SolSummary, WithoutASolutionOnlyTheRunIsReported) {
  summary_box s;
  EXPECT_EQ(s.summary(), run_block);
  EXPECT_EQ(s.box.log(), run_block);  // mirrored
}

TEST(SolSummary, BlocksOfAllSolutionsInOrder) {
  summary_box s;
  s.put(ZLV_SOL_ITR, 4, 5.5, 1.75);
  s.put(ZLV_SOL_BAS, 5, 5, 2);
  s.put(ZLV_SOL_ITG, 4, 4, 0);
  const std::string want =
      "Interior-point solution\n"
      "Problem status  : UNKNOWN\n"
      "Solution status : UNKNOWN\n"
      "Primal - objective: -6.5000000000e+00  eq. infeas.: 1.50e+00 max bound infeas.: 5.00e-01 "
      "cone infeas.: 0.00e+00\n"
      "Dual   - objective: -7.2500000000e+00  eq. infeas.: 2.50e-01 max bound infeas.: 0.00e+00 "
      "cone infeas.: 0.00e+00\n"
      "\n"
      "Basic solution\n"
      "Problem status  : UNKNOWN\n"
      "Solution status : UNKNOWN\n"
      "Primal - objective: -8.5000000000e+00  eq. infeas.: 0.00e+00 max bound infeas.: 0.00e+00\n"
      "Dual   - objective: -8.5000000000e+00  eq. infeas.: 0.00e+00 max bound infeas.: 0.00e+00\n"
      "\n"
      "Integer solution\n"
      "Problem status  : UNKNOWN\n"
      "Solution status : UNKNOWN\n"
      "Primal - objective: -6.5000000000e+00  eq. infeas.: 0.00e+00 max bound infeas.: 0.00e+00 "
      "integer infeas.: 0.00e+00\n" +
      run_block;
  EXPECT_EQ(s.summary(), want);
}

TEST(SolSummary, LogSwitchStreamAndFailures) {
  summary_box s;
  s.put(ZLV_SOL_BAS, 5, 5, 2);
  ASSERT_EQ(ZLV_putintparam(s.task, ZLV_IPAR_LOG, 0), 0);
  EXPECT_EQ(s.summary(), "");
  ASSERT_EQ(ZLV_putintparam(s.task, ZLV_IPAR_LOG, 1), 0);
  EXPECT_EQ(ZLV_solutionsummary(s.task, 4), 0);
  EXPECT_EQ(ZLV_solutionsummary(nullptr, 0), ZLV_RES_ERR_NULL_TASK);
  EXPECT_EQ(s.box.log(), "");
  // A block whose measuring fails is written with what there is, and its code is the result.
  ASSERT_EQ(ZLV_deletesolution(s.task, ZLV_SOL_BAS), 0);
  const std::string text = s.summary(ZLV_RES_ERR_UNDEF_SOLUTION);
  EXPECT_EQ(text.find("Basic solution\nProblem status  : UNKNOWN\n"), 0U);
  EXPECT_NE(text.find(run_block), std::string::npos);
}

}  // namespace
