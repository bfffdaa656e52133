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
// No weight falls below this, whatever rounding leaves of the exact update.
constexpr double price_leastweight = 1e-4;
// Products with tau are formed by rows of A when the entries so visited are at most this share of
// those of the columns that need them.
constexpr double price_crossbyrow = 0.7;

// How attractive k is: the rate at which the objective falls; 0: not at all.
inline double attraction(const prim_state& p, double d, int move, uint8_t flag) {
  if ((flag & prim_isout) != 0) return 0;
  const double gain = move > 0 ? -d : move < 0 ? d : std::abs(d);
  if (!(gain > p.told)) return 0;
  return move != 0 ? gain : price_freebonus * gain;
}
double attraction(const prim_state& p, int32_t k) {  // of a nonbasic variable, or one with d zero
  return attraction(p, p.st.d[k], p.st.move[k], p.flag[k]);
}

void drop_cand(prim_state& p, int32_t k) {
  const int32_t at = p.candat[k];
  const int32_t last = p.cand.back();
  p.cand[at] = last;
  p.candat[last] = at;
  p.cand.pop_back();
  p.candat[k] = -1;
}

// Puts k, with attraction g, on its lists or takes it off.
inline void list_one(prim_state& p, int32_t k, double g, uint8_t flag) {
  if (g == 0) {
    if (p.candat[k] >= 0) drop_cand(p, k);
    return;
  }
  if (p.candat[k] < 0) {
    p.candat[k] = int32_t(p.cand.size());
    p.cand.push_back(k);
  }
  if ((flag & prim_ishot) == 0 && g * g > p.cutoff * p.weight[k]) {
    p.flag[k] |= prim_ishot;
    p.hot.push_back(k);
  }
}

void clear_hot(prim_state& p) {
  for (const int32_t k : p.hot) p.flag[k] &= uint8_t(~prim_ishot);
  p.hot.clear();
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
      p.flag[k] &= uint8_t(~prim_ishot);
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
  clear_hot(p);
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
    if (g * g > p.cutoff * p.weight[k]) p.hot.push_back(k);
  }
  if (p.hot.empty()) {  // many equal scores
    p.cutoff = 0;
    p.hot.assign(p.cand.begin(), p.cand.end());
  }
  for (const int32_t k : p.hot) p.flag[k] |= prim_ishot;
}

struct row_change {
  double thetad, inverse;  // of the entering variable: d / alpha and 1 / alpha
  double w;                // its weight
  bool isref;              // whether it is in the framework
};

// Devex, Harris, "Pivot selection methods of the Devex LP code", Math. Programming 5 (1973); or the
// exact norm, Goldfarb, Reid, "A practicable steepest-edge simplex algorithm", Math. Programming 12
// (1977), in the reference space. cross: of the column and tau.
template <sim_selection Rule>
inline void change_one(prim_state& p, const row_change& c, int32_t k, double ar, double cross) {
  const uint8_t flag = p.flag[k];
  if ((flag & prim_isheld) != 0) return;
  const double d = p.st.d[k] -= c.thetad * ar;
  if constexpr (Rule != sim_selection::full) {
    const double ratio = ar * c.inverse, own = (flag & prim_isref) != 0 ? 1.0 : 0.0;
    double& w = p.weight[k];
    if constexpr (Rule == sim_selection::ase) {
      w = std::max(w, ratio * ratio * c.w + own);
    } else {
      const double least = c.isref ? own + ratio * ratio : own;
      w = std::max(w + ratio * (ratio * c.w - 2 * cross), std::max(least, price_leastweight));
    }
  }
  list_one(p, k, attraction(p, d, p.st.move[k], flag), flag);
}

template <class F>
void for_row(const lu_vector& row, std::span<const int32_t> pos, F&& visit) {
  if (row.num >= 0) {
    for (int32_t t = 0; t < row.num; ++t) visit(row.ind[t], row.val[row.ind[t]]);
    return;
  }
  for (int32_t j = 0; j < int32_t(row.val.size()); ++j) {
    if (row.val[j] != 0 && pos[j] < 0) visit(j, row.val[j]);
  }
}
// The nonbasic logicals of a vector by rows.
template <class F>
void for_logicals(const lu_vector& y, std::span<const int32_t> pos, F&& visit) {
  if (y.num >= 0) {
    for (int32_t t = 0; t < y.num; ++t) {
      const int32_t i = y.ind[t];
      if (pos[i] < 0) visit(i, -y.val[i]);
    }
    return;
  }
  for (int32_t i = 0; i < int32_t(y.val.size()); ++i) {
    if (y.val[i] != 0 && pos[i] < 0) visit(i, -y.val[i]);
  }
}

template <sim_selection Rule>
void change_row(prim_state& p, const row_change& c) {
  sim_state& st = p.st;
  const std::span<const int32_t> pos(st.pos);
  const int32_t n = st.n;
  bool isbyrow = false;  // products of columns and tau: all at once when tau is sparse enough
  if constexpr (Rule == sim_selection::se) {
    const double share = double(p.tau.num) / std::max(st.m, 1);
    isbyrow = p.rule == Rule && p.tau.num >= 0 && p.row.num >= 0 &&
              share * n < price_crossbyrow * p.row.num;
    lu_vecclear(p.cross);
    if (isbyrow && p.tau.num > 0) sim_price(st, p.tau, p.cross);
  }
  for_row(p.row, pos.first(n), [&](int32_t j, double ar) {
    double cross = 0;
    if constexpr (Rule == sim_selection::se) {
      cross = isbyrow ? p.cross.val[j] : sim_dotcolumn(st, j, p.tau.val);
    }
    if (j != p.q) change_one<Rule>(p, c, j, ar, cross);
  });
  for_logicals(p.rho, pos.subspan(n), [&](int32_t i, double ar) {
    const double cross = Rule == sim_selection::se ? -p.tau.val[i] : 0;
    if (n + i != p.q) change_one<Rule>(p, c, n + i, ar, cross);
  });
}

}  // namespace

