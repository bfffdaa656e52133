// Every kernel of every family that this processor can run, against plain loops.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "lalib/parblas.h"

namespace {

constexpr double close = 1e-12;  // absolute, of sums of at most a few hundred terms of size one

struct block {
  int32_t m, n;
  ptrdiff_t ld;
  std::vector<double> val;
  block(int32_t rows, int32_t cols, ptrdiff_t extra, unsigned seed)
      : m(rows), n(cols), ld(rows + extra), val(size_t(ld) * size_t(cols) + 1, 0.0) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> value(-1, 1);
    for (double& v : val) v = value(gen);
  }
  double& at(int32_t i, int32_t j) { return val[i + j * ld]; }
  double at(int32_t i, int32_t j) const { return val[i + j * ld]; }
};

class ParblasFamily : public testing::TestWithParam<int32_t> {
 protected:
  const parblas_family* family = parblas_get(GetParam());
  void SetUp() override {
    if (family == nullptr) GTEST_SKIP() << "this processor has no such family";
  }
};

void check_update(const parblas_family& family, int32_t m, int32_t n, int32_t k, bool lower,
                  bool fresh) {
  const block a(m, k, 3, 1), b = lower ? a : block(n, k, 2, 2);
  const block scale(k, 1, 0, 4);
  block c(m, n, 5, 3);
  const block before = c;
  std::vector<double> work(size_t(parblas_worksize(n, k)));
  parblas_update u{.m = m,
                   .n = n,
                   .k = k,
                   .a = a.val.data(),
                   .lda = a.ld,
                   .b = b.val.data(),
                   .ldb = b.ld,
                   .scale = scale.val.data(),
                   .c = c.val.data(),
                   .ldc = c.ld,
                   .lower = lower,
                   .fresh = fresh,
                   .work = work.data()};
  family.update(u);
  for (int32_t j = 0; j < n; ++j) {
    for (int32_t i = lower ? j : 0; i < m; ++i) {
      double want = fresh ? 0.0 : before.at(i, j);
      for (int32_t p = 0; p < k; ++p) want -= a.at(i, p) * b.at(j, p) * scale.at(p, 0);
      ASSERT_NEAR(c.at(i, j), want, close)
          << parblas_name(family.kind) << family.instructions << ' ' << m << 'x' << n << 'x' << k;
    }
    for (int32_t i = m; i < c.ld; ++i) {
      ASSERT_EQ(c.val[i + j * c.ld], before.val[i + j * c.ld]) << "written outside";
    }
  }
  ASSERT_EQ(c.val.back(), before.val.back()) << "written behind";
}

TEST_P(ParblasFamily, UpdateEqualsPlainLoops) {
  for (int32_t k = 1; k <= 40; ++k) {
    for (int32_t n = 1; n <= 70; n += n < 34 ? 1 : 9) {
      for (const int32_t m : {n, n + 1, n + 7, n + 23}) {
        check_update(*family, m, n, k, true, k % 2 == 0);
        check_update(*family, m, n, k, false, k % 2 == 1);
      }
    }
  }
  for (const int32_t k : {255, 256, 257, 520}) {
    check_update(*family, 217, 201, k, true, true);
    check_update(*family, 30, 1040, k, false, false);
  }
}

// A panel of a matrix whose factor is known to be well conditioned.
block make_panel(int32_t ncol, int32_t nrow) {
  block p(nrow, ncol, 2, unsigned(ncol * 71 + nrow));
  for (int32_t j = 0; j < ncol; ++j) p.at(j, j) = 2.0 * ncol + 1;
  return p;
}

TEST_P(ParblasFamily, PanelReproducesItsMatrix) {
  for (int32_t ncol = 1; ncol <= 40; ++ncol) {
    for (const int32_t below : {0, 1, 2, 3, 5, 8, 13, 30}) {
      const int32_t nrow = ncol + below;
      const block before = make_panel(ncol, nrow);
      block l = before;
      std::vector<double> thr(size_t(ncol), 1e-30), d = thr, dinv = thr,
                                                    work(size_t(parblas_worksize(nrow, ncol)));
      const parblas_pivots piv{thr.data(), nullptr, d.data(), dinv.data(), nullptr};
      ASSERT_EQ(family->panel(ncol, nrow, l.val.data(), l.ld, piv, work.data()), 0);
      block apart = before;
      ASSERT_EQ(family->panel(ncol, ncol, apart.val.data(), l.ld, piv, work.data()), 0);
      family->rows(ncol, below, apart.val.data(), piv, apart.val.data() + ncol, l.ld, work.data());
      for (int32_t j = 0; j < ncol; ++j) {
        ASSERT_DOUBLE_EQ(d[j] * dinv[j], 1.0);
        for (int32_t i = j + 1; i < nrow; ++i) ASSERT_EQ(apart.at(i, j), l.at(i, j));
        for (int32_t i = j; i < nrow; ++i) {
          double want = before.at(i, j);
          for (int32_t p = 0; p < j; ++p) want -= l.at(i, p) * d[p] * l.at(j, p);
          const double got = i == j ? d[j] : l.at(i, j) * d[j];
          ASSERT_NEAR(got, want, close * ncol)
              << parblas_name(family->kind) << family->instructions << ' ' << ncol << ' ' << nrow;
        }
      }
    }
  }
}

