// Runs that are watched, stopped, repeated or refused: callbacks, breaks and limits, information
// items, changed problems, and problems that no optimizer takes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "support/api_box.h"
#include "support/planted_lp.h"

namespace {

lp_data medium() {
  std::mt19937 gen(77);
  return plant_optimal(gen, {40, 60, 0.2}, false).p;
}

int32_t int_item(ZLV_task_t task, int32_t item) {
  int32_t value = -1;
  EXPECT_EQ(ZLV_getintinf(task, item, &value), ZLV_RES_OK);
  return value;
}
double dou_item(ZLV_task_t task, int32_t item) {
  double value = -1;
  EXPECT_EQ(ZLV_getdouinf(task, item, &value), ZLV_RES_OK);
  return value;
}

// ---- Progress callback

struct watcher {
  std::vector<int32_t> places, iterations;
  int stopat = -1;  // call that asks to stop
  static int32_t look(ZLV_task_t task, void* handle, int32_t caller) {
    auto& me = *static_cast<watcher*>(handle);
    me.places.push_back(caller);
    me.iterations.push_back(int_item(task, ZLV_IINF_INTPNT_ITER));
    return int(me.places.size()) - 1 == me.stopat ? 1 : 0;
  }
};

TEST(RunCallback, IsToldOfBeginningIterationsAndEnd) {
  api_box box;
  put_data(box.task, medium());
  watcher w;
  ASSERT_EQ(ZLV_putdouparam(box.task, ZLV_DPAR_CALLBACK_FREQ, 0), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putcallbackfunc(box.task, watcher::look, &w), ZLV_RES_OK);
  ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
  ASSERT_GE(w.places.size(), 4u);
  EXPECT_EQ(w.places.front(), ZLV_CALLBACK_BEGIN_INTPNT);
  EXPECT_EQ(std::count(w.places.begin(), w.places.end(), ZLV_CALLBACK_END_INTPNT), 1);
  EXPECT_EQ(w.places.back(), ZLV_CALLBACK_END_BI);
  int numiter = 0;
  for (size_t k = 1; k + 1 < w.places.size(); ++k) {
    EXPECT_NE(w.places[k], ZLV_CALLBACK_BEGIN_INTPNT);
    EXPECT_GE(w.iterations[k], w.iterations[k - 1]);  // items are kept up with the run
    numiter += w.places[k] == ZLV_CALLBACK_IM_INTPNT ? 1 : 0;
  }
  EXPECT_GE(numiter, int_item(box.task, ZLV_IINF_INTPNT_ITER));
}

TEST(RunCallback, StopsTheRunAtAnyCallWithAnHonestPoint) {
  const lp_data p = medium();
  for (int k = 0;; ++k) {
    SCOPED_TRACE(k);
    api_box box;
    put_data(box.task, p);
    watcher w;
    w.stopat = k;
    ASSERT_EQ(ZLV_putdouparam(box.task, ZLV_DPAR_CALLBACK_FREQ, 0), ZLV_RES_OK);
    ASSERT_EQ(ZLV_putcallbackfunc(box.task, watcher::look, &w), ZLV_RES_OK);
    const int32_t code = ZLV_optimize(box.task);
    const lp_point s = get_point(box.task, p);
    if (int(w.places.size()) <= k) {
      EXPECT_EQ(code, ZLV_RES_OK);
      EXPECT_EQ(s.solsta, ZLV_SOL_STA_OPTIMAL);
      ASSERT_GT(k, 4);
      break;
    }
    EXPECT_EQ(code, ZLV_RES_TRM_USER_CALLBACK);
    EXPECT_EQ(s.isdefined, k > 0);  // at the first call there is no point yet
    if (!s.isdefined) continue;
    for (const double x : s.xx) EXPECT_TRUE(std::isfinite(x));
    expect_honest(p, s);
    expect_same_measures(box.task, p, s);
    ASSERT_EQ(ZLV_putcallbackfunc(box.task, nullptr, nullptr), ZLV_RES_OK);
    EXPECT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);  // the stop was for that run only
    EXPECT_EQ(get_point(box.task, p).solsta, ZLV_SOL_STA_OPTIMAL);
  }
}

