// The dual simplex from inside: its weights, its copy of the rows and its values after many
// exchanges; hot starts after a change, and objective cuts.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "simplex/dualstate.h"
#include "support/simplex_run.h"

namespace {

// A sparse problem with an optimum and every kind of bounds: sides that hold a chosen point, costs
// that make it optimal.
dense_lp planted(std::mt19937& gen, int32_t m, int32_t n) {
  std::uniform_real_distribution<double> uniform(-1, 1);
  dense_lp p;
  p.m = m, p.n = n;
  p.a.assign(m, std::vector<double>(n, 0.0));
  std::vector<double> act(m, 0.0);
  const auto sides = [&](double at, std::vector<double>& lo, std::vector<double>& up) {
    const auto kind = int32_t(gen() % 5);  // free, active below, active above, fixed, inactive
    const double gap = 1 + std::abs(uniform(gen));
    lo.push_back(kind == 1 || kind == 3 ? at : kind == 4 ? at - gap : -simplex_inf);
    up.push_back(kind == 2 || kind == 3   ? at
                 : kind == 4 || kind == 1 ? at + (gen() % 2 == 0 ? gap : simplex_inf)
                                          : simplex_inf);
    return kind == 1 ? gap : kind == 2 ? -gap : kind == 3 ? uniform(gen) : 0.0;
  };
  for (int32_t j = 0; j < n; ++j) {
    const double x = 5 * uniform(gen);
    for (int32_t i = 0; i < m; ++i) {
      p.a[i][j] = gen() % 5 == 0 ? 3 * uniform(gen) : 0;
      act[i] += p.a[i][j] * x;
    }
    p.c.push_back(sides(x, p.blx, p.bux));
  }
  for (int32_t i = 0; i < m; ++i) {
    const double y = sides(act[i], p.blc, p.buc);
    for (int32_t j = 0; j < n; ++j) p.c[j] += y * p.a[i][j];
  }
  return p;
}

// Everything that the method updates from step to step against the same made from scratch.
void check_state(dual_state& ds) {
  sim_state& st = ds.st;
  for (int32_t i = 0; i < st.m; ++i) {
    for (ptrdiff_t k = st.rows.beg[i]; k < st.rows.beg[i + 1]; ++k) {
      const ptrdiff_t twin = st.rows.from[k];
      EXPECT_EQ(st.pos[st.rows.sub[k]] < 0, k < st.rows.end[i]);
      EXPECT_EQ(st.rows.at[twin], k);
      EXPECT_EQ(st.rows.val[k], st.lp.a.val[twin]);
      EXPECT_EQ(st.lp.a.sub[twin], i);
    }
  }
  const mm_vector<double> weight = ds.weight, xb = st.xb, d = st.d;
  const double dualobj = st.dualobj;
  dual_startweights(ds);
  sim_primals(st);
  sim_duals(st);
  EXPECT_NEAR(dualobj, st.dualobj, 1e-7 * (1 + std::abs(dualobj)));
  for (int32_t p = 0; p < st.m; ++p) {
    EXPECT_NEAR(weight[p], ds.weight[p], 1e-6 * (1 + ds.weight[p])) << p;
    EXPECT_NEAR(xb[p], st.xb[p], 1e-7 * (1 + std::abs(xb[p]))) << p;
    EXPECT_EQ(st.pos[st.basic[p]], p);
  }
  for (int32_t k = 0; k < st.nt; ++k) {
    EXPECT_NEAR(d[k], st.d[k], 1e-7 * (1 + std::abs(d[k]))) << k;
    EXPECT_TRUE(st.pos[k] >= 0 || st.xval[k] == st.lo[k] || st.xval[k] == st.up[k]) << k;
  }
}

TEST(SimDual, KeepsWeightsRowsAndValues) {
  std::mt19937 gen(2);
  int32_t total = 0;
  for (int32_t trial = 0; trial < 8; ++trial) {
    dense_lp p = planted(gen, 100, 300);
    const lp_view lp = p.view();
    simplex_run run;
    sim_state st(lp, run.set, run.mon, *run.mman, run.info);
    st.point = &run.point;
    sim_setup(st, run.basis);
    ASSERT_EQ(sim_factorize(st), rescode::ok);
    sim_primals(st);
    sim_duals(st);
    dual_state ds(st);
    dual_phase1bounds(ds);
    dual_correct(ds);
    sim_primals(st);
    sim_duals(st);
    dual_judgeall(ds);
    for (int32_t numok = 0; numok < 200 && dual_iterate(ds) == dual_action::ok; ++numok, ++total) {
      if (numok % 10 == 9) check_state(ds);
      if (HasFailure()) FAIL() << trial << ' ' << numok;
    }
  }
  EXPECT_GT(total, 60);
}

TEST(SimDual, GoesOnFromTheLastBasisAfterAChange) {
  std::mt19937 gen(9);
  dense_lp p = planted(gen, 40, 70);
  simplex_run cold;
  cold.solve(p.view());
  ASSERT_EQ(cold.point.verdict, lp_verdict::optimal);
  int32_t numhot = 0, numtrial = 0;
  for (int32_t trial = 0; trial < 60; ++trial) {
    dense_lp changed = p;
    const auto j = int32_t(gen() % uint32_t(p.n));
    double& item = trial % 3 == 0 ? changed.c[j] : trial % 3 == 1 ? changed.blx[j] : changed.bux[j];
    if (!std::isfinite(item)) continue;
    item += trial % 3 == 2 ? -0.1 : 0.1;
    if (changed.blx[j] > changed.bux[j]) continue;
    const lp_view lp = changed.view();
    simplex_run hot, fresh;
    hot.basis.con = cold.basis.con;
    hot.basis.var = cold.basis.var;
    hot.set.method = sim_method(trial % 2 == 0 ? 0 : 2);
    hot.solve(lp);
    fresh.solve(lp);
    ASSERT_EQ(hot.point.verdict, fresh.point.verdict) << trial;
    check_answer(lp, hot);
    EXPECT_NEAR(hot.objective(lp), fresh.objective(lp), 1e-6) << trial;
    EXPECT_TRUE(hot.info.primhot || hot.info.dualhot);
    numhot += hot.info.dualiter + hot.info.primiter;
    ++numtrial;
  }
  EXPECT_LT(10 * numhot, numtrial * (cold.info.dualiter + cold.info.primiter));
}

TEST(SimDual, StopsAtAnObjectiveCutOnlyWhenItIsPassed) {
  std::mt19937 gen(4);
  for (int32_t trial = 0; trial < 20; ++trial) {
    dense_lp p = planted(gen, 30, 50);
    const lp_view lp = p.view();
    simplex_run plain, below, above;
    plain.set.method = below.set.method = above.set.method = sim_method::dual;
    plain.solve(lp);
    const double obj = plain.objective(lp);
    below.set.uppercut = obj - 0.1;
    above.set.uppercut = obj + 1e-4;
    below.solve(lp);
    above.solve(lp);
    EXPECT_EQ(above.code, rescode::ok);
    // It may also be found optimal before the bound shows it.
    EXPECT_TRUE(below.code == rescode::trm_objective_range ||
                below.point.verdict == lp_verdict::optimal);
    EXPECT_LE(below.info.dualiter, plain.info.dualiter + 5);
  }
}

}  // namespace
