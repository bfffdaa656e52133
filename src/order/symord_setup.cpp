// Setup of the quotient graph from a pattern, and the merging of indistinguishable nodes.
#include <algorithm>
#include <cmath>
#include <limits>

#include "order/symord_graph.h"

namespace {

// Dense cutoff: a multiple of the average degree and a constant, so that a graph of few edges does
// not lose all its better connected nodes.
constexpr int64_t symord_densemul = 5;
constexpr int64_t symord_denseadd = 5;

// Two independent scramblings of an index; sums of them tell lists apart.
constexpr uint64_t symord_mix(int32_t i, uint64_t seed) {
  uint64_t x = (uint64_t(uint32_t(i)) + seed) * 0x9e3779b97f4a7c15u;
  x ^= x >> 29;
  x *= 0xbf58476d1ce4e5b9u;
  return x ^ (x >> 32);
}

// Copies the lists without diagonal and repetitions. The sum of a term that changes its sign with
// the two ends is zero when every edge stands at both ends (and, but for chance, only then).
rescode setup_load(symord_graph& g, const spmat_view& graph, const monitor& mon) {
  uint64_t balance = 0;
  auto& seen = g.hashnext;  // last column that had the row
  for (int32_t j = 0; j < g.n; ++j) {
    const uint64_t fj = symord_mix(j, 1);
    const uint64_t gj = symord_mix(j, 2);
    g.ifir[j] = g.ifree;
    for (ptrdiff_t p = graph.ptr[j]; p < graph.ptr[j + 1]; ++p) {
      const int32_t i = graph.sub[p];
      if (i < 0 || i >= g.n) {
        mon.log(1, "p error\ny: %d  x: %d\n", i, j);
        return rescode::err_internal;
      }
      if (i == j || seen[i] == j) continue;
      seen[i] = j;
      g.iw[g.ifree++] = i;
      balance += symord_mix(i, 1) * gj - symord_mix(i, 2) * fj;
    }
    g.isze[j] = g.iuse[j] = g.deg[j] = int32_t(g.ifree - g.ifir[j]);
    g.work += g.iuse[j] + 1;
    if (const rescode r = symord_poll(g, mon); r != rescode::ok) return r;
  }
  if (balance != 0) {
    mon.log(1, "Data violation\n");
    return rescode::err_internal;
  }
  return rescode::ok;
}

void setup_log(const symord_graph& g, int64_t sumdeg, int64_t sumdense, int32_t cutoff,
               const monitor& mon) {
  if (!mon.wants(1)) return;
  const int32_t maxdeg = *std::max_element(g.deg.begin(), g.deg.end());
  const double n = g.n;
  const double density = (n + double(sumdeg)) * 100.0 / (n * n);
  const double saved = sumdeg > 0 ? double(sumdense) / double(sumdeg) : 0.0;
  mon.log(1, "%-12s: %-10d  %-12s: %-10lld\n", "n", g.n, "num(edges)/2",
          static_cast<long long>(sumdeg / 2));
  mon.log(1, "%-12s: %-10d  %-12s: %-10lld\n", "max(deg)", maxdeg, "avg(deg)",
          static_cast<long long>(sumdeg / g.n));
  mon.log(1, "%-12s: %-8.2f\n", "Density (%)", density);
  mon.log(1, "%-12s: %-10d  %-12s: %-10d\n", "cutoff", cutoff, "num(den)", g.result.numdense);
  mon.log(1, "%-12s: %-10.2f\n", "Rel. saved", saved);
}

// The lists of nodes set aside keep only nodes set aside; the room of the others stays theirs.
void setup_asidelists(symord_graph& g) {
  for (int32_t i = 0; i < g.n; ++i) {
    if (g.status[i] != symord_status::dense) continue;
    int32_t* list = g.iw.data() + g.ifir[i];
    const auto* end = std::remove_if(
        list, list + g.iuse[i], [&](int32_t k) { return g.status[k] != symord_status::dense; });
    g.iuse[i] = int32_t(end - list);
  }
}

}  // namespace

