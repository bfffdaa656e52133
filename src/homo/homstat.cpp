// Status tests of the homogeneous method. Every comparison is written so that a NaN fails it.

#include <algorithm>
#include <cmath>

#include "homo/homopt.h"
#include "homo/homquad.h"
#include "homo/homtool.h"

namespace {
constexpr double rounding = 1e-14;  // of a right-hand side relative to the largest of the caller's
constexpr double noise = 1e-10;  // an objective below this part of the sum of its terms is rounding
}  // namespace

// y as a ray that proves primal infeasibility, with the cheapest bound multipliers for it: the
// interior point's own s and v are both large where a bound is far away and would hide the ray.
// Residual (columns that have no bound to carry d) and objective in the caller's units.
hom_ray hom_dualray(const hom_state& st) {
  const hom_prob& pr = st.prob;
  const hom_point& it = st.it;
  hom_ray ray;
  size_t k = 0;
  double objective = st.meas.by, size = 0;
  double rounded = 0;  // what rounding of shifted right-hand sides may make of a zero
  for (int32_t i = 0; i < pr.m; ++i) {
    size += std::abs(pr.b[i] * it.y[i]);
    rounded += std::abs(it.y[i]) * pr.rowfac[i];
  }
  rounded *= rounding * pr.nrmb / pr.sb;
  for (int32_t j = 0; j < pr.n; ++j) {
    double d = st.rd[j] - pr.c[j] * it.tau + it.s[j];  // -a_j'y
    if (!st.qx.empty()) d -= st.qx[j];
    double wrong = std::max(-d, 0.0);
    if (k < pr.ucol.size() && pr.ucol[k] == j) {
      d -= it.v[k];
      objective += pr.u[k] * (it.v[k] - std::max(-d, 0.0));
      size += pr.u[k] * (it.v[k] + std::max(-d, 0.0));
      wrong = d == d ? 0 : d;
      ++k;
    } else if (pr.isfree[j] != 0) {
      wrong = std::abs(d);
    }
    wrong /= pr.colfac[j];
    if (!(wrong <= ray.residual)) ray.residual = wrong;
  }
  ray.residual *= pr.sc;
  ray.objective = objective > std::max(noise * size, rounded) ? objective * pr.sb * pr.sc : 0;
  return ray;
}

// x as a ray that proves dual infeasibility: residual of A x = 0, x_U + w = 0, Q x = 0 and objective
// -c'x.
hom_ray hom_primalray(const hom_state& st) {
  const hom_prob& pr = st.prob;
  hom_ray ray;
  for (int32_t i = 0; i < pr.m; ++i) {
    const double e = std::abs(pr.b[i] * st.it.tau - st.rp[i]) / pr.rowfac[i];
    if (!(e <= ray.residual)) ray.residual = e;
  }
  for (size_t k = 0; k < pr.u.size(); ++k) {
    const double e = std::abs(pr.u[k] * st.it.tau - st.ru[k]) * pr.colfac[pr.ucol[k]];
    if (!(e <= ray.residual)) ray.residual = e;
  }
  double cx = st.meas.cx;
  if (st.quads != nullptr) {  // what holds of the data at a point is not what holds along a ray
    ray.residual = hom_nanmax(ray.residual, homquad_ray(*st.quads, st.it));
    cx = hom_dot(st.quads->c, st.it.x);
  }
  ray.residual *= pr.sb;
  for (size_t j = 0; j < st.qx.size(); ++j) {
    const double e = std::abs(st.qx[j]) / pr.colfac[j] * pr.sc;
    if (!(e <= ray.residual)) ray.residual = e;
  }
  ray.objective = -cx * pr.sb * pr.sc;
  return ray;
}

