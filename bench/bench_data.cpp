// Filling a task item by item and reading it back: times must grow linearly with the problem.
#include <benchmark/benchmark.h>
#include <zalvo.h>

#include <charconv>
#include <cstring>
#include <vector>

namespace {

constexpr int32_t percolumn = 5;

struct bench_task {
  ZLV_env_t env = nullptr;
  ZLV_task_t task = nullptr;
  bench_task() {
    ZLV_makeenv(&env, nullptr, nullptr, nullptr, nullptr);
    ZLV_initenv(env);
    ZLV_maketask(env, 0, 0, &task);
  }
  ~bench_task() {
    ZLV_deletetask(&task);
    ZLV_deleteenv(&env);
  }
};

void make_name(char* name, char letter, int32_t i) {
  *name = letter;
  *std::to_chars(name + 1, name + 15, i).ptr = '\0';
}

// One by one: append, name, bounds, cost and five nonzeros.
int32_t put_columns(ZLV_task_t task, int32_t num) {
  const int32_t numcon = num / 2 + percolumn;
  int32_t r = ZLV_append(task, ZLV_ACC_CON, numcon);
  for (int32_t j = 0; j < num && r == 0; ++j) {
    int32_t sub[percolumn];
    double val[percolumn];
    for (int32_t p = 0; p < percolumn; ++p) {
      sub[p] = int32_t((int64_t(j) * 7919 + p * 104729) % numcon);
      val[p] = 1 + p;
    }
    char name[16];
    make_name(name, 'x', j);
    r = ZLV_append(task, ZLV_ACC_VAR, 1);
    if (r == 0) r = ZLV_putname(task, ZLV_PI_VAR, j, name);
    if (r == 0) r = ZLV_putbound(task, ZLV_ACC_VAR, j, ZLV_BK_RA, 0, 1 + j % 7);
    if (r == 0) r = ZLV_putcj(task, j, j % 11);
    if (r == 0) r = ZLV_putavec(task, ZLV_ACC_VAR, j, percolumn, sub, val);
  }
  return r;
}

void BM_data_putcolumns(benchmark::State& state) {
  const auto num = int32_t(state.range(0));
  for (auto _ : state) {
    bench_task b;
    if (put_columns(b.task, num) != 0) state.SkipWithError("put");
  }
  state.SetItemsProcessed(state.iterations() * num);
}
BENCHMARK(BM_data_putcolumns)
    ->RangeMultiplier(10)
    ->Range(10000, 1000000)
    ->Unit(benchmark::kMillisecond);

void BM_data_putrows(benchmark::State& state) {
  const auto num = int32_t(state.range(0));
  for (auto _ : state) {
    bench_task b;
    int32_t r = ZLV_append(b.task, ZLV_ACC_VAR, num);
    for (int32_t i = 0; i < num && r == 0; ++i) {
      const int32_t sub[] = {i, (i * 13 + 1) % num, (i * 101 + 5) % num};
      const double val[] = {1, 2, 3};
      const int32_t nz = sub[0] != sub[1] && sub[0] != sub[2] && sub[1] != sub[2] ? 3 : 1;
      r = ZLV_append(b.task, ZLV_ACC_CON, 1);
      if (r == 0) r = ZLV_putavec(b.task, ZLV_ACC_CON, i, nz, sub, val);
    }
    if (r != 0) state.SkipWithError("put");
  }
  state.SetItemsProcessed(state.iterations() * num);
}
BENCHMARK(BM_data_putrows)
    ->RangeMultiplier(10)
    ->Range(10000, 1000000)
    ->Unit(benchmark::kMillisecond);

// Rows and columns in turn, as by somebody who adds both cuts and columns.
void BM_data_putmixed(benchmark::State& state) {
  const auto num = int32_t(state.range(0));
  for (auto _ : state) {
    bench_task b;
    int32_t r = ZLV_append(b.task, ZLV_ACC_VAR, num);
    if (r == 0) r = ZLV_append(b.task, ZLV_ACC_CON, num);
    for (int32_t i = 0; i < num && r == 0; ++i) {
      const int32_t sub[] = {(i + 1) % num, (i + 2) % num};
      const double val[] = {2, 3};
      r = ZLV_putavec(b.task, i % 2, i, 2, sub, val);
    }
    if (r != 0) state.SkipWithError("put");
  }
  state.SetItemsProcessed(state.iterations() * num);
}
BENCHMARK(BM_data_putmixed)
    ->RangeMultiplier(10)
    ->Range(10000, 1000000)
    ->Unit(benchmark::kMillisecond);

void BM_data_getslices(benchmark::State& state) {
  const auto num = int32_t(state.range(0));
  const auto accmode = int32_t(state.range(1));
  constexpr int32_t slice = 1000;
  bench_task b;
  if (put_columns(b.task, num) != 0) state.SkipWithError("put");
  int32_t count = 0;
  accmode == ZLV_ACC_VAR ? ZLV_getnumvar(b.task, &count) : ZLV_getnumcon(b.task, &count);
  std::vector<int32_t> ptrb(slice), ptre(slice), bk(slice), sub(100 * slice);
  std::vector<double> val(100 * slice), bl(slice), bu(slice);
  for (auto _ : state) {
    int32_t r = 0;
    for (int32_t first = 0; first < count && r == 0; first += slice) {
      const int32_t last = std::min(first + slice, count);
      r = ZLV_getaslice(b.task, accmode, first, last, 100 * slice, ptrb.data(), ptre.data(),
                        sub.data(), val.data());
      if (r == 0) {
        r = ZLV_getboundslice(b.task, accmode, first, last, bk.data(), bl.data(), bu.data());
      }
    }
    if (r != 0) state.SkipWithError("get");
  }
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_data_getslices)
    ->ArgsProduct({{100000, 1000000}, {ZLV_ACC_VAR, ZLV_ACC_CON}})
    ->Unit(benchmark::kMillisecond);

void BM_data_findnames(benchmark::State& state) {
  const auto num = int32_t(state.range(0));
  bench_task b;
  if (put_columns(b.task, num) != 0) state.SkipWithError("put");
  for (auto _ : state) {
    for (int32_t i = 0; i < num; ++i) {
      char name[16];
      make_name(name, 'x', int32_t((int64_t(i) * 7919) % num));
      int32_t asgn = 0, index = 0;
      ZLV_getnameindex(b.task, ZLV_PI_VAR, name, &asgn, &index);
      benchmark::DoNotOptimize(index);
    }
  }
  state.SetItemsProcessed(state.iterations() * num);
}
BENCHMARK(BM_data_findnames)
    ->RangeMultiplier(10)
    ->Range(10000, 1000000)
    ->Unit(benchmark::kMillisecond);

}  // namespace
