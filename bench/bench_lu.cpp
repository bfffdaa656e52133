// Factors of simplex bases: factorization, solves by density of the right-hand side, exchanges; on
// random bases of which a part is triangular, over orders.
#include <benchmark/benchmark.h>

#include <random>

#include "lu/lu.h"
#include "unit/lu_cases.h"

namespace {

struct basis_box {
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  lu_problem pr;
  std::vector<int32_t> basic;
  lu_rec* f = mm_make<lu_rec>(mm_at(*mman), mm_at(*mman));
  lu_vector x{mm_at(*mman)};
  std::mt19937 gen{1};
  explicit basis_box(int32_t m) : pr(lu_random({"", m, 3.0 / m, 0.2, 0.9, 0}, 1)) {
    lu_vecsize(x, m);
    make();
  }
  basis_box(const basis_box&) = delete;
  basis_box& operator=(const basis_box&) = delete;
  ~basis_box() {
    mm_destroy(mm_at(*mman), f);
    x = lu_vector(mm_at(*mman));
    memman_delete(mman);
  }
  void make() {
    basic = pr.basic;
    (void)lu_factorize(*f, pr.a(), basic, monitor{});
  }
  // About permille of the entries, at least one.
  void fill(int64_t permille) {
    lu_vecclear(x);
    const auto num = std::max<int64_t>(1, permille * pr.m / 1000);
    for (int64_t k = 0; k < num; ++k) {
      const auto i = int32_t(gen() % uint32_t(pr.m));
      if (x.val[size_t(i)] == 0) lu_vecset(x, i, 1);
    }
  }
};

void BM_lu_factorize(benchmark::State& state) {
  basis_box box(int32_t(state.range(0)));
  for (auto _ : state) box.make();
  state.SetItemsProcessed(state.iterations() * (box.f->count.nnzl + box.f->count.nnzu));
}
BENCHMARK(BM_lu_factorize)->RangeMultiplier(4)->Range(64, 4096);

void solve(benchmark::State& state, void (*fn)(basis_box&)) {
  basis_box box(int32_t(state.range(0)));
  int64_t entries = 0;
  for (auto _ : state) {
    box.fill(state.range(1));
    fn(box);
    entries += box.x.num;
  }
  state.SetItemsProcessed(entries);
}
void BM_lu_ftran(benchmark::State& state) {
  solve(state, [](basis_box& box) { lu_ftran(*box.f, box.x); });
}
void BM_lu_btran(benchmark::State& state) {
  solve(state, [](basis_box& box) { lu_btran(*box.f, box.x); });
}
BENCHMARK(BM_lu_ftran)->ArgsProduct({{256, 4096}, {1, 10, 100, 1000}});
BENCHMARK(BM_lu_btran)->ArgsProduct({{256, 4096}, {1, 10, 100, 1000}});

// An exchange with its solves: the entering column and the row of the leaving one.
void BM_lu_update(benchmark::State& state) {
  basis_box box(int32_t(state.range(0)));
  for (auto _ : state) {
    const auto enter = int32_t(box.gen() % uint32_t(box.pr.n));
    lu_vecclear(box.x);
    box.pr.column(enter, [&](int32_t i, double v) { lu_vecset(box.x, i, v); });
    lu_ftran(*box.f, box.x, true);
    int32_t p = box.x.ind[0];
    for (int32_t k = 1; k < box.x.num; ++k)
      if (std::abs(box.x.val[box.x.ind[k]]) > std::abs(box.x.val[p])) p = box.x.ind[k];
    const double alpha = box.x.val[p];
    lu_vecclear(box.x);
    lu_vecset(box.x, p, 1);
    lu_btran(*box.f, box.x);
    if (lu_update(*box.f, p, alpha) != lu_state::ok || lu_wantfactor(*box.f)) box.make();
  }
}
BENCHMARK(BM_lu_update)->RangeMultiplier(4)->Range(64, 4096);

}  // namespace
