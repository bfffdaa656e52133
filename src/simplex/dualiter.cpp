#include <algorithm>
#include <cmath>
#include <utility>

#include "simplex/dualstate.h"

namespace {

// Times that a leaving row is chosen anew because its stored weight was far off, per iteration.
constexpr int32_t iter_maxchoice = 50;
// Times that an entering variable is dropped for its small pivot before the row is given up.
constexpr int32_t iter_maxdrop = 5;
// The threshold of the factorization grows by the step up to the most when pivots differ.
constexpr double iter_pivstep = 5, iter_maxpivrel = 0.5;
// Steps without progress before the bases visited are remembered.
constexpr int32_t iter_stall = 200;
constexpr double iter_progress = 1e-10;  // of the dual objective, relative

double sum_squares(const lu_vector& v) {
  double sum = 0;
  for (int32_t t = 0; t < v.num; ++t) sum += v.val[v.ind[t]] * v.val[v.ind[t]];
  return sum;
}

// The leaving row with its row of the inverse in rho, chosen by weights that are true.
bool choose_row(dual_state& ds) {
  for (int32_t tries = 0;; ++tries) {
    ds.p = dual_chuzr(ds);
    if (ds.p < 0) return false;
    lu_vecclear(ds.rho);
    lu_vecset(ds.rho, ds.p, 1.0);
    sim_btran(ds.st, ds.rho);
    if (ds.rule != sim_selection::se) break;
    const double stored = ds.weight[ds.p], sum = std::max(sum_squares(ds.rho), dual_minweight);
    ds.weight[ds.p] = sum;
    if (stored >= dual_weightfault * sum || tries >= iter_maxchoice) break;
  }
  const sim_state& st = ds.st;
  const double x = st.xb[ds.p];
  ds.moveout = x < st.lob[ds.p] ? -1 : 1;
  ds.delta = x - (ds.moveout < 0 ? st.lob[ds.p] : st.upb[ds.p]);
  return true;
}

void drop(dual_state& ds, int32_t k) {
  ds.isdropped[k] = 1;
  ds.dropped.push_back(k);
}
void clear_dropped(dual_state& ds) {
  for (const int32_t k : ds.dropped) ds.isdropped[k] = 0;
  ds.dropped.clear();
}

// The entering variable with its column; looks again for one when the pivot is not good. rebuild: the
// factors should be made anew, or the row was made taboo. A pivot that is small beside its row of the
// inverse may be no more than the rounding error of its sum.
dual_action choose_column(dual_state& ds) {
  sim_state& st = ds.st;
  const double rownorm = std::sqrt(sum_squares(ds.rho));
  for (int32_t tries = 0;; ++tries) {
    if (dual_chuzc(ds) == dual_action::noenter) {
      if (tries == 0) return dual_action::noenter;
      break;
    }
    const double size = std::abs(ds.alpharow);
    const double least = std::max(dual_pivleast * st.set.tolpiv, dual_pivrelrow * rownorm);
    if (!st.isfresh && size < std::max(dual_pivaccept * st.set.tolpiv, least))
      return dual_action::rebuild;
    if (size >= least) {
      lu_vecclear(ds.col);
      sim_column(st, ds.q, ds.col);
      sim_ftran(st, ds.col, true);
      ds.alpha = ds.col.val[ds.p];
      const double diff = std::abs(ds.alpha - ds.alpharow);
      if (diff <= dual_pivdiffer * std::min(size, std::abs(ds.alpha))) return dual_action::ok;
      if (!st.isfresh) {
        st.pivrel = std::min(iter_maxpivrel, iter_pivstep * st.pivrel);
        return dual_action::rebuild;
      }
      if (diff <= dual_pivdifferfresh * std::abs(ds.alpha)) return dual_action::ok;
    }
    if (tries >= iter_maxdrop) break;
    drop(ds, ds.q);
  }
  dual_maketaboo(ds, ds.p);
  return dual_action::rebuild;
}

void update_duals(dual_state& ds) {
  sim_state& st = ds.st;
  const double theta = st.d[ds.q] / ds.alpha;
  ds.thetad = theta;
  if (theta != 0) {
    for (int32_t t = 0; t < ds.packnum; ++t) st.d[ds.packind[t]] -= theta * ds.packval[t];
  }
  st.d[ds.q] = 0;
  st.d[st.basic[ds.p]] = -theta;
}

uint64_t mix(uint64_t x) {  // splitmix64
  x += 0x9e3779b97f4a7c15ull;
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ull;
  x = (x ^ (x >> 27)) * 0x94d049bb133111ebull;
  return x ^ (x >> 31);
}

// Whether the basis of this hash was there since the last progress; remembers it.
bool seen_before(dual_state& ds, uint64_t hash) {
  if (hash == 0) hash = 1;
  if (2 * (size_t(ds.numseen) + 1) > ds.seen.size()) {
    mm_vector<uint64_t> old(ds.seen.get_allocator());
    old.swap(ds.seen);
    ds.seen.assign(std::max<size_t>(1024, 4 * old.size()), 0);
    for (const uint64_t h : old) {
      if (h == 0) continue;
      auto at = size_t(h & (ds.seen.size() - 1));
      while (ds.seen[at] != 0) at = (at + 1) & (ds.seen.size() - 1);
      ds.seen[at] = h;
    }
  }
  auto at = size_t(hash & (ds.seen.size() - 1));
  while (ds.seen[at] != 0) {
    if (ds.seen[at] == hash) return true;
    at = (at + 1) & (ds.seen.size() - 1);
  }
  ds.seen[at] = hash;
  ++ds.numseen;
  return false;
}

// Cycling guard: an exchange that leads back to a basis met since the last progress is refused.
bool is_cycling(dual_state& ds) {
  sim_state& st = ds.st;
  if (std::abs(st.dualobj - ds.stallobj) > iter_progress * (1 + std::abs(ds.stallobj))) {
    ds.stallobj = st.dualobj;
    ds.numstall = 0;
    if (ds.numseen > 0) {
      std::fill(ds.seen.begin(), ds.seen.end(), 0);
      ds.numseen = 0;
    }
  }
  ds.hash ^= mix(uint64_t(st.basic[ds.p])) ^ mix(uint64_t(ds.q));
  if (++ds.numstall < iter_stall || !ds.flips.empty() || !seen_before(ds, ds.hash)) return false;
  ds.hash ^= mix(uint64_t(st.basic[ds.p])) ^ mix(uint64_t(ds.q));
  return true;
}

void count_iteration(dual_state& ds) {
  sim_info& info = ds.st.info;
  ++info.dualiter;
  info.dualinf += ds.isphase1;
  info.dualdeg += std::abs(ds.thetad) <= dual_degenerate;
}

// The exchange itself, with all that follows from it.
dual_action make_step(dual_state& ds) {
  sim_state& st = ds.st;
  if (ds.rule == sim_selection::se) {
    lu_vecclear(ds.tau);
    for (int32_t t = 0; t < ds.rho.num; ++t) {
      lu_vecset(ds.tau, ds.rho.ind[t], ds.rho.val[ds.rho.ind[t]]);
    }
    sim_ftran(st, ds.tau);
  }
  dual_doflips(ds);
  const double x = st.xb[ds.p], bound = ds.moveout < 0 ? st.lob[ds.p] : st.upb[ds.p];
  const double thetap = (x - bound) / ds.alpha;
  update_duals(ds);
  st.dualobj += ds.thetad * (x - bound);
  dual_updaterows(ds, thetap);
  count_iteration(ds);
  const double xq = st.xval[ds.q] + thetap;
  const lu_state s = sim_exchange(st, ds.p, ds.q, ds.alpha, xq, ds.moveout > 0);
  dual_judge(ds, ds.p);
  dual_heat(ds, ds.p);
  return s == lu_state::ok && !sim_wantfactor(st) ? dual_action::ok : dual_action::rebuild;
}

}  // namespace

dual_action dual_iterate(dual_state& ds) {
  sim_state& st = ds.st;
  if (!choose_row(ds)) return dual_action::noleave;
  lu_vecclear(ds.row);
  sim_price(st, ds.rho, ds.row);
  dual_pack(ds);
  dual_action act = choose_column(ds);
  clear_dropped(ds);
  if (act != dual_action::ok) return act;
  if (is_cycling(ds)) {
    dual_maketaboo(ds, ds.p);
    return dual_action::ok;
  }
  return make_step(ds);
}
