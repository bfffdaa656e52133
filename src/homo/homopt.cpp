// Residuals, Newton directions and steps of the homogeneous model; the linear systems are homsys'.

#include "homo/homopt.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "homo/homquad.h"
#include "homo/homtool.h"

namespace {

constexpr double freeweight = 1e-8;  // T of a free column inside the factor; data scaled to about 1
constexpr double free_ahead = 1e6;   // a free column's Theta over the largest of the others
constexpr double rounding = 1e-15;   // a bound residual below this part of the bound is noise
constexpr double theta_max = 1e30, theta_min = 1e-30;

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
      sy(problem.m, 0.0, mm_at(mman)),
      isbig(kktfac_getstats(factor).form != 0),
      big(isbig ? size_t(problem.n) + problem.m : 0, 0.0, mm_at(mman)),
      zero(isbig ? problem.m : 0, 0.0, mm_at(mman)),
      krylovz(isbig || hom_hasq(problem) ? (size_t(problem.n) + problem.m) * hom_maxkrylov : 0, 0.0,
              mm_at(mman)),
      krylovw(krylovz.size(), 0.0, mm_at(mman)),
      qx(hom_hasq(problem) ? problem.n : 0, 0.0, mm_at(mman)),
      qp(qx.size(), 0.0, mm_at(mman)) {
  for (hom_point* point : {&it, &best, &dir, &aff, &trial}) hom_resize(*point, problem);
  target.xs.assign(problem.n, 0.0);
  target.wv.assign(problem.u.size(), 0.0);
}

double hom_mu(const hom_prob& prob, const hom_point& pt) {
  const double sum = hom_dot(pt.x, pt.s) + hom_dot(pt.w, pt.v) + pt.tau * pt.kappa;
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

namespace {

// tau (c'x + x'Qx / tau - b'y + u'v), from the residuals.
double pair_gap(const hom_state& st) {
  const hom_point& it = st.it;
  return hom_dot(it.x, st.rd) + hom_dot(it.x, it.s) + hom_dot(it.w, it.v) + hom_dot(it.v, st.ru) -
         hom_dot(it.y, st.rp);
}

// The reduced costs of columns between bounds are their residuals, and each counts in the gap of the
// caller's problem with the distance to the bound.
double residual_gap(const hom_state& st) {
  const hom_prob& pr = st.prob;
  double sum = 0;
  size_t k = 0;
  for (int32_t j = 0; j < pr.n; ++j) {
    if (pr.isfree[j] != 0) continue;
    double far = st.it.x[j];
    if (k < pr.ucol.size() && pr.ucol[k] == j) far = std::max(far, st.it.w[k++]);
    sum += std::abs(st.rd[j]) * far;
  }
  for (int32_t i = 0; i < pr.m; ++i) sum += std::abs(st.rp[i] * st.it.y[i]);
  return sum;
}

}  // namespace

void intpnt_computeresiduals(hom_state& st, double alongstep) {
  const hom_prob& pr = st.prob;
  const hom_point& it = st.it;
  hom_measures& ms = st.meas;
  if (st.quads != nullptr && alongstep < 0) homquad_move(*st.quads, it);
  if (st.quads != nullptr && alongstep >= 0) homquad_movealong(*st.quads, it, alongstep);
  for (int32_t i = 0; i < pr.m; ++i) st.rp[i] = pr.b[i] * it.tau;
  spmat_addatx(spmat_look(pr.at), -1, it.x, st.rp);
  if (alongstep >= 0) homquad_reslack(*st.quads, 1 - alongstep * (1 - st.gamma), st.it, st.rp);
  for (int32_t j = 0; j < pr.n; ++j) st.rd[j] = pr.c[j] * it.tau - it.s[j];
  spmat_addatx(spmat_look(pr.a), -1, it.y, st.rd);
  ms.xqx = 0;
  if (hom_hasq(pr)) {
    if (st.quads != nullptr) {
      std::copy(st.quads->qx.begin(), st.quads->qx.end(), st.qx.begin());
    } else {
      std::fill(st.qx.begin(), st.qx.end(), 0.0);
      hom_addqx(pr, 1, it.x, st.qx);
    }
    for (int32_t j = 0; j < pr.n; ++j) st.rd[j] += st.qx[j];
    ms.xqx = hom_dot(st.qx, it.x);
  }
  double uv = 0;
  for (size_t k = 0; k < pr.u.size(); ++k) {
    const int32_t j = pr.ucol[k];
    st.ru[k] = pr.u[k] * it.tau - it.x[j] - it.w[k];
    if (std::abs(st.ru[k]) <= rounding * pr.u[k] * it.tau) st.ru[k] = 0;
    st.rd[j] += it.v[k];
    uv += pr.u[k] * it.v[k];
  }
  ms.cx = hom_dot(pr.c, it.x);
  ms.by = hom_dot(pr.b, it.y) - uv;
  st.rg = it.kappa - ms.by + ms.cx;
  if (hom_hasq(pr)) st.rg += ms.xqx / it.tau;
  // What shifts to bounds make of b and c cancels in the objectives of curved rows; their difference
  // follows from the residuals and products as well.
  const double gap = st.quads != nullptr ? pair_gap(st) : 0;
  if (st.quads != nullptr) st.rg = it.kappa + gap / it.tau;
  ms.mu = hom_mu(pr, it);
  ms.kapdivtau = it.kappa / it.tau;
  const double tau = it.tau;
  // Bounds one by one: a residual that a far bound would excuse moves a clamped column off its rows.
  double rub = 0;
  for (size_t k = 0; k < pr.u.size(); ++k) {
    const double unit = pr.colfac[pr.ucol[k]] * pr.sb;
    rub = hom_nanmax(rub, std::abs(st.ru[k]) * unit / (tau + pr.u[k] * unit * tau));
  }
  double rpb = 0;
  for (int32_t i = 0; i < pr.m; ++i) rpb = hom_nanmax(rpb, std::abs(st.rp[i]) / pr.rowfac[i]);
  double rdb = 0;
  for (int32_t j = 0; j < pr.n; ++j) rdb = hom_nanmax(rdb, std::abs(st.rd[j]) / pr.colfac[j]);
  ms.rubfeas = rub;
  ms.pfeas = hom_nanmax(rpb * pr.sb / ((1 + pr.nrmb) * tau), rub);
  ms.dfeas = rdb * pr.sc / (tau * (1 + pr.nrmc));
  const double half = ms.xqx / tau / 2, shift = st.quads != nullptr ? st.quads->shift : 0;
  ms.pobj = hs_objective(pr, (ms.cx + half) / tau + shift);
  ms.dobj = hs_objective(pr, st.quads != nullptr ? (ms.cx + half) / tau + shift - gap / (tau * tau)
                                                 : (ms.by - half) / tau);
  ms.objerr = st.quads == nullptr
                  ? 0
                  : residual_gap(st) / (tau * tau) * pr.sb * pr.sc / (1 + std::abs(ms.pobj));
  ms.gap = std::abs(ms.pobj - ms.dobj) / (1 + std::min(std::abs(ms.pobj), std::abs(ms.dobj)));
  ms.pf = hom_nanmax(hom_maxabs(st.rp), hom_maxabs(st.ru)) / (tau * st.nrm0p);
  ms.df = hom_maxabs(st.rd) / (tau * st.nrm0d);
  ms.gf = std::abs(st.rg) / (tau * st.nrm0g);
  ms.cf = ms.mu / (tau * tau * st.mu0);
  ms.merit = hom_nanmax(hom_nanmax(ms.pf, ms.df), ms.gf) + ms.cf;
}

void hom_initcomputations(hom_state& st) {
  constexpr double tiny = 1e-8;  // a start that is feasible already has no norm to be relative to
  const double tau = st.it.tau;
  st.nrm0p = std::max({hom_maxabs(st.rp) / tau, hom_maxabs(st.ru) / tau, tiny});
  st.nrm0d = std::max(hom_maxabs(st.rd) / tau, tiny);
  st.nrm0g = std::max(std::abs(st.rg) / tau, tiny);
  st.mu0 = std::max(st.meas.mu / (tau * tau), std::numeric_limits<double>::min());
  intpnt_computeresiduals(st);
}

namespace {

// T, and its inverse with what the free columns get for it.
void set_diagonal(hom_state& st) {
  const hom_prob& pr = st.prob;
  const hom_point& it = st.it;
  for (int32_t j = 0; j < pr.n; ++j) st.tdiag[j] = it.s[j] / it.x[j];
  for (const int32_t j : pr.fcol) st.tdiag[j] = 0;
  for (size_t k = 0; k < pr.u.size(); ++k) {
    st.dub[k] = it.v[k] / it.w[k];
    st.tdiag[pr.ucol[k]] += st.dub[k];
  }
  for (int32_t j = 0; j < int32_t(pr.qdiag.size()); ++j) st.tdiag[j] += pr.qdiag[j];
  for (int32_t j = 0; j < pr.n; ++j) {
    st.theta[j] = std::clamp(1 / st.tdiag[j], theta_min, theta_max);
  }
  if (!pr.bcol.empty()) {
    for (const int32_t j : pr.bcol) st.theta[j] = 0;
    const double most = hom_maxabs(st.theta);
    const double free = std::clamp(free_ahead * most, 1.0, 1 / freeweight);
    for (const int32_t j : pr.bcol) st.theta[j] = free;
  }
}

}  // namespace

rescode hom_numfac(hom_state& st) {
  const hom_prob& pr = st.prob;
  const hom_point& it = st.it;
  if (st.quads != nullptr) homquad_hessian(*st.quads);
  set_diagonal(st);
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
  hom_addqx(pr, -1, st.sx, st.r1);
  if (const rescode r = hom_factorpq(st); r != rescode::ok) return r;
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
  for (const int32_t j : pr.bcol) {
    const double weight = pr.qdiag.empty() ? st.tdiag[j] : st.tdiag[j] - pr.qdiag[j];
    sum += st.p[j] * st.p[j] * weight;
  }
  if (hom_hasq(pr)) {  // (p - x / tau)'Q(p - x / tau)
    for (int32_t j = 0; j < pr.n; ++j) st.sx[j] = st.p[j] - it.x[j] / it.tau;
    std::fill(st.qp.begin(), st.qp.end(), 0.0);
    hom_addqx(pr, 1, st.sx, st.qp);
    sum += std::max(hom_dot(st.qp, st.sx), 0.0);
  }
  st.den = sum;
  return rescode::ok;
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
  for (size_t j = 0; j < tg.rd.size(); ++j) st.r1[j] += tg.rd[j];
  for (size_t i = 0; i < tg.rp.size(); ++i) st.r2[i] += tg.rp[i];
  st.issearch = true;
  hom_solve(st, st.r1, st.r2, dir.x, dir.y);
  // dw and dv for dtau = 0; u'dv is the part of the numerator that the bounds contribute.
  double udv = 0;
  for (size_t k = 0; k < pr.u.size(); ++k) {
    dir.w[k] = tg.eta * st.ru[k] - dir.x[pr.ucol[k]];
    dir.v[k] = (tg.wv[k] - it.v[k] * dir.w[k]) / it.w[k];
    udv += pr.u[k] * dir.v[k];
  }
  double num =
      tg.eta * st.rg + tg.rg + tg.tk / it.tau + udv - hom_dot(pr.b, dir.y) + hom_dot(pr.c, dir.x);
  if (hom_hasq(pr)) num += 2 / it.tau * hom_dot(st.qx, dir.x);
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
  if (hom_hasq(pr)) rp = rd = std::max(rp, rd);
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
