// Writing and reading LP files, in bytes of uncompressed text per second. The arguments are the
// number of columns, each with ten entries, and the precision.
#include <benchmark/benchmark.h>
#include <zalvo.h>

#include <cstdint>
#include <filesystem>
#include <random>
#include <string>

namespace {

struct lp_bench {
  std::string path;
  ZLV_env_t env = nullptr;
  ZLV_task_t task = nullptr;
  explicit lp_bench(const benchmark::State& state) {
    const auto numcol = int32_t(state.range(0)), numrow = numcol / 2 + 10;
    path = std::filesystem::temp_directory_path() / ("bench_lp_" + std::to_string(numcol) + ".lp");
    std::mt19937 gen(18);
    ZLV_makeenv(&env, nullptr, nullptr, nullptr, nullptr);
    ZLV_initenv(env);
    ZLV_maketask(env, numrow, numcol, &task);
    ZLV_putintparam(task, ZLV_IPAR_WRITE_PRECISION, int32_t(state.range(1)));
    ZLV_append(task, ZLV_ACC_CON, numrow);
    ZLV_append(task, ZLV_ACC_VAR, numcol);
    for (int32_t i = 0; i < numrow; ++i) ZLV_putbound(task, ZLV_ACC_CON, i, ZLV_BK_LO, 1.5, 0);
    for (int32_t j = 0; j < numcol; ++j) {
      constexpr int32_t numentry = 10;
      int32_t sub[numentry];
      double val[numentry];
      const auto first = int32_t(gen() % uint32_t(numrow - numentry));
      for (int32_t k = 0; k < numentry; ++k) {
        sub[k] = first + k;
        val[k] = double(gen()) / 12345;
      }
      ZLV_putavec(task, ZLV_ACC_VAR, j, numentry, sub, val);
      ZLV_putbound(task, ZLV_ACC_VAR, j, ZLV_BK_RA, -1.5, j);
      ZLV_putcj(task, j, double(gen()) / 54321);
    }
  }
  ~lp_bench() {
    ZLV_deletetask(&task);
    ZLV_deleteenv(&env);
    std::filesystem::remove(path);
  }
  lp_bench(const lp_bench&) = delete;
  lp_bench& operator=(const lp_bench&) = delete;
};

void set_bytes(benchmark::State& state, const lp_bench& b) {
  state.SetBytesProcessed(int64_t(state.iterations()) *
                          int64_t(std::filesystem::file_size(b.path)));
}

void BM_writelp_file(benchmark::State& state) {
  lp_bench b(state);
  for (auto _ : state) {
    if (ZLV_writedata(b.task, b.path.c_str()) != ZLV_RES_OK) state.SkipWithError("not written");
  }
  set_bytes(state, b);
}
BENCHMARK(BM_writelp_file)
    ->ArgsProduct({{1000, 30000, 100000}, {8, 17}})
    ->Unit(benchmark::kMillisecond);

void BM_readlp_file(benchmark::State& state) {
  lp_bench b(state);
  if (ZLV_writedata(b.task, b.path.c_str()) != ZLV_RES_OK) state.SkipWithError("not written");
  for (auto _ : state) {
    if (ZLV_readdata(b.task, b.path.c_str()) != ZLV_RES_OK) state.SkipWithError("not read");
  }
  set_bytes(state, b);
}
BENCHMARK(BM_readlp_file)
    ->ArgsProduct({{1000, 30000, 100000}, {8, 17}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
