#include "cpub/msghandler.h"

namespace {

void hand_on(msg_stream& s) {
  s.buf[s.pos] = '\0';
  s.pos = 0;
  if (s.file != nullptr) std::fputs(s.buf, s.file);
  if (s.func != nullptr) s.func(s.handle, s.buf);
}

void hand_on_if_due(msg_stream& s) {
  if (s.pos == msg_stream::bufsize || (s.pos > 0 && s.buf[s.pos - 1] == '\n')) hand_on(s);
}

void write_one(msg_stream& s, const char* text) {
  for (const char* c = text; *c != '\0'; ++c) {
    hand_on_if_due(s);
    s.buf[s.pos++] = *c;
  }
  hand_on_if_due(s);
}

}  // namespace

void msg_write(msg_streams& streams, msg_kind kind, const char* text) {
  write_one(streams[size_t(kind)], text);
  if (kind != msg_kind::log) write_one(streams[size_t(msg_kind::log)], text);
}

void msg_flush(msg_stream& stream) {
  if (stream.pos > 0) hand_on(stream);
  if (stream.file != nullptr) std::fflush(stream.file);
}