TEST(RunCallback, OfABreakEndsTheRun) {
  api_box box;
  put_data(box.task, medium());
  int left = 3;
  ASSERT_EQ(
      ZLV_putctrlcfunc(
          box.env, [](void* h) -> int32_t { return --*static_cast<int*>(h) < 0 ? 1 : 0; }, &left),
      ZLV_RES_OK);
  ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_CHECK_CTRL_C, ZLV_ON), ZLV_RES_OK);
  EXPECT_EQ(ZLV_optimize(box.task), ZLV_RES_TRM_USER_BREAK);
  const lp_data p = get_data(box.task);
  const lp_point s = get_point(box.task, p);
  EXPECT_TRUE(s.isdefined);
  EXPECT_NE(s.solsta, ZLV_SOL_STA_OPTIMAL);
  expect_honest(p, s);
}

// ---- Limits

TEST(RunLimit, OfNoTimeStopsAtOnce) {
  api_box box;
  put_data(box.task, medium());
  ASSERT_EQ(ZLV_putdouparam(box.task, ZLV_DPAR_OPTIMIZER_MAX_TIME, 0), ZLV_RES_OK);
  EXPECT_EQ(ZLV_optimize(box.task), ZLV_RES_TRM_MAX_TIME);
  EXPECT_LE(int_item(box.task, ZLV_IINF_INTPNT_ITER), 1);
  const lp_data p = get_data(box.task);
  expect_honest(p, get_point(box.task, p));
  EXPECT_NE(box.log().find("terminated"), std::string::npos);
  ASSERT_EQ(ZLV_putdouparam(box.task, ZLV_DPAR_OPTIMIZER_MAX_TIME, -1), ZLV_RES_OK);
  EXPECT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
}

TEST(RunLimit, OfIterationsKeepsTheBestPoint) {
  const lp_data p = medium();
  for (const int32_t limit : {0, 1, 4}) {
    api_box box;
    put_data(box.task, p);
    ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_INTPNT_MAX_ITERATIONS, limit), ZLV_RES_OK);
    EXPECT_EQ(ZLV_optimize(box.task), ZLV_RES_TRM_MAX_ITERATIONS) << limit;
    EXPECT_EQ(int_item(box.task, ZLV_IINF_INTPNT_ITER), limit);
    const lp_point s = get_point(box.task, p);
    EXPECT_TRUE(s.isdefined);
    EXPECT_NE(s.solsta, ZLV_SOL_STA_OPTIMAL);
    expect_honest(p, s);
    for (const double x : s.xx) EXPECT_TRUE(std::isfinite(x));
  }
}

// ---- Information items

TEST(RunItems, SayWhatTheRunFoundAndAreReset) {
  api_box box;
  put_data(box.task, medium());
  ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
  const lp_data p = get_data(box.task);
  const lp_quality q = judge(p, get_point(box.task, p));
  const double rounding = 1e-12 * (1 + q.size);
  EXPECT_GT(int_item(box.task, ZLV_IINF_INTPNT_ITER), 0);
  EXPECT_EQ(int_item(box.task, ZLV_IINF_OPT_NUMCON), p.m);
  EXPECT_EQ(int_item(box.task, ZLV_IINF_OPT_NUMVAR), p.n);
  EXPECT_NEAR(dou_item(box.task, ZLV_DINF_SOL_ITR_PRIMAL_OBJ), q.pobj, rounding);
  EXPECT_NEAR(dou_item(box.task, ZLV_DINF_SOL_ITR_DUAL_OBJ), q.dobj, rounding);
  EXPECT_NEAR(dou_item(box.task, ZLV_DINF_SOL_ITR_MAX_PEQI), q.peqi, rounding);
  EXPECT_NEAR(dou_item(box.task, ZLV_DINF_SOL_ITR_MAX_DEQI), q.deqi, rounding);
  EXPECT_GT(dou_item(box.task, ZLV_DINF_OPTIMIZER_REALTIME), 0);
  EXPECT_GE(dou_item(box.task, ZLV_DINF_OPTIMIZER_REALTIME),
            dou_item(box.task, ZLV_DINF_INTPNT_REALTIME));
  ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_OPTIMIZER, ZLV_OPTIMIZER_CONIC), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putqobjij(box.task, 0, 0, 1.0), ZLV_RES_OK);
  EXPECT_NE(ZLV_optimize(box.task), ZLV_RES_OK);  // a run that finds nothing leaves nothing behind
  EXPECT_EQ(int_item(box.task, ZLV_IINF_INTPNT_ITER), 0);
  EXPECT_EQ(dou_item(box.task, ZLV_DINF_SOL_ITR_PRIMAL_OBJ), 0);
}

