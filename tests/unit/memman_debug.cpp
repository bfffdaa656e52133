// The memory manager: counting, and with debugging on the log, the guards and the locked blocks.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "cpub/md5.h"
#include "cpub/memman.h"
#include "support/faulty_alloc.h"
#include "support/file_text.h"

namespace {

struct fault_list {
  std::vector<std::string> texts;
  static void keep(void* self, const char* file, int line, const char* text) {
    static_cast<fault_list*>(self)->texts.push_back(std::string(file) + ":" + std::to_string(line) +
                                                    " " + text);
  }
};

std::string hex(const md5_digest& digest) {
  std::string text;
  for (const uint8_t byte : digest) {
    char two[3];
    std::snprintf(two, sizeof two, "%02x", byte);
    text += two;
  }
  return text;
}

std::string address(const void* block) {
  char text[32];
  std::snprintf(text, sizeof text, "%p", block);
  return text;
}

struct debug_box {
  std::string logname = testing::TempDir() + "memman_debug." + std::to_string(getpid()) + ".txt";
  fault_list faults;
  faulty_alloc from;
  memman* mman = memman_create(&from, faulty_alloc::alloc, faulty_alloc::free, true);
  debug_box() {
    EXPECT_EQ(memman_openlog(*mman, logname.c_str(), "box"), rescode::ok);
    memman_setfatal(*mman, &faults, &fault_list::keep);
  }
  ~debug_box() {
    if (mman != nullptr) memman_delete(mman);
    std::remove(logname.c_str());
  }
  void* alloc(size_t size) { return memman_alloc(mman, 1, size, "place.c", 12); }
  void free(void* block) { memman_free(mman, block, "place.c", 34); }
  size_t close() { return memman_delete(std::exchange(mman, nullptr)); }
  bool logged(const std::string& part) const {
    return file_text(logname).find(part) != std::string::npos;
  }
};

}  // namespace

TEST(Md5, KnownAnswers) {
  struct md5_case {
    std::string text;
    const char* digest;
  };
  const md5_case cases[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
      {std::string(55, 'x'), "04364420e25c512fd958a70738aa8f72"},
      {std::string(56, 'x'), "668a72d5ba17f08e62dabcafad6db14b"},
      {std::string(64, 'x'), "c1bb4f81d892b2d57947682aeb252456"},
      {std::string(1000, 'x'), "398533d48111e9f664b1f64cb10c4b63"},
  };
  for (const md5_case& c : cases) EXPECT_EQ(hex(md5_of(c.text.data(), c.text.size())), c.digest);
}

TEST(Memman, CountsBytesAndBlocks) {
  for (const bool isdebug : {false, true}) {
    memman* mman = memman_create(nullptr, nullptr, nullptr, isdebug);
    auto* a = static_cast<unsigned char*>(memman_calloc(mman, 10, 3, "f", 1));
    EXPECT_EQ(std::count(a, a + 30, 0), 30);
    void* b = memman_alloc(mman, 7, 10, "f", 2);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(b) % alignof(std::max_align_t), 0U);
    EXPECT_EQ(memman_usage(*mman), 100U);
    std::memset(b, 1, 70);
    b = memman_resize(mman, b, 70, 20, "f", 3);
    EXPECT_EQ(static_cast<unsigned char*>(b)[19], 1);
    EXPECT_EQ(memman_usage(*mman), 50U);
    EXPECT_EQ(memman_maxusage(*mman), 120U);  // both were there while the contents moved
    char* text = memman_strdup(mman, "text", "f", 4);
    EXPECT_STREQ(text, "text");
    EXPECT_EQ(memman_numblocks(*mman), 3U);
    memman_free(mman, text, "f", 5);
    memman_free(mman, a, "f", 5);
    EXPECT_EQ(memman_usage(*mman), 20U);
    memman_free(mman, b, "f", 6);
    memman_free(mman, nullptr, "f", 7);
    EXPECT_EQ(memman_delete(mman), 0U);
  }
}

