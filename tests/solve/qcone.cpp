// Quadratic terms as cones: random convex problems with a planted optimum, whose duals must fit the
// gradients of the original terms; known answers, certificates and refusals.
#include <gtest/gtest.h>
#include <zalvo.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "support/api_box.h"

namespace {

using matrix = std::vector<std::vector<double>>;  // symmetric, dense

// minimize (maximize) c'x + x'Q_0x/2, a_i'x + x'Q_ix/2 <= u_i (upper) or >= u_i, 0 <= x_j or x_j free
struct dense_qcqp {
  int32_t m = 0, n = 0;
  std::vector<double> c, u;
  matrix a;               // rows
  std::vector<matrix> q;  // of the objective, then of each constraint; empty: none
  std::vector<int32_t> isupper, isfree;
  bool maximize = false;
};

void load(ZLV_task_t task, const dense_qcqp& p) {
  ASSERT_EQ(ZLV_append(task, ZLV_ACC_CON, p.m), ZLV_RES_OK);
  ASSERT_EQ(ZLV_append(task, ZLV_ACC_VAR, p.n), ZLV_RES_OK);
  for (int32_t j = 0; j < p.n; ++j) {
    ASSERT_EQ(ZLV_putcj(task, j, p.c[j]), ZLV_RES_OK);
    ASSERT_EQ(ZLV_putbound(task, ZLV_ACC_VAR, j, p.isfree[j] ? ZLV_BK_FR : ZLV_BK_LO,
                           p.isfree[j] ? -1e30 : 0, 1e30),
              ZLV_RES_OK);
    for (int32_t i = 0; i < p.m; ++i) ASSERT_EQ(ZLV_putaij(task, i, j, p.a[i][j]), ZLV_RES_OK);
  }
  for (int32_t i = 0; i < p.m; ++i) {
    ASSERT_EQ(
        ZLV_putbound(task, ZLV_ACC_CON, i, p.isupper[i] ? ZLV_BK_UP : ZLV_BK_LO, p.u[i], p.u[i]),
        ZLV_RES_OK);
  }
  for (size_t k = 0; k < p.q.size(); ++k) {
    std::vector<int32_t> qi, qj;
    std::vector<double> val;
    for (int32_t i = 0; i < int32_t(p.q[k].size()); ++i) {
      for (int32_t j = 0; j <= i; ++j)
        qi.push_back(i), qj.push_back(j), val.push_back(p.q[k][i][j]);
    }
    const auto num = int32_t(val.size());
    ASSERT_EQ(k == 0 ? ZLV_putqobj(task, num, qi.data(), qj.data(), val.data())
                     : ZLV_putqconk(task, int32_t(k) - 1, num, qi.data(), qj.data(), val.data()),
              ZLV_RES_OK);
  }
  ASSERT_EQ(ZLV_putintparam(task, ZLV_IPAR_OBJECTIVE_SENSE,
                            p.maximize ? ZLV_OBJECTIVE_SENSE_MAX : ZLV_OBJECTIVE_SENSE_MIN),
            ZLV_RES_OK);
}

std::vector<double> times(const matrix& q, const std::vector<double>& x) {
  std::vector<double> y(x.size(), 0.0);
  for (size_t i = 0; i < q.size(); ++i) {
    for (size_t j = 0; j < q.size(); ++j) y[i] += q[i][j] * x[j];
  }
  return y;
}

double dot(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0;
  for (size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

// Largest violation of the optimality conditions, from the problem and the solution alone.
double violation(const dense_qcqp& p, ZLV_task_t task, double& objective, int32_t& solsta) {
  int32_t prosta = 0;
  std::vector<double> xc(p.m), x(p.n), y(p.m), slc(p.m), suc(p.m), slx(p.n), sux(p.n);
  EXPECT_EQ(
      ZLV_getsolution(task, ZLV_SOL_ITR, &prosta, &solsta, nullptr, nullptr, nullptr, xc.data(),
                      x.data(), y.data(), slc.data(), suc.data(), slx.data(), sux.data(), nullptr),
      ZLV_RES_OK);
  const double d = p.maximize ? -1 : 1;
  std::vector<double> grad = times(p.q[0], x);
  objective = dot(p.c, x) + dot(grad, x) / 2;
  for (int32_t j = 0; j < p.n; ++j) grad[j] += p.c[j] - slx[j] + sux[j];
  double worst = 0;
  for (int32_t i = 0; i < p.m; ++i) {
    const std::vector<double> qx = times(p.q[i + 1], x);
    const double value = dot(p.a[i], x) + dot(qx, x) / 2, sign = p.isupper[i] ? 1 : -1;
    worst = std::max({worst, std::abs(value - xc[i]), sign * (value - p.u[i]), d * sign * y[i],
                      std::abs(y[i] * (value - p.u[i])), std::abs(y[i] - slc[i] + suc[i])});
    for (int32_t j = 0; j < p.n; ++j) grad[j] -= y[i] * (p.a[i][j] + qx[j]);
  }
  for (int32_t j = 0; j < p.n; ++j) {
    worst = std::max({worst, std::abs(grad[j]), -d * slx[j], std::abs(sux[j])});
    if (p.isfree[j]) {
      worst = std::max(worst, std::abs(slx[j]));
    } else {
      worst = std::max({worst, -x[j], std::abs(x[j] * slx[j]) / (1 + std::abs(x[j]))});
    }
  }
  return worst;
}

// Semidefinite, of the given rank, times sign.
matrix random_q(std::mt19937& gen, int32_t n, int32_t rank, double sign) {
  std::uniform_real_distribution<double> uni(-1, 1);
  matrix q(n, std::vector<double>(n, 0.0));
  for (int32_t k = 0; k < rank; ++k) {
    std::vector<double> f(n);
    for (double& e : f) e = uni(gen) > 0.2 ? uni(gen) : 0;
    for (int32_t i = 0; i < n; ++i) {
      for (int32_t j = 0; j < n; ++j) q[i][j] += sign * f[i] * f[j];
    }
  }
  return q;
}

// x_j becomes x_j / f_j, and row i r_i times what it was, with factors of up to 10^spread both ways.
void rescale(std::mt19937& gen, double spread, dense_qcqp& p) {
  std::uniform_real_distribution<double> power(-spread, spread);
  std::vector<double> f(p.n);
  for (double& e : f) e = std::pow(10.0, power(gen));
  for (size_t k = 0; k < p.q.size(); ++k) {
    const double r = k == 0 ? 1 : std::pow(10.0, power(gen));
    for (int32_t i = 0; i < int32_t(p.q[k].size()); ++i) {
      for (int32_t j = 0; j < p.n; ++j) p.q[k][i][j] *= r * f[i] * f[j];
    }
    if (k > 0) p.u[k - 1] *= r;
    for (int32_t j = 0; j < p.n; ++j) (k == 0 ? p.c[j] : p.a[k - 1][j]) *= r * f[j];
  }
}

dense_qcqp plant(std::mt19937& gen, int32_t m, int32_t n, bool maximize, double& objective) {
  std::uniform_real_distribution<double> uni(-1, 1);
  std::uniform_int_distribution<int32_t> rank(0, n);
  const double d = maximize ? -1 : 1;
  dense_qcqp p;
  p.m = m, p.n = n, p.maximize = maximize;
  std::vector<double> x(n), z(n, 0.0);
  p.isfree.resize(n);
  for (int32_t j = 0; j < n; ++j) {
    p.isfree[j] = uni(gen) > 0 ? 1 : 0;
    x[j] = p.isfree[j] ? uni(gen) : std::max(0.0, uni(gen));
    if (!p.isfree[j] && x[j] == 0) z[j] = d * (0.1 + std::abs(uni(gen)));
  }
  p.q.push_back(random_q(gen, n, n / 2 + 1, d));
  p.c = times(p.q[0], x);
  for (int32_t j = 0; j < n; ++j) p.c[j] = z[j] - p.c[j];
  p.a.assign(m, std::vector<double>(n)), p.u.resize(m), p.isupper.resize(m);
  for (int32_t i = 0; i < m; ++i) {
    p.isupper[i] = uni(gen) > 0 ? 1 : 0;
    const double sign = p.isupper[i] ? 1 : -1;
    p.q.push_back(random_q(gen, n, rank(gen), sign));
    for (double& e : p.a[i]) e = uni(gen);
    const std::vector<double> qx = times(p.q.back(), x);
    const bool active = uni(gen) > -0.3;
    p.u[i] = dot(p.a[i], x) + dot(qx, x) / 2 + (active ? 0 : sign);
    const double y = active ? -d * sign * (0.1 + std::abs(uni(gen))) : 0;
    for (int32_t j = 0; j < n; ++j) p.c[j] += y * (p.a[i][j] + qx[j]);
  }
  objective = dot(p.c, x) + dot(times(p.q[0], x), x) / 2;
  return p;
}

// 1 + the largest cost and bound: what violations are relative to, all together.
double size_of(const dense_qcqp& p) {
  double size = 1;
  for (const double c : p.c) size = std::max(size, 1 + std::abs(c));
  for (const double u : p.u) size = std::max(size, 1 + std::abs(u));
  return size;
}

struct planted_case {
  const char* name;
  double spread;  // of scaling
};
class QconePlanted : public testing::TestWithParam<planted_case> {};

TEST_P(QconePlanted, OptimaAreReachedWithTheirMultipliers) {
  for (int32_t seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 gen(seed);
    double planted = 0, found = 0;
    dense_qcqp p = plant(gen, 1 + seed % 5, 2 + seed % 9, seed % 3 == 0, planted);
    rescale(gen, GetParam().spread, p);
    api_box box;
    load(box.task, p);
    ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_OPTIMIZER,
                              seed % 2 == 0 ? ZLV_OPTIMIZER_FREE : ZLV_OPTIMIZER_QCONE),
              ZLV_RES_OK);
    ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK) << box.err();
    int32_t solsta = 0;
    const double worst = violation(p, box.task, found, solsta);
    EXPECT_EQ(solsta, ZLV_SOL_STA_OPTIMAL);
    EXPECT_LE(worst, 1e-7 * size_of(p));
    EXPECT_LE(std::abs(found - planted), 1e-7 * (1 + std::abs(planted)));
  }
}
INSTANTIATE_TEST_SUITE_P(Scales, QconePlanted,
                         testing::Values(planted_case{"AsPlanted", 0},
                                         planted_case{"RowsAndColumnsScaled", 3}),
                         [](const auto& tc) { return std::string(tc.param.name); });

