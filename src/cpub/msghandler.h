// Message streams: four per environment and per task, each with a file, a function or both behind
// it, buffered by lines or 1024 characters. What is written on MSG, ERR or WRN goes to LOG as well.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>

using msg_userfn = void (*)(void* handle, const char* text);

enum class msg_kind : int32_t { log = 0, msg = 1, err = 2, wrn = 3 };

struct msg_stream {
  static constexpr int32_t bufsize = 1024;
  std::FILE* file = nullptr;  // owned
  void* handle = nullptr;     // the caller's, for func
  msg_userfn func = nullptr;
  int32_t pos = 0;            // 0 .. bufsize
  char buf[bufsize + 1] = {};
};
using msg_streams = std::array<msg_stream, 4>;

// msg_write: a zero-terminated text on one stream and, unless that is LOG, on LOG too.
void msg_write(msg_streams& streams, msg_kind kind, const char* text);
// msg_flush: hands on what is buffered and flushes the file.
void msg_flush(msg_stream& stream);
