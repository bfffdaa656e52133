#include <algorithm>
#include <cmath>
#include <limits>

#include "simplex/primstate.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
// In phase 1 the last breakpoint with a pivot of at least this share of the largest is taken.
constexpr double ratio_share = 0.1;
// A slope that has fallen to this share of the first one is rounding.
constexpr double ratio_flat = 1e-9;
// Rounding of a value that reached its bound, absolute.
constexpr double ratio_inside = 1e-11;

struct ratio_col {  // the entering column by position: x_i falls at the rate a
  const prim_state& p;
  double pivtol;
  double rate(int32_t i) const { return p.dir * p.col.val[i]; }
};

template <class F>
void for_blocking(const ratio_col& c, F&& visit) {
  for (int32_t t = 0; t < c.p.col.num; ++t) {
    const int32_t i = c.p.col.ind[t];
    const double a = c.rate(i);
    if (std::abs(a) > c.pivtol) visit(i, a);
  }
}

// Two passes, Harris (1973): the longest step with bounds relaxed by the tolerance, then the largest
// pivot among those that block before it.
prim_action chuzr_phase2(prim_state& p) {
  const sim_state& st = p.st;
  const ratio_col c = {p, prim_pivtol(p)};
  double maxstep = inf;
  for_blocking(c, [&](int32_t i, double a) {
    const double bound = a > 0 ? st.lob[i] : st.upb[i];
    if (!std::isfinite(bound)) return;
    const double slack = a > 0 ? st.xb[i] - bound : bound - st.xb[i];
    maxstep = std::min(maxstep, (std::max(slack, 0.0) + p.tolh) / std::abs(a));
  });
  const double range = st.up[p.q] - st.lo[p.q];
  if (range <= maxstep && std::isfinite(range)) {
    p.p = -1;
    p.theta = range;
    return prim_action::ok;
  }
  if (maxstep == inf) return prim_action::unblocked;
  double best = 0;
  for_blocking(c, [&](int32_t i, double a) {
    const double bound = a > 0 ? st.lob[i] : st.upb[i];
    if (!std::isfinite(bound) || std::abs(a) <= best) return;
    const double step = (st.xb[i] - bound) / a;
    if (step > maxstep) return;
    best = std::abs(a);
    p.p = i;
    p.theta = std::max(step, 0.0);
    p.toupper = a < 0;
  });
  return prim_action::ok;
}

// All steps at which the slope of the sum of infeasibilities rises.
void gather_breaks(prim_state& p) {
  const sim_state& st = p.st;
  p.breaks.clear();
  const ratio_col c = {p, prim_pivtol(p)};
  for_blocking(c, [&](int32_t i, double a) {
    const double rate = std::abs(a);
    const auto add = [&](double gap, bool isupper) {
      if (!std::isfinite(gap)) return;
      gap = std::max(gap, 0.0);
      p.breaks.push_back({gap / rate, (gap + p.tolh) / rate, rate, 2 * i + (isupper ? 1 : 0)});
    };
    if (a > 0) {
      if (p.infeas[i] > 0) add(st.xb[i] - st.upb[i], true);  // into the range from above
      if (p.infeas[i] >= 0) add(st.xb[i] - st.lob[i], false);
    } else {
      if (p.infeas[i] < 0) add(st.lob[i] - st.xb[i], false);
      if (p.infeas[i] <= 0) add(st.upb[i] - st.xb[i], true);
    }
  });
}

