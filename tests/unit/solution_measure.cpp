// The measures of a solution against a dense evaluation of the formulas, on random problems of
// every kind with random points; known certificates; NaN and cancellation.
#include "zalvo/solmeasure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "support/api_box.h"
#include "zalvo/frame.h"

namespace {

using real = long double;
using vec = std::vector<real>;
using mat = std::vector<vec>;

real dot(const vec& a, const vec& b) {
  real s = 0;
  for (size_t i = 0; i < a.size(); ++i) s += a[i] * b[i];
  return s;
}
vec times(const mat& a, const vec& x) {
  vec y;
  for (const vec& row : a) y.push_back(dot(row, x));
  return y;
}
vec to_vec(std::span<const double> s) {
  return vec(s.begin(), s.end());
}

// A problem in dense form beside the task that holds it.
struct dense_box {
  api_box box;
  task_rec& task;
  int32_t m, n;
  mat a, q0;
  std::vector<mat> q;
  dense_box(int32_t numcon, int32_t numvar)
      : task(*box.task),
        m(numcon),
        n(numvar),
        a(size_t(m), vec(size_t(n))),
        q0(size_t(n), vec(size_t(n))),
        q(size_t(m), mat(size_t(n), vec(size_t(n)))) {
    prob_append(task.prob, acc::con, m);
    prob_append(task.prob, acc::var, n);
  }
  void load_a() {
    std::vector<ptrdiff_t> ptr = {0};
    std::vector<int32_t> sub;
    std::vector<double> val;
    for (int32_t j = 0; j < n; ++j) {
      for (int32_t i = 0; i < m; ++i)
        if (a[i][j] != 0) sub.push_back(i), val.push_back(double(a[i][j]));
      ptr.push_back(ptrdiff_t(sub.size()));
    }
    prob_loadcolumns(task.prob, ptr, sub, val);
  }
  void set_q(int32_t k, int32_t i, int32_t j, double value) {
    prob_qset(task.prob, prob_tol{}, k, i, j, value);
    mat& dense = k == prob_obj ? q0 : q[size_t(k)];
    dense[i][j] = dense[j][i] = value;
  }
  void bound(acc mode, int32_t i, int32_t key, double lower, double upper) {
    prob_storebound(task.prob, mode, i, prob_normalise(prob_tol{}, {key, lower, upper}));
  }
  sol_view solution(int32_t whichsol) {
    sol_ensure(task, whichsol);
    return sol_items(task, whichsol);
  }
  void maximize() { task.par.i[ipar::objective_sense] = ZLV_OBJECTIVE_SENSE_MAX; }
};

// The formulas of the header, written down once more, densely.
struct dense_measures {
  real primalobj = 0, maxpeqi = 0, maxpbi = 0, maxpcni = 0, maxinti = 0;
  real dualobj = 0, maxdeqi = 0, maxdbi = 0, maxdcni = 0;
};
real shortfall(int32_t type, vec z) {
  if (type == ZLV_CT_RQUAD) {
    const real u = (z[0] + z[1]) / std::sqrt(real(2)), v = (z[0] - z[1]) / std::sqrt(real(2));
    z[0] = u, z[1] = v;
  }
  const vec tail(z.begin() + 1, z.end());
  return std::max(real(0), std::sqrt(dot(tail, tail)) - z[0]);
}
dense_measures evaluate(dense_box& d, int32_t whichsol, bool isprimray, bool isdualray) {
  const prob_rec& p = d.task.prob;
  const sol_view v = sol_items(d.task, whichsol);
  const real sign = d.task.par.i[ipar::objective_sense] == ZLV_OBJECTIVE_SENSE_MAX ? -1 : 1;
  const vec x = to_vec(v.xx), xc = to_vec(v.xc);
  const vec c(p.c.begin(), p.c.begin() + d.n);
  dense_measures r;
  r.primalobj = dot(c, x);
  if (!isdualray) r.primalobj += dot(x, times(d.q0, x)) / 2 + real(p.cfix);
  const vec ax = times(d.a, x);
  for (int32_t i = 0; i < d.m; ++i) {
    const real quad = isdualray ? 0 : dot(x, times(d.q[size_t(i)], x)) / 2;
    r.maxpeqi = std::max(r.maxpeqi, std::abs(ax[i] + quad - xc[i]));
    if (isdualray && p.bkc[size_t(i)] != ZLV_BK_FR)
      for (const real g : times(d.q[size_t(i)], x)) r.maxpeqi = std::max(r.maxpeqi, std::abs(g));
  }
  if (isdualray)
    for (const real g : times(d.q0, x)) r.maxpeqi = std::max(r.maxpeqi, std::abs(g));
  const vec y = to_vec(v.y), slc = to_vec(v.slc), suc = to_vec(v.suc), slx = to_vec(v.slx),
            sux = to_vec(v.sux), snx = to_vec(v.snx);
  const bool hasduals = whichsol != ZLV_SOL_ITG;
  const auto side = [&](const int32_t* key, const double* bl, const double* bu, const vec& z,
                        const vec& sl, const vec& su) {
    for (size_t i = 0; i < z.size(); ++i) {
      const bool lo = key[i] == ZLV_BK_LO || key[i] == ZLV_BK_FX || key[i] == ZLV_BK_RA;
      const bool up = key[i] == ZLV_BK_UP || key[i] == ZLV_BK_FX || key[i] == ZLV_BK_RA;
      if (lo) r.maxpbi = std::max(r.maxpbi, (isdualray ? 0 : real(bl[i])) - z[i]);
      if (up) r.maxpbi = std::max(r.maxpbi, z[i] - (isdualray ? 0 : real(bu[i])));
      if (!hasduals) continue;
      r.dualobj += (lo ? real(bl[i]) * sl[i] : 0) - (up ? real(bu[i]) * su[i] : 0);
      r.maxdbi = std::max(
          {r.maxdbi, lo ? -sign * sl[i] : std::abs(sl[i]), up ? -sign * su[i] : std::abs(su[i])});
    }
  };
  side(p.bkc.data(), p.blc.data(), p.buc.data(), xc, slc, suc);
  side(p.bkx.data(), p.blx.data(), p.bux.data(), x, slx, sux);
  std::vector<bool> isfree(size_t(d.n), true);
  for (const prob_cone& cone : p.cone) {
    vec zx, zs;
    for (const int32_t j : cone.sub) {
      zx.push_back(x[j]), isfree[j] = false;
      if (!snx.empty()) zs.push_back(sign * snx[j]);
    }
    r.maxpcni = std::max(r.maxpcni, shortfall(cone.type, zx));
    if (!snx.empty()) r.maxdcni = std::max(r.maxdcni, shortfall(cone.type, zs));
  }
  for (int32_t j = 0; j < d.n; ++j) {
    if (!snx.empty() && isfree[j]) r.maxdcni = std::max(r.maxdcni, std::abs(snx[j]));
    if (prob_isint(p, j) && !isdualray)
      r.maxinti = std::max(r.maxinti, std::abs(x[j] - std::round(x[j])));
  }
  if (!hasduals) return r;
  vec g(size_t(d.n));
  const vec q0x = times(d.q0, x);
  for (int32_t j = 0; j < d.n; ++j) {
    g[j] = isprimray ? 0 : c[j] + q0x[j];
    for (int32_t i = 0; i < d.m; ++i) g[j] -= y[i] * (d.a[i][j] + times(d.q[size_t(i)], x)[j]);
    g[j] += sux[j] - slx[j] - (snx.empty() ? 0 : snx[j]);
    r.maxdeqi = std::max(r.maxdeqi, std::abs(g[j]));
  }
  for (int32_t i = 0; i < d.m; ++i) {
    r.maxdeqi = std::max(r.maxdeqi, std::abs(y[i] - slc[i] + suc[i]));
    r.dualobj += y[i] * dot(x, times(d.q[size_t(i)], x)) / 2;
  }
  if (!isprimray) r.dualobj += real(p.cfix) - dot(x, q0x) / 2;
  return r;
}

struct random_numbers {
  std::mt19937 rng;
  explicit random_numbers(uint32_t seed) : rng(seed) {}
  int32_t upto(int32_t n) { return int32_t(rng() % uint32_t(n + 1)); }
  bool coin() { return rng() % 2 == 0; }
  double value() { return double(int32_t(rng() % 2001) - 1000) / 37; }
};

void random_problem(dense_box& d, random_numbers& r, bool isquadobj, bool isquadcon, bool isconic) {
  prob_rec& p = d.task.prob;
  for (vec& row : d.a)
    for (real& v : row) v = r.coin() ? real(r.value()) : 0;
  d.load_a();
  for (int32_t j = 0; j < d.n; ++j) p.c[j] = r.value();
  p.cfix = r.value();
  for (int32_t i = 0; i < d.m + d.n; ++i) {
    double lower = r.value(), upper = r.value();
    if (lower > upper) std::swap(lower, upper);
    const acc mode = i < d.m ? acc::con : acc::var;
    d.bound(mode, i < d.m ? i : i - d.m, r.upto(4), lower, upper);
  }
  const auto terms = [&](int32_t k) {
    for (int32_t t = r.upto(4); d.n > 0 && t > 0; --t)
      d.set_q(k, r.upto(d.n - 1), r.upto(d.n - 1), r.value());
  };
  if (isquadobj) terms(prob_obj);
  for (int32_t k = 0; isquadcon && k < d.m; ++k) terms(k);
  for (int32_t j = 0; isconic && j + 3 <= d.n; j += 3) {
    const std::vector<int32_t> members = {j + 2, j, j + 1};
    prob_appendcone(p, r.coin() ? ZLV_CT_QUAD : ZLV_CT_RQUAD, 0, members);
  }
  if (d.n > 1 && r.coin()) {
    prob_maketypes(p);
    prob_setint(p, 1);
  }
  if (r.coin()) d.maximize();
}

void expect_near(real want, double got, const char* name, int round) {
  constexpr real tol = 1e-13L;  // relative: values of at most some 1e5, sums of some ten products
  EXPECT_NEAR(double(want), got, double(tol * (1 + std::abs(want)) * 1e3L)) << name << round;
}
void expect_measures(dense_box& d, int32_t whichsol, int32_t solsta, int round) {
  sol_measures m;
  sol_measureas(d.task, whichsol, solsta, m);
  const bool isprimray = solsta == ZLV_SOL_STA_PRIM_INFEAS_CER && whichsol != ZLV_SOL_ITG;
  const bool isdualray = solsta == ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER;
  const dense_measures want = evaluate(d, whichsol, isprimray, isdualray);
  EXPECT_EQ(m.isprimray, isprimray);
  EXPECT_EQ(m.isdualray, isdualray);
  expect_near(want.primalobj, m.primalobj, "primalobj", round);
  expect_near(want.maxpeqi, m.maxpeqi, "maxpeqi", round);
  expect_near(want.maxpbi, m.maxpbi, "maxpbi", round);
  expect_near(want.maxpcni, m.maxpcni, "maxpcni", round);
  expect_near(want.maxinti, m.maxinti, "maxinti", round);
  expect_near(want.dualobj, m.dualobj, "dualobj", round);
  expect_near(want.maxdeqi, m.maxdeqi, "maxdeqi", round);
  expect_near(want.maxdbi, m.maxdbi, "maxdbi", round);
  expect_near(want.maxdcni, m.maxdcni, "maxdcni", round);
}

TEST(SolMeasure, EqualsTheDenseFormulas) {
  random_numbers r(2024);
  for (int round = 0; round < 300; ++round) {
    dense_box d(r.upto(5), r.upto(7));
    random_problem(d, r, round % 4 == 1 || round % 4 == 3, round % 4 >= 2, round % 3 == 1);
    for (int32_t whichsol = 0; whichsol < 3; ++whichsol) {
      const sol_view v = d.solution(whichsol);
      for (std::span<double> item : {v.xc, v.xx, v.y, v.slc, v.suc, v.slx, v.sux, v.snx})
        for (double& z : item) z = r.value();
      for (const int32_t solsta :
           {ZLV_SOL_STA_UNKNOWN, ZLV_SOL_STA_PRIM_INFEAS_CER, ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER})
        expect_measures(d, whichsol, solsta, round);
    }
  }
}

// The example of the public header, in both senses.
TEST(SolMeasure, WorkedExampleIsOptimal) {
  for (const double sense : {1.0, -1.0}) {
    dense_box d(1, 2);
    d.a[0] = {1, 1};
    d.load_a();
    d.task.prob.c[0] = 2 * sense, d.task.prob.c[1] = 3 * sense;
    if (sense < 0) d.maximize();
    d.bound(acc::con, 0, ZLV_BK_LO, 4, 0);
    d.bound(acc::var, 0, ZLV_BK_RA, 0, 3), d.bound(acc::var, 1, ZLV_BK_LO, 0, 0);
    const sol_view v = d.solution(ZLV_SOL_BAS);
    v.xc[0] = 4, v.xx[0] = 3, v.xx[1] = 1;
    v.y[0] = v.slc[0] = 3 * sense, v.sux[0] = sense;
    sol_measures m;
    sol_measureas(d.task, ZLV_SOL_BAS, ZLV_SOL_STA_OPTIMAL, m);
    EXPECT_EQ(m.primalobj, 9 * sense);
    EXPECT_EQ(m.dualobj, 9 * sense);
    for (const double zero : {m.maxpeqi, m.maxpbi, m.maxdeqi, m.maxdbi, m.maxcompl, m.relgap})
      EXPECT_EQ(zero, 0);
    v.xx[0] = 2;  // now 1 short of xc, and 1 away from the bound that has the dual 1
    sol_measureas(d.task, ZLV_SOL_BAS, ZLV_SOL_STA_OPTIMAL, m);
    EXPECT_EQ(m.maxcompl, 1);
    EXPECT_EQ(m.relprimal, 1.0 / 5);  // the largest constraint bound is 4
  }
}

// x >= 2 by a constraint, x <= 1 by its bound; and minimize -x, x >= 0.
TEST(SolMeasure, CertificatesAreMeasuredAsRays) {
  dense_box d(1, 1);
  d.a[0] = {1};
  d.load_a();
  d.task.prob.c[0] = 7, d.task.prob.cfix = 100;
  d.bound(acc::con, 0, ZLV_BK_LO, 2, 0), d.bound(acc::var, 0, ZLV_BK_UP, 0, 1);
  const sol_view v = d.solution(ZLV_SOL_ITR);
  sol_measures m;
  for (const double scale : {1.0, 1e-6, -1.0}) {
    v.y[0] = v.slc[0] = v.sux[0] = scale;
    sol_measureas(d.task, ZLV_SOL_ITR, ZLV_SOL_STA_PRIM_INFEAS_CER, m);
    EXPECT_DOUBLE_EQ(m.dualobj, scale);
    EXPECT_EQ(m.maxdeqi, 0);
    EXPECT_EQ(m.reldual, scale > 0 ? 0 : std::numeric_limits<double>::infinity());
  }
  v.y[0] = v.slc[0] = 1, v.sux[0] = 1.5;  // residual 0.5, objective 0.5
  sol_measureas(d.task, ZLV_SOL_ITR, ZLV_SOL_STA_NEAR_PRIM_INFEAS_CER, m);
  EXPECT_EQ(m.reldual, 1);

  d.bound(acc::con, 0, ZLV_BK_FR, 0, 0), d.bound(acc::var, 0, ZLV_BK_LO, 5, 0);
  d.task.prob.c[0] = -1;
  v.xx[0] = v.xc[0] = 2;  // below its bound 5, but a ray along which -x falls
  sol_measureas(d.task, ZLV_SOL_ITR, ZLV_SOL_STA_DUAL_INFEAS_CER, m);
  EXPECT_EQ(m.primalobj, -2);
  EXPECT_EQ(m.relprimal, 0);
  d.maximize();
  sol_measureas(d.task, ZLV_SOL_ITR, ZLV_SOL_STA_DUAL_INFEAS_CER, m);
  EXPECT_EQ(m.relprimal, std::numeric_limits<double>::infinity());
}

TEST(SolMeasure, NanShowsInEveryNumberItEnters) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  dense_box d(2, 3);
  d.a = {{1, 2, 3}, {4, 5, 6}};
  d.load_a();
  for (int32_t i = 0; i < 2; ++i) d.bound(acc::con, i, ZLV_BK_RA, -1, 1);
  for (int32_t j = 0; j < 3; ++j) d.bound(acc::var, j, j == 1 ? ZLV_BK_FR : ZLV_BK_RA, -1, 1);
  const sol_view v = d.solution(ZLV_SOL_ITR);
  struct entry {
    double* place;
    std::vector<double sol_measures::*> enters;
  };
  using m = sol_measures;
  const entry entries[] = {
      {&v.xc[0], {&m::maxpeqi, &m::maxpbi, &m::relprimal, &m::relcompl}},
      {&v.xx[1], {&m::primalobj, &m::maxpeqi, &m::maxpbi, &m::relprimal, &m::relgap}},
      {&v.y[1], {&m::maxdeqi, &m::reldual}},
      {&v.slc[0], {&m::dualobj, &m::maxdeqi, &m::maxdbi, &m::relgap}},
      {&v.suc[1], {&m::dualobj, &m::maxdeqi, &m::maxdbi, &m::maxcompl}},
      {&v.slx[0], {&m::dualobj, &m::maxdeqi, &m::maxdbi}},
      {&v.sux[1], {&m::maxdeqi, &m::maxdbi}},  // of an infinite bound
      {&v.snx[2], {&m::maxdeqi, &m::maxdcni}},
      {&d.task.prob.c[0], {&m::primalobj, &m::maxdeqi}}};
  for (const entry& e : entries) {
    const double kept = *e.place;
    *e.place = nan;
    sol_measures got;
    sol_measureas(d.task, ZLV_SOL_ITR, ZLV_SOL_STA_OPTIMAL, got);
    for (size_t k = 0; k < e.enters.size(); ++k)
      EXPECT_TRUE(std::isnan(got.*e.enters[k])) << (&e - entries) << " " << k;
    *e.place = kept;
  }
  const std::vector<int32_t> members = {1, 0, 2};
  sol_resize(d.task, 2, 3, 1);  // room for the cone's key; the items move
  prob_appendcone(d.task.prob, ZLV_CT_QUAD, 0, members);
  const sol_view moved = sol_items(d.task, ZLV_SOL_ITR);
  for (const int32_t j : members) {
    moved.xx[j] = nan;
    sol_measures got;
    sol_measureas(d.task, ZLV_SOL_ITR, ZLV_SOL_STA_OPTIMAL, got);
    EXPECT_TRUE(std::isnan(got.maxpcni)) << j;
    moved.xx[j] = 0;
  }
}

TEST(SolMeasure, LongSumsLoseNothing) {
  constexpr int32_t n = 100000;
  dense_box d(0, 0);
  prob_append(d.task.prob, acc::var, n);
  const sol_view v = d.solution(ZLV_SOL_BAS);
  for (int32_t j = 0; j < n; ++j) {
    v.xx[j] = 1;
    d.task.prob.c[j] = j % 2 == 0 ? 1e16 + 2.0 * j : -1e16;  // each exact; plain sums lose units
  }
  EXPECT_EQ(sol_primalobj(d.task, ZLV_SOL_BAS), double(n / 2) * double(n / 2 - 1) * 2);
  v.xx[0] = 1e160, v.xx[1] = 1e160, v.xx[2] = 0;  // squares overflow
  const std::vector<int32_t> members = {2, 0, 1};
  prob_appendcone(d.task.prob, ZLV_CT_QUAD, 0, members);
  sol_measures m;
  sol_measure(d.task, ZLV_SOL_BAS, m);
  EXPECT_DOUBLE_EQ(m.maxpcni, 1e160 * std::sqrt(2.0));
}

}  // namespace
