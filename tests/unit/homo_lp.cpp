// The interior-point pipeline on linear problems: optimality conditions of random problems with a
// planted solution, certificates, the ways a run ends early, and the identities of the model.

#include <gtest/gtest.h>

#include "homo/homopt.h"
#include "optimize/optslv.h"
#include "support/faulty_alloc.h"
#include "support/lp_box.h"

namespace {

constexpr double point_tol = 1e-7;  // violations of the optimality conditions, relative
constexpr double ray_tol = 1e-7;    // residual of a certificate, against an objective of 1

struct run_box {
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  monitor mon;
  opt_form form = opt_form::free;
  hs_settings set;
  opt_info told;
  hs_info& info = told.ipm;
  opt_solution sol;
  run_box() { mon.clock = timer_start(); }
  ~run_box() { EXPECT_EQ(memman_delete(mman), 0u); }
  run_box(const run_box&) = delete;
  run_box& operator=(const run_box&) = delete;
  rescode solve(lp_box& lp) {
    sol = lp.solution();
    opt_settings all;
    all.form = form;
    all.ipm = set;
    all.prs.use = false;  // what is tested here is the optimizer
    const opt_monitors monitors{mon, mon, mon, mon};
    return opt_ipmslv(lp.view(), {all, monitors, *mman, told}, sol, nullptr);
  }
};

void expect_optimal(const lp_box& lp, const run_box& run, const char* what) {
  ASSERT_EQ(run.sol.solsta, ZLV_SOL_STA_OPTIMAL) << what;
  const lp_violations v = lp_check(lp);
  EXPECT_LE(v.primal, point_tol) << what;
  EXPECT_LE(v.dual, point_tol) << what;
  EXPECT_LE(v.sign, point_tol) << what;
  EXPECT_LE(v.gap, point_tol) << what;
}

struct random_case {
  const char* name;
  int32_t m, n;
  double density;
  int32_t count;
};
class HomoRandom : public testing::TestWithParam<random_case> {};

TEST_P(HomoRandom, MeetsTheOptimalityConditions) {
  const random_case& rc = GetParam();
  std::mt19937 gen(4711);
  for (int32_t k = 0; k < rc.count; ++k) {
    lp_box lp = lp_random(gen, rc.m, rc.n, rc.density);
    lp.maximize = k % 2 == 1;
    if (lp.maximize) {
      for (double& cost : lp.c) cost = -cost;
    }
    run_box run;
    run.set.diffstep = k % 3 != 0;
    run.set.constantstart = k % 5 == 0;
    run.set.scaling = hs_scaling(k % 4);
    run.form = opt_form(k % 3);
    ASSERT_EQ(run.solve(lp), rescode::ok) << k;
    expect_optimal(lp, run, (std::string(rc.name) + " " + std::to_string(k)).c_str());
  }
}
INSTANTIATE_TEST_SUITE_P(Sizes, HomoRandom,
                         testing::Values(random_case{"Tiny", 2, 3, 0.8, 200},
                                         random_case{"MoreRows", 12, 5, 0.4, 100},
                                         random_case{"Square", 10, 10, 0.3, 100},
                                         random_case{"MoreColumns", 8, 30, 0.3, 100},
                                         random_case{"Sparse", 60, 90, 0.05, 20},
                                         random_case{"NoRows", 0, 4, 0, 5},
                                         random_case{"Dense", 25, 40, 1.0, 10}),
                         [](const auto& tc) { return std::string(tc.param.name); });

// ---- Verdicts without a solution, and odd shapes with one

struct verdict_case {
  const char* name;
  lp_box (*make)();
  int32_t solsta;
  double objective;  // of an optimal one
};

lp_box rows_against_each_other() {  // x + y >= 2 and x + y <= 1
  lp_box p;
  p.add_row(ZLV_BK_LO, 2, 0);
  p.add_row(ZLV_BK_UP, 0, 1);
  p.add_column(1, ZLV_BK_LO, 0, 0, {{0, 1}, {1, 1}});
  p.add_column(1, ZLV_BK_FR, 0, 0, {{0, 1}, {1, 1}});
  return p;
}
lp_box bounds_against_row() {  // x <= 1, y <= 1, x + y = 3
  lp_box p;
  p.add_row(ZLV_BK_FX, 3, 3);
  p.add_column(0, ZLV_BK_RA, 0, 1, {{0, 1}});
  p.add_column(5, ZLV_BK_RA, -1, 1, {{0, 1}});
  return p;
}
lp_box crossed_variable() {
  lp_box p;
  p.add_row(ZLV_BK_LO, 0, 0);
  p.add_column(1, ZLV_BK_RA, 2, 1, {{0, 1}});
  return p;
}
lp_box crossed_row() {
  lp_box p;
  p.add_row(ZLV_BK_RA, 2, 1);
  p.add_column(1, ZLV_BK_LO, 0, 0, {{0, 1}});
  return p;
}
lp_box empty_row() {
  lp_box p;
  p.add_row(ZLV_BK_FX, 1, 1);
  p.add_column(1, ZLV_BK_LO, 0, 0, {});
  return p;
}
lp_box fixed_row() {  // x and y are fixed and 2 x - y is not 1
  lp_box p;
  p.add_row(ZLV_BK_FX, 1, 1);
  p.add_column(1, ZLV_BK_FX, 3, 3, {{0, 2}});
  p.add_column(1, ZLV_BK_FX, 4, 4, {{0, -1}});
  return p;
}
lp_box unbounded_ray() {  // minimize -x - y, x - y = 0
  lp_box p;
  p.add_row(ZLV_BK_FX, 0, 0);
  p.add_column(-1, ZLV_BK_LO, 0, 0, {{0, 1}});
  p.add_column(-1, ZLV_BK_LO, 0, 0, {{0, -1}});
  return p;
}
lp_box unbounded_free() {
  lp_box p;
  p.add_row(ZLV_BK_LO, 1, 0);
  p.add_column(1, ZLV_BK_FR, 0, 0, {{0, -1}});
  p.add_column(0, ZLV_BK_LO, 0, 0, {{0, 1}});
  return p;
}
lp_box unbounded_empty_column() {
  lp_box p;
  p.add_row(ZLV_BK_LO, 1, 0);
  p.add_column(1, ZLV_BK_LO, 0, 0, {{0, 1}});
  p.add_column(2, ZLV_BK_UP, 0, 5, {});
  return p;
}
lp_box nothing() {
  return {};
}
lp_box only_free_rows() {
  lp_box p;
  p.add_row(ZLV_BK_FR, 0, 0);
  p.add_column(3, ZLV_BK_RA, -2, 4, {{0, 1}});
  p.add_column(-1, ZLV_BK_UP, 0, 7, {{0, 1}});
  return p;
}
lp_box only_free_columns() {  // x + y = 3, x - y = 1
  lp_box p;
  p.add_row(ZLV_BK_FX, 3, 3);
  p.add_row(ZLV_BK_FX, 1, 1);
  p.add_column(1, ZLV_BK_FR, 0, 0, {{0, 1}, {1, 1}});
  p.add_column(2, ZLV_BK_FR, 0, 0, {{0, 1}, {1, -1}});
  return p;
}
lp_box zero_cost_zero_rhs() {
  lp_box p;
  p.add_row(ZLV_BK_FX, 0, 0);
  p.add_column(0, ZLV_BK_LO, 0, 0, {{0, 1}});
  p.add_column(0, ZLV_BK_LO, 0, 0, {{0, -1}});
  return p;
}
lp_box dependent_rows() {  // the same row three times, once doubled
  lp_box p;
  for (const double f : {1.0, 1.0, 2.0}) p.add_row(ZLV_BK_FX, 4 * f, 4 * f);
  p.add_column(1, ZLV_BK_LO, 0, 0, {{0, 1}, {1, 1}, {2, 2}});
  p.add_column(3, ZLV_BK_LO, 0, 0, {{0, 2}, {1, 2}, {2, 4}});
  return p;
}
lp_box huge_upper_bound() {  // the optimum sits at a bound of 1e9
  lp_box p;
  p.add_row(ZLV_BK_UP, 0, 3e9);
  p.add_column(-1, ZLV_BK_RA, 0, 1e9, {{0, 1}});
  p.add_column(-1e-3, ZLV_BK_RA, 0, 10, {{0, 1}});
  return p;
}

class HomoVerdict : public testing::TestWithParam<verdict_case> {};
TEST_P(HomoVerdict, IsProvedByWhatIsReturned) {
  const verdict_case& vc = GetParam();
  for (const int variant : {0, 1, 2, 3}) {
    const bool maximize = variant % 2 == 1;
    lp_box lp = vc.make();
    lp.maximize = maximize;
    if (maximize) {
      for (double& cost : lp.c) cost = -cost;
    }
    run_box run;
    run.form = variant < 2 ? opt_form::primal : opt_form::dual;
    ASSERT_EQ(run.solve(lp), rescode::ok);
    ASSERT_EQ(run.sol.solsta, vc.solsta) << variant;
    if (vc.solsta == ZLV_SOL_STA_OPTIMAL) {
      expect_optimal(lp, run, vc.name);
      EXPECT_NEAR(lp_check(lp).pobj, maximize ? -vc.objective : vc.objective,
                  point_tol * (1 + std::abs(vc.objective)));
      continue;
    }
    const bool dualray = vc.solsta == ZLV_SOL_STA_PRIM_INFEAS_CER;
    const lp_violations v = lp_check(lp, dualray, !dualray);
    EXPECT_LE(dualray ? std::max(v.dual, v.sign) : v.primal, ray_tol);
    const double objective = dualray ? v.dobj : -v.pobj;
    EXPECT_NEAR(maximize ? -objective : objective, 1, 1e-6);
  }
}
INSTANTIATE_TEST_SUITE_P(
    Problems, HomoVerdict,
    testing::Values(
        verdict_case{"RowsAgainstEachOther", rows_against_each_other, ZLV_SOL_STA_PRIM_INFEAS_CER,
                     0},
        verdict_case{"BoundsAgainstRow", bounds_against_row, ZLV_SOL_STA_PRIM_INFEAS_CER, 0},
        verdict_case{"CrossedVariable", crossed_variable, ZLV_SOL_STA_PRIM_INFEAS_CER, 0},
        verdict_case{"CrossedRow", crossed_row, ZLV_SOL_STA_PRIM_INFEAS_CER, 0},
        verdict_case{"EmptyRow", empty_row, ZLV_SOL_STA_PRIM_INFEAS_CER, 0},
        verdict_case{"FixedRow", fixed_row, ZLV_SOL_STA_PRIM_INFEAS_CER, 0},
        verdict_case{"UnboundedRay", unbounded_ray, ZLV_SOL_STA_DUAL_INFEAS_CER, 0},
        verdict_case{"UnboundedFree", unbounded_free, ZLV_SOL_STA_DUAL_INFEAS_CER, 0},
        verdict_case{"UnboundedEmptyColumn", unbounded_empty_column, ZLV_SOL_STA_DUAL_INFEAS_CER,
                     0},
        verdict_case{"Nothing", nothing, ZLV_SOL_STA_OPTIMAL, 0},
        verdict_case{"OnlyFreeRows", only_free_rows, ZLV_SOL_STA_OPTIMAL, -13},
        verdict_case{"OnlyFreeColumns", only_free_columns, ZLV_SOL_STA_OPTIMAL, 4},
        verdict_case{"ZeroCostZeroRhs", zero_cost_zero_rhs, ZLV_SOL_STA_OPTIMAL, 0},
        verdict_case{"DependentRows", dependent_rows, ZLV_SOL_STA_OPTIMAL, 4},
        verdict_case{"HugeUpperBound", huge_upper_bound, ZLV_SOL_STA_OPTIMAL, -1e9 - 1e-2}),
    [](const auto& tc) { return std::string(tc.param.name); });

// ---- Early ends

lp_box medium_problem() {
  std::mt19937 gen(99);
  return lp_random(gen, 40, 60, 0.2);
}

TEST(HomoEnds, IterationLimitKeepsTheBestPoint) {
  lp_box lp = medium_problem();
  run_box run;
  run.set.maxiter = 3;
  EXPECT_EQ(run.solve(lp), rescode::trm_max_iterations);
  EXPECT_EQ(run.info.iter, 3);
  EXPECT_EQ(run.sol.solsta, ZLV_SOL_STA_UNKNOWN);
  for (const double x : lp.xx) EXPECT_TRUE(std::isfinite(x));
}

TEST(HomoEnds, TimeLimitOfZeroStopsAtOnce) {
  lp_box lp = medium_problem();
  run_box run;
  run.mon.maxtime = 0;
  EXPECT_EQ(run.solve(lp), rescode::trm_max_time);
  EXPECT_LE(run.info.iter, 1);
}

TEST(HomoEnds, AskedToStopAtThePollK) {
  struct counter {
    int left;
  };
  for (int k = 0; k < 12; ++k) {
    lp_box lp = medium_problem();
    run_box run;
    counter cnt{k};
    run.mon.ctx = &cnt;
    run.mon.pollfn = [](void* ctx, monitor_where) {
      return static_cast<counter*>(ctx)->left-- == 0 ? rescode::trm_user_callback : rescode::ok;
    };
    const rescode r = run.solve(lp);
    if (r == rescode::ok) {
      expect_optimal(lp, run, "went through");
    } else {
      EXPECT_EQ(r, rescode::trm_user_callback) << k;
    }
  }
}

TEST(HomoEnds, NanInTheDataIsNeverOptimal) {
  for (int which = 0; which < 3; ++which) {
    lp_box lp = medium_problem();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    if (which == 0) lp.c[3] = nan;
    if (which == 1) lp.val[5] = nan;
    if (which == 2)
      lp.blc[std::find(lp.bkc.begin(), lp.bkc.end(), ZLV_BK_LO) - lp.bkc.begin()] = nan;
    run_box run;
    run.set.maxiter = 30;
    (void)run.solve(lp);
    EXPECT_EQ(run.sol.solsta, ZLV_SOL_STA_UNKNOWN) << which;
  }
}

TEST(HomoEnds, SameInputSameBits) {
  lp_box first = medium_problem(), second = medium_problem();
  run_box a, b;
  ASSERT_EQ(a.solve(first), rescode::ok);
  ASSERT_EQ(b.solve(second), rescode::ok);
  EXPECT_EQ(first.xx, second.xx);
  EXPECT_EQ(first.y, second.y);
}

TEST(HomoEnds, EveryFailedAllocationIsThrownAndNothingLeaks) {
  for (long k = 0;; ++k) {
    faulty_alloc faults(k);
    memman* mman = memman_create(&faults, faulty_alloc::alloc, faulty_alloc::free, false);
    bool failed = mman == nullptr;
    if (!failed) {
      lp_box lp = rows_against_each_other();
      opt_solution sol = lp.solution();
      opt_info info;
      monitor mon;
      mon.clock = timer_start();
      try {
        opt_settings set;
        set.form = opt_form(k % 2 + 1);
        set.prs.use = false;
        const rescode r =
            opt_ipmslv(lp.view(), {set, {mon, mon, mon, mon}, *mman, info}, sol, nullptr);
        failed = r == rescode::err_space;
      } catch (const std::bad_alloc&) {
        failed = true;
      }
      EXPECT_EQ(memman_delete(mman), 0u) << k;
    }
    EXPECT_EQ(faults.numlive, 0) << k;
    if (!failed) break;
    ASSERT_LT(k, 10000);
  }
}

// ---- Identities of the model

TEST(HomoModel, CommonStepReducesEveryResidualAndMuAlike) {
  std::mt19937 gen(5);
  for (int k = 0; k < 20; ++k) {
    lp_box lp = lp_random(gen, 10, 20, 0.4);
    for (int32_t j = 0; j < lp.n;
         ++j) {  // free columns solve to the accuracy of the refinement only
      if (lp.bkx[j] != ZLV_BK_FR) continue;
      lp.bkx[j] = ZLV_BK_RA;
      lp.blx[j] = -10;
      lp.bux[j] = 10;
    }
    memman* mman = memman_create(nullptr, nullptr, nullptr, false);
    {
      opt_internal in(mm_at(*mman));
      opt_prepare(lp.view(), in);
      hom_prob prob(mm_at(*mman));
      hs_scaleproblem(opt_internalview(in, lp.view()), hs_scaling::moderate, prob);
      const kktfac_ptr fac = kktfac_make(kktfac_kind::ada, prob.m, prob.n, *mman);
      kktfac_inaij(*fac, spmat_look(prob.a));
      monitor mon;
      ASSERT_EQ(kktfac_adasetup(*fac, {}, mon, mon), rescode::ok);
      const hs_settings set;
      hom_state st(prob, set, mon, *fac, *mman);
      ASSERT_EQ(hom_start(st), rescode::ok);
      ASSERT_EQ(hom_numfac(st), rescode::ok);
      const double gamma = 0.3, mu = hom_mu(prob, st.it);
      st.target.eta = 1 - gamma;
      for (int32_t j = 0; j < prob.n; ++j) st.target.xs[j] = gamma * mu - st.it.x[j] * st.it.s[j];
      for (size_t u = 0; u < st.it.w.size(); ++u) {
        st.target.wv[u] = gamma * mu - st.it.w[u] * st.it.v[u];
      }
      st.target.tk = gamma * mu - st.it.tau * st.it.kappa;
      hom_formsearch(st, st.target, st.dir);
      const hom_steps most = hom_stepsize(st, st.dir);
      const double alpha = 0.9 * std::min({1.0, most.p, most.d});
      const double keep = 1 - alpha * (1 - gamma);
      const mm_vector<double> rp = st.rp, rd = st.rd;
      const double rg = st.rg, size = 1 + std::abs(rg);
      hom_compnewp(st.it, st.dir, alpha, alpha, st.trial);
      std::swap(st.it, st.trial);
      intpnt_computeresiduals(st);
      for (int32_t i = 0; i < prob.m; ++i) EXPECT_NEAR(st.rp[i], keep * rp[i], 1e-8 * size);
      for (int32_t j = 0; j < prob.n; ++j) EXPECT_NEAR(st.rd[j], keep * rd[j], 1e-8 * size);
      EXPECT_NEAR(st.rg, keep * rg, 1e-7 * size);
      EXPECT_NEAR(hom_mu(prob, st.it), keep * mu, 1e-7 * (1 + mu));
    }
    EXPECT_EQ(memman_delete(mman), 0u);
  }
}

TEST(HomoModel, ScalingIsByPowersOfTwoAndUndone) {
  std::mt19937 gen(8);
  lp_box lp = lp_random(gen, 15, 25, 0.3);
  for (ptrdiff_t q = 0; q < ptrdiff_t(lp.val.size()); ++q) {
    lp.val[q] *= std::pow(10.0, double(lp.sub[q] % 7));
  }
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  {
    opt_internal in(mm_at(*mman));
    opt_prepare(lp.view(), in);
    hom_prob prob(mm_at(*mman));
    hs_scaleproblem(opt_internalview(in, lp.view()), hs_scaling::aggressive, prob);
    auto ispower = [](double v) {
      int e = 0;
      return std::frexp(v, &e) == 0.5;
    };
    for (const double r : prob.rowfac) EXPECT_TRUE(ispower(r));
    for (const double c : prob.colfac) EXPECT_TRUE(ispower(c));
    EXPECT_TRUE(ispower(prob.sb));
    EXPECT_TRUE(ispower(prob.sc));
    for (int32_t j = 0; j < prob.n; ++j) {
      for (ptrdiff_t q = in.a.ptr[j]; q < in.a.ptr[j + 1]; ++q) {
        EXPECT_EQ(prob.a.val[q] / prob.rowfac[in.a.sub[q]] / prob.colfac[j], in.a.val[q]);
      }
    }
  }
  EXPECT_EQ(memman_delete(mman), 0u);
}

}  // namespace
