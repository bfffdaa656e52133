// What the memory manager costs over the system allocator: blocks allocated and freed in the order
// of a stack, as containers do. Debugging must cost nothing while it is off.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

#include "cpub/memman.h"

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

}  // namespace

BENCHMARK(BM_memman_system)->RangeMultiplier(16)->Range(16, 65536);
BENCHMARK(BM_memman_debugoff)->RangeMultiplier(16)->Range(16, 65536);
BENCHMARK(BM_memman_debugon)->RangeMultiplier(16)->Range(16, 65536);
