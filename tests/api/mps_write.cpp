// MPS files as they are written: the layout, and that every problem is read back as it was.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "support/api_box.h"
#include "support/problem_maker.h"
#include "support/problem_text.h"

namespace {

// One item of every kind that the layout tells apart.
void make_sampler(ZLV_task_t task) {
  ASSERT_EQ(ZLV_append(task, ZLV_ACC_CON, 5), ZLV_RES_OK);
  ASSERT_EQ(ZLV_append(task, ZLV_ACC_VAR, 10), ZLV_RES_OK);
  put_item(task, ZLV_ACC_CON, 0, "lo", ZLV_BK_LO, 1500, 0);
  put_item(task, ZLV_ACC_CON, 1, "up", ZLV_BK_UP, 0, 2000);
  put_item(task, ZLV_ACC_CON, 2, "fx", ZLV_BK_FX, 0, 0);
  put_item(task, ZLV_ACC_CON, 3, "fr", ZLV_BK_FR, 0, 0);
  put_item(task, ZLV_ACC_CON, 4, "range", ZLV_BK_RA, 2, 5);
  put_item(task, ZLV_ACC_VAR, 0, "a", ZLV_BK_LO, 0, 0);
  put_item(task, ZLV_ACC_VAR, 1, "b", ZLV_BK_LO, -1, 0);
  put_item(task, ZLV_ACC_VAR, 2, "c", ZLV_BK_UP, 0, 0.1);
  put_item(task, ZLV_ACC_VAR, 3, "d", ZLV_BK_FX, 0.5, 0.5);
  put_item(task, ZLV_ACC_VAR, 4, "e", ZLV_BK_FR, 0, 0);
  put_item(task, ZLV_ACC_VAR, 5, "f", ZLV_BK_RA, 0, 100);
  put_item(task, ZLV_ACC_VAR, 6, "g", ZLV_BK_RA, 0, 1);
  put_item(task, ZLV_ACC_VAR, 7, "h", ZLV_BK_UP, 0, 9);
  put_item(task, ZLV_ACC_VAR, 8, "i", ZLV_BK_FR, 0, 0);
  put_item(task, ZLV_ACC_VAR, 9, "longer than 8", ZLV_BK_LO, 3, 0);
  for (int32_t j = 6; j < 10; ++j) ASSERT_EQ(ZLV_putvartype(task, j, ZLV_VAR_TYPE_INT), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putcj(task, 0, -1.25), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putcfix(task, 7), ZLV_RES_OK);
  const int32_t sub[] = {0, 3, 4};
  const double val[] = {1, 2, 1e-5};
  ASSERT_EQ(ZLV_putavec(task, ZLV_ACC_VAR, 1, 3, sub, val), ZLV_RES_OK);
  const int32_t qi[] = {1, 0}, qj[] = {0, 0};
  const double qv[] = {-1, 2};
  ASSERT_EQ(ZLV_putqobj(task, 2, qi, qj, qv), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putqconk(task, 1, 1, qi, qi, qv + 1), ZLV_RES_OK);
  const int32_t members[] = {3, 2};
  ASSERT_EQ(ZLV_appendcone(task, ZLV_CT_RQUAD, 0, 2, members), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putname(task, ZLV_PI_CONE, 0, "k"), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putobjname(task, "cost"), ZLV_RES_OK);
  ASSERT_EQ(ZLV_puttaskname(task, "sampler"), ZLV_RES_OK);
}

const std::string rest_of_sampler =
    "ROWS\n N  cost\n G  lo      \n L  up      \n E  fx      \n G  range   \n"
    "COLUMNS\n"
    "    a         cost      -1.25\n"
    "    b         lo        1\n"
    "    b         range     1.e-05\n"
    "    c         cost      0\n"
    "    d         cost      0\n"
    "    e         cost      0\n"
    "    f         cost      0\n"
    "    g         cost      0\n"
    "    h         cost      0\n"
    "    i         cost      0\n"
    "    \"longer than 8\"  cost      0\n"
    "RHS\n"
    "    rhs       cost      -7\n"
    "    rhs       lo        1.5e+03\n"
    "    rhs       up        2.e+03\n"
    "    rhs       range     2\n"
    "RANGES\n"
    "    ran       range     3\n"
    "BOUNDS\n"
    " LO bound     b         -1\n"
    " MI bound     c       \n"
    " UP bound     c         1.e-01\n"
    " FX bound     d         0.5\n"
    " FR bound     e       \n"
    " UP bound     f         100\n"
    " BV bound     g       \n"
    " MI bound     h       \n"
    " UI bound     h         9\n"
    " LI bound     i         -1.e+30\n"
    " LI bound     \"longer than 8\"  3\n"
    "QSECTION      cost\n"
    "    b         a         -1\n"
    "    a         a         2\n"
    "QSECTION      up      \n"
    "    b         b         2\n"
    "CSECTION      k         0              RQUAD\n"
    "    d       \n"
    "    c       \n"
    "ENDATA\n";

std::string version_line() {
  int32_t v[4] = {};
  ZLV_getversion(&v[0], &v[1], &v[2], &v[3]);
  return "* Written by ZALVO version " + std::to_string(v[0]) + "." + std::to_string(v[1]) + "." +
         std::to_string(v[2]) + "." + std::to_string(v[3]) + "\n";
}

TEST(MpsWrite, TheLayoutIsFixed) {
  const test_folder folder;
  api_box box;
  make_sampler(box.task);
  set_int(box.task, ZLV_IPAR_WRITE_PRECISION, 6);
  ASSERT_EQ(ZLV_writedata(box.task, folder.at("a.mps").c_str()), ZLV_RES_OK) << box.err();
  EXPECT_EQ(folder.get("a.mps"),
            "NAME           sampler\n" + version_line() + "OBJSENSE\n    MIN\n" + rest_of_sampler);
  set_int(box.task, ZLV_IPAR_WRITE_MPS_OBJSENSE, ZLV_OFF);
  set_int(box.task, ZLV_IPAR_OBJECTIVE_SENSE, ZLV_OBJECTIVE_SENSE_MAX);
  ASSERT_EQ(ZLV_writemps(box.task, folder.at("a.mps").c_str()), ZLV_RES_OK);
  EXPECT_EQ(folder.get("a.mps"), "NAME           sampler\n" + version_line() +
                                     "* Objective sense: maximize\n" + rest_of_sampler);
}

TEST(MpsWrite, StrictNumbersFillTwelveColumns) {
  const test_folder folder;
  const struct {
    double value;
    int32_t precision;
    const char* text;
  } cases[] = {{0, 8, "0           "},         {0.25, 8, "0.25        "},
               {-123.456, 8, "-1.23456e+02"},  {-1234567.875, 4, "-1.2346e+06 "},
               {123456789, 8, "1.23457e+08 "}, {1e15, 8, "1.e+15      "}};
  for (const auto& c : cases) {
    api_box box;
    ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 1), ZLV_RES_OK);
    ASSERT_EQ(ZLV_putcj(box.task, 0, c.value), ZLV_RES_OK);
    set_int(box.task, ZLV_IPAR_WRITE_MPS_STRICT, ZLV_ON);
    set_int(box.task, ZLV_IPAR_WRITE_PRECISION, c.precision);
    ASSERT_EQ(ZLV_writemps(box.task, folder.at("a.mps").c_str()), ZLV_RES_OK);
    const std::string line = "\n    x000000   obj       " + std::string(c.text) + "\n";
    EXPECT_NE(folder.get("a.mps").find(line), std::string::npos) << line << folder.get("a.mps");
  }
}

