// The homogeneous optimizer on quadratic problems from below the interface: the identities of the model,
// one answer from every kind of linear system, and failures.

#include <gtest/gtest.h>

#include "homo/homopt.h"
#include "optimize/optslv.h"
#include "support/faulty_alloc.h"
#include "support/lp_box.h"

namespace {

// A random problem of lp_random with Q = F F' of the given rank, or its diagonal.
struct qp_box {
  lp_box lp;
  std::vector<ptrdiff_t> ptr{0};
  std::vector<int32_t> sub;
  std::vector<double> val;
  qp_box(std::mt19937& gen, int32_t m, int32_t n, int32_t rank, bool isdiagonal)
      : lp(lp_random(gen, m, n, 0.4)) {
    std::uniform_real_distribution<double> uni(-1, 1);
    std::vector<std::vector<double>> q(n, std::vector<double>(n, 0.0));
    for (int32_t k = 0; k < rank; ++k) {
      std::vector<double> f(n);
      for (double& e : f) e = gen() % 2 == 0 ? uni(gen) : 0;
      for (int32_t i = 0; i < n; ++i) {
        for (int32_t j = 0; j < n; ++j) q[i][j] += i == j || !isdiagonal ? f[i] * f[j] : 0;
      }
    }
    for (int32_t j = 0; j < n; ++j) {
      for (int32_t i = 0; i < n; ++i) {
        if (q[i][j] == 0) continue;
        sub.push_back(i);
        val.push_back(q[i][j]);
      }
      ptr.push_back(ptrdiff_t(sub.size()));
    }
  }
  opt_problem view() const {
    opt_problem p = lp.view();
    p.q = {lp.n, lp.n, ptr, sub, val};
    return p;
  }
};

TEST(HomoQp, EveryKindOfSystemGivesTheSameAnswer) {
  std::mt19937 gen(17);
  for (int k = 0; k < 60; ++k) {
    qp_box qp(gen, 5 + k % 7, 6 + k % 20, 1 + k % 9, k % 3 != 0);
    double first = 0;
    for (const hs_system system : {hs_system::free, hs_system::normal, hs_system::quasidefinite}) {
      for (const hs_scaling scaling : {hs_scaling::free, hs_scaling::none}) {
        memman* mman = memman_create(nullptr, nullptr, nullptr, false);
        opt_settings set;
        set.ipm.system = system;
        set.ipm.scaling = scaling;
        opt_solution sol = qp.lp.solution();
        opt_info info;
        monitor mon;
        mon.clock = timer_start();
        set.prs.use = false;
        ASSERT_EQ(opt_ipmslv(qp.view(), {set, {mon, mon, mon, mon}, *mman, info}, sol, nullptr),
                  rescode::ok)
            << k;
        ASSERT_EQ(sol.solsta, ZLV_SOL_STA_OPTIMAL) << k << " system " << int(system);
        double objective = qp.lp.cfix;
        for (int32_t j = 0; j < qp.lp.n; ++j) {
          objective += qp.lp.c[j] * sol.xx[j];
          for (ptrdiff_t p = qp.ptr[j]; p < qp.ptr[j + 1]; ++p) {
            objective += qp.val[p] * sol.xx[j] * sol.xx[qp.sub[p]] / 2;
          }
        }
        if (system == hs_system::free && scaling == hs_scaling::free) first = objective;
        EXPECT_NEAR(objective, first, 1e-7 * (1 + std::abs(first))) << k;
        EXPECT_EQ(memman_delete(mman), 0u);
      }
    }
  }
}

// Along a direction the residuals of rows and columns fall by the step, and the gap row by its
// linearization: what is left of it is of second order.
TEST(HomoQp, DirectionsSolveTheLinearizedModel) {
  std::mt19937 gen(6);
  for (int k = 0; k < 20; ++k) {
    qp_box qp(gen, 8, 16, 5, k % 2 == 0);
    memman* mman = memman_create(nullptr, nullptr, nullptr, false);
    {
      opt_internal in(mm_at(*mman));
      opt_prepare(qp.view(), in);
      hom_prob prob(mm_at(*mman));
      hs_scaleproblem(opt_internalview(in, qp.view()), hs_scaling::moderate, prob);
      kktfac_ptr fac;
      monitor mon;
      const hs_settings set;
      ASSERT_EQ(hom_setupfac(prob, set, mon, *mman, fac), rescode::ok);
      hom_state st(prob, set, mon, *fac, *mman);
      ASSERT_EQ(hom_start(st), rescode::ok);
      ASSERT_EQ(hom_numfac(st), rescode::ok);
      st.target.eta = 0.7;
      const double t = 0.3 * hom_mu(prob, st.it);
      for (int32_t j = 0; j < prob.n; ++j) st.target.xs[j] = t - st.it.x[j] * st.it.s[j];
      for (size_t u = 0; u < st.it.w.size(); ++u) st.target.wv[u] = t - st.it.w[u] * st.it.v[u];
      st.target.tk = t - st.it.tau * st.it.kappa;
      hom_formsearch(st, st.target, st.dir);
      const mm_vector<double> rp = st.rp, rd = st.rd;
      const double rg = st.rg, size = 1 + std::abs(rg);
      const hom_point start = st.it;
      double before = 0;
      for (const double alpha : {1e-2, 1e-3}) {
        hom_compnewp(start, st.dir, alpha, alpha, st.it);
        intpnt_computeresiduals(st);
        const double keep = 1 - alpha * st.target.eta;
        for (int32_t i = 0; i < prob.m; ++i) EXPECT_NEAR(st.rp[i], keep * rp[i], 1e-8 * size);
        for (int32_t j = 0; j < prob.n; ++j) EXPECT_NEAR(st.rd[j], keep * rd[j], 1e-8 * size);
        const double left = std::abs(st.rg - keep * rg);
        if (before > 0) {
          EXPECT_LE(left, 0.02 * before + 1e-10 * size);
        }
        before = left;
      }
    }
    EXPECT_EQ(memman_delete(mman), 0u);
  }
}

TEST(HomoQp, EveryFailedAllocationIsThrownAndNothingLeaks) {
  std::mt19937 gen(3);
  qp_box qp(gen, 3, 5, 2, false);
  for (long k = 0;; ++k) {
    faulty_alloc faults(k);
    memman* mman = memman_create(&faults, faulty_alloc::alloc, faulty_alloc::free, false);
    bool failed = mman == nullptr;
    if (!failed) {
      opt_solution sol = qp.lp.solution();
      opt_info info;
      monitor mon;
      mon.clock = timer_start();
      try {
        failed = opt_ipmslv(qp.view(), {{}, {mon, mon, mon, mon}, *mman, info}, sol, nullptr) ==
                 rescode::err_space;
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

}  // namespace
