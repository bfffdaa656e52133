#include "cpub/memdebug.h"

#include <algorithm>
#include <cinttypes>
#include <cstdarg>
#include <cstring>

namespace {

constexpr size_t maxtext = 1024;       // of one line of the log
constexpr size_t firstbuckets = 1024;  // the table doubles when there are more blocks than chains
constexpr uint8_t freshbyte = 0xa5;    // what a new block holds, so that nobody relies on zeros
constexpr uint8_t deadbyte = 0xdb;     // what a freed one holds

void log_line(const memman& mman, const char* form, ...) noexcept
    __attribute__((format(printf, 2, 3)));
void log_line(const memman& mman, const char* form, ...) noexcept {
  if (mman.debug->log == nullptr) return;
  va_list args;
  va_start(args, form);
  std::vfprintf(mman.debug->log, form, args);
  va_end(args);
  std::fflush(mman.debug->log);  // the next call may be the one that crashes
}

// A fault in a block: to the log, and to whoever decides what becomes of the process.
void fatal(const memman& mman, const char* file, int line, const char* form, ...) noexcept
    __attribute__((format(printf, 4, 5)));
void fatal(const memman& mman, const char* file, int line, const char* form, ...) noexcept {
  char text[maxtext];
  va_list args;
  va_start(args, form);
  std::vsnprintf(text, sizeof text, form, args);
  va_end(args);
  log_line(mman, "%s\nFatal error in file '%s(%d)'\n", text, file, line);
  if (mman.fatalfn != nullptr) mman.fatalfn(mman.fatalctx, file, line, text);
}

uint8_t* area_of(memdebug_block* b) noexcept {
  return reinterpret_cast<uint8_t*>(b + 1);
}
const uint8_t* area_of(const memdebug_block* b) noexcept {
  return reinterpret_cast<const uint8_t*>(b + 1);
}

size_t chain_of(const memdebug& d, const void* area) noexcept {
  const auto address = reinterpret_cast<uintptr_t>(area) / alignof(std::max_align_t);
  return size_t(uint64_t(address) * 0x9e3779b97f4a7c15U >> 32) & (d.numbucket - 1);
}

void chain_in(memdebug& d, memdebug_block* b) noexcept {
  if (d.numbucket == 0) return;
  memdebug_block*& head = d.bucket[chain_of(d, area_of(b))];
  b->nextsame = head;
  head = b;
}

// Without space for the larger table the chains just get longer.
void grow_table(memman& mman) noexcept {
  memdebug& d = *mman.debug;
  if (mman.numblocks < d.numbucket) return;
  const size_t wanted = d.numbucket == 0 ? firstbuckets : 2 * d.numbucket;
  void* space = memman_rawalloc(mman, wanted * sizeof(void*));
  if (space == nullptr) return;
  if (d.bucket != nullptr) memman_rawfree(mman, d.bucket);
  d.bucket = static_cast<memdebug_block**>(space);
  d.numbucket = wanted;
  std::fill_n(d.bucket, wanted, nullptr);
  for (memdebug_block* b = d.first; b != nullptr; b = b->next) chain_in(d, b);
}

// Compares addresses only: what the caller gave may be anything.
memdebug_block* find(const memdebug& d, const void* area) noexcept {
  const bool ischained = d.numbucket > 0;
  memdebug_block* b = ischained ? d.bucket[chain_of(d, area)] : d.last;
  while (b != nullptr && area_of(b) != area) b = ischained ? b->nextsame : b->prev;
  return b;
}

void list_in(memdebug& d, memdebug_block* b) noexcept {
  b->prev = d.last;
  b->next = nullptr;
  (d.last != nullptr ? d.last->next : d.first) = b;
  d.last = b;
  chain_in(d, b);
}

void list_out(memdebug& d, memdebug_block* b) noexcept {
  (b->prev != nullptr ? b->prev->next : d.first) = b->next;
  (b->next != nullptr ? b->next->prev : d.last) = b->prev;
  if (d.numbucket == 0) return;
  memdebug_block** at = &d.bucket[chain_of(d, area_of(b))];
  while (*at != b) at = &(*at)->nextsame;
  *at = b->nextsame;
}

void set_guards(memdebug_block& b) noexcept {
  uint8_t* before = area_of(&b) - memdebug_block::guardsize;
  uint8_t* after = area_of(&b) + b.size;
  b.seedbefore = uint8_t(b.number * 7 + 1);
  b.seedafter = uint8_t(b.number * 11 + 3);
  for (size_t i = 0; i < memdebug_block::guardsize; ++i) {
    before[i] = uint8_t(b.seedbefore + i);
    after[i] = uint8_t(b.seedafter + i);
  }
}

void check_digest(const memman& mman, const memdebug_block& b, const char* file,
                  int line) noexcept {
  const md5_digest now = md5_of(area_of(&b), b.size);
  const auto differ = std::mismatch(now.begin(), now.end(), b.digest.begin());
  if (differ.first == now.end()) return;
  fatal(mman, file, line,
        "Locked block %-6u at %p of size %s has been changed at '%s' %u. Digest info.: "
        "%d(%d!=%d) ",
        b.number, static_cast<const void*>(area_of(&b)), memman_sizetext(b.size).text, file,
        unsigned(line), int(differ.first - now.begin()), int(*differ.second), int(*differ.first));
}

// Reports the first broken byte of the block.
void check(const memman& mman, const memdebug_block& b, const char* file, int line) noexcept {
  const void* area = area_of(&b);
  const uint8_t* before = area_of(&b) - memdebug_block::guardsize;
  const uint8_t* after = area_of(&b) + b.size;
  for (unsigned i = 0; i < memdebug_block::guardsize; ++i) {
    const auto expected = uint8_t(b.seedbefore + i);
    if (before[i] == expected) continue;
    return fatal(mman, file, line,
                 "*** Block guard violation. Block number %u at %p. pos: b%u expected: %u got %u",
                 b.number, area, i, unsigned(expected), unsigned(before[i]));
  }
  for (unsigned i = 0; i < memdebug_block::guardsize; ++i) {
    const auto expected = uint8_t(b.seedafter + i);
    if (after[i] == expected) continue;
    return fatal(mman, file, line, "Block: %p guard pos: %u expected: %u got %u", area, i,
                 unsigned(expected), unsigned(after[i]));
  }
  if (b.islocked) check_digest(mman, b, file, line);
}

// The caller's text may not live as long as the block, and the end of a path tells most.
void keep_place(memdebug_block& b, const char* file, int line) noexcept {
  const char* name = file != nullptr ? file : "";
  const size_t length = std::strlen(name);
  if (length >= sizeof b.file) name += length - (sizeof b.file - 1);
  std::snprintf(b.file, sizeof b.file, "%s", name);
  b.line = line;
}

}  // namespace

