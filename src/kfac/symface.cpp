#include "kfac/symface.h"

#include <algorithm>
#include <cassert>
#include <numeric>
#include <utility>

#include "kfac/symamal.h"

void symface_etree(const spmat_view& graph, std::span<const int32_t> perm,
                   std::span<const int32_t> iperm, std::span<int32_t> parent,
                   std::span<int32_t> scratch) {
  const auto ancestor = scratch.first(size_t(graph.ncol));  // with path compression
  for (int32_t k = 0; k < graph.ncol; ++k) {
    parent[k] = -1;
    ancestor[k] = -1;
    const int32_t node = perm[k];
    for (ptrdiff_t p = graph.ptr[node]; p < graph.ptr[node + 1]; ++p) {
      int32_t i = iperm[graph.sub[p]];
      while (i >= 0 && i < k) {
        const int32_t up = std::exchange(ancestor[i], k);
        if (up < 0) parent[i] = k;
        i = up;
      }
    }
  }
}

void symface_postorder(std::span<const int32_t> parent, std::span<int32_t> post,
                       std::span<int32_t> scratch) {
  const size_t n = parent.size();
  const auto head = scratch.subspan(0, n), next = scratch.subspan(n, n),
             stack = scratch.subspan(2 * n, n);
  std::ranges::fill(head, -1);
  for (int32_t j = int32_t(n) - 1; j >= 0; --j) {
    if (parent[j] < 0) continue;
    next[j] = head[parent[j]];
    head[parent[j]] = j;
  }
  int32_t k = 0;
  for (int32_t root = 0; root < int32_t(n); ++root) {
    if (parent[root] >= 0) continue;
    size_t top = 0;
    stack[top++] = root;
    while (top > 0) {
      const int32_t j = stack[top - 1];
      const int32_t c = head[j];
      if (c >= 0) {
        head[j] = next[c];
        stack[top++] = c;
      } else {
        post[k++] = j;
        --top;
      }
    }
  }
}

void symface_colcount(const spmat_view& graph, std::span<const int32_t> perm,
                      std::span<const int32_t> iperm, std::span<const int32_t> parent,
                      std::span<int32_t> count, std::span<int32_t> scratch) {
  const size_t n = parent.size();
  const auto firstdesc = scratch.subspan(0, n), maxfirst = scratch.subspan(n, n),
             prevleaf = scratch.subspan(2 * n, n), ancestor = scratch.subspan(3 * n, n);
  std::ranges::fill(firstdesc, -1);
  std::ranges::fill(maxfirst, -1);
  std::ranges::fill(prevleaf, -1);
  std::iota(ancestor.begin(), ancestor.end(), 0);
  for (int32_t j = 0; j < int32_t(n); ++j) {
    if (firstdesc[j] < 0) firstdesc[j] = j;
    count[j] = firstdesc[j] == j ? 1 : 0;  // a leaf of the tree
    const int32_t up = parent[j];
    if (up >= 0 && firstdesc[up] < 0) firstdesc[up] = firstdesc[j];
  }
  const auto findroot = [&](int32_t j) {
    int32_t root = j;
    while (ancestor[root] != root) root = ancestor[root];
    while (ancestor[j] != root) j = std::exchange(ancestor[j], root);
    return root;
  };
  for (int32_t j = 0; j < int32_t(n); ++j) {
    if (parent[j] >= 0) --count[parent[j]];
    const int32_t node = perm[j];
    for (ptrdiff_t p = graph.ptr[node]; p < graph.ptr[node + 1]; ++p) {
      const int32_t i = iperm[graph.sub[p]];
      if (i <= j || firstdesc[j] <= maxfirst[i]) continue;  // j is no leaf of the row subtree of i
      maxfirst[i] = firstdesc[j];
      ++count[j];
      if (prevleaf[i] >= 0) --count[findroot(prevleaf[i])];
      prevleaf[i] = j;
    }
    if (parent[j] >= 0) ancestor[j] = parent[j];
  }
  for (int32_t j = 0; j < int32_t(n); ++j) {
    if (parent[j] >= 0) count[parent[j]] += count[j];
  }
}

