// Coarsening, growing and the way through the levels.
#include "order/gpart_level.h"

#include <algorithm>
#include <deque>
#include <numeric>

namespace {

constexpr int32_t gpart_coarsest = 100;   // vertices at which coarsening ends
constexpr double gpart_minshrink = 0.92;  // and when a step leaves more than this part of them
constexpr double gpart_pairweight = 1.5;  // heaviest pair, in average weights of the coarsest level
constexpr size_t gpart_lookahead = 500;   // border vertices compared for the next one to grow
constexpr int32_t gpart_growths = 6;      // first partitions tried on the coarsest level
constexpr double gpart_balance = 0.6;     // heaviest side, as a part of the whole
constexpr double gpart_unequal = 0.6;  // part of the separator's weight that one empty side costs
constexpr double gpart_smalldegree = 0.7;  // of the average: larger ones are matched in any order
constexpr int32_t gpart_passes = 10;

// Each vertex, those of small degree first and equal ones in random order, takes the unmatched
// neighbour with the heaviest edge.
int32_t match_heavy(gpart_run& run, gpart_level& g, int64_t maxweight) {
  mm_vector<int32_t> order(g.n, 0, mm_at(*run.mman));
  std::iota(order.begin(), order.end(), 0);
  for (int32_t i = g.n - 1; i > 0; --i) std::swap(order[i], order[gpart_random(run, i + 1)]);
  const auto cap = 1 + ptrdiff_t(gpart_smalldegree * double(g.adj.size()) / std::max(g.n, 1));
  const auto degree = [&](int32_t v) { return std::min(cap, g.ptr[v + 1] - g.ptr[v]); };
  std::stable_sort(order.begin(), order.end(),
                   [&](int32_t a, int32_t b) { return degree(a) < degree(b); });
  g.map.assign(g.n, -1);
  int32_t count = 0;
  for (const int32_t v : order) {
    if (g.map[v] >= 0) continue;
    int32_t mate = -1;
    int32_t heaviest = 0;
    for (ptrdiff_t p = g.ptr[v]; p < g.ptr[v + 1]; ++p) {
      const int32_t u = g.adj[p];
      if (g.map[u] < 0 && g.ewgt[p] > heaviest && int64_t(g.vwgt[u]) + g.vwgt[v] <= maxweight) {
        mate = u;
        heaviest = g.ewgt[p];
      }
    }
    g.map[v] = count;
    if (mate >= 0) g.map[mate] = count;
    ++count;
    if (gpart_stopped(run, g.ptr[v + 1] - g.ptr[v])) break;
  }
  return count;
}

// Adds the edges of fine vertex v to the coarse vertex whose edges begin at `begin`. place: of a
// coarse neighbour, where its edge stands; below begin when it has none yet.
void merge_edges(const gpart_level& fine, int32_t v, ptrdiff_t begin, mm_vector<ptrdiff_t>& place,
                 gpart_level& coarse) {
  const int32_t c = fine.map[v];
  for (ptrdiff_t p = fine.ptr[v]; p < fine.ptr[v + 1]; ++p) {
    const int32_t u = fine.map[fine.adj[p]];
    if (u == c) continue;
    if (place[u] < begin) {
      place[u] = ptrdiff_t(coarse.adj.size());
      coarse.adj.push_back(u);
      coarse.ewgt.push_back(fine.ewgt[p]);
    } else {
      coarse.ewgt[place[u]] += fine.ewgt[p];
    }
  }
}

}  // namespace

void gpart_coarsen(gpart_run& run, gpart_level& fine, gpart_level& coarse, int64_t maxweight) {
  const int32_t count = match_heavy(run, fine, maxweight);
  if (run.code != rescode::ok) return;
  coarse.n = count;
  coarse.vwgt.assign(count, 0);
  coarse.adj.reserve(fine.adj.size());
  coarse.ewgt.reserve(fine.adj.size());
  mm_vector<int32_t> first(count, -1, mm_at(*run.mman));  // the one or two members of a vertex
  mm_vector<int32_t> second(count, -1, mm_at(*run.mman));
  mm_vector<ptrdiff_t> place(count, -1, mm_at(*run.mman));
  for (int32_t v = 0; v < fine.n; ++v) {
    const int32_t c = fine.map[v];
    coarse.vwgt[c] += fine.vwgt[v];
    (first[c] < 0 ? first : second)[c] = v;
  }
  for (int32_t c = 0; c < count; ++c) {
    const auto begin = ptrdiff_t(coarse.adj.size());
    merge_edges(fine, first[c], begin, place, coarse);
    if (second[c] >= 0) merge_edges(fine, second[c], begin, place, coarse);
    coarse.ptr.push_back(ptrdiff_t(coarse.adj.size()));
    if (gpart_stopped(run, coarse.ptr[c + 1] - coarse.ptr[c])) return;
  }
}

void gpart_project(const gpart_level& coarse, gpart_level& fine) {
  fine.where.resize(fine.n);
  for (int32_t v = 0; v < fine.n; ++v) fine.where[v] = coarse.where[fine.map[v]];
  std::copy(coarse.weight, coarse.weight + 3, fine.weight);
}