memdebug* memdebug_make(const memman& mman) noexcept {
  void* space = memman_rawalloc(mman, sizeof(memdebug));
  return space != nullptr ? std::construct_at(static_cast<memdebug*>(space)) : nullptr;
}

rescode memman_openlog(memman& mman, const char* filename, const char* label) noexcept {
  mman.label = label;
  if (mman.debug == nullptr) return rescode::ok;
  std::FILE* log = std::fopen(filename, "we");
  if (log == nullptr) return rescode::err_file_open;
  if (mman.debug->log != nullptr) std::fclose(mman.debug->log);
  mman.debug->log = log;
  log_line(mman, "ZALVO memory debugging.\n");
  return rescode::ok;
}

void memdebug_delete(memman& mman) noexcept {
  memdebug& d = *mman.debug;
  log_line(mman, "Deleting mem manager. Scanning memory\n");
  for (const memdebug_block* b = d.first; b != nullptr; b = b->next)
    check(mman, *b, b->file, b->line);
  log_line(mman, "Checking leaks\n");
  if (d.first != nullptr) log_line(mman, "**** ALLOCATED  BLOCKS LEFT\n");
  for (const memdebug_block* b = d.first; b != nullptr; b = b->next) {
    log_line(mman, "Block %10u at %p is allocated\n", b->number,
             static_cast<const void*>(area_of(b)));
  }
  log_line(mman, "Done checking leaks\n");
  if (d.log != nullptr) std::fclose(d.log);
  if (d.bucket != nullptr) memman_rawfree(mman, d.bucket);
  memman_rawfree(mman, &d);
  mman.debug = nullptr;
}

