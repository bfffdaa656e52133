#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "simplex/primstate.h"

namespace {

// Scores of free variables count this much more: once basic they never leave.
constexpr double price_freebonus = 1e4;
// A weight is far off when the true norm differs by this factor; more than price_maxbad of them and
// the reference framework is set anew.
constexpr double price_weightoff = 3.0;
constexpr int32_t price_maxbad = 3;
// The hot list gets this many candidates, or this share of all.
constexpr int32_t price_hotmin = 64;
constexpr double price_hotshare = 0.02;

// How attractive k is: the rate at which the objective falls; 0: not at all.
double attraction(const prim_state& p, int32_t k) {
  const sim_state& st = p.st;
  const double d = st.d[k];
  const int move = st.move[k];
  if (move != 0) {
    const double gain = move > 0 ? -d : d;
    return gain > p.told && p.istaboo[k] == 0 && p.isheld[k] == 0 ? gain : 0;
  }
  if (std::abs(d) <= p.told || st.pos[k] >= 0 || p.isheld[k] != 0 || p.istaboo[k] != 0) return 0;
  return price_freebonus * std::abs(d);
}

void drop_cand(prim_state& p, int32_t k) {
  const int32_t at = p.candat[k];
  if (at < 0) return;
  const int32_t last = p.cand.back();
  p.cand[at] = last;
  p.candat[last] = at;
  p.cand.pop_back();
  p.candat[k] = -1;
}

// The best of the hot list, which loses those that are no longer above the cutoff.
int32_t scan_hot(prim_state& p) {
  int32_t best = -1;
  double bestscore = p.cutoff;
  for (size_t h = 0; h < p.hot.size();) {
    const int32_t k = p.hot[h];
    const double g = p.candat[k] >= 0 ? attraction(p, k) : 0;
    const double score = g * g / p.weight[k];
    if (!(score > p.cutoff)) {
      p.ishot[k] = 0;
      p.hot[h] = p.hot.back();
      p.hot.pop_back();
      continue;
    }
    if (score > bestscore) {
      bestscore = score;
      best = k;
    }
    ++h;
  }
  return best;
}

// All candidates above a new cutoff.
void refill_hot(prim_state& p) {
  p.hot.clear();
  p.cutoff = 0;
  const auto num = int32_t(p.cand.size());
  const int32_t want = std::max(price_hotmin, int32_t(price_hotshare * num));
  if (num > 2 * want) {
    p.score.clear();
    for (const int32_t k : p.cand) {
      const double g = attraction(p, k);
      p.score.push_back(g * g / p.weight[k]);
    }
    const auto nth = p.score.begin() + want;
    std::nth_element(p.score.begin(), nth, p.score.end(), std::greater<>());
    p.cutoff = *nth;
  }
  for (const int32_t k : p.cand) {
    const double g = attraction(p, k);
    p.ishot[k] = g * g > p.cutoff * p.weight[k] ? 1 : 0;
    if (p.ishot[k] != 0) p.hot.push_back(k);
  }
  if (p.hot.empty()) {  // many equal scores
    p.cutoff = 0;
    for (const int32_t k : p.cand) p.ishot[k] = 1;
    p.hot.assign(p.cand.begin(), p.cand.end());
  }
}

struct row_change {
  double thetad, w;  // of the entering variable: d / alpha and its weight
  double alpha;      // pivot by row
};

// Devex, Harris, "Pivot selection methods of the Devex LP code", Math. Programming 5 (1973); or the
// exact norm, Goldfarb, Reid, "A practicable steepest-edge simplex algorithm", Math. Programming 12
// (1977), in the reference space.
void change_one(prim_state& p, const row_change& c, int32_t k, double ar) {
  sim_state& st = p.st;
  if (p.isheld[k] != 0) return;
  st.d[k] -= c.thetad * ar;
  const double ratio = ar / c.alpha;
  const double own = p.isref[k] != 0 ? 1.0 : 0.0;
  if (p.rule == sim_selection::ase) {
    p.weight[k] = std::max(p.weight[k], ratio * ratio * c.w + own);
  } else if (p.rule == sim_selection::se) {
    const double cross = sim_dotcolumn(st, k, p.tau.val);
    const double least = own + (p.isref[p.q] != 0 ? ratio * ratio : 0.0);
    p.weight[k] =
        std::max(p.weight[k] - 2 * ratio * cross + ratio * ratio * c.w, std::max(least, 1e-4));
  }
  prim_touch(p, k);
}

}  // namespace

void prim_touch(prim_state& p, int32_t k) {
  const double g = attraction(p, k);
  if (g == 0) {
    drop_cand(p, k);
    return;
  }
  if (p.candat[k] < 0) {
    p.candat[k] = int32_t(p.cand.size());
    p.cand.push_back(k);
  }
  if (p.ishot[k] == 0 && g * g > p.cutoff * p.weight[k]) {
    p.ishot[k] = 1;
    p.hot.push_back(k);
  }
}

