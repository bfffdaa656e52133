#include "kfac/sqdplan.h"

#include <algorithm>
#include <numeric>
#include <span>
#include <utility>

#include "cpub/timer.h"
#include "kfac/psymface.h"
#include "kfac/sqdwait.h"
#include "kfac/symface.h"

namespace {

constexpr int32_t blockmax = 32;  // columns of a block of H that may be eliminated before the rows
constexpr int32_t ordernone = 5;  // ZLV_ORDER_METHOD_NONE
constexpr int32_t nofill = 2;     // entries of a column whose elimination never makes fill

// Groups of columns that are eliminated together, before the rows: cliques of rows.
struct grouping {
  mm_vector<int32_t> of;     // group of each column, -1 when it stays with the rows
  mm_vector<int32_t> size;   // columns of each group
  spmat rows;                // m x groups, pattern
  mm_vector<uint8_t> isoff;  // groups that the dense-column rule leaves to the order
  grouping(size_t n, mm_place at) : of(n, -1, at), size(at), rows(at), isoff(at) {}
};

int32_t find_root(std::span<int32_t> up, int32_t j) {
  while (up[j] != j) j = up[j] = up[up[j]];
  return j;
}

// Both halves of H without its diagonal, pattern only.
void mirror(const spmat_view& h, spmat& full) {
  const auto n = size_t(h.ncol);
  full.nrow = full.ncol = h.ncol;
  full.ptr.assign(n + 1, 0);
  for (int32_t j = 0; j < h.ncol; ++j) {
    for (ptrdiff_t p = h.ptr[j]; p < h.ptr[j + 1]; ++p) {
      if (h.sub[p] == j) continue;
      ++full.ptr[j + 1];
      ++full.ptr[h.sub[p] + 1];
    }
  }
  for (size_t j = 0; j < n; ++j) full.ptr[j + 1] += full.ptr[j];
  full.sub.resize(size_t(full.ptr[n]));
  mm_vector<ptrdiff_t> fill(full.ptr.begin(), full.ptr.end(), full.ptr.get_allocator().place);
  for (int32_t j = 0; j < h.ncol; ++j) {
    for (ptrdiff_t p = h.ptr[j]; p < h.ptr[j + 1]; ++p) {
      if (h.sub[p] == j) continue;
      full.sub[fill[j]++] = h.sub[p];
      full.sub[fill[h.sub[p]]++] = j;
    }
  }
}

// The components of H's graph that form 1 eliminates first; form 2 takes columns without fill only.
void group_columns(const spmat_view& a, const spmat& hfull, int32_t form, grouping& g) {
  const mm_place at = g.of.get_allocator().place;
  const auto n = size_t(a.ncol);
  if (form == 2) {
    for (int32_t j = 0; j < a.ncol; ++j) {
      if (hfull.ptr[j + 1] != hfull.ptr[j] || a.ptr[j + 1] - a.ptr[j] > nofill) continue;
      g.of[j] = int32_t(g.size.size());
      g.size.push_back(1);
    }
    return;
  }
  mm_vector<int32_t> up(n, 0, at), count(n, 0, at);
  std::iota(up.begin(), up.end(), 0);
  for (int32_t j = 0; j < a.ncol; ++j) {
    for (ptrdiff_t p = hfull.ptr[j]; p < hfull.ptr[j + 1]; ++p) {
      const int32_t x = find_root(up, j), y = find_root(up, hfull.sub[p]);
      up[std::max(x, y)] = std::min(x, y);  // so that a root is the first column of its component
    }
  }
  for (int32_t j = 0; j < a.ncol; ++j) ++count[find_root(up, j)];
  for (int32_t j = 0; j < a.ncol; ++j) {
    const int32_t root = find_root(up, j);
    if (count[root] > blockmax) continue;
    if (root == j) {
      g.of[j] = int32_t(g.size.size());
      g.size.push_back(count[j]);
    } else {
      g.of[j] = g.of[root];
    }
  }
}

// The rows that each group joins.
void group_rows(const spmat_view& a, grouping& g) {
  const mm_place at = g.of.get_allocator().place;
  const auto num = g.size.size();
  mm_vector<ptrdiff_t> ptr(num + 1, 0, at);
  for (int32_t j = 0; j < a.ncol; ++j) {
    if (g.of[j] >= 0) ptr[g.of[j] + 1] += a.ptr[j + 1] - a.ptr[j];
  }
  for (size_t k = 0; k < num; ++k) ptr[k + 1] += ptr[k];
  mm_vector<int32_t> sub(size_t(ptr.back()), 0, at);
  mm_vector<ptrdiff_t> fill(ptr.begin(), ptr.end(), at);
  for (int32_t j = 0; j < a.ncol; ++j) {
    if (g.of[j] < 0) continue;
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) sub[fill[g.of[j]]++] = a.sub[p];
  }
  ptrdiff_t to = 0;
  for (size_t k = 0; k < num; ++k) {
    const auto begin = sub.begin() + ptr[k], end = sub.begin() + ptr[k + 1];
    auto last = end;
    if (g.size[k] > 1) {
      std::sort(begin, end);
      last = std::unique(begin, end);
    }
    std::copy(begin, last, sub.begin() + to);
    ptr[k] = to;
    to += last - begin;
  }
  ptr[num] = to;
  sub.resize(size_t(to));
  g.rows.nrow = a.nrow;
  g.rows.ncol = int32_t(num);
  g.rows.ptr = std::move(ptr);
  g.rows.sub = std::move(sub);
}

