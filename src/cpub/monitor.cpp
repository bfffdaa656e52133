#include "cpub/monitor.h"

#include <cstdio>

void monitor::log(int32_t lev, const char* fmt, ...) const {
  if (!wants(lev)) return;
  char text[4049];
  va_list args;
  va_start(args, fmt);
  std::vsnprintf(text, sizeof text, fmt, args);
  va_end(args);
  sinkfn(ctx, text);
}

rescode monitor::poll(monitor_where where) const {
  if (pollfn != nullptr) {
    if (const rescode r = pollfn(ctx, where); r != rescode::ok) return r;
  }
  if (maxtime >= 0 && elapsed() > maxtime) return rescode::trm_max_time;
  return rescode::ok;
}