TEST(Memman, ServesNoImpossibleRequest) {
  for (const bool isdebug : {false, true}) {
    memman* mman = memman_create(nullptr, nullptr, nullptr, isdebug);
    const size_t huge = std::numeric_limits<size_t>::max();
    const std::pair<size_t, size_t> requests[] = {{0, 8},    {8, 0},        {huge, 1},
                                                  {huge, 2}, {huge / 2, 1}, {huge / 2 + 1, 2}};
    for (const auto& [number, size] : requests) {
      EXPECT_EQ(memman_alloc(mman, number, size, "f", 1), nullptr) << number << " " << size;
      EXPECT_EQ(memman_calloc(mman, number, size, "f", 1), nullptr) << number << " " << size;
    }
    EXPECT_EQ(memman_delete(mman), 0U);
  }
  testing::internal::CaptureStderr();
  EXPECT_EQ(memman_alloc(nullptr, 1, 1, "f.c", 9), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "memman_alloc: mman==NULL file: f.c line: 9\n");
}

TEST(Memman, FamiliesComeApartInAnyOrder) {
  memman* parent = memman_create(nullptr, nullptr, nullptr, false);
  memman* child[4];
  for (memman*& c : child) c = memman_createchild(*parent);
  EXPECT_EQ(memman_numchildren(*parent), 4U);
  for (const int k : {2, 0}) memman_delete(child[k]);
  EXPECT_EQ(memman_numchildren(*parent), 2U);
  memman_delete(child[1]);
  EXPECT_EQ(memman_numchildren(*parent), 1U);
  memman_delete(parent);
  memman_delete(child[3]);  // an orphan
}

TEST(Memman, EveryFailedAllocationIsNull) {
  for (const bool isdebug : {false, true}) {
    for (long k = 0; k < 6; ++k) {
      faulty_alloc from(k);
      from.failsafter = true;
      memman* mman = memman_create(&from, faulty_alloc::alloc, faulty_alloc::free, isdebug);
      if (mman == nullptr) {
        EXPECT_LE(k, isdebug ? 1 : 0);
        EXPECT_EQ(from.numlive, 0);
        continue;
      }
      void* a = memman_alloc(mman, 1, 100, "f", 1);
      void* b = memman_alloc(mman, 1, 100, "f", 2);
      void* c = memman_resize(mman, b, 100, 200, "f", 3);
      if (c != nullptr) b = c;
      EXPECT_EQ(memman_numblocks(*mman), size_t(a != nullptr) + size_t(b != nullptr));
      memman_free(mman, a, "f", 4);
      memman_free(mman, b, "f", 5);
      EXPECT_EQ(memman_delete(mman), 0U);
      EXPECT_EQ(from.numlive, 0) << k;
    }
  }
}

TEST(Memman, SizesHaveUnits) {
  struct size_case {
    size_t bytes;
    const char* text;
  };
  const size_case cases[] = {{0, "0 B"},
                             {1023, "1023 B"},
                             {1024, "1.00 KB"},
                             {1536 * 1024, "1.50 MB"},
                             {size_t(3) << 30, "3.00 GB"}};
  for (const size_case& c : cases) EXPECT_STREQ(memman_sizetext(c.bytes).text, c.text);
}

TEST(MemmanDebug, WritesItsLog) {
  debug_box box;
  EXPECT_TRUE(box.logged("ZALVO memory debugging."));
  void* a = box.alloc(2048);
  EXPECT_TRUE(box.logged("Allocated(box)   block number 1      at " + address(a)));
  EXPECT_TRUE(box.logged(" of size 2.00 KB (2.00 KB) in file 'place.c(12)'.\n"));
  EXPECT_EQ(box.alloc(0), nullptr);
  EXPECT_TRUE(box.logged("Allocted (box)   a zero block in file 'place.c(12)'.\n"));
  EXPECT_EQ(box.alloc(std::numeric_limits<size_t>::max()), nullptr);
  EXPECT_TRUE(box.logged("Out of space while trying to allocate a block of size "));
  int other = 0;
  box.free(&other);
  EXPECT_TRUE(box.logged("Block " + address(&other) +
                         " cannot be deallocated because it is not in the allocation list.\n"));
  EXPECT_EQ(memman_resize(box.mman, &other, 4, 8, "r.c", 1), nullptr);
  EXPECT_TRUE(box.logged("Block at adr. " + address(&other) + " is not in list.\n"));
  const std::string olda = address(a);
  void* b = memman_resize(box.mman, a, 5, 10, "r.c", 2);
  EXPECT_TRUE(box.logged("Invalid size for block at adr. " + olda +
                         ". Claimed size: 5 B Actual size: 2.00 KB\n"));
  EXPECT_TRUE(box.logged("Deallocated block number 1      at " + olda +
                         " of size 2.00 KB      (10 B) in file 'r.c(2)'\n"));
  memman_scan(*box.mman, "s.c", 5);
  EXPECT_TRUE(box.logged("Scanning memory at 's.c'(5)\n"));
  EXPECT_TRUE(
      box.logged("Space usage. Number of blocks: 1  Current usage: 10 B Maximum usage: 2.01 KB\n"));
  EXPECT_EQ(box.close(), 1U);
  EXPECT_TRUE(
      box.logged("Deleting mem manager. Scanning memory\nChecking leaks\n"
                 "**** ALLOCATED  BLOCKS LEFT\nBlock          2 at " +
                 address(b) + " is allocated\nDone checking leaks\n"));
  EXPECT_TRUE(box.faults.texts.empty());
}

