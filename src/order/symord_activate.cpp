// The return of nodes that were set aside: their lists are rebuilt from the lists of the elements
// and of the active nodes that name them.
#include <algorithm>
#include <cassert>
#include <limits>

#include "order/symord_graph.h"

namespace {

// Nodes set aside return in batches of degrees up to this multiple of the smallest, so that the
// number of passes over the graph stays logarithmic.
constexpr int64_t symord_batchmul = 4;

// The nodes whose time has come, into g.batch; the cutoff of those that stay aside.
void activate_choose(symord_graph& g) {
  const auto stageof = [&](int32_t i) { return g.stage.empty() ? 0 : g.stage[i]; };
  auto limit = int32_t(std::min<int64_t>(symord_batchmul * g.cutoff, g.n));
  if (g.cutoff >= g.n) {  // none of this stage is left
    g.curstage = std::numeric_limits<int32_t>::max();
    for (int32_t i = 0; i < g.n; ++i) {
      if (g.status[i] == symord_status::dense) g.curstage = std::min(g.curstage, stageof(i));
    }
    limit = g.n;
  }
  g.batch.clear();
  g.cutoff = g.n;
  for (int32_t i = 0; i < g.n; ++i) {
    if (g.status[i] != symord_status::dense || stageof(i) != g.curstage) continue;
    if (g.deg[i] <= limit) {
      g.batch.push_back(i);
    } else {
      g.cutoff = std::min(g.cutoff, g.deg[i]);
    }
  }
}

// Makes the batch active; of the lists stay the nodes that are aside now. The batch bears the tag.
void activate_status(symord_graph& g) {
  symord_cleartag(g, 1);
  for (const int32_t i : g.batch) {
    int32_t* list = g.iw.data() + g.ifir[i];
    const auto gone = [&](int32_t k) { return g.status[k] != symord_status::dense; };
    g.iuse[i] = int32_t(std::remove_if(list, list + g.iuse[i], gone) - list);
    g.nnoe[i] = 0;
    g.ndiff[i] = g.tag;
  }
  for (const int32_t i : g.batch) g.status[i] = symord_status::active;
  g.numaside -= int32_t(g.batch.size());
}

// Elements: their new active members move to the front part and are counted there; every member
// gets its element, in front of the nodes already in its list.
void activate_elements(symord_graph& g) {
  for (int32_t e = 0; e < g.n; ++e) {
    if (g.status[e] != symord_status::eliminated || g.nnoe[e] == 0) continue;
    int32_t* end = g.iw.data() + g.ifir[e] + g.iuse[e];
    g.work += g.nnoe[e];
    for (int32_t* p = end - g.nnoe[e]; p < end; ++p) {
      if (g.status[*p] == symord_status::active) ++g.nnoe[*p];
    }
  }
  for (const int32_t i : g.batch) {
    int32_t* list = g.iw.data() + g.ifir[i];
    assert(g.iuse[i] + g.nnoe[i] <= g.isze[i]);
    std::copy_backward(list, list + g.iuse[i], list + g.iuse[i] + g.nnoe[i]);
    g.iuse[i] += g.nnoe[i];
    g.nnoe[i] = 0;
  }
  for (int32_t e = 0; e < g.n; ++e) {
    if (g.status[e] != symord_status::eliminated || g.nnoe[e] == 0) continue;
    int32_t* end = g.iw.data() + g.ifir[e] + g.iuse[e];
    int32_t* front = end - g.nnoe[e];
    for (int32_t* p = front; p < end; ++p) {
      const int32_t i = *p;
      if (g.status[i] != symord_status::active) continue;
      g.iw[g.ifir[i] + g.nnoe[i]++] = e;
      g.deg[e] += g.gsize[i];
      std::swap(*p, *front++);
    }
    g.nnoe[e] = int32_t(end - front);
  }
}

// Edges to the nodes that were active before: each names the batch in its own list.
void activate_nodes(symord_graph& g) {
  for (int32_t k = 0; k < g.n; ++k) {
    if (g.status[k] != symord_status::active || g.ndiff[k] == g.tag) continue;
    const int32_t* list = g.iw.data() + g.ifir[k];
    g.work += g.iuse[k] - g.nnoe[k];
    for (int32_t p = g.nnoe[k]; p < g.iuse[k]; ++p) {
      const int32_t i = list[p];
      if (g.status[i] != symord_status::active || g.ndiff[i] != g.tag) continue;
      assert(g.iuse[i] < g.isze[i]);
      g.iw[g.ifir[i] + g.iuse[i]++] = k;
    }
  }
}

void activate_key(symord_graph& g, int32_t i) {
  const int32_t* list = g.iw.data() + g.ifir[i];
  int64_t deg = 0;
  int32_t maxclq = 1;
  for (int32_t p = 0; p < g.nnoe[i]; ++p) {
    const int32_t e = list[p];
    int32_t size = g.deg[e];
    const ptrdiff_t end = g.ifir[e] + g.iuse[e];
    for (ptrdiff_t q = end - g.nnoe[e]; q < end; ++q) size += g.gsize[g.iw[q]];
    deg += size - g.gsize[i];
    maxclq = std::max(maxclq, size);
  }
  for (int32_t p = g.nnoe[i]; p < g.iuse[i]; ++p) deg += g.gsize[list[p]];
  g.work += g.iuse[i];
  g.deg[i] = int32_t(std::min<int64_t>(deg, g.nleft - g.gsize[i]));
  g.clique[i] = maxclq;
  prique_insert(g.queue, i, symord_score(g, i, g.deg[i]));
}

}  // namespace

void symord_activate(symord_graph& g) {
  activate_choose(g);
  activate_status(g);
  activate_elements(g);
  activate_nodes(g);
  symord_compress(g, false);
  symord_compress(g, true);
  for (const int32_t i : g.batch) {
    if (g.gsize[i] > 0) activate_key(g, i);
  }
  g.work += g.n;
}
