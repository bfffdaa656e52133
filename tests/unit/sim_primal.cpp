// The primal simplex against a dense textbook method, planted optima, degenerate and cycling
// problems; what a stopped run and a failed allocation leave.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "simplex/simplex.h"
#include "support/dense_lp.h"
#include "support/faulty_alloc.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();

struct primal_run {
  memman* mman;
  sim_settings set;
  monitor mon;
  sim_info info;
  lp_basis basis;
  lp_point point;
  rescode code = rescode::ok;
  explicit primal_run(faulty_alloc* from = nullptr)
      : mman(from == nullptr ? memman_create(nullptr, nullptr, nullptr, false)
                             : memman_create(from, faulty_alloc::alloc, faulty_alloc::free, false)),
        basis(mm_at(*mman)),
        point(mm_at(*mman)) {
    set.method = sim_method::primal;
    mon.clock = timer_start();
  }
  ~primal_run() {
    basis = lp_basis(mm_at(*mman));
    point = lp_point(mm_at(*mman));
    EXPECT_EQ(memman_delete(mman), 0u);
  }
  primal_run(const primal_run&) = delete;
  primal_run& operator=(const primal_run&) = delete;
  void solve(const lp_view& lp) { code = sim_optimize(lp, set, mon, *mman, info, basis, point); }
  double objective(const lp_view& lp) const {
    double obj = lp.cfix;
    for (int32_t j = 0; j < lp.numvar; ++j) obj += lp.c[j] * point.x[j];
    return obj;
  }
};

// How far a multiplier at a value is from fitting its bounds.
double misfit(double mult, double value, double lo, double up, double tol) {
  const bool islow = value <= lo + tol * (1 + std::abs(lo));
  const bool isup = value >= up - tol * (1 + std::abs(up));
  if (islow && isup) return 0;
  return islow ? std::max(0.0, -mult) : isup ? std::max(0.0, mult) : std::abs(mult);
}

// Holds the answer against the problem alone.
void check(const lp_view& lp, const primal_run& run) {
  const double tol = 1e-6;
  const lp_verdict verdict = run.point.verdict;
  const auto& x = run.point.x;
  const auto& y = run.point.y;
  std::vector<double> act(lp.numcon, 0.0);
  spmat_addax(lp.a, 1.0, x, act);
  double value = 0;  // of a dual ray
  const auto item = [&](double mult, double at, double lo, double up) {
    if (verdict == lp_verdict::priminfeas) {
      if (std::abs(mult) < 1e-9) return;
      EXPECT_TRUE(std::isfinite(mult > 0 ? lo : up));
      value += mult * (mult > 0 ? lo : up);
    } else if (verdict == lp_verdict::dualinfeas) {
      EXPECT_GE(at, std::isfinite(lo) ? -tol : -inf);
      EXPECT_LE(at, std::isfinite(up) ? tol : inf);
    } else {
      EXPECT_GE(at, lo - tol);
      EXPECT_LE(at, up + tol);
      EXPECT_LE(misfit(mult, at, lo, up, tol), tol);
    }
  };
  int32_t numbasic = 0;
  for (int32_t i = 0; i < lp.numcon; ++i) {
    item(y[i], act[i], lp.blc[i], lp.buc[i]);
    numbasic += run.basis.con[i] == lp_key::basic ? 1 : 0;
  }
  double cost = 0;
  for (int32_t j = 0; j < lp.numvar; ++j) {
    double z = verdict == lp_verdict::priminfeas ? 0 : lp.c[j];
    for (ptrdiff_t k = lp.a.ptr[j]; k < lp.a.ptr[j + 1]; ++k) z -= lp.a.val[k] * y[lp.a.sub[k]];
    if (verdict == lp_verdict::dualinfeas) z = 0;
    item(z, x[j], lp.blx[j], lp.bux[j]);
    cost += lp.c[j] * x[j];
    numbasic += run.basis.var[j] == lp_key::basic ? 1 : 0;
  }
  EXPECT_EQ(numbasic, lp.numcon);
  EXPECT_TRUE(verdict != lp_verdict::priminfeas || value > 0.5) << value;
  EXPECT_TRUE(verdict != lp_verdict::dualinfeas || cost < -0.5) << cost;
}

