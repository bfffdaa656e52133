// Scaling, directions and steps of the conic method.

#include <algorithm>
#include <cmath>

#include "homo/intpntco.h"
#include "homo/intpntcone.h"

namespace {

constexpr double regul_level[] = {1e-10, 1e-8, 1e-6};  // by regularization level; scaled data
constexpr double lag_gap = 1e-3;  // part of the gap's tolerance that is far below it
constexpr double lag_near = 10;   // residuals over their tolerances that one step can take away
constexpr double lag_step = 0.5;  // least step worth taking for that
constexpr double lag_laststep = 0.05;      // the same after a stall
constexpr double near_boundary = 1e3;      // w_0 from where on scalings come from products
constexpr double solve_good = 1e-8;        // relative residual of the systems that is good enough
constexpr double solve_poor = 0.1;         // and one that is no solution
constexpr double solve_gain = 0.1;         // tries that leave more than this part of it are futile
constexpr int32_t solve_rest = 4;          // iterations without any after those
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

void intpnt_linscaling(intpnt_state& st) {
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
}

bool intpnt_initscaling(intpnt_state& st) {
  intpnt_linscaling(st);
  intpnt_scal& sc = st.scal;
  bool inside = true;
  each_cone(st.data, [&](int32_t k, int32_t first, int32_t last) {
    inside &= sc.detx[k] > 0 && sc.dets[k] > 0;
    if (!inside) return;
    sc.eta[k] = cone_scaling(part(st.it.x, first, last), part(st.it.s, first, last), sc.detx[k],
                             sc.dets[k], part(sc.w, first, last), part(sc.lam, first, last));
    inside &= std::isfinite(sc.eta[k]) && std::isfinite(sc.w[first]);
  });
  return inside;
}

namespace {

// Scaling of one cone at the point in st.it, which stands st.alpha along st.dir. Determinants come
// from scaled space, where the point is well inside.
bool advance_cone(intpnt_state& st, int32_t k, int32_t first, int32_t last) {
  intpnt_scal& sc = st.scal;
  for (int32_t j = first; j < last; ++j) {
    st.xnew[j] = sc.lam[j] + st.alpha * st.dir.xt[j];
    st.snew[j] = sc.lam[j] + st.alpha * st.dir.st[j];
  }
  const std::span<double> xt = part(st.xnew, first, last), x = part(st.it.x, first, last),
                          s = part(st.it.s, first, last), w = part(sc.w, first, last),
                          lam = part(sc.lam, first, last);
  const std::span<const double> stil = part(st.snew, first, last);
  const double square = sc.eta[k] * sc.eta[k], detx = cone_det(xt), dets = cone_det(stil);
  sc.detx[k] = detx / square;
  sc.dets[k] = dets * square;
  if (!(detx > 0 && dets > 0)) return false;
  const double settledx = cone_settle(x, sc.detx[k]), settleds = cone_settle(s, sc.dets[k]);
  if (w[0] <= near_boundary) {
    sc.detx[k] = settledx;
    sc.dets[k] = settleds;
    sc.eta[k] = cone_scaling(x, s, settledx, settleds, w, lam);
  } else {
    std::copy(xt.begin(), xt.end(), lam.begin());
    cone_advance(w, sc.eta[k], lam, stil, detx, dets, xt);
  }
  return std::isfinite(sc.eta[k]) && std::isfinite(w[0]);
}

}  // namespace

bool intpnt_updatescaling(intpnt_state& st) {
  const double t = st.alpha;
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
  bool inside = true;
  each_cone(st.data, [&](int32_t k, int32_t first, int32_t last) {
    inside = inside && advance_cone(st, k, first, last);
  });
  intpnt_linscaling(st);
  return inside;
}

namespace {

// The direction p, q of the right-hand side (c - E D u, b). Near the end x / tau and y / tau all but
// solve for it, and what rounding does to numbers of their size would hide p's part across the path,
// so the system is solved for what they leave: pt and q are the differences.
void solve_constant(intpnt_state& st) {
  const hom_prob& lp = st.data.lp;
  const hom_point& it = st.it;
  for (int32_t j = 0; j < lp.n; ++j) st.r1[j] = st.rd[j] / it.tau;
  for (int32_t j = 0; j < st.data.numlin; ++j) {
    st.r1[j] += (lp.isfree[j] != 0 ? st.kkt.proximal * it.x[j] : 2 * it.s[j]) / it.tau;
  }
  for (size_t k = 0; k < lp.u.size(); ++k) {
    st.r1[lp.ucol[k]] -= (2 * it.v[k] + st.dub[k] * st.ru[k]) / it.tau;
  }
  intpnt_bardtimesh(st.data, st.scal, -1, st.r1, st.r1);
  for (int32_t j = st.data.numlin; j < lp.n; ++j) st.r1[j] += 2 * st.scal.lam[j] / it.tau;
  for (int32_t i = 0; i < lp.m; ++i) st.r2[i] = st.rp[i] / it.tau;
  st.residual = intpnt_kktsolve(st.kkt, st.scal, st.r1, st.r2, st.pt, st.q, st.aty);
  for (int32_t j = 0; j < lp.n; ++j) st.cq[j] = (it.s[j] + st.rd[j]) / it.tau - st.aty[j];
  for (int32_t i = 0; i < lp.m; ++i) st.qall[i] = st.q[i] + it.y[i] / it.tau;
  double sum = it.kappa / it.tau;
  for (int32_t j = 0; j < st.data.numlin; ++j) {
    const double w = st.scal.w[j];
    st.ptall[j] = st.pt[j] + w * it.x[j] / it.tau;
    const double p = st.ptall[j] / w;
    sum += p * p * (lp.isfree[j] != 0 ? st.kkt.proximal : it.s[j] / it.x[j]);
  }
  for (size_t k = 0; k < lp.u.size(); ++k) {
    const int32_t j = lp.ucol[k];
    st.cq[j] -= it.v[k] / it.tau;
    st.pmu[k] = st.pt[j] / st.scal.w[j] - (it.w[k] + st.ru[k]) / it.tau;
    sum += st.pmu[k] * st.pmu[k] * st.dub[k];
  }
  for (int32_t j = st.data.numlin; j < lp.n; ++j) {
    st.ptall[j] = st.pt[j] + st.scal.lam[j] / it.tau;
    sum += st.ptall[j] * st.ptall[j];
  }
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
  const double goal = std::max(st.gamma * st.meas.mu, 0.0);  // rounding may leave mu negative
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

// p'H dx for dtau = 0, with p - u at upper bounds.
double weighed_product(const intpnt_state& st, const intpnt_dir& dir) {
  const hom_prob& lp = st.data.lp;
  const hom_point& it = st.it;
  double sum = 0;
  for (int32_t j = 0; j < st.data.numlin; ++j) {
    const double w = st.scal.w[j];
    const double own = lp.isfree[j] != 0 ? st.kkt.proximal : it.s[j] / it.x[j] / (w * w);
    sum += own * st.ptall[j] * dir.xt[j];
  }
  for (size_t k = 0; k < lp.u.size(); ++k) sum += st.pmu[k] * st.dub[k] * dir.d.x[lp.ucol[k]];
  for (int32_t j = st.data.numlin; j < lp.n; ++j) sum += st.ptall[j] * dir.xt[j];
  return sum;
}

}  // namespace

// The numerator of dtau is eta rg + tk / tau + u'dv - b'dy + c'dx. With what p and q solve, the large
// and canceling products become ones with p and with residuals, which go to zero with mu.
void intpnt_formsearch(intpnt_state& st, const intpnt_target& tg, intpnt_dir& dir) {
  const hom_prob& lp = st.data.lp;
  const hom_point& it = st.it;
  hom_point& d = dir.d;
  for (int32_t j = 0; j < lp.n; ++j) st.r1[j] = tg.eta * st.rd[j];
  for (int32_t j = 0; j < st.data.numlin; ++j) {
    if (lp.isfree[j] == 0) st.r1[j] -= tg.xs[j] / it.x[j];
  }
  intpnt_bardtimesh(st.data, st.scal, -1, st.r1, st.r1);
  for (int32_t j = st.data.numlin; j < lp.n; ++j) st.r1[j] -= tg.xs[j];
  for (int32_t i = 0; i < lp.m; ++i) st.r2[i] = tg.eta * st.rp[i];
  double num = tg.eta * st.rg + tg.tk / it.tau + dot(st.qall, st.r2) - dot(st.ptall, st.r1);
  for (size_t k = 0; k < lp.u.size(); ++k) {
    const int32_t j = lp.ucol[k];
    const double part = (tg.wv[k] - it.v[k] * tg.eta * st.ru[k]) / it.w[k];
    st.r1[j] += part / st.scal.w[j];
    num -= st.pmu[k] * part;
  }
  st.residual =
      std::max(st.residual, intpnt_kktsolve(st.kkt, st.scal, st.r1, st.r2, dir.xt, d.y, st.aty));
  // dw and dv for dtau = 0.
  intpnt_bardtimesh(st.data, st.scal, -1, dir.xt, d.x);
  for (size_t k = 0; k < lp.u.size(); ++k) {
    d.w[k] = tg.eta * st.ru[k] - d.x[lp.ucol[k]];
    d.v[k] = (tg.wv[k] - it.v[k] * d.w[k]) / it.w[k];
  }
  const double dt = (num - 2 * weighed_product(st, dir)) / st.den;
  for (int32_t j = 0; j < lp.n; ++j) dir.xt[j] += dt * st.pt[j];
  for (int32_t i = 0; i < lp.m; ++i) d.y[i] += dt * st.qall[i];
  intpnt_bardtimesh(st.data, st.scal, -1, dir.xt, d.x);
  for (int32_t j = 0; j < lp.n; ++j) {
    d.x[j] += dt / it.tau * it.x[j];
    dir.xt[j] += dt * (st.ptall[j] - st.pt[j]);
  }
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

rescode factor_once(intpnt_state& st, const intpnt_pivots& piv) {
  st.piv = piv;
  if (const rescode r = intpnt_kktfactor(st.kkt, st.scal, piv, st.mon); r != rescode::ok) return r;
  solve_constant(st);
  return rescode::ok;
}

// Factor, and the direction of the constant right-hand side. Where that is not solved well, rounding
// has taken a pivot that mattered: rows whose pivots are lost stay in or leave, and other weights on
// the diagonals are tried. The best is kept, for later iterations as well. After tries that gained
// nothing there are none for a while.
rescode factor_and_solve(intpnt_state& st) {
  const double usual = regul_level[st.regulevel];
  const intpnt_pivots first = st.piv.regul > 0 ? st.piv : intpnt_pivots{usual, st.regulevel > 0};
  if (const rescode r = factor_once(st, first); r != rescode::ok) return r;
  const double before = st.residual;
  const bool isgood = before <= solve_good;
  if (isgood || (st.numfutile > 0 && before <= solve_poor)) {
    st.numfutile = isgood ? 0 : st.numfutile - 1;
    return rescode::ok;
  }
  double best = before;
  intpnt_pivots chosen = first;
  const bool keeps = first.keeprow;
  for (const intpnt_pivots& piv :
       {intpnt_pivots{first.regul, !keeps}, intpnt_pivots{usual, keeps},
        intpnt_pivots{usual * 1e3, keeps}, intpnt_pivots{usual * 1e-3, keeps},
        intpnt_pivots{usual * 1e5, keeps}}) {
    if (piv == first) continue;
    if (const rescode r = factor_once(st, piv); r != rescode::ok) return r;
    if (st.residual < best || !(best == best)) {
      best = st.residual;
      chosen = piv;
    }
    if (best <= solve_good) break;
  }
  st.numfutile = best > solve_good && best > solve_gain * before ? solve_rest : 0;
  return chosen == st.piv ? rescode::ok : factor_once(st, chosen);
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

namespace {

// The gap is far below its tolerance, but residuals are not below theirs: rounding holds them up, and
// the nearer to the boundary the worse.
bool lags_behind(const intpnt_state& st) {
  const hom_measures& ms = st.meas;
  const double over = std::max(ms.pfeas / st.set.tolpfeas, ms.dfeas / st.set.toldfeas);
  return ms.gap <= lag_gap * st.set.tolrelgap && st.it.kappa < lag_gap * st.it.tau && over > 1 &&
         over < lag_near;
}

// A direction that takes all of the residuals away and leaves mu where it is.
void restore_feasibility(intpnt_state& st) {
  st.gamma = 1;
  st.numcor = 0;
  set_target(st, nullptr, 1);
  st.target.eta = 1;
  intpnt_formsearch(st, st.target, st.dir);
}

}  // namespace

void intpnt_improvesearch(intpnt_state& st) {
  if (st.mayrestore && lags_behind(st)) {
    restore_feasibility(st);
    st.mayrestore = intpnt_stepsize(st, st.dir) >= (st.regulevel > 0 ? lag_laststep : lag_step);
    if (st.mayrestore) return;
  }
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
