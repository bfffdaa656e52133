#include <algorithm>
#include <cmath>
#include <limits>

#include "simplex/dualstate.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
// Perturbations are this times (1 + |c|) times a factor in [1, 2), and more when costs are large.
constexpr double pert_base = 5e-7;
constexpr double pert_largecost = 100;  // beyond this its fourth root counts
constexpr double pert_fewboxed = 0.01;  // below this share of boxed variables at most 1 counts
constexpr double pert_logical = 1e-12;
// Bounds of the first phase for free variables; others have 1.
constexpr double pert_phase1free = 1000;

bool is_boxed(const sim_state& st, int32_t k) {
  return st.lo[k] != -inf && st.up[k] != inf;
}

}  // namespace

void dual_perturb(dual_state& ds, double factor) {
  sim_state& st = ds.st;
  double bigc = 0;
  int32_t numboxed = 0;
  for (int32_t k = 0; k < st.n; ++k) bigc = std::max(bigc, std::abs(st.cost0[k]));
  for (int32_t k = 0; k < st.nt; ++k) numboxed += is_boxed(st, k);
  if (bigc > pert_largecost) bigc = std::sqrt(std::sqrt(bigc));
  if (numboxed < pert_fewboxed * st.nt) bigc = std::min(bigc, 1.0);
  const double base = factor * pert_base * std::max(bigc, 1e-3);
  for (int32_t k = 0; k < st.nt; ++k) {
    if (k >= st.n) {
      st.cost[k] += (0.5 - st.random.next()) * pert_logical;
      continue;
    }
    if (st.lo[k] == st.up[k] || sim_isfree(st, k)) continue;
    const double size = (1 + std::abs(st.cost0[k])) * base * (1 + st.random.next());
    double sign = st.lo[k] != -inf ? 1 : -1;
    if (is_boxed(st, k))
      sign = (st.pos[k] < 0 && st.move[k] != 0 ? st.move[k] : st.cost[k]) < 0 ? -1 : 1;
    st.cost[k] += sign * size;
  }
  ds.isperturbed = true;
  ++st.info.numperturb;
}

bool dual_restorecosts(dual_state& ds) {
  if (!ds.isperturbed && !ds.isshifted) return false;
  std::copy(ds.st.cost0.begin(), ds.st.cost0.end(), ds.st.cost.begin());
  ds.isperturbed = ds.isshifted = false;
  return true;
}

void dual_shift(dual_state& ds, int32_t k, double d) {
  ds.st.cost[k] += d - ds.st.d[k];
  ds.st.dualobj += (d - ds.st.d[k]) * ds.st.xval[k];
  ds.st.d[k] = d;
  ds.isshifted = true;
}

void dual_correct(dual_state& ds) {
  sim_state& st = ds.st;
  ds.numfree = 0;
  for (int32_t k = 0; k < st.nt; ++k) {
    if (st.pos[k] >= 0) continue;
    if (st.move[k] == 0) {
      if (st.lo[k] == st.up[k]) continue;
      ++ds.numfree;
      if (std::abs(st.d[k]) > ds.told) dual_shift(ds, k, 0);
      continue;
    }
    if (st.d[k] * st.move[k] >= -ds.told) continue;
    if (!is_boxed(st, k)) {
      dual_shift(ds, k, st.move[k] * ds.told * st.random.next());
      continue;
    }
    const double was = st.xval[k];
    st.move[k] = int8_t(-st.move[k]);
    st.xval[k] = st.move[k] > 0 ? st.lo[k] : st.up[k];
    st.dualobj += st.d[k] * (st.xval[k] - was);
    ++st.info.dualflip;
  }
}

void dual_phase1bounds(dual_state& ds) {
  sim_state& st = ds.st;
  for (int32_t k = 0; k < st.nt; ++k) {
    const bool haslo = st.lo0[k] != -inf, hasup = st.up0[k] != inf;
    st.lo[k] = haslo ? 0 : hasup ? -1 : -pert_phase1free;
    st.up[k] = hasup ? 0 : haslo ? 1 : pert_phase1free;
    if (st.pos[k] < 0) sim_side(st, k, st.d[k] >= 0);
  }
  ds.isphase1 = true;
}

void dual_truebounds(dual_state& ds) {
  sim_state& st = ds.st;
  std::copy(st.lo0.begin(), st.lo0.end(), st.lo.begin());
  std::copy(st.up0.begin(), st.up0.end(), st.up.begin());
  for (int32_t k = 0; k < st.nt; ++k) {
    if (st.pos[k] < 0) sim_side(st, k, st.d[k] >= 0);
  }
  ds.isphase1 = false;
}

int32_t dual_numinfeas(const dual_state& ds) {
  const sim_state& st = ds.st;
  int32_t num = 0;
  for (int32_t k = 0; k < st.nt; ++k) {
    if (st.pos[k] >= 0) continue;
    num += (st.up0[k] == inf && st.d[k] < -ds.told) || (st.lo0[k] == -inf && st.d[k] > ds.told);
  }
  return num;
}
