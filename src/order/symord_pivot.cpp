// One elimination step of the quotient graph.
#include <algorithm>
#include <cassert>

#include "order/symord_graph.h"

namespace {

struct pivot {
  int32_t x = -1;
  ptrdiff_t first = 0, last = 0;  // active members of the clique in the workspace
  int32_t numpiv = 0;             // nodes eliminated with x, x included
  int32_t weight = 0;             // nodes of the active members
  int32_t weightout = 0;          // nodes of the members that are set aside
};

bool symord_incrowsze(symord_graph& g, int32_t x) {
  const int32_t* list = g.iw.data() + g.ifir[x];
  int64_t need = g.iuse[x] - g.nnoe[x];
  for (int32_t p = 0; p < g.nnoe[x]; ++p) need += g.iuse[list[p]];
  need = std::min<int64_t>(need, g.nleft);
  const auto size = int64_t(g.iw.size());
  if (g.nnoe[x] == 0 || g.ifree + need <= size) return true;
  symord_garcol(g);
  return g.ifree + need <= size;
}

// Adds the members of one list to the clique, which grows at pv.last.
void clique_add(symord_graph& g, pivot& pv, ptrdiff_t begin, int32_t count) {
  g.work += count;
  for (ptrdiff_t p = begin; p < begin + count; ++p) {
    const int32_t i = g.iw[p];
    const int32_t w = g.gsize[i];
    if (w <= 0) continue;
    g.gsize[i] = -w;
    if (g.status[i] == symord_status::active) {
      pv.weight += w;
      g.iw[pv.last++] = i;
      prique_remove(g.queue, i);
    } else {
      pv.weightout += w;
      g.outside.push_back(i);
    }
  }
}

// The clique of x: its plain nodes and the members of its elements, which it swallows. In the place
// of x's list when x has no elements, else in the free part of the workspace.
void pivot_clique(symord_graph& g, pivot& pv) {
  const int32_t x = pv.x;
  const ptrdiff_t begin = g.ifir[x];
  const int32_t numelem = g.nnoe[x];
  g.outside.clear();
  g.gsize[x] = -g.gsize[x];
  pv.first = pv.last = numelem == 0 ? begin : g.ifree;
  for (ptrdiff_t p = begin; p < begin + numelem; ++p) {
    const int32_t e = g.iw[p];
    clique_add(g, pv, g.ifir[e], g.iuse[e]);
    g.status[e] = symord_status::absorbed;
    g.ndiff[e] = 0;
    g.iuse[e] = 0;
  }
  clique_add(g, pv, begin + numelem, g.iuse[x] - numelem);
  g.ifir[x] = pv.first;
  g.status[x] = symord_status::eliminated;
}

// First touch of element e in this step: its members that are outside the new clique, where the
// active ones are still to be subtracted by those that meet e.
int32_t element_first(symord_graph& g, int32_t e) {
  int32_t count = g.deg[e];
  const ptrdiff_t end = g.ifir[e] + g.iuse[e];
  for (ptrdiff_t p = end - g.nnoe[e]; p < end; ++p) count += std::max(g.gsize[g.iw[p]], 0);
  g.work += g.nnoe[e];
  return g.tag + count;
}

void pivot_ndiff(symord_graph& g, const pivot& pv) {
  for (ptrdiff_t p = pv.first; p < pv.last; ++p) {
    const int32_t i = g.iw[p];
    const int32_t w = -g.gsize[i];
    const int32_t* list = g.iw.data() + g.ifir[i];
    const int32_t numelem = g.nnoe[i];
    g.work += numelem + 1;
    for (int32_t k = 0; k < numelem; ++k) {
      const int32_t e = list[k];
      const int32_t diff = g.ndiff[e];
      if (diff >= g.tag) {
        g.ndiff[e] = diff - w;
      } else if (diff != 0) {
        g.ndiff[e] = element_first(g, e) - w;
      }
    }
  }
}

// Rewrites the list of clique member i: x, the elements that reach outside the clique, the plain
// nodes outside it. The list lost x or an element of x, so x has its place. Returns the nodes
// counted outside the clique (with repetitions).
int32_t member_prune(symord_graph& g, int32_t x, int32_t i) {
  int32_t* list = g.iw.data() + g.ifir[i];
  const int32_t numelem = g.nnoe[i];
  const int32_t numall = g.iuse[i];
  uint32_t hash = 0;
  int32_t deg = 0;
  int32_t used = 0;
  int32_t maxclq = 0;
  for (int32_t k = 0; k < numelem; ++k) {
    const int32_t e = list[k];
    const int32_t diff = g.ndiff[e];
    if (diff == 0) continue;
    if (diff > g.tag) {
      deg += diff - g.tag;
      hash += uint32_t(e);
      maxclq = std::max(maxclq, g.clique[e]);
      list[used++] = e;
    } else {  // no member outside the clique: swallowed
      g.status[e] = symord_status::absorbed;
      g.ndiff[e] = 0;
      g.iuse[e] = 0;
    }
  }
  const int32_t kept = used;
  for (int32_t k = numelem; k < numall; ++k) {
    const int32_t j = list[k];
    const int32_t w = g.gsize[j];
    if (w <= 0) continue;
    deg += w;
    hash += uint32_t(j);
    list[used++] = j;
  }
  g.work += numall;
  assert(used < numall);
  list[used] = list[kept];
  list[kept] = list[0];
  list[0] = x;
  g.nnoe[i] = kept + 1;
  g.iuse[i] = used + 1;
  g.hash[i] = hash;
  g.clique[i] = maxclq;
  return deg;
}

// Updates every member; those without a neighbour outside the clique are eliminated together with
// x, the others enter the buckets of the supervariable search.
void pivot_update(symord_graph& g, pivot& pv) {
  for (ptrdiff_t p = pv.first; p < pv.last; ++p) {
    const int32_t i = g.iw[p];
    const int32_t deg = member_prune(g, pv.x, i);
    if (deg == 0 && g.iuse[i] == 1) {
      pv.numpiv -= g.gsize[i];
      pv.weight += g.gsize[i];
      g.gsize[i] = 0;
      g.iuse[i] = 0;
      g.status[i] = symord_status::absorbed;
      symord_chain(g, pv.x, i);
      continue;
    }
    g.deg[i] = std::min(g.deg[i], deg);
    const auto b = int32_t(g.hash[i] % uint32_t(g.n));
    g.hash[i] = uint32_t(b);
    g.hashnext[i] = g.hashhead[b];
    g.hashhead[b] = i;
  }
}

bool member_isequal(const symord_graph& g, int32_t i, int32_t j) {
  if (g.iuse[i] != g.iuse[j] || g.nnoe[i] != g.nnoe[j]) return false;
  const int32_t* list = g.iw.data() + g.ifir[j];
  for (int32_t k = 1; k < g.iuse[j]; ++k) {
    if (g.ndiff[list[k]] != g.tag) return false;
  }
  return true;
}

// Merges into i the later nodes of its bucket that have its list. All lists begin with x.
void merge_node(symord_graph& g, int32_t i) {
  const int32_t* list = g.iw.data() + g.ifir[i];
  for (int32_t k = 1; k < g.iuse[i]; ++k) g.ndiff[list[k]] = g.tag;
  g.work += g.iuse[i];
  int32_t before = i;
  for (int32_t j = g.hashnext[i]; j >= 0; j = g.hashnext[j]) {
    if (!member_isequal(g, i, j)) {
      before = j;
      continue;
    }
    g.gsize[i] += g.gsize[j];
    g.gsize[j] = 0;
    g.iuse[j] = 0;
    g.status[j] = symord_status::absorbed;
    symord_chain(g, i, j);
    g.hashnext[before] = g.hashnext[j];
  }
  symord_cleartag(g, 1);
}

void pivot_merge(symord_graph& g, const pivot& pv) {
  for (ptrdiff_t p = pv.first; p < pv.last; ++p) {
    if (g.gsize[g.iw[p]] == 0) continue;
    const auto b = int32_t(g.hash[g.iw[p]]);
    for (int32_t i = g.hashhead[b]; i >= 0 && g.hashnext[i] >= 0; i = g.hashnext[i]) {
      merge_node(g, i);
    }
    g.hashhead[b] = -1;
  }
}

// Stores the clique, gives its active members their degrees and keys.
void pivot_finish(symord_graph& g, const pivot& pv) {
  const int32_t total = pv.weight + pv.weightout;
  ptrdiff_t end = pv.first;
  for (ptrdiff_t p = pv.first; p < pv.last; ++p) {
    const int32_t i = g.iw[p];
    if (g.gsize[i] == 0) continue;
    const int32_t w = g.gsize[i] = -g.gsize[i];
    g.deg[i] = std::min(g.deg[i] + total - w, g.nleft - w);
    g.clique[i] = std::max(g.clique[i], total);
    prique_insert(g.queue, i, symord_score(g, i, g.deg[i]));
    g.iw[end++] = i;
  }
  for (const int32_t i : g.outside) {
    g.gsize[i] = -g.gsize[i];
    g.iw[end++] = i;
  }
  if (pv.first == g.ifree) g.ifree = end;
  g.iuse[pv.x] = int32_t(end - pv.first);
  g.nnoe[pv.x] = int32_t(g.outside.size());
  g.deg[pv.x] = pv.weight;
  g.clique[pv.x] = total;
  g.gsize[pv.x] = 0;
  g.ndiff[pv.x] = 1;
  if (end == pv.first) {
    g.status[pv.x] = symord_status::absorbed;
    g.ndiff[pv.x] = 0;
  }
}

void pivot_count(symord_graph& g, const pivot& pv) {
  const double k = pv.numpiv;
  const double d = double(pv.weight) + pv.weightout;
  const int64_t num = pv.numpiv;
  g.result.nnzl += num * (int64_t(pv.weight) + pv.weightout) + num * (num + 1) / 2;
  g.result.flops += k * d * d + d * k * (k + 1) + k * (k + 1) * (2 * k + 1) / 6;
}

}  // namespace

bool symord_x1pivot(symord_graph& g, int32_t x) {
  if (!symord_incrowsze(g, x)) return false;
  pivot pv;
  pv.x = x;
  pv.numpiv = g.gsize[x];
  prique_remove(g.queue, x);
  pivot_clique(g, pv);
  pivot_ndiff(g, pv);
  pivot_update(g, pv);
  symord_cleartag(g, g.n + 1);  // above every difference of this step
  pivot_merge(g, pv);
  g.nleft -= pv.numpiv;
  pivot_count(g, pv);
  pivot_finish(g, pv);
  g.perm.push_back(x);
  return true;
}
