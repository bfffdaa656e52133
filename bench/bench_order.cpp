// Orderings of grids, of a power law graph and of a union of cliques such as A A' is.
#include <benchmark/benchmark.h>

#include "order/gpart.h"
#include "order/symord.h"
#include "unit/order_tools.h"

namespace {

void run_symord(benchmark::State& state, const order_pattern& p, symord_scoretype score) {
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  std::vector<int32_t> perm(p.n);
  symord_result result;
  for (auto _ : state) {
    if (symord_order(p.view(), score, {}, *mman, perm, result) != rescode::ok) {
      state.SkipWithError("ordering failed");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations() * int64_t(p.sub.size()));
  state.counters["nnzL"] = double(result.nnzl);
  state.counters["flops"] = result.flops;
  memman_delete(mman);
}

void BM_symord_grid(benchmark::State& state) {
  const auto m = int32_t(state.range(0));
  run_symord(state, order_grid(m, m), symord_scoretype(state.range(1)));
}
BENCHMARK(BM_symord_grid)->ArgsProduct({{16, 64, 256}, {0, 1, 2}})->Unit(benchmark::kMillisecond);

void BM_symord_powerlaw(benchmark::State& state) {
  run_symord(state, order_powerlaw(int32_t(state.range(0)), 3, 1),
             symord_scoretype(state.range(1)));
}
BENCHMARK(BM_symord_powerlaw)
    ->ArgsProduct({{1000, 8000}, {0, 1, 2}})
    ->Unit(benchmark::kMillisecond);

void BM_symord_cliques(benchmark::State& state) {
  const auto n = int32_t(state.range(0));
  run_symord(state, order_cliques(n, n * 3 / 2, 40, 1), symord_scoretype(state.range(1)));
}
BENCHMARK(BM_symord_cliques)->ArgsProduct({{1000, 4000}, {0, 1, 2}})->Unit(benchmark::kMillisecond);

void BM_gpart_grid(benchmark::State& state) {
  const auto m = int32_t(state.range(0));
  const order_pattern p = order_grid(m, m);
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  std::vector<int32_t> perm(p.n);
  for (auto _ : state) {
    if (gpart_order(p.view(), int32_t(state.range(1)), {}, *mman, perm) != rescode::ok) {
      state.SkipWithError("ordering failed");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations() * int64_t(p.sub.size()));
  memman_delete(mman);
}
BENCHMARK(BM_gpart_grid)->ArgsProduct({{16, 64, 256}, {1, 2}})->Unit(benchmark::kMillisecond);

}  // namespace
