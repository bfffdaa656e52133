// Garbage collection of the workspace and the check of its invariants.
#include <algorithm>

#include "order/symord_graph.h"

namespace {

bool has_list(const symord_graph& g, int32_t i) {
  if (g.status[i] == symord_status::absorbed) return false;
  return (g.status[i] == symord_status::dense ? g.isze[i] : g.iuse[i]) > 0;
}

}  // namespace

void symord_garcol(symord_graph& g) {
  // The first entry of a list is kept in ifir while a negative marker names the owner in its place.
  for (int32_t i = 0; i < g.n; ++i) {
    if (!has_list(g, i)) continue;
    int32_t& slot = g.iw[g.ifir[i]];
    g.ifir[i] = slot;
    slot = -1 - i;
  }
  ptrdiff_t to = 0;
  for (ptrdiff_t from = 0; from < g.ifree;) {
    if (g.iw[from] >= 0) {
      ++from;
      continue;
    }
    const int32_t i = -1 - g.iw[from];
    const int32_t len = g.status[i] == symord_status::dense ? g.isze[i] : g.iuse[i];
    g.iw[from] = int32_t(g.ifir[i]);
    g.ifir[i] = to;
    std::copy(g.iw.begin() + from, g.iw.begin() + from + len, g.iw.begin() + to);
    to += len;
    from += len;
  }
  g.work += g.ifree;
  g.ifree = to;
}

namespace {

bool check_list(const symord_graph& g, int32_t i, const monitor& mon) {
  if (g.status[i] == symord_status::dense && g.iuse[i] > g.isze[i]) {
    mon.log(1, "iuse[%d]>isze[%d] %d>%d\n", i, i, g.iuse[i], g.isze[i]);
    return false;
  }
  if (g.ifir[i] < 0 || g.ifir[i] + g.iuse[i] > g.ifree) {
    mon.log(1, "ifir error\ny: %d  x: %d\n", i, i);
    return false;
  }
  const bool element = g.status[i] == symord_status::eliminated;
  for (int32_t p = 0; p < g.iuse[i]; ++p) {
    const int32_t k = g.iw[g.ifir[i] + p];
    bool good = k >= 0 && k < g.n && k != i;
    if (good && element) {
      const bool tail = p >= g.iuse[i] - g.nnoe[i];
      good = tail ? g.status[k] == symord_status::dense
                  : g.status[k] == symord_status::active || g.gsize[k] == 0;
    } else if (good && g.status[i] == symord_status::active) {
      good = (p < g.nnoe[i]) == (g.status[k] == symord_status::eliminated) || g.gsize[k] == 0;
    }
    if (!good) {
      mon.log(1, "p error\ny: %d  x: %d\n", k, i);
      return false;
    }
  }
  return true;
}

}  // namespace

bool symord_check(const symord_graph& g, const monitor& mon) {
  int64_t left = 0;
  for (int32_t i = 0; i < g.n; ++i) {
    if (g.status[i] == symord_status::absorbed) continue;
    if (!check_list(g, i, mon)) return false;
    const bool queued = g.queue.bucket[i] >= 0;
    if (queued != (g.status[i] == symord_status::active)) {
      mon.log(1, "Priority error\ny: %d  x: %d\n", i, g.queue.bucket[i]);
      return false;
    }
    left += g.gsize[i];
    if (g.gsize[i] < 0 || (queued && (g.deg[i] < 0 || g.deg[i] >= g.n))) {
      mon.log(1, "Score\n\nxdeg=%d\nrsze=%d\nisze[x]=%d\ndeg=%d maxclqsze=%d\n", g.deg[i],
              g.iuse[i], g.isze[i], g.deg[i], g.clique[i]);
      return false;
    }
  }
  if (left != g.nleft || prique_check(g.queue) >= 0) {
    mon.log(1, "Data violation\n");
    return false;
  }
  return true;
}
