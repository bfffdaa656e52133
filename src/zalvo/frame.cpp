#include "zalvo/frame.h"

#include <cstdarg>
#include <cstdio>

namespace {

constexpr size_t maxtext = 4048;  // longest message text, without its terminator

const char* message_template(rescode code) noexcept {
  switch (code) {
#define ZLV_CODE(name, value, message, description) \
  case rescode::name:                               \
    return message;
#include "cpub/rescode.def"
#undef ZLV_CODE
  }
  return "";
}

void write_message(msg_streams& streams, rescode code, va_list args) noexcept {
  const bool iserror = int32_t(code) > 1000;
  const msg_kind kind = iserror ? msg_kind::err : msg_kind::wrn;
  char text[maxtext + 1];
  std::snprintf(text, sizeof text, "ZALVO %s %-6d - ", iserror ? "Error" : "Warning",
                int32_t(code));
  msg_write(streams, kind, text);
  const char* form = message_template(code);
  std::vsnprintf(text, sizeof text, *form != '\0' ? form : "No message for this code.", args);
  msg_write(streams, kind, text);
  msg_write(streams, kind, "\n");
}

}  // namespace

rescode task_vfail(task_rec& task, rescode code, va_list args) noexcept {
  if (code == rescode::ok) return code;
  if (int32_t(code) < 1000) {
    if (task.numwarn >= task.par.i[ipar::max_num_warnings]) return code;
    ++task.numwarn;
  }
  write_message(task.streams, code, args);
  return code;
}

rescode task_fail(task_rec& task, rescode code, ...) noexcept {
  va_list args;
  va_start(args, code);
  const rescode r = task_vfail(task, code, args);
  va_end(args);
  return r;
}

rescode env_vfail(env_rec& env, rescode code, va_list args) noexcept {
  if (code != rescode::ok) write_message(env.streams, code, args);
  return code;
}

rescode env_fail(env_rec& env, rescode code, ...) noexcept {
  va_list args;
  va_start(args, code);
  const rescode r = env_vfail(env, code, args);
  va_end(args);
  return r;
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
