// Buffered input and output of whole text files, plain or gzip-compressed. A file is read and inflated
// once into chunks that hold whole lines; whether it is compressed is told by its first two bytes.
// What is written goes to a temporary file beside the target, which takes the target's name only when
// every byte was written and the file closed; what is no regular file (a device) is written directly.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "cpub/memman.h"
#include "cpub/rescode.h"

// How an input or output ended. code: ok, err_file_open, err_file_read, err_end_of_file (an archive
// that ends early) or err_file_write; why: what happened in plain words, a static text.
struct io_result {
  rescode code;
  const char* why;
};

// ---- Input

struct io_text {
  mm_vector<mm_vector<char>> chunk;  // each ends with a line end, but for the last
  int64_t numchar = 0;               // of all chunks, without a byte-order mark
  explicit io_text(mm_place at) : chunk(at) {}
};

// io_readtext: a whole file. text is replaced; it is undefined after a failure. A UTF-8 byte-order
// mark at the beginning is taken away. Throws std::bad_alloc.
[[nodiscard]] io_result io_readtext(const char* path, io_text& text);

// A position in a text: the lines from there on.
struct io_lines {
  const io_text* text = nullptr;
  size_t nextchunk = 0;
  const char *pos = nullptr, *end = nullptr;  // the rest of the chunk before nextchunk
  int32_t number = 0;                         // of the line handed out last; the first is 1
};
inline io_lines io_firstline(const io_text& text) {
  return {&text, 0, nullptr, nullptr, 0};
}
// io_nextline: the next line without its line end (LF or CRLF); false behind the last one. The last
// line needs no line end. Lines may have any length and hold any byte.
bool io_nextline(io_lines& lines, std::string_view& line) noexcept;
// io_forget: frees the chunks of text in front of the one that lines, a position in it, is in. Lines
// of these chunks are gone, and reading cannot begin again.
void io_forget(io_text& text, const io_lines& lines) noexcept;

// io_printable: the beginning of a piece of a file for a message: control characters and bytes that
// are no ASCII become '?', and what is cut off is marked by dots.
struct io_shorttext {
  static constexpr size_t maxlen = 60;
  char text[maxlen + 4];
};
io_shorttext io_printable(std::string_view piece) noexcept;

// ---- Output

struct io_out;  // opaque

// io_create: begins a file; out is null when the code is not ok. Throws std::bad_alloc.
[[nodiscard]] io_result io_create(const char* path, bool isgzip, memman& mman, io_out*& out);
// io_put: appends. The first failure is kept and told by io_finish; what follows it is dropped.
void io_put(io_out& out, std::string_view text) noexcept;
bool io_isfailed(const io_out& out) noexcept;
// io_finish: writes what is buffered, closes the file and gives it its name. Frees out, and after a
// failure takes away what was written: the target is as it was, unless it is a device.
[[nodiscard]] io_result io_finish(io_out* out) noexcept;
// io_abandon: takes away what was written; the target stays as it was. Null is allowed.
void io_abandon(io_out* out) noexcept;

// io_writetext: all of it in one call.
[[nodiscard]] io_result io_writetext(const char* path, bool isgzip, memman& mman,
                                     std::string_view text);