TEST_P(ParblasFamily, PivotsOfKnownSign) {
  for (int32_t ncol = 1; ncol <= 20; ++ncol) {
    const int32_t nrow = ncol + 5, bad = ncol / 2;
    block l = make_panel(ncol, nrow);
    std::vector<double> sign(size_t(ncol), 1.0), thr(size_t(ncol), 1e-10), rep(size_t(ncol), 1e5),
        d(thr), dinv(thr), delta(thr), work(size_t(parblas_worksize(nrow, ncol)));
    for (int32_t j = 0; j < ncol; ++j) {
      if (j % 3 == 0) l.at(j, j) *= sign[j] = -1;
    }
    l.at(bad, bad) *= -1;  // the wrong sign
    const block before = l;
    const parblas_pivots piv{thr.data(),  rep.data(),   d.data(),
                             dinv.data(), delta.data(), sign.data()};
    ASSERT_EQ(family->panel(ncol, nrow, l.val.data(), l.ld, piv, work.data()), 1);
    ASSERT_EQ(d[bad], sign[bad] * 1e5);
    for (int32_t j = 0; j < ncol; ++j) {
      ASSERT_GT(d[j] * sign[j], 0);
      for (int32_t i = j; i < nrow; ++i) {
        double want = before.at(i, j) + (i == j ? delta[j] : 0.0);
        for (int32_t p = 0; p < j; ++p) want -= l.at(i, p) * d[p] * l.at(j, p);
        ASSERT_NEAR(i == j ? d[j] : l.at(i, j) * d[j], want, 1e-9) << ncol;
      }
    }
  }
}

TEST_P(ParblasFamily, RefusedPivotsLeaveOrAreReplaced) {
  constexpr int32_t ncol = 11, nrow = 20, bad = 6;
  for (const double poison : {0.0, -3.0, std::nan("")}) {
    for (const double rep : {0.0, 5.0}) {
      block l = make_panel(ncol, nrow);
      for (int32_t j = 0; j < bad; ++j) l.at(bad, j) = 0;
      for (int32_t i = bad; i < nrow; ++i) l.at(i, bad) = i == bad ? poison : 1.0;
      std::vector<double> thr(ncol, 1e-10), reps(ncol, rep), d(ncol), dinv(ncol), delta(ncol, 9.0),
          work(size_t(parblas_worksize(nrow, ncol)));
      const parblas_pivots piv{thr.data(), reps.data(), d.data(), dinv.data(), delta.data()};
      EXPECT_EQ(family->panel(ncol, nrow, l.val.data(), l.ld, piv, work.data()), 1);
      EXPECT_EQ(d[bad], rep);
      EXPECT_EQ(dinv[bad], rep > 0 ? 1 / rep : 0);
      EXPECT_EQ(delta[0], 0);
      if (!std::isnan(poison)) {
        EXPECT_EQ(delta[bad], rep > 0 ? rep - poison : 0);
      }
      EXPECT_EQ(l.at(nrow - 1, bad), rep > 0 ? 1 / rep : 0.0) << poison;
    }
  }
}

