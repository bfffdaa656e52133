// Seconds: of one thread its processor time, which other processes do not lengthen much; of a team
// the time that passes.
#pragma once

#include <ctime>

inline double bench_clock(int threads) {
  timespec t{};
  clock_gettime(threads == 1 ? CLOCK_THREAD_CPUTIME_ID : CLOCK_MONOTONIC, &t);
  return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}
