#include "kfac/kopenmp.h"

#include <omp.h>
#include <sched.h>

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

namespace {

// The runtime orders what stands before its fork and behind its join; the thread sanitizer, which does
// not see into the runtime, is told so. What happens in between orders itself.
#ifdef __SANITIZE_THREAD__
void tell_before(kteam& team) noexcept {
  __tsan_release(&team);
}
void tell_behind(kteam& team) noexcept {
  __tsan_acquire(&team);
}
#else
void tell_before(kteam&) noexcept {}
void tell_behind(kteam&) noexcept {}
#endif

constexpr int32_t patience = 2000;  // looks before a member gives its processor away

struct idler {
  int32_t looks = 0;
  void wait() noexcept {
    if (++looks < patience) {
      __builtin_ia32_pause();
    } else {
      sched_yield();
    }
  }
};

// A task of the open phase, or -1. A phase number never comes back, so a ticket that is unchanged
// still means the phase whose record is read behind it.
int32_t take(kteam& team) noexcept {
  uint64_t seen = team.ticket.load(std::memory_order_acquire);
  while (uint32_t(seen) != 0) {
    if (team.ticket.compare_exchange_weak(seen, seen - 1, std::memory_order_acq_rel,
                                          std::memory_order_acquire)) {
      return team.num - int32_t(uint32_t(seen));
    }
  }
  return -1;
}

void follow(kteam& team, int32_t member) noexcept {
  tell_behind(team);
  idler idle;
  while (!team.isover.load(std::memory_order_acquire)) {
    const int32_t task = take(team);
    if (task < 0) {
      idle.wait();
      continue;
    }
    team.work(team.ctx, task, member);
    team.left.fetch_sub(1, std::memory_order_acq_rel);
    idle.looks = 0;
  }
  tell_before(team);
}

}  // namespace

void kteam_open(kteam& team, int32_t num, void* ctx,
                void (*work)(void* ctx, int32_t task, int32_t member) noexcept) noexcept {
  if (num <= 0) return;
  team.work = work;
  team.ctx = ctx;
  team.num = num;
  team.left.store(num, std::memory_order_relaxed);
  const uint64_t phase = (team.ticket.load(std::memory_order_relaxed) >> 32) + 1;
  team.ticket.store(phase << 32 | uint32_t(num), std::memory_order_release);
  for (int32_t task = take(team); task >= 0; task = take(team)) {
    work(ctx, task, 0);
    team.left.fetch_sub(1, std::memory_order_acq_rel);
  }
  idler idle;
  while (team.left.load(std::memory_order_acquire) != 0) idle.wait();
}

// Not seen by the thread sanitizer: the members get at the team through a record of the runtime.
[[gnu::no_sanitize("thread")]] void mpc_init_par(int32_t count, void* ctx,
                                                 void (*lead)(void* ctx,
                                                              kteam& team) noexcept) noexcept {
  kteam team;
  team.count = count;
  if (count == 1) {
    lead(ctx, team);
    return;
  }
  tell_before(team);
  // The team may be smaller than asked for: the leader does what nobody takes.
#pragma omp parallel num_threads(count)
  {
    if (omp_get_thread_num() == 0) {
      lead(ctx, team);
      team.isover.store(true, std::memory_order_release);
    } else {
      follow(team, omp_get_thread_num());
    }
  }
  tell_behind(team);
}
