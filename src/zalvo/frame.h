// The two handles behind the interface, environment and task, and what every exported function
// shares: the handle check, the out-of-space net, and the reporting of a failure on the streams.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <mutex>
#include <type_traits>

#include "cpub/fault.h"
#include "cpub/memman.h"
#include "cpub/msghandler.h"
#include "cpub/rescode.h"
#include "cpub/timer.h"
#include "zalvo.h"
#include "zalvo/miolib.h"
#include "zalvo/param.h"
#include "zalvo/problem.h"
#include "zalvo/solution.h"

// What the progress callback and the break detection of a task remember.
struct task_pollstate {
  uint32_t lastbreak = 0;          // the environment's break counter as seen last
  rescode stopcode = rescode::ok;  // sticky: trm_user_break once a break was seen
  bool islistening = false;        // to interrupts from the console
  int32_t numpoll = 0;             // callbacks since the files were flushed
  double lastcall = -1;            // of the user's function, seconds on clock; negative: none yet
  timer clock;
};

struct ZLV_env_rec {
  int32_t isinit = 0;
  memman* mman = nullptr;  // owned; the record itself lives in it
  param_values par;        // the defaults that a new task copies
  msg_streams streams;
  bool isdebug = false;  // the memory managers of the environment and its tasks check their blocks
  mm_string dbgfile;     // prefix of the memory logs' names; empty: none is written
  ZLV_exitfunc exitfn = nullptr;
  void* exithandle = nullptr;
  bool hasfault = false;  // a fault was reported in the exported call that is under way
  mio_lib mio;            // the mixed-integer library, when there is one

  std::mutex lock;                    // guards the rest of this paragraph, and mman's children
  ZLV_task_rec* firsttask = nullptr;  // list of the tasks
  int32_t numtaskmade = 0;            // tells the memory logs of the tasks apart

  std::mutex breaklock;  // guards the rest
  ZLV_ctrlcfunc ctrlcfn = nullptr;
  void* ctrlchandle = nullptr;
  uint32_t numbreak = 0;  // break counter; 0 until the first poll

  explicit ZLV_env_rec(memman& manager)
      : mman(&manager),
        par(mm_at(manager)),
        streams(mm_at(manager)),
        dbgfile(mm_alloc<char>(mm_at(manager))) {}
};
struct ZLV_task_rec {
  ZLV_env_rec* env = nullptr;  // null once the environment was deleted
  memman* mman = nullptr;      // owned; the record itself lives in it
  param_values par;
  inf_values inf;
  msg_streams streams;
  ZLV_callbackfunc callbackfn = nullptr;
  void* callbackhandle = nullptr;
  task_pollstate poll;
  const std::atomic<bool>* stopflag = nullptr;  // of a concurrent run: set when others have won
  int32_t numwarn = 0;                          // warnings written so far
  bool hasfault = false;  // a fault was reported in the exported call that is under way
  ZLV_task_rec *prevtask = nullptr, *nexttask = nullptr;  // in the environment's list
  prob_rec prob;
  sol_store sol;
  ZLV_task_rec(ZLV_env_rec& owner, memman& manager)
      : env(&owner),
        mman(&manager),
        par(mm_at(manager)),
        streams(mm_at(manager)),
        prob(mm_at(manager)),
        sol(mm_at(manager)) {}
};
using env_rec = ZLV_env_rec;
using task_rec = ZLV_task_rec;

// What an argument of a message is: 'd' an integer of up to 32 bits, 'g' a double, 's' a text.
template <class T>
constexpr char fail_kind() noexcept {
  if (std::is_floating_point_v<T>) return 'g';
  if (std::is_pointer_v<T> || std::is_null_pointer_v<T>) return 's';
  return sizeof(T) <= sizeof(int32_t) ? 'd' : '?';
}
rescode task_failkinds(task_rec& task, rescode code, const char* kinds, ...) noexcept;
rescode env_failkinds(env_rec& env, rescode code, const char* kinds, ...) noexcept;

// task_fail, env_fail: write the message of a code, its template filled with the arguments in the
// template's order, on the ERR or WRN stream, and return the code. They never allocate. Arguments
// that don't fit the template (rescode.def) are a fault of the caller: its description is written.
template <class... A>
rescode task_fail(task_rec& task, rescode code, A... args) noexcept {
  static constexpr char kinds[] = {fail_kind<A>()..., '\0'};
  return task_failkinds(task, code, kinds, args...);
}
template <class... A>
rescode env_fail(env_rec& env, rescode code, A... args) noexcept {
  static constexpr char kinds[] = {fail_kind<A>()..., '\0'};
  return env_failkinds(env, code, kinds, args...);
}
// task_vfail, env_vfail: the same with the arguments of a caller outside.
rescode task_vfail(task_rec& task, rescode code, va_list args) noexcept;
rescode env_vfail(env_rec& env, rescode code, va_list args) noexcept;
// task_echo, env_echo: printf-style text on one of the object's streams, cut after 4048 characters.
void task_echo(task_rec& task, msg_kind kind, const char* fmt, ...) noexcept
    __attribute__((format(printf, 3, 4)));
void env_echo(env_rec& env, msg_kind kind, const char* fmt, ...) noexcept
    __attribute__((format(printf, 3, 4)));
// msg_vecho: the same on any streams.
void msg_vecho(msg_streams& streams, msg_kind kind, const char* fmt, va_list args) noexcept;

// task_fatal, env_fatal: an internal fault, found at a place in the library: its text goes to the ERR
// stream and to the environment's exit function. Returns err_internal when that function returns or
// there is none.
rescode task_fatal(task_rec& task, const char* file, int32_t line, const char* text) noexcept;
rescode env_fatal(env_rec& env, const char* file, int32_t line, const char* text) noexcept;

// task_caught, env_caught: inside a catch-all, reports what was caught and returns its code.
rescode task_caught(task_rec& task) noexcept;
rescode env_caught(env_rec& env) noexcept;

// task_call, env_call: the four steps of an exported function begin here. work gets the record and
// returns a rescode; nothing it throws crosses the interface.
template <class F>
int32_t task_call(ZLV_task_t task, F&& work) noexcept {
  if (task == nullptr) return int32_t(rescode::err_null_task);
  if (task->env == nullptr) return int32_t(rescode::err_invalid_task);
  rescode r = rescode::ok;
  try {
    r = work(*task);
  } catch (...) {
    r = task_caught(*task);
  }
  if (task->hasfault) [[unlikely]] {
    task->hasfault = false;
    r = rescode::err_internal;
  }
  return int32_t(r);
}
template <class F>
int32_t env_call(ZLV_env_t env, F&& work) noexcept {
  if (env == nullptr) return int32_t(rescode::err_null_env);
  if (env->isinit == 0) return int32_t(env_fail(*env, rescode::err_no_init_env));
  rescode r = rescode::ok;
  try {
    r = work(*env);
  } catch (...) {
    r = env_caught(*env);
  }
  if (env->hasfault) [[unlikely]] {
    env->hasfault = false;
    r = rescode::err_internal;
  }
  return int32_t(r);
}

// rescode_message, rescode_description: the texts of a code; an empty one for an unknown code.
const char* rescode_message(rescode code) noexcept;
const char* rescode_description(rescode code) noexcept;

// Argument checks; each reports a failure with the argument's name.
rescode chk_index(task_rec& task, int32_t index, int32_t count, const char* argument) noexcept;
rescode chk_pointer(task_rec& task, const void* pointer, const char* argument) noexcept;