namespace {

constexpr double digits = 1e-15;  // a residual below this part of its terms is rounding
constexpr double nearly = 1e6;    // residuals this far above their tolerances may still be it

// Feasibility with what rounding alone leaves in the residuals taken off: multipliers of 1e7 beside
// costs of 1 leave 1e-8 in sums that vanish.
void take_off_rounding(hom_state& st, double& pfeas, double& dfeas) {
  const hom_prob& pr = st.prob;
  const hom_point& it = st.it;
  double most = 0;
  if (hom_hasq(pr)) hom_sizeqx(pr, it.x, st.qp);
  for (int32_t j = 0; j < pr.n; ++j) {
    double size = std::abs(pr.c[j]) * it.tau + it.s[j] + (st.qp.empty() ? 0 : st.qp[j]);
    for (ptrdiff_t p = pr.a.ptr[j]; p < pr.a.ptr[j + 1]; ++p) {
      size += std::abs(pr.a.val[p] * it.y[pr.a.sub[p]]);
    }
    const double e = (std::abs(st.rd[j]) - digits * size) / pr.colfac[j];
    if (!(e <= most)) most = e;
  }
  dfeas = std::min(dfeas, most * pr.sc / (it.tau * (1 + pr.nrmc)));
  most = 0;
  for (int32_t i = 0; i < pr.m; ++i) {
    double size = std::abs(pr.b[i]) * it.tau;
    for (ptrdiff_t p = pr.at.ptr[i]; p < pr.at.ptr[i + 1]; ++p) {
      size += std::abs(pr.at.val[p] * it.x[pr.at.sub[p]]);
    }
    const double e = (std::abs(st.rp[i]) - digits * size) / pr.rowfac[i];
    if (!(e <= most)) most = e;
  }
  pfeas = std::min(pfeas, std::max(most * pr.sb / ((1 + pr.nrmb) * it.tau), st.meas.rubfeas));
}

constexpr double objerr_gap = 10;    // the gap that residuals may make, over the gap's tolerance
constexpr double exact_ray = 1e-5;   // part of the certificate tolerance asked while tau > kappa
constexpr double mured_loose = 100;  // feasibility looser by this once mu has fallen far enough

hom_verdict certificate_test(const hom_state& st, double relax) {
  const hom_prob& pr = st.prob;
  const bool near = relax > 1;
  const hom_ray dual = hom_dualray(st), primal = hom_primalray(st);
  st.mon.log(6, "%-12s: %-12.4e  %-12s: %-12.4e\n", "cert(p)", dual.residual / dual.objective,
             "cert(d)", primal.residual / primal.objective);
  // While tau is above kappa only an all but exact ray counts: a problem with a solution of huge norm
  // has approximate rays.
  const double tol = st.set.tolinfeas * relax * (st.it.kappa > st.it.tau ? 1 : exact_ray);
  if (dual.objective > 0 && dual.residual * std::max(1.0, pr.nrmb) <= tol * dual.objective) {
    return {near ? hs_status::nearpriminfeas : hs_status::priminfeas, true};
  }
  if (primal.objective > 0 && primal.residual * std::max(1.0, pr.nrmc) <= tol * primal.objective) {
    return {near ? hs_status::neardualinfeas : hs_status::dualinfeas, true};
  }
  return {};
}

}  // namespace

hom_verdict hom_statustest(hom_state& st, double relax) {
  const hom_measures& ms = st.meas;
  const hs_settings& set = st.set;
  const double tau = st.it.tau, kappa = st.it.kappa;
  double pfeas = ms.pfeas, dfeas = ms.dfeas;
  const bool isnear =
      pfeas < nearly * set.tolpfeas * relax && dfeas < nearly * set.toldfeas * relax;
  if (isnear && ms.gap <= set.tolrelgap * relax) take_off_rounding(st, pfeas, dfeas);
  if (pfeas < set.tolpfeas * relax && dfeas < set.toldfeas * relax) {
    if (st.mon.wants(6)) st.mon.log(6, "Is HOMO feasible\n");
    if (ms.gap <= set.tolrelgap * relax && ms.objerr <= objerr_gap * set.tolrelgap * relax) {
      return {relax > 1 ? hs_status::nearoptimal : hs_status::optimal, true};
    }
  }
  if (const hom_verdict cert = certificate_test(st, relax); cert.stop) return cert;
  if (ms.mu <= set.tolmured * st.mu0) {
    st.mon.log(6, "Complementarity gap is reduced sufficiently.\n");
    if (tau <= set.tolinfeas * std::max(1.0, kappa)) {
      st.mon.log(6, "Not a certificate yet.\n");
    } else if (tau <= 100 * set.tolinfeas && kappa <= 100 * set.tolinfeas &&
               !(hom_hasq(st.prob) && kappa < tau)) {  // Q alone makes tau as small as x is large
      return {hs_status::illposed, true};
    }
    if (ms.pfeas <= mured_loose * set.tolpfeas && ms.dfeas <= mured_loose * set.toldfeas &&
        ms.gap <= set.tolrelgap && ms.objerr <= objerr_gap * set.tolrelgap) {
      st.mon.log(6, "Solution is optimal.\n");
      return {hs_status::optimal, true};
    }
  }
  return {};
}
