// The loop of the conic method: state, residuals, starting point, steps, stall handling and the ends
// of the run.

#include "homo/intpntco.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "cpub/callback.h"
#include "homo/intpntcone.h"

namespace {

constexpr double step_factor = 0.99;  // of the step to the boundary
constexpr double step_ray = 0.999;    // the same once tau goes to zero
constexpr double ray_near = 1e-2;     // tau over kappa from where on it does
constexpr double stall_step = 1e-6;   // a shorter step is the end
constexpr double stall_small = 0.05;  // so are several in a row below this
constexpr int stall_numsmall = 5;
constexpr int stall_numbest = 15;       // iterations without a merit below a part of the best
constexpr double stall_merit = 0.9;     // which part
constexpr double stall_mu = 0.1;        // nor a mu below this part of the one before
constexpr double diverge = 1e2;         // infeasibility over the least one: stop
constexpr double diverge_floor = 1e-8;  // unless it is below this
constexpr int32_t maxregulevel = 2;
constexpr double tiny_norm = 1e-8;   // a start that is feasible has no norm to be relative to
constexpr double rounding = 1e-15;   // a bound residual below this part of the bound is noise
constexpr double objerr_gap = 100;   // error of the objective asked for, over the gap's tolerance
constexpr double start_far = 100;    // residual of the rows at the start over b that is far out
constexpr double start_least = 0.1;  // least part of the primal start that is left then
constexpr double inf = std::numeric_limits<double>::infinity();

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

// Largest |v_i| / factor_i.
double weighed(std::span<const double> v, std::span<const double> factor) {
  double most = 0;
  for (size_t i = 0; i < v.size(); ++i) most = nanmax(most, std::abs(v[i]) / factor[i]);
  return most;
}

}  // namespace

intpnt_state::intpnt_state(const intpnt_data& problem, const hs_settings& settings,
                           const monitor& monit, intpnt_kkt& system, memman& mman)
    : data(problem),
      set(settings),
      mon(monit),
      kkt(system),
      it(mm_at(mman)),
      best(mm_at(mman)),
      scal(mm_at(mman)),
      dir(mm_at(mman)),
      aff(mm_at(mman)),
      trial(mm_at(mman)),
      target(mm_at(mman)),
      rp(size_t(problem.lp.m), 0.0, mm_at(mman)),
      ru(problem.lp.u.size(), 0.0, mm_at(mman)),
      rd(size_t(problem.lp.n), 0.0, mm_at(mman)),
      dub(problem.lp.u.size(), 0.0, mm_at(mman)),
      pmu(problem.lp.u.size(), 0.0, mm_at(mman)),
      pt(size_t(problem.lp.n), 0.0, mm_at(mman)),
      q(size_t(problem.lp.m), 0.0, mm_at(mman)),
      ptall(size_t(problem.lp.n), 0.0, mm_at(mman)),
      qall(size_t(problem.lp.m), 0.0, mm_at(mman)),
      cq(size_t(problem.lp.n), 0.0, mm_at(mman)),
      r1(size_t(problem.lp.n), 0.0, mm_at(mman)),
      r2(size_t(problem.lp.m), 0.0, mm_at(mman)),
      aty(size_t(problem.lp.n), 0.0, mm_at(mman)),
      xnew(size_t(problem.lp.n), 0.0, mm_at(mman)),
      snew(size_t(problem.lp.n), 0.0, mm_at(mman)) {
  const hom_prob& lp = problem.lp;
  for (hom_point* point : {&it, &best.it, &dir.d, &aff.d, &trial.d}) hom_resize(*point, lp);
  for (intpnt_dir* direction : {&dir, &aff, &trial}) {
    direction->xt.assign(lp.n, 0.0);
    direction->st.assign(lp.n, 0.0);
  }
  target.xs.assign(lp.n, 0.0);
  target.wv.assign(lp.u.size(), 0.0);
  scal.w.assign(lp.n, 1.0);
  scal.lam.assign(lp.n, 0.0);
  scal.eta.assign(problem.numcone(), 1.0);
  scal.detx.assign(problem.numcone(), 1.0);
  scal.dets.assign(problem.numcone(), 1.0);
}