// ---- Again

TEST(RunAgain, GivesTheSameBits) {
  api_box box, other;
  const lp_data p = medium();
  put_data(box.task, p);
  put_data(other.task, p);
  ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
  const lp_point first = get_point(box.task, p);
  ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
  ASSERT_EQ(ZLV_optimize(other.task), ZLV_RES_OK);
  for (const lp_point& s : {get_point(box.task, p), get_point(other.task, p)}) {
    EXPECT_EQ(s.xx, first.xx);
    EXPECT_EQ(s.xc, first.xc);
    EXPECT_EQ(s.y, first.y);
    EXPECT_EQ(s.slx, first.slx);
    EXPECT_EQ(s.sux, first.sux);
  }
}

TEST(RunAgain, FollowsAChangedBound) {  // maximize x + 2 y, x + y <= 4, 0 <= x, y <= 3
  api_box box;
  lp_data p;
  p.m = 1, p.n = 2, p.maximize = true;
  p.subi = {0, 0}, p.subj = {0, 1}, p.val = {1, 1}, p.c = {1, 2};
  p.bkc = {ZLV_BK_UP}, p.blc = {-1e30}, p.buc = {4};
  p.bkx = {ZLV_BK_LO, ZLV_BK_RA}, p.blx = {0, 0}, p.bux = {1e30, 3};
  put_data(box.task, p);
  const auto objective = [&box] {
    EXPECT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
    const lp_data now = get_data(box.task);
    const lp_point s = get_point(box.task, now);
    EXPECT_EQ(s.solsta, ZLV_SOL_STA_OPTIMAL);
    return judge(now, s).pobj;
  };
  EXPECT_NEAR(objective(), 7, 1e-6);
  ASSERT_EQ(ZLV_putbound(box.task, ZLV_ACC_VAR, 1, ZLV_BK_RA, 0, 1), ZLV_RES_OK);
  EXPECT_NEAR(objective(), 5, 1e-6);
  ASSERT_EQ(ZLV_putbound(box.task, ZLV_ACC_CON, 0, ZLV_BK_FX, 2, 2), ZLV_RES_OK);
  EXPECT_NEAR(objective(), 3, 1e-6);
  ASSERT_EQ(ZLV_putbound(box.task, ZLV_ACC_CON, 0, ZLV_BK_UP, -1e30, -1), ZLV_RES_OK);
  ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
  EXPECT_EQ(get_point(box.task, p).solsta, ZLV_SOL_STA_PRIM_INFEAS_CER);
  ASSERT_EQ(ZLV_putbound(box.task, ZLV_ACC_CON, 0, ZLV_BK_LO, -1, 1e30), ZLV_RES_OK);
  ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
  EXPECT_EQ(get_point(box.task, p).solsta, ZLV_SOL_STA_DUAL_INFEAS_CER);
}

// ---- Problems that no optimizer takes

struct refusal_case {
  const char* name;
  void (*change)(ZLV_task_t task);
  int32_t optimizer, code;
};

void no_change(ZLV_task_t) {}
void add_cone(ZLV_task_t task) {
  const int32_t mem[] = {0, 1, 2};
  EXPECT_EQ(ZLV_appendcone(task, ZLV_CT_QUAD, 0, 3, mem), ZLV_RES_OK);
}
void add_quadratic(ZLV_task_t task) {
  EXPECT_EQ(ZLV_putqobjij(task, 0, 0, 1), ZLV_RES_OK);
}
void add_nonconvex(ZLV_task_t task) {  // x'Qx/2 = x0 x1, found whether it is looked for or not
  EXPECT_EQ(ZLV_putqobjij(task, 1, 0, 1), ZLV_RES_OK);
  EXPECT_EQ(ZLV_putintparam(task, ZLV_IPAR_CHECK_CONVEXITY, ZLV_CHECK_CONVEXITY_NONE), ZLV_RES_OK);
}
void add_both(ZLV_task_t task) {
  add_cone(task);
  add_quadratic(task);
}
void add_integer(ZLV_task_t task) {
  EXPECT_EQ(ZLV_putvartype(task, 1, ZLV_VAR_TYPE_INT), ZLV_RES_OK);
}

class RunRefusal : public testing::TestWithParam<refusal_case> {};

