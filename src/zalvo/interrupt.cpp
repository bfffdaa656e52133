#include "zalvo/interrupt.h"

#include <algorithm>
#include <system_error>

#include "cpub/conbreak.h"

namespace {

// The counter that a task compares with starts at 1, so that 0 can mean that nobody polled yet.
constexpr uint32_t firstcount = 1;

bool isintermediate(int32_t where) {
  return (where >= ZLV_CALLBACK_IM_BI && where <= ZLV_CALLBACK_IM_SIMPLEX_BI) ||
         (where >= ZLV_CALLBACK_UPDATE_DUAL_BI && where <= ZLV_CALLBACK_UPDATE_SIMPLEX_BI);
}

// An intermediate place so soon after the last call is passed over.
bool isdue(task_rec& task, int32_t where) {
  const double period = task.par.d[dpar::callback_freq];
  if (!(period > 0)) return true;
  const double now = timer_wall(task.poll.clock);
  const double last = task.poll.lastcall;
  if (isintermediate(where) && last >= 0 && now - last < period) return false;
  task.poll.lastcall = now;
  return true;
}

uint32_t console_counter() {
  return conbreak_count() + firstcount;
}

// The environment's counter after one more poll. Its lock is held.
uint32_t update_counter(task_rec& task) {
  env_rec& env = *task.env;
  if (env.ctrlcfn != nullptr) {
    env.numbreak = std::max(env.numbreak, firstcount);
    if (env.ctrlcfn(env.ctrlchandle) != 0) ++env.numbreak;
    return env.numbreak;
  }
  if (!task.poll.islistening) {
    conbreak_listen();
    task.poll.islistening = true;
  }
  env.numbreak = console_counter();
  return env.numbreak;
}

}  // namespace

rescode task_callback(task_rec& task, int32_t where) noexcept {
  const int32_t flushfreq = task.par.i[ipar::flush_stream_freq];
  if (flushfreq > 0 && ++task.poll.numpoll >= flushfreq) {
    task.poll.numpoll = 0;
    msg_flushfiles(task.streams);
  }
  if (task.callbackfn == nullptr || where < 0 || !isdue(task, where)) return rescode::ok;
  const bool isstop = task.callbackfn(&task, task.callbackhandle, where) != 0;
  return isstop ? rescode::trm_user_callback : rescode::ok;
}

rescode task_pollbreak(task_rec& task) noexcept {
  if (task.stopflag != nullptr && task.stopflag->load(std::memory_order_relaxed)) {
    return rescode::trm_user_break;
  }
  if (task.par.i[ipar::check_ctrl_c] == 0) return rescode::ok;
  if (task.poll.stopcode != rescode::ok) {
    return task.poll.stopcode == rescode::trm_user_break ? task.poll.stopcode : rescode::ok;
  }
  uint32_t counter = 0;
  try {
    const std::lock_guard<std::mutex> hold(task.env->breaklock);
    counter = update_counter(task);
  } catch (const std::system_error&) {
    return task_fail(task, rescode::err_thread_mutex_lock);
  }
  if (counter > task.poll.lastbreak) {
    task_echo(task, msg_kind::msg, "<crtl>+<c> has been pressed while ZALVO is running.\n");
    task.poll.stopcode = rescode::trm_user_break;
  }
  task.poll.lastbreak = counter;
  return task.poll.stopcode;
}

void task_resetbreaks(task_rec& task) noexcept {
  task_leavebreaks(task);
  task.poll = {};
  task.poll.clock = timer_start();
  const std::lock_guard<std::mutex> hold(task.env->breaklock);
  const env_rec& env = *task.env;
  task.poll.lastbreak =
      env.ctrlcfn != nullptr ? std::max(env.numbreak, firstcount) : console_counter();
}

void task_leavebreaks(task_rec& task) noexcept {
  if (!task.poll.islistening) return;
  conbreak_leave();
  task.poll.islistening = false;
}
