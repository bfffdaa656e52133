// Driver of the orderings by local information: space, retries, result.
#include "order/symord.h"

#include <algorithm>

#include "order/symord_graph.h"

namespace {

// Elbow room of the workspace besides the graph: a fifth of it and one list of full length make
// garbage collections rare; the second is also what a run can never need more than.
ptrdiff_t elbow_first(const spmat_view& graph) {
  return ptrdiff_t(graph.ptr[graph.ncol] / 5) + graph.ncol;
}

void write_perm(const symord_graph& g, std::span<int32_t> perm) {
  size_t k = 0;
  for (const int32_t x : g.perm) {
    for (int32_t i = x; i >= 0; i = g.chain[i]) perm[k++] = i;
  }
}

struct attempt {
  symord_end end = symord_end::fault;
  rescode code = rescode::ok;
};

attempt order_once(symord_graph& g, const spmat_view& graph, std::span<const int32_t> stage,
                   ptrdiff_t elbow, const monitor& mon) {
  attempt a;
  timer clock = timer_start();
  a.code = symord_setup(g, graph, stage, elbow, mon);
  mon.log(2, "%-12s: %-12.4e\n", "Setup", timer_wall(clock));
  if (a.code == rescode::ok && g.n > 0) {
    clock = timer_start();
    a.code = symord_prepro(g, mon);
    mon.log(2, "%-12s: %-12.4e\n", "Preprocess", timer_wall(clock));
  }
  if (a.code != rescode::ok) {
    a.end = symord_end::stopped;
    return a;
  }
  a.end = g.score == symord_scoretype::degree ? symord_priord(g, mon, a.code)
                                              : symord_minlocf(g, mon, a.code);
  return a;
}

}  // namespace

rescode symord_staged(const spmat_view& graph, std::span<const int32_t> stage,
                      symord_scoretype score, const monitor& mon, memman& mman,
                      std::span<int32_t> perm, symord_result& result) {
  result = {};
  for (ptrdiff_t elbow = elbow_first(graph);; elbow *= 2) {
    symord_graph g(graph.ncol, score, mm_at(mman));
    const attempt a = order_once(g, graph, stage, elbow, mon);
    switch (a.end) {
      case symord_end::done:
        write_perm(g, perm);
        result = g.result;
        return rescode::ok;
      case symord_end::nonodes:
        return rescode::ok;
      case symord_end::nospace:
        continue;
      case symord_end::stopped:
        return a.code;
      case symord_end::fault:
        return rescode::err_internal;
    }
  }
}

rescode symord_order(const spmat_view& graph, symord_scoretype score, const monitor& mon,
                     memman& mman, std::span<int32_t> perm, symord_result& result) {
  return symord_staged(graph, {}, score, mon, mman, perm, result);
}