// The largest x_0 + x_1 on discs.
TEST(Qcone, KnownDiscs) {
  for (const double radius2 : {2.0, 8.0}) {
    dense_qcqp p;
    p.m = 1, p.n = 2, p.c = {1, 1}, p.u = {radius2 / 2}, p.maximize = true;
    p.a = {{0, 0}}, p.q = {{}, {{1, 0}, {0, 1}}}, p.isupper = {1}, p.isfree = {1, 1};
    api_box box;
    load(box.task, p);
    ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK) << box.err();
    int32_t prosta = 0, solsta = 0;
    ASSERT_EQ(ZLV_getsolutionstatus(box.task, ZLV_SOL_ITR, &prosta, &solsta), ZLV_RES_OK);
    double objective = 0, y = 0;
    EXPECT_EQ(solsta, ZLV_SOL_STA_OPTIMAL);
    ASSERT_EQ(ZLV_getsolutionslice(box.task, ZLV_SOL_ITR, ZLV_SOL_ITEM_Y, 0, 1, &y), ZLV_RES_OK);
    ASSERT_EQ(ZLV_getprimalobj(box.task, ZLV_SOL_ITR, &objective), ZLV_RES_OK);
    EXPECT_NEAR(objective, std::sqrt(2 * radius2), 1e-5);
    EXPECT_NEAR(y, std::sqrt(2 / radius2), 1e-5);
  }
}

