// Monitor: all that an algorithm below the interface sees of the world outside: a sink for log text,
// a poll that says whether to stop, and the run's clock. Nothing below the interface prints, reads
// a parameter or looks at a task.
#pragma once

#include <cstdarg>
#include <cstdint>

#include "cpub/rescode.h"
#include "cpub/timer.h"

// Where in its work a poll or an announcement is made: a callback code of the interface, passed
// through unchanged. Values are those of callback.def.
using monitor_where = int32_t;

struct monitor {
  void* ctx = nullptr;                                          // of both functions, not owned
  void (*sinkfn)(void* ctx, const char* text) = nullptr;        // null: text is dropped
  rescode (*pollfn)(void* ctx, monitor_where where) = nullptr;  // null: never stops
  int32_t level = 0;    // texts of at most this level are passed on; 0: none
  double maxtime = -1;  // seconds on clock after which poll ends the run; negative: no limit
  timer clock;          // started with the run

  // log: printf-style text to the sink when wants(lev). Texts of more than 4048 characters are cut.
  void log(int32_t lev, const char* fmt, ...) const __attribute__((format(printf, 3, 4)));
  bool wants(int32_t lev) const { return sinkfn != nullptr && lev <= level; }
  // poll: ok, trm_max_time, trm_user_break, trm_user_callback, or an error of the break detection.
  // Cheap (a clock read and a call): once an iteration, and in loops of more than 0.1 seconds.
  rescode poll(monitor_where where = monitor_quiet) const;
  double elapsed() const { return timer_wall(clock); }

  static constexpr monitor_where monitor_quiet = -1;  // a poll that announces nothing to the user
};

// monitor_phase: work() between a begin and an end that are both told, whatever becomes of the work: an
// error, a stop at the begin (there is no work then), an exception (which goes on).
//   tell  rescode tell(monitor_where, rescode result)
// Returns the first code that is not ok.
template <class Tell, class Work>
rescode monitor_phase(const Tell& tell, monitor_where begin, monitor_where end, const Work& work) {
  rescode r = tell(begin, rescode::ok);
  try {
    if (r == rescode::ok) r = work();
  } catch (...) {
    (void)tell(end, rescode::err_space);
    throw;
  }
  const rescode after = tell(end, r);
  return r == rescode::ok ? after : r;
}

// monitor_at: the same monitor with another level of detail.
inline monitor monitor_at(const monitor& mon, int32_t level) {
  monitor copy = mon;
  copy.level = level;
  return copy;
}
