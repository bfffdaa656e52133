// Model files as text for the tests of the readers: plain ones in each format and what the cases make
// of them; and the loops over tables of files that are read as meant or refused.
#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "support/api_box.h"
#include "support/problem_text.h"

using settings = std::vector<std::pair<int32_t, int32_t>>;  // integer parameters

inline void apply(ZLV_task_t task, const settings& set) {
  for (const auto& [which, value] : set) ASSERT_EQ(ZLV_putintparam(task, which, value), ZLV_RES_OK);
}

inline std::string gzip(const std::string& text) {
  std::string packed(compressBound(uLong(text.size())) + 64, '\0');
  z_stream z = {};
  deflateInit2(&z, 6, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
  z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  z.avail_in = uInt(text.size());
  z.next_out = reinterpret_cast<Bytef*>(packed.data());
  z.avail_out = uInt(packed.size());
  deflate(&z, Z_FINISH);
  packed.resize(z.total_out);
  deflateEnd(&z);
  return packed;
}

inline std::string replace_all(std::string text, const std::string& from, const std::string& to) {
  for (size_t p = 0; (p = text.find(from, p)) != text.npos; p += to.size())
    text.replace(p, from.size(), to);
  return text;
}

namespace mps_text {
// Two rows, two columns; what the cases put in between.
inline const std::string rows = "NAME          T\nROWS\n N  obj\n L  r1\n G  r2\n";
inline const std::string head = rows + "COLUMNS\n    x  obj  1  r1  2\n    y  r2  3\n";
inline const std::string plain =
    "min 0\nrow r1 1 [-1e+30, 4]\nrow r2 0 [0, 1e+30]\n"
    "col x 0 [0, 1e+30] c=1 0:2\n"
    "col y 0 [0, 1e+30] c=0 1:3\n";
inline const std::string plainfile = head + "RHS\n    B  r1  4\nENDATA\n";

inline std::string col(const std::string& x) {  // of plain, with other bounds of x
  const std::string from = "col x 0 [0, 1e+30]";
  return replace_all(plain, from, "col x " + x);
}
inline std::string bounds(const std::string& lines) {
  return head + "RHS\n    B  r1  4\nBOUNDS\n" + lines + "ENDATA\n";
}
inline const std::string inf = "1e+30";
}  // namespace mps_text

namespace lp_text {
// Two rows, two columns.
inline const std::string plainfile = "min\n o: x + 2 y\nst\n r1: 3 x <= 4\n r2: x - y >= -1\nend\n";
inline const std::string inf = "1e+30";
inline const std::string rows = "row r1 1 [-1e+30, 4]\nrow r2 0 [-1, 1e+30]\n";
inline const std::string xrest = " c=1 0:3 1:1\n", yrest = " c=2 1:-1\n";
inline const std::string plain =
    "min 0\n" + rows + "col x 0 [0, 1e+30]" + xrest + "col y 0 [0, 1e+30]" + yrest;
inline std::string col(const std::string& x) {  // of plain, with other bounds of x
  return replace_all(plain, "col x 0 [0, 1e+30]", "col x " + x);
}
inline std::string with(const std::string& sections) {
  return replace_all(plainfile, "end\n", sections + "end\n");
}
// A file with one row over x and y, and its problem.
inline std::string onerow(const std::string& row) {
  return "min\n o: x + y\nst\n" + row + "\nend\n";
}
inline std::string meant(const std::string& row, const std::string& x, const std::string& y) {
  return "min 0\nrow " + row + "\ncol x 0 [0, 1e+30] c=1" + x + "\ncol y 0 [0, 1e+30] c=1" + y +
         "\n";
}
// x and y with costs 1 and an objective with quadratic terms.
inline std::string quad(const std::string& terms, const std::string& row = "") {
  return "min\n o: x + y " + terms + "\nst\n" + row + "end\n";
}
inline const std::string quadcols = "min 0\ncol x 0 [0, 1e+30] c=1\ncol y 0 [0, 1e+30] c=1\n";
}  // namespace lp_text

namespace opf_text {
inline const std::string vars = "[variables]\nx y\n[/variables]\n";
inline const std::string plainfile =
    vars +
    "[objective min 'o']\nx + 2 y\n[/objective]\n[constraints]\n[con r1] 3 x <= 4 [/con]\n"
    "[con r2] x - y >= -1 [/con]\n[/constraints]\n[bounds]\n[b] 0 <= * [/b]\n[/bounds]\n";
inline std::string bounds(const std::string& lines) {  // lines begin in line 13
  return replace_all(plainfile, "[/bounds]", lines + "\n[/bounds]");
}
inline std::string objective(const std::string& terms) {  // terms begin in line 5
  return replace_all(plainfile, "x + 2 y", terms);
}
inline std::string row(const std::string& terms) {  // in line 8
  return replace_all(plainfile, "3 x <= 4", terms);
}
inline std::string solution(const std::string& lines) {  // lines begin in line 16
  return plainfile + "[solutions]\n[solution basic status=OPTIMAL]\n" + lines +
         "\n[/solution]\n[/solutions]\n";
}
}  // namespace opf_text

struct valid_case {
  const char* name;
  std::string text, meaning;  // as problem_text
  settings set;
};

// Every file is read without an error and means what its row says.
inline void expect_meanings(const std::string& file, const std::vector<valid_case>& cases) {
  const test_folder folder;
  for (const valid_case& c : cases) {
    SCOPED_TRACE(c.name);
    api_box box;
    apply(box.task, c.set);
    const std::string path = folder.put(file, c.text);
    EXPECT_EQ(ZLV_readdata(box.task, path.c_str()), ZLV_RES_OK) << box.err();
    EXPECT_EQ(problem_text(box.task), c.meaning);
    EXPECT_EQ(box.err(), "");
    EXPECT_EQ(box.close(), ZLV_RES_OK);
  }
}
