// Dual pushes: the reduced cost of each basic variable that stands at a bound goes to zero along its
// row of the tableau. Where a nonbasic variable's reduced cost would get the wrong sign first, the two
// change places.
#include <algorithm>
#include <cmath>

#include "basic/bascore.h"

namespace {

// Reduced costs up to this one are zero without a push, absolute, scaled.
constexpr double pushzero = 1e-9;
// How far the ratio test lets reduced costs pass zero to find larger pivots, absolute, scaled.
constexpr double relax = 1e-9;
// Entries of a row that count as zero; the least pivot relative to the largest entry of its row.
constexpr double rowzero = 1e-9, leastpivot = 1e-5;
// The same when there will be no further try.
constexpr double lastpivot = 1e-7;
// Variables between bounds enter first, unless their pivot is smaller than this share of the largest.
constexpr double insideshare = 0.01;
// Passes over the basic variables that need a push; the last one takes no excuse.
constexpr int32_t maxpass = 3;
// How far the pivots of row and column may differ, relative.
constexpr double agree = 1e-6;

// alpha := the row of the tableau for what st.work holds, over nonbasic variables.
void price(bas_state& st) {
  st.alphanum = 0;
  const auto add = [&](int32_t k, double v) {
    if (st.alpha[k] == 0) st.alphaind[st.alphanum++] = k;
    st.alpha[k] += v;
    if (st.alpha[k] == 0) st.alpha[k] = 1e-100;  // listed already
  };
  for (int32_t e = 0; e < st.work.num; ++e) {
    const int32_t i = st.work.ind[e];
    const double v = st.work.val[i];
    if (st.posof[st.n + i] < 0) add(st.n + i, -v);
    for (ptrdiff_t q = st.rows.ptr[i]; q < st.rows.ptr[i + 1]; ++q) {
      const int32_t k = st.rows.sub[q];
      if (st.posof[k] < 0) add(k, v * st.rows.val[q]);
    }
  }
}

void price_clear(bas_state& st) {
  for (int32_t e = 0; e < st.alphanum; ++e) st.alpha[st.alphaind[e]] = 0;
  st.alphanum = 0;
}

// What a step of 1 along s takes from the reduced cost's way to zero, and that way; 0: no restriction.
double pace_of(const bas_state& st, int32_t k, double s, double& way) {
  const double a = s * st.alpha[k];
  way = 0;
  switch (st.place[k]) {
    case bas_place::lower:
      way = std::max(st.z[k], 0.0);
      return std::max(a, 0.0);
    case bas_place::upper:
      way = std::max(-st.z[k], 0.0);
      return std::max(-a, 0.0);
    case bas_place::inside:
      return std::abs(a);
    case bas_place::fixed:
      break;
  }
  return 0;
}

struct choice {
  int32_t var = -1;
  double step = 0;
  bool isbad = false;  // there is a block, but no pivot that could be taken
};

// Two passes: the longest step with relaxed signs, then the largest pivot within it.
// Harris, "Pivot selection methods of the Devex LP code", Math. Program. 5 (1973).
choice ratio_test(const bas_state& st, double s, double length, bool last) {
  double longest = length, most = 0, way = 0;
  for (int32_t e = 0; e < st.alphanum; ++e) {
    const int32_t k = st.alphaind[e];
    most = std::max(most, std::abs(st.alpha[k]));
    const double pace = pace_of(st, k, s, way);
    if (pace > rowzero) longest = std::min(longest, (way + relax) / pace);
  }
  choice best;
  best.step = length;
  if (longest >= length) return best;
  double big = 0, biginside = 0;
  int32_t inside = -1;
  for (int32_t e = 0; e < st.alphanum; ++e) {
    const int32_t k = st.alphaind[e];
    const double pace = pace_of(st, k, s, way);
    if (pace <= rowzero || way > longest * pace) continue;
    if (st.place[k] == bas_place::inside && pace > biginside) {
      biginside = pace;
      inside = k;
    }
    if (pace <= big) continue;
    big = pace;
    best.var = k;
    best.step = way / pace;
  }
  if (inside >= 0 && biginside >= insideshare * big) {
    best.var = inside;
    best.step = 0;
    big = biginside;
  }
  best.isbad = big < (last ? lastpivot : leastpivot) * most;
  return best;
}

// z and y after a step t of the multiplier of position p.
void step(bas_state& st, int32_t p, double t) {
  if (t == 0) return;
  for (int32_t e = 0; e < st.work.num; ++e) st.y[st.work.ind[e]] += t * st.work.val[st.work.ind[e]];
  for (int32_t e = 0; e < st.alphanum; ++e) {
    const int32_t k = st.alphaind[e];
    st.z[k] -= t * st.alpha[k];
  }
  st.z[st.basic[p]] -= t;
}

// Variable enter for that of position p, whose row is in st.alpha.
rescode change(bas_state& st, int32_t p, int32_t enter, bool& done) {
  const double inrow = st.alpha[enter];
  price_clear(st);
  lu_vecclear(st.work);
  bas_loadcolumn(st, enter);
  lu_ftran(st.lu, st.work, true);
  const double alpha = st.work.val[p];
  lu_vecclear(st.work);
  const int32_t age = st.lu.count.numupdate, leave = st.basic[p];
  done = false;
  if (!(std::abs(alpha - inrow) <= agree * (1 + std::abs(alpha)))) {
    if (age == 0) return rescode::ok;
    if (const rescode r = bas_factor(st); r != rescode::ok) return r;
  } else if (const rescode r = bas_exchange(st, p, enter, alpha, done); r != rescode::ok) {
    return r;
  }
  if (done) {
    st.z[enter] = 0;
    st.x[leave] = bas_boundof(st, leave);
    ++st.info.dualpivot;
  }
  if (st.lu.count.numupdate == 0) bas_duals(st);
  return rescode::ok;
}

// One push of position p. With last, blocks without an acceptable pivot are passed over.
rescode push(bas_state& st, int32_t p, bool last, bas_pushed& result) {
  result = bas_pushed::done;
  const double zj = st.z[st.basic[p]], s = zj > 0 ? 1 : -1;
  lu_vecclear(st.work);
  lu_vecset(st.work, p, 1);
  lu_btran(st.lu, st.work);
  price(st);
  const choice best = ratio_test(st, s, std::abs(zj), last);
  rescode r = rescode::ok;
  if (best.isbad && !last) {
    result = bas_pushed::later;
  } else if (best.var < 0 || best.isbad) {
    st.info.numskipped += int32_t(best.isbad);
    step(st, p, zj);
    st.z[st.basic[p]] = 0;
  } else {
    const bool isaged = st.lu.count.numupdate > 0;
    bool done = false;
    step(st, p, s * best.step);
    r = change(st, p, best.var, done);
    if (!done) {
      result = isaged ? bas_pushed::again : bas_pushed::later;
      st.info.numskipped += int32_t(!isaged && last);
    }
  }
  price_clear(st);
  lu_vecclear(st.work);
  return r;
}

bool needs_push(const bas_state& st, int32_t j) {
  return st.posof[j] >= 0 && st.place[j] != bas_place::inside && std::abs(st.z[j]) > pushzero;
}

void list_pushes(const bas_state& st, mm_vector<int32_t>& queue) {
  queue.clear();
  for (const int32_t j : st.basic)
    if (needs_push(st, j)) queue.push_back(j);
  std::sort(queue.begin(), queue.end(), [&](int32_t a, int32_t b) {
    const double za = std::abs(st.z[a]), zb = std::abs(st.z[b]);
    return za != zb ? za < zb : a < b;
  });
}

rescode pass(bas_state& st, const mm_vector<int32_t>& queue, bool last) {
  for (size_t k = 0; k < queue.size() && st.info.dualiter < st.set.maxiter;) {
    const auto left = int32_t(queue.size() - k);
    if (const rescode r =
            bas_poll(st, "Dual", st.info.dualiter, left, callback_code::update_dual_bi);
        r != rescode::ok)
      return r;
    bas_pushed result = bas_pushed::done;
    if (needs_push(st, queue[k])) {
      ++st.info.dualiter;
      if (const rescode r = push(st, st.posof[queue[k]], last, result); r != rescode::ok) return r;
    }
    if (result != bas_pushed::again) ++k;
  }
  return rescode::ok;
}

}  // namespace

// What the first pass puts off, or what a singular basis brings in, comes in the next ones.
rescode bas_dualpush(bas_state& st) {
  const timer clock = timer_start();
  mm_vector<int32_t> queue(mm_at(st.mman));
  list_pushes(st, queue);
  st.info.numdualpush = int32_t(queue.size());
  for (int32_t k = 1; k <= maxpass && !queue.empty(); ++k) {
    if (const rescode r = pass(st, queue, k == maxpass); r != rescode::ok) return r;
    list_pushes(st, queue);
  }
  st.info.dualtime = timer_cpu(clock);
  return rescode::ok;
}
