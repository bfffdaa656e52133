// Exported functions of the message streams: linking, echoing, the introduction.
#include <exception>

#include "zalvo/frame.h"

namespace {

bool isstream(int32_t whichstream) {
  return whichstream >= ZLV_STREAM_LOG && whichstream <= ZLV_STREAM_WRN;
}

// The frame of the environment's stream functions, which need no initialised environment.
template <class F>
int32_t envstream_call(ZLV_env_t env, int32_t whichstream, F&& work) noexcept {
  if (env == nullptr) return int32_t(rescode::err_null_env);
  if (!isstream(whichstream)) {
    return int32_t(env_fail(*env, rescode::err_invalid_stream, whichstream));
  }
  try {
    return int32_t(work(*env, msg_kind(whichstream)));
  } catch (const std::exception&) {  // of copying a name: nothing else is thrown
    return int32_t(env_fail(*env, rescode::err_space));
  }
}
template <class F>
int32_t taskstream_call(ZLV_task_t task, int32_t whichstream, F&& work) noexcept {
  return task_call(task, [&](task_rec& t) {
    if (!isstream(whichstream)) return task_fail(t, rescode::err_invalid_stream, whichstream);
    return work(t, msg_kind(whichstream));
  });
}

rescode link_file(msg_streams& streams, msg_kind kind, const char* filename, int32_t append) {
  if (filename != nullptr) return msg_linkfile(streams, kind, filename, append != 0);
  msg_unlinkfile(streams, kind);
  return rescode::ok;
}

}  // namespace

int32_t ZLV_linkfiletoenvstream(ZLV_env_t env, int32_t whichstream, const char* filename,
                                int32_t append) {
  return envstream_call(env, whichstream, [=](env_rec& e, msg_kind kind) {
    const rescode r = link_file(e.streams, kind, filename, append);
    return env_fail(e, r, filename);
  });
}

int32_t ZLV_linkfiletotaskstream(ZLV_task_t task, int32_t whichstream, const char* filename,
                                 int32_t append) {
  return taskstream_call(task, whichstream, [=](task_rec& t, msg_kind kind) {
    const rescode r = link_file(t.streams, kind, filename, append);
    return task_fail(t, r, filename);
  });
}

int32_t ZLV_linkfunctoenvstream(ZLV_env_t env, int32_t whichstream, void* handle,
                                ZLV_streamfunc func) {
  return envstream_call(env, whichstream, [=](env_rec& e, msg_kind kind) {
    msg_linkfunc(e.streams.rec[size_t(kind)], handle, func);
    return rescode::ok;
  });
}

int32_t ZLV_linkfunctotaskstream(ZLV_task_t task, int32_t whichstream, void* handle,
                                 ZLV_streamfunc func) {
  return taskstream_call(task, whichstream, [=](task_rec& t, msg_kind kind) {
    msg_linkfunc(t.streams.rec[size_t(kind)], handle, func);
    return rescode::ok;
  });
}

int32_t ZLV_unlinkfuncfromenvstream(ZLV_env_t env, int32_t whichstream) {
  return ZLV_linkfunctoenvstream(env, whichstream, nullptr, nullptr);
}

int32_t ZLV_unlinkfuncfromtaskstream(ZLV_task_t task, int32_t whichstream) {
  return ZLV_linkfunctotaskstream(task, whichstream, nullptr, nullptr);
}

int32_t ZLV_echoenv(ZLV_env_t env, int32_t whichstream, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int32_t r = envstream_call(env, whichstream, [&](env_rec& e, msg_kind kind) {
    if (format == nullptr) return env_fail(e, rescode::err_null_pointer, "format");
    msg_vecho(e.streams, kind, format, args);
    return rescode::ok;
  });
  va_end(args);
  return r;
}

int32_t ZLV_echotask(ZLV_task_t task, int32_t whichstream, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int32_t r = taskstream_call(task, whichstream, [&](task_rec& t, msg_kind kind) {
    if (format == nullptr) return task_fail(t, rescode::err_null_pointer, "format");
    msg_vecho(t.streams, kind, format, args);
    return rescode::ok;
  });
  va_end(args);
  return r;
}

int32_t ZLV_echocodeenv(ZLV_env_t env, int32_t code, ...) {
  va_list args;
  va_start(args, code);
  const int32_t r = env_call(env, [&](env_rec& e) { return env_vfail(e, rescode(code), args); });
  va_end(args);
  return r;
}

int32_t ZLV_echocodetask(ZLV_task_t task, int32_t code, ...) {
  va_list args;
  va_start(args, code);
  const int32_t r =
      task_call(task, [&](task_rec& t) { return task_vfail(t, rescode(code), args); });
  va_end(args);
  return r;
}
