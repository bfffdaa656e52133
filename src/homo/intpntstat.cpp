// Status test of the conic method. Every comparison is written so that a NaN fails it.

#include <algorithm>
#include <cmath>
#include <limits>

#include "homo/intpntco.h"
#include "homo/intpntcone.h"

namespace {

constexpr double noise = 1e-10;  // an objective below this part of its terms is rounding
constexpr double rounding = std::numeric_limits<double>::epsilon();
constexpr double cert_floor = 1e-8;  // least tolerance of the certificates
constexpr double exact_ray = 1e-5;   // part of it that is asked for while tau > kappa

}  // namespace

// y as a ray that proves primal infeasibility, with the cheapest bound multipliers for it. The
// residual, what no bound and no cone can carry of -A'y, and the objective are in the caller's units.
hom_ray intpnt_dualray(const intpnt_state& st) {
  const hom_prob& lp = st.data.lp;
  const hom_point& it = st.it;
  hom_ray ray;
  double objective = st.meas.by, size = 0;
  for (int32_t i = 0; i < lp.m; ++i) size += std::abs(lp.b[i] * it.y[i]);
  auto reduced = [&](int32_t j) { return st.rd[j] - lp.c[j] * it.tau + it.s[j]; };
  // What is rounding of the terms that A'y comes from can't be told from a residual.
  auto note = [&](double wrong, int32_t j) {
    wrong = (wrong + rounding * (std::abs(lp.c[j]) * it.tau + it.s[j])) / lp.colfac[j];
    if (!(wrong <= ray.residual)) ray.residual = wrong;
  };
  size_t k = 0;
  for (int32_t j = 0; j < st.data.numlin; ++j) {
    double d = reduced(j);
    if (k < lp.u.size() && lp.ucol[k] == j) {
      d -= it.v[k];
      objective += lp.u[k] * (it.v[k] - std::max(-d, 0.0));
      size += lp.u[k] * (it.v[k] + std::max(-d, 0.0));
      note(d == d ? 0 : d, j);
      ++k;
    } else {
      note(lp.isfree[j] != 0 ? std::abs(d) : std::max(-d, 0.0), j);
    }
  }
  for (int32_t c = 0; c < st.data.numcone(); ++c) {
    const int32_t first = st.data.conebeg[c];
    double square = 0;
    for (int32_t j = first + 1; j < st.data.conebeg[c + 1]; ++j) {
      square += reduced(j) * reduced(j);
    }
    note(std::max(std::sqrt(square) - reduced(first), 0.0), first);
  }
  ray.residual *= lp.sc;
  ray.objective = objective > noise * size ? objective * lp.sb * lp.sc : 0;
  return ray;
}

// x as a ray that proves dual infeasibility: it is in its cones; residual of A x = 0, x_U + w = 0.
hom_ray intpnt_primalray(const intpnt_state& st) {
  const hom_prob& lp = st.data.lp;
  hom_ray ray;
  for (int32_t i = 0; i < lp.m; ++i) {
    const double own = lp.b[i] * st.it.tau;
    const double e = (std::abs(own - st.rp[i]) + rounding * std::abs(own)) / lp.rowfac[i];
    if (!(e <= ray.residual)) ray.residual = e;
  }
  for (size_t k = 0; k < lp.u.size(); ++k) {
    const double e = std::abs(lp.u[k] * st.it.tau - st.ru[k]) * lp.colfac[lp.ucol[k]];
    if (!(e <= ray.residual)) ray.residual = e;
  }
  // A member that is huge beside the objective leaves open whether the ray is in its cone.
  for (int32_t k = 0; k < st.data.numcone(); ++k) {
    const int32_t first = st.data.conebeg[k];
    ray.residual = std::max(ray.residual, rounding * st.it.x[first] * lp.colfac[first]);
  }
  ray.residual *= lp.sb;
  ray.objective = -st.meas.cx * lp.sb * lp.sc;
  return ray;
}

namespace {

// Which side a tiny tau speaks for, by the signs of c'x and b'y.
hs_status by_signs(double cx, double by) {
  const bool dual = cx >= 0 ? by <= 0 : by <= 0 || by <= -cx;
  return dual ? hs_status::dualinfeas : hs_status::priminfeas;
}

hs_status relaxed(hs_status status, double relax) {
  if (!(relax > 1)) return status;
  if (status == hs_status::priminfeas) return hs_status::nearpriminfeas;
  return status == hs_status::dualinfeas ? hs_status::neardualinfeas : status;
}

hom_verdict certificates(const intpnt_state& st, double relax) {
  const hom_prob& lp = st.data.lp;
  const hs_settings& set = st.set;
  const hom_ray dual = intpnt_dualray(st), primal = intpnt_primalray(st);
  // While tau is above kappa only an all but exact ray counts: a problem with a solution of huge
  // norm has approximate rays.
  const double ask = relax * (st.it.kappa > st.it.tau ? 1 : exact_ray);
  const double infp = dual.residual * std::max(1.0, lp.nrmb),
               infd = primal.residual * std::max(1.0, lp.nrmc);
  const bool isp =
      dual.objective > 0 && infp <= ask * std::max(cert_floor, set.toldfeas) * dual.objective;
  const bool isd =
      primal.objective > 0 && infd <= ask * std::max(cert_floor, set.tolpfeas) * primal.objective;
  if (isp && !(isd && infd * dual.objective < infp * primal.objective)) {
    st.mon.log(6, "Problem is primal infeasible.\n");
    st.mon.log(6, "dfeasinff: %e dfeasinfs: %e nrmbinf: %e\n", dual.residual,
               dual.residual / dual.objective, lp.nrmb);
    st.mon.log(6, "Tolerence: %e %e by: %e tau: %e\n", set.toldfeas, ask, st.meas.by, st.it.tau);
    if (isd) st.mon.log(6, "The problem is primal infeasible\n");
    return {relaxed(hs_status::priminfeas, relax), true};
  }
  if (isd) return {relaxed(hs_status::dualinfeas, relax), true};
  return {};
}

}  // namespace

hom_verdict intpnt_statustest(const intpnt_state& st, double relax) {
  const hom_measures& ms = st.meas;
  const hs_settings& set = st.set;
  const double tau = st.it.tau, kappa = st.it.kappa;
  const bool reduced = ms.mu <= set.tolmured * st.mu0;
  if (reduced && tau <= set.tolinfeas * std::min(1.0, kappa)) {
    st.mon.log(6, "Guessing problem is infeasible.\n");
    if (ms.pfeas <= set.tolpfeas && ms.dfeas <= set.toldfeas) {
      return {relaxed(by_signs(ms.cx, ms.by), relax), true};
    }
  } else if (ms.pfeas <= set.tolpfeas * relax && ms.dfeas <= set.toldfeas * relax) {
    const bool tiny = tau <= set.tolinfeas * std::max(1.0, kappa) &&
                      tau <= std::sqrt(set.tolinfeas) * std::min(1.0, kappa);
    if (!tiny || !reduced || !(ms.gap <= set.tolrelgap * relax)) {
      const double far = 1 + std::max(std::abs(ms.pobj), std::abs(ms.dobj));
      const double gap = relax > 1 ? std::abs(ms.pobj - ms.dobj) / far : ms.gap;
      if (gap <= set.tolrelgap * relax) {
        return {relax > 1 ? hs_status::nearoptimal : hs_status::optimal, true};
      }
    } else {
      st.mon.log(6, "The problem is primal or dual infeasible\n");
      return {relaxed(by_signs(ms.cx, ms.by), relax), true};
    }
  }
  return certificates(st, relax);
}
