// The factorization of A D A': kernels over sizes that span the caches, and the phases on grids.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "kfac/kktfac.h"
#include "lalib/parblas.h"

namespace {

void BM_parblas_update(benchmark::State& state) {
  const parblas_family* family = parblas_get(int32_t(state.range(0)));
  if (family == nullptr) {
    state.SkipWithError("this processor has no such family");
    return;
  }
  const auto n = int32_t(state.range(1)), k = int32_t(state.range(2));
  const std::vector<double> a(size_t(n) * size_t(k), 0.5), scale(size_t(k), 0.25);
  std::vector<double> c(size_t(n) * size_t(n)), work(size_t(parblas_worksize(n, k)));
  parblas_update u;
  u.m = u.n = n;
  u.k = k;
  u.a = u.b = a.data();
  u.lda = u.ldb = u.ldc = n;
  u.scale = scale.data();
  u.c = c.data();
  u.lower = u.fresh = true;
  u.work = work.data();
  for (auto _ : state) family->update(u);
  state.SetLabel(std::string(parblas_name(family->kind)) + ' ' + family->instructions);
  state.counters["flops"] =
      benchmark::Counter(double(n) * (n + 1) * k, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_parblas_update)
    ->ArgsProduct({{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, {24, 120, 480, 1496}, {4, 16, 64, 256}});

// An interior-point system: slacks and one column for each edge of a grid of three dimensions.
struct grid_problem {
  int32_t m;
  std::vector<ptrdiff_t> ptr{0};
  std::vector<int32_t> sub;
  std::vector<double> val, d;
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  kktfac_ptr fac;
  monitor mon;

  explicit grid_problem(int32_t k) : m(k * k * k) {
    for (int32_t i = 0; i < m; ++i) add(i, -1);
    for (int32_t i = 0; i < m; ++i) {
      if (i % k + 1 < k) add(i, i + 1);
      if (i / k % k + 1 < k) add(i, i + k);
      if (i / k / k + 1 < k) add(i, i + k * k);
    }
    std::mt19937 gen(1);
    std::uniform_real_distribution<double> exponent(-3, 3);
    d.resize(ptr.size() - 1);
    for (double& v : d) v = std::pow(10.0, exponent(gen));
    fac = kktfac_make(kktfac_kind::ada, m, int32_t(d.size()), *mman);
    kktfac_inaij(*fac, {m, int32_t(d.size()), ptr, sub, val});
  }
  grid_problem(const grid_problem&) = delete;
  grid_problem& operator=(const grid_problem&) = delete;
  ~grid_problem() {
    fac.reset();
    memman_delete(mman);
  }
  void add(int32_t i, int32_t j) {
    sub.push_back(i);
    val.push_back(1.0);
    if (j >= 0) {
      sub.push_back(j);
      val.push_back(-1.0);
    }
    ptr.push_back(ptrdiff_t(sub.size()));
  }
};

void BM_kktfac_adasetup(benchmark::State& state) {
  grid_problem p(int32_t(state.range(0)));
  for (auto _ : state) {
    if (kktfac_adasetup(*p.fac, {}, p.mon, p.mon) != rescode::ok) state.SkipWithError("setup");
  }
  state.counters["nnzL"] = double(kktfac_getstats(*p.fac).numnz);
}
BENCHMARK(BM_kktfac_adasetup)->Arg(2)->Arg(8)->Arg(16)->Arg(24);

void BM_kktfac_numfac(benchmark::State& state) {
  grid_problem p(int32_t(state.range(0)));
  const kktfac_settings set{.numthreads = int32_t(state.range(1))};
  if (kktfac_adasetup(*p.fac, set, p.mon, p.mon) != rescode::ok) state.SkipWithError("setup");
  for (auto _ : state) {
    if (kktfac_numfac(*p.fac, p.d, {}, p.mon) != rescode::ok) state.SkipWithError("numfac");
  }
  state.counters["flops"] = benchmark::Counter(kktfac_getstats(*p.fac).flops,
                                               benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_kktfac_numfac)->ArgsProduct({{2, 8, 16, 24}, {1, 2}})->UseRealTime();

void BM_kktfac_adasolve(benchmark::State& state) {
  grid_problem p(int32_t(state.range(0)));
  const auto nrhs = int32_t(state.range(1));
  if (kktfac_adasetup(*p.fac, {}, p.mon, p.mon) != rescode::ok ||
      kktfac_numfac(*p.fac, p.d, {}, p.mon) != rescode::ok) {
    state.SkipWithError("factor");
  }
  std::vector<double> x(size_t(p.m) * size_t(nrhs));
  for (auto _ : state) {
    x.assign(x.size(), 1.0);
    kktfac_adasolve(*p.fac, x, nrhs);
  }
  state.SetItemsProcessed(state.iterations() * kktfac_getstats(*p.fac).numnz * nrhs);
}
BENCHMARK(BM_kktfac_adasolve)->ArgsProduct({{2, 8, 16, 24}, {1, 4}});

}  // namespace