// Small whole numbers: many ties, all kinds of bounds, every verdict.
dense_lp random_small(std::mt19937& gen) {
  const auto pick = [&](int32_t low, int32_t high) {
    return std::uniform_int_distribution<int32_t>(low, high)(gen);
  };
  dense_lp p;
  p.m = pick(0, 8), p.n = pick(0, 9);
  p.cfix = pick(-3, 3);
  p.a.assign(p.m, std::vector<double>(p.n));
  for (auto& row : p.a) {
    for (double& v : row) v = pick(0, 2) == 0 ? pick(-2, 2) : 0;
  }
  const auto bounds = [&](std::vector<double>& lo, std::vector<double>& up) {
    const int32_t kind = pick(0, 9), low = pick(-3, 3);
    lo.push_back(kind == 0 || kind == 1 ? -inf : low);
    up.push_back(kind == 0 || kind >= 6 ? inf : kind == 2 ? low : low + pick(0, 6));
  };
  for (int32_t i = 0; i < p.m; ++i) bounds(p.blc, p.buc);
  for (int32_t j = 0; j < p.n; ++j) bounds(p.blx, p.bux), p.c.push_back(pick(-4, 4));
  return p;
}

TEST(SimPrimal, AgreesWithADenseMethod) {
  std::mt19937 gen(11);
  int32_t seen[4] = {};
  for (int32_t trial = 0; trial < 1500; ++trial) {
    dense_lp p = random_small(gen);
    const lp_view lp = p.view();
    const dense_answer want = dense_solve(lp);
    primal_run run;
    run.set.primsel = sim_selection(trial % 5);
    run.set.perturb = trial % 2 == 0;
    run.set.primcrash = trial % 3 == 0 ? 0 : 90;
    run.solve(lp);
    ASSERT_EQ(run.code, rescode::ok) << trial;
    ++seen[int(run.point.verdict)];
    // A problem may have both rays.
    if (want.verdict == lp_verdict::optimal || run.point.verdict == lp_verdict::optimal) {
      ASSERT_EQ(run.point.verdict, want.verdict) << trial;
      ASSERT_NEAR(run.objective(lp), want.obj, 1e-6 * (1 + std::abs(want.obj))) << trial;
    }
    check(lp, run);
    if (HasFailure()) FAIL() << trial;
  }
  for (int v = 1; v < 4; ++v) EXPECT_GT(seen[v], 50);
}

// A transport problem with equal supplies and demands: massively degenerate.
dense_lp transport(std::mt19937& gen, int32_t k) {
  dense_lp p;
  p.m = 2 * k, p.n = k * k;
  p.a.assign(p.m, std::vector<double>(p.n, 0.0));
  p.blc.assign(p.m, 1.0), p.buc.assign(p.m, 1.0);
  p.blx.assign(p.n, 0.0), p.bux.assign(p.n, inf);
  for (int32_t s = 0; s < k; ++s) {
    for (int32_t t = 0; t < k; ++t) {
      p.a[s][s * k + t] = p.a[k + t][s * k + t] = 1;
      p.c.push_back(double(gen() % 20));
    }
  }
  return p;
}

TEST(SimPrimal, SolvesDegenerateProblemsFromAnyBasis) {
  std::mt19937 gen(5);
  dense_lp p = transport(gen, 14);
  const lp_view lp = p.view();
  double obj = 0;
  for (int32_t trial = 0; trial < 15; ++trial) {
    primal_run run;
    run.set.primsel = sim_selection(trial % 5);
    run.set.perturb = trial % 2 == 0;
    if (trial >= 5) {  // keys that make no basis
      run.basis.con.assign(lp.numcon, trial < 10 ? lp_key::basic : lp_key::lower);
      for (int32_t j = 0; j < lp.numvar; ++j) {
        run.basis.var.push_back(gen() % uint32_t(trial) == 0 ? lp_key::basic : lp_key::upper);
      }
    }
    run.solve(lp);
    ASSERT_EQ(run.point.verdict, lp_verdict::optimal) << trial;
    check(lp, run);
    if (trial == 0) obj = run.objective(lp);
    EXPECT_NEAR(run.objective(lp), obj, 1e-7 * (1 + obj)) << trial;
    const int32_t cold = run.info.primiter;
    run.solve(lp);  // from its own last basis there is nothing to do
    EXPECT_EQ(run.info.primiter + run.info.dualiter, 0) << cold;
  }
}