void prim_setweights(prim_state& p, bool mayexact) {
  sim_state& st = p.st;
  std::fill(p.weight.begin(), p.weight.end(), 1.0);
  p.numbadweight = 0;
  p.cutoff = std::numeric_limits<double>::infinity();  // all scores have changed
  for (const int32_t k : p.hot) p.ishot[k] = 0;
  p.hot.clear();
  bool islogical = mayexact && p.rule == sim_selection::se;
  for (int32_t i = 0; i < st.m && islogical; ++i) islogical = st.basic[i] >= st.n;
  if (!islogical) {
    for (int32_t k = 0; k < st.nt; ++k) p.isref[k] = st.pos[k] < 0 ? 1 : 0;
    return;
  }
  std::fill(p.isref.begin(), p.isref.end(), uint8_t(1));
  for (int32_t j = 0; j < st.n; ++j) {
    for (ptrdiff_t k = st.lp.a.ptr[j]; k < st.lp.a.ptr[j + 1]; ++k) {
      p.weight[j] += st.lp.a.val[k] * st.lp.a.val[k];
    }
  }
}

void prim_setcands(prim_state& p) {
  for (const int32_t k : p.cand) p.candat[k] = -1;
  for (const int32_t k : p.hot) p.ishot[k] = 0;
  p.cand.clear();
  p.hot.clear();
  for (int32_t k = 0; k < p.st.nt; ++k) {
    if (p.st.pos[k] >= 0 || attraction(p, k) == 0) continue;
    p.candat[k] = int32_t(p.cand.size());
    p.cand.push_back(k);
  }
  refill_hot(p);
}

int32_t prim_chuzc(prim_state& p) {
  if (p.cand.empty()) return -1;
  int32_t best = scan_hot(p);
  if (best < 0) {
    refill_hot(p);
    best = scan_hot(p);
  }
  return best;
}

void prim_checkweight(prim_state& p) {
  p.wq = p.weight[p.q];
  if (p.rule == sim_selection::full) return;
  double norm = p.isref[p.q] != 0 ? 1.0 : 0.0;
  for (int32_t t = 0; t < p.col.num; ++t) {
    const int32_t i = p.col.ind[t];
    if (p.isref[p.st.basic[i]] != 0) norm += p.col.val[i] * p.col.val[i];
  }
  p.wq = std::max(norm, 1e-4);
  const double stored = p.weight[p.q];
  if (p.wq > price_weightoff * stored || stored > price_weightoff * p.wq) ++p.numbadweight;
  p.weight[p.q] = p.wq;
}

void prim_updateduals(prim_state& p) {
  sim_state& st = p.st;
  if (p.rule != sim_selection::full && p.numbadweight > price_maxbad) {
    prim_setweights(p, false);
    p.wq = 1;
    if (p.rule == sim_selection::se) lu_vecclear(p.tau);  // the projection of col is zero now
  }
  const row_change c = {st.d[p.q] / p.alpha, p.wq, p.alpha};
  if (p.row.num < 0) {
    for (int32_t j = 0; j < st.n; ++j) {
      if (p.row.val[j] != 0 && j != p.q && st.pos[j] < 0) change_one(p, c, j, p.row.val[j]);
    }
  } else {
    for (int32_t t = 0; t < p.row.num; ++t) {
      const int32_t j = p.row.ind[t];
      if (j != p.q) change_one(p, c, j, p.row.val[j]);
    }
  }
  for (int32_t t = 0; t < p.rho.num; ++t) {
    const int32_t k = st.n + p.rho.ind[t];
    const double ar = -p.rho.val[p.rho.ind[t]];
    if (ar != 0 && k != p.q && st.pos[k] < 0) change_one(p, c, k, ar);
  }
  const int32_t leaving = st.basic[p.p];
  st.d[p.q] = 0;
  st.d[leaving] = -c.thetad;
  const double least = p.isref[leaving] != 0 ? 1.0 : 1e-4;
  if (p.rule != sim_selection::full) p.weight[leaving] = std::max(c.w / (c.alpha * c.alpha), least);
}

void prim_addcosts(prim_state& p) {
  sim_state& st = p.st;
  sim_btran(st, p.delta);
  lu_vecclear(p.row);
  sim_price(st, p.delta, p.row);
  const auto add = [&](int32_t k, double ar) {
    if (p.isheld[k] != 0) return;
    st.d[k] -= ar;
    prim_touch(p, k);
  };
  if (p.row.num < 0) {
    for (int32_t j = 0; j < st.n; ++j) {
      if (p.row.val[j] != 0 && st.pos[j] < 0) add(j, p.row.val[j]);
    }
  } else {
    for (int32_t t = 0; t < p.row.num; ++t) {
      const int32_t j = p.row.ind[t];
      add(j, p.row.val[j]);
    }
  }
  for (int32_t t = 0; t < p.delta.num; ++t) {
    const int32_t i = p.delta.ind[t];
    if (p.delta.val[i] != 0 && st.pos[st.n + i] < 0) add(st.n + i, -p.delta.val[i]);
  }
  lu_vecclear(p.delta);
}
