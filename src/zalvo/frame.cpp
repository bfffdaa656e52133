#include "zalvo/frame.h"

#include <cassert>
#include <cstdarg>
#include <cstdio>
#include <cstring>

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

void task_echo(task_rec& task, msg_kind kind, const char* fmt, ...) noexcept {
  char text[maxtext + 1];
  va_list args;
  va_start(args, fmt);
  std::vsnprintf(text, sizeof text, fmt, args);
  va_end(args);
  msg_write(task.streams, kind, text);
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
