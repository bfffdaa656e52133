// One front of the multifrontal factorization: its children's contributions, the factor of its panel,
// its update matrix; by one thread, or in tasks that a team shares. Both give the same bits.
#pragma once

#include <atomic>
#include <cstdint>

#include "cpub/monitor.h"
#include "kfac/kopenmp.h"
#include "kfac/pcholfac.h"
#include "kfac/symface.h"

// Polls the monitor when enough work has been done since, whoever did it; only the leader of a team
// does.
struct pchpoll {
  const monitor& mon;
  std::atomic<int32_t>& stop;  // a rescode that ends the factorization
  double flops = 0;
  void add(double more) noexcept;
  void now() noexcept;
};

inline constexpr double pchpoll_formed = 1e6;  // what a task of forming counts

// Who does a front: a team under its leader, or without a team one member alone.
struct pchcrew {
  kteam* team = nullptr;
  int32_t member = 0;
  pchpoll* poll = nullptr;  // of the leader, null for others
  std::atomic<int32_t>& stop;
};

// Where on the update stack the matrices of a front and of its children stand.
struct pchbase {
  ptrdiff_t own = 0, children = 0;
};

// pchfront_do: returns the number of refused pivots.
int32_t pchfront_do(const symface& sym, pcholfac& fac, int32_t s, const pchbase& base,
                    int32_t member) noexcept;
// pchfront_share: the same in tasks, between which the monitor is polled.
int32_t pchfront_share(const symface& sym, pcholfac& fac, int32_t s, const pchbase& base,
                       pchcrew& crew) noexcept;