// Breakpoints are passed while the slope stays negative; Maros, "Computational Techniques of the
// Simplex Method", Kluwer (2003), section 9.3.
prim_action chuzr_phase1(prim_state& p) {
  const sim_state& st = p.st;
  gather_breaks(p);
  const auto later = [](const prim_break& x, const prim_break& y) { return x.relaxed > y.relaxed; };
  std::make_heap(p.breaks.begin(), p.breaks.end(), later);
  double slope = -std::abs(p.dq), maxstep = inf;
  const double flat = -std::max(p.told, ratio_flat * std::abs(p.dq));
  for (auto end = p.breaks.end(); end != p.breaks.begin(); --end) {
    std::pop_heap(p.breaks.begin(), end, later);
    slope += (end - 1)->rate;
    if (slope < flat) continue;
    maxstep = (end - 1)->relaxed;
    break;
  }
  const double range = st.up[p.q] - st.lo[p.q];
  if (range <= maxstep && std::isfinite(range)) {
    p.p = -1;
    p.theta = range;
    return prim_action::ok;
  }
  if (p.breaks.empty()) return prim_action::unblocked;
  double largest = 0;
  for (const prim_break& b : p.breaks) {
    if (b.t <= maxstep) largest = std::max(largest, b.rate);
  }
  p.theta = -1;
  double rate = 0;
  for (const prim_break& b : p.breaks) {
    if (b.t > maxstep || b.rate < ratio_share * largest) continue;
    if (b.t < p.theta || (b.t == p.theta && b.rate <= rate)) continue;
    p.theta = b.t;
    rate = b.rate;
    p.p = b.at / 2;
    p.toupper = b.at % 2 != 0;
  }
  return prim_action::ok;
}

// Where the basic variable at i stands: -1, 0 or 1.
int8_t place_of(const prim_state& p, int32_t i, double tollow, double tolhigh) {
  const double x = p.st.xb[i];
  if (x < p.st.lob[i] - tollow) return -1;
  if (x > p.st.upb[i] + tolhigh) return 1;
  return 0;
}

// The same after a step: one that was outside is inside only when it needs no tolerance for it, or
// steps of the size of the tolerance could go on for ever.
int8_t place_after(const prim_state& p, int32_t i) {
  const int8_t was = p.infeas[i];
  return place_of(p, i, was < 0 ? ratio_inside : p.tolp, was > 0 ? ratio_inside : p.tolp);
}

}  // namespace

double prim_pivtol(const prim_state& p) {
  const int32_t age = p.st.lu.count.numupdate;
  return age < prim_youngage ? prim_pivfresh : age < prim_oldage ? prim_pivyoung : prim_pivold;
}

prim_action prim_chuzr(prim_state& p) {
  p.p = -1;
  const prim_action action = p.isphase1 ? chuzr_phase1(p) : chuzr_phase2(p);
  p.alpha = p.p >= 0 ? p.col.val[p.p] : 0;
  return action;
}

void prim_move(prim_state& p) {
  sim_state& st = p.st;
  const double step = p.dir * p.theta;
  if (p.theta != 0) {
    for (int32_t t = 0; t < p.col.num; ++t) {
      const int32_t i = p.col.ind[t];
      st.xb[i] -= step * p.col.val[i];
    }
  }
  if (!p.isphase1) return;
  for (int32_t t = 0; t < p.col.num; ++t) {
    const int32_t i = p.col.ind[t];
    if (i == p.p) continue;
    const int8_t now = place_after(p, i);
    if (now == p.infeas[i]) continue;
    lu_vecset(p.delta, i, double(now - p.infeas[i]));
    p.numinfeas += (now != 0 ? 1 : 0) - (p.infeas[i] != 0 ? 1 : 0);
    st.cost[st.basic[i]] += now - p.infeas[i];
    p.infeas[i] = now;
  }
}

void prim_judge(prim_state& p) {
  const sim_state& st = p.st;
  p.numinfeas = 0;
  p.suminfeas = p.maxinfeas = 0;
  for (int32_t i = 0; i < st.m; ++i) {
    const double gap = std::max(st.lob[i] - st.xb[i], st.xb[i] - st.upb[i]);
    p.infeas[i] = place_of(p, i, p.tolp, p.tolp);
    if (p.infeas[i] == 0) continue;
    ++p.numinfeas;
    p.suminfeas += gap;
    p.maxinfeas = std::max(p.maxinfeas, gap);
  }
}
