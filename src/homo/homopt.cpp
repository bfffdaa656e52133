// Newton systems, residuals and steps of the homogeneous model. The two-block system
//   -T dx + A'dy = r1,  A dx = r2
// is solved by A Theta A' dy = r2 + A Theta r1, dx = Theta (A'dy - r1), Theta = T^-1 (a large weight
// stands in for the missing T of a free column), then refined against the true T.

#include "homo/homopt.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr double freeweight = 1e-8;  // T of a free column inside the factor; data scaled to about 1
constexpr double free_ahead = 1e6;   // a free column's Theta over the largest of the others
constexpr double solve_good = 1e-10;     // relative residual of p and q that is good enough
constexpr double pivrel_strict = 1e-15;  // pivot rule when it is not, with rows taken out
constexpr double solve_bad = 1e-6;       // and one that says that the system has no solution
constexpr int maxrefine = 4;
constexpr double refine_tol = 1e-12;  // residual of a block relative to its right-hand side: done
constexpr double refine_gain = 0.5;   // a round that does not reduce the residual so is the last
constexpr double rounding = 1e-15;    // a bound residual below this part of the bound is noise
constexpr double theta_max = 1e30, theta_min = 1e-30;

// Largest entry in absolute value; NaN when one is NaN.
double maxabs(std::span<const double> v) {
  double most = 0;
  bool isnan = false;
  for (const double e : v) {
    most = std::max(most, std::abs(e));
    isnan |= !(e == e);
  }
  return isnan ? std::numeric_limits<double>::quiet_NaN() : most;
}

double nanmax(double a, double b) {
  return (a > b || !(a == a)) ? a : b;
}

