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

TEST(Qcone, ReachesPlantedOptimaWithTheirMultipliers) {
  for (int32_t seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 gen(seed);
    double planted = 0, found = 0;
    const dense_qcqp p = plant(gen, seed % 4, 2 + seed % 9, seed % 3 == 0, planted);
    for (const int32_t optimizer : {ZLV_OPTIMIZER_FREE, ZLV_OPTIMIZER_QCONE}) {
      if (p.m == 0 && optimizer == ZLV_OPTIMIZER_FREE) continue;  // not by cones
      api_box box;
      load(box.task, p);
      ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_OPTIMIZER, optimizer), ZLV_RES_OK);
      ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK) << box.err();
      int32_t solsta = 0;
      const double worst = violation(p, box.task, found, solsta);
      const bool isoptimal = solsta == ZLV_SOL_STA_OPTIMAL;
      EXPECT_TRUE(isoptimal || solsta == ZLV_SOL_STA_NEAR_OPTIMAL) << solsta;
      EXPECT_LE(worst, size_of(p) * (isoptimal ? 1e-6 : 1e-4));  // what the statuses promise
      EXPECT_LE(std::abs(found - planted), 1e-6 * (1 + std::abs(planted)));
    }
  }
}

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

TEST(Qcone, NonconvexConstraintsAreRefused) {
  dense_qcqp p;
  p.m = 1, p.n = 2, p.c = {1, 1}, p.u = {1};
  p.a = {{0, 0}}, p.q = {{}, {{1, 0}, {0, 1}}}, p.isupper = {0}, p.isfree = {1, 1};
  api_box box;
  load(box.task, p);
  EXPECT_EQ(ZLV_optimize(box.task), ZLV_RES_ERR_NONCONVEX);
}

}  // namespace
