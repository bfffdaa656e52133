// Output part of ioutils.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cpub/ioutils.h"
#include "cpub/iozlib.h"

struct io_out {
  memman* mman;
  int fd = -1;
  bool isgzip = false, isdeflating = false;
  z_stream z = {};
  io_result fault = {rescode::ok, ""};
  mm_vector<char> target, temporary;  // zero-terminated; temporary is empty when writing directly
  mm_vector<char> buffer;             // its first used characters wait to be written
  mm_vector<char> packed;             // where they are compressed to
  size_t used = 0;
  explicit io_out(memman& manager)
      : mman(&manager),
        target(mm_at(manager)),
        temporary(mm_at(manager)),
        buffer(mm_at(manager)),
        packed(mm_at(manager)) {}
};

namespace {

constexpr size_t buffersize = size_t{1} << 16;

io_result openfault() noexcept {
  switch (errno) {
    case ENOENT:
      return {rescode::err_file_open, "There is no such directory."};
    case EACCES:
    case EPERM:
    case EROFS:
      return {rescode::err_file_open, "Writing it is not permitted."};
    case EISDIR:
      return {rescode::err_file_open, "It is a directory."};
    default:
      return {rescode::err_file_open, "The operating system cannot create it."};
  }
}

void write_bytes(io_out& out, const char* from, size_t num) noexcept {
  while (num > 0 && out.fault.code == rescode::ok) {
    const ssize_t n = write(out.fd, from, num);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      out.fault = {rescode::err_file_write, errno == ENOSPC ? "There is no space left."
                                                            : "The operating system refuses it."};
      return;
    }
    from += n;
    num -= size_t(n);
  }
}

void compress(io_out& out, const char* from, size_t num, int flush) noexcept {
  out.z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(from));  // NOLINT: it is only read
  out.z.avail_in = uInt(num);
  int r = Z_OK;
  do {
    out.z.next_out = reinterpret_cast<Bytef*>(out.packed.data());
    out.z.avail_out = uInt(out.packed.size());
    r = deflate(&out.z, flush);
    write_bytes(out, out.packed.data(), out.packed.size() - out.z.avail_out);
  } while (out.fault.code == rescode::ok && r == Z_OK &&
           (out.z.avail_in > 0 || out.z.avail_out == 0 || flush == Z_FINISH));
}

void pass_on(io_out& out, const char* from, size_t num) noexcept {
  constexpr size_t most = size_t{1} << 30;
  while (num > 0 && out.fault.code == rescode::ok) {
    const size_t n = std::min(num, most);
    if (out.isgzip) {
      compress(out, from, n, Z_NO_FLUSH);
    } else {
      write_bytes(out, from, n);
    }
    from += n;
    num -= n;
  }
}

void assign(mm_vector<char>& to, const char* text) {
  to.assign(text, text + std::strlen(text) + 1);
}