TEST_P(ParblasFamily, SolvesEqualPlainLoops) {
  for (int32_t ncol = 1; ncol <= 20; ++ncol) {
    for (const int32_t below : {0, 1, 3, 6, 7, 8, 9, 17}) {
      const int32_t nrow = ncol + below;
      block l(nrow, ncol, 1, 5);
      for (double& v : l.val) v *= 0.3;
      for (const int32_t nrhs : {1, 2, 4}) {
        const block before(nrow, nrhs, 3, 6);
        block x = before, want = before;
        family->forward(ncol, nrow, l.val.data(), l.ld, x.val.data(), x.ld, nrhs);
        for (int32_t r = 0; r < nrhs; ++r) {
          for (int32_t j = 0; j < ncol; ++j) {
            for (int32_t i = j + 1; i < nrow; ++i) want.at(i, r) -= l.at(i, j) * want.at(j, r);
          }
          for (int32_t i = 0; i < nrow; ++i) ASSERT_NEAR(x.at(i, r), want.at(i, r), close);
        }
        x = want = before;
        family->backward(ncol, nrow, l.val.data(), l.ld, x.val.data(), x.ld, nrhs);
        for (int32_t r = 0; r < nrhs; ++r) {
          for (int32_t j = ncol - 1; j >= 0; --j) {
            for (int32_t i = j + 1; i < nrow; ++i) want.at(j, r) -= l.at(i, j) * want.at(i, r);
          }
          for (int32_t i = 0; i < nrow; ++i) ASSERT_NEAR(x.at(i, r), want.at(i, r), close);
        }
        for (size_t i = size_t(nrow); i < x.val.size(); i += size_t(x.ld)) {
          ASSERT_EQ(x.val[i], before.val[i]) << "written outside";
        }
      }
    }
  }
}

TEST_P(ParblasFamily, ProductsEqualPlainLoops) {
  for (int32_t ncol = 1; ncol <= 20; ++ncol) {
    for (const int32_t nrow : {1, 2, 3, 7, 8, 9, 17, 40}) {
      const block l(nrow, ncol, 1, 5);
      for (const int32_t nrhs : {1, 2, 4}) {
        const block v1(ncol, nrhs, nrow - ncol > 0 ? nrow - ncol : 0, 6), v2(nrow, nrhs, 3, 7);
        block got1(ncol, nrhs, parblas_panelblock - ncol, 9), got2(nrow, nrhs, v1.ld - nrow, 8);
        block want1 = got1, want2 = got2;
        family->times(ncol, nrow, l.val.data(), l.ld, v1.val.data(), got2.val.data(), v1.ld, nrhs);
        family->timest(ncol, nrow, l.val.data(), l.ld, got1.val.data(), v2.val.data(), v2.ld, nrhs);
        for (int32_t r = 0; r < nrhs; ++r) {
          for (int32_t j = 0; j < ncol; ++j) {
            for (int32_t i = 0; i < nrow; ++i) {
              want2.at(i, r) -= l.at(i, j) * v1.at(j, r);
              want1.at(j, r) -= l.at(i, j) * v2.at(i, r);
            }
          }
        }
        for (size_t i = 0; i < want1.val.size(); ++i) ASSERT_NEAR(got1.val[i], want1.val[i], close);
        for (size_t i = 0; i < want2.val.size(); ++i) ASSERT_NEAR(got2.val[i], want2.val[i], close);
      }
    }
  }
}

TEST_P(ParblasFamily, AssemblePutsEachEntryInItsPlace) {
  for (int32_t n = 1; n <= 24; ++n) {
    for (int32_t contfrom = 0; contfrom < n; contfrom += 3) {
      std::vector<int32_t> rel(size_t(n), 0);
      for (int32_t i = 0; i < n; ++i) rel[i] = i < contfrom ? 2 * i : 2 * contfrom + i;
      const int32_t size = rel.back() + 4;
      const block u(n, n, 1, 7);
      block dst(size, size, 2, 8), want = dst;
      parblas_assemble args{.n = n,
                            .j0 = n / 3,
                            .j1 = n,
                            .contfrom = contfrom,
                            .u = u.val.data(),
                            .ldu = u.ld,
                            .rel = rel.data(),
                            .dst = dst.val.data(),
                            .ldd = dst.ld,
                            .rowoff = 0,
                            .coloff = 0};
      family->assemble(args);
      for (int32_t j = n / 3; j < n; ++j) {
        for (int32_t i = j; i < n; ++i) want.at(rel[i], rel[j]) += u.at(i, j);
      }
      ASSERT_EQ(dst.val, want.val) << n << ' ' << contfrom;
      std::vector<int32_t> run;
      for (int32_t i = 0; i < n; ++i) {
        if (i == 0 || rel[i] != rel[i - 1] + 1) run.push_back(i);
      }
      args.numrun = int32_t(run.size());
      run.push_back(n);
      args.run = run.data();
      family->assemble(args);
      for (int32_t j = n / 3; j < n; ++j) {
        for (int32_t i = j; i < n; ++i) want.at(rel[i], rel[j]) += u.at(i, j);
      }
      ASSERT_EQ(dst.val, want.val) << n << ' ' << contfrom;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Families, ParblasFamily, testing::Range(0, 10));

}  // namespace
