// The thread team of the factorization. One member leads: it runs the algorithm and shares the tasks
// of one phase after the other; the others take tasks from the phase that is open. Nobody waits for a
// member that has no task, so a member that the system has put aside delays the others by one task at
// most, and a phase costs two atomic operations a task.
#pragma once

#include <atomic>
#include <cstdint>
#include <type_traits>

struct kteam {
  int32_t count = 1;                // members
  std::atomic<uint64_t> ticket{0};  // number of the phase, and in the low half tasks not yet taken
  std::atomic<int32_t> left{0};     // tasks not yet done
  std::atomic<bool> isover{false};
  // The open phase; written by the leader when no task is out.
  void (*work)(void* ctx, int32_t task, int32_t member) noexcept = nullptr;
  void* ctx = nullptr;
  int32_t num = 0;
};

// kteam_open: opens a phase of num tasks and returns when all are done; work must not throw.
void kteam_open(kteam& team, int32_t num, void* ctx,
                void (*work)(void* ctx, int32_t task, int32_t member) noexcept) noexcept;
// mpc_init_par: starts the team, runs lead with it in the calling thread, and ends the team.
void mpc_init_par(int32_t count, void* ctx, void (*lead)(void* ctx, kteam& team) noexcept) noexcept;

// kteam_share: tasks 0 .. num-1 of work(task, member), by the leader.
template <class F>
void kteam_share(kteam& team, int32_t num, F&& work) noexcept {
  using body = std::remove_reference_t<F>;
  if (team.count == 1 || num == 1) {
    for (int32_t k = 0; k < num; ++k) work(k, 0);
    return;
  }
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): it comes back as what it was
  void* ctx = const_cast<std::remove_const_t<body>*>(&work);
  kteam_open(team, num, ctx, [](void* at, int32_t task, int32_t member) noexcept {
    (*static_cast<body*>(at))(task, member);
  });
}
// kteam_run: lead(team) with a team of count members.
template <class F>
void kteam_run(int32_t count, F&& lead) noexcept {
  using body = std::remove_reference_t<F>;
  mpc_init_par(count, &lead,
               [](void* ctx, kteam& team) noexcept { (*static_cast<body*>(ctx))(team); });
}
