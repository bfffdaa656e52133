// LP files as they are written: the layout, what is refused, and that every problem that the format
// can hold is read back as it was.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "support/api_box.h"
#include "support/problem_maker.h"
#include "support/problem_text.h"

namespace {

// One item of every kind that the layout tells apart.
void make_sampler(ZLV_task_t task) {
  ASSERT_EQ(ZLV_append(task, ZLV_ACC_CON, 5), ZLV_RES_OK);
  ASSERT_EQ(ZLV_append(task, ZLV_ACC_VAR, 7), ZLV_RES_OK);
  put_item(task, ZLV_ACC_CON, 0, "", ZLV_BK_LO, 1500, 0);
  put_item(task, ZLV_ACC_CON, 1, "up", ZLV_BK_UP, 0, 2000);
  put_item(task, ZLV_ACC_CON, 2, "fx", ZLV_BK_FX, -0.5, -0.5);
  put_item(task, ZLV_ACC_CON, 3, "", ZLV_BK_RA, 1, 4);
  put_item(task, ZLV_ACC_CON, 4, "empty", ZLV_BK_LO, 0, 0);
  put_item(task, ZLV_ACC_VAR, 0, "a", ZLV_BK_LO, 0, 0);
  put_item(task, ZLV_ACC_VAR, 1, "", ZLV_BK_LO, -1, 0);
  put_item(task, ZLV_ACC_VAR, 2, "c", ZLV_BK_UP, 0, 0.1);
  put_item(task, ZLV_ACC_VAR, 3, "d", ZLV_BK_FX, 0.5, 0.5);
  put_item(task, ZLV_ACC_VAR, 4, "e", ZLV_BK_FR, 0, 0);
  put_item(task, ZLV_ACC_VAR, 5, "f", ZLV_BK_RA, 0, 100);
  put_item(task, ZLV_ACC_VAR, 6, "end", ZLV_BK_LO, 0, 0);
  ASSERT_EQ(ZLV_putvartype(task, 0, ZLV_VAR_TYPE_INT), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putvartype(task, 6, ZLV_VAR_TYPE_INT), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putcj(task, 0, -1.25), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putcj(task, 2, -1), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putcfix(task, -7), ZLV_RES_OK);
  const int32_t sub[] = {0, 3, 4};
  const double val[] = {1, -1, 1e-5}, two = 2;
  ASSERT_EQ(ZLV_putavec(task, ZLV_ACC_CON, 0, 3, sub, val), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putavec(task, ZLV_ACC_CON, 3, 1, sub, &two), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putavec(task, ZLV_ACC_CON, 2, 1, sub + 2, val), ZLV_RES_OK);
  const int32_t qi[] = {1, 0, 2}, qj[] = {0, 0, 2};
  const double qv[] = {-0.5, 2, -1};
  ASSERT_EQ(ZLV_putqobj(task, 3, qi, qj, qv), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putqconk(task, 1, 2, qi, qj, qv), ZLV_RES_OK);
}

std::string version_line() {
  int32_t v[4] = {};
  ZLV_getversion(&v[0], &v[1], &v[2], &v[3]);
  return "\\ Created by ZALVO version " + std::to_string(v[0]) + "." + std::to_string(v[1]) + "." +
         std::to_string(v[2]) + "." + std::to_string(v[3]) + "\n";
}

TEST(LpWrite, TheLayoutIsFixed) {
  const test_folder folder;
  api_box box;
  make_sampler(box.task);
  set_int(box.task, ZLV_IPAR_WRITE_PRECISION, 2);
  ASSERT_EQ(ZLV_writedata(box.task, folder.at("a.lp").c_str()), ZLV_RES_OK) << box.err();
  const std::string rest =
      "obj: - 1.25e+00 a + 0 x000001 - c + 0 d + 0 e + 0 f + 0 \"end\" - 7.00e+00 + [\n"
      "- x000001 * a + 2.00e+00 a ^ 2 - c ^ 2 ]/2\n"
      "subject to\n"
      "con000000: + a - d + 1.00e-05 e >= 1.50e+03\n"
      "up: + [ - x000001 * a + 2.00e+00 a ^ 2 ]/2 <= 2.00e+03\n"
      "fx: + e = -5.00e-01\n"
      "con000003: 1.00e+00 <= + 2.00e+00 a <= 4.00e+00\n"
      "empty: + 0 a >= 0.00e+00\n"
      "bounds\n"
      "-1.00e+00 <= x000001 <= +infinity\n"
      "-infinity <= c <= 1.00e-01\n"
      "5.00e-01 <= d <= 5.00e-01\n"
      "e free\n"
      "0.00e+00 <= f <= 1.00e+02\n"
      "general\n"
      "a\n"
      "\"end\"\n"
      "end\n";
  EXPECT_EQ(folder.get("a.lp"), version_line() + "minimize\n" + rest);
  set_int(box.task, ZLV_IPAR_OBJECTIVE_SENSE, ZLV_OBJECTIVE_SENSE_MAX);
  ASSERT_EQ(ZLV_putobjname(box.task, "gain"), ZLV_RES_OK);
  ASSERT_EQ(ZLV_writedata(box.task, folder.at("a.lp").c_str()), ZLV_RES_OK);
  EXPECT_EQ(folder.get("a.lp").substr(version_line().size(), 20), "maximize\ngain: - 1.2");
}

TEST(LpWrite, LinesKeepToTheirWidthAndNumberOfTerms) {
  const test_folder folder;
  api_box box, back;
  constexpr int32_t num = 100;
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, num), ZLV_RES_OK);
  for (int32_t j = 0; j < num; ++j) ASSERT_EQ(ZLV_putcj(box.task, j, j + 1), ZLV_RES_OK);
  const auto lines_of_objective = [&](int32_t width, int32_t terms) {
    set_int(box.task, ZLV_IPAR_WRITE_LP_LINE_WIDTH, width);
    set_int(box.task, ZLV_IPAR_WRITE_LP_TERMS_PER_LINE, terms);
    EXPECT_EQ(ZLV_writedata(box.task, folder.at("a.lp").c_str()), ZLV_RES_OK);
    EXPECT_EQ(ZLV_readdata(back.task, folder.at("a.lp").c_str()), ZLV_RES_OK) << back.err();
    EXPECT_EQ(problem_text(back.task, false), problem_text(box.task, false));
    std::istringstream in(folder.get("a.lp"));
    std::vector<std::string> lines;
    bool isinside = false;
    for (std::string line; std::getline(in, line) && line != "subject to";) {
      isinside = isinside || line.starts_with("obj: ");
      if (isinside) lines.push_back(line);
    }
    return lines;
  };
  for (const auto& [width, terms] : {std::pair{80, 10}, {200, 3}, {1000, 10}, {40, 1}, {1000, 0}}) {
    int32_t most = 0;
    for (const std::string& line : lines_of_objective(width, terms)) {
      EXPECT_LE(line.size(), size_t(width));
      const auto num_terms = int32_t(std::count(line.begin(), line.end(), 'x'));
      most = std::max(most, num_terms);
    }
    const int32_t fitting = width / int32_t(std::string("+ 1.00000000e+00 x000000 ").size());
    EXPECT_LE(most, terms == 0 ? fitting : std::min(terms, fitting)) << width << " " << terms;
    EXPECT_GE(most, std::min(terms == 0 ? num : terms, fitting)) << width << " " << terms;
  }
}