TEST_P(RunRefusal, HasItsCodeAndLeavesNothingHalfDone) {
  const refusal_case& rc = GetParam();
  api_box box;
  put_data(box.task, medium());
  ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_INTPNT_BASIS, ZLV_BI_NEVER), ZLV_RES_OK);
  ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
  rc.change(box.task);
  const lp_data before = get_data(box.task);
  ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_OPTIMIZER, rc.optimizer), ZLV_RES_OK);
  box.forget();
  EXPECT_EQ(ZLV_optimize(box.task), rc.code);
  EXPECT_FALSE(box.err().empty());
  const lp_data after = get_data(box.task);
  EXPECT_EQ(after.c, before.c);
  EXPECT_EQ(after.val, before.val);
  int32_t isdef = 1, optimizer = -1;
  EXPECT_EQ(ZLV_solutiondef(box.task, ZLV_SOL_BAS, &isdef), ZLV_RES_OK);
  EXPECT_EQ(isdef, 0);
  const lp_point s = get_point(box.task, before);  // of the first run, or undefined: never claimed
  if (s.isdefined) {
    EXPECT_EQ(ZLV_getintparam(box.task, ZLV_IPAR_OPTIMIZER, &optimizer), ZLV_RES_OK);
    EXPECT_EQ(optimizer, rc.optimizer);
  }
}
INSTANTIATE_TEST_SUITE_P(
    Problems, RunRefusal,
    testing::Values(
        refusal_case{"ConicByIntpnt", add_cone, ZLV_OPTIMIZER_INTPNT, ZLV_RES_ERR_INV_OPTIMIZER},
        refusal_case{"Nonconvex", add_nonconvex, ZLV_OPTIMIZER_FREE, ZLV_RES_ERR_NONCONVEX},
        refusal_case{"Mixed", add_both, ZLV_OPTIMIZER_INTPNT, ZLV_RES_ERR_MIXED_PROBLEM},
        refusal_case{"Integer", add_integer, ZLV_OPTIMIZER_FREE, ZLV_RES_ERR_MIO_NOT_LOADED},
        refusal_case{"Simplex", add_quadratic, ZLV_OPTIMIZER_FREE_SIMPLEX,
                     ZLV_RES_ERR_INV_OPTIMIZER},
        refusal_case{"DualSimplex", add_cone, ZLV_OPTIMIZER_DUAL_SIMPLEX,
                     ZLV_RES_ERR_INV_OPTIMIZER},
        refusal_case{"NonconvexOptimizer", no_change, ZLV_OPTIMIZER_NONCONVEX,
                     ZLV_RES_ERR_MIO_NOT_LOADED}),
    [](const auto& tc) { return std::string(tc.param.name); });

TEST(RunRefused, IntegersThatAreIgnoredAreSolved) {
  api_box box;
  put_data(box.task, medium());
  add_integer(box.task);
  ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_MIO_MODE, ZLV_MIO_MODE_IGNORED), ZLV_RES_OK);
  EXPECT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
  const lp_data p = get_data(box.task);
  EXPECT_EQ(get_point(box.task, p).solsta, ZLV_SOL_STA_OPTIMAL);
}

// ---- Numbers that overflow

TEST(RunNumbers, ThatOverflowNeverGiveAFalseStatus) {
  const double big = std::numeric_limits<double>::max(), infinity = HUGE_VAL, nan = NAN;
  for (const double value : {1e20, 1e29, 1e150, 1e300, big, infinity, nan, 1e-300, 5e-324}) {
    for (int where = 0; where < 5; ++where) {
      SCOPED_TRACE(testing::Message() << value << " at " << where);
      api_box box;
      put_data(box.task, medium());
      int32_t put = ZLV_RES_OK;
      if (where == 0) put = ZLV_putcj(box.task, 3, value);
      if (where == 1) put = ZLV_putaij(box.task, 2, 5, value);
      if (where == 2) put = ZLV_putbound(box.task, ZLV_ACC_CON, 1, ZLV_BK_UP, -1e30, -value);
      if (where == 3) put = ZLV_putbound(box.task, ZLV_ACC_VAR, 4, ZLV_BK_LO, value, 1e30);
      if (where == 4) put = ZLV_putcfix(box.task, value);
      EXPECT_TRUE(put != ZLV_RES_OK || value == value);  // NaN is kept out
      ZLV_optimize(box.task);
      const lp_data p = get_data(box.task);
      const lp_point s = get_point(box.task, p);
      if (s.isdefined) expect_honest(p, s);
    }
  }
}

}  // namespace
