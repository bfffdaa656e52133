#include "kfac/pcholfac.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <utility>

#include "kfac/pchfront.h"

namespace {

constexpr double sharedflops = 2e6;  // a smaller front of the top is left to one thread
constexpr double stepflops = 2e8;    // a larger front is done in steps, between which it may stop
constexpr ptrdiff_t lineunits = 8;   // doubles of a cache line

// Doubles to skip so that what follows starts on a cache line.
ptrdiff_t line_offset(const pcholfac_space& v) {
  const auto address = reinterpret_cast<uintptr_t>(v.data());
  constexpr auto bytes = uintptr_t(lineunits) * sizeof(double);
  return ptrdiff_t((bytes - address % bytes) % bytes / sizeof(double));
}

// A range of subtrees by one member. What leaves the range goes to a place of its own.
void do_subtrees(const symface& sym, const psched& sched, pcholfac& fac, int32_t task,
                 pchcrew& crew) noexcept {
  const ptrdiff_t region = sched.regionbase + crew.member * sched.regionsize;
  int32_t refused = 0;
  for (int32_t s = sched.first[task]; s <= sched.last[task]; ++s) {
    if (crew.stop.load(std::memory_order_relaxed) != 0) return;
    const bool leaves = sym.parent[s] < 0 || sym.parent[s] > sched.last[task];
    const pchbase base = {leaves ? 0 : region, region};
    const double flops = psched_flops(sym, s);
    if (flops > stepflops) {
      refused += pchfront_share(sym, fac, s, base, crew);
    } else {
      refused += pchfront_do(sym, fac, s, base, crew.member);
      if (crew.poll != nullptr) crew.poll->add(flops);
    }
  }
  fac.refused[crew.member] += refused;
}

// The fronts that all members share, one after the other.
void do_top(const symface& sym, const psched& sched, pcholfac& fac, pchcrew& crew) noexcept {
  for (const int32_t s : sched.top) {
    if (crew.stop.load(std::memory_order_relaxed) != 0) return;
    const double flops = psched_flops(sym, s);
    if (flops < sharedflops) {
      fac.refused[0] += pchfront_do(sym, fac, s, {}, 0);
      crew.poll->add(flops);
    } else {
      fac.refused[0] += pchfront_share(sym, fac, s, {}, crew);
    }
  }
}

}  // namespace

void pcholfac_make(const symface& sym, const psched& sched, const parblas_family& family,
                   int32_t cachel2, bool replaces, pcholfac& fac) {
  pcholfac made(fac.d.get_allocator().place);
  made.family = &family;
  made.blockm = parblas_blockm(family, cachel2);
  const auto n = size_t(sym.n);
  made.values.resize(size_t(sym.panelpos[sym.numsn] + lineunits));
  made.base = line_offset(made.values);
  made.stack.resize(size_t(sym.stacksize + lineunits));
  made.stackbase = line_offset(made.stack);
  made.worksize = (parblas_worksize(sym.maxrow, sym.maxcol) + lineunits) & ~(lineunits - 1);
  made.work.resize(size_t(made.worksize) * size_t(sched.numthreads));
  made.refused.resize(size_t(sched.numthreads));
  for (auto* v : {&made.d, &made.dinv, &made.thr}) v->resize(n);
  if (replaces) {
    made.rep.resize(n);
    made.delta.resize(n);
  }
  fac = std::move(made);
}

rescode pcholfac_numeric(const symface& sym, const psched& sched, pcholfac& fac, pchpoll& poll,
                         kteam& team, int32_t& numrefused) noexcept {
  std::ranges::fill(fac.refused, 0);
  std::atomic<int32_t>& stop = poll.stop;
  kteam_share(team, int32_t(sched.first.size()), [&](int32_t task, int32_t member) {
    pchcrew alone{nullptr, member, member == 0 ? &poll : nullptr, stop};
    do_subtrees(sym, sched, fac, task, alone);
  });
  if (team.count > 1) poll.now();  // others may have done nearly all of it
  pchcrew crew{&team, 0, &poll, stop};
  do_top(sym, sched, fac, crew);
  numrefused = 0;
  for (const int32_t r : fac.refused) numrefused += r;
  return rescode(stop.load());
}