TEST(MemmanDebug, LogNeedsAFolder) {
  memman* mman = memman_create(nullptr, nullptr, nullptr, true);
  const std::string nowhere = testing::TempDir() + "no/such/folder/log.txt";
  EXPECT_EQ(memman_openlog(*mman, nowhere.c_str(), "x"), rescode::err_file_open);
  memman_delete(mman);
}

TEST(MemmanDebug, TellsOfWritesBesideABlock) {
  for (int pos = 0; pos < 8; ++pos) {
    debug_box box;
    auto* a = static_cast<unsigned char*>(box.alloc(11));
    const std::string place = address(a), at = std::to_string(pos);
    const unsigned char before = a[pos - 8], after = a[11 + pos];
    a[pos - 8] = static_cast<unsigned char>(~before);
    memman_scan(*box.mman, "s.c", 5);
    a[pos - 8] = before;
    a[11 + pos] = static_cast<unsigned char>(~after);
    box.free(a);
    const auto bytes = [](int expected) {
      return " expected: " + std::to_string(expected) + " got " + std::to_string(255 - expected);
    };
    ASSERT_EQ(box.faults.texts.size(), 2U);
    EXPECT_EQ(box.faults.texts[0], "s.c:5 *** Block guard violation. Block number 1 at " + place +
                                       ". pos: b" + at + bytes(before));
    EXPECT_EQ(box.faults.texts[1],
              "place.c:34 Block: " + place + " guard pos: " + at + bytes(after));
    EXPECT_TRUE(box.logged("\nFatal error in file 'place.c(34)'\n"));
    EXPECT_EQ(box.close(), 0U);
  }
}

TEST(MemmanDebug, TellsOfChangedLockedBlocks) {
  debug_box box;
  auto* a = static_cast<unsigned char*>(box.alloc(100));
  memman_lock(*box.mman, a);
  memman_scan(*box.mman, "s.c", 1);
  EXPECT_TRUE(box.faults.texts.empty());
  a[50] ^= 1;
  memman_scan(*box.mman, "s.c", 2);
  ASSERT_EQ(box.faults.texts.size(), 1U);
  const std::string expected = "s.c:2 Locked block 1      at " + address(a) +
                               " of size 100 B has been changed at 's.c' 2. Digest info.: 0(";
  EXPECT_EQ(box.faults.texts[0].rfind(expected, 0), 0U) << box.faults.texts[0];
  a[50] ^= 1;
  memman_unlock(*box.mman, a);
  a[50] ^= 1;
  box.free(a);
  EXPECT_EQ(box.faults.texts.size(), 1U);
}

TEST(MemmanDebug, FindsItsBlocksAmongMany) {
  memman* mman = memman_create(nullptr, nullptr, nullptr, true);
  std::vector<void*> blocks;
  for (size_t k = 1; k <= 5000; ++k) blocks.push_back(memman_alloc(mman, 1, k % 97 + 1, "f", 1));
  for (size_t k = 0; k < blocks.size(); k += 2) memman_free(mman, blocks[k], "f", 2);
  EXPECT_EQ(memman_numblocks(*mman), 2500U);
  for (size_t k = 1; k < blocks.size(); k += 2) memman_free(mman, blocks[k], "f", 3);
  EXPECT_EQ(memman_usage(*mman), 0U);
  EXPECT_EQ(memman_delete(mman), 0U);
}
