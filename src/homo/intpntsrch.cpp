// Scaling, directions and steps of the conic method.

#include <algorithm>
#include <cmath>

#include "homo/intpntco.h"
#include "homo/intpntcone.h"

namespace {

constexpr double regul_level[] = {1e-10, 1e-8, 1e-6};  // by regularization level; scaled data
constexpr double solve_good = 1e-8;        // relative residual of the systems that is good enough
constexpr double step_big = 1e10;          // a step without a boundary
constexpr double center_beta = 0.1;        // gamma = (1 - aa)^2 min(1 - aa, beta)
constexpr double center_short = 0.3;       // least gamma after a very short affine step
constexpr double affine_short = 0.1;       // what counts as one
constexpr double affine_veryshort = 1e-3;  // the second-order corrector is off below this step
constexpr double corr_worse = 0.3;         // and when the corrected step is this part of the affine
constexpr double cor_ahead = 0.1;  // centrality correctors aim at a step longer by this much
constexpr double cor_bmin = 0.1, cor_bmax = 10;  // products are sent into bmin t .. bmax t
constexpr double cor_gain = 0.01;                // least growth of the step to accept one
constexpr double cor_enough = 0.95;              // a longer step needs no further corrector

// Columns first .. last-1 of a vector, constant or not as the vector is.
template <class V>
auto part(V& v, int32_t first, int32_t last) {
  return std::span(v).subspan(size_t(first), size_t(last - first));
}

double dot(std::span<const double> a, std::span<const double> b) {
  double sum = 0;
  for (size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

// Work on each cone: fn(number, first column, one past the last).
template <class F>
void each_cone(const intpnt_data& data, F&& fn) {
  for (int32_t k = 0; k < data.numcone(); ++k) fn(k, data.conebeg[k], data.conebeg[k + 1]);
}

}  // namespace

int32_t intpnt_numpairs(const intpnt_data& data) {
  return data.numlin - int32_t(data.lp.fcol.size()) + int32_t(data.lp.u.size()) + data.numcone() +
         1;
}

bool intpnt_initscaling(intpnt_state& st) {
  const hom_prob& lp = st.data.lp;
  const hom_point& it = st.it;
  intpnt_scal& sc = st.scal;
  for (int32_t j = 0; j < st.data.numlin; ++j) {
    sc.w[j] = lp.isfree[j] != 0 ? 1 : it.s[j] / it.x[j];
  }
  for (size_t k = 0; k < lp.u.size(); ++k) {
    st.dub[k] = it.v[k] / it.w[k];
    sc.w[lp.ucol[k]] += st.dub[k];
  }
  for (int32_t j = 0; j < st.data.numlin; ++j) sc.w[j] = std::sqrt(sc.w[j]);
  bool inside = true;
  each_cone(st.data, [&](int32_t k, int32_t first, int32_t last) {
    inside &= sc.detx[k] > 0 && sc.dets[k] > 0;
    if (!inside) return;
    sc.eta[k] = cone_scaling(part(it.x, first, last), part(it.s, first, last), sc.detx[k],
                             sc.dets[k], part(sc.w, first, last), part(sc.lam, first, last));
    inside &= std::isfinite(sc.eta[k]) && std::isfinite(sc.w[first]);
  });
  return inside;
}

// The determinants of the new point come from scaled space, where it is well inside the cones.
bool intpnt_updatescaling(intpnt_state& st) {
  const double t = st.alpha;
  each_cone(st.data, [&](int32_t k, int32_t first, int32_t last) {
    for (int32_t j = first; j < last; ++j) {
      st.xnew[j] = st.scal.lam[j] + t * st.dir.xt[j];
      st.snew[j] = st.scal.lam[j] + t * st.dir.st[j];
    }
    const double square = st.scal.eta[k] * st.scal.eta[k];
    st.scal.detx[k] = cone_det(part(st.xnew, first, last)) / square;
    st.scal.dets[k] = cone_det(part(st.snew, first, last)) * square;
  });
  const hom_point& d = st.dir.d;
  auto add = [&](std::span<double> to, std::span<const double> by) {
    for (size_t i = 0; i < to.size(); ++i) to[i] += t * by[i];
  };
  add(st.it.x, d.x);
  add(st.it.s, d.s);
  add(st.it.y, d.y);
  add(st.it.w, d.w);
  add(st.it.v, d.v);
  st.it.tau += t * d.tau;
  st.it.kappa += t * d.kappa;
  return intpnt_initscaling(st);
}

namespace {

// The direction of the right-hand side (c - E D u, b): pt, q, cq = c - A'q and den. A column nearer to
// its upper bound is solved for p - u: D u alone would swamp everything else.
void solve_constant(intpnt_state& st) {
  const hom_prob& lp = st.data.lp;
  const hom_point& it = st.it;
  std::copy(lp.c.begin(), lp.c.end(), st.r1.begin());
  std::copy(lp.b.begin(), lp.b.end(), st.r2.begin());
  std::fill(st.xnew.begin(), st.xnew.end(), 0.0);
  for (size_t k = 0; k < lp.u.size(); ++k) {
    const int32_t j = lp.ucol[k];
    const double lower = it.s[j] / it.x[j];
    st.isupper[k] = uint8_t(st.dub[k] > lower);
    st.r1[j] += st.isupper[k] != 0 ? lower * lp.u[k] : -st.dub[k] * lp.u[k];
    if (st.isupper[k] != 0) st.xnew[j] = -lp.u[k];
  }
  if (!lp.u.empty()) spmat_addatx(spmat_look(lp.at), 1, st.xnew, st.r2);
  intpnt_bardtimesh(st.data, st.scal, -1, st.r1, st.r1);
  st.residual = intpnt_kktsolve(st.kkt, st.scal, st.r1, st.r2, st.pt, st.q, st.aty);
  for (int32_t j = 0; j < lp.n; ++j) st.cq[j] = lp.c[j] - st.aty[j];
  double sum = it.kappa / it.tau;
  for (size_t k = 0; k < lp.u.size(); ++k) {
    const int32_t j = lp.ucol[k];
    const double p = st.pt[j] / st.scal.w[j];
    st.pmu[k] = st.isupper[k] != 0 ? p : p - lp.u[k];
    if (st.isupper[k] != 0) st.pt[j] += lp.u[k] * st.scal.w[j];
    sum += st.pmu[k] * st.pmu[k] * st.dub[k];
  }
  for (int32_t j = 0; j < st.data.numlin; ++j) {
    if (lp.isfree[j] != 0) continue;
    const double p = st.pt[j] / st.scal.w[j];
    sum += p * p * (it.s[j] / it.x[j]);
  }
  for (int32_t j = st.data.numlin; j < lp.n; ++j) sum += st.pt[j] * st.pt[j];
  for (const int32_t j : lp.fcol) sum += st.kkt.proximal * st.pt[j] * st.pt[j];
  st.den = sum;
}

// Affine part of the targets; gt of a cone is -lam.
void set_target(intpnt_state& st, const intpnt_dir* second, double gamma) {
  const hom_point& it = st.it;
  intpnt_target& tg = st.target;
  const double t = gamma * st.meas.mu;
  tg.eta = 1 - gamma;
  for (int32_t j = 0; j < st.data.numlin; ++j) tg.xs[j] = t - it.x[j] * it.s[j];
  for (size_t k = 0; k < it.w.size(); ++k) tg.wv[k] = t - it.w[k] * it.v[k];
  tg.tk = t - it.tau * it.kappa;
  if (second != nullptr) {
    const hom_point& d = second->d;
    for (int32_t j = 0; j < st.data.numlin; ++j) tg.xs[j] -= d.x[j] * d.s[j];
    for (size_t k = 0; k < it.w.size(); ++k) tg.wv[k] -= d.w[k] * d.v[k];
    tg.tk -= d.tau * d.kappa;
  }
  each_cone(st.data, [&](int32_t k, int32_t first, int32_t last) {
    const std::span<double> g = part(tg.xs, first, last);
    const std::span<const double> lam = part(st.scal.lam, first, last);
    std::fill(g.begin(), g.end(), 0.0);
    if (second != nullptr) {
      cone_mul(part(second->xt, first, last), part(second->st, first, last), g);
      for (double& e : g) e = -e;
    }
    g[0] += t;
    const double det = std::sqrt(st.scal.detx[k]) * std::sqrt(st.scal.dets[k]);
    if (second != nullptr || t != 0) cone_div(lam, det, g, g);
    for (size_t i = 0; i < g.size(); ++i) g[i] -= lam[i];
  });
}

// Change of the products, at a step a little ahead, that would send them into their box.
void corrector_target(intpnt_state& st, double t) {
  const hom_point &it = st.it, &d = st.dir.d;
  intpnt_target& tg = st.target;
  const double goal = st.gamma * st.meas.mu;
  auto pushback = [&](double e) {
    return std::max(std::clamp(e, cor_bmin * goal, cor_bmax * goal) - e, -cor_bmax * goal);
  };
  tg.eta = 0;
  for (int32_t j = 0; j < st.data.numlin; ++j) {
    tg.xs[j] = pushback((it.x[j] + t * d.x[j]) * (it.s[j] + t * d.s[j]));
  }
  for (size_t k = 0; k < it.w.size(); ++k) {
    tg.wv[k] = pushback((it.w[k] + t * d.w[k]) * (it.v[k] + t * d.v[k]));
  }
  tg.tk = pushback((it.tau + t * d.tau) * (it.kappa + t * d.kappa));
  each_cone(st.data, [&](int32_t k, int32_t first, int32_t last) {
    for (int32_t j = first; j < last; ++j) {
      st.xnew[j] = st.scal.lam[j] + t * st.dir.xt[j];
      st.snew[j] = st.scal.lam[j] + t * st.dir.st[j];
    }
    const std::span<double> g = part(tg.xs, first, last);
    cone_mul(part(st.xnew, first, last), part(st.snew, first, last), g);
    cone_pushback(g, cor_bmin * goal, cor_bmax * goal);
    const double det = std::sqrt(st.scal.detx[k]) * std::sqrt(st.scal.dets[k]);
    cone_div(part(st.scal.lam, first, last), det, g, g);
  });
}

void combine(const intpnt_dir& a, double om, const intpnt_dir& b, intpnt_dir& out) {
  auto sum = [om](std::span<const double> x, std::span<const double> y, std::span<double> to) {
    for (size_t i = 0; i < to.size(); ++i) to[i] = x[i] + om * y[i];
  };
  sum(a.d.x, b.d.x, out.d.x);
  sum(a.d.s, b.d.s, out.d.s);
  sum(a.d.y, b.d.y, out.d.y);
  sum(a.d.w, b.d.w, out.d.w);
  sum(a.d.v, b.d.v, out.d.v);
  sum(a.xt, b.xt, out.xt);
  sum(a.st, b.st, out.st);
  out.d.tau = a.d.tau + om * b.d.tau;
  out.d.kappa = a.d.kappa + om * b.d.kappa;
}

}  // namespace

void intpnt_formsearch(intpnt_state& st, const intpnt_target& tg, intpnt_dir& dir) {
  const hom_prob& lp = st.data.lp;
  const hom_point& it = st.it;
  hom_point& d = dir.d;
  for (int32_t j = 0; j < lp.n; ++j) st.r1[j] = tg.eta * st.rd[j];
  for (int32_t j = 0; j < st.data.numlin; ++j) {
    if (lp.isfree[j] == 0) st.r1[j] -= tg.xs[j] / it.x[j];
  }
  for (size_t k = 0; k < lp.u.size(); ++k) {
    st.r1[lp.ucol[k]] += (tg.wv[k] - it.v[k] * tg.eta * st.ru[k]) / it.w[k];
  }
  intpnt_bardtimesh(st.data, st.scal, -1, st.r1, st.r1);
  for (int32_t j = st.data.numlin; j < lp.n; ++j) st.r1[j] -= tg.xs[j];
  for (int32_t i = 0; i < lp.m; ++i) st.r2[i] = tg.eta * st.rp[i];
  st.residual =
      std::max(st.residual, intpnt_kktsolve(st.kkt, st.scal, st.r1, st.r2, dir.xt, d.y, st.aty));
  // dw and dv for dtau = 0; u'dv is the part of the numerator that the bounds contribute.
  intpnt_bardtimesh(st.data, st.scal, -1, dir.xt, d.x);
  double udv = 0;
  for (size_t k = 0; k < lp.u.size(); ++k) {
    d.w[k] = tg.eta * st.ru[k] - d.x[lp.ucol[k]];
    d.v[k] = (tg.wv[k] - it.v[k] * d.w[k]) / it.w[k];
    udv += lp.u[k] * d.v[k];
  }
  const double num = tg.eta * st.rg + tg.tk / it.tau + udv - dot(lp.b, d.y) + dot(lp.c, d.x);
  const double dt = num / st.den;
  for (int32_t j = 0; j < lp.n; ++j) dir.xt[j] += dt * st.pt[j];
  for (int32_t i = 0; i < lp.m; ++i) d.y[i] += dt * st.q[i];
  intpnt_bardtimesh(st.data, st.scal, -1, dir.xt, d.x);
  for (size_t k = 0; k < lp.u.size(); ++k) {
    d.w[k] -= dt * st.pmu[k];
    d.v[k] += dt * st.pmu[k] * st.dub[k];
  }
  for (int32_t j = 0; j < st.data.numlin; ++j) {
    d.s[j] = lp.isfree[j] != 0 ? 0 : (tg.xs[j] - it.s[j] * d.x[j]) / it.x[j];
  }
  // From the dual equation, so that what error there is goes into the products.
  for (int32_t j = st.data.numlin; j < lp.n; ++j) {
    d.s[j] = tg.eta * st.rd[j] - st.aty[j] + dt * st.cq[j];
  }
  each_cone(st.data, [&](int32_t k, int32_t first, int32_t last) {
    cone_divw(part(st.scal.w, first, last), st.scal.eta[k], part(d.s, first, last),
              part(dir.st, first, last));
  });
  d.tau = dt;
  d.kappa = (tg.tk - it.kappa * dt) / it.tau;
}

double intpnt_stepsize(const intpnt_state& st, const intpnt_dir& dir) {
  const hom_prob& lp = st.data.lp;
  const hom_point &it = st.it, &d = dir.d;
  double most = std::max({-d.tau / it.tau, -d.kappa / it.kappa, 1 / step_big});
  for (int32_t j = 0; j < st.data.numlin; ++j) {
    if (lp.isfree[j] == 0) most = std::max({most, -d.x[j] / it.x[j], -d.s[j] / it.s[j]});
  }
  for (size_t k = 0; k < it.w.size(); ++k) {
    most = std::max({most, -d.w[k] / it.w[k], -d.v[k] / it.v[k]});
  }
  double step = 1 / most;
  each_cone(st.data, [&](int32_t k, int32_t first, int32_t last) {
    const double det = std::sqrt(st.scal.detx[k]) * std::sqrt(st.scal.dets[k]);
    const std::span<const double> lam = part(st.scal.lam, first, last);
    step = std::min(step, cone_maxstep(lam, det, part(dir.xt, first, last)));
    step = std::min(step, cone_maxstep(lam, det, part(dir.st, first, last)));
  });
  return step;
}

namespace {

// Factor, and the direction of the constant right-hand side. Where that is not solved well, rounding
// has taken a pivot that mattered: other weights on the diagonals are tried, and the best is taken.
rescode factor_and_solve(intpnt_state& st) {
  const double usual = regul_level[st.regulevel];
  const double tries[] = {usual, usual * 1e3, usual * 1e-3, usual * 1e5};
  double best = std::numeric_limits<double>::infinity(), chosen = usual, last = usual;
  for (const double regul : tries) {
    if (const rescode r = intpnt_kktfactor(st.kkt, st.scal, regul, st.mon); r != rescode::ok) {
      return r;
    }
    solve_constant(st);
    last = regul;
    if (st.residual < best) {
      best = st.residual;
      chosen = regul;
    }
    if (st.residual <= solve_good) return rescode::ok;
  }
  if (chosen == last) return rescode::ok;
  if (const rescode r = intpnt_kktfactor(st.kkt, st.scal, chosen, st.mon); r != rescode::ok) {
    return r;
  }
  solve_constant(st);
  return rescode::ok;
}

}  // namespace

rescode intpnt_initsearch(intpnt_state& st) {
  timer clock = timer_start();
  if (const rescode r = factor_and_solve(st); r != rescode::ok) return r;
  st.times.factor += timer_wall(clock);
  clock = timer_start();
  set_target(st, nullptr, 0);
  intpnt_formsearch(st, st.target, st.aff);
  st.aa = std::min(1.0, intpnt_stepsize(st, st.aff));
  st.times.initsd += timer_wall(clock);
  if (st.mon.wants(6)) {
    st.mon.log(6, "%-10s: %-12.4e  %-10s: %-12.4e  %-10s: %-12.4e\n", "aapmax", st.aa, "dtau",
               st.aff.d.tau, "dkappa", st.aff.d.kappa);
  }
  return rescode::ok;
}

void intpnt_improvesearch(intpnt_state& st) {
  const double aa = st.aa;
  st.gamma = (1 - aa) * (1 - aa) * std::min(1 - aa, center_beta);
  if (aa < affine_short) st.gamma = std::max(st.gamma, center_short);
  const bool second = aa >= affine_veryshort;
  set_target(st, second ? &st.aff : nullptr, st.gamma);
  intpnt_formsearch(st, st.target, st.dir);
  double step = intpnt_stepsize(st, st.dir);
  if (second && step < corr_worse * aa) {
    set_target(st, nullptr, st.gamma);
    intpnt_formsearch(st, st.target, st.trial);
    const double plain = intpnt_stepsize(st, st.trial);
    if (plain > step) {
      std::swap(st.dir, st.trial);
      step = plain;
    }
  }
  for (st.numcor = 0; st.numcor < st.maxncor; ++st.numcor) {
    const double now = std::min(1.0, step);
    if (now > cor_enough) break;
    corrector_target(st, std::min(1.0, now + cor_ahead));
    intpnt_formsearch(st, st.target, st.aff);
    double bestgain = cor_gain, bestom = 0;
    for (const double om : {1.0, 0.5, 0.25}) {
      combine(st.dir, om, st.aff, st.trial);
      const double gain = std::min(1.0, intpnt_stepsize(st, st.trial)) - now;
      if (gain > bestgain) {
        bestgain = gain;
        bestom = om;
      }
    }
    if (bestom == 0) {
      ++st.numdropcor;
      break;
    }
    combine(st.dir, bestom, st.aff, st.trial);
    std::swap(st.dir, st.trial);
    step = intpnt_stepsize(st, st.dir);
  }
}

rescode intpnt_center(intpnt_state& st) {
  if (const rescode r = intpnt_initsearch(st); r != rescode::ok) return r;
  st.gamma = 1;
  set_target(st, nullptr, 1);
  intpnt_formsearch(st, st.target, st.aff);
  set_target(st, &st.aff, 1);
  intpnt_formsearch(st, st.target, st.dir);
  if (intpnt_stepsize(st, st.dir) < 1 && intpnt_stepsize(st, st.aff) > 1) {
    std::swap(st.dir, st.aff);
  }
  return rescode::ok;
}
