// Wall-clock and processor-time timers, in seconds since they were started.
#pragma once

struct timer {
  double wall0 = 0, cpu0 = 0;  // seconds, of clocks whose zero means nothing
};
timer timer_start() noexcept;
double timer_wall(const timer& t) noexcept;
double timer_cpu(const timer& t) noexcept;  // of the whole process, all threads
