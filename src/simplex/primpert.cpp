#include <algorithm>
#include <cmath>

#include "simplex/primstate.h"

namespace {

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

// What phase 1 or 2 lowers.
double merit_of(const prim_state& p) {
  if (!p.isphase1) return p.gained;
  const sim_state& st = p.st;
  double sum = 0;
  for (int32_t i = 0; i < st.m; ++i) {
    if (p.infeas[i] != 0) sum += std::max(st.lob[i] - st.xb[i], st.xb[i] - st.upb[i]);
  }
  return sum;
}

}  // namespace

void prim_widen(prim_state& p, int32_t k) {
  if (!p.isperturbed) return;
  sim_state& st = p.st;
  const auto away = [&](double bound) {
    return p.pertsize * (1 + st.random.next()) * (1 + std::abs(bound));
  };
  if (std::isfinite(st.lo[k])) st.lo[k] -= away(st.lo[k]);
  if (std::isfinite(st.up[k])) st.up[k] += away(st.up[k]);
}

void prim_watch(prim_state& p) {
  sim_state& st = p.st;
  p.gained -= p.theta * std::abs(p.dq);
  if (++p.numwatch < pert_window) return;
  const double merit = merit_of(p), least = p.isphase1 ? pert_leastinfeas * p.tolp
                                                       : pert_leastobj * (1 + std::abs(st.primobj));
  const bool isprogress = p.isphase1 != p.wasphase1 || merit < p.merit - least;
  p.merit = merit;
  p.wasphase1 = p.isphase1;
  p.numwatch = 0;
  if (isprogress) {
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
  return ischanged;
}
