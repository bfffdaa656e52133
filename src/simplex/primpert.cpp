#include <algorithm>
#include <cmath>
#include <limits>

#include "simplex/primstate.h"

namespace {

constexpr double pert_inf = std::numeric_limits<double>::infinity();
// Iterations between two looks at the progress.
constexpr int32_t pert_window = 100;
// Progress: the sum of infeasibilities fell by more than so many tolerances, or the objective by more
// than this share of it.
constexpr double pert_leastinfeas = 10.0, pert_leastobj = 1e-10;
// By how much bounds are widened, relative to 1 + |bound|: at first, by which factor more each time,
// at most.
constexpr double pert_first = 5e-7, pert_grow = 10.0, pert_most = 1e-4;
// Where bounds may not be widened, so many entering variables are chosen by chance, and until there
// is progress the ratio tests relax bounds by this only: then no step undoes another one.
constexpr int32_t pert_numrandom = 10;
constexpr double pert_strict = 1e-11;

// What phase 1 or 2 lowers; in phase 2 without what bounds taken along have brought.
double merit_of(const prim_state& p) {
  const sim_state& st = p.st;
  double sum = 0;
  if (!p.isphase1 || p.costshare > 0) {
    for (int32_t k = 0; k < st.nt; ++k) {
      if (st.cost0[k] != 0) sum += st.cost0[k] * (st.pos[k] >= 0 ? st.xb[st.pos[k]] : st.xval[k]);
    }
    if (!p.isphase1) return sum + p.borrowed;
    sum *= p.costshare;
  }
  for (int32_t i = 0; i < st.m; ++i) {
    if (p.infeas[i] != 0) sum += std::max(st.lob[i] - st.xb[i], st.xb[i] - st.upb[i]);
  }
  return sum;
}

// Whether a merit is better than any before it. Where the phases alternate because of rounding, what
// phase 1 does is progress only until it comes to the same infeasibility again.
bool is_progress(prim_state& p) {
  const double merit = merit_of(p);
  const double least =
      p.isphase1 ? pert_leastinfeas * p.tolp : pert_leastobj * (1 + std::abs(merit));
  double& best = p.isphase1 ? p.bestsum : p.bestobj;
  if (!(merit < best - least)) return false;
  best = merit;
  if (!p.isphase1) p.bestsum = pert_inf;
  return true;
}

}  // namespace

void prim_widen(prim_state& p, int32_t k) {
  if (!p.isperturbed) return;
  sim_state& st = p.st;
  const auto away = [&](double bound) {
    return p.pertsize * (1 + st.random.next()) * (1 + std::abs(bound));
  };
  // From the true bounds: what was widened already must not grow with every entry into the basis.
  if (std::isfinite(st.lo0[k])) st.lo[k] = std::min(st.lo[k], st.lo0[k] - away(st.lo0[k]));
  if (std::isfinite(st.up0[k])) st.up[k] = std::max(st.up[k], st.up0[k] + away(st.up0[k]));
}

void prim_watch(prim_state& p) {
  sim_state& st = p.st;
  if (!p.isphase1) p.gained -= p.theta * std::abs(p.dq);
  if (++p.numwatch < pert_window) return;
  p.numwatch = 0;
  if (is_progress(p)) {
    p.tolh = p.tolp;
    p.numidle = 0;
    return;
  }
  if (!p.mayperturb || (p.isperturbed && p.pertsize >= pert_most)) {
    p.numrandom = pert_numrandom;
    p.tolh = pert_strict;
    ++p.numidle;
    return;
  }
  p.pertsize = p.isperturbed ? std::min(p.pertsize * pert_grow, pert_most)
                             : std::max(p.pertsize, pert_first);
  p.isperturbed = true;
  ++st.info.numperturb;
  for (int32_t i = 0; i < st.m; ++i) {
    const int32_t k = st.basic[i];
    if (p.isphase1 && p.infeas[i] != 0) continue;
    prim_widen(p, k);
    st.lob[i] = st.lo[k];
    st.upb[i] = st.up[k];
  }
}

bool prim_restore(prim_state& p) {
  const bool ischanged = p.isperturbed || p.isshifted;
  sim_truedata(p.st);
  p.isperturbed = p.isshifted = false;
  p.bestobj = p.bestsum = pert_inf;
  p.borrowed = 0;
  return ischanged;
}
