// Nested dissection: compression, the tree of cuts, and the final order by stages.
#include "order/gpart.h"

#include <algorithm>
#include <numeric>

#include "order/gpart_level.h"
#include "order/symord_graph.h"

namespace {

constexpr int32_t gpart_leaf[3] = {0, 200, 50};     // weight of a part that stays whole, by form
constexpr int32_t gpart_tries[3] = {0, 2, 3};       // separators compared, by form,
constexpr int32_t gpart_triesdepth[3] = {0, 2, 4};  // in the cuts above this depth
constexpr double gpart_maxdensity = 0.5;            // a denser part stays whole
constexpr double gpart_maxsep = 0.5;  // and one with no lighter separator than this part
constexpr uint64_t gpart_seed = 0x2545f4914f6cdd1du;

struct piece {
  int32_t begin = 0, end = 0;  // of dissection.vert
  int32_t depth = 0;
};

struct dissection {
  gpart_run run;
  int32_t leaf = 0;
  int32_t form = 1;
  gpart_level whole;         // the compressed graph
  mm_vector<int32_t> group;  // vertex of the compressed graph of each node
  mm_vector<int32_t> vert;   // its vertices, pieces side by side
  mm_vector<int32_t> local;  // place of a vertex in the piece at work, or -1
  mm_vector<int32_t> depth;  // of the separator that a vertex is in; -1: in an uncut part
  mm_vector<piece> todo;
  explicit dissection(mm_place at)
      : whole(at), group(at), vert(at), local(at), depth(at), todo(at) {}
};

bool same_closed(const spmat_view& graph, std::span<const int32_t> mark, int32_t tag, int32_t j) {
  if (mark[j] != tag) return false;
  for (ptrdiff_t p = graph.ptr[j]; p < graph.ptr[j + 1]; ++p) {
    if (mark[graph.sub[p]] != tag) return false;
  }
  return true;
}

// Groups of nodes with the same closed neighbourhood; returns their number. Nodes of equal length
// and equal sum of neighbours are compared.
int32_t find_groups(const spmat_view& graph, mm_vector<int32_t>& group, mm_place at) {
  const int32_t n = graph.ncol;
  mm_vector<uint64_t> key(n, 0, at);
  mm_vector<int32_t> order(n, 0, at);
  mm_vector<int32_t> mark(n, -1, at);
  for (int32_t j = 0; j < n; ++j) {
    uint64_t sum = (uint64_t(j) + 1) * 0x9e3779b97f4a7c15u;
    for (ptrdiff_t p = graph.ptr[j]; p < graph.ptr[j + 1]; ++p) {
      sum += (uint64_t(graph.sub[p]) + 1) * 0x9e3779b97f4a7c15u;
    }
    key[j] = sum * 31 + uint64_t(graph.ptr[j + 1] - graph.ptr[j]);
  }
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(),
            [&](int32_t a, int32_t b) { return key[a] != key[b] ? key[a] < key[b] : a < b; });
  group.assign(n, -1);
  int32_t count = 0;
  for (int32_t k = 0; k < n; ++k) {
    const int32_t i = order[k];
    if (group[i] >= 0) continue;
    group[i] = count++;
    const bool alone = k + 1 == n || key[order[k + 1]] != key[i];
    if (alone) continue;
    mark[i] = i;
    for (ptrdiff_t p = graph.ptr[i]; p < graph.ptr[i + 1]; ++p) mark[graph.sub[p]] = i;
    for (int32_t m = k + 1; m < n && key[order[m]] == key[i]; ++m) {
      const int32_t j = order[m];
      if (group[j] < 0 && same_closed(graph, mark, i, j)) group[j] = group[i];
    }
  }
  return count;
}

// The compressed graph. Of each group one node gives the neighbours.
void compress(dissection& d, const spmat_view& graph, mm_place at) {
  gpart_level& g = d.whole;
  g.n = find_groups(graph, d.group, at);
  mm_vector<int32_t> node(g.n, -1, at);
  mm_vector<int32_t> mark(g.n, -1, at);
  g.vwgt.assign(g.n, 0);
  for (int32_t j = 0; j < graph.ncol; ++j) {
    node[d.group[j]] = j;
    ++g.vwgt[d.group[j]];
  }
  for (int32_t v = 0; v < g.n; ++v) {
    mark[v] = v;
    for (ptrdiff_t p = graph.ptr[node[v]]; p < graph.ptr[node[v] + 1]; ++p) {
      const int32_t u = d.group[graph.sub[p]];
      if (mark[u] == v) continue;
      mark[u] = v;
      g.adj.push_back(u);
    }
    g.ptr.push_back(ptrdiff_t(g.adj.size()));
  }
}

// The graph of a piece. Vertices of it are numbered by their place in it.
void extract(dissection& d, const piece& pc, gpart_level& g) {
  const gpart_level& w = d.whole;
  g.n = pc.end - pc.begin;
  for (int32_t k = 0; k < g.n; ++k) d.local[d.vert[pc.begin + k]] = k;
  for (int32_t k = 0; k < g.n; ++k) {
    const int32_t v = d.vert[pc.begin + k];
    g.vwgt.push_back(w.vwgt[v]);
    for (ptrdiff_t p = w.ptr[v]; p < w.ptr[v + 1]; ++p) {
      const int32_t u = d.local[w.adj[p]];
      if (u >= 0) g.adj.push_back(u);
    }
    g.ptr.push_back(ptrdiff_t(g.adj.size()));
    if (gpart_stopped(d.run, w.ptr[v + 1] - w.ptr[v])) break;
  }
  for (int32_t k = 0; k < g.n; ++k) d.local[d.vert[pc.begin + k]] = -1;
  g.ewgt.assign(g.adj.size(), 1);
}

