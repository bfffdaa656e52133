// Input part of ioutils.
#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "cpub/ioutils.h"
#include "cpub/iozlib.h"

namespace {

constexpr size_t firstsize = size_t{1}
                             << 16;  // characters of the first chunk: most files are small
constexpr size_t chunksize = size_t{1} << 20;   // of the others, unless a line is longer
constexpr size_t packedsize = size_t{1} << 17;  // bytes of compressed input at a time
constexpr std::string_view gzipmagic("\x1f\x8b", 2);
constexpr std::string_view bytemark("\xEF\xBB\xBF", 3);

struct io_source {
  int fd = -1;
  bool isgzip = false;
  bool isend = false;     // of the file
  bool ismember = false;  // inside of a member of the archive
  z_stream z = {};
  bool isinflating = false;
  mm_vector<char> raw;  // bytes read and not yet used: z.next_in, z.avail_in
  io_result fault = {rescode::ok, ""};
  explicit io_source(mm_place at) : raw(at) {}
  io_source(const io_source&) = delete;
  io_source& operator=(const io_source&) = delete;
  ~io_source() {
    if (isinflating) inflateEnd(&z);
    if (fd >= 0) close(fd);
  }
};

// Bytes of the file; 0 at its end or after a failure, which is kept in fault.
size_t read_bytes(io_source& src, char* to, size_t room) noexcept {
  constexpr size_t most = size_t{1} << 30;
  for (;;) {
    const ssize_t n = read(src.fd, to, std::min(room, most));
    if (n >= 0) return size_t(n);
    if (errno == EINTR) continue;
    src.fault = {rescode::err_file_read,
                 errno == EISDIR ? "It is a directory." : "The operating system cannot read it."};
    return 0;
  }
}

void refill(io_source& src) noexcept {
  const size_t n = read_bytes(src, src.raw.data(), src.raw.size());
  src.z.next_in = reinterpret_cast<Bytef*>(src.raw.data());
  src.z.avail_in = uInt(n);
  src.isend = n == 0;
}

// The next member of an archive begins where the last one ended; padding with zeros is allowed.
bool next_member(io_source& src) noexcept {
  while (!src.isend && src.fault.code == rescode::ok) {
    while (src.z.avail_in > 0 && *src.z.next_in == 0) {
      ++src.z.next_in;
      --src.z.avail_in;
    }
    if (src.z.avail_in > 0) break;
    refill(src);
  }
  if (src.z.avail_in == 0) return false;
  inflateReset(&src.z);
  src.ismember = true;
  return true;
}

size_t inflate_some(io_source& src, char* to, size_t room) {
  src.z.next_out = reinterpret_cast<Bytef*>(to);
  src.z.avail_out = uInt(std::min(room, size_t{1} << 30));
  const uInt before = src.z.avail_out;
  while (src.z.avail_out == before) {
    if (!src.ismember && !next_member(src)) break;
    if (src.z.avail_in == 0 && !src.isend) refill(src);
    if (src.fault.code != rescode::ok) break;
    const int r = inflate(&src.z, Z_NO_FLUSH);
    if (r == Z_STREAM_END) {
      src.ismember = false;
    } else if (r == Z_MEM_ERROR) {
      throw std::bad_alloc();
    } else if (r == Z_BUF_ERROR && src.isend) {
      src.fault = {rescode::err_end_of_file, "The compressed file is cut off."};
      break;
    } else if (r != Z_OK && r != Z_BUF_ERROR) {
      src.fault = {rescode::err_file_read, "The compressed data is corrupt."};
      break;
    }
  }
  return before - src.z.avail_out;
}

size_t fill(io_source& src, char* to, size_t room) {
  if (src.isgzip) return inflate_some(src, to, room);
  if (src.z.avail_in > 0) {  // what was read to see whether it is an archive
    const size_t n = std::min(room, size_t(src.z.avail_in));
    std::memcpy(to, src.z.next_in, n);
    src.z.next_in += n;
    src.z.avail_in -= uInt(n);
    return n;
  }
  return src.isend ? 0 : read_bytes(src, to, room);
}

void open_source(io_source& src, const char* path, memman& mman) {
  src.fd = open(path, O_RDONLY | O_CLOEXEC);
  if (src.fd < 0) {
    src.fault = {rescode::err_file_open, errno == ENOENT ? "There is no such file."
                                         : errno == EACCES
                                             ? "Reading it is not permitted."
                                             : "The operating system cannot open it."};
    return;
  }
  src.raw.resize(packedsize);
  size_t have = 0;
  for (size_t n = 1; n > 0 && have < gzipmagic.size(); have += n) {  // a pipe may give single bytes
    n = read_bytes(src, src.raw.data() + have, src.raw.size() - have);
  }
  src.isend = have < gzipmagic.size();
  src.isgzip = std::string_view(src.raw.data(), have).starts_with(gzipmagic);
  iozlib_setalloc(src.z, mman);
  if (src.isgzip) {
    constexpr int gziponly = 16;
    if (inflateInit2(&src.z, gziponly + MAX_WBITS) != Z_OK) throw std::bad_alloc();
    src.isinflating = src.ismember = true;
  }
  src.z.next_in = reinterpret_cast<Bytef*>(src.raw.data());
  src.z.avail_in = uInt(have);
}

// Closes a full chunk behind its last line end and opens the next with the rest; a line that fills
// the whole chunk makes it longer instead.
void next_chunk(io_text& text, size_t& used) {
  mm_vector<char>& full = text.chunk.back();
  const auto* last = static_cast<const char*>(memrchr(full.data(), '\n', used));
  if (last == nullptr) {
    full.resize(2 * full.size());
    return;
  }
  const auto keep = size_t(last - full.data()) + 1;
  const size_t rest = used - keep;
  mm_vector<char> next(std::max(chunksize, 2 * rest), '\0', full.get_allocator());
  std::memcpy(next.data(), full.data() + keep, rest);
  full.resize(keep);
  text.chunk.push_back(std::move(next));
  used = rest;
}

}  // namespace