void memdebug_failed(memman& mman, size_t bytes, const char* file, int line) noexcept {
  log_line(mman, "Out of space while trying to allocate a block of size %s in file '%s(%d)'\n",
           memman_sizetext(bytes).text, file, line);
}

void* memdebug_alloc(memman& mman, size_t bytes, const char* file, int line) noexcept {
  memdebug& d = *mman.debug;
  if (bytes == 0) {
    log_line(mman, "Allocted (%s)   a zero block in file '%s(%d)'.\n", mman.label, file, line);
    return nullptr;
  }
  void* space = memman_rawalloc(mman, sizeof(memdebug_block) + bytes + memdebug_block::guardsize);
  if (space == nullptr) return memdebug_failed(mman, bytes, file, line), nullptr;
  auto* b = std::construct_at(static_cast<memdebug_block*>(space));
  b->size = bytes;
  b->number = ++d.lastnumber;
  keep_place(*b, file, line);
  set_guards(*b);
  std::memset(area_of(b), freshbyte, bytes);
  grow_table(mman);
  list_in(d, b);
  mman.usage += bytes;
  mman.maxusage = std::max(mman.maxusage, mman.usage);
  ++mman.numblocks;
  void* area = area_of(b);
  log_line(mman, "Allocated(%s)   block number %-6u at %-10p of size %-s (%-s) in file '%s(%d)'.\n",
           mman.label, b->number, area, memman_sizetext(bytes).text,
           memman_sizetext(mman.usage).text, file, line);
  return area;
}

void memdebug_free(memman& mman, void* block, const char* file, int line) noexcept {
  memdebug& d = *mman.debug;
  memdebug_block* b = find(d, block);
  if (b == nullptr) {
    log_line(mman, "Block %p cannot be deallocated because it is not in the allocation list.\n",
             block);
    return;
  }
  check(mman, *b, file, line);
  list_out(d, b);
  mman.usage -= b->size;
  --mman.numblocks;
  log_line(mman, "Deallocated block number %-6u at %p of size %-12s (%s) in file '%s(%d)'\n",
           b->number, block, memman_sizetext(b->size).text, memman_sizetext(mman.usage).text, file,
           line);
  std::memset(block, deadbyte, b->size);
  memman_rawfree(mman, b);
}

void* memdebug_resize(memman& mman, void* block, size_t oldbytes, size_t newbytes, const char* file,
                      int line) noexcept {
  const memdebug_block* b = find(*mman.debug, block);
  if (b == nullptr) {
    log_line(mman, "Block at adr. %p is not in list.\n", block);
    return nullptr;
  }
  if (b->size != oldbytes) {
    log_line(mman, "Invalid size for block at adr. %p. Claimed size: %s Actual size: %s\n", block,
             memman_sizetext(oldbytes).text, memman_sizetext(b->size).text);
  }
  const size_t kept = std::min(b->size, newbytes);
  void* moved = memman_alloc(&mman, newbytes, 1, file, line);
  if (moved == nullptr) return nullptr;
  std::memcpy(moved, block, kept);
  memdebug_free(mman, block, file, line);
  return moved;
}

void memdebug_scan(memman& mman, const char* file, int line) noexcept {
  log_line(mman, "Scanning memory at '%s'(%d)\n", file, line);
  for (const memdebug_block* b = mman.debug->first; b != nullptr; b = b->next) {
    check(mman, *b, file, line);
  }
  char count[24];
  std::snprintf(count, sizeof count, "%zu", mman.numblocks);
  log_line(mman, "Space usage. Number of blocks: %s  Current usage: %s Maximum usage: %s\n", count,
           memman_sizetext(mman.usage).text, memman_sizetext(mman.maxusage).text);
}

void memdebug_lock(memman& mman, const void* block, bool islocked) noexcept {
  memdebug_block* b = find(*mman.debug, block);
  if (b == nullptr) {
    log_line(mman, "Block at adr. %p is not in list.\n", block);
    return;
  }
  if (islocked) {
    b->digest = md5_of(block, b->size);
  } else {
    check(mman, *b, b->file, b->line);
  }
  b->islocked = islocked;
}