// A new file beside the target, with the permissions of the file that it will replace.
io_result open_temporary(io_out& out, const struct stat* old) {
  constexpr int tries = 1000;
  constexpr mode_t permissions = 0666;  // less what the process masks
  char suffix[48];
  out.temporary.reserve(out.target.size() + sizeof suffix);  // from here on nothing throws
  for (int k = 0; k < tries; ++k) {
    std::snprintf(suffix, sizeof suffix, ".tmp%ld-%d", long(getpid()), k);
    out.temporary.assign(out.target.begin(), out.target.end() - 1);
    out.temporary.insert(out.temporary.end(), suffix, suffix + std::strlen(suffix) + 1);
    out.fd = open(out.temporary.data(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, permissions);
    if (out.fd >= 0 || errno != EEXIST) break;
  }
  if (out.fd < 0) {
    out.temporary.clear();
    return openfault();
  }
  if (old != nullptr && fchmod(out.fd, old->st_mode & 07777) != 0) return openfault();
  return {rescode::ok, ""};
}

io_result open_target(io_out& out, const char* path) {
  struct stat info = {};
  const bool isold = stat(path, &info) == 0;
  if (isold && S_ISDIR(info.st_mode)) {
    errno = EISDIR;
    return openfault();
  }
  if (isold && !S_ISREG(info.st_mode)) {
    assign(out.target, path);
    out.fd = open(path, O_WRONLY | O_CLOEXEC);
    return out.fd < 0 ? openfault() : io_result{rescode::ok, ""};
  }
  char real[PATH_MAX];  // behind symbolic links, so that the file is replaced and not the link
  assign(out.target, isold && realpath(path, real) != nullptr ? real : path);
  if (isold && access(path, W_OK) != 0) return openfault();
  return open_temporary(out, isold ? &info : nullptr);
}

void release(io_out* out, bool iskept) noexcept {
  if (out->isdeflating) deflateEnd(&out->z);
  if (out->fd >= 0) close(out->fd);
  if (!iskept && !out->temporary.empty()) unlink(out->temporary.data());
  memman* mman = out->mman;
  out->~io_out();
  memman_free(mman, out, __FILE__, __LINE__);
}

void prepare(io_out& out) {
  out.buffer.resize(buffersize);
  if (!out.isgzip) return;
  out.packed.resize(buffersize);
  constexpr int gzipformat = 16, memlevel = 8;
  iozlib_setalloc(out.z, *out.mman);
  if (deflateInit2(&out.z, Z_DEFAULT_COMPRESSION, Z_DEFLATED, gzipformat + MAX_WBITS, memlevel,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
  out.isdeflating = true;
}

}  // namespace

io_result io_create(const char* path, bool isgzip, memman& mman, io_out*& out) {
  out = nullptr;
  void* space = memman_alloc(&mman, 1, sizeof(io_out), __FILE__, __LINE__);
  if (space == nullptr) throw std::bad_alloc();
  io_out* fresh = new (space) io_out(mman);  // NOLINT: release() frees it
  fresh->isgzip = isgzip;
  io_result r = {rescode::ok, ""};
  try {
    prepare(*fresh);
    r = open_target(*fresh, path);
  } catch (...) {
    release(fresh, false);
    throw;
  }
  if (r.code != rescode::ok) {
    release(fresh, false);
    return r;
  }
  out = fresh;
  return r;
}

void io_put(io_out& out, std::string_view text) noexcept {
  if (out.used + text.size() > out.buffer.size()) {
    pass_on(out, out.buffer.data(), out.used);
    out.used = 0;
    if (text.size() >= out.buffer.size()) {
      pass_on(out, text.data(), text.size());
      return;
    }
  }
  std::memcpy(out.buffer.data() + out.used, text.data(), text.size());
  out.used += text.size();
}

bool io_isfailed(const io_out& out) noexcept {
  return out.fault.code != rescode::ok;
}

io_result io_finish(io_out* out) noexcept {
  pass_on(*out, out->buffer.data(), out->used);
  if (out->isgzip && !io_isfailed(*out)) compress(*out, nullptr, 0, Z_FINISH);
  if (close(out->fd) != 0 && !io_isfailed(*out)) {
    out->fault = {rescode::err_file_write, "The operating system cannot close it."};
  }
  out->fd = -1;
  if (!io_isfailed(*out) && !out->temporary.empty() &&
      std::rename(out->temporary.data(), out->target.data()) != 0) {
    out->fault = {rescode::err_file_write, "It cannot be replaced."};
  }
  const io_result result = out->fault;
  release(out, result.code == rescode::ok);
  return result;
}

void io_abandon(io_out* out) noexcept {
  if (out != nullptr) release(out, false);
}

io_result io_writetext(const char* path, bool isgzip, memman& mman, std::string_view text) {
  io_out* out = nullptr;
  if (const io_result r = io_create(path, isgzip, mman, out); r.code != rescode::ok) return r;
  io_put(*out, text);
  return io_finish(out);
}
