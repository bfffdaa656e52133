// The primal simplex without help of the dual: its verdicts, the weights it keeps, its crash.
#include "simplex/simprimal.h"

#include <gtest/gtest.h>

#include <random>

#include "simplex/primstate.h"
#include "support/simplex_run.h"

namespace {

struct state_box {
  simplex_run run;
  sim_state st;
  explicit state_box(const lp_view& lp) : st(lp, run.set, run.mon, *run.mman, run.info) {
    st.point = &run.point;
    sim_setup(st, run.basis);
  }
};

TEST(SimPrimal, DecidesAlone) {
  std::mt19937 gen(29);
  int32_t numleft = 0;
  for (int32_t trial = 0; trial < 600; ++trial) {
    dense_lp p = random_small(gen);
    const lp_view lp = p.view();
    state_box box(lp);
    box.run.set.primsel = sim_selection(trial % 5);
    const sim_end end = sim_primal(box.st, trial % 2 == 0);
    const dense_answer want = dense_solve(lp);
    if (end == sim_end::undecided) ++numleft;
    if (want.verdict == lp_verdict::optimal) {
      EXPECT_TRUE(end == sim_end::optimal || end == sim_end::undecided) << trial;
    }
    if (end != sim_end::optimal) continue;
    EXPECT_EQ(want.verdict, lp_verdict::optimal) << trial;
    EXPECT_NEAR(sim_objective(box.st, box.st.primobj), want.obj, 1e-6 * (1 + std::abs(want.obj)));
  }
  EXPECT_LE(numleft, 6);
}

// After any number of iterations the weights of steepest edge are the norms of the edges in the
// reference space, and reduced costs those of the multipliers.
TEST(SimPrimal, KeepsWeightsAndReducedCosts) {
  std::mt19937 gen(2);
  dense_lp p = transport(gen, 14);
  for (double& v : p.bux) v = 0.5 + double(gen() % 3);
  for (auto& row : p.a) {
    for (double& v : row) v *= 1 + double(gen() % 100) / 50;
  }
  for (int32_t i = 0; i < p.m; ++i) p.buc[i] = i % 3 == 0 ? 2 : 1;
  const lp_view lp = p.view();
  for (const int32_t maxiter : {1, 7, 20, 30}) {
    state_box box(lp);
    sim_state& st = box.st;
    box.run.set.primsel = sim_selection::se;
    box.run.set.maxiter = maxiter;
    prim_state prim(st);
    ASSERT_EQ(prim_run(prim), sim_end::stopped);
    ASSERT_EQ(st.info.primiter, maxiter);
    const std::vector<double> d(st.d.begin(), st.d.end());
    lu_vector col(mm_at(*box.run.mman));
    lu_vecsize(col, st.m);
    sim_duals(st);
    for (int32_t k = 0; k < st.nt; ++k) {
      if (st.pos[k] >= 0 || (prim.flag[k] & prim_isheld) != 0) continue;
      lu_vecclear(col);
      sim_column(st, k, col);
      sim_ftran(st, col);
      double norm = (prim.flag[k] & prim_isref) != 0 ? 1 : 0;
      for (int32_t i = 0; i < st.m; ++i) {
        if ((prim.flag[st.basic[i]] & prim_isref) != 0) norm += col.val[i] * col.val[i];
      }
      EXPECT_NEAR(prim.weight[k], std::max(norm, 1e-4), 1e-6 * (1 + norm)) << k;
      EXPECT_NEAR(d[k], st.d[k], 1e-8 * (1 + std::abs(st.d[k]))) << k;
    }
  }
}

TEST(SimPrimal, StopsAtAnObjectiveCutOnlyWhenItIsPassed) {
  std::mt19937 gen(4);
  for (int32_t trial = 0; trial < 10; ++trial) {
    dense_lp p = transport(gen, 12);
    const lp_view lp = p.view();
    simplex_run plain, above, below;
    plain.set.method = above.set.method = below.set.method = sim_method::primal;
    plain.set.perturb = above.set.perturb = below.set.perturb = trial % 2 == 0;
    plain.solve(lp);
    const double obj = plain.objective(lp);
    above.set.lowercut = obj + 1.5;
    below.set.lowercut = obj - 1e-4;
    above.solve(lp);
    below.solve(lp);
    EXPECT_EQ(below.code, rescode::ok);
    if (above.code == rescode::ok) continue;  // the last step went from above to the optimum
    EXPECT_EQ(above.code, rescode::trm_objective_range);
    EXPECT_LT(above.objective(lp), obj + 1.5);
    for (const double x : above.point.x) EXPECT_GE(x, -1e-6);
  }
}

// Each column of the crash basis passes more than it gets on to the next row.
TEST(SimPrimal, TakesAWildCrashBack) {
  dense_lp p;
  const int32_t m = p.m = 80;
  p.n = m + 1;
  p.a.assign(m, std::vector<double>(p.n, 0.0));
  p.blc.assign(m, 1.0), p.buc.assign(m, 1.0);
  p.blx.assign(p.n, 0.0), p.bux.assign(p.n, simplex_inf), p.c.assign(p.n, 1.0);
  for (int32_t i = 0; i < m; ++i) {
    p.a[i][m - 1 - i] = 0.2;
    if (i > 0) p.a[i][m - i] = 1;
    p.a[i][m] = 1;
  }
  simplex_run run;
  run.set.method = sim_method::primal;
  run.set.scaling = sim_scaling::none;
  const lp_view lp = p.view();
  run.solve(lp);
  ASSERT_EQ(run.point.verdict, lp_verdict::optimal);
  EXPECT_NEAR(run.objective(lp), 1.0, 1e-9);
  EXPECT_EQ(run.info.numcrash, 0);
  check_answer(lp, run);
}

}  // namespace