TEST(MpsWrite, ItemsWithoutNamesGetOnesThatNobodyHas) {
  const test_folder folder;
  api_box box, back;
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_CON, 2), ZLV_RES_OK);
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 2), ZLV_RES_OK);
  put_item(box.task, ZLV_ACC_CON, 0, "obj", ZLV_BK_LO, 1, 0);
  put_item(box.task, ZLV_ACC_CON, 1, "", ZLV_BK_LO, 1, 0);
  put_item(box.task, ZLV_ACC_VAR, 0, "x000001", ZLV_BK_LO, 1, 0);
  ASSERT_EQ(ZLV_writemps(box.task, folder.at("a.mps").c_str()), ZLV_RES_OK);
  EXPECT_NE(box.wrn().find("ZALVO Warning 502 "), std::string::npos);
  ASSERT_EQ(ZLV_readmps(back.task, folder.at("a.mps").c_str()), ZLV_RES_OK) << back.err();
  EXPECT_EQ(problem_text(back.task, false), problem_text(box.task, false));
  EXPECT_EQ(name_text(back.task, ZLV_PI_CON, 1), "con000001");
  EXPECT_EQ(name_text(back.task, ZLV_PI_VAR, 1), "x000001_");
  set_int(box.task, ZLV_IPAR_WRITE_GENERIC_NAMES, ZLV_ON);
  ASSERT_EQ(ZLV_writemps(box.task, folder.at("a.mps").c_str()), ZLV_RES_OK);
  ASSERT_EQ(ZLV_readmps(back.task, folder.at("a.mps").c_str()), ZLV_RES_OK) << back.err();
  EXPECT_EQ(name_text(back.task, ZLV_PI_CON, 0), "con000001");
  EXPECT_EQ(name_text(back.task, ZLV_PI_VAR, 1), "x000002");
}

