#include "zalvo/frame.h"

#include <cassert>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>

namespace {

constexpr size_t maxtext = 4048;  // longest message text, without its terminator

// text_fits: whether kinds (fail_kind) begin with what the conversions of a template need.
bool text_fits(const char* form, const char* kinds) noexcept {
  for (; *form != '\0'; ++form) {
    if (*form != '%') continue;
    form += 1 + std::strspn(form + 1, "-0123456789.");
    if (*form == '%') continue;
    if (*kinds++ != (*form == 'd' || *form == 's' ? *form : 'g')) return false;
  }
  return true;
}

// The text that is written for a code: its template, or its description (which has no
// conversions) when the arguments don't fit.
const char* fitting_text(rescode code, const char* kinds) noexcept {
  const char* form = rescode_message(code);
  const bool fits = text_fits(form, kinds);
  assert(fits);
  return fits ? form : rescode_description(code);
}

void write_message(msg_streams& streams, rescode code, const char* form, va_list args) noexcept {
  const bool iserror = int32_t(code) > 1000;
  const msg_kind kind = iserror ? msg_kind::err : msg_kind::wrn;
  char text[maxtext + 1];
  std::snprintf(text, sizeof text, "ZALVO %s %-6d - ", iserror ? "Error" : "Warning",
                int32_t(code));
  msg_write(streams, kind, text);
  std::vsnprintf(text, sizeof text, *form != '\0' ? form : "No message for this code.", args);
  msg_write(streams, kind, text);
  msg_write(streams, kind, "\n");
}

void write_for_task(task_rec& task, rescode code, const char* form, va_list args) noexcept {
  if (code == rescode::ok) return;
  if (int32_t(code) < 1000) {
    if (task.numwarn >= task.par.i[ipar::max_num_warnings]) return;
    ++task.numwarn;
  }
  write_message(task.streams, code, form, args);
}

}  // namespace

const char* rescode_message(rescode code) noexcept {
  switch (code) {
#define ZLV_CODE(name, value, message, description) \
  case rescode::name:                               \
    return message;
#include "cpub/rescode.def"
#undef ZLV_CODE
  }
  return "";
}

const char* rescode_description(rescode code) noexcept {
  switch (code) {
#define ZLV_CODE(name, value, message, description) \
  case rescode::name:                               \
    return description;
#include "cpub/rescode.def"
#undef ZLV_CODE
  }
  return "";
}

rescode task_vfail(task_rec& task, rescode code, va_list args) noexcept {
  write_for_task(task, code, rescode_message(code), args);
  return code;
}

rescode task_failkinds(task_rec& task, rescode code, const char* kinds, ...) noexcept {
  va_list args;
  va_start(args, kinds);
  write_for_task(task, code, fitting_text(code, kinds), args);
  va_end(args);
  return code;
}

rescode env_vfail(env_rec& env, rescode code, va_list args) noexcept {
  if (code != rescode::ok) write_message(env.streams, code, rescode_message(code), args);
  return code;
}

rescode env_failkinds(env_rec& env, rescode code, const char* kinds, ...) noexcept {
  va_list args;
  va_start(args, kinds);
  if (code != rescode::ok) write_message(env.streams, code, fitting_text(code, kinds), args);
  va_end(args);
  return code;
}

void msg_vecho(msg_streams& streams, msg_kind kind, const char* fmt, va_list args) noexcept {
  char text[maxtext + 1];
  if (std::vsnprintf(text, sizeof text, fmt, args) >= 0) msg_write(streams, kind, text);
}

void task_echo(task_rec& task, msg_kind kind, const char* fmt, ...) noexcept {
  va_list args;
  va_start(args, fmt);
  msg_vecho(task.streams, kind, fmt, args);
  va_end(args);
}

void env_echo(env_rec& env, msg_kind kind, const char* fmt, ...) noexcept {
  va_list args;
  va_start(args, fmt);
  msg_vecho(env.streams, kind, fmt, args);
  va_end(args);
}

rescode chk_index(task_rec& task, int32_t index, int32_t count, const char* argument) noexcept {
  if (index < 0) return task_fail(task, rescode::err_index_is_too_small, index, argument);
  if (index >= count) return task_fail(task, rescode::err_index_is_too_large, index, argument);
  return rescode::ok;
}

rescode chk_pointer(task_rec& task, const void* pointer, const char* argument) noexcept {
  if (pointer == nullptr) return task_fail(task, rescode::err_null_pointer, argument);
  return rescode::ok;
}

namespace {

void write_fatal(msg_streams& streams, const char* file, int32_t line, const char* text) noexcept {
  char place[maxtext + 1];
  std::snprintf(place, sizeof place, "Fatal error in file '%s(%d)'\n", file, line);
  msg_write(streams, msg_kind::err, text);
  const size_t length = std::strlen(text);
  if (length == 0 || text[length - 1] != '\n') msg_write(streams, msg_kind::err, "\n");
  msg_write(streams, msg_kind::err, place);
}

// Reports what a catch-all caught through the object's own functions.
template <class Fail, class Fatal>
rescode report_caught(Fail&& fail, Fatal&& fatal) noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return fail(rescode::err_space, "");
  } catch (const std::length_error&) {  // a size beyond what can be addressed
    return fail(rescode::err_space, "");
  } catch (const internal_fault& fault) {
    return fatal(fault);
  } catch (const std::exception& fault) {
    return fail(rescode::err_internal, fault.what());
  } catch (...) {
    return fail(rescode::err_internal, "unknown fault");
  }
}

}  // namespace

rescode env_fatal(env_rec& env, const char* file, int32_t line, const char* text) noexcept {
  write_fatal(env.streams, file, line, text);
  if (env.exitfn != nullptr) env.exitfn(env.exithandle, file, line, text);
  env.hasfault = true;
  return rescode::err_internal;
}

rescode task_fatal(task_rec& task, const char* file, int32_t line, const char* text) noexcept {
  write_fatal(task.streams, file, line, text);
  const env_rec* env = task.env;
  if (env != nullptr && env->exitfn != nullptr) env->exitfn(env->exithandle, file, line, text);
  task.hasfault = true;
  return rescode::err_internal;
}

rescode task_caught(task_rec& task) noexcept {
  return report_caught(
      [&](rescode code, const char* text) { return task_fail(task, code, text); },
      [&](const internal_fault& f) { return task_fatal(task, f.file, f.line, f.text); });
}

rescode env_caught(env_rec& env) noexcept {
  return report_caught(
      [&](rescode code, const char* text) { return env_fail(env, code, text); },
      [&](const internal_fault& f) { return env_fatal(env, f.file, f.line, f.text); });
}
