// Reading and writing model files, in bytes of the uncompressed file per second. The arguments are the
// format (ZLV_DATA_FORMAT_*), the number of columns, each with ten entries, and the digits behind the
// point. Counter peak: the most memory while reading over that of the problem when it was read.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <zalvo.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

namespace {

// Memory of a task, counted.
struct meter {
  size_t now = 0, most = 0;
  static void* alloc(void* usr, size_t size) {
    void* block = std::malloc(size);
    auto* m = static_cast<meter*>(usr);
    m->now += malloc_usable_size(block);
    m->most = std::max(m->most, m->now);
    return block;
  }
  static void free(void* usr, void* block) {
    static_cast<meter*>(usr)->now -= malloc_usable_size(block);
    std::free(block);
  }
};

std::string name_of(std::string word, int32_t number) {
  word += std::to_string(number);
  return word;
}

struct file_bench {
  std::string path;
  ZLV_env_t env = nullptr;
  ZLV_task_t task = nullptr;
  explicit file_bench(const benchmark::State& state) {
    constexpr const char* endings[] = {"", ".mps", ".lp", ".mbt", ".opf"};
    const auto numcol = int32_t(state.range(1)), numrow = numcol / 2 + 10;
    path = std::filesystem::temp_directory_path() /
           ("bench_files_" + std::to_string(numcol) + endings[state.range(0)]);
    std::mt19937 gen(18);
    ZLV_makeenv(&env, nullptr, nullptr, nullptr, nullptr);
    ZLV_initenv(env);
    ZLV_maketask(env, numrow, numcol, &task);
    ZLV_putintparam(task, ZLV_IPAR_WRITE_PRECISION, int32_t(state.range(2)));
    ZLV_append(task, ZLV_ACC_CON, numrow);
    ZLV_append(task, ZLV_ACC_VAR, numcol);
    for (int32_t i = 0; i < numrow; ++i) {
      ZLV_putbound(task, ZLV_ACC_CON, i, ZLV_BK_LO, 1.5, 0);
      ZLV_putname(task, ZLV_PI_CON, i, name_of("row", i).c_str());
    }
    for (int32_t j = 0; j < numcol; ++j) {
      constexpr int32_t numentry = 10;
      int32_t sub[numentry];
      double val[numentry];
      const auto first = int32_t(gen() % uint32_t(numrow - numentry));
      for (int32_t k = 0; k < numentry; ++k) {
        sub[k] = first + k;
        val[k] = double(int32_t(gen() % 200001) - 100000) / 1000.0 + 0.0005;
      }
      ZLV_putavec(task, ZLV_ACC_VAR, j, numentry, sub, val);
      ZLV_putbound(task, ZLV_ACC_VAR, j, ZLV_BK_RA, -1.5, j);
      ZLV_putcj(task, j, double(gen()) / 54321);
      ZLV_putname(task, ZLV_PI_VAR, j, name_of("col", j).c_str());
    }
  }
  ~file_bench() {
    ZLV_deletetask(&task);
    ZLV_deleteenv(&env);
    std::filesystem::remove(path);
  }
  file_bench(const file_bench&) = delete;
  file_bench& operator=(const file_bench&) = delete;
};

void set_bytes(benchmark::State& state, const file_bench& b) {
  state.SetBytesProcessed(int64_t(state.iterations()) *
                          int64_t(std::filesystem::file_size(b.path)));
}

void BM_file_write(benchmark::State& state) {
  const file_bench b(state);
  for (auto _ : state) {
    if (ZLV_writedata(b.task, b.path.c_str()) != ZLV_RES_OK) state.SkipWithError("not written");
  }
  set_bytes(state, b);
}

void BM_file_read(benchmark::State& state) {
  const file_bench b(state);
  if (ZLV_writedata(b.task, b.path.c_str()) != ZLV_RES_OK) state.SkipWithError("not written");
  for (auto _ : state) {
    if (ZLV_readdata(b.task, b.path.c_str()) != ZLV_RES_OK) state.SkipWithError("not read");
  }
  set_bytes(state, b);
  meter m;
  ZLV_env_t env = nullptr;
  ZLV_task_t fresh = nullptr;
  ZLV_makeenv(&env, &m, meter::alloc, meter::free, nullptr);
  ZLV_initenv(env);
  ZLV_makeemptytask(env, &fresh);
  const size_t before = m.now;
  if (ZLV_readdata(fresh, b.path.c_str()) != ZLV_RES_OK) state.SkipWithError("not read");
  state.counters["peak"] = double(m.most - before) / double(m.now - before);
  ZLV_deletetask(&fresh);
  ZLV_deleteenv(&env);
}

void all_formats(benchmark::internal::Benchmark* b) {
  b->ArgsProduct(
       {{ZLV_DATA_FORMAT_MPS, ZLV_DATA_FORMAT_LP, ZLV_DATA_FORMAT_OP, ZLV_DATA_FORMAT_MBT},
        {1000, 100000},
        {8, 17}})
      ->Unit(benchmark::kMillisecond);
}
BENCHMARK(BM_file_write)->Apply(all_formats);
BENCHMARK(BM_file_read)->Apply(all_formats);

}  // namespace