// Columns that are nodes and the rows behind them: the entries of A and H between them, and the
// cliques of rows.
struct graph_input {
  const spmat_view& a;
  const spmat_view& hfull;
  std::span<const int32_t> node;  // of each column, -1 for none
  int32_t numcolnode;
};

void make_graph(const graph_input& in, const spmat& cliques, std::span<const uint8_t> isoff,
                spmat& graph) {
  const mm_place at = graph.ptr.get_allocator().place;
  const spmat_view& a = in.a;
  spmat byrow(at), rowgraph(at);
  spmat_transpose(spmat_look(cliques), byrow);
  par_setup_aat(spmat_look(cliques), spmat_look(byrow), isoff, rowgraph);
  const int32_t nc = in.numcolnode;
  const auto dim = size_t(nc) + size_t(a.nrow);
  graph.nrow = graph.ncol = int32_t(dim);
  graph.ptr.assign(dim + 1, 0);
  const auto each = [&](auto&& pair) {  // every pair with a column, once for each end
    for (int32_t j = 0; j < a.ncol; ++j) {
      const int32_t x = in.node[j];
      if (x < 0) continue;
      for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
        pair(x, nc + a.sub[p]);
        pair(nc + a.sub[p], x);
      }
      for (ptrdiff_t p = in.hfull.ptr[j]; p < in.hfull.ptr[j + 1]; ++p) {
        if (in.node[in.hfull.sub[p]] >= 0) pair(x, in.node[in.hfull.sub[p]]);
      }
    }
  };
  for (int32_t i = 0; i < a.nrow; ++i) {
    graph.ptr[nc + i + 1] = rowgraph.ptr[i + 1] - rowgraph.ptr[i];
  }
  each([&](int32_t x, int32_t) { ++graph.ptr[x + 1]; });
  for (size_t k = 0; k < dim; ++k) graph.ptr[k + 1] += graph.ptr[k];
  graph.sub.resize(size_t(graph.ptr[dim]));
  mm_vector<ptrdiff_t> fill(graph.ptr.begin(), graph.ptr.end(), at);
  for (int32_t i = 0; i < a.nrow; ++i) {
    for (ptrdiff_t p = rowgraph.ptr[i]; p < rowgraph.ptr[i + 1]; ++p) {
      graph.sub[fill[nc + i]++] = nc + rowgraph.sub[p];
    }
  }
  each([&](int32_t x, int32_t y) { graph.sub[fill[x]++] = y; });
}

// Nodes of columns: the blocks that are eliminated first, then what is ordered with the rows.
// Returns the number of the former.
int32_t number_nodes(const grouping& g, sqdplan& plan) {
  const auto n = int32_t(g.of.size());
  const mm_place at = g.of.get_allocator().place;
  mm_vector<int32_t> begin(g.size.size() + 1, 0, at);  // of each block
  int32_t numfirst = 0, num = 0;
  for (size_t k = 0; k < g.size.size(); ++k) {
    begin[k] = numfirst;
    if (g.size[k] > 1 && g.isoff[k] == 0) numfirst += g.size[k];
  }
  num = numfirst;
  plan.node.assign(size_t(n), -1);
  for (int32_t j = 0; j < n; ++j) {
    const int32_t k = g.of[j];
    if (k < 0 || g.isoff[k] != 0) {
      plan.node[j] = num++;
    } else if (g.size[k] > 1) {
      plan.node[j] = begin[k]++;
    }
  }
  plan.numcolnode = num;
  return numfirst;
}

