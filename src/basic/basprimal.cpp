// Primal pushes: each nonbasic variable between its bounds goes to the nearer one (a free one to zero)
// while the basic variables follow. Where one of these meets a bound first, the two change places.
#include <algorithm>
#include <cmath>

#include "basic/bascore.h"

namespace {

// How far the ratio test lets basic variables pass their bounds to find larger pivots, absolute.
constexpr double relax = 1e-9;
// Entries of a column that count as zero; the least pivot relative to the largest entry.
constexpr double colzero = 1e-9, leastpivot = 1e-5;
// The same when there will be no further try.
constexpr double lastpivot = 1e-7;

struct choice {
  int32_t pos = -1;
  double step = 0;
  bool isbad = false;
};

// What a step of 1 along s takes from a basic variable's way to the bound it moves to, and that way;
// one that is beyond it already has none left.
double pace_of(const bas_state& st, int32_t p, double s, double& way) {
  const int32_t j = st.basic[p];
  const double a = s * st.work.val[p];
  const double bound = a > 0 ? st.lo[j] : st.up[j];
  if (std::isinf(bound)) return 0;
  way = std::max(a > 0 ? st.x[j] - bound : bound - st.x[j], 0.0);
  return std::abs(a);
}

choice ratio_test(const bas_state& st, double s, double length, bool last) {
  double longest = length, most = 0, way = 0;
  for (int32_t e = 0; e < st.work.num; ++e) {
    const int32_t p = st.work.ind[e];
    most = std::max(most, std::abs(st.work.val[p]));
    const double pace = pace_of(st, p, s, way);
    if (pace > colzero) longest = std::min(longest, (way + relax) / pace);
  }
  choice best;
  best.step = length;
  if (longest >= length) return best;
  double big = 0;
  for (int32_t e = 0; e < st.work.num; ++e) {
    const int32_t p = st.work.ind[e];
    const double pace = pace_of(st, p, s, way);
    if (pace <= colzero || way > longest * pace || pace <= big) continue;
    big = pace;
    best.pos = p;
    best.step = way / pace;
  }
  best.isbad = big < (last ? lastpivot : leastpivot) * most;
  return best;
}

void step(bas_state& st, int32_t var, double t) {
  if (t == 0) return;
  st.x[var] += t;
  for (int32_t e = 0; e < st.work.num; ++e) {
    const int32_t p = st.work.ind[e];
    st.x[st.basic[p]] -= t * st.work.val[p];
  }
}

// A variable that leaves the basis, or is not to enter it, stands at a bound from now on.
void settle(bas_state& st, int32_t var, bool atlower) {
  if (st.lo[var] == st.up[var])
    st.place[var] = bas_place::fixed;
  else if (!std::isinf(st.lo[var]) || !std::isinf(st.up[var]))
    st.place[var] = atlower ? bas_place::lower : bas_place::upper;
  st.x[var] = bas_boundof(st, var);
}

// One push of a variable. With last, a block without an acceptable pivot is passed over.
rescode push(bas_state& st, int32_t var, bool last, bas_pushed& result) {
  result = bas_pushed::done;
  const double target = bas_boundof(st, var), way = target - st.x[var], s = way < 0 ? -1 : 1;
  lu_vecclear(st.work);
  bas_loadcolumn(st, var);
  lu_ftran(st.lu, st.work, true);
  const choice best = ratio_test(st, s, std::abs(way), last);
  if (best.isbad && !last) {
    result = bas_pushed::later;
    lu_vecclear(st.work);
    return rescode::ok;
  }
  if (best.pos < 0 || best.isbad) {
    st.info.numskipped += int32_t(best.isbad);
    step(st, var, way);
    settle(st, var, target == st.lo[var]);
    lu_vecclear(st.work);
    return rescode::ok;
  }
  const bool isaged = st.lu.count.numupdate > 0;
  const double alpha = st.work.val[best.pos];
  const int32_t leave = st.basic[best.pos];
  bool done = false;
  step(st, var, s * best.step);
  lu_vecclear(st.work);
  if (const rescode r = bas_exchange(st, best.pos, var, alpha, done); r != rescode::ok) return r;
  if (done) {
    settle(st, leave, s * alpha > 0);
    ++st.info.primalpivot;
  } else if (isaged) {
    result = bas_pushed::again;
  } else if (!last) {
    result = bas_pushed::later;
  } else {  // no pivot to be had: as if nothing had blocked
    ++st.info.numskipped;
    settle(st, var, target == st.lo[var]);
  }
  return rescode::ok;
}

bool needs_push(const bas_state& st, int32_t j) {
  return st.posof[j] < 0 && st.place[j] == bas_place::inside &&
         (!std::isinf(st.lo[j]) || !std::isinf(st.up[j]) || st.x[j] != 0);
}

}  // namespace

rescode bas_primalpush(bas_state& st) {
  const timer clock = timer_start();
  mm_vector<int32_t> queue(mm_at(st.mman));
  for (int32_t j = 0; j < st.nt; ++j)
    if (needs_push(st, j)) queue.push_back(j);
  const auto dist = [&](int32_t j) { return std::min(st.x[j] - st.lo[j], st.up[j] - st.x[j]); };
  std::sort(queue.begin(), queue.end(), [&](int32_t a, int32_t b) {
    const double da = dist(a), db = dist(b);
    return da != db ? da > db : a < b;
  });
  const size_t numfirst = queue.size();  // what is put off comes behind
  for (size_t k = 0; k < queue.size() && st.info.primaliter < st.set.maxiter - st.info.dualiter;) {
    const auto left = int32_t(queue.size() - k);
    if (const rescode r =
            bas_poll(st, "Primal", st.info.primaliter, left, callback_code::update_primal_bi);
        r != rescode::ok)
      return r;
    bas_pushed result = bas_pushed::done;
    if (needs_push(st, queue[k])) {
      ++st.info.primaliter;
      if (const rescode r = push(st, queue[k], k >= numfirst, result); r != rescode::ok) return r;
    }
    if (result == bas_pushed::later) queue.push_back(queue[k]);
    if (result != bas_pushed::again) ++k;
  }
  for (const int32_t j : queue)  // beyond the limit of iterations
    if (needs_push(st, j)) settle(st, j, bas_boundof(st, j) == st.lo[j]);
  st.info.primaltime = timer_cpu(clock);
  return rescode::ok;
}