symord_graph::symord_graph(int32_t numnode, symord_scoretype type, mm_place at)
    : n(numnode),
      score(type),
      iw(at),
      ifir(numnode, 0, at),
      iuse(numnode, 0, at),
      isze(numnode, 0, at),
      nnoe(numnode, 0, at),
      status(numnode, symord_status::active, at),
      gsize(numnode, 1, at),
      deg(numnode, 0, at),
      clique(numnode, 1, at),
      stage(at),
      chain(numnode, -1, at),
      chainlast(numnode, 0, at),
      queue(numnode, at),
      ndiff(numnode, 0, at),
      hashhead(numnode, -1, at),
      hashnext(numnode, -1, at),
      hash(numnode, 0, at),
      outside(at),
      batch(at),
      nleft(numnode),
      cutoff(numnode),
      perm(at) {
  perm.reserve(numnode);
  batch.reserve(numnode);
  for (int32_t i = 0; i < numnode; ++i) chainlast[i] = i;
}

rescode symord_setup(symord_graph& g, const spmat_view& graph, std::span<const int32_t> stage,
                     ptrdiff_t elbow, const monitor& mon) {
  const ptrdiff_t nnz = graph.ptr[g.n];
  const auto most = ptrdiff_t(std::numeric_limits<ptrdiff_t>::max() / sizeof(int32_t));
  if (nnz > most - elbow) {
    mon.log(1, "Out of internal space. nnz: %lld\n", static_cast<long long>(nnz));
    throw std::bad_alloc();
  }
  g.iw.resize(nnz + elbow);
  g.stage.assign(stage.begin(), stage.end());
  if (const rescode r = setup_load(g, graph, mon); r != rescode::ok) return r;
  if (g.n == 0) return rescode::ok;

  int64_t sumdeg = 0;
  int64_t sumdense = 0;
  for (const int32_t d : g.deg) sumdeg += d;
  const auto cutoff =
      int32_t(std::min<int64_t>(g.n, symord_densemul * (sumdeg / g.n) + symord_denseadd));
  for (int32_t i = 0; i < g.n; ++i) {
    const bool later = !stage.empty() && stage[i] > 0;
    const bool dense = g.deg[i] > cutoff;
    if (dense) {
      ++g.result.numdense;
      sumdense += g.deg[i];
      if (!later) g.cutoff = std::min(g.cutoff, g.deg[i]);
    }
    if (dense || later) {
      g.status[i] = symord_status::dense;
      ++g.numaside;
    } else {
      prique_insert(g.queue, i, g.deg[i]);
    }
  }
  setup_log(g, sumdeg, sumdense, cutoff, mon);
  g.outside.reserve(g.numaside);
  setup_asidelists(g);
  return rescode::ok;
}

void symord_cleartag(symord_graph& g, int32_t add) {
  constexpr int32_t most = std::numeric_limits<int32_t>::max();
  if (g.tag < most - add - g.n - 1) {
    g.tag += add;
    return;
  }
  for (auto& d : g.ndiff) d = d != 0 ? 1 : 0;
  g.tag = 2;
}