double dot(std::span<const double> a, std::span<const double> b) {
  double sum = 0;
  for (size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

}  // namespace

void hom_resize(hom_point& point, const hom_prob& prob) {
  point.x.assign(prob.n, 0.0);
  point.s.assign(prob.n, 0.0);
  point.y.assign(prob.m, 0.0);
  point.w.assign(prob.u.size(), 0.0);
  point.v.assign(prob.u.size(), 0.0);
}

hom_state::hom_state(const hom_prob& problem, const hs_settings& settings, const monitor& monit,
                     kktfac& factor, memman& mman)
    : prob(problem),
      set(settings),
      mon(monit),
      fac(factor),
      it(mm_at(mman)),
      best(mm_at(mman)),
      dir(mm_at(mman)),
      aff(mm_at(mman)),
      trial(mm_at(mman)),
      bestmerit(std::numeric_limits<double>::infinity()),
      rp(problem.m, 0.0, mm_at(mman)),
      ru(problem.u.size(), 0.0, mm_at(mman)),
      rd(problem.n, 0.0, mm_at(mman)),
      tdiag(problem.n, 0.0, mm_at(mman)),
      theta(problem.n, 0.0, mm_at(mman)),
      dub(problem.u.size(), 0.0, mm_at(mman)),
      pmu(problem.u.size(), 0.0, mm_at(mman)),
      isupper(problem.u.size(), 0, mm_at(mman)),
      p(problem.n, 0.0, mm_at(mman)),
      q(problem.m, 0.0, mm_at(mman)),
      target(mm_at(mman)),
      r1(problem.n, 0.0, mm_at(mman)),
      r2(problem.m, 0.0, mm_at(mman)),
      e1(problem.n, 0.0, mm_at(mman)),
      e2(problem.m, 0.0, mm_at(mman)),
      sx(problem.n, 0.0, mm_at(mman)),
      sy(problem.m, 0.0, mm_at(mman)) {
  for (hom_point* point : {&it, &best, &dir, &aff, &trial}) hom_resize(*point, problem);
  target.xs.assign(problem.n, 0.0);
  target.wv.assign(problem.u.size(), 0.0);
}

double hom_mu(const hom_prob& prob, const hom_point& pt) {
  const double sum = dot(pt.x, pt.s) + dot(pt.w, pt.v) + pt.tau * pt.kappa;
  return sum / double(prob.n - int32_t(prob.fcol.size()) + int32_t(prob.u.size()) + 1);
}

double hom_centrality(const hom_prob& prob, const hom_point& pt) {
  double least = pt.tau * pt.kappa;
  for (int32_t j = 0; j < prob.n; ++j) {
    if (prob.isfree[j] == 0) least = std::min(least, pt.x[j] * pt.s[j]);
  }
  for (size_t k = 0; k < pt.w.size(); ++k) least = std::min(least, pt.w[k] * pt.v[k]);
  return least;
}

void intpnt_computeresiduals(hom_state& st) {
  const hom_prob& pr = st.prob;
  const hom_point& it = st.it;
  hom_measures& ms = st.meas;
  for (int32_t i = 0; i < pr.m; ++i) st.rp[i] = pr.b[i] * it.tau;
  spmat_addatx(spmat_look(pr.at), -1, it.x, st.rp);
  for (int32_t j = 0; j < pr.n; ++j) st.rd[j] = pr.c[j] * it.tau - it.s[j];
  spmat_addatx(spmat_look(pr.a), -1, it.y, st.rd);
  double uv = 0;
  for (size_t k = 0; k < pr.u.size(); ++k) {
    const int32_t j = pr.ucol[k];
    st.ru[k] = pr.u[k] * it.tau - it.x[j] - it.w[k];
    if (std::abs(st.ru[k]) <= rounding * pr.u[k] * it.tau) st.ru[k] = 0;
    st.rd[j] += it.v[k];
    uv += pr.u[k] * it.v[k];
  }
  ms.cx = dot(pr.c, it.x);
  ms.by = dot(pr.b, it.y) - uv;
  st.rg = it.kappa - ms.by + ms.cx;
  ms.mu = hom_mu(pr, it);
  ms.kapdivtau = it.kappa / it.tau;
  const double tau = it.tau;
  // Bounds one by one: a residual that a far bound would excuse moves a clamped column off its rows.
  double rub = 0;
  for (size_t k = 0; k < pr.u.size(); ++k) {
    const double unit = pr.colfac[pr.ucol[k]] * pr.sb;
    rub = nanmax(rub, std::abs(st.ru[k]) * unit / (tau + pr.u[k] * unit * tau));
  }
  double rpb = 0;
  for (int32_t i = 0; i < pr.m; ++i) rpb = nanmax(rpb, std::abs(st.rp[i]) / pr.rowfac[i]);
  double rdb = 0;
  for (int32_t j = 0; j < pr.n; ++j) rdb = nanmax(rdb, std::abs(st.rd[j]) / pr.colfac[j]);
  ms.pfeas = nanmax(rpb * pr.sb / ((1 + pr.nrmb) * tau), rub);
  ms.dfeas = rdb * pr.sc / (tau * (1 + pr.nrmc));
  ms.pobj = hs_objective(pr, ms.cx / tau);
  ms.dobj = hs_objective(pr, ms.by / tau);
  ms.gap = std::abs(ms.pobj - ms.dobj) / (1 + std::min(std::abs(ms.pobj), std::abs(ms.dobj)));
  ms.pf = nanmax(maxabs(st.rp), maxabs(st.ru)) / (tau * st.nrm0p);
  ms.df = maxabs(st.rd) / (tau * st.nrm0d);
  ms.gf = std::abs(st.rg) / (tau * st.nrm0g);
  ms.cf = ms.mu / (tau * tau * st.mu0);
  ms.merit = nanmax(nanmax(ms.pf, ms.df), ms.gf) + ms.cf;
}

void hom_initnorms(hom_state& st) {
  constexpr double tiny = 1e-8;  // a start that is feasible already has no norm to be relative to
  const double tau = st.it.tau;
  st.nrm0p = std::max({maxabs(st.rp) / tau, maxabs(st.ru) / tau, tiny});
  st.nrm0d = std::max(maxabs(st.rd) / tau, tiny);
  st.nrm0g = std::max(std::abs(st.rg) / tau, tiny);
  st.mu0 = std::max(st.meas.mu / (tau * tau), std::numeric_limits<double>::min());
  intpnt_computeresiduals(st);
}

namespace {

kktfac_regul regul_of(const hom_state& st) {
  constexpr double shift[] = {1e-10, 1e-8, 1e-6};  // by regularization level; scaled data
  kktfac_regul regul;
  regul.shift = shift[st.regulevel];
  return regul;
}

// x, y from the factor alone; r1 and r2 are not changed. x may not alias r1.
void solve_once(hom_state& st, std::span<const double> r1, std::span<const double> r2,
                std::span<double> x, std::span<double> y) {
  for (size_t j = 0; j < x.size(); ++j) x[j] = st.theta[j] * r1[j];
  std::copy(r2.begin(), r2.end(), y.begin());
  spmat_addatx(spmat_look(st.prob.at), 1, x, y);
  kktfac_adasolve(st.fac, y, 1);
  for (size_t j = 0; j < x.size(); ++j) x[j] = -r1[j];
  spmat_addatx(spmat_look(st.prob.a), 1, y, x);
  for (size_t j = 0; j < x.size(); ++j) x[j] *= st.theta[j];
}

}  // namespace

namespace {

// Residuals of both blocks in st.e1 and st.e2; the larger one, relative to right-hand side and solution.
// Without free columns x was made from y so that the first block holds to rounding.
double solve_residual(hom_state& st, std::span<const double> r1, std::span<const double> r2,
                      std::span<const double> x, std::span<const double> y) {
  const hom_prob& pr = st.prob;
  auto relative = [](double residual, double size) { return size > 0 ? residual / size : size; };
  std::copy(r2.begin(), r2.end(), st.e2.begin());
  spmat_addatx(spmat_look(pr.at), -1, x, st.e2);
  const double res2 = relative(maxabs(st.e2), maxabs(r2) + maxabs(x));
  if (pr.fcol.empty()) return res2;
  for (int32_t j = 0; j < pr.n; ++j) st.e1[j] = r1[j] + st.tdiag[j] * x[j];
  spmat_addatx(spmat_look(pr.a), -1, y, st.e1);
  return nanmax(relative(maxabs(st.e1), maxabs(r1) + maxabs(y)), res2);
}

// The correction for st.e1 and st.e2 in st.sx and st.sy.
void solve_correction(hom_state& st) {
  if (!st.prob.fcol.empty()) {
    solve_once(st, st.e1, st.e2, st.sx, st.sy);
    return;
  }
  std::copy(st.e2.begin(), st.e2.end(), st.sy.begin());
  kktfac_adasolve(st.fac, st.sy, 1);
  std::fill(st.sx.begin(), st.sx.end(), 0.0);
  spmat_addatx(spmat_look(st.prob.a), 1, st.sy, st.sx);
  for (size_t j = 0; j < st.sx.size(); ++j) st.sx[j] *= st.theta[j];
}

void add(std::span<double> to, double factor, std::span<const double> from) {
  for (size_t i = 0; i < to.size(); ++i) to[i] += factor * from[i];
}

}  // namespace

double hom_solve(hom_state& st, std::span<const double> r1, std::span<const double> r2,
                 std::span<double> x, std::span<double> y) {
  solve_once(st, r1, r2, x, y);
  double before = std::numeric_limits<double>::infinity();
  for (int round = 0;; ++round) {
    const double now = solve_residual(st, r1, r2, x, y);
    if (round > 0 && !(now < before)) {  // the last round made it worse: take it back
      add(x, -1, st.sx);
      add(y, -1, st.sy);
      return before;
    }
    if (round == maxrefine || !(now > refine_tol) || now > refine_gain * before) return now;
    before = now;
    solve_correction(st);
    add(x, 1, st.sx);
    add(y, 1, st.sy);
  }
}

namespace {

// Factor, and p and q for the right-hand side in r1 and r2, with the residual that they leave. The
// pivot rule takes rows out that look dependent; when the system is not solved without them they come
// back with a stricter rule.
rescode factor_and_solve(hom_state& st, double& residual) {
  kktfac_regul regul = regul_of(st);
  if (const rescode r = kktfac_numfac(st.fac, st.theta, regul, st.mon); r != rescode::ok) return r;
  const double first = residual = hom_solve(st, st.r1, st.r2, st.p, st.q);
  if (first <= solve_good || kktfac_getstats(st.fac).numskipped == 0) return rescode::ok;
  const double usual = regul.pivrel;
  regul.pivrel = pivrel_strict;
  if (const rescode r = kktfac_numfac(st.fac, st.theta, regul, st.mon); r != rescode::ok) return r;
  residual = hom_solve(st, st.r1, st.r2, st.p, st.q);
  if (residual < first) return rescode::ok;
  regul.pivrel = usual;
  if (const rescode r = kktfac_numfac(st.fac, st.theta, regul, st.mon); r != rescode::ok) return r;
  residual = hom_solve(st, st.r1, st.r2, st.p, st.q);
  return rescode::ok;
}

// Dependent free columns whose costs contradict each other leave no p at all (their problem is dual
// infeasible). The weight they have in the factor then counts as theirs: the system is solvable, and
// p is all but the ray. Where that does not help, rows contradict each other, and nothing changes.
void weigh_free_columns(hom_state& st) {
  for (const int32_t j : st.prob.fcol) st.tdiag[j] = 1 / st.theta[j];
  if (hom_solve(st, st.r1, st.r2, st.p, st.q) <= solve_bad) return;
  for (const int32_t j : st.prob.fcol) st.tdiag[j] = 0;
  hom_solve(st, st.r1, st.r2, st.p, st.q);
}

}  // namespace

rescode hom_numfac(hom_state& st) {
  const hom_prob& pr = st.prob;
  const hom_point& it = st.it;
  for (int32_t j = 0; j < pr.n; ++j) st.tdiag[j] = it.s[j] / it.x[j];
  for (const int32_t j : pr.fcol) st.tdiag[j] = 0;
  for (size_t k = 0; k < pr.u.size(); ++k) {
    st.dub[k] = it.v[k] / it.w[k];
    st.tdiag[pr.ucol[k]] += st.dub[k];
  }
  for (int32_t j = 0; j < pr.n; ++j) {
    st.theta[j] = std::clamp(1 / st.tdiag[j], theta_min, theta_max);
  }
  if (!pr.fcol.empty()) {
    double most = 0;
    for (int32_t j = 0; j < pr.n; ++j) {
      if (pr.isfree[j] == 0) most = std::max(most, st.theta[j]);
    }
    const double free = std::clamp(free_ahead * most, 1.0, 1 / freeweight);
    for (const int32_t j : pr.fcol) st.theta[j] = free;
  }
  // A column nearer to its upper bound is solved for p - u: D u alone would swamp everything else.
  std::copy(pr.c.begin(), pr.c.end(), st.r1.begin());
  std::copy(pr.b.begin(), pr.b.end(), st.r2.begin());
  std::fill(st.sx.begin(), st.sx.end(), 0.0);
  for (size_t k = 0; k < pr.u.size(); ++k) {
    const int32_t j = pr.ucol[k];
    const double lower = it.s[j] / it.x[j];
    st.isupper[k] = uint8_t(st.dub[k] > lower);
    if (st.isupper[k] != 0) {
      st.r1[j] += lower * pr.u[k];
      st.sx[j] = -pr.u[k];
    } else {
      st.r1[j] -= st.dub[k] * pr.u[k];
    }
  }
  spmat_addatx(spmat_look(pr.at), 1, st.sx, st.r2);
  double residual = 0;
  if (const rescode r = factor_and_solve(st, residual); r != rescode::ok) return r;
  if (!(residual <= solve_bad) && !pr.fcol.empty()) weigh_free_columns(st);
  double sum = it.kappa / it.tau;
  for (size_t k = 0; k < pr.u.size(); ++k) {
    const int32_t j = pr.ucol[k];
    st.pmu[k] = st.isupper[k] != 0 ? st.p[j] : st.p[j] - pr.u[k];
    if (st.isupper[k] != 0) st.p[j] += pr.u[k];
    sum += st.pmu[k] * st.pmu[k] * st.dub[k];
  }
  for (int32_t j = 0; j < pr.n; ++j) {
    if (pr.isfree[j] == 0) sum += st.p[j] * st.p[j] * (it.s[j] / it.x[j]);
  }
  for (const int32_t j : pr.fcol) sum += st.p[j] * st.p[j] * st.tdiag[j];
  st.den = sum;
  return rescode::ok;
}

rescode hom_lsfactor(hom_state& st) {
  const hom_prob& pr = st.prob;
  std::fill(st.tdiag.begin(), st.tdiag.end(), 1.0);
  for (const int32_t j : pr.ucol) st.tdiag[j] = 2;
  for (int32_t j = 0; j < pr.n; ++j) st.theta[j] = 1 / st.tdiag[j];
  return kktfac_numfac(st.fac, st.theta, regul_of(st), st.mon);
}

void hom_formsearch(hom_state& st, const hom_target& tg, hom_point& dir) {
  const hom_prob& pr = st.prob;
  const hom_point& it = st.it;
  for (int32_t j = 0; j < pr.n; ++j) st.r1[j] = tg.eta * st.rd[j] - tg.xs[j] / it.x[j];
  for (const int32_t j : pr.fcol) st.r1[j] = tg.eta * st.rd[j];
  for (size_t k = 0; k < pr.u.size(); ++k) {
    st.r1[pr.ucol[k]] += (tg.wv[k] - it.v[k] * tg.eta * st.ru[k]) / it.w[k];
  }
  for (int32_t i = 0; i < pr.m; ++i) st.r2[i] = tg.eta * st.rp[i];
  hom_solve(st, st.r1, st.r2, dir.x, dir.y);
  // dw and dv for dtau = 0; u'dv is the part of the numerator that the bounds contribute.
  double udv = 0;
  for (size_t k = 0; k < pr.u.size(); ++k) {
    dir.w[k] = tg.eta * st.ru[k] - dir.x[pr.ucol[k]];
    dir.v[k] = (tg.wv[k] - it.v[k] * dir.w[k]) / it.w[k];
    udv += pr.u[k] * dir.v[k];
  }
  const double num = tg.eta * st.rg + tg.tk / it.tau + udv - dot(pr.b, dir.y) + dot(pr.c, dir.x);
  const double dt = num / st.den;
  for (int32_t j = 0; j < pr.n; ++j) dir.x[j] += dt * st.p[j];
  for (int32_t i = 0; i < pr.m; ++i) dir.y[i] += dt * st.q[i];
  for (size_t k = 0; k < pr.u.size(); ++k) {
    dir.w[k] -= dt * st.pmu[k];
    dir.v[k] += dt * st.pmu[k] * st.dub[k];
  }
  for (int32_t j = 0; j < pr.n; ++j) dir.s[j] = (tg.xs[j] - it.s[j] * dir.x[j]) / it.x[j];
  for (const int32_t j : pr.fcol) dir.s[j] = 0;
  dir.tau = dt;
  dir.kappa = (tg.tk - it.kappa * dt) / it.tau;
}

namespace {

// Largest -d/x; the step to the boundary is its inverse.
double ratio(std::span<const double> x, std::span<const double> d) {
  double most = 0;
  for (size_t i = 0; i < x.size(); ++i) most = std::max(most, -d[i] / x[i]);
  return most;
}

}  // namespace

hom_steps hom_stepsize(const hom_state& st, const hom_point& dir) {
  constexpr double big = 1e10;  // a step without a boundary
  const hom_prob& pr = st.prob;
  const hom_point& it = st.it;
  double rp = ratio(it.w, dir.w), rd = ratio(it.v, dir.v);
  for (int32_t j = 0; j < pr.n; ++j) {
    if (pr.isfree[j] != 0) continue;
    rp = std::max(rp, -dir.x[j] / it.x[j]);
    rd = std::max(rd, -dir.s[j] / it.s[j]);
  }
  const double both = std::max(-dir.tau / it.tau, -dir.kappa / it.kappa);
  rp = std::max({rp, both, 1 / big});
  rd = std::max({rd, both, 1 / big});
  return {1 / rp, 1 / rd};
}

void hom_compnewp(const hom_point& point, const hom_point& dir, double ap, double ad,
                  hom_point& out) {
  const double tp = point.tau + ap * dir.tau, td = point.tau + ad * dir.tau;
  const double tn = std::min(tp, td), fp = tn / tp, fd = tn / td;
  for (size_t j = 0; j < point.x.size(); ++j) out.x[j] = fp * (point.x[j] + ap * dir.x[j]);
  for (size_t k = 0; k < point.w.size(); ++k) out.w[k] = fp * (point.w[k] + ap * dir.w[k]);
  for (size_t j = 0; j < point.s.size(); ++j) out.s[j] = fd * (point.s[j] + ad * dir.s[j]);
  for (size_t k = 0; k < point.v.size(); ++k) out.v[k] = fd * (point.v[k] + ad * dir.v[k]);
  for (size_t i = 0; i < point.y.size(); ++i) out.y[i] = fd * (point.y[i] + ad * dir.y[i]);
  out.tau = tn;
  out.kappa = point.kappa + (tp <= td ? ap : ad) * dir.kappa;
}
