// Reading and writing MPS files, in bytes of uncompressed text per second. The argument is the
// number of columns; a column has ten entries.
#include <benchmark/benchmark.h>
#include <zalvo.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace {

std::string make_text(int32_t numcol) {
  std::mt19937 gen(17);
  const int32_t numrow = numcol / 2 + 10;
  std::string text = "NAME          BENCH\nROWS\n N  COST\n";
  char line[96];
  for (int32_t i = 0; i < numrow; ++i) {
    text.append(line, size_t(std::snprintf(line, sizeof line, " L  R%07d\n", i)));
  }
  text += "COLUMNS\n";
  for (int32_t j = 0; j < numcol; ++j) {
    const int32_t first = int32_t(gen() % uint32_t(numrow - 10));
    for (int32_t k = 0; k < 10; ++k) {
      const double value = double(int32_t(gen() % 200001) - 100000) / 1000.0 + 0.0005;
      text.append(line, size_t(std::snprintf(line, sizeof line, "    C%07d  R%07d  %12.7g\n", j,
                                             first + k, value)));
    }
  }
  text += "RHS\n";
  for (int32_t i = 0; i < numrow; ++i) {
    text.append(line,
                size_t(std::snprintf(line, sizeof line, "    RHS       R%07d  %12d\n", i, i)));
  }
  return text + "ENDATA\n";
}

struct mps_bench {
  std::string path;
  int64_t size = 0;
  ZLV_env_t env = nullptr;
  ZLV_task_t task = nullptr;
  explicit mps_bench(int32_t numcol)
      : path(std::filesystem::temp_directory_path() /
             ("bench_mps_" + std::to_string(numcol) + ".mps")) {
    const std::string text = make_text(numcol);
    std::ofstream(path) << text;
    size = int64_t(text.size());
    ZLV_makeenv(&env, nullptr, nullptr, nullptr, nullptr);
    ZLV_initenv(env);
    ZLV_maketask(env, 0, 0, &task);
  }
  ~mps_bench() {
    ZLV_deletetask(&task);
    ZLV_deleteenv(&env);
    std::filesystem::remove(path);
  }
  mps_bench(const mps_bench&) = delete;
  mps_bench& operator=(const mps_bench&) = delete;
};

void BM_readmps_file(benchmark::State& state) {
  mps_bench b(int32_t(state.range(0)));
  for (auto _ : state) {
    if (ZLV_readmps(b.task, b.path.c_str()) != ZLV_RES_OK) state.SkipWithError("not read");
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * b.size);
}
BENCHMARK(BM_readmps_file)->Arg(1000)->Arg(30000)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_writemps_file(benchmark::State& state) {
  mps_bench b(int32_t(state.range(0)));
  if (ZLV_readmps(b.task, b.path.c_str()) != ZLV_RES_OK) state.SkipWithError("not read");
  ZLV_putintparam(b.task, ZLV_IPAR_WRITE_PRECISION, int32_t(state.range(1)));
  for (auto _ : state) {
    if (ZLV_writemps(b.task, b.path.c_str()) != ZLV_RES_OK) state.SkipWithError("not written");
  }
  state.SetBytesProcessed(int64_t(state.iterations()) *
                          int64_t(std::filesystem::file_size(b.path)));
}
BENCHMARK(BM_writemps_file)
    ->ArgsProduct({{1000, 30000, 100000}, {8, 17}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