namespace {

// The column tree in postorder.
struct coltree {
  mm_vector<int32_t> perm, iperm, parent, count;
  mm_vector<int32_t> scratch;  // 4 n
  coltree(size_t n, mm_place at)
      : perm(n, 0, at), iperm(n, 0, at), parent(n, 0, at), count(n, 0, at), scratch(4 * n, 0, at) {}
};

void invert(std::span<const int32_t> perm, std::span<int32_t> iperm) {
  for (size_t k = 0; k < perm.size(); ++k) iperm[perm[k]] = int32_t(k);
}

void make_coltree(const spmat_view& graph, std::span<const int32_t> order, coltree& t) {
  const auto n = size_t(graph.ncol);
  std::ranges::copy(order, t.perm.begin());
  invert(t.perm, t.iperm);
  symface_etree(graph, t.perm, t.iperm, t.parent, t.scratch);
  const std::span<int32_t> post = t.count;  // not in use yet
  symface_postorder(t.parent, post, t.scratch);
  const auto newnum = std::span(t.scratch).first(n), oldperm = std::span(t.scratch).subspan(n, n),
             oldparent = std::span(t.scratch).subspan(2 * n, n);
  invert(post, newnum);
  std::ranges::copy(t.perm, oldperm.begin());
  std::ranges::copy(t.parent, oldparent.begin());
  for (size_t k = 0; k < n; ++k) {
    t.perm[k] = oldperm[post[k]];
    const int32_t up = oldparent[post[k]];
    t.parent[k] = up < 0 ? -1 : newnum[up];
  }
  invert(t.perm, t.iperm);
  symface_colcount(graph, t.perm, t.iperm, t.parent, t.count, t.scratch);
}

symface_cost cost_of(const coltree& tree) {
  symface_cost cost;
  for (const int32_t c : tree.count) {
    cost.numnz += c;
    cost.flops += double(c) * c;
  }
  return cost;
}

// Columns of the amalgamated supernodes get their final numbers: own columns behind those of the
// children that were not merged.
void number_columns(const coltree& t, const symamal& sn, symface& sym) {
  const int32_t n = sym.n;
  int32_t k = 0;
  for (int32_t s = 0; s < sn.num; ++s) {  // in postorder
    sym.first[s] = k;
    for (int32_t f = sn.memberhead[s]; f >= 0; f = sn.membernext[f]) {
      for (int32_t j = sn.fundfirst[f]; j < sn.fundfirst[f + 1]; ++j) sym.perm[k++] = t.perm[j];
    }
    sym.parent[s] = sn.parent[s];
  }
  assert(k == n);
  sym.first[sn.num] = n;
  invert(sym.perm, sym.iperm);
}

// The rows below each supernode: those of its columns in the matrix and of its children.
void make_rows(const spmat_view& graph, const symamal& sn, symface& sym, std::span<int32_t> mark) {
  std::ranges::fill(mark, -1);
  ptrdiff_t total = 0;
  for (int32_t s = 0; s < sym.numsn; ++s) {
    sym.rowptr[s] = total;
    total += sn.below[s];
  }
  sym.rowptr[sym.numsn] = total;
  sym.rowsub.resize(size_t(total));
  for (int32_t s = 0; s < sym.numsn; ++s) {
    const int32_t behind = sym.first[s + 1];
    ptrdiff_t to = sym.rowptr[s];
    const auto take = [&](int32_t i) {
      if (i < behind || mark[i] == s) return;
      mark[i] = s;
      sym.rowsub[to++] = i;
    };
    for (int32_t c = sym.child[s]; c >= 0; c = sym.next[c]) {
      for (ptrdiff_t p = sym.rowptr[c]; p < sym.rowptr[c + 1]; ++p) take(sym.rowsub[p]);
    }
    for (int32_t j = sym.first[s]; j < behind; ++j) {
      const int32_t node = sym.perm[j];
      for (ptrdiff_t p = graph.ptr[node]; p < graph.ptr[node + 1]; ++p) {
        take(sym.iperm[graph.sub[p]]);
      }
    }
    assert(to == sym.rowptr[s + 1]);
    std::sort(sym.rowsub.begin() + sym.rowptr[s], sym.rowsub.begin() + to);
  }
}

void link_children(symface& sym) {
  std::ranges::fill(sym.child, -1);
  for (int32_t s = sym.numsn - 1; s >= 0; --s) {
    const int32_t up = sym.parent[s];
    sym.next[s] = up < 0 ? -1 : std::exchange(sym.child[up], s);
  }
}

void make_rel(symface& sym) {
  sym.rel.resize(sym.rowsub.size());
  for (int32_t s = 0; s < sym.numsn; ++s) {
    const ptrdiff_t begin = sym.rowptr[s], end = sym.rowptr[s + 1];
    sym.contfrom[s] = 0;
    if (begin == end) continue;
    const int32_t up = sym.parent[s];
    const int32_t upfirst = sym.first[up], upbehind = sym.first[up + 1];
    ptrdiff_t q = sym.rowptr[up];
    for (ptrdiff_t p = begin; p < end; ++p) {
      const int32_t i = sym.rowsub[p];
      if (i < upbehind) {
        sym.rel[p] = i - upfirst;
        continue;
      }
      while (sym.rowsub[q] != i) ++q;
      sym.rel[p] = upbehind - upfirst + int32_t(q - sym.rowptr[up]);
    }
    ptrdiff_t cont = end - 1;
    while (cont > begin && sym.rel[cont - 1] + 1 == sym.rel[cont]) --cont;
    sym.contfrom[s] = int32_t(cont - begin);
  }
}

constexpr int32_t runlength = 4;  // shorter stretches are added entry by entry; mean of a supernode

void make_runs(symface& sym) {
  for (int32_t s = 0; s < sym.numsn; ++s) {
    sym.runptr[s] = ptrdiff_t(sym.run.size());
    const ptrdiff_t begin = sym.rowptr[s];
    const auto below = int32_t(sym.rowptr[s + 1] - begin);
    int32_t numrun = below > 0 ? 1 : 0;
    for (int32_t i = 1; i < below; ++i) {
      numrun += sym.rel[begin + i] != sym.rel[begin + i - 1] + 1 ? 1 : 0;
    }
    if (numrun == 0 || numrun * runlength > below) continue;
    for (int32_t i = 0; i < below; ++i) {
      if (i == 0 || sym.rel[begin + i] != sym.rel[begin + i - 1] + 1) sym.run.push_back(i);
    }
    sym.run.push_back(below);
  }
  sym.runptr[sym.numsn] = ptrdiff_t(sym.run.size());
}

constexpr int32_t alignfrom = 16;   // panels with more rows start and step at whole cache lines
constexpr int32_t aliasstep = 512;  // columns that many doubles apart fall into the same cache sets

void place_panels(symface& sym) {
  ptrdiff_t pos = 0;
  for (int32_t s = 0; s < sym.numsn; ++s) {
    const int32_t ncol = sym.first[s + 1] - sym.first[s];
    const int32_t nrow = ncol + int32_t(sym.rowptr[s + 1] - sym.rowptr[s]);
    int32_t ld = nrow;
    if (nrow > alignfrom) {
      ld = (nrow + 7) & ~7;
      if (ld % aliasstep == 0) ld += 8;
      pos = (pos + 7) & ~ptrdiff_t(7);
    }
    sym.panelpos[s] = pos;
    sym.panelld[s] = ld;
    pos += ptrdiff_t(ld) * ncol;
    sym.maxrow = std::max(sym.maxrow, nrow);
    sym.maxcol = std::max(sym.maxcol, ncol);
  }
  sym.panelpos[sym.numsn] = pos;
}

}  // namespace