// Small problems of x_0 and x_1, free unless said, whose verdicts are known. Constraints come by bound
// keys, so that those that no dense_qcqp has can be told.
struct verdict_case {
  const char* name;
  std::vector<double> c;
  double q0;  // of the objective: q0 (x_0^2 + x_1^2) / 2
  struct row {
    int32_t key;
    double bound, a0, a1, q00, q11, q01;
  };
  std::vector<row> rows;
  int32_t solsta;
  double objective;      // or 0 of a certificate
  double lower = -1e30;  // of x_0
  int32_t response = ZLV_RES_OK;
};

class QconeVerdict : public testing::TestWithParam<verdict_case> {
 protected:
  void put() {
    const verdict_case& tc = GetParam();
    ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 2), ZLV_RES_OK);
    ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_CON, int32_t(tc.rows.size())), ZLV_RES_OK);
    for (int32_t j = 0; j < 2; ++j) {
      const bool isbounded = j == 0 && tc.lower > -1e30;
      ASSERT_EQ(ZLV_putcj(box.task, j, tc.c[j]), ZLV_RES_OK);
      ASSERT_EQ(ZLV_putqobjij(box.task, j, j, tc.q0), ZLV_RES_OK);
      ASSERT_EQ(
          ZLV_putbound(box.task, ZLV_ACC_VAR, j, isbounded ? ZLV_BK_LO : ZLV_BK_FR, tc.lower, 1e30),
          ZLV_RES_OK);
    }
    const int32_t sub[] = {0, 1, 1}, subj[] = {0, 1, 0};
    for (int32_t i = 0; i < int32_t(tc.rows.size()); ++i) {
      const verdict_case::row& row = tc.rows[i];
      const double q[] = {row.q00, row.q11, row.q01};
      ASSERT_EQ(ZLV_putaij(box.task, i, 0, row.a0), ZLV_RES_OK);
      ASSERT_EQ(ZLV_putaij(box.task, i, 1, row.a1), ZLV_RES_OK);
      ASSERT_EQ(ZLV_putqconk(box.task, i, 3, sub, subj, q), ZLV_RES_OK);
      ASSERT_EQ(ZLV_putbound(box.task, ZLV_ACC_CON, i, row.key, row.bound, row.bound), ZLV_RES_OK);
    }
  }
  double item(int32_t which, int32_t i) {
    double v = 0;
    EXPECT_EQ(ZLV_getsolutionslice(box.task, ZLV_SOL_ITR, which, i, i + 1, &v), ZLV_RES_OK);
    return v;
  }
  api_box box;
};