namespace {

// The hash of a list; absorbed nodes are passed over, which is also what the comparison does.
uint32_t list_hash(symord_graph& g, int32_t i, bool closed) {
  uint64_t sum = closed ? symord_mix(i, 1) : 0;
  const int32_t* list = g.iw.data() + g.ifir[i];
  for (int32_t p = 0; p < g.iuse[i]; ++p) {
    if (p < g.nnoe[i] || g.gsize[list[p]] > 0) sum += symord_mix(list[p], 1);
  }
  g.work += g.iuse[i];
  return uint32_t(sum ^ (sum >> 32));
}

int32_t list_mark(symord_graph& g, int32_t i, bool closed) {
  int32_t count = 0;
  const int32_t* list = g.iw.data() + g.ifir[i];
  for (int32_t p = 0; p < g.iuse[i]; ++p) {
    if (p >= g.nnoe[i] && g.gsize[list[p]] <= 0) continue;
    g.ndiff[list[p]] = g.tag;
    ++count;
  }
  if (closed) g.ndiff[i] = g.tag;
  return count;
}

bool list_isequal(const symord_graph& g, int32_t j, int32_t count, bool closed) {
  const int32_t* list = g.iw.data() + g.ifir[j];
  if (closed && g.ndiff[j] != g.tag) return false;
  for (int32_t p = 0; p < g.iuse[j]; ++p) {
    if (p >= g.nnoe[j] && g.gsize[list[p]] <= 0) continue;
    if (g.ndiff[list[p]] != g.tag) return false;
    --count;
  }
  return count == 0;
}

// Compares i with the later nodes of its bucket.
void compress_node(symord_graph& g, int32_t i, bool closed) {
  int32_t count = -1;
  int32_t before = i;
  for (int32_t j = g.hashnext[i]; j >= 0; j = g.hashnext[j]) {
    bool equal = g.hash[j] == g.hash[i] && g.nnoe[j] == g.nnoe[i];
    if (equal && count < 0) {
      symord_cleartag(g, 1);
      count = list_mark(g, i, closed);
    }
    if (equal) {
      g.work += g.iuse[j];
      equal = list_isequal(g, j, count, closed);
    }
    if (!equal) {
      before = j;
      continue;
    }
    g.hashnext[before] = g.hashnext[j];
    // Group j was one of the counted entries of i when it stood in i's list.
    if (g.ndiff[j] == g.tag && closed) --count;
    g.gsize[i] += g.gsize[j];
    g.gsize[j] = 0;
    symord_chain(g, i, j);
    g.status[j] = symord_status::absorbed;
    prique_remove(g.queue, j);
  }
}

}  // namespace

void symord_compress(symord_graph& g, bool closed) {
  for (const int32_t i : g.batch) {
    if (g.gsize[i] <= 0) continue;
    g.hash[i] = list_hash(g, i, closed);
    const auto b = int32_t(g.hash[i] % uint32_t(g.n));
    g.hashnext[i] = g.hashhead[b];
    g.hashhead[b] = i;
  }
  for (const int32_t k : g.batch) {
    const auto b = int32_t(g.hash[k] % uint32_t(g.n));
    for (int32_t i = g.hashhead[b]; i >= 0; i = g.hashnext[i]) {
      if (closed || g.nnoe[i] > 0) compress_node(g, i, closed);
    }
    g.hashhead[b] = -1;
  }
  symord_cleartag(g, 1);  // no element may look touched to the next pivot
}

rescode symord_prepro(symord_graph& g, const monitor& mon) {
  g.batch.clear();
  for (int32_t i = 0; i < g.n; ++i) {
    if (g.status[i] == symord_status::active && g.iuse[i] > 0) g.batch.push_back(i);
  }
  const auto before = int32_t(g.batch.size());
  mon.log(1, "Initial number of nodes: %-d\n", before);
  if (before >= 2) {
    symord_compress(g, true);
    std::erase_if(g.batch, [&](int32_t i) { return g.gsize[i] == 0; });
  }
  const auto after = int32_t(g.batch.size());
  mon.log(1, "Compressed number of nodes: %-d\n", after);
  g.result.numcompressed = g.n - (before - after);

  for (const int32_t i : g.batch) {
    int32_t* list = g.iw.data() + g.ifir[i];
    int32_t used = 0;
    g.deg[i] = 0;
    for (int32_t p = 0; p < g.iuse[i]; ++p) {
      if (g.gsize[list[p]] == 0) continue;
      g.deg[i] += g.gsize[list[p]];
      list[used++] = list[p];
    }
    g.work += g.iuse[i];
    g.iuse[i] = used;
    const double d = g.deg[i];
    const int64_t key = g.score == symord_scoretype::fill
                            ? std::llround(std::sqrt(d * (d - 1) / g.gsize[i]))
                            : g.deg[i];
    prique_update(g.queue, i, key);
    if (const rescode r = symord_poll(g, mon); r != rescode::ok) return r;
  }
  return rescode::ok;
}