// Orders what comes behind the blocks: the graph of it holds the cliques of the blocks too.
rescode order_nodes(const spmat_view& a, const spmat& hfull, const grouping& g, int32_t numfirst,
                    const sqdplan_settings& set, const monitor& orderlog, sqdplan& plan) {
  const mm_place at = plan.node.get_allocator().place;
  spmat behind(at);
  if (numfirst > 0) {
    mm_vector<int32_t> node(plan.node, at);
    for (int32_t& x : node) x = std::max(-1, x - numfirst);
    const spmat_view look = spmat_look(hfull);
    make_graph({a, look, node, plan.numcolnode - numfirst}, g.rows, g.isoff, behind);
  }
  const spmat_view graph = spmat_look(numfirst > 0 ? behind : plan.graph);
  plan.order.resize(size_t(plan.numcolnode) + size_t(a.nrow));
  std::iota(plan.order.begin(), plan.order.begin() + numfirst, 0);
  const std::span<int32_t> rest = std::span(plan.order).subspan(size_t(numfirst));
  const timer clock = timer_start();
  const rescode r = sorder1_order(graph, set.ordermethod, orderlog, *at.mman, rest, plan.part);
  plan.torder = timer_wall(clock);
  for (int32_t& x : rest) x += numfirst;
  return r;
}

void delay_nodes(const spmat_view& a, const grouping& g, std::span<const kktfac_border> border,
                 sqdplan& plan) {
  const mm_place at = plan.node.get_allocator().place;
  mm_vector<uint8_t> isreached(size_t(a.nrow), 0, at), isweak(g.size.size(), 0, at);
  for (const kktfac_border& b : border) {
    if (b.weak >= 0 && g.of[b.weak] >= 0) isweak[g.of[b.weak]] = 1;
  }
  for (size_t k = 0; k < g.size.size(); ++k) {
    if (g.size[k] > 1 || g.isoff[k] != 0 || isweak[k] != 0) continue;
    for (ptrdiff_t p = g.rows.ptr[k]; p < g.rows.ptr[k + 1]; ++p) isreached[g.rows.sub[p]] = 1;
  }
  sqdwait_delay({a, plan.node, plan.numcolnode, isreached, border}, plan.order);
}

}  // namespace

rescode sqdplan_make(const spmat_view& a, const spmat_view& h, int32_t form,
                     const sqdplan_settings& set, const monitor& orderlog, sqdplan& plan) {
  const mm_place at = plan.node.get_allocator().place;
  sqdplan made(at);
  made.form = form;
  spmat hfull(at);
  mirror(h, hfull);
  grouping g(size_t(a.ncol), at);
  group_columns(a, hfull, form, g);
  group_rows(a, g);
  g.isoff.assign(g.size.size(), 0);
  if (form == 1) {
    mm_vector<int32_t> off(at);
    psymface_offcol(spmat_look(g.rows), set.offcoltrh, off);
    for (const int32_t k : off) {
      g.isoff[k] = 1;
      made.numoffcol += g.size[k];
    }
  }
  for (const kktfac_border& b : set.border) {
    const int32_t k = g.of[b.node];
    if (k < 0 || g.isoff[k] != 0) continue;
    g.isoff[k] = 1;
    if (!b.isbare) made.numoffcol += g.size[k];
  }
  const int32_t numfirst = number_nodes(g, made);
  // The graph of the factor: single columns are cliques, those of blocks are nodes.
  mm_vector<uint8_t> isnode(g.isoff, at);
  for (size_t k = 0; k < g.size.size(); ++k) {
    if (g.size[k] > 1) isnode[k] = 1;
    const auto len = double(g.rows.ptr[k + 1] - g.rows.ptr[k]);
    if (g.isoff[k] == 0) made.cliques += len * (len + 1) / 2;
    if (isnode[k] == 0) made.flops += len * (len + 1);
  }
  const spmat_view look = spmat_look(hfull);
  make_graph({a, look, made.node, made.numcolnode}, g.rows, isnode, made.graph);
  const rescode r = order_nodes(a, hfull, g, numfirst, set, orderlog, made);
  if (r != rescode::ok) return r;
  if (set.ordermethod != ordernone) delay_nodes(a, g, set.border, made);
  made.flops += symface_size(spmat_look(made.graph), made.order, *at.mman).flops;
  plan = std::move(made);
  return rescode::ok;
}
