// Basis identification behind the interior point: what the basic solution promises, when there is one,
// and that a hot start finds nothing left to do.
#include <gtest/gtest.h>

#include <utility>

#include "support/api_box.h"
#include "support/planted_lp.h"

namespace {

constexpr double objtol = 1e-7;  // relative to 1 + |objective|

void put(ZLV_task_t task, int32_t param, int32_t value) {
  ASSERT_EQ(ZLV_putintparam(task, param, value), ZLV_RES_OK);
}
int32_t simplex_iterations(ZLV_task_t task) {
  int32_t primal = -1, dual = -1;
  EXPECT_EQ(ZLV_getintinf(task, ZLV_IINF_SIM_PRIMAL_ITER, &primal), ZLV_RES_OK);
  EXPECT_EQ(ZLV_getintinf(task, ZLV_IINF_SIM_DUAL_ITER, &dual), ZLV_RES_OK);
  return primal + dual;
}

// A transportation problem without costs: the whole polytope is optimal, and degenerate.
lp_data idle_transport(int32_t k) {
  lp_data p;
  p.m = 2 * k;
  p.n = k * k;
  for (int32_t i = 0; i < p.m; ++i) {
    p.bkc.push_back(ZLV_BK_FX);
    p.blc.push_back(i < k ? 3 : 3);
    p.buc.push_back(3);
  }
  for (int32_t j = 0; j < p.n; ++j) {
    p.c.push_back(0);
    p.bkx.push_back(ZLV_BK_LO);
    p.blx.push_back(0);
    p.bux.push_back(1e30);
    for (const int32_t row : {j / k, k + j % k}) {
      p.subi.push_back(row);
      p.subj.push_back(j);
      p.val.push_back(1);
    }
  }
  return p;
}

void expect_both(api_box& box, const lp_data& p, double objective) {
  const lp_point itr = get_point(box.task, p), bas = get_point(box.task, p, ZLV_SOL_BAS);
  ASSERT_EQ(itr.solsta, ZLV_SOL_STA_OPTIMAL);
  ASSERT_EQ(bas.solsta, ZLV_SOL_STA_OPTIMAL);
  expect_honest(p, bas);
  expect_basic(p, bas);
  expect_same_measures(box.task, p, bas, ZLV_SOL_BAS);
  EXPECT_LE(std::abs(judge(p, bas).pobj - objective), objtol * (1 + std::abs(objective)));
  put(box.task, ZLV_IPAR_OPTIMIZER, ZLV_OPTIMIZER_FREE_SIMPLEX);
  ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
  EXPECT_EQ(simplex_iterations(box.task), 0);
}

}  // namespace

TEST(Basis, IsOptimalBesideTheInteriorSolution) {
  std::mt19937 gen(31);
  for (int k = 0; k < 60; ++k) {
    SCOPED_TRACE(k);
    const planted_size size = k % 3 == 0 ? planted_size{40, 60, 0.15} : planted_size{8, 12, 0.4};
    const planted_lp lp = plant_optimal(gen, size, k % 2 == 1);
    api_box box;
    put_data(box.task, lp.p);
    put(box.task, ZLV_IPAR_PRESOLVE_USE, k % 4 < 2 ? ZLV_ON : ZLV_OFF);
    ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK) << box.err();
    expect_both(box, lp.p, lp.objective);
  }
}

TEST(Basis, IsAVertexOfAnOptimalFace) {
  for (const int32_t k : {1, 2, 5, 12}) {
    for (const int32_t presolve : {ZLV_ON, ZLV_OFF}) {
      const lp_data p = idle_transport(k);
      api_box box;
      put_data(box.task, p);
      put(box.task, ZLV_IPAR_PRESOLVE_USE, presolve);
      ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK) << box.err();
      expect_both(box, p, 0);
    }
  }
}

TEST(Basis, IsThereWhenItsModeSaysSo) {
  std::mt19937 gen(32);
  const lp_data p = plant_optimal(gen, {40, 60, 0.2}, false).p;
  const struct {
    int32_t mode, maxiter;
    bool isbasic;
  } cases[] = {
      {ZLV_BI_NEVER, 400, false},
      {ZLV_BI_ALWAYS, 400, true},
      {ZLV_BI_NEW, 400, true},
      {ZLV_BI_IF_FEASIBLE, 400, true},
      {ZLV_BI_ALWAYS, 2, false},
      {ZLV_BI_IGNORE_INTPNT_MAX_ITER, 2, true},
      {ZLV_BI_IGNORE_INTPNT_NUM_ERR, 2, false},
      {ZLV_BI_IF_FEASIBLE, 2, false},
  };
  for (const auto& c : cases) {
    api_box box;
    put_data(box.task, p);
    put(box.task, ZLV_IPAR_INTPNT_BASIS, c.mode);
    put(box.task, ZLV_IPAR_INTPNT_MAX_ITERATIONS, c.maxiter);
    EXPECT_EQ(ZLV_optimize(box.task), c.maxiter == 2 ? ZLV_RES_TRM_MAX_ITERATIONS : ZLV_RES_OK);
    const lp_point bas = get_point(box.task, p, ZLV_SOL_BAS);
    EXPECT_EQ(bas.isdefined, c.isbasic) << c.mode;
    if (!c.isbasic) continue;
    EXPECT_EQ(bas.solsta, ZLV_SOL_STA_OPTIMAL);
    expect_basic(p, bas);
  }
}

TEST(Basis, CarriesTheCertificateToo) {
  std::mt19937 gen(33);
  for (int k = 0; k < 20; ++k) {
    const bool maximize = k % 2 == 1;
    const lp_data no = plant_infeasible(gen, {8, 12, 0.4}, maximize).p;
    const lp_data open = plant_unbounded(gen, {8, 12, 0.4}, maximize).p;
    lp_data crossed = open;
    crossed.bkx[k % 12] = ZLV_BK_RA, crossed.blx[k % 12] = 2, crossed.bux[k % 12] = 1;
    for (const lp_data* p : {&no, &open, &std::as_const(crossed)}) {
      api_box box;
      put_data(box.task, *p);
      ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
      const lp_point bas = get_point(box.task, *p, ZLV_SOL_BAS);
      EXPECT_EQ(bas.solsta, p != &open ? ZLV_SOL_STA_PRIM_INFEAS_CER : ZLV_SOL_STA_DUAL_INFEAS_CER);
      expect_honest(*p, bas);
    }
  }
}

TEST(InfeasReport, NamesWhatIsInConflict) {
  api_box box;
  ASSERT_EQ(ZLV_readdata(box.task, ZALVO_TEST_DATA "/infeasrows.mps"), ZLV_RES_OK);
  put(box.task, ZLV_IPAR_INFEAS_REPORT_AUTO, ZLV_ON);
  ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
  EXPECT_NE(box.log().find("MODEL PRIMAL INFEASIBILITY REPORT"), std::string::npos);
  char name[ZLV_MAX_STR_LEN];
  lp_data p = get_data(box.task);
  const lp_point s = get_point(box.task, p);
  for (int32_t i = 0; i < p.m; ++i) {
    ASSERT_EQ(ZLV_getname(box.task, ZLV_PI_CON, i, sizeof name, nullptr, name), ZLV_RES_OK);
    const bool islisted = box.log().find(std::string(" ") + name + " ") != std::string::npos;
    EXPECT_EQ(islisted, std::abs(s.y[i]) > 1e-6) << name;
  }
}