TEST(LpWrite, WhatTheFormatCannotHoldIsRefusedBeforeAnythingIsWritten) {
  const test_folder folder;
  const struct {
    const char* name;
    int32_t code;
    const char* says;
    void (*make)(ZLV_task_t);
  } cases[] = {
      {"Cone", ZLV_RES_ERR_LP_WRITE_CONIC_PROBLEM, "A problem of type 'ZLV_PROBTYPE_CONIC'",
       [](ZLV_task_t t) {
         const int32_t j = 0;
         ASSERT_EQ(ZLV_appendcone(t, ZLV_CT_QUAD, 0, 1, &j), ZLV_RES_OK);
       }},
      {"FreeRow", ZLV_RES_ERR_LP_FREE_CONSTRAINT, "Free constraints cannot be written",
       [](ZLV_task_t t) { put_item(t, ZLV_ACC_CON, 0, "", ZLV_BK_FR, 0, 0); }},
      {"VarName", ZLV_RES_ERR_LP_INVALID_VAR_NAME, "'a?\"'",
       [](ZLV_task_t t) { put_item(t, ZLV_ACC_VAR, 1, "a\t\"", ZLV_BK_LO, 0, 0); }},
      {"ConName", ZLV_RES_ERR_LP_INVALID_VAR_NAME, "'\"c'",
       [](ZLV_task_t t) { put_item(t, ZLV_ACC_CON, 0, "\"c", ZLV_BK_LO, 0, 0); }},
      {"ObjName", ZLV_RES_ERR_LP_INVALID_VAR_NAME, "'a \"'",
       [](ZLV_task_t t) { ASSERT_EQ(ZLV_putobjname(t, "a \""), ZLV_RES_OK); }},
      {"GeneratedVar", ZLV_RES_ERR_WRITE_LP_NON_UNIQUE_NAME, "'x000000' is not unique",
       [](ZLV_task_t t) { put_item(t, ZLV_ACC_VAR, 1, "x000000", ZLV_BK_LO, 0, 0); }},
      {"GeneratedCon", ZLV_RES_ERR_WRITE_LP_NON_UNIQUE_NAME, "'con000001' is not unique",
       [](ZLV_task_t t) { put_item(t, ZLV_ACC_CON, 0, "con000001", ZLV_BK_LO, 0, 0); }}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    api_box box;
    ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_CON, 2), ZLV_RES_OK);
    ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 2), ZLV_RES_OK);
    put_item(box.task, ZLV_ACC_CON, 0, "", ZLV_BK_LO, 0, 0);
    put_item(box.task, ZLV_ACC_CON, 1, "", ZLV_BK_LO, 0, 0);
    ASSERT_EQ(ZLV_writedata(box.task, folder.at("b.lp").c_str()), ZLV_RES_OK);
    c.make(box.task);
    EXPECT_EQ(ZLV_writedata(box.task, folder.put("a.lp", "as it was").c_str()), c.code);
    EXPECT_NE(box.err().find(c.says), std::string::npos) << box.err();
    EXPECT_EQ(folder.get("a.lp"), "as it was");
    EXPECT_EQ(ZLV_writedata(box.task, folder.at("new.lp").c_str()), c.code);
    EXPECT_FALSE(std::filesystem::exists(folder.at("new.lp")));
    set_int(box.task, ZLV_IPAR_WRITE_GENERIC_NAMES, ZLV_ON);
    set_int(box.task, ZLV_IPAR_LP_WRITE_IGNORE_INCOMPATIBLE_ITEMS, ZLV_ON);
    EXPECT_EQ(ZLV_writedata(box.task, folder.at("a.lp").c_str()), ZLV_RES_OK) << box.err();
    EXPECT_NE(folder.get("a.lp").find("con000002: "), std::string::npos) << folder.get("a.lp");
  }
}

