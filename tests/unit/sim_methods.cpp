// The simplex methods against a dense textbook one, on degenerate and cycling problems; what a stopped
// run and a failed allocation leave.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "support/simplex_run.h"

namespace {

TEST(SimMethods, AgreesWithADenseMethod) {
  std::mt19937 gen(11);
  int32_t seen[4] = {};
  for (int32_t trial = 0; trial < 1500; ++trial) {
    dense_lp p = random_small(gen);
    const lp_view lp = p.view();
    const dense_answer want = dense_solve(lp);
    simplex_run run;
    run.set.method = sim_method(trial % 3);
    run.set.primsel = run.set.dualsel = sim_selection(trial % 5);
    run.set.perturb = trial % 2 == 0;
    run.set.primcrash = trial % 7 == 0 ? 0 : 90;
    run.set.refactorfreq = trial % 4;
    run.solve(lp);
    ASSERT_EQ(run.code, rescode::ok) << trial;
    ++seen[int(run.point.verdict)];
    // A problem may have both rays.
    if (want.verdict == lp_verdict::optimal || run.point.verdict == lp_verdict::optimal) {
      ASSERT_EQ(run.point.verdict, want.verdict) << trial;
      ASSERT_NEAR(run.objective(lp), want.obj, 1e-6 * (1 + std::abs(want.obj))) << trial;
    }
    check_answer(lp, run);
    if (HasFailure()) FAIL() << trial;
  }
  for (int v = 1; v < 4; ++v) EXPECT_GT(seen[v], 50);
}

TEST(SimMethods, SolvesDegenerateProblemsFromAnyBasis) {
  std::mt19937 gen(5);
  dense_lp p = transport(gen, 14);
  const lp_view lp = p.view();
  double obj = 0;
  for (int32_t trial = 0; trial < 15; ++trial) {
    simplex_run run;
    run.set.method = sim_method(trial % 3);
    run.set.primsel = run.set.dualsel = sim_selection(trial % 5);
    run.set.perturb = trial % 2 == 0;
    if (trial >= 5) {  // keys that make no basis
      run.basis.con.assign(lp.numcon, trial < 10 ? lp_key::basic : lp_key::lower);
      for (int32_t j = 0; j < lp.numvar; ++j) {
        run.basis.var.push_back(gen() % uint32_t(trial) == 0 ? lp_key::basic : lp_key::upper);
      }
    }
    run.solve(lp);
    ASSERT_EQ(run.point.verdict, lp_verdict::optimal) << trial;
    check_answer(lp, run);
    if (trial == 0) obj = run.objective(lp);
    EXPECT_NEAR(run.objective(lp), obj, 1e-7 * (1 + obj)) << trial;
    const int32_t cold = run.info.primiter + run.info.dualiter;
    run.solve(lp);  // from its own last basis there is nothing to do
    EXPECT_EQ(run.info.primiter + run.info.dualiter, 0) << cold;
  }
}

// Packing is feasible at the logicals, covering dual feasible; with very many columns a row pricing
// them all costs the primal too much.
TEST(SimMethods, ChoosesByTheStart) {
  std::mt19937 gen(3);
  struct row {
    int32_t m, n;
    bool ispacking, takesprimal;
  };
  for (const row& r : {row{20, 40, true, true}, {20, 40, false, false}, {20, 300, true, false}}) {
    dense_lp p;
    p.m = r.m, p.n = r.n;
    p.a.assign(p.m, std::vector<double>(p.n, 0.0));
    p.blc.assign(p.m, r.ispacking ? -simplex_inf : 1.0);
    p.buc.assign(p.m, r.ispacking ? 1.0 : simplex_inf);
    p.blx.assign(p.n, 0.0), p.bux.assign(p.n, simplex_inf);
    for (int32_t j = 0; j < p.n; ++j) {
      p.c.push_back((r.ispacking ? -1.0 : 1.0) * (1 + double(gen() % 9)));
      for (int32_t e = 0; e < 4; ++e) p.a[e < 1 ? j % p.m : gen() % p.m][j] = 1;
    }
    const lp_view lp = p.view();
    simplex_run run;
    run.set.method = sim_method::free;
    run.solve(lp);
    EXPECT_EQ(run.point.verdict, lp_verdict::optimal);
    EXPECT_EQ(run.info.primiter > 0, r.takesprimal) << r.n;
    EXPECT_EQ(run.info.dualiter > 0, !r.takesprimal) << r.n;
  }
}

struct cycle_case {
  const char* name;
  std::vector<std::vector<double>> a;
  std::vector<double> b, c;
  double obj;
};

// Beale (1955); Hoffman (1953) as Lee gives it; Marshall and Suurballe (1969).
TEST(SimMethods, DoesNotCycle) {
  const double w = 2 * std::acos(-1.0) / 5, cs = std::cos(w), c2 = std::cos(2 * w);
  const double sn = std::sin(w), t = sn / cs, s2 = std::sin(2 * w);
  const cycle_case cases[] = {
      {"Beale",
       {{0.25, -60, -0.04, 9}, {0.5, -90, -0.02, 3}, {0, 0, 1, 0}},
       {0, 0, 1},
       {-0.75, 150, -0.02, 6},
       -0.05},
      {"Hoffman",
       {{cs, -cs, c2, -2 * sn * sn + 1, c2, -2 * cs * cs + 1},
        {t * cs, cs, t * s2, s2 / 2, -s2 / 2, t * c2},
        {0, 0, 0, 0, 0, 0}},
       {0, 0, 1},
       {(cs - 1) / cs, 1, 0, 2, 0, 2},
       0},
      {"Marshall",
       {{0.5, -5.5, -2.5, 9}, {0.5, -1.5, -0.5, 1}, {1, 0, 0, 0}},
       {0, 0, 1},
       {-10, 57, 9, 24},
       -1},
  };
  for (const cycle_case& k : cases) {
    for (int32_t trial = 0; trial < 30; ++trial) {
      dense_lp p;
      p.m = int32_t(k.b.size()), p.n = int32_t(k.c.size());
      p.a = k.a, p.buc = k.b, p.c = k.c;
      p.blc.assign(p.m, -simplex_inf), p.blx.assign(p.n, 0.0), p.bux.assign(p.n, simplex_inf);
      const lp_view lp = p.view();
      const dense_answer want = dense_solve(lp);
      simplex_run run;
      run.set.method = sim_method(trial % 3);
      run.set.primsel = run.set.dualsel = sim_selection(trial % 5);
      run.set.perturb = trial < 15;
      run.set.scaling = sim_scaling::none;
      run.solve(lp);
      ASSERT_EQ(run.point.verdict, want.verdict) << k.name;
      check_answer(lp, run);
      if (want.verdict == lp_verdict::optimal) {
        EXPECT_NEAR(run.objective(lp), want.obj, 1e-8) << k.name;
      }
      EXPECT_LT(run.info.primiter + run.info.dualiter, 60) << k.name;
    }
  }
}

TEST(SimMethods, LeavesABasisWhenStopped) {
  std::mt19937 gen(7);
  dense_lp p = transport(gen, 12);
  const lp_view lp = p.view();
  simplex_run whole;
  whole.solve(lp);
  struct stopper {
    int left;
  };
  for (int k = 0; k < 40; k += 3) {
    simplex_run run;
    stopper s{k};
    run.mon.ctx = &s;
    run.mon.pollfn = [](void* ctx, monitor_where) {
      return --static_cast<stopper*>(ctx)->left < 0 ? rescode::trm_user_break : rescode::ok;
    };
    run.set.logfreq = 1;
    run.set.method = k % 2 == 0 ? sim_method::primal : sim_method::dual;
    run.solve(lp);
    EXPECT_TRUE(k > 10 || run.code == rescode::trm_user_break) << k;
    run.mon.pollfn = nullptr;
    run.solve(lp);
    ASSERT_EQ(run.point.verdict, lp_verdict::optimal) << k;
    check_answer(lp, run);
    EXPECT_NEAR(run.objective(lp), whole.objective(lp), 1e-7) << k;
  }
  for (const sim_method method : {sim_method::primal, sim_method::dual}) {
    simplex_run few;
    few.set.maxiter = 5;
    few.set.method = method;
    few.solve(lp);
    EXPECT_EQ(few.code, rescode::trm_max_iterations);
    EXPECT_EQ(few.info.primiter + few.info.dualiter, 5);
  }
}

TEST(SimMethods, GivesBackAllMemoryWhenThereIsNone) {
  std::mt19937 gen(3);
  dense_lp p = transport(gen, 4);
  const lp_view lp = p.view();
  for (long call = 2;; ++call) {
    const long k = call / 2;
    faulty_alloc from(k);
    bool isdone = false;
    {
      simplex_run run(&from);
      try {
        run.set.method = call % 2 == 0 ? sim_method::primal : sim_method::dual;
        run.basis.con.assign(lp.numcon, lp_key::lower);
        run.basis.var.assign(lp.numvar, lp_key::lower);
        run.solve(lp);
        isdone = true;
      } catch (const std::bad_alloc&) {  // what was there is left
        for (const lp_key key : run.basis.con) EXPECT_EQ(key, lp_key::lower);
      }
    }
    ASSERT_EQ(from.numlive, 0) << k;
    if (isdone && from.numcalls <= k && call % 2 == 1) break;
    ASSERT_LT(k, 2000);
  }
}

}  // namespace