void intpnt_residuals(intpnt_state& st) {
  const hom_prob& lp = st.data.lp;
  const hom_point& it = st.it;
  hom_measures& ms = st.meas;
  for (int32_t i = 0; i < lp.m; ++i) st.rp[i] = lp.b[i] * it.tau;
  spmat_addatx(spmat_look(lp.at), -1, it.x, st.rp);
  for (int32_t j = 0; j < lp.n; ++j) st.rd[j] = lp.c[j] * it.tau - it.s[j];
  spmat_addatx(spmat_look(lp.a), -1, it.y, st.rd);
  const double tau = it.tau;
  double uv = 0, rub = 0;
  for (size_t k = 0; k < lp.u.size(); ++k) {
    const int32_t j = lp.ucol[k];
    st.ru[k] = lp.u[k] * tau - it.x[j] - it.w[k];
    if (std::abs(st.ru[k]) <= rounding * lp.u[k] * tau) st.ru[k] = 0;
    st.rd[j] += it.v[k];
    uv += lp.u[k] * it.v[k];
    const double unit = lp.colfac[j] * lp.sb;
    rub = nanmax(rub, std::abs(st.ru[k]) * unit / (tau + lp.u[k] * unit * tau));
  }
  ms.cx = dot(lp.c, it.x);
  ms.by = dot(lp.b, it.y) - uv;
  st.rg = it.kappa - ms.by + ms.cx;
  // Near the boundary of a cone the product of its points is rounding.
  const size_t numlin = st.data.numlin;
  const std::span<const double> lam = std::span(st.scal.lam).subspan(numlin);
  const double products = dot(std::span(it.x).first(numlin), it.s) + dot(lam, lam);
  ms.mu = (products + dot(it.w, it.v) + tau * it.kappa) / intpnt_numpairs(st.data);
  ms.kapdivtau = it.kappa / tau;
  ms.pfeas = nanmax(weighed(st.rp, lp.rowfac) * lp.sb / ((1 + lp.nrmb) * tau), rub);
  ms.dfeas = weighed(st.rd, lp.colfac) * lp.sc / (tau * (1 + lp.nrmc));
  ms.pobj = hs_objective(lp, ms.cx / tau);
  ms.dobj = hs_objective(lp, ms.by / tau);
  ms.gap = std::abs(ms.pobj - ms.dobj) / (1 + std::min(std::abs(ms.pobj), std::abs(ms.dobj)));
  const double err = std::abs(dot(it.y, st.rp)) + std::abs(dot(it.x, st.rd));
  st.objerr = err / (tau * tau) * lp.sb * lp.sc / (1 + std::abs(ms.pobj));
  ms.pf = nanmax(maxabs(st.rp), maxabs(st.ru)) / (tau * st.nrm0p);
  ms.df = maxabs(st.rd) / (tau * st.nrm0d);
  ms.gf = std::abs(st.rg) / (tau * st.nrm0g);
  ms.cf = ms.mu / (tau * tau * st.mu0);
  ms.merit = nanmax(nanmax(ms.pf, ms.df), ms.gf) + ms.cf;
}

namespace {

// A multiple of the unit point: x = xip e, s = xid e.
void set_start(intpnt_state& st, double xip, double xid) {
  const hom_prob& lp = st.data.lp;
  hom_point& it = st.it;
  for (int32_t j = 0; j < st.data.numlin; ++j) {
    it.x[j] = lp.isfree[j] != 0 ? 0 : xip;
    it.s[j] = lp.isfree[j] != 0 ? 0 : xid;
  }
  for (size_t k = 0; k < lp.u.size(); ++k) {
    it.x[lp.ucol[k]] = it.w[k] = std::min(lp.u[k] / 2, xip);
    it.v[k] = xid;
  }
  for (int32_t k = 0; k < st.data.numcone(); ++k) {
    it.x[st.data.conebeg[k]] = xip;
    it.s[st.data.conebeg[k]] = xid;
    st.scal.detx[k] = xip * xip;
    st.scal.dets[k] = xid * xid;
  }
  it.tau = 1;
  it.kappa = std::min(1.0, xip * xid);
  intpnt_initscaling(st);
  intpnt_residuals(st);
}

}  // namespace

