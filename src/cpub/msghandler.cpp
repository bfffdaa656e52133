#include "cpub/msghandler.h"

#include <sys/types.h>
#include <unistd.h>

#include <cerrno>

namespace {

constexpr size_t maxreport = 4048;  // of a report of opening or closing; longer names are cut

void hand_on(msg_stream& s) noexcept {
  s.buf[s.pos] = '\0';
  s.pos = 0;
  if (s.file != nullptr) std::fputs(s.buf, s.file);
  if (s.func != nullptr) s.func(s.handle, s.buf);
}

void hand_on_if_due(msg_stream& s) noexcept {
  if (s.pos == msg_stream::bufsize || (s.pos > 0 && s.buf[s.pos - 1] == '\n')) hand_on(s);
}

void write_one(msg_stream& s, const char* text) noexcept {
  for (const char* c = text; *c != '\0'; ++c) {
    hand_on_if_due(s);
    s.buf[s.pos++] = *c;
  }
  hand_on_if_due(s);
}

void report(msg_streams& streams, msg_kind kind, const char* what, const char* filename) noexcept {
  char text[maxreport + 1];
  std::snprintf(text, sizeof text, "\nFile %s: %s\n", what, filename);
  msg_write(streams, kind, text);
}

}  // namespace

void msg_write(msg_streams& streams, msg_kind kind, const char* text) noexcept {
  write_one(streams.rec[size_t(kind)], text);
  if (kind != msg_kind::log) write_one(streams.rec[size_t(msg_kind::log)], text);
}

void msg_flush(msg_stream& stream) noexcept {
  if (stream.pos > 0) hand_on(stream);
  if (stream.file != nullptr) std::fflush(stream.file);
}

void msg_flushfiles(msg_streams& streams) noexcept {
  for (msg_stream& s : streams.rec) {
    if (s.file != nullptr) std::fflush(s.file);
  }
}

rescode msg_linkfile(msg_streams& streams, msg_kind kind, const char* filename, bool append) {
  msg_stream& s = streams.rec[size_t(kind)];
  mm_string newname(filename, s.filename.get_allocator());
  // Opened for appending in both cases: were it the file that is linked already, emptying it now
  // would lose what that link has yet to write.
  std::FILE* newfile = std::fopen(filename, "ae");
  if (newfile == nullptr) return rescode::err_file_open;
  msg_unlinkfile(streams, kind);
  // Devices and pipes can't be emptied, and need not be.
  if (!append && ftruncate(fileno(newfile), 0) != 0) errno = 0;
  s.file = newfile;
  s.filename.swap(newname);
  report(streams, kind, append ? "reopened" : "opened", s.filename.c_str());
  return rescode::ok;
}

void msg_unlinkfile(msg_streams& streams, msg_kind kind) noexcept {
  msg_stream& s = streams.rec[size_t(kind)];
  if (s.file == nullptr) return;
  report(streams, kind, "closed", s.filename.c_str());
  msg_flush(s);
  std::fclose(s.file);
  s.file = nullptr;
}

void msg_linkfunc(msg_stream& stream, void* handle, msg_userfn func) noexcept {
  if (stream.func != nullptr) msg_flush(stream);
  stream.handle = handle;
  stream.func = func;
}

void msg_close(msg_streams& streams) noexcept {
  for (msg_stream& s : streams.rec) msg_flush(s);
  // LOG comes last: it hears of the closing of the others.
  for (size_t k = streams.rec.size(); k-- > 0;) msg_unlinkfile(streams, msg_kind(k));
  for (msg_stream& s : streams.rec) msg_linkfunc(s, nullptr, nullptr);
}
