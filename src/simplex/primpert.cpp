#include <algorithm>
#include <cmath>

#include "simplex/primstate.h"

namespace {

// Degenerate steps in a row before bounds are widened.
constexpr int32_t pert_patience = 100;
// By how much, relative to 1 + |bound|: at first, by which factor more each time, at most.
constexpr double pert_first = 5e-7, pert_grow = 10.0, pert_most = 1e-4;
// A step of phase 1 that lowers the sum of infeasibilities by at most this many tolerances counts as
// degenerate.
constexpr double pert_progress = 10.0;
// Places of the table of bases that were seen; a power of two.
constexpr size_t pert_tablesize = 4096;

uint64_t mixed(uint64_t k) {  // Steele, Lea, Flood, "Fast splittable generators" (2014)
  k = (k + 1) * 0x9e3779b97f4a7c15u;
  k = (k ^ (k >> 30)) * 0xbf58476d1ce4e5b9u;
  k = (k ^ (k >> 27)) * 0x94d049bb133111ebu;
  return k ^ (k >> 31);
}

// Whether this basis was met before without progress since.
bool is_repeated(prim_state& p) {
  uint64_t& place = p.seen[p.hash & (pert_tablesize - 1)];
  if (place == p.hash) return true;
  place = p.hash;
  return false;
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

void prim_hash(prim_state& p, int32_t entering, int32_t leaving) {
  p.hash ^= mixed(uint64_t(entering)) ^ mixed(uint64_t(leaving));
}

bool prim_stall(prim_state& p) {
  sim_state& st = p.st;
  const double least = p.isphase1 ? pert_progress * p.tolp / std::abs(p.dq) : 0;
  if (p.theta > std::max(prim_degenerate, least)) {
    if (p.numstall > 0) std::fill(p.seen.begin(), p.seen.end(), uint64_t(0));
    p.numstall = 0;
    return false;
  }
  ++p.numstall;
  if (p.seen.empty()) p.seen.assign(pert_tablesize, 0);
  if (!is_repeated(p) && p.numstall < pert_patience) return false;
  if (!p.mayperturb || (p.isperturbed && p.pertsize >= pert_most)) return false;
  p.pertsize = p.isperturbed ? std::min(p.pertsize * pert_grow, pert_most)
                             : std::max(p.pertsize, pert_first);
  p.isperturbed = true;
  p.numstall = 0;
  std::fill(p.seen.begin(), p.seen.end(), uint64_t(0));
  ++st.info.numperturb;
  for (int32_t i = 0; i < st.m; ++i) {
    const int32_t k = st.basic[i];
    if (p.isphase1 && p.infeas[i] != 0) continue;
    prim_widen(p, k);
    st.lob[i] = st.lo[k];
    st.upb[i] = st.up[k];
  }
  return true;
}

bool prim_restore(prim_state& p) {
  const bool ischanged = p.isperturbed || p.isshifted;
  sim_truedata(p.st);
  p.isperturbed = p.isshifted = false;
  return ischanged;
}
