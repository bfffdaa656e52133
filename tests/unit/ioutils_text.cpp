// Whole files as lines: chunks, line ends and archives; and numbers as text.
#include "cpub/ioutils.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "cpub/strbld.h"
#include "zalvo/readmpsline.h"

namespace {

struct io_case {
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  std::string path = (std::filesystem::temp_directory_path() /
                      ("zalvo_ioutils_" + std::to_string(std::random_device()())))
                         .string();
  io_case() = default;
  io_case(const io_case&) = delete;
  io_case& operator=(const io_case&) = delete;
  ~io_case() {
    std::filesystem::remove(path);
    EXPECT_EQ(memman_delete(mman), 0U);
  }
  std::vector<std::string> lines() {
    io_text text(mm_at(*mman));
    EXPECT_EQ(io_readtext(path.c_str(), text).code, rescode::ok);
    std::vector<std::string> all;
    std::string_view line;
    for (io_lines at = io_firstline(text); io_nextline(at, line);) {
      all.emplace_back(line);
      EXPECT_EQ(at.number, int32_t(all.size()));
    }
    return all;
  }
};

// Lines around the size of a chunk and of the buffers, so that every border is met.
TEST(IoutilsText, LinesOfAnyLengthComeBack) {
  std::mt19937 gen(3);
  for (const bool isgzip : {false, true}) {
    for (const size_t longest : {size_t{3}, size_t{5000}, size_t{3000000}}) {
      io_case io;
      std::vector<std::string> want;
      std::string text;
      while (text.size() < 2500000) {
        want.emplace_back(gen() % longest, char('a' + gen() % 26));
        text += want.back() + (gen() % 2 == 0 ? "\r\n" : "\n");
      }
      want.emplace_back("no line end");
      text += want.back();
      ASSERT_EQ(io_writetext(io.path.c_str(), isgzip, *io.mman, text).code, rescode::ok);
      EXPECT_EQ(std::filesystem::file_size(io.path) < text.size() / 2, isgzip);
      EXPECT_TRUE(io.lines() == want) << longest << isgzip;
    }
  }
}

TEST(IoutilsText, EmptyFilesAndBlankLines) {
  const struct {
    std::string text;
    std::vector<std::string> lines;
  } cases[] = {{"", {}},
               {"\n", {""}},
               {"\r\n\n", {"", ""}},
               {"\xEF\xBB\xBF", {}},
               {"\x1f", {"\x1f"}},
               {"a\r\rb\n", {"a\r\rb"}}};
  for (const auto& c : cases) {
    io_case io;
    std::ofstream(io.path, std::ios::binary) << c.text;
    EXPECT_EQ(io.lines(), c.lines) << c.text;
  }
}

TEST(IoutilsText, EveryCutOfAnArchiveIsNoticed) {
  io_case io;
  std::string text;
  for (int k = 0; k < 300; ++k) text += std::to_string(k * k) + "\n";
  ASSERT_EQ(io_writetext(io.path.c_str(), true, *io.mman, text).code, rescode::ok);
  std::ifstream in(io.path, std::ios::binary);
  const std::string packed((std::istreambuf_iterator<char>(in)), {});
  for (size_t len = 2; len < packed.size(); ++len) {
    std::ofstream(io.path, std::ios::binary) << packed.substr(0, len);
    io_text out(mm_at(*io.mman));
    EXPECT_EQ(io_readtext(io.path.c_str(), out).code, rescode::err_end_of_file) << len;
  }
  for (size_t at = 10; at < packed.size(); at += 7) {  // behind the head, which is not checked
    std::string bad = packed;
    bad[at] = char(bad[at] ^ 0x55);
    std::ofstream(io.path, std::ios::binary) << bad;
    io_text out(mm_at(*io.mman));
    EXPECT_NE(io_readtext(io.path.c_str(), out).code, rescode::ok) << at;
  }
}

TEST(IoutilsText, AbandonedOutputLeavesNothing) {
  io_case io;
  std::ofstream(io.path) << "old";
  io_out* out = nullptr;
  ASSERT_EQ(io_create(io.path.c_str(), false, *io.mman, out).code, rescode::ok);
  io_put(*out, std::string(200000, 'x'));
  io_abandon(out);
  EXPECT_EQ(io.lines(), std::vector<std::string>{"old"});
  for (const auto& entry :
       std::filesystem::directory_iterator(std::filesystem::path(io.path).parent_path())) {
    EXPECT_FALSE(entry.path() != io.path && entry.path().string().starts_with(io.path));
  }
}

TEST(MpsNumber, IsWhatTheLibrarySaysAndNothingElse) {
  std::mt19937_64 gen(11);
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  {
    strbld b(mm_at(*mman));
    for (int trial = 0; trial < 20000; ++trial) {
      const uint64_t bits = gen();
      double want = 0;
      std::memcpy(&want, &bits, sizeof want);
      if (!std::isfinite(want)) continue;
      strbld_clear(b);
      strbld_exp(b, want, 17);
      char text[64];
      std::snprintf(text, sizeof text, "%.17e", want);
      ASSERT_EQ(strbld_view(b), text);
      double value = 1;
      ASSERT_TRUE(mps_number(text, value)) << text;
      ASSERT_EQ(value, want) << text;
      strbld_clear(b);
      strbld_gen(b, want, int32_t(gen() % 18));
      for (char& c : text) c = c == 'e' ? 'D' : c;
      ASSERT_TRUE(mps_number(text, value)) << text;
      ASSERT_EQ(value, want) << text;
    }
  }
  EXPECT_EQ(memman_delete(mman), 0U);
  double value = 0;
  for (const char* bad : {"",    "+",         "-",     ".",      "e5",  "1e",    "1e+",
                          "--1", "+-1",       "++1",   "1.0x3",  "1 2", "0x1p3", "nan",
                          "inf", "-infinity", "1e400", "-1d999", "1,5", "1_000", "1e5.5"}) {
    EXPECT_FALSE(mps_number(bad, value)) << bad;
  }
  const struct {
    const char* text;
    double value;
  } good[] = {{"+1", 1},
              {".5", .5},
              {"5.", 5},
              {"-1.D+02", -100},
              {"1d3", 1000},
              {"1E-400", 0},
              {"-0.0e9", 0},
              {"0e999", 0},
              {"00012", 12},
              {"1.7976931348623157e308", DBL_MAX},
              {"4.9406564584124654e-324", DBL_TRUE_MIN}};
  for (const auto& c : good) {
    EXPECT_TRUE(mps_number(c.text, value)) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
  }
}

TEST(StrbldText, IsTheSameAsPrintf) {
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  {
    strbld b(mm_at(*mman));
    for (const double v : {0.5, -100.0, 12.345678901234567, 1e-5, 123456.0}) {
      for (int32_t precision = 0; precision < 20; ++precision) {
        char text[64];
        strbld_clear(b);
        strbld_gen(b, v, precision);
        std::snprintf(text, sizeof text, "%.*g", precision, v);
        EXPECT_EQ(strbld_view(b), text);
      }
    }
    strbld_clear(b);
    strbld_left(b, "ab", 4);
    strbld_left(b, "longer", 4);
    strbld_int(b, -17);
    EXPECT_EQ(strbld_view(b), "ab  longer-17");
  }
  EXPECT_EQ(memman_delete(mman), 0U);
}

}  // namespace