void gpart_grow(gpart_run& run, gpart_level& g) {
  g.where.assign(g.n, 1);
  g.weight[0] = g.weight[gpart_sep] = 0;
  g.weight[1] = std::accumulate(g.vwgt.begin(), g.vwgt.end(), int64_t(0));
  const int64_t half = g.weight[1] / 2;
  mm_vector<int32_t> border(mm_at(*run.mman));        // the separator
  mm_vector<int64_t> pull(g.n, 0, mm_at(*run.mman));  // weight of the neighbours in side 1
  border.reserve(g.n);
  for (int32_t v = 0; v < g.n; ++v) {
    for (ptrdiff_t p = g.ptr[v]; p < g.ptr[v + 1]; ++p) pull[v] += g.vwgt[g.adj[p]];
  }
  const auto reach = [&](int32_t v) {
    g.where[v] = gpart_sep;
    g.weight[1] -= g.vwgt[v];
    g.weight[gpart_sep] += g.vwgt[v];
    border.push_back(v);
    for (ptrdiff_t p = g.ptr[v]; p < g.ptr[v + 1]; ++p) pull[g.adj[p]] -= g.vwgt[v];
  };
  reach(int32_t(gpart_random(run, g.n)));
  while (!border.empty() && g.weight[0] < half - g.weight[gpart_sep] / 2) {
    const size_t look = std::min<size_t>(border.size(), gpart_lookahead);
    size_t best = 0;
    for (size_t k = 1; k < look; ++k) {
      if (pull[border[k]] - g.vwgt[border[k]] < pull[border[best]] - g.vwgt[border[best]]) best = k;
    }
    const int32_t v = border[best];
    border[best] = border.back();
    border.pop_back();
    g.where[v] = 0;
    g.weight[0] += g.vwgt[v];
    g.weight[gpart_sep] -= g.vwgt[v];
    for (ptrdiff_t p = g.ptr[v]; p < g.ptr[v + 1]; ++p) {
      if (g.where[g.adj[p]] == 1) reach(g.adj[p]);
    }
  }
}

double gpart_cost(const gpart_level& g) {
  const auto total = double(g.weight[0] + g.weight[1] + g.weight[gpart_sep]);
  const auto heavier = double(std::max(g.weight[0], g.weight[1]));
  const double excess = std::max(0.0, heavier / total - gpart_balance);
  const double unequal = double(std::abs(g.weight[0] - g.weight[1])) / total;
  return double(g.weight[gpart_sep]) * (1.0 + gpart_unequal * unequal) + excess * total;
}

namespace {

int64_t side_limit(const gpart_level& g) {
  const int64_t total = g.weight[0] + g.weight[1] + g.weight[gpart_sep];
  return int64_t(gpart_balance * double(total));
}

void separate_coarsest(gpart_run& run, gpart_level& g) {
  mm_vector<int8_t> best(mm_at(*run.mman));
  int64_t weight[3] = {0, 0, 0};
  double cost = 0;
  for (int32_t k = 0; k < gpart_growths && run.code == rescode::ok; ++k) {
    gpart_grow(run, g);
    gpart_refine(run, g, side_limit(g), gpart_passes);
    const double c = gpart_cost(g);
    if (!best.empty() && c >= cost) continue;
    cost = c;
    best = g.where;
    std::copy(g.weight, g.weight + 3, weight);
  }
  g.where = best;
  std::copy(weight, weight + 3, g.weight);
}

void separate_once(gpart_run& run, gpart_level& g) {
  const int64_t total = std::accumulate(g.vwgt.begin(), g.vwgt.end(), int64_t(0));
  const auto maxpair =
      std::max(int64_t(2), int64_t(gpart_pairweight * double(total) / gpart_coarsest));
  std::deque<gpart_level, mm_alloc<gpart_level>> coarser(mm_at(*run.mman));
  gpart_level* level = &g;
  while (level->n > gpart_coarsest) {
    coarser.emplace_back(mm_at(*run.mman));
    gpart_coarsen(run, *level, coarser.back(), maxpair);
    if (run.code != rescode::ok) return;
    const bool shrunk = coarser.back().n < gpart_minshrink * level->n;
    if (!shrunk) {
      coarser.pop_back();
      break;
    }
    level = &coarser.back();
  }
  separate_coarsest(run, *level);
  while (!coarser.empty() && run.code == rescode::ok) {
    gpart_level& fine = coarser.size() > 1 ? coarser[coarser.size() - 2] : g;
    gpart_project(coarser.back(), fine);
    gpart_refine(run, fine, side_limit(fine), gpart_passes);
    coarser.pop_back();
  }
}

}  // namespace

void gpart_separate(gpart_run& run, gpart_level& g, int32_t tries) {
  separate_once(run, g);
  for (int32_t k = 1; k < tries && run.code == rescode::ok; ++k) {
    const mm_vector<int8_t> best = g.where;
    int64_t weight[3];
    std::copy(g.weight, g.weight + 3, weight);
    const double cost = gpart_cost(g);
    separate_once(run, g);
    if (run.code != rescode::ok || gpart_cost(g) < cost) continue;
    g.where = best;
    std::copy(weight, weight + 3, g.weight);
  }
}
