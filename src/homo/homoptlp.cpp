// The loop of the homogeneous method: starting point, search directions with
// correctors, steps, regularization levels, stall handling and the ends of the run.

#include <algorithm>
#include <cmath>
#include <limits>

#include "cpub/callback.h"
#include "homo/homopt.h"
#include "homo/homquad.h"
#include "homo/homtool.h"

namespace {

// Direction.
constexpr double center_beta = 0.1;        // gamma = (1 - aa)^2 min(1 - aa, beta)
constexpr double center_short = 0.3;       // least gamma after a very short affine step
constexpr double affine_short = 0.1;       // what counts as one
constexpr double affine_veryshort = 1e-3;  // the second-order corrector is off below this step
constexpr double corr_worse = 0.3;         // and when the corrected step is this part of the affine
constexpr double cor_ahead = 0.1;  // centrality correctors aim at a step longer by this much
constexpr double cor_bmin = 0.1, cor_bmax = 10;  // products are sent into bmin t .. bmax t
constexpr double cor_gain = 0.02;     // least growth of the two steps together to accept one
constexpr double cor_enough = 0.95;   // both steps longer than this: no further corrector
constexpr int32_t cor_limit = 10;     // most correctors of an iteration
constexpr double start_far = 2;       // of upper bounds, scaled
constexpr double start_least = 1e-4;  // part of the safeguards that always counts
// Steps.
constexpr double step_near = 0.9;  // affine step from which the full step factor is used
constexpr double mu_ahead = 1e-3;  // mu may fall this far below the feasibility factors
constexpr double path_cut = 0.9;
constexpr int path_tries = 12;
constexpr double curved_gain = 0.1;  // part of the promised fall of residuals that is asked for
constexpr double curved_mu = 10;  // residuals over mu, both relative to the start, that may stand
constexpr double curved_long = 0.9, curved_cut = 0.6;  // steps after one that is too long
constexpr int curved_tries = 20;
constexpr double curved_short = 0.5;   // behind a step cut to less than this part
constexpr double curved_center = 0.5;  // the next aims at this part of mu, and residuals, at least
constexpr double curved_tau =
    0.5;  // least part of tau at the end of a direction whose error counts
// Stall.
constexpr double stall_step = 1e-6;
constexpr double stall_small = 0.05;  // five steps below this in a row
constexpr int stall_numsmall = 5;
constexpr int stall_numbest = 15;  // iterations without a merit below 0.9 of the best
constexpr double stall_merit = 0.9;
constexpr double stall_mu = 0.1;  // nor a mu below this part of the one before
constexpr double diverge = 1e2;   // infeasibility over the best one: stop
constexpr int32_t maxregulevel = 2;
constexpr int32_t maxweak = 2;  // bad solves until a quadratic problem changes to the other system

void set_target(const hom_state& st, const hom_point* second, double gamma, hom_target& tg) {
  const hom_prob& pr = st.prob;
  const hom_point& it = st.it;
  const double t = gamma * st.meas.mu;
  tg.eta = 1 - gamma;
  tg.rp.clear();
  tg.rd.clear();
  tg.rg = 0;
  for (int32_t j = 0; j < pr.n; ++j) tg.xs[j] = t - it.x[j] * it.s[j];
  for (size_t k = 0; k < it.w.size(); ++k) tg.wv[k] = t - it.w[k] * it.v[k];
  tg.tk = t - it.tau * it.kappa;
  if (second == nullptr) return;
  for (int32_t j = 0; j < pr.n; ++j) tg.xs[j] -= second->x[j] * second->s[j];
  for (size_t k = 0; k < it.w.size(); ++k) tg.wv[k] -= second->w[k] * second->v[k];
  tg.tk -= second->tau * second->kappa;
  if (st.quads == nullptr || it.tau + second->tau < curved_tau * it.tau) return;
  tg.rp.resize(pr.m);
  tg.rd.resize(pr.n);
  homquad_error(*st.quads, it, *second, tg);
}

// One complementarity product pushed back into its box, as the change wanted.
double pushback(double product, double t) {
  const double wanted = std::clamp(product, cor_bmin * t, cor_bmax * t) - product;
  return std::max(wanted, -cor_bmax * t);
}

void corrector_target(const hom_state& st, double ap, double ad, hom_target& tg) {
  const hom_prob& pr = st.prob;
  const hom_point &it = st.it, &d = st.dir;
  const double t = st.gamma * st.meas.mu;
  tg.eta = 0;
  tg.rp.clear();
  tg.rd.clear();
  tg.rg = 0;
  for (int32_t j = 0; j < pr.n; ++j) {
    tg.xs[j] = pushback((it.x[j] + ap * d.x[j]) * (it.s[j] + ad * d.s[j]), t);
  }
  for (size_t k = 0; k < it.w.size(); ++k) {
    tg.wv[k] = pushback((it.w[k] + ap * d.w[k]) * (it.v[k] + ad * d.v[k]), t);
  }
  const double at = std::min(ap, ad);
  tg.tk = pushback((it.tau + at * d.tau) * (it.kappa + at * d.kappa), t);
}

void combine(const hom_point& a, double om, const hom_point& b, hom_point& out) {
  for (size_t j = 0; j < a.x.size(); ++j) out.x[j] = a.x[j] + om * b.x[j];
  for (size_t j = 0; j < a.s.size(); ++j) out.s[j] = a.s[j] + om * b.s[j];
  for (size_t i = 0; i < a.y.size(); ++i) out.y[i] = a.y[i] + om * b.y[i];
  for (size_t k = 0; k < a.w.size(); ++k) out.w[k] = a.w[k] + om * b.w[k];
  for (size_t k = 0; k < a.v.size(); ++k) out.v[k] = a.v[k] + om * b.v[k];
  out.tau = a.tau + om * b.tau;
  out.kappa = a.kappa + om * b.kappa;
}

// Multiple centrality correctors on st.dir.
void hom_mulcor(hom_state& st) {
  hom_steps steps = hom_stepsize(st, st.dir);
  for (st.numcor = 0; st.numcor < st.maxncor; ++st.numcor) {
    const double ap = std::min(1.0, steps.p), ad = std::min(1.0, steps.d);
    if (ap > cor_enough && ad > cor_enough) break;
    corrector_target(st, std::min(1.0, ap + cor_ahead), std::min(1.0, ad + cor_ahead), st.target);
    hom_formsearch(st, st.target, st.aff);
    double bestgain = cor_gain, bestom = 0;
    for (const double om : {1.0, 0.75, 0.5, 0.25}) {
      combine(st.dir, om, st.aff, st.trial);
      const hom_steps now = hom_stepsize(st, st.trial);
      const double gain = std::min(1.0, now.p) + std::min(1.0, now.d) - ap - ad;
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
    steps = hom_stepsize(st, st.dir);
  }
}

double shift_positive(std::span<double> v, std::span<const uint8_t> isfree) {
  double least = 0;
  for (size_t j = 0; j < v.size(); ++j) {
    if (isfree.empty() || isfree[j] == 0) least = std::min(least, v[j]);
  }
  return -1.5 * least;
}

void add_shift(std::span<double> v, std::span<const uint8_t> isfree, double shift, double floor) {
  for (size_t j = 0; j < v.size(); ++j) {
    if (isfree.empty() || isfree[j] == 0) v[j] = std::max(v[j] + shift, floor);
  }
}

// The safeguards of a quadratic problem shrink with the point that they guard: curvature makes a start
// that is far too large dear.
double start_floor(std::span<const double> v, std::span<const uint8_t> isfree, double shift) {
  double most = shift;
  for (size_t j = 0; j < v.size(); ++j) {
    if (isfree[j] == 0) most = std::max(most, v[j]);
  }
  return std::clamp(most, start_least, 1.0);
}

struct start_sums {
  double x = 0, s = 0, xs = 0;
};

start_sums pair_sums(const hom_prob& pr, const hom_point& it, double dp, double dd) {
  start_sums sum;
  for (int32_t j = 0; j < pr.n; ++j) {
    if (pr.isfree[j] != 0) continue;
    sum.x += it.x[j] + dp;
    sum.s += it.s[j] + dd;
    sum.xs += (it.x[j] + dp) * (it.s[j] + dd);
  }
  for (size_t k = 0; k < it.w.size(); ++k) {
    sum.x += it.w[k] + dp;
    sum.s += it.v[k] + dd;
    sum.xs += (it.w[k] + dp) * (it.v[k] + dd);
  }
  return sum;
}

// Mehrotra's start: least-squares primal and dual points, shifted until all pairs are positive.
rescode least_squares_start(hom_state& st, double psafe, double dsafe) {
  const hom_prob& pr = st.prob;
  hom_point& it = st.it;
  if (const rescode r = hom_lsfactor(st); r != rescode::ok) return r;
  std::fill(st.r1.begin(), st.r1.end(), 0.0);
  // A column with Q starts half-way to its upper bound only where that is near: equal steps make the
  // way back from a far one long.
  const double far = hom_hasq(pr) ? start_far : std::numeric_limits<double>::infinity();
  for (size_t k = 0; k < pr.u.size(); ++k) st.r1[pr.ucol[k]] = -std::min(pr.u[k], far);
  hom_solve(st, st.r1, pr.b, it.x, it.y);
  for (size_t k = 0; k < pr.u.size(); ++k) it.w[k] = pr.u[k] - it.x[pr.ucol[k]];
  // T s = A'y - c; with Q, T s = A'y - c - Q (x + s), and x + s is as good a start.
  std::fill(st.r2.begin(), st.r2.end(), 0.0);
  std::copy(pr.c.begin(), pr.c.end(), st.r1.begin());
  hom_addqx(pr, 1, it.x, st.r1);
  hom_solve(st, st.r1, st.r2, it.s, it.y);
  for (int32_t j = 0; j < pr.n; ++j) {
    const double weight = pr.qdiag.empty() ? st.tdiag[j] : st.tdiag[j] - pr.qdiag[j];
    it.s[j] = pr.isfree[j] != 0 ? 0 : -it.s[j] * weight;
  }
  for (size_t k = 0; k < pr.u.size(); ++k) {
    const double z = it.s[pr.ucol[k]];
    it.s[pr.ucol[k]] = z / 2;
    it.v[k] = -z / 2;
  }
  double dp = std::max(shift_positive(it.x, pr.isfree), shift_positive(it.w, {}));
  double dd = std::max(shift_positive(it.s, pr.isfree), shift_positive(it.v, {}));
  const start_sums sum = pair_sums(pr, it, dp, dd);
  if (sum.s > 0) dp += 0.5 * sum.xs / sum.s;
  if (sum.x > 0) dd += 0.5 * sum.xs / sum.x;
  if (hom_hasq(pr)) {
    psafe *= start_floor(it.x, pr.isfree, dp);
    dsafe *= start_floor(it.s, pr.isfree, dd);
  }
  add_shift(it.x, pr.isfree, dp, psafe);
  add_shift(it.w, {}, dp, psafe);
  add_shift(it.s, pr.isfree, dd, dsafe);
  add_shift(it.v, {}, dd, dsafe);
  return rescode::ok;
}

void constant_start(hom_state& st, double psafe, double dsafe) {
  const hom_prob& pr = st.prob;
  hom_point& it = st.it;
  std::fill(it.x.begin(), it.x.end(), psafe);
  std::fill(it.s.begin(), it.s.end(), dsafe);
  for (const int32_t j : pr.fcol) it.x[j] = it.s[j] = 0;
  std::fill(it.w.begin(), it.w.end(), psafe);
  std::fill(it.v.begin(), it.v.end(), dsafe);
  std::fill(it.y.begin(), it.y.end(), 0.0);
}

bool all_finite(const hom_point& it) {
  double sum = 0;
  for (const double e : it.x) sum += std::abs(e);
  for (const double e : it.s) sum += std::abs(e);
  for (const double e : it.y) sum += std::abs(e);
  return std::isfinite(sum);
}

}  // namespace

rescode hom_start(hom_state& st) {
  st.mon.log(6, "Choose starting point\n");
  if (!st.set.constantstart) {
    if (const rescode r = least_squares_start(st, st.set.psafe, st.set.dsafe); r != rescode::ok) {
      return r;
    }
  }
  if (st.set.constantstart || !all_finite(st.it)) {
    constant_start(st, st.set.psafe, st.set.dsafe);
  }
  hom_point& it = st.it;
  it.tau = 1;
  it.kappa = 0;
  if (st.quads != nullptr) homquad_start(*st.quads, st.set.psafe, st.set.dsafe, it);
  const double mu = hom_mu(st.prob, it);
  const int32_t pairs = st.prob.n - int32_t(st.prob.fcol.size()) + int32_t(it.w.size());
  it.kappa = pairs > 0 ? std::max(mu * double(pairs + 1) / pairs, st.set.dsafe * 1e-3) : 1;
  intpnt_computeresiduals(st);
  hom_initcomputations(st);
  st.mon.log(6, "%-12s: %-12.4e  %-12s: %-12.4e  %-12s: %-12.4e\n", "nrmc", st.prob.nrmc, "nrmb",
             st.prob.nrmb, "nrmu", st.prob.nrmu);
  return rescode::ok;
}

void hom_initsearch(hom_state& st) {
  const kktfac_stats& fs = kktfac_getstats(st.fac);
  // Flops of one factorization, forming counted dearer, against those of the back-substitutions.
  const double factor = fs.flops + 100 * fs.adaflops / 2;
  const double solve = 4 * double(fs.numnz) + 8 * double(st.prob.a.sub.size());
  const double share = factor / (56 * std::max(solve, 1.0));
  st.maxncor = std::clamp(int32_t(std::min(share / 2.5, 100.0)) - 1, 2, cor_limit);
}

void hom_computesearch(hom_state& st) {
  set_target(st, nullptr, 0, st.target);
  hom_formsearch(st, st.target, st.aff);
  const hom_steps aff = hom_stepsize(st, st.aff);
  st.aap = std::min(1.0, aff.p);
  st.aad = std::min(1.0, aff.d);
}

void hom_computesearchr(hom_state& st) {
  const double aa = std::min(st.aap, st.aad);
  st.gamma = (1 - aa) * (1 - aa) * std::min(1 - aa, center_beta);
  if (aa < affine_short) st.gamma = std::max(st.gamma, center_short);
  if (st.cut < curved_short) st.gamma = std::max(st.gamma, curved_center);
  const bool usecorr = aa >= affine_veryshort && st.regulevel < maxregulevel;
  if (!usecorr) st.mon.log(6, "Turn corrector off due to VERY short stepsize\n");
  if (usecorr && st.quads != nullptr) homquad_setalong(*st.quads, st.it, st.aff);
  set_target(st, usecorr ? &st.aff : nullptr, st.gamma, st.target);
  hom_formsearch(st, st.target, st.dir);
  if (usecorr) {
    const hom_steps now = hom_stepsize(st, st.dir);
    if (std::min(now.p, now.d) < corr_worse * aa) {
      st.mon.log(6, "Turn corrector off due to short stepsize compared to affine step.  (%e,%e)\n",
                 std::min(now.p, now.d), aa);
      set_target(st, nullptr, st.gamma, st.target);
      hom_formsearch(st, st.target, st.trial);
      const hom_steps plain = hom_stepsize(st, st.trial);
      if (plain.p + plain.d > now.p + now.d) std::swap(st.dir, st.trial);
    }
  }
  st.numcor = 0;
  if (st.regulevel < maxregulevel) hom_mulcor(st);
  st.mon.log(6, "%-12s: %-12.4e  %-12s: %-12.4e  %-12s: %-12.4e\n", "aapmax", st.aap, "aadmax",
             st.aad, "gamma", st.gamma);
}

namespace {

double hom_infeas(const hom_measures& ms) {
  return hom_nanmax(hom_nanmax(ms.pf, ms.df), ms.gf);
}

// With curved rows residuals do not fall as the step says: the step is shortened until they fall by a part
// of that, or are small beside mu.
void shorten_curved(hom_state& st, double step) {
  const double first = step;
  const hom_measures before = st.meas;
  const double infeas = hom_infeas(before) * st.it.tau;
  homquad_setalong(*st.quads, st.it, st.dir);
  homquad_keeprp(*st.quads, st.rp);
  for (int k = 0;; ++k) {
    hom_compnewp(st.it, st.dir, step, step, st.trial);
    std::swap(st.it, st.trial);
    intpnt_computeresiduals(st, step);
    const double now = hom_infeas(st.meas);
    const double wanted = (1 - curved_gain * step * (1 - st.gamma)) * infeas / st.it.tau;
    if (now <= std::max(wanted, curved_mu * st.meas.cf * st.it.tau) || k == curved_tries) break;
    std::swap(st.it, st.trial);
    step = step > curved_long ? curved_long : curved_cut * step;
  }
  intpnt_computeresiduals(st);
  st.cut = step / first;
  st.alphap = st.alphad = step;
}

// Moves along st.dir: step lengths, then the new point in st.it with its residuals.
void take_step(hom_state& st) {
  const hom_steps most = hom_stepsize(st, st.dir);
  const double aa = std::min(st.aap, st.aad);
  const double rstep =
      std::min(st.set.tolrelstep, aa > step_near ? st.set.tolrelstep : 1 - st.gamma);
  const double factor = std::max(rstep, std::min(0.9, st.set.tolrelstep));
  double ap = std::min(1.0, factor * most.p), ad = std::min(1.0, factor * most.d);
  if (!st.set.diffstep) ap = ad = std::min(ap, ad);
  hom_compnewp(st.it, st.dir, ap, ad, st.trial);
  if (ap != ad) {
    const double eta = 1 - st.gamma, tau = st.it.tau, dt = st.dir.tau;
    const double pf = st.meas.pf * (1 - ap * eta) * tau / (tau + ap * dt);
    const double df = st.meas.df * (1 - ad * eta) * tau / (tau + ad * dt);
    const double tn = st.trial.tau;
    const double cf = hom_mu(st.prob, st.trial) / (tn * tn * st.mu0);
    if (cf < mu_ahead * std::max(pf, df)) {
      ap = ad = std::min(ap, ad);
      hom_compnewp(st.it, st.dir, ap, ad, st.trial);
    }
  }
  for (int k = 0; k < path_tries; ++k) {
    const double mu = hom_mu(st.prob, st.trial);
    if (hom_centrality(st.prob, st.trial) >= st.set.tolpath * mu) break;
    ap *= path_cut;
    ad *= path_cut;
    hom_compnewp(st.it, st.dir, ap, ad, st.trial);
  }
  if (st.quads != nullptr) return shorten_curved(st, std::min(ap, ad));
  st.alphap = ap;
  st.alphad = ad;
  std::swap(st.it, st.trial);
  intpnt_computeresiduals(st);
}

// What the loop remembers from one iteration to the next about progress.
struct progress {
  int numsmall = 0, sincebest = 0;
  double stallmerit = std::numeric_limits<double>::infinity();
  double stallmu = std::numeric_limits<double>::infinity();
  double leastinfeas = std::numeric_limits<double>::infinity();
};

void note_best(hom_state& st, progress& pg) {
  const double merit = st.meas.merit;
  if (merit < st.bestmerit) {
    st.bestmerit = merit;
    st.best = st.it;
  }
  ++pg.sincebest;
  // On the way to a certificate tau and mu fall together and the merit, relative to tau, stays.
  if (merit < stall_merit * pg.stallmerit || st.meas.mu < stall_mu * pg.stallmu) {
    pg.stallmerit = std::min(merit, pg.stallmerit);
    pg.stallmu = std::min(st.meas.mu, pg.stallmu);
    pg.sincebest = 0;
  }
  pg.leastinfeas = std::min(pg.leastinfeas, std::max(st.meas.pf, st.meas.df));
}

bool is_stalled(const hom_state& st, progress& pg) {
  const double step = std::max(st.alphap, st.alphad);
  pg.numsmall = step < stall_small ? pg.numsmall + 1 : 0;
  const bool isnan = !(st.meas.merit == st.meas.merit);
  const bool away = std::max(st.meas.pf, st.meas.df) > diverge * pg.leastinfeas &&
                    std::max(st.meas.pf, st.meas.df) > 1e-8 && st.it.kappa < st.it.tau;
  const bool stalled = !(step >= stall_step) || pg.numsmall >= stall_numsmall ||
                       pg.sincebest >= stall_numbest || isnan || away;
  if (stalled) {
    st.mon.log(6, "The solver is stalled due to the short stepsize %-.2e (lpval: %e).\n", step,
               st.meas.merit);
  }
  return stalled;
}

// After a stall: the best point again, one regularization level higher. False at the last level.
bool retry_regularized(hom_state& st, progress& pg) {
  if (!std::isfinite(st.bestmerit)) return false;
  st.it = st.best;
  intpnt_computeresiduals(st);
  st.mon.log(6, "Restore the solution\n");
  // On the way to a certificate along curved rows only another problem helps.
  if (st.quads != nullptr && st.it.kappa > st.it.tau) return false;
  if (!st.set.useregul || st.regulevel >= maxregulevel) return false;
  ++st.regulevel;
  st.mon.log(6, "Increase the regulevel to %d\n", st.regulevel);
  pg = progress{};
  return true;
}

hom_outcome relaxed_end(hom_state& st, rescode code) {
  if (std::isfinite(st.bestmerit)) st.it = st.best;
  intpnt_computeresiduals(st);
  st.mon.log(6, "Relaxed termination\n");
  hom_verdict end = hom_statustest(st, 1);
  if (!end.stop) end = hom_statustest(st, st.set.nearrel);
  if (end.stop) return {end.status, code == rescode::trm_stall ? rescode::ok : code};
  if (code == rescode::trm_stall) st.mon.log(6, "Terminate due to numerical problems.\n");
  return {hs_status::unknown, code};
}

void fill_info(const hom_state& st, hs_info& info) {
  const hom_measures& ms = st.meas;
  info.pfeas = ms.pfeas;
  info.dfeas = ms.dfeas;
  info.kapdivtau = ms.kapdivtau;
  info.pobj = ms.pobj;
  info.dobj = ms.dobj;
  if (st.set.solvedual) {
    std::swap(info.pfeas, info.dfeas);
    std::swap(info.pobj, info.dobj);
  }
  info.mu = ms.mu;
  info.compgap = std::abs(ms.pobj - ms.dobj);
  info.fac = kktfac_getstats(st.fac);
}

}  // namespace

hom_outcome hom_optlp(hom_state& st, hs_info& info) {
  timer clock = timer_start();
  if (const rescode r = hom_start(st); r != rescode::ok) return {hs_status::unknown, r};
  hom_initsearch(st);
  st.times.init = timer_wall(clock);
  hom_loghead(st.mon);
  progress pg;
  for (info.iter = 0;; ++info.iter) {
    fill_info(st, info);
    hom_logrow(st.mon, info);
    hom_logtrace(st);
    note_best(st, pg);
    if (const hom_verdict now = hom_statustest(st, 1); now.stop) return {now.status, rescode::ok};
    if (const rescode r = st.mon.poll(callback_code::im_intpnt); r != rescode::ok) {
      return relaxed_end(st, r);
    }
    if (info.iter >= st.set.maxiter) return relaxed_end(st, rescode::trm_max_iterations);
    if (info.iter > 0 && is_stalled(st, pg) && !retry_regularized(st, pg)) {
      return relaxed_end(st, rescode::trm_stall);
    }
    clock = timer_start();
    if (const rescode r = hom_numfac(st); r != rescode::ok) return relaxed_end(st, r);
    st.times.factor += timer_wall(clock);
    if (st.numweak > maxweak && st.set.system == hs_system::free) {
      return relaxed_end(st, rescode::trm_stall);
    }
    clock = timer_start();
    hom_computesearch(st);
    hom_computesearchr(st);
    st.times.computesd += timer_wall(clock);
    clock = timer_start();
    take_step(st);
    st.times.linesearch += timer_wall(clock);
  }
}