// Of a certificate: the multipliers' combination of the rows and bounds is least at x, and positive
// there; or the direction bends no term, leaves no row and gains.
TEST_P(QconeVerdict, IsProvedOnTheProblemItself) {
  const verdict_case& tc = GetParam();
  put();
  ASSERT_EQ(ZLV_optimize(box.task), tc.response) << box.err();
  if (tc.response != ZLV_RES_OK) return;
  int32_t prosta = 0, solsta = 0;
  ASSERT_EQ(ZLV_getsolutionstatus(box.task, ZLV_SOL_ITR, &prosta, &solsta), ZLV_RES_OK);
  ASSERT_EQ(solsta, tc.solsta);
  const double x0 = item(ZLV_SOL_ITEM_XX, 0), x1 = item(ZLV_SOL_ITEM_XX, 1), tol = 1e-6;
  double grad0 = item(ZLV_SOL_ITEM_SLX, 0), grad1 = 0, proved = 0;
  if (grad0 != 0) proved += grad0 * tc.lower;
  for (int32_t i = 0; i < int32_t(tc.rows.size()); ++i) {
    const verdict_case::row& row = tc.rows[i];
    const double y = item(ZLV_SOL_ITEM_Y, i), g0 = row.q00 * x0 + row.q01 * x1,
                 g1 = row.q01 * x0 + row.q11 * x1, half = (g0 * x0 + g1 * x1) / 2;
    grad0 += y * (row.a0 + g0);
    grad1 += y * (row.a1 + g1);
    proved += row.key == ZLV_BK_FR ? 0 : y * (row.bound + half);
    if (solsta == ZLV_SOL_STA_OPTIMAL) {
      EXPECT_NEAR(item(ZLV_SOL_ITEM_XC, i), row.a0 * x0 + row.a1 * x1 + half, tol);
    }
    if (solsta != ZLV_SOL_STA_DUAL_INFEAS_CER || row.key == ZLV_BK_FR) continue;
    const double end = row.a0 * x0 + row.a1 * x1;
    EXPECT_LE(std::abs(g0) + std::abs(g1), tol);
    EXPECT_LE(row.key == ZLV_BK_UP ? end : row.key == ZLV_BK_LO ? -end : std::abs(end), tol);
  }
  if (solsta == ZLV_SOL_STA_PRIM_INFEAS_CER) {
    EXPECT_LE(std::max(std::abs(grad0), std::abs(grad1)), tol * proved);
    EXPECT_GT(proved, 0);
  } else if (solsta == ZLV_SOL_STA_DUAL_INFEAS_CER) {
    EXPECT_LT(tc.c[0] * x0 + tc.c[1] * x1, -tol);
  } else {
    EXPECT_NEAR(tc.c[0] * x0 + tc.c[1] * x1 + tc.q0 * (x0 * x0 + x1 * x1) / 2, tc.objective, tol);
    EXPECT_LE(std::abs(tc.c[0] + tc.q0 * x0 - grad0) + std::abs(tc.c[1] + tc.q0 * x1 - grad1), tol);
  }
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Cases, QconeVerdict, testing::Values(
    verdict_case{"DiscsApart", {1, 1}, 0, {{ZLV_BK_UP, 0.5, 0, 0, 1, 1, 0},
        {ZLV_BK_UP, -4, -3, 0, 1, 1, 0}}, ZLV_SOL_STA_PRIM_INFEAS_CER, 0},
    verdict_case{"DiscsHardlyApart", {1, 1}, 1, {{ZLV_BK_UP, 0.5, 0, 0, 1, 1, 0},
        {ZLV_BK_UP, -1.50201, -2.001, 0, 1, 1, 0}}, ZLV_SOL_STA_PRIM_INFEAS_CER, 0},
    verdict_case{"DiscAndFarBound", {0, 1}, 0, {{ZLV_BK_UP, 0.5, 0, 0, 1, 1, 0}},
        ZLV_SOL_STA_PRIM_INFEAS_CER, 0, 1e4},
    verdict_case{"StripAndLines", {1, 1}, 0, {{ZLV_BK_UP, 0.5, 0, 0, 1, 1, 1},
        {ZLV_BK_LO, 3, 1, 1, 0, 0, 0}}, ZLV_SOL_STA_PRIM_INFEAS_CER, 0},
    verdict_case{"NoSquareIsNegative", {1, 0}, 0, {{ZLV_BK_LO, 1, 0, 0, -2, -2, 0}},
        ZLV_SOL_STA_PRIM_INFEAS_CER, 0},
    verdict_case{"AlongTheStrip", {1, -2}, 0, {{ZLV_BK_UP, 0.5, 0, 0, 1, 1, 1}},
        ZLV_SOL_STA_DUAL_INFEAS_CER, 0},
    verdict_case{"UpTheParabola", {0, -1}, 0, {{ZLV_BK_UP, 0, 0, -1, 1, 0, 0}},
        ZLV_SOL_STA_DUAL_INFEAS_CER, 0},
    verdict_case{"TermsOfFreeRowsDoNotBend", {-1, 0}, 0, {{ZLV_BK_FR, 0, 1, 0, 1, 1, 0},
        {ZLV_BK_UP, 1, 0, 1, 0, 1, 0}}, ZLV_SOL_STA_DUAL_INFEAS_CER, 0},
    verdict_case{"DownTheParabola", {1, 1}, 0, {{ZLV_BK_UP, 0, 0, -1, 1, 0, 0}},
        ZLV_SOL_STA_OPTIMAL, -0.5},
    verdict_case{"RowWithoutATerm", {1, 2}, 1, {{ZLV_BK_FX, 1, 1, 1, 0, 0, 0}},
        ZLV_SOL_STA_OPTIMAL, 1.5},
    verdict_case{"FreeRowWithATerm", {1, 0}, 1, {{ZLV_BK_FR, 0, 1, 2, 3, -5, 1}},
        ZLV_SOL_STA_OPTIMAL, -0.5},
    verdict_case{"OnlyConcaveSide", {-1, 0}, 0, {{ZLV_BK_LO, -2, 0, 0, -1, -1, 0}},
        ZLV_SOL_STA_OPTIMAL, -2},
    verdict_case{"OutsideOfADisc", {1, 1}, 0, {{ZLV_BK_LO, 1, 0, 0, 1, 1, 0}}, 0, 0, -1e30,
        ZLV_RES_ERR_NONCONVEX},
    verdict_case{"CurvedEquation", {1, 1}, 0, {{ZLV_BK_FX, 1, 0, 0, 1, 1, 0}}, 0, 0, -1e30,
        ZLV_RES_ERR_NONCONVEX},
    verdict_case{"Saddle", {1, 1}, 0, {{ZLV_BK_UP, 1, 0, 0, 1, 1, 1.001}}, 0, 0, -1e30,
        ZLV_RES_ERR_NONCONVEX}),
    [](const auto& tc) { return std::string(tc.param.name); });