io_result io_readtext(const char* path, io_text& text) {
  const mm_place at = text.chunk.get_allocator().place;
  text.chunk.clear();
  text.numchar = 0;
  io_source src(at);
  open_source(src, path, *at.mman);
  if (src.fault.code != rescode::ok) return src.fault;
  text.chunk.emplace_back(firstsize, '\0', mm_alloc<char>(at));
  size_t used = 0;
  for (;;) {
    const size_t n = fill(src, text.chunk.back().data() + used, text.chunk.back().size() - used);
    if (src.fault.code != rescode::ok) return src.fault;
    if (n == 0) break;
    used += n;
    text.numchar += int64_t(n);
    if (used == text.chunk.back().size()) next_chunk(text, used);
  }
  text.chunk.back().resize(used);
  mm_vector<char>& first = text.chunk.front();
  if (std::string_view(first.data(), first.size()).starts_with(bytemark)) {
    first.erase(first.begin(), first.begin() + ptrdiff_t(bytemark.size()));
    text.numchar -= int64_t(bytemark.size());
  }
  return {rescode::ok, ""};
}

bool io_nextline(io_lines& lines, std::string_view& line) noexcept {
  while (lines.pos == lines.end) {
    if (lines.nextchunk == lines.text->chunk.size()) return false;
    const mm_vector<char>& chunk = lines.text->chunk[lines.nextchunk++];
    lines.pos = chunk.data();
    lines.end = chunk.data() + chunk.size();
  }
  const auto left = size_t(lines.end - lines.pos);
  const auto* stop = static_cast<const char*>(std::memchr(lines.pos, '\n', left));
  size_t len = stop == nullptr ? left : size_t(stop - lines.pos);
  const char* begin = lines.pos;
  lines.pos += stop == nullptr ? len : len + 1;
  if (len > 0 && begin[len - 1] == '\r') --len;
  ++lines.number;
  line = {begin, len};
  return true;
}

void io_forget(io_text& text, const io_lines& lines) noexcept {
  for (size_t k = 0; k + 1 < lines.nextchunk; ++k) {
    mm_vector<char>(text.chunk[k].get_allocator()).swap(text.chunk[k]);
  }
}

io_shorttext io_printable(std::string_view piece) noexcept {
  io_shorttext out;
  const size_t n = std::min(piece.size(), io_shorttext::maxlen);
  for (size_t i = 0; i < n; ++i) {
    out.text[i] = piece[i] >= ' ' && piece[i] <= '~' ? piece[i] : '?';
  }
  std::strcpy(out.text + n, piece.size() > n ? "..." : "");  // NOLINT: there is room for the dots
  return out;
}
