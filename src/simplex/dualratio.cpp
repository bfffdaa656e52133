// Bound flipping ratio test with Harris' tolerance: breakpoints of the piecewise linear dual
// objective are passed, in groups of nearly equal ones, while its slope stays positive; the entering
// variable is one with a large pivot among the last groups.
// Fourer, "Notes on the dual simplex method" (1994); Harris, Math. Prog. 5 (1973); Koberstein (2005).
#include <algorithm>
#include <cmath>
#include <limits>

#include "simplex/dualstate.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
// First reach of the step that collects breakpoints, times the least and plus; grows by the factor.
constexpr double ratio_reach = 10, ratio_plus = 1e-7;
// A group is good enough when its largest pivot is this share of the largest of all groups, or 1.
constexpr double ratio_goodshare = 0.1, ratio_good = 1.0;

double pivot_tol(const dual_state& ds) {
  const int32_t age = ds.st.lu.count.numupdate;
  return age < dual_youngage ? dual_pivfresh : age < dual_oldage ? dual_pivyoung : dual_pivold;
}

// The candidates but for their reduced costs; without a branch that depends on the data, since both
// ways are about equally likely. Fixed variables have no side, so their rate is zero.
int32_t collect_sided(dual_state& ds, double ta) {
  const int8_t* move = ds.st.move.data();
  const double out = ds.moveout;
  dual_cand* to = ds.cand.data();
  int32_t num = 0;
  for (int32_t t = 0; t < ds.packnum; ++t) {
    const int32_t k = ds.packind[t];
    const double a = ds.packval[t] * out * move[k];
    to[num].k = k;
    to[num].alpha = a;
    num += a > ta;
  }
  return num;
}

int32_t collect_free(dual_state& ds, double ta, int32_t num) {
  for (int32_t t = 0; t < ds.packnum; ++t) {
    const int32_t k = ds.packind[t];
    if (ds.st.move[k] != 0 || ds.st.lo[k] == ds.st.up[k]) continue;
    ds.cand[num].k = k;
    ds.cand[num].alpha = std::abs(ds.packval[t]);
    num += ds.cand[num].alpha > ta;
  }
  return num;
}

void collect(dual_state& ds) {
  const sim_state& st = ds.st;
  const double ta = pivot_tol(ds);
  int32_t num = collect_sided(ds, ta);
  const int32_t numsided = num;
  if (ds.numfree > 0) num = collect_free(ds, ta, num);
  ds.numcand = num;
  for (int32_t t = 0; t < num; ++t) {
    dual_cand& c = ds.cand[t];
    // A free variable's d is zero or nearly: either sign makes it the first to enter.
    c.d = t < numsided ? st.d[c.k] * st.move[c.k] : 0;
    c.ratio = c.d / c.alpha;
  }
  if (!ds.dropped.empty()) {
    const auto end = std::remove_if(ds.cand.begin(), ds.cand.begin() + num,
                                    [&](const dual_cand& c) { return ds.isdropped[c.k] != 0; });
    ds.numcand = int32_t(end - ds.cand.begin());
  }
}

// Moves the candidates whose breakpoints may matter to the front; returns their number.
int32_t shrink(dual_state& ds) {
  const sim_state& st = ds.st;
  double least = inf;
  const int32_t num = ds.numcand;
  for (int32_t t = 0; t < num; ++t) {
    least = std::min(least, (ds.cand[t].d + ds.told) / ds.cand[t].alpha);
  }
  double reach = ratio_reach * std::max(least, 0.0) + ratio_plus, slope = std::abs(ds.delta);
  int32_t front = 0;
  for (;;) {
    for (int32_t t = front; t < num; ++t) {
      const dual_cand& c = ds.cand[t];
      if (c.ratio > reach) continue;
      slope -= c.alpha * (st.up[c.k] - st.lo[c.k]);
      std::swap(ds.cand[t], ds.cand[front++]);
    }
    if (slope < 0 || front == num) return front;
    reach *= ratio_reach;
  }
}

struct ratio_group {
  int32_t beg, end, best;
};

