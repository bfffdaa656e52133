// Solution files: written and read back to the same doubles, filters and switches, names that are
// hard to tell apart, broken files, and disks that are full.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "support/api_box.h"
#include "support/file_text.h"

namespace {

namespace fs = std::filesystem;

void spill(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

constexpr int32_t numcon = 4, numvar = 6;

// Items with and without names, all bound keys, and values from all over the range of doubles.
struct file_box {
  api_box box;
  ZLV_task_t task = box.task;
  test_folder folder;
  file_box() {
    EXPECT_EQ(ZLV_append(task, ZLV_ACC_CON, numcon), 0);
    EXPECT_EQ(ZLV_append(task, ZLV_ACC_VAR, numvar), 0);
    for (int32_t i = 0; i < numcon; ++i) EXPECT_EQ(ZLV_putbound(task, ZLV_ACC_CON, i, i, -1, 2), 0);
    for (int32_t j = 0; j < 5; ++j) EXPECT_EQ(ZLV_putbound(task, ZLV_ACC_VAR, j, j, -1, 2), 0);
    EXPECT_EQ(ZLV_puttaskname(task, "blend"), 0);
    name(ZLV_PI_CON, 1, "total supply of steel");
    name(ZLV_PI_CON, 2, "it's \"quoted\"");
    name(ZLV_PI_CON, 3, "'total supply of steel'");
    name(ZLV_PI_VAR, 0, "x(1,2)");
    name(ZLV_PI_VAR, 2, "0 BS 1.0");
    name(ZLV_PI_VAR, 3, "x3 ");
    name(ZLV_PI_VAR, 4, "x2");  // the generic name of another, which has none
    name(ZLV_PI_VAR, 5, std::string(3000, 'n').c_str());
  }
  void name(int32_t item, int32_t i, const char* text) {
    EXPECT_EQ(ZLV_putname(task, item, i, text), 0);
  }
  void add_cones() {
    const int32_t first[] = {2, 0, 4}, second[] = {1, 3};
    EXPECT_EQ(ZLV_appendcone(task, ZLV_CT_QUAD, 0, 3, first), 0);
    EXPECT_EQ(ZLV_appendcone(task, ZLV_CT_RQUAD, 0, 2, second), 0);
    name(ZLV_PI_CONE, 1, "line\nbreak");
  }
  int32_t set(int32_t param, int32_t value) { return ZLV_putintparam(task, param, value); }
};

struct values {
  std::vector<int32_t> skc, skx;
  std::vector<double> xc, xx, y, slc, suc, slx, sux, snx;
  values()
      : skc(numcon),
        skx(numvar),
        xc(numcon),
        xx(numvar),
        y(numcon),
        slc(numcon),
        suc(numcon),
        slx(numvar),
        sux(numvar),
        snx(numvar) {}
  std::vector<std::vector<double>*> all() { return {&xc, &xx, &y, &slc, &suc, &slx, &sux, &snx}; }
  int32_t put(ZLV_task_t task, int32_t whichsol) {
    return ZLV_putsolution(task, whichsol, skc.data(), skx.data(), nullptr, xc.data(), xx.data(),
                           y.data(), slc.data(), suc.data(), slx.data(), sux.data(), snx.data());
  }
  int32_t get(ZLV_task_t task, int32_t whichsol) {
    return ZLV_getsolution(task, whichsol, nullptr, nullptr, skc.data(), skx.data(), nullptr,
                           xc.data(), xx.data(), y.data(), slc.data(), suc.data(), slx.data(),
                           sux.data(), snx.data());
  }
};
values random_values(std::mt19937_64& rng) {
  values v;
  for (std::vector<double>* item : v.all()) {
    for (double& x : *item) {
      const uint64_t bits = rng();
      std::memcpy(&x, &bits, sizeof x);
      if (!std::isfinite(x)) x = -0.0;
    }
  }
  for (int32_t& k : v.skc) k = int32_t(rng() % 7);
  for (int32_t& k : v.skx) k = int32_t(rng() % 7);
  return v;
}
bool same_bits(const std::vector<double>& a, const std::vector<double>& b) {
  return std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
}

TEST(SolFile, GivesBackEveryBit) {
  std::mt19937_64 rng(7);
  for (int round = 0; round < 40; ++round) {
    file_box s;
    EXPECT_EQ(s.set(ZLV_IPAR_SOL_QUOTED_NAMES, round % 2), 0);
    EXPECT_EQ(s.set(ZLV_IPAR_WRITE_GENERIC_NAMES, round % 4 == 3 ? 1 : 0), 0);
    const int32_t whichsol = round % 3;
    const bool isconic = whichsol == ZLV_SOL_ITR && round % 5 < 3;
    if (isconic) s.add_cones();
    values v = random_values(rng);
    const int32_t skn[] = {ZLV_SK_BAS, ZLV_SK_INF};
    ASSERT_EQ(v.put(s.task, whichsol), 0);
    ASSERT_EQ(ZLV_putsolution(s.task, whichsol, nullptr, nullptr, skn, nullptr, nullptr, nullptr,
                              nullptr, nullptr, nullptr, nullptr, nullptr),
              0);
    const std::string path = s.folder.at(round % 2 == 0 ? "a.sol" : "a.sol.gz");
    ASSERT_EQ(ZLV_writesolution(s.task, whichsol, path.c_str()), 0) << s.box.err();
    EXPECT_EQ(file_text(path).substr(0, 2) == "\x1f\x8b", round % 2 == 1);
    EXPECT_EQ(s.folder.numfile(), 1U);
    ASSERT_EQ(ZLV_deletesolution(s.task, whichsol), 0);
    ASSERT_EQ(ZLV_readsolution(s.task, whichsol, path.c_str()), 0) << s.box.err();
    values got;
    int32_t gotskn[] = {-1, -1};
    if (!isconic) got.snx = v.snx;  // not in the file
    if (whichsol == ZLV_SOL_ITG) {
      got.y = v.y, got.slc = v.slc, got.suc = v.suc, got.slx = v.slx, got.sux = v.sux;
    }
    ASSERT_EQ(
        ZLV_getsolution(s.task, whichsol, nullptr, nullptr, got.skc.data(), got.skx.data(), gotskn,
                        got.xc.data(), got.xx.data(), got.y.data(), got.slc.data(), got.suc.data(),
                        got.slx.data(), got.sux.data(), isconic ? got.snx.data() : nullptr),
        0);
    EXPECT_TRUE(!isconic || std::equal(gotskn, gotskn + 2, skn));
    EXPECT_EQ(got.skc, v.skc);
    EXPECT_EQ(got.skx, v.skx);
    for (size_t k = 0; k < v.all().size(); ++k)
      EXPECT_TRUE(same_bits(*got.all()[k], *v.all()[k])) << round << " " << k;
  }
}

// The example of the public header as a file: stable text, statuses that are proved when read.
struct example_box {
  api_box box;
  ZLV_task_t task = box.task;
  test_folder folder;
  example_box() {
    const double one[] = {1, 1};
    const int32_t col[] = {0, 1};
    EXPECT_EQ(ZLV_append(task, ZLV_ACC_CON, 1), 0);
    EXPECT_EQ(ZLV_append(task, ZLV_ACC_VAR, 2), 0);
    EXPECT_EQ(ZLV_putavec(task, ZLV_ACC_CON, 0, 2, col, one), 0);
    EXPECT_EQ(ZLV_putbound(task, ZLV_ACC_CON, 0, ZLV_BK_LO, 4, 0), 0);
    EXPECT_EQ(ZLV_putbound(task, ZLV_ACC_VAR, 0, ZLV_BK_RA, 0, 3), 0);
    EXPECT_EQ(ZLV_putbound(task, ZLV_ACC_VAR, 1, ZLV_BK_LO, 0, 0), 0);
    EXPECT_EQ(ZLV_putcj(task, 0, 2), 0);
    EXPECT_EQ(ZLV_putcj(task, 1, 3), 0);
    EXPECT_EQ(ZLV_puttaskname(task, "blend"), 0);
    EXPECT_EQ(ZLV_putobjname(task, "cost"), 0);
    EXPECT_EQ(ZLV_putname(task, ZLV_PI_CON, 0, "need"), 0);
  }
  std::string path() const { return folder.at("b.sol"); }
  int32_t read(const std::string& text) {
    spill(path(), text);
    box.forget();
    return ZLV_readsolution(task, ZLV_SOL_BAS, path().c_str());
  }
  int32_t solsta() {
    int32_t sta = -1;
    EXPECT_EQ(ZLV_getsolutionstatus(task, ZLV_SOL_BAS, nullptr, &sta), 0);
    return sta;
  }
};
const std::string example_text =
    "NAME                : blend\n"
    "SOLUTION TYPE       : BASIC\n"
    "PROBLEM STATUS      : PRIMAL_AND_DUAL_FEASIBLE\n"
    "SOLUTION STATUS     : OPTIMAL\n"
    "OBJECTIVE NAME      : cost\n"
    "PRIMAL OBJECTIVE    : 9.0000000000000000e+00\n"
    "DUAL OBJECTIVE      : 9.0000000000000000e+00\n"
    "\n"
    "CONSTRAINTS\n"
    "INDEX      NAME         AT                 ACTIVITY                    LOWER"
    "                    UPPER               DUAL-LOWER               DUAL-UPPER"
    "                     DUAL\n"
    "0          need         LL   4.0000000000000000e+00   4.0000000000000000e+00"
    "                     NONE   3.0000000000000000e+00   0.0000000000000000e+00"
    "   3.0000000000000000e+00\n"
    "\n"
    "VARIABLES\n"
    "INDEX      NAME         AT                 ACTIVITY                    LOWER"
    "                    UPPER               DUAL-LOWER               DUAL-UPPER\n"
    "0          x1           UL   3.0000000000000000e+00   0.0000000000000000e+00"
    "   3.0000000000000000e+00   0.0000000000000000e+00   1.0000000000000000e+00\n"
    "1          x2           BS   1.0000000000000000e+00   0.0000000000000000e+00"
    "                     NONE   0.0000000000000000e+00   0.0000000000000000e+00\n"
    "\n";

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

TEST(SolFile, TextIsStableAndStatusesAreProved) {
  example_box s;
  ASSERT_EQ(s.read(example_text), 0) << s.box.err();
  EXPECT_EQ(s.solsta(), ZLV_SOL_STA_OPTIMAL);
  EXPECT_EQ(s.box.wrn(), "");
  ASSERT_EQ(ZLV_writesolution(s.task, ZLV_SOL_BAS, s.folder.at("again").c_str()), 0);
  EXPECT_EQ(file_text(s.folder.at("again")), example_text);
  // A point that is not feasible is not believed to be optimal.
  ASSERT_EQ(s.read(replaced(example_text, "BS   1.0", "BS   1.1")), 0);
  EXPECT_EQ(s.solsta(), ZLV_SOL_STA_UNKNOWN);
  EXPECT_NE(s.box.wrn().find("becomes unknown"), std::string::npos);
  // Without the column of the duals y they are the difference of the bounds' duals.
  const std::string some =
      "CONSTRAINTS\r\nINDEX NAME AT DUAL-LOWER DUAL-UPPER ACTIVITY\r\n"
      "0 need UL 1 3 2.5e0\r\n";
  ASSERT_EQ(s.read(some), 0) << s.box.err();
  double y = 0, x = 7;
  EXPECT_EQ(ZLV_getsolutionslice(s.task, ZLV_SOL_BAS, ZLV_SOL_ITEM_Y, 0, 1, &y), 0);
  EXPECT_EQ(ZLV_getsolutionslice(s.task, ZLV_SOL_BAS, ZLV_SOL_ITEM_XX, 0, 1, &x), 0);
  EXPECT_EQ(y, -2);
  EXPECT_EQ(x, 0);  // not listed
}

struct broken_case {
  const char *name, *from, *to;
  int32_t code;
  const char* message;  // with the line
};
class SolFileBroken : public testing::TestWithParam<broken_case> {};
TEST_P(SolFileBroken, IsRefusedWithItsPlace) {
  const broken_case& c = GetParam();
  example_box s;
  ASSERT_EQ(s.read(example_text), 0);
  ASSERT_EQ(s.read(replaced(example_text, c.from, c.to)), c.code);
  EXPECT_NE(s.box.err().find(c.message), std::string::npos) << s.box.err();
  EXPECT_EQ(s.solsta(), ZLV_SOL_STA_OPTIMAL);  // what was there stays
}
// clang-format off
constexpr int32_t bad = ZLV_RES_ERR_FILE_READ, badname = ZLV_RES_ERR_INVALID_NAME_IN_SOL_FILE;
INSTANTIATE_TEST_SUITE_P(Files, SolFileBroken, testing::Values(
    broken_case{"UnknownName", "need ", "neet ", badname, "'neet'"},
    broken_case{"UnknownGeneric", "x2", "x9", badname, "(16)"},
    broken_case{"UnknownKey", "LL ", "LX ", bad, "(11): 'LX'"},
    broken_case{"Nan", "BS   1.0000000000000000e+00", "BS   nan", bad, "(16): 'nan'"},
    broken_case{"Overflow", "BS   1.0000000000000000e+00", "BS   1e400", bad, "(16): '1e400'"},
    broken_case{"HalfNumber", "BS   1.0000000000000000e+00", "BS   1.0x3", bad, "(16): '1.0x3'"},
    broken_case{"Twice", "1          x2", "1          x1", badname, "(16)"},
    broken_case{"TwiceSameItem", "1          x2", "0          x1", bad, "(16): 'x1'"},
    broken_case{"Index", "0          need", "zero       need", bad, "(11): 'zero'"},
    broken_case{"ShortLine", "                     NONE   3.0000000000000000e+00   0.0000000000000000e+00"
                "   3.0000000000000000e+00", "", bad, "(11):"},
    broken_case{"Status", ": OPTIMAL", ": OPTIMALLY", bad, "(4): 'OPTIMALLY'"},
    broken_case{"Head", "OBJECTIVE NAME ", "OBJECTIVES NAME", bad, "(5):"},
    broken_case{"Column", "DUAL-LOWER", "DUAL LOWER", bad, "(10): 'LOWER'"},
    broken_case{"Control", "need ", "ne\x01\x02 ", badname, "'ne?\?'"}),
    [](const auto& tc) { return std::string(tc.param.name); });
// clang-format on

TEST(SolFile, WholeFilesThatAreNone) {
  example_box s;
  for (const std::string& text : {std::string(), std::string("\n\n"), std::string("\0\0\0", 3),
                                  std::string("NAME : x\n"), std::string("\x1f\x8b\x08 broken")}) {
    EXPECT_NE(s.read(text), 0);
    EXPECT_NE(s.box.err(), "");
  }
  EXPECT_EQ(ZLV_readsolution(s.task, ZLV_SOL_BAS, s.folder.at("none").c_str()),
            ZLV_RES_ERR_FILE_OPEN);
  EXPECT_EQ(ZLV_readsolution(s.task, 3, "x"), ZLV_RES_ERR_WHICHSOL);
}

TEST(SolFile, FiltersAndSwitchesChooseTheLines) {
  example_box s;
  ASSERT_EQ(s.read(example_text), 0);
  const auto lines = [&] {
    const std::string path = s.folder.at("f");
    EXPECT_EQ(ZLV_writesolution(s.task, ZLV_SOL_BAS, path.c_str()), 0);
    const std::string text = file_text(path);
    std::string got;
    for (const char* mark :
         {"SOLUTION TYPE", "\n0          need", "\n0          x1", "\n1          x2"})
      got += text.find(mark) != std::string::npos ? '1' : '0';
    return got;
  };
  const auto filter = [&](int32_t which, const char* text) {
    EXPECT_EQ(ZLV_putstrparam(s.task, which, text), 0);
  };
  struct filter_case {
    int32_t which;
    const char *text, *want;
  };
  for (const filter_case& c :
       {filter_case{ZLV_SPAR_SOL_FILTER_XX_LOW, "1", "1110"},
        {ZLV_SPAR_SOL_FILTER_XX_LOW, "+1", "1111"},
        {ZLV_SPAR_SOL_FILTER_XX_LOW, "+1.5", "1110"},
        {ZLV_SPAR_SOL_FILTER_XX_UPR, "3", "1101"},
        {ZLV_SPAR_SOL_FILTER_XX_UPR, "-0.5", "1101"},  // x2 has no upper bound
        {ZLV_SPAR_SOL_FILTER_XC_LOW, "4", "1011"},
        {ZLV_SPAR_SOL_FILTER_XC_UPR, "4.5", "1111"}}) {
    filter(c.which, c.text);
    EXPECT_EQ(lines(), c.want) << c.which << c.text;
    filter(c.which, "");
  }
  filter(ZLV_SPAR_SOL_FILTER_XX_LOW, "100");
  EXPECT_EQ(lines(), "1100");
  ASSERT_EQ(ZLV_putintparam(s.task, ZLV_IPAR_SOL_FILTER_KEEP_BASIC, 1), 0);
  EXPECT_EQ(lines(), "1101");
  ASSERT_EQ(ZLV_putintparam(s.task, ZLV_IPAR_SOL_FILTER_KEEP_RANGED, 1), 0);
  EXPECT_EQ(lines(), "1111");
  s.box.forget();
  filter(ZLV_SPAR_SOL_FILTER_XX_LOW, "3,5");
  EXPECT_EQ(lines(), "1111");
  EXPECT_NE(s.box.wrn().find("3,5"), std::string::npos);
  filter(ZLV_SPAR_SOL_FILTER_XX_LOW, "");
  for (const auto& [param, want] : {std::pair{ZLV_IPAR_WRITE_BAS_HEAD, "0111"},
                                    {ZLV_IPAR_WRITE_BAS_CONSTRAINTS, "1011"},
                                    {ZLV_IPAR_WRITE_BAS_VARIABLES, "1100"}}) {
    ASSERT_EQ(ZLV_putintparam(s.task, param, 0), 0);
    EXPECT_EQ(lines(), want);
    ASSERT_EQ(ZLV_putintparam(s.task, param, 1), 0);
  }
}

TEST(SolFile, FailedWritesKeepTheOldFile) {
  example_box s;
  EXPECT_EQ(ZLV_writesolution(s.task, ZLV_SOL_ITR, s.path().c_str()), ZLV_RES_ERR_UNDEF_SOLUTION);
  ASSERT_EQ(s.read(example_text), 0);
  EXPECT_EQ(ZLV_writesolution(s.task, ZLV_SOL_BAS, nullptr), ZLV_RES_WRN_UNDEF_SOL_FILE_NAME);
  EXPECT_NE(s.box.wrn().find("basic"), std::string::npos);
  EXPECT_EQ(ZLV_writesolution(s.task, ZLV_SOL_BAS, s.folder.at("no/where").c_str()),
            ZLV_RES_ERR_FILE_OPEN);
  EXPECT_EQ(ZLV_writesolution(s.task, ZLV_SOL_BAS, s.folder.path.c_str()), ZLV_RES_ERR_FILE_OPEN);
  if (fs::exists("/dev/full")) {
    EXPECT_EQ(ZLV_writesolution(s.task, ZLV_SOL_BAS, "/dev/full"), ZLV_RES_ERR_FILE_WRITE);
    EXPECT_NE(s.box.err().find("/dev/full"), std::string::npos);
  }
  EXPECT_EQ(s.folder.numfile(), 1U);
  EXPECT_EQ(file_text(s.path()), example_text);
  // By the parameter, through a link: the file behind it is replaced, the link stays.
  fs::create_symlink(s.path(), s.folder.at("link"));
  ASSERT_EQ(ZLV_putstrparam(s.task, ZLV_SPAR_BAS_SOL_FILE_NAME, s.folder.at("link").c_str()), 0);
  spill(s.path(), "old");
  ASSERT_EQ(ZLV_writesolution(s.task, ZLV_SOL_BAS, ""), 0);
  EXPECT_TRUE(fs::is_symlink(s.folder.at("link")));
  EXPECT_EQ(file_text(s.path()), example_text);
  EXPECT_EQ(s.folder.numfile(), 2U);
}

TEST(SolFile, OutOfSpaceLeavesSolutionAndFile) {
  test_folder folder;
  const std::string in = folder.at("in.gz"), out = folder.at("out.gz");
  {
    example_box s;
    ASSERT_EQ(s.read(example_text), 0);
    ASSERT_EQ(ZLV_writesolution(s.task, ZLV_SOL_BAS, in.c_str()), 0);
  }
  for (long k = 0;; ++k) {
    faulty_alloc memory;
    api_box box(&memory);
    ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_CON, 1), 0);
    ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 2), 0);
    ASSERT_EQ(ZLV_putname(box.task, ZLV_PI_CON, 0, "need"), 0);
    const double xx[] = {11, 12};
    ASSERT_EQ(ZLV_putsolution(box.task, ZLV_SOL_BAS, nullptr, nullptr, nullptr, nullptr, xx,
                              nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              0);
    spill(out, "old");
    memory.failat = memory.numcalls + k;
    const int32_t writecode = ZLV_writesolution(box.task, ZLV_SOL_BAS, out.c_str());
    EXPECT_EQ(file_text(out) == "old", writecode != 0);
    const int32_t readcode = ZLV_readsolution(box.task, ZLV_SOL_BAS, in.c_str());
    double x = 0;
    ASSERT_EQ(ZLV_getsolutionslice(box.task, ZLV_SOL_BAS, ZLV_SOL_ITEM_XX, 0, 1, &x), 0);
    EXPECT_EQ(x, readcode == 0 ? 3 : 11) << k;
    if (writecode == 0 && readcode == 0) break;
    EXPECT_EQ(writecode + readcode, ZLV_RES_ERR_SPACE) << k;
    EXPECT_EQ(folder.numfile(), 2U);
  }
}

}  // namespace
