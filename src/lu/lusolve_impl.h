// Shared by the stages of the solves: expected densities and what they decide, and the search for the
// nodes that a sparse right-hand side reaches.
// Gilbert, Peierls, "Sparse partial pivoting in time proportional to arithmetic operations", SIAM J.
// Sci. Stat. Comput. 9 (1988).
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <span>

#include "lu/lufactor_impl.h"

enum lu_stage { lu_stage_ftranl, lu_stage_ftranu, lu_stage_btranu, lu_stage_btranl };

// Stands for a listed zero while a stage works, so that the position is not listed twice.
constexpr double lu_listedzero = 1e-100;
// Weight of the last result in the expected density.
constexpr double lu_densityweight = 0.1;
// From this expected density on, a pass over all entries without a look at zeros may be faster: one
// entry costs 1 then, and else an entry that is met costs 0.7 and a node 3 (by its branches).
constexpr double lu_flatdensity = 0.3;
constexpr double lu_metcost = 0.7, lu_nodecost = 3;
// Where nobody counts the nonzeros, the expected density fades until a listed pass is tried again.
constexpr double lu_unlistedfade = 0.99;
// Below this order searches do not pay.
constexpr int32_t lu_searchorder = 64;
// A search that reaches this multiple of what was thought sparse is given up.
constexpr double lu_giveup = 2;
inline void lu_expect(lu_rec& f, lu_stage s, int32_t num) {
  double& d = f.density[f.kind][s];
  d += lu_densityweight * (double(num) / double(std::max(f.m, 1)) - d);
}

inline bool lu_worthsearch(const lu_rec& f, lu_stage s, const lu_vector& x) {
  return x.num >= 0 && f.m >= lu_searchorder && x.num <= f.set.sparsedens * f.m &&
         f.density[f.kind][s] <= f.set.sparseexpected;
}

inline bool lu_worthflat(const lu_rec& f, lu_stage s, int64_t nnz, int64_t numnode) {
  const double d = f.density[f.kind][s];
  return f.isfactored && d > lu_flatdensity &&
         double(nnz) * (1 - lu_metcost * d) < lu_nodecost * double(numnode);
}

// Entry i minus d in a listed vector.
inline void lu_subtract(double* x, int32_t* ind, int32_t& num, int32_t i, double d) {
  const double old = x[i];
  if (old == 0) ind[num++] = i;
  const double now = old - d;
  x[i] = std::abs(now) < lu_listedzero ? lu_listedzero : now;
}

// The nodes reached from the nonzeros of x, in topological order in f.topo from the place that is
// returned on; -1 when they are too many. at gives the edges of a node in sub.
template <class Range>
int32_t lu_reach(lu_rec& f, const Range* at, const int32_t* sub, const lu_vector& x) {
  uint8_t* mark = f.mark.data();
  int32_t *out = f.topo.data(), *stack = f.stack.data(), *next = f.stackpos.data();
  const double* val = x.val.data();
  const auto limit = int32_t(lu_giveup * f.set.sparseexpected * f.m);
  const int32_t least = f.m - limit;
  int32_t top = f.m, depth = -1;
  bool given = false;
  for (int32_t k = 0; k < x.num && !given; ++k) {
    const int32_t start = x.ind[k];
    if (mark[start] != 0 || val[start] == 0) continue;
    mark[start] = 1;
    depth = 0;
    stack[0] = start;
    next[0] = at[start].beg;
    while (depth >= 0) {
      const int32_t node = stack[depth], end = at[node].beg + at[node].num;
      int32_t e = next[depth];
      while (e < end && mark[sub[e]] != 0) ++e;
      if (e == end) {
        --depth;
        out[--top] = node;
        continue;
      }
      next[depth] = e + 1;
      const int32_t child = sub[e];
      mark[child] = 1;
      if (at[child].num == 0) {
        out[--top] = child;
      } else {
        stack[++depth] = child;
        next[depth] = at[child].beg;
      }
      if (top <= least) break;
    }
    given = top <= least;
  }
  for (int32_t k = top; k < f.m; ++k) mark[out[k]] = 0;
  if (!given) return top;
  for (int32_t d = 0; d <= depth; ++d) mark[stack[d]] = 0;
  f.count.solvework += limit;
  return -1;
}
