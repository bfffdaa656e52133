#include "kfac/psched.h"

#include <algorithm>
#include <span>
#include <utility>

namespace {

constexpr double serialflops = 1e7;  // a smaller factorization is not worth waking a team
constexpr double sharepart = 4;      // subtrees are cut until the largest is that part of a share

struct subtree {
  double flops;
  int32_t root;
};
bool operator<(const subtree& x, const subtree& y) {
  return x.flops != y.flops ? x.flops < y.flops : x.root > y.root;
}

// Flops and first supernode of the subtree under each supernode.
void sum_subtrees(const symface& sym, std::span<double> flops, std::span<int32_t> first) {
  for (int32_t s = 0; s < sym.numsn; ++s) {
    flops[s] = psched_flops(sym, s);
    first[s] = sym.child[s] < 0 ? s : first[sym.child[s]];
    for (int32_t c = sym.child[s]; c >= 0; c = sym.next[c]) flops[s] += flops[c];
  }
}

// Neighbours in postorder are put together until they are worth a task; the largest come first.
void make_tasks(std::span<subtree> trees, std::span<const int32_t> first, double enough,
                psched& sched) {
  const mm_place at = sched.top.get_allocator().place;
  struct range {
    double flops;
    int32_t first, last;
  };
  std::sort(trees.begin(), trees.end(),
            [](const subtree& x, const subtree& y) { return x.root < y.root; });
  mm_vector<range> tasks(at);
  for (const subtree& t : trees) {
    if (tasks.empty() || tasks.back().last + 1 != first[t.root] || tasks.back().flops > enough) {
      tasks.push_back({0, first[t.root], t.root});
    }
    tasks.back().flops += t.flops;
    tasks.back().last = t.root;
  }
  std::stable_sort(tasks.begin(), tasks.end(),
                   [](const range& x, const range& y) { return x.flops > y.flops; });
  for (const range& t : tasks) {
    sched.first.push_back(t.first);
    sched.last.push_back(t.last);
  }
}

void place_subtrees(const symface& sym, psched& sched) {
  const mm_place at = sched.top.get_allocator().place;
  mm_vector<double> flops(size_t(sym.numsn), 0.0, at);
  mm_vector<int32_t> first(size_t(sym.numsn), 0, at);
  sum_subtrees(sym, flops, first);
  mm_vector<subtree> heap(at);
  double total = 0;
  for (int32_t s = 0; s < sym.numsn; ++s) {
    if (sym.parent[s] >= 0) continue;
    heap.push_back({flops[s], s});
    total += flops[s];
  }
  std::make_heap(heap.begin(), heap.end());
  const double limit = total / (sharepart * sched.numthreads);
  while (!heap.empty() && heap.front().flops > limit) {
    const int32_t root = heap.front().root;
    std::pop_heap(heap.begin(), heap.end());
    heap.pop_back();
    sched.top.push_back(root);
    for (int32_t c = sym.child[root]; c >= 0; c = sym.next[c]) {
      heap.push_back({flops[c], c});
      std::push_heap(heap.begin(), heap.end());
    }
  }
  std::ranges::sort(sched.top);
  make_tasks(heap, first, limit / 2, sched);
}

ptrdiff_t update_size(const symface& sym, int32_t s) {
  const auto below = int32_t(sym.rowptr[s + 1] - sym.rowptr[s]);
  return (ptrdiff_t(below) * symface_upld(below) + 7) & ~ptrdiff_t(7);
}

// A region of the stack with two ends. Supernodes at even depth stack their update matrices from
// the low end, those at odd depth from the high end: so a parent's matrix can be made while its
// children's, the last of the other end, are still there.
struct region {
  ptrdiff_t top[2] = {0, 0};
  ptrdiff_t peak = 0;
};

// Places s in the region and frees its children there. handed marks the matrices that stand apart.
void push_update(symface& sym, int32_t s, std::span<const uint8_t> odd,
                 std::span<const uint8_t> handed, region& r) {
  if (handed[s] == 0) {
    ptrdiff_t& own = r.top[odd[s]];
    sym.stackpos[s] = own;
    own += update_size(sym, s);
    r.peak = std::max(r.peak, r.top[0] + r.top[1]);
  }
  for (int32_t c = sym.child[s]; c >= 0; c = sym.next[c]) {
    if (handed[c] == 0) r.top[odd[c]] -= update_size(sym, c);
  }
}

void settle_update(symface& sym, int32_t s, std::span<const uint8_t> odd,
                   std::span<const uint8_t> handed, const region& r, ptrdiff_t base) {
  if (handed[s] != 0) return;
  ptrdiff_t& pos = sym.stackpos[s];
  if (odd[s] != 0) pos = r.peak - pos - update_size(sym, s);
  pos += base;
}

// The matrices that leave their ranges come first, then a region for each thread, then one for the
// top.
void place_updates(symface& sym, psched& sched) {
  const mm_place at = sched.top.get_allocator().place;
  mm_vector<uint8_t> odd(size_t(sym.numsn), 0, at), handed(size_t(sym.numsn), 0, at);
  for (int32_t s = sym.numsn - 1; s >= 0; --s) {
    odd[s] = sym.parent[s] < 0 ? 0 : odd[sym.parent[s]] ^ 1;
  }
  ptrdiff_t base = 0;
  for (size_t k = 0; k < sched.first.size(); ++k) {
    region r;
    for (int32_t s = sched.first[k]; s <= sched.last[k]; ++s) {
      if (sym.parent[s] < 0 || sym.parent[s] > sched.last[k]) {
        handed[s] = 1;
        sym.stackpos[s] = base;
        base += update_size(sym, s);
      }
      push_update(sym, s, odd, handed, r);
    }
    for (int32_t s = sched.first[k]; s <= sched.last[k]; ++s) {
      settle_update(sym, s, odd, handed, r, 0);
    }
    sched.regionsize = std::max(sched.regionsize, r.peak);
  }
  sched.regionbase = base;
  base += sched.regionsize * sched.numthreads;
  region r;
  for (const int32_t s : sched.top) push_update(sym, s, odd, handed, r);
  for (const int32_t s : sched.top) settle_update(sym, s, odd, handed, r, base);
  sym.stacksize = base + r.peak;
}

}  // namespace

double psched_flops(const symface& sym, int32_t s) {
  const double ncol = sym.first[s + 1] - sym.first[s];
  const auto below = double(sym.rowptr[s + 1] - sym.rowptr[s]);
  return ncol * (ncol * ncol / 3 + below * (ncol + below));
}

void psched_make(symface& sym, int32_t numthreads, psched& sched) {
  psched made(sched.top.get_allocator().place);
  made.numthreads = sym.flops < serialflops ? 1 : std::max(1, numthreads);
  if (made.numthreads > 1) {
    place_subtrees(sym, made);
  } else if (sym.numsn > 0) {
    made.first.push_back(0);
    made.last.push_back(sym.numsn - 1);
  }
  place_updates(sym, made);
  sched = std::move(made);
}