symface_cost symface_size(const spmat_view& graph, std::span<const int32_t> order, memman& mman) {
  coltree tree(size_t(graph.ncol), mm_at(mman));
  make_coltree(graph, order, tree);
  return cost_of(tree);
}

void symface_make(const spmat_view& graph, std::span<const int32_t> order, symface& sym) {
  const mm_place at = sym.perm.get_allocator().place;
  const auto n = size_t(graph.ncol);
  symface made(at);
  made.n = graph.ncol;
  coltree tree(n, at);
  make_coltree(graph, order, tree);
  const symface_cost cost = cost_of(tree);
  made.numnz = cost.numnz;
  made.flops = cost.flops;
  symamal sn(at);
  symamal_make(tree.parent, tree.count, sn);
  made.numsn = sn.num;
  made.perm.resize(n);
  made.iperm.resize(n);
  const auto num = size_t(sn.num);
  for (auto* v :
       {&made.first, &made.parent, &made.child, &made.next, &made.contfrom, &made.panelld}) {
    v->resize(num + 1);
  }
  for (auto* v : {&made.rowptr, &made.panelpos, &made.stackpos, &made.runptr}) v->resize(num + 1);
  number_columns(tree, sn, made);
  link_children(made);
  make_rows(graph, sn, made, tree.scratch);
  make_rel(made);
  make_runs(made);
  place_panels(made);
  sym = std::move(made);
}
