// The orderings by local information: the keys and the loop over pivots.
#include "order/symord_graph.h"

int64_t symord_score(const symord_graph& g, int32_t i, int32_t deg) {
  const int64_t d = deg;
  if (g.score != symord_scoretype::fill) return d;
  return (d * d - d) / (2 * int64_t(g.gsize[i]));
}

namespace {

symord_end eliminate_all(symord_graph& g, const monitor& mon, rescode& code) {
  if (g.n == 0) {
    mon.log(1, "No nodes available\n");
    return symord_end::nonodes;
  }
  for (;;) {
    const int32_t x = prique_min(g.queue);
    // A node set aside for its degree returns when no smaller degree is left.
    if (g.numaside > 0 && (x < 0 || g.deg[x] >= g.cutoff)) {
      symord_activate(g);
      continue;
    }
    if (x < 0) break;
    if (!symord_x1pivot(g, x)) {
      mon.log(1, "Internal space\n");
      return symord_end::nospace;
    }
    code = symord_poll(g, mon);
    if (code != rescode::ok) return symord_end::stopped;
  }
  if (g.nleft != 0) {
    mon.log(1, "Priority error\n");
    return symord_end::fault;
  }
  mon.log(1, "%-10s: %-8lld  %-10s:  %-10.2e\n", "nnz(L)", static_cast<long long>(g.result.nnzl),
          "flops", g.result.flops);
  return symord_end::done;
}

}  // namespace

symord_end symord_minlocf(symord_graph& g, const monitor& mon, rescode& code) {
  mon.log(1, "Approximate min. local fill\n");
  return eliminate_all(g, mon, code);
}

symord_end symord_priord(symord_graph& g, const monitor& mon, rescode& code) {
  mon.log(1, "Priority approximate min. degree\n");
  return eliminate_all(g, mon, code);
}