struct cycle_case {
  const char* name;
  std::vector<std::vector<double>> a;
  std::vector<double> b, c;
  double obj;
};

// Beale (1955); Hoffman (1953) as Lee gives it; Marshall and Suurballe (1969).
TEST(SimPrimal, DoesNotCycle) {
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
    for (int32_t trial = 0; trial < 10; ++trial) {
      dense_lp p;
      p.m = int32_t(k.b.size()), p.n = int32_t(k.c.size());
      p.a = k.a, p.buc = k.b, p.c = k.c;
      p.blc.assign(p.m, -inf), p.blx.assign(p.n, 0.0), p.bux.assign(p.n, inf);
      const lp_view lp = p.view();
      const dense_answer want = dense_solve(lp);
      primal_run run;
      run.set.primsel = sim_selection(trial % 5);
      run.set.perturb = trial < 5;
      run.set.scaling = sim_scaling::none;
      run.solve(lp);
      ASSERT_EQ(run.point.verdict, want.verdict) << k.name;
      check(lp, run);
      if (want.verdict == lp_verdict::optimal) {
        EXPECT_NEAR(run.objective(lp), want.obj, 1e-8) << k.name;
      }
      EXPECT_LT(run.info.primiter, 60) << k.name;
    }
  }
}

TEST(SimPrimal, LeavesABasisWhenStopped) {
  std::mt19937 gen(7);
  dense_lp p = transport(gen, 12);
  const lp_view lp = p.view();
  primal_run whole;
  whole.solve(lp);
  struct stopper {
    int left;
  };
  for (int k = 0; k < 40; k += 3) {
    primal_run run;
    stopper s{k};
    run.mon.ctx = &s;
    run.mon.pollfn = [](void* ctx, monitor_where) {
      return --static_cast<stopper*>(ctx)->left < 0 ? rescode::trm_user_break : rescode::ok;
    };
    run.set.logfreq = 1;
    run.solve(lp);
    EXPECT_TRUE(k > 10 || run.code == rescode::trm_user_break) << k;
    run.mon.pollfn = nullptr;
    run.solve(lp);
    ASSERT_EQ(run.point.verdict, lp_verdict::optimal) << k;
    check(lp, run);
    EXPECT_NEAR(run.objective(lp), whole.objective(lp), 1e-7) << k;
  }
  primal_run few;
  few.set.maxiter = 5;
  few.solve(lp);
  EXPECT_EQ(few.code, rescode::trm_max_iterations);
  EXPECT_EQ(few.info.primiter, 5);
}

TEST(SimPrimal, GivesBackAllMemoryWhenThereIsNone) {
  std::mt19937 gen(3);
  dense_lp p = transport(gen, 4);
  const lp_view lp = p.view();
  for (long k = 1;; ++k) {
    faulty_alloc from(k);
    bool isdone = false;
    {
      primal_run run(&from);
      try {
        run.basis.con.assign(lp.numcon, lp_key::lower);
        run.basis.var.assign(lp.numvar, lp_key::lower);
        run.solve(lp);
        isdone = true;
      } catch (const std::bad_alloc&) {  // what was there is left
        for (const lp_key key : run.basis.con) EXPECT_EQ(key, lp_key::lower);
      }
    }
    ASSERT_EQ(from.numlive, 0) << k;
    if (isdone && from.numcalls <= k) break;
    ASSERT_LT(k, 2000);
  }
}

}  // namespace