void prim_touch(prim_state& p, int32_t k) {
  list_one(p, k, attraction(p, k), p.flag[k]);
}

void prim_setweights(prim_state& p, bool mayexact) {
  sim_state& st = p.st;
  std::fill(p.weight.begin(), p.weight.end(), 1.0);
  p.numbadweight = 0;
  p.cutoff = std::numeric_limits<double>::infinity();  // all scores have changed
  clear_hot(p);
  bool islogical = mayexact && p.rule == sim_selection::se;
  for (int32_t i = 0; i < st.m && islogical; ++i) islogical = st.basic[i] >= st.n;
  if (!islogical) {
    for (int32_t k = 0; k < st.nt; ++k) {
      p.flag[k] = uint8_t((p.flag[k] & ~prim_isref) | (st.pos[k] < 0 ? prim_isref : 0));
    }
    return;
  }
  for (uint8_t& f : p.flag) f |= prim_isref;
  for (int32_t j = 0; j < st.n; ++j) {
    for (ptrdiff_t k = st.lp.a.ptr[j]; k < st.lp.a.ptr[j + 1]; ++k) {
      p.weight[j] += st.lp.a.val[k] * st.lp.a.val[k];
    }
  }
}

void prim_setcands(prim_state& p) {
  for (const int32_t k : p.cand) p.candat[k] = -1;
  p.cand.clear();
  for (int32_t k = 0; k < p.st.nt; ++k) {
    if (p.st.pos[k] >= 0 || attraction(p, k) == 0) continue;
    p.candat[k] = int32_t(p.cand.size());
    p.cand.push_back(k);
  }
  refill_hot(p);
}

void prim_price(prim_state& p, const lu_vector& rho) {
  lu_vecclear(p.row);
  if (p.rule == sim_selection::partial) {
    part_price(p, rho);
  } else {
    sim_price(p.st, rho, p.row);
  }
}

int32_t prim_chuzc(prim_state& p) {
  if (p.cand.empty() && (p.rule != sim_selection::partial || !part_wake(p))) return -1;
  if (p.numrandom > 0) {
    --p.numrandom;
    return p.cand[size_t(p.st.random.next() * double(p.cand.size()))];
  }
  int32_t best = scan_hot(p);
  if (best < 0) {
    refill_hot(p);
    best = scan_hot(p);
  }
  return best;
}

double prim_checkcolumn(prim_state& p) {
  sim_state& st = p.st;
  double d = st.cost[p.q], norm = (p.flag[p.q] & prim_isref) != 0 ? 1.0 : 0.0;
  for (int32_t t = 0; t < p.col.num; ++t) {
    const int32_t i = p.col.ind[t], k = st.basic[i];
    const double a = p.col.val[i];
    d -= st.cost[k] * a;
    if ((p.flag[k] & prim_isref) != 0) norm += a * a;
  }
  const double off = std::abs(d - st.d[p.q]), stored = p.weight[p.q];
  st.d[p.q] = d;
  if (p.rule != sim_selection::full) {
    p.wq = std::max(norm, price_leastweight);
    if (stored > price_weightoff * p.wq) ++p.numbadweight;
    p.weight[p.q] = p.wq;
  }
  prim_touch(p, p.q);
  return off;
}

void prim_edge(prim_state& p) {
  if (p.rule != sim_selection::se && p.rule != sim_selection::partial) return;
  lu_vecclear(p.tau);
  for (int32_t t = 0; t < p.col.num; ++t) {
    const int32_t i = p.col.ind[t];
    if ((p.flag[p.st.basic[i]] & prim_isref) != 0) lu_vecset(p.tau, i, p.col.val[i]);
  }
  if (p.tau.num > 0) sim_btran(p.st, p.tau);
}

void prim_updateduals(prim_state& p) {
  sim_state& st = p.st;
  if (p.numbadweight > price_maxbad) {
    prim_setweights(p, false);
    p.wq = 1;
    lu_vecclear(p.tau);  // the projection of col is zero now
  }
  const row_change c = {st.d[p.q] / p.alpha, 1 / p.alpha, p.wq, (p.flag[p.q] & prim_isref) != 0};
  switch (p.rule) {
    case sim_selection::full:
      change_row<sim_selection::full>(p, c);
      break;
    case sim_selection::ase:
      change_row<sim_selection::ase>(p, c);
      break;
    default:
      change_row<sim_selection::se>(p, c);
      break;
  }
  const int32_t leaving = st.basic[p.p];
  st.d[p.q] = 0;
  st.d[leaving] = -c.thetad;
  const double least = (p.flag[leaving] & prim_isref) != 0 ? 1.0 : price_leastweight;
  if (p.rule != sim_selection::full) {
    p.weight[leaving] = std::max(c.w * c.inverse * c.inverse, least);
  }
}

void prim_addcosts(prim_state& p) {
  sim_state& st = p.st;
  sim_btran(st, p.delta);
  prim_price(p, p.delta);
  const auto add = [&](int32_t k, double ar) {
    const uint8_t flag = p.flag[k];
    if ((flag & prim_isheld) != 0) return;
    const double d = st.d[k] -= ar;
    list_one(p, k, attraction(p, d, st.move[k], flag), flag);
  };
  const std::span<const int32_t> pos(st.pos);
  for_row(p.row, pos.first(st.n), add);
  for_logicals(p.delta, pos.subspan(st.n), [&](int32_t i, double ar) { add(st.n + i, ar); });
  lu_vecclear(p.delta);
}