TEST(LpWrite, FreeRowsAreWrittenAndReadWhenAskedFor) {
  const test_folder folder;
  api_box box, back;
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_CON, 1), ZLV_RES_OK);
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 1), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putaij(box.task, 0, 0, 2), ZLV_RES_OK);
  set_int(box.task, ZLV_IPAR_WRITE_FREE_CON, ZLV_ON);
  set_int(back.task, ZLV_IPAR_READ_KEEP_FREE_CON, ZLV_ON);
  ASSERT_EQ(ZLV_writedata(box.task, folder.at("a.lp").c_str()), ZLV_RES_OK) << box.err();
  EXPECT_NE(folder.get("a.lp").find("\ncon000000: + 2.00000000e+00 x000000 <= +infinity\n"),
            std::string::npos);
  ASSERT_EQ(ZLV_readdata(back.task, folder.at("a.lp").c_str()), ZLV_RES_OK) << back.err();
  EXPECT_EQ(problem_text(back.task, false), problem_text(box.task, false));
}

TEST(LpWrite, NamesAreQuotedOrRefusedWhenTheyNeedIt) {
  const test_folder folder;
  const struct {
    const char* name;
    bool isplain, isstrict;  // it is written as it is; also in the strict form
  } cases[] = {{"a", true, true},     {"x.1", true, true},       {"_a/b\"", true, true},
               {"a b", false, false}, {"x[1]", false, false},    {"3a", false, false},
               {".a", false, false},  {"free", false, false},    {"Inf", false, false},
               {"st", false, false},  {"BOUNDS", false, false},  {"subject", false, false},
               {"nan", false, false}, {"e12", true, false},      {"/a", false, false},
               {"a:", false, false},  {"<=", false, false},      {"\\", false, false},
               {"a-b", false, false}, {"\xC3\xA6", false, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    api_box box;
    ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_CON, 2), ZLV_RES_OK);
    ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 2), ZLV_RES_OK);
    put_item(box.task, ZLV_ACC_CON, 0, c.name, ZLV_BK_RA, -1, 2);
    put_item(box.task, ZLV_ACC_CON, 1, "other", ZLV_BK_RA, -1, 2);
    put_item(box.task, ZLV_ACC_VAR, 0, c.name, ZLV_BK_FR, 0, 3);
    put_item(box.task, ZLV_ACC_VAR, 1, "other", ZLV_BK_RA, 0, 3);
    ASSERT_EQ(ZLV_putobjname(box.task, c.name), ZLV_RES_OK);
    ASSERT_EQ(ZLV_putvartype(box.task, 0, ZLV_VAR_TYPE_INT), ZLV_RES_OK);
    ASSERT_EQ(ZLV_putaij(box.task, 0, 0, 1), ZLV_RES_OK);
    ASSERT_EQ(ZLV_putaij(box.task, 1, 0, 1), ZLV_RES_OK);
    ASSERT_EQ(ZLV_putqobjij(box.task, 1, 0, 1), ZLV_RES_OK);
    const auto write = [&](bool isquoted, bool isstrict) {
      set_int(box.task, ZLV_IPAR_WRITE_LP_QUOTED_NAMES, isquoted ? 1 : 0);
      set_int(box.task, ZLV_IPAR_WRITE_LP_STRICT_FORMAT, isstrict ? 1 : 0);
      return ZLV_writedata(box.task, folder.at("a.lp").c_str());
    };
    const auto expect_same = [&](bool isquoted) {
      api_box back;
      set_int(back.task, ZLV_IPAR_READ_LP_QUOTED_NAMES, isquoted ? 1 : 0);
      ASSERT_EQ(ZLV_readdata(back.task, folder.at("a.lp").c_str()), ZLV_RES_OK) << back.err();
      EXPECT_EQ(problem_text(back.task), problem_text(box.task));
    };
    constexpr int32_t refused = ZLV_RES_ERR_LP_INVALID_VAR_NAME;
    ASSERT_EQ(write(true, false), ZLV_RES_OK) << box.err();
    expect_same(true);
    EXPECT_EQ(write(false, false), c.isplain ? ZLV_RES_OK : refused);
    if (c.isplain) expect_same(false);
    EXPECT_EQ(write(true, true), c.isstrict ? ZLV_RES_OK : refused);
  }
}

}  // namespace