// Sorts the vertices of a piece by a class of 0 .. numclass-1, keeping their order within one;
// returns the ends of the classes in last.
void sort_piece(dissection& d, const piece& pc, std::span<const int32_t> classof,
                std::span<int32_t> last, mm_place at) {
  std::fill(last.begin(), last.end(), 0);
  for (const int32_t c : classof) ++last[c];
  std::exclusive_scan(last.begin(), last.end(), last.begin(), pc.begin);
  const mm_vector<int32_t> old(d.vert.begin() + pc.begin, d.vert.begin() + pc.end, at);
  for (size_t k = 0; k < old.size(); ++k) d.vert[last[classof[k]]++] = old[k];
}

// Component of each vertex, numbered from 0; returns their number.
int32_t components(const gpart_level& g, mm_vector<int32_t>& comp, mm_place at) {
  mm_vector<int32_t> queue(at);
  queue.reserve(g.n);
  comp.assign(g.n, -1);
  int32_t count = 0;
  for (int32_t root = 0; root < g.n; ++root) {
    if (comp[root] >= 0) continue;
    comp[root] = count;
    queue.assign(1, root);
    for (size_t head = 0; head < queue.size(); ++head) {
      const int32_t v = queue[head];
      for (ptrdiff_t p = g.ptr[v]; p < g.ptr[v + 1]; ++p) {
        if (comp[g.adj[p]] >= 0) continue;
        comp[g.adj[p]] = count;
        queue.push_back(g.adj[p]);
      }
    }
    ++count;
  }
  return count;
}

bool is_whole(const dissection& d, const gpart_level& g) {
  const int64_t weight = std::accumulate(g.vwgt.begin(), g.vwgt.end(), int64_t(0));
  const double pairs = double(g.n) * (g.n - 1);
  return g.n <= 2 || weight <= d.leaf || double(g.adj.size()) > gpart_maxdensity * pairs;
}

// Cuts a connected piece; its parts become pieces.
void cut(dissection& d, const piece& pc, gpart_level& g, mm_place at) {
  const bool more = pc.depth < gpart_triesdepth[d.form];
  gpart_separate(d.run, g, more ? gpart_tries[d.form] : 1);
  if (d.run.code != rescode::ok) return;
  const auto total = double(g.weight[0] + g.weight[1] + g.weight[gpart_sep]);
  if (g.weight[0] == 0 || g.weight[1] == 0 || double(g.weight[gpart_sep]) > gpart_maxsep * total) {
    return;
  }
  const mm_vector<int32_t> sets(g.where.begin(), g.where.end(), at);
  int32_t last[3];
  sort_piece(d, pc, sets, last, at);
  for (int32_t k = last[1]; k < last[2]; ++k) d.depth[d.vert[k]] = pc.depth;
  d.todo.push_back({pc.begin, last[0], pc.depth + 1});
  d.todo.push_back({last[0], last[1], pc.depth + 1});
}

void dissect(dissection& d, mm_place at) {
  mm_vector<int32_t> comp(at);
  d.todo.push_back({0, d.whole.n, 0});
  while (!d.todo.empty() && d.run.code == rescode::ok) {
    const piece pc = d.todo.back();
    d.todo.pop_back();
    if (pc.end - pc.begin <= 2) continue;
    gpart_level g(at);
    extract(d, pc, g);
    if (d.run.code != rescode::ok || is_whole(d, g)) continue;
    const int32_t numcomp = components(g, comp, at);
    if (numcomp == 1) {
      cut(d, pc, g, at);
      continue;
    }
    mm_vector<int32_t> last(numcomp, 0, at);
    sort_piece(d, pc, comp, last, at);
    for (int32_t c = 0; c < numcomp; ++c) {
      d.todo.push_back({c == 0 ? pc.begin : last[c - 1], last[c], pc.depth});
    }
  }
}

}  // namespace

rescode gpart_order(const spmat_view& graph, int32_t form, const monitor& mon, memman& mman,
                    std::span<int32_t> perm) {
  const mm_place at = mm_at(mman);
  const int32_t n = graph.ncol;
  for (ptrdiff_t p = 0; p < graph.ptr[n]; ++p) {
    if (graph.sub[p] < 0 || graph.sub[p] >= n) return rescode::err_internal;
  }
  mm_vector<int32_t> stage(n, 0, at);
  {
    dissection d(at);
    d.run = {&mon, &mman, gpart_seed};
    d.form = form == 2 ? 2 : 1;
    d.leaf = gpart_leaf[d.form];
    compress(d, graph, at);
    d.vert.resize(d.whole.n);
    std::iota(d.vert.begin(), d.vert.end(), 0);
    d.local.assign(d.whole.n, -1);
    d.depth.assign(d.whole.n, -1);
    dissect(d, at);
    if (d.run.code != rescode::ok) return d.run.code;
    int32_t deepest = -1;
    for (const int32_t depth : d.depth) deepest = std::max(deepest, depth);
    for (int32_t j = 0; j < n; ++j) {
      const int32_t depth = d.depth[d.group[j]];
      stage[j] = depth < 0 ? 0 : deepest + 1 - depth;
    }
  }
  symord_result result;
  return symord_staged(graph, stage, symord_scoretype::degree, mon, mman, perm, result);
}