void intpnt_start(intpnt_state& st) {
  const double nrmb = maxabs(st.data.lp.b), nrmc = maxabs(st.data.lp.c);
  st.mon.log(6, "%-10s: %-12.4e  %-10s: %-12.4e\n", "nrm(b)", nrmb, "nrm(c)", nrmc);
  const double xip = std::max(st.set.psafe, std::sqrt(nrmb));
  const double xid = std::max(st.set.dsafe, std::sqrt(nrmc));
  set_start(st, xip, xid);
  // Where the unit point lies far out, as in sums of thousands, mu would be gone before the residuals.
  const double far = maxabs(st.rp) / std::max(1.0, nrmb);
  if (far > start_far) set_start(st, xip * std::max(start_least, start_far / far), xid);
  st.nrm0p = std::max({maxabs(st.rp), maxabs(st.ru), tiny_norm});
  st.nrm0d = std::max(maxabs(st.rd), tiny_norm);
  st.nrm0g = std::max(std::abs(st.rg), tiny_norm);
  st.mu0 = std::max(st.meas.mu, std::numeric_limits<double>::min());
  intpnt_residuals(st);
}

namespace {

// What the loop remembers from one iteration to the next about progress.
struct progress {
  int numsmall = 0, sincebest = 0;
  double merit = inf, mu = inf, leastinfeas = inf;
};

void note_best(intpnt_state& st, progress& pg) {
  const hom_measures& ms = st.meas;
  if (ms.merit < st.best.merit) {
    st.best.merit = ms.merit;
    st.best.iter = st.iter;
    st.best.it = st.it;
    st.best.scal = st.scal;
  }
  ++pg.sincebest;
  // On the way to a certificate tau and mu fall together and the merit, relative to tau, stays.
  if (ms.merit < stall_merit * pg.merit || ms.mu < stall_mu * pg.mu) {
    pg.merit = std::min(ms.merit, pg.merit);
    pg.mu = std::min(ms.mu, pg.mu);
    pg.sincebest = 0;
  }
  pg.leastinfeas = std::min(pg.leastinfeas, std::max(ms.pf, ms.df));
}

void restore_best(intpnt_state& st) {
  if (!std::isfinite(st.best.merit)) return;
  st.it = st.best.it;
  st.scal = st.best.scal;
  intpnt_linscaling(st);
  intpnt_residuals(st);
  st.mon.log(6, "Restore a previous solution in iter: %d\n", st.best.iter);
}

bool is_stalled(const intpnt_state& st, progress& pg) {
  const hom_measures& ms = st.meas;
  pg.numsmall = st.alpha < stall_small ? pg.numsmall + 1 : 0;
  const double infeas = std::max(ms.pf, ms.df);
  const bool away =
      infeas > diverge * pg.leastinfeas && infeas > diverge_floor && st.it.kappa < st.it.tau;
  const bool isnan = !(ms.merit == ms.merit);
  if (st.alpha >= stall_step && pg.numsmall < stall_numsmall && pg.sincebest < stall_numbest &&
      !isnan && !away) {
    return false;
  }
  st.mon.log(6, "Stalled with a step size of: %e\n", st.alpha);
  return true;
}

// After a stall: the best point again, one regularization level higher. False at the last level.
bool retry_regularized(intpnt_state& st, progress& pg) {
  restore_best(st);
  if (!st.set.useregul || st.regulevel >= maxregulevel) return false;
  ++st.regulevel;
  st.piv = {};
  st.mayrestore = true;
  st.mon.log(6, "Increase the regulevel to %d\n", st.regulevel);
  pg = progress{};
  return true;
}

hom_outcome relaxed_end(intpnt_state& st, rescode code) {
  restore_best(st);
  const hom_measures& ms = st.meas;
  if (code == rescode::trm_stall) {
    st.mon.log(6, "Stalled(%e,%e,%e,%e,%e) due to numerical problems.\n", ms.pfeas, ms.dfeas,
               ms.gap, st.it.tau, st.it.kappa);
  }
  hom_verdict end = intpnt_statustest(st, 1);
  if (!end.stop) end = intpnt_statustest(st, st.set.nearrel);
  if (end.stop) return {end.status, code == rescode::trm_stall ? rescode::ok : code};
  return {hs_status::unknown, code};
}

void fill_info(const intpnt_state& st, hs_info& info) {
  const hom_measures& ms = st.meas;
  info.iter = st.iter;
  info.pfeas = ms.pfeas;
  info.dfeas = ms.dfeas;
  info.kapdivtau = ms.kapdivtau;
  info.pobj = ms.pobj;
  info.dobj = ms.dobj;
  info.mu = ms.mu;
  info.compgap = std::abs(ms.pobj - ms.dobj);
  info.fac = kktfac_getstats(*st.kkt.fac);
}

// Feasibility within tolerance leaves few digits of the objective where multipliers are large: then
// the run goes on as long as it gets anywhere.
bool wants_digits(const intpnt_state& st, const hom_verdict& verdict) {
  const double tol = st.set.tolrelgap;
  return verdict.status == hs_status::optimal &&
         (st.objerr > objerr_gap * tol || st.meas.gap > st.set.gapmore * tol);
}

void choose_step(intpnt_state& st) {
  const double most = intpnt_stepsize(st, st.dir);
  const double ray = st.it.tau < ray_near * st.it.kappa ? step_ray : step_factor;
  st.alpha = std::min(1.0, std::min(ray, st.set.tolrelstep) * most);
  if (st.mon.wants(6)) {
    st.mon.log(6, "%-10s: %-12.4e  %-10s: %-12.4e  %-10s: %-12.4e\n", "apmax", most, "alpha",
               st.alpha, "gamma", st.gamma);
    if (st.alpha < most && most <= 1) st.mon.log(6, "The boundary was hit\n");
  }
}

// Steps behind an optimum, as long as it stays one; the last point that is one is kept.
void center_optimum(intpnt_state& st) {
  for (int32_t k = 0; k < st.set.numcenter; ++k) {
    if (intpnt_center(st) != rescode::ok) return;
    choose_step(st);
    st.best.it = st.it;
    st.best.scal = st.scal;
    const bool inside = intpnt_updatescaling(st);
    intpnt_residuals(st);
    if (inside && intpnt_statustest(st, 1).status == hs_status::optimal) continue;
    st.best.merit = 0;
    restore_best(st);
    return;
  }
}

hom_outcome iterate(intpnt_state& st, hs_info& info) {
  intpnt_start(st);
  if (!intpnt_initscaling(st)) return {hs_status::unknown, rescode::trm_stall};
  hom_loghead(st.mon);
  progress pg;
  bool inside = true;
  for (st.iter = 0;; ++st.iter) {
    fill_info(st, info);
    hom_logrow(st.mon, info);
    intpnt_logtrace(st);
    if (inside) note_best(st, pg);
    if (const hom_verdict now = intpnt_statustest(st, 1); now.stop && !wants_digits(st, now)) {
      return {now.status, rescode::ok};
    }
    if (const rescode r = st.mon.poll(callback_code::im_conic); r != rescode::ok) {
      return relaxed_end(st, r);
    }
    if (st.iter >= st.set.maxiter) return relaxed_end(st, rescode::trm_max_iterations);
    if (st.iter > 0 && (is_stalled(st, pg) || !inside) && !retry_regularized(st, pg)) {
      return relaxed_end(st, rescode::trm_stall);
    }
    if (const rescode r = intpnt_initsearch(st); r != rescode::ok) return relaxed_end(st, r);
    timer clock = timer_start();
    intpnt_improvesearch(st);
    st.times.computesd += timer_wall(clock);
    clock = timer_start();
    choose_step(st);
    inside = intpnt_updatescaling(st);
    intpnt_residuals(st);
    st.times.linesearch += timer_wall(clock);
  }
}

}  // namespace

hom_outcome intpnt_coneopt(intpnt_state& st, hs_info& info) {
  const hom_outcome outcome = iterate(st, info);
  if (outcome.status == hs_status::optimal) center_optimum(st);
  return outcome;
}
