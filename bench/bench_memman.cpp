// What the memory manager costs over the system allocator: blocks allocated and freed in the order
// of a stack, as containers do, and a whole solve. Debugging must cost nothing while it is off.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

#include "cpub/memman.h"
#include "zalvo.h"

namespace {

constexpr int numblock = 256;  // alive at once

size_t size_of(int64_t largest, int k) {
  return size_t(largest) - size_t(k) * 7 % size_t(largest);
}

void BM_memman_system(benchmark::State& state) {
  std::vector<void*> block(numblock);
  for (auto _ : state) {
    for (int k = 0; k < numblock; ++k) {
      block[size_t(k)] = std::malloc(size_of(state.range(0), k));
      benchmark::DoNotOptimize(block[size_t(k)]);
    }
    for (int k = numblock; k-- > 0;) std::free(block[size_t(k)]);
  }
  state.SetItemsProcessed(state.iterations() * numblock);
}

void with_manager(benchmark::State& state, bool isdebug) {
  memman* mman = memman_create(nullptr, nullptr, nullptr, isdebug);
  std::vector<void*> block(numblock);
  for (auto _ : state) {
    for (int k = 0; k < numblock; ++k) {
      block[size_t(k)] = memman_alloc(mman, 1, size_of(state.range(0), k), __FILE__, __LINE__);
      benchmark::DoNotOptimize(block[size_t(k)]);
    }
    for (int k = numblock; k-- > 0;) memman_free(mman, block[size_t(k)], __FILE__, __LINE__);
  }
  state.SetItemsProcessed(state.iterations() * numblock);
  memman_delete(mman);
}

void BM_memman_debugoff(benchmark::State& state) {
  with_manager(state, false);
}
void BM_memman_debugon(benchmark::State& state) {
  with_manager(state, true);
}

// Reads and solves a small model in an environment of its own; dbgfile as for ZLV_makeenv. A run that
// fails has no time.
void solve_small(benchmark::State& state, const char* dbgfile) {
  for (auto _ : state) {
    ZLV_env_t env = nullptr;
    ZLV_task_t task = nullptr;
    const bool isdone = ZLV_makeenv(&env, nullptr, nullptr, nullptr, dbgfile) == ZLV_RES_OK &&
                        ZLV_initenv(env) == ZLV_RES_OK &&
                        ZLV_makeemptytask(env, &task) == ZLV_RES_OK &&
                        ZLV_readdata(task, ZALVO_BENCH_DATA "/gridflow.mps") == ZLV_RES_OK &&
                        ZLV_optimize(task) == ZLV_RES_OK;
    const bool isfreed = ZLV_deletetask(&task) == ZLV_RES_OK && ZLV_deleteenv(&env) == ZLV_RES_OK;
    if (!isdone || !isfreed) {
      state.SkipWithError("the model was not solved");
      break;
    }
  }
}

void BM_memman_solveoff(benchmark::State& state) {
  solve_small(state, nullptr);
}
void BM_memman_solveon(benchmark::State& state) {
  solve_small(state, "");
}

}  // namespace

BENCHMARK(BM_memman_solveoff)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_memman_solveon)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_memman_system)->RangeMultiplier(16)->Range(16, 65536);
BENCHMARK(BM_memman_debugoff)->RangeMultiplier(16)->Range(16, 65536);
BENCHMARK(BM_memman_debugon)->RangeMultiplier(16)->Range(16, 65536);