TEST(MpsWrite, NamesThatCannotBeWrittenAreRefused) {
  const test_folder folder;
  const struct {
    const char* name;
    int32_t quoted, strict, code;
  } cases[] = {{"a b", 1, 0, 0},      {"a b", 0, 0, 1153},      {"a\tb", 1, 0, 1153},
               {"a\nb", 1, 0, 1153},  {"\"a", 1, 0, 1153},      {"a\" b", 1, 0, 1153},
               {"a\"b", 1, 0, 0},     {"'MARKER'", 1, 0, 1153}, {"$a", 1, 0, 0},
               {"*a", 1, 0, 0},       {"5", 1, 0, 0},           {"bound", 1, 0, 0},
               {"a b", 0, 1, 0},      {" ab", 0, 1, 1153},      {"ninechars", 1, 1, 1153},
               {"\xC3\xA6", 1, 0, 0}, {" a ", 1, 0, 0},         {"rhs", 1, 0, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    api_box box, back;
    ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_CON, 1), ZLV_RES_OK);
    ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 1), ZLV_RES_OK);
    put_item(box.task, ZLV_ACC_CON, 0, c.name, ZLV_BK_RA, -1, 2);
    put_item(box.task, ZLV_ACC_VAR, 0, c.name, ZLV_BK_UP, 0, 3);
    ASSERT_EQ(ZLV_putaij(box.task, 0, 0, 2), ZLV_RES_OK);
    set_int(box.task, ZLV_IPAR_WRITE_MPS_QUOTED_NAMES, c.quoted);
    set_int(box.task, ZLV_IPAR_WRITE_MPS_STRICT, c.strict);
    const std::string file = folder.put("a.mps", "what was there");
    EXPECT_EQ(ZLV_writemps(box.task, file.c_str()), c.code);
    if (c.code != 0) {
      EXPECT_EQ(folder.get("a.mps"), "what was there");
      continue;
    }
    if (c.strict != 0) set_int(back.task, ZLV_IPAR_READ_MPS_FORMAT, ZLV_MPS_FORMAT_STRICT);
    ASSERT_EQ(ZLV_readmps(back.task, file.c_str()), ZLV_RES_OK) << back.err();
    EXPECT_EQ(problem_text(back.task), problem_text(box.task));
  }
}