// The group to end in and the candidate to take; the candidates [0, num) are sorted by ratio.
ratio_group choose_group(dual_state& ds, int32_t num) {
  const sim_state& st = ds.st;
  ds.sufmin.resize(num + 1);
  ds.sufmin[num] = inf;
  for (int32_t t = num; t-- > 0;) {
    const dual_cand& c = ds.cand[t];
    ds.sufmin[t] = std::min(ds.sufmin[t + 1], (c.d + ds.told) / c.alpha);
  }
  // First pass: how far the slope allows to go, and the largest pivot on the way.
  double slope = std::abs(ds.delta), largest = 0;
  int32_t last = 0;
  for (int32_t beg = 0; beg < num && slope >= 0;) {
    const double reach = ds.sufmin[beg];
    last = beg;
    int32_t end = beg;
    while (end < num && (end == beg || ds.cand[end].ratio <= reach)) {
      const dual_cand& c = ds.cand[end++];
      slope -= c.alpha * (st.up[c.k] - st.lo[c.k]);
      largest = std::max(largest, c.alpha);
    }
    beg = end;
  }
  // Second pass: the last group with a good pivot.
  const double good = std::min(ratio_goodshare * largest, ratio_good);
  ratio_group found = {0, 0, -1};
  for (int32_t beg = 0; beg < num && beg <= last;) {
    const double reach = ds.sufmin[beg];
    int32_t end = beg, best = beg;
    while (end < num && (end == beg || ds.cand[end].ratio <= reach)) {
      const dual_cand &c = ds.cand[end], &b = ds.cand[best];
      if (c.alpha > b.alpha || (c.alpha == b.alpha && c.k < b.k)) best = end;
      ++end;
    }
    if (ds.cand[best].alpha >= good) found = {beg, end, best};
    beg = end;
  }
  return found;
}

}  // namespace

void dual_pack(dual_state& ds) {
  const sim_state& st = ds.st;
  int32_t num = 0;
  int32_t* ind = ds.packind.data();
  double* val = ds.packval.data();
  if (ds.row.num < 0) {
    const double* row = ds.row.val.data();
    for (int32_t j = 0; j < st.n; ++j) {
      ind[num] = j;
      val[num] = row[j];
      num += row[j] != 0;
    }
  } else {
    for (int32_t t = 0; t < ds.row.num; ++t) {
      ind[num] = ds.row.ind[t];
      val[num++] = ds.row.val[ds.row.ind[t]];
    }
  }
  for (int32_t t = 0; t < ds.rho.num; ++t) {
    const int32_t i = ds.rho.ind[t];
    ind[num] = st.n + i;
    val[num] = -ds.rho.val[i];
    num += st.pos[st.n + i] < 0 && ds.rho.val[i] != 0;
  }
  ds.packnum = num;
}

dual_action dual_chuzc(dual_state& ds) {
  ds.flips.clear();
  collect(ds);
  if (ds.numcand == 0) return dual_action::noenter;
  const int32_t num = shrink(ds);
  std::sort(ds.cand.begin(), ds.cand.begin() + num, [](const dual_cand& a, const dual_cand& b) {
    return a.ratio < b.ratio || (a.ratio == b.ratio && a.k < b.k);
  });
  const ratio_group g = choose_group(ds, num);
  const dual_cand& c = ds.cand[g.best];
  for (int32_t t = 0; t < g.beg; ++t) ds.flips.push_back(ds.cand[t].k);
  ds.q = c.k;
  ds.alpharow = ds.q < ds.st.n ? ds.row.val[ds.q] : -ds.rho.val[ds.q - ds.st.n];
  if (c.d < 0 || ds.st.move[c.k] == 0) dual_shift(ds, ds.q, 0);
  return dual_action::ok;
}

void dual_doflips(dual_state& ds) {
  sim_state& st = ds.st;
  if (ds.flips.empty()) return;
  lu_vecclear(ds.flip);
  const spmat_view& a = st.lp.a;
  lu_vector& f = ds.flip;
  const auto add = [&](int32_t i, double v) {
    if (f.val[i] == 0) f.ind[f.num++] = i;
    f.val[i] += v;
    if (f.val[i] == 0) f.val[i] = 1e-100;
  };
  for (const int32_t k : ds.flips) {
    const double was = st.xval[k];
    st.move[k] = int8_t(-st.move[k]);
    st.xval[k] = st.move[k] > 0 ? st.lo[k] : st.up[k];
    const double dx = st.xval[k] - was;
    st.dualobj += st.d[k] * dx;
    if (k >= st.n) {
      add(k - st.n, -dx);
      continue;
    }
    for (ptrdiff_t e = a.ptr[k]; e < a.ptr[k + 1]; ++e) add(a.sub[e], a.val[e] * dx);
  }
  st.info.dualflip += int32_t(ds.flips.size());
  sim_ftran(st, f);
  for (int32_t t = 0; t < f.num; ++t) {
    const int32_t p = f.ind[t];
    st.xb[p] -= f.val[p];
    if (ds.col.val[p] != 0) continue;  // the step comes to it
    dual_judge(ds, p);
    dual_heat(ds, p);
  }
}
