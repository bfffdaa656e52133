// Message streams: four per environment and per task, each with a file, a function or both behind
// it, buffered by lines or 1024 characters. What is written on MSG, ERR or WRN goes to LOG as well.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>

#include "cpub/memman.h"
#include "cpub/rescode.h"

using msg_userfn = void (*)(void* handle, const char* text);

enum class msg_kind : int32_t { log = 0, msg = 1, err = 2, wrn = 3 };

struct msg_stream {
  static constexpr int32_t bufsize = 1024;
  std::FILE* file = nullptr;  // owned
  mm_string filename;         // of file, for the report of its closing
  void* handle = nullptr;     // the caller's, for func
  msg_userfn func = nullptr;
  int32_t pos = 0;  // 0 .. bufsize
  char buf[bufsize + 1] = {};

  explicit msg_stream(mm_place at) : filename(mm_alloc<char>(at)) {}
  ~msg_stream() {
    if (file != nullptr) std::fclose(file);
  }
  msg_stream(const msg_stream&) = delete;
  msg_stream& operator=(const msg_stream&) = delete;
};
struct msg_streams {
  std::array<msg_stream, 4> rec;  // by msg_kind
  explicit msg_streams(mm_place at)
      : rec{msg_stream(at), msg_stream(at), msg_stream(at), msg_stream(at)} {}
};

// msg_write: a zero-terminated text on one stream and, unless that is LOG, on LOG too. A file that
// can't be written is not an error.
void msg_write(msg_streams& streams, msg_kind kind, const char* text) noexcept;
// msg_flush: hands on what is buffered and flushes the file.
void msg_flush(msg_stream& stream) noexcept;
// msg_flushfiles: flushes the files only, so that no line is torn.
void msg_flushfiles(msg_streams& streams) noexcept;

// msg_linkfile: opens the file, at its end or emptied, behind the stream in place of the one before;
// the stream reports both. err_file_open leaves the stream as it was, and so does std::bad_alloc.
rescode msg_linkfile(msg_streams& streams, msg_kind kind, const char* filename, bool append);
// msg_unlinkfile: reports, flushes and closes the file, if there is one.
void msg_unlinkfile(msg_streams& streams, msg_kind kind) noexcept;
// msg_linkfunc: replaces the function; null for none. The old one gets what was buffered.
void msg_linkfunc(msg_stream& stream, void* handle, msg_userfn func) noexcept;
// msg_close: flushes and unlinks everything, before the streams' owner is deleted.
void msg_close(msg_streams& streams) noexcept;