TEST(MpsWrite, ParametersTravelWithTheProblem) {
  const test_folder folder;
  api_box box, back;
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 1), ZLV_RES_OK);
  set_int(box.task, ZLV_IPAR_WRITE_DATA_PARAM, ZLV_ON);
  set_int(box.task, ZLV_IPAR_OPTIMIZER, ZLV_OPTIMIZER_INTPNT);
  ASSERT_EQ(ZLV_putdouparam(box.task, ZLV_DPAR_OPTIMIZER_MAX_TIME, 12.5), ZLV_RES_OK);
  ASSERT_EQ(ZLV_writemps(box.task, folder.at("a.mps").c_str()), ZLV_RES_OK);
  const std::string text = folder.get("a.mps");
  EXPECT_NE(
      text.find(
          "ENDATA\n*\n*BEGIN ZALVO\n*\n*ZLV_IPAR_ALLOC_ADD_ANZ            0                 \n"),
      std::string::npos)
      << text.substr(0, 400);
  EXPECT_NE(text.find("*END ZALVO\n*\n"), std::string::npos);
  ASSERT_EQ(ZLV_readmps(back.task, folder.at("a.mps").c_str()), ZLV_RES_OK) << back.err();
  int32_t optimizer = 0;
  double maxtime = 0;
  ASSERT_EQ(ZLV_getintparam(back.task, ZLV_IPAR_OPTIMIZER, &optimizer), ZLV_RES_OK);
  ASSERT_EQ(ZLV_getdouparam(back.task, ZLV_DPAR_OPTIMIZER_MAX_TIME, &maxtime), ZLV_RES_OK);
  EXPECT_EQ(optimizer, ZLV_OPTIMIZER_INTPNT);
  EXPECT_EQ(maxtime, 12.5);
  // A parameter that is refused takes the problem and all others with it.
  std::string broken = text;
  broken.replace(broken.find("*ZLV_IPAR_WRITE_TASK_INC_SOL"), 5, "*ZLX_");
  const std::string before = problem_text(back.task);
  set_int(back.task, ZLV_IPAR_OPTIMIZER, ZLV_OPTIMIZER_FREE);
  EXPECT_EQ(ZLV_readmps(back.task, folder.put("b.mps", broken).c_str()), ZLV_RES_ERR_PARAM_NAME);
  ASSERT_EQ(ZLV_getintparam(back.task, ZLV_IPAR_OPTIMIZER, &optimizer), ZLV_RES_OK);
  EXPECT_EQ(optimizer, ZLV_OPTIMIZER_FREE);
  EXPECT_EQ(problem_text(back.task), before);
}

TEST(MpsWrite, FailuresAreTold) {
  const test_folder folder;
  api_box box;
  make_sampler(box.task);
  ASSERT_EQ(ZLV_putfilecompression(box.task, ZLV_IOMODE_READWRITE, ZLV_COMPRESS_FREE), ZLV_RES_OK);
  EXPECT_EQ(ZLV_writemps(box.task, folder.at("none/a.mps").c_str()), ZLV_RES_ERR_FILE_OPEN);
  EXPECT_EQ(ZLV_writemps(box.task, folder.path.c_str()), ZLV_RES_ERR_FILE_OPEN);
  EXPECT_EQ(ZLV_writedata(box.task, folder.at("a.xyz").c_str()), ZLV_RES_ERR_DATA_FILE_EXT);
  EXPECT_EQ(ZLV_writedata(box.task, nullptr), ZLV_RES_ERR_NULL_POINTER);
  EXPECT_EQ(ZLV_putfilecompression(box.task, 7, 0), ZLV_RES_ERR_INVALID_IOMODE);
  EXPECT_EQ(ZLV_putfilecompression(box.task, 0, 7), ZLV_RES_ERR_INVALID_COMPRESSION);
  EXPECT_TRUE(std::filesystem::is_empty(folder.path));
}

TEST(MpsWrite, ReplacingAFileKeepsItsPermissionsAndLinks) {
  const test_folder folder;
  api_box box;
  make_sampler(box.task);
  const std::string file = folder.put("real.mps", "old");
  ASSERT_EQ(chmod(file.c_str(), 0640), 0);
  std::filesystem::create_symlink(file, folder.at("link.mps"));
  ASSERT_EQ(ZLV_writemps(box.task, folder.at("link.mps").c_str()), ZLV_RES_OK) << box.err();
  EXPECT_TRUE(std::filesystem::is_symlink(folder.at("link.mps")));
  struct stat info = {};
  ASSERT_EQ(stat(file.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0640U);
  EXPECT_EQ(folder.get("real.mps").substr(0, 4), "NAME");
}

}  // namespace
