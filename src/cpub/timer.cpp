#include "cpub/timer.h"

#include <ctime>

namespace {
double clock_seconds(clockid_t id) noexcept {
  timespec ts{};
  clock_gettime(id, &ts);
  return double(ts.tv_sec) + 1e-9 * double(ts.tv_nsec);
}
}  // namespace

timer timer_start() noexcept {
  return {clock_seconds(CLOCK_MONOTONIC), clock_seconds(CLOCK_PROCESS_CPUTIME_ID)};
}
double timer_wall(const timer& t) noexcept {
  return clock_seconds(CLOCK_MONOTONIC) - t.wall0;
}
double timer_cpu(const timer& t) noexcept {
  return clock_seconds(CLOCK_PROCESS_CPUTIME_ID) - t.cpu0;
}