// clang-format on

// A square that has to be zero leaves no interior, and may have no multipliers: then a run may end without
// a verdict, but with no false one.
TEST(Qcone, WithoutInteriorNothingFalseIsSaid) {
  for (int32_t seed = 0; seed < 30; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 gen(seed);
    double planted = 0, objective[2] = {0, 0};
    const int32_t n = 3 + seed % 4;
    dense_qcqp p = plant(gen, 1, n, seed % 2 == 0, planted);
    std::vector<double> f(n);
    std::uniform_real_distribution<double> uni(-1, 1);
    for (double& e : f) e = uni(gen);
    int32_t solsta[2] = {0, 0};
    for (const bool issquare : {false, true}) {  // f'x = 0 by a square, and by two rows
      dense_qcqp q = p;
      for (int32_t k = 0; k < (issquare ? 1 : 2); ++k) {
        ++q.m, q.u.push_back(0), q.isupper.push_back(k == 0 ? 1 : 0);
        q.a.push_back(issquare ? std::vector<double>(n, 0.0) : f);
        q.q.push_back(matrix());
        for (int32_t i = 0; issquare && i < n; ++i) {
          q.q.back().push_back(f);
          for (double& e : q.q.back()[i]) e *= f[i];
        }
      }
      api_box box;
      load(box.task, q);
      const int32_t r = ZLV_optimize(box.task);
      EXPECT_TRUE(r == ZLV_RES_OK || r == ZLV_RES_TRM_STALL) << r;
      int32_t prosta = 0;
      ASSERT_EQ(ZLV_getsolutionstatus(box.task, ZLV_SOL_ITR, &prosta, &solsta[issquare]),
                ZLV_RES_OK);
      ASSERT_EQ(ZLV_getprimalobj(box.task, ZLV_SOL_ITR, &objective[issquare]), ZLV_RES_OK);
    }
    if (solsta[0] == ZLV_SOL_STA_OPTIMAL) {
      EXPECT_NE(solsta[1], ZLV_SOL_STA_PRIM_INFEAS_CER);
      EXPECT_NE(solsta[1], ZLV_SOL_STA_DUAL_INFEAS_CER);
    }
    if (solsta[0] != ZLV_SOL_STA_OPTIMAL || solsta[1] != ZLV_SOL_STA_OPTIMAL) continue;
    EXPECT_NEAR(objective[1], objective[0], 1e-5 * (1 + std::abs(objective[0])));
  }
}

}  // namespace
