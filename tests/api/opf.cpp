// OPF files: what they mean, their layout, and what travels in them beside the problem.
#include <cmath>
#include <regex>

#include "support/model_texts.h"
#include "support/problem_maker.h"

namespace {

using namespace opf_text;

const std::string inf = "1e+30";
const std::string xrest = " c=1 0:3 1:1\n", yrest = " c=2 1:-1\n";
std::string meant(const std::string& x, const std::string& y = "0 [0, 1e+30]") {
  return "min 0\nrow r1 1 [-1e+30, 4]\nrow r2 0 [-1, 1e+30]\ncol x " + x + xrest + "col y " + y +
         yrest;
}
const std::string plain = meant("0 [0, 1e+30]");
// With other terms of the objective, or another first row.
std::string costs(const std::string& x, const std::string& y, const std::string& more = "") {
  return replace_all(replace_all(plain, "c=1", "c=" + x), "c=2", "c=" + y) + more;
}
std::string rowis(const std::string& row, const std::string& x, const std::string& y = "") {
  return "min 0\nrow r1 " + row + "\nrow r2 0 [-1, 1e+30]\ncol x 0 [0, 1e+30] c=1" + x +
         " 1:1\ncol y 0 [0, 1e+30] c=2" + y + " 1:-1\n";
}

// clang-format off
const std::vector<valid_case> valid = {
  {"Plain", plainfile, plain, {}},
  {"CarriageReturns", replace_all(plainfile, "\n", "\r\n"), plain, {}},
  {"ByteOrderMark", "\xEF\xBB\xBF" + plainfile, plain, {}},
  {"Gzip", gzip(plainfile), plain, {}},
  {"Comments", replace_all(plainfile, "\n", " # [b] (\n\t\n"), plain, {}},
  {"CommentSection", "[comment] [objective ( ' \x01\n[/commen] [/comment]" + plainfile, plain, {}},
  {"EveryBlankALineEnd", "[objective max]\nx\n+\n2\ny\n[/objective]\n[bounds] [b]\n0\n<=\n*\n[/b] [/bounds]", "max 0\ncol x 0 [0, 1e+30] c=1\ncol y 0 [0, 1e+30] c=2\n", {}},
  {"NothingButTags", "[objective minimize][/objective]", "min 0\n", {}},
  {"TagsInAnyCaseAndWithBlanks", replace_all(replace_all(plainfile, "[/b]", "[ / B ]"), "[b]", "[ b ]"), plain, {}},
  {"ConstraintsBeforeTheObjective", vars + "[constraints] [con r1] x * y + 3 x <= 4 [/con] [con r2] x - y >= -1 [/con] [/constraints] [bounds] [b] 0 <= * [/b] [/bounds] [objective min] x + 2 y + x ^ 2 [/objective]",
   replace_all(plain, ", 4]\n", ", 4] q1,0=1\n") + "q 0,0=2\n", {}},
  {"OtherVendor", plainfile + "[vendor other] [x] ( [/x] [/vendor]", plain, {}},
  {"OtherHint", "[hints] [hint NUMQNZ] 7 [/hint] [/hints]" + plainfile, plain, {}},
  // expressions
  {"Signs", objective("- - x + - - 2 * y"), plain, {}},
  {"Constants", objective("7 + x - 1.5 + 2 y"), replace_all(plain, "min 0", "min 5.5"), {}},
  {"Repeats", objective("3 x + y - 2 x + y"), plain, {}},
  {"Group", objective("0.5 ( x + 4 y + 3 ) + .5 x"), replace_all(plain, "min 0", "min 1.5"), {}},
  {"GroupNegative", objective("- ( - x - 2 y )"), plain, {}},
  {"Quadratic", objective("x + 2 y + 0.5 ( 2 x ^ 2 + 3 x * y - y ^ 2 )"), costs("1", "2", "q 0,0=2\nq 1,0=1.5\nq 1,1=-1\n"), {}},
  {"QuadraticWithoutGroup", objective("x + 2 y + x * x - 3 * x*y"), costs("1", "2", "q 0,0=2\nq 1,0=-3\n"), {}},
  {"QuadraticRow", row("3 x + 0.5 ( 2 y ^ 2 ) <= 4"), replace_all(plain, ", 4]\n", ", 4] q1,1=2\n"), {}},
  {"Range", row("1 <= 3 x <= 4"), replace_all(plain, "1 [-1e+30, 4]", "4 [1, 4]"), {}},
  {"RangeDownwards", row("4 >= 3 x + 1 > 1"), replace_all(plain, "1 [-1e+30, 4]", "4 [0, 3]"), {}},
  {"Equality", row("x + y == 3"), rowis("2 [3, 3]", " 0:1", " 0:1"), {}},
  {"TermsOnBothSides", row("2 x + 3 >= y + 5 + x"), rowis("0 [2, 1e+30]", " 0:1", " 0:-1"), {}},
  {"GroupOnTheRight", row("x >= 2 ( y + 1 )"), rowis("0 [2, 1e+30]", " 0:1", " 0:-2"), {}},
  {"AllOnTheRight", row("3 >= x + y"), rowis("1 [-1e+30, 3]", " 0:1", " 0:1"), {}},
  {"FreeRow", row("x >= -inf"), rowis("3 [-1e+30, 1e+30]", " 0:1"), {}},
  {"EmptyRow", row("0 <= 4"), rowis("1 [-1e+30, 4]", ""), {}},
  {"NumberTiny", objective("x + 2 y + 1e-400"), plain, {}},
  // names
  {"NamesQuoted", replace_all(plainfile, "x", "'a\\'b \\\\ \\x01 \\n\"'"), replace_all(plain, " x ", " a'b \\ \x01 \n\" "), {}},
  {"NamesInDoubleQuotes", replace_all(plainfile, "x", "\"3 <= [ free\""), replace_all(plain, " x ", " 3 <= [ free "), {}},
  {"NamesOfPunctuation", replace_all(plainfile, "x", "x!$%&:;?@_`{|}~.1"), replace_all(plain, " x ", " x!$%&:;?@_`{|}~.1 "), {}},
  {"NamesMillionCharacters", replace_all(plainfile, "x", std::string(1000000, 'n')), replace_all(plain, " x ", " " + std::string(1000000, 'n') + " "), {}},
  {"NameFreeQuoted", replace_all(plainfile, "y", "'free'"), replace_all(plain, "col y", "col free"), {}},
  // bounds
  {"BoundUpper", bounds("[b] x <= 5 [/b]"), meant("4 [0, 5]"), {}},
  {"BoundTurned", bounds("[b] 5 >= x [/b]"), meant("4 [0, 5]"), {}},
  {"BoundBoth", bounds("[b] -1 <= x <= 5 [/b]"), meant("4 [-1, 5]"), {}},
  {"BoundFixed", bounds("[b] x = 5 [/b]"), meant("2 [5, 5]"), {}},
  {"BoundFree", bounds("[b] x FREE [/b]"), meant("3 [-1e+30, 1e+30]"), {}},
  {"BoundInfinite", bounds("[b] -Infinity <= x <= 5 [/b]"), meant("1 [-1e+30, 5]"), {}},
  {"BoundOfSeveral", bounds("[b] 1 <= x, y <= 5 [/b]"), meant("4 [1, 5]", "4 [1, 5]"), {}},
  {"BoundLastCounts", bounds("[b] x <= 7 [/b] [b] x <= 5 [/b]"), meant("4 [0, 5]"), {}},
  {"WildcardBehind", replace_all(bounds("[b] * <= 9 [/b]"), "[b] 0", "[b] x <= 5 [/b]\n[b] 0"), meant("4 [0, 5]", "4 [0, 9]"), {}},
  {"NoWildcard", replace_all(plainfile, "[b] 0 <= * [/b]", "[b] y <= 1 [/b]"), meant("3 [-1e+30, 1e+30]", "1 [-1e+30, 1]"), {}},
  // integers and cones
  {"Integers", plainfile + "[integer] x, y [/integer]", meant("int 0 [0, 1e+30]", "int 0 [0, 1e+30]"), {}},
  {"Cone", bounds("[cone rquad 'k 1'] y, x [/cone]"), plain + "cone k 1 1 0 1 0\n", {}},
  {"ConeSpelledOut", bounds("[cone type=rotatedQuadratic k par=1.5] y, x [/cone]"), plain + "cone k 1 1.5 1 0\n", {}},
  {"ConesUnnamed", bounds("[cone quadratic] y [/cone] [cone quad] x [/cone]"), plain + "cone  0 0 1\ncone  0 0 0\n", {}},
  {"ConeOfThree", vars + "[constraints][/constraints][bounds] [cone rquad] y, x, z [/cone] [/bounds]", "min 0\ncol x 3 [-1e+30, 1e+30] c=0\ncol y 3 [-1e+30, 1e+30] c=0\ncol z 3 [-1e+30, 1e+30] c=0\ncone  1 0 1 0 2\n", {}},
};
// clang-format on

TEST(Opf, FilesAreReadAsMeant) {
  expect_meanings("case.opf", valid);
}

std::string version_text() {
  int32_t v[4] = {};
  ZLV_getversion(&v[0], &v[1], &v[2], &v[3]);
  return std::to_string(v[0]) + "." + std::to_string(v[1]) + "." + std::to_string(v[2]) + "." +
         std::to_string(v[3]);
}

TEST(Opf, TheLayoutIsFixed) {
  const test_folder folder;
  api_box box;
  const std::string source =
      vars +
      "[objective max 'the gain'] - 1.25 x + y - 7 + 0.5 ( 2 x ^ 2 - x * y + x * 'a b' ) "
      "[/objective] [constraints] [con lo] x + y + z >= 1500 [/con] [con] x = 0 [/con] "
      "[con ra] 1 <= x - y + 0.5 ( y ^ 2 ) <= 4 [/con] [con free] 0 >= -inf [/con] "
      "[/constraints] [bounds] [b] 0 <= * [/b] [b] x = 3 [/b] [b] y free [/b] "
      "[b] z <= 9 [/b] [b] -inf <= 'a b' <= 9 [/b] [b] w >= 2 [/b] "
      "[cone quad par=2] x [/cone] [cone rquad k] y, z, w [/cone] [/bounds] "
      "[integer] z w [/integer]";
  ASSERT_EQ(ZLV_readdata(box.task, folder.put("s.opf", source).c_str()), ZLV_RES_OK) << box.err();
  set_int(box.task, ZLV_IPAR_WRITE_PRECISION, 2);
  set_int(box.task, ZLV_IPAR_OPF_MAX_TERMS_PER_LINE, 4);
  ASSERT_EQ(ZLV_writedata(box.task, folder.at("a.opf").c_str()), ZLV_RES_OK) << box.err();
  const std::string dated = std::regex_replace(
      folder.get("a.opf"), std::regex("Date \\d{4}-\\d\\d-\\d\\d\n   Time \\d\\d:\\d\\d:\\d\\d\n"),
      "DATE\n");
  EXPECT_EQ(dated, "[comment]\nWritten by ZALVO version " + version_text() +
                       "\nDATE\n[/comment]\n\n"
                       "[hints]\n  [hint NUMVAR] 5 [/hint]\n  [hint NUMCON] 4 [/hint]\n"
                       "  [hint NUMANZ] 6 [/hint]\n[/hints]\n\n"
                       "[variables disallow_new_variables]\nx y 'a b' z\n    w\n[/variables]\n\n"
                       "[objective maximize 'the gain']\n"
                       "- 1.25e+00 x + 1.00e+00 y - 7.00e+00 + 0.5 (\n"
                       "    + 2.00e+00 x ^ 2 - y * x + 'a b' * x )\n[/objective]\n\n"
                       "[constraints]\n"
                       "[con lo] + 1.00e+00 x + 1.00e+00 y + 1.00e+00 z >= 1.50e+03 [/con]\n"
                       "[con] + 1.00e+00 x = 0.00e+00 [/con]\n"
                       "[con ra] 1.00e+00 <= + 1.00e+00 x - 1.00e+00 y + 0.5 ( + y ^ 2 ) <= "
                       "4.00e+00 [/con]\n"
                       "[con 'free'] 0 >= -inf [/con]\n[/constraints]\n\n"
                       "[bounds]\n[b] 0 <= * [/b]\n"
                       "[b] x =  3.00e+00 [/b]\n"
                       "[b] y free [/b]\n"
                       "[b] -inf       <= 'a b' <= 9.00e+00 [/b]\n"
                       "[b] 0.00e+00   <= z <= 9.00e+00 [/b]\n"
                       "[b] 2.00e+00   <= w [/b]\n"
                       "[cone quad par=2.00e+00] x [/cone]\n"
                       "[cone rquad k] y, z, w [/cone]\n[/bounds]\n\n"
                       "[integer]\nz w\n[/integer]\n\n");
}

TEST(Opf, AVariableWithoutANameIsRefused) {
  const test_folder folder;
  api_box box;
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 2), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putname(box.task, ZLV_PI_VAR, 0, "x"), ZLV_RES_OK);
  const std::string file = folder.put("a.opf", "as it was");
  EXPECT_EQ(ZLV_writedata(box.task, file.c_str()), ZLV_RES_ERR_WRITE_OPF_INVALID_VAR_NAME);
  EXPECT_NE(box.err().find("Name of variable index 1 is empty"), std::string::npos) << box.err();
  EXPECT_EQ(folder.get("a.opf"), "as it was");
  set_int(box.task, ZLV_IPAR_WRITE_GENERIC_NAMES, ZLV_ON);
  EXPECT_EQ(ZLV_writedata(box.task, file.c_str()), ZLV_RES_OK) << box.err();
  EXPECT_NE(folder.get("a.opf").find("\nx000001 x000002\n"), std::string::npos);
}

TEST(Opf, DeviationsAreTold) {
  const test_folder folder;
  api_box box;
  const std::string file = folder.put(
      "a.opf", "[hints]\n[hint NUMCON] 7 [/hint]\n[/hints]\n" +
                   replace_all(replace_all(plainfile, "x y\n", "x y x\n"), "2 y", "2 y + y") +
                   "[bounds]\n[b] x <= 1 [/b]\n[b] x <= 2 [/b]\n[/bounds]\n");
  ASSERT_EQ(ZLV_readdata(box.task, file.c_str()), ZLV_RES_OK) << box.err();
  for (const char* note :
       {"line 2, 'NUMCON': hint that is not what the file holds (1 in all)",
        "line 5, 'x': name given more than once in a list",
        "line 8, 'y': term given more than once", "line 19, 'x': bound given more than once"}) {
    EXPECT_NE(box.wrn().find(note), std::string::npos) << note << "\n" << box.wrn();
  }
}

// ---- Parameters and solutions, in OPF and MBT files

// A small problem with its solution, whose values are those of an optimum.
void make_solved(ZLV_task_t task, const test_folder& folder, int32_t whichsol, bool isright) {
  const std::string source =
      "min\n o: x + 2 y\nst\n r1: 3 x <= 4\n r2: x - y >= -1\n r3: x + y >= 2\nend\n";
  ASSERT_EQ(ZLV_readdata(task, folder.put("s.lp", source).c_str()), ZLV_RES_OK);
  int32_t skc[] = {ZLV_SK_UPR, ZLV_SK_BAS, ZLV_SK_LOW}, skx[] = {ZLV_SK_BAS, ZLV_SK_SUPBAS};
  double xc[] = {4, 4.0 / 3 - 2.0 / 3, 2}, xx[] = {4.0 / 3, isright ? 2.0 / 3 : 9};
  double y[] = {-1.0 / 3, 0, 2}, slc[] = {0, 0, 2}, suc[] = {1.0 / 3, 0, 0}, zero[] = {0, 0};
  ASSERT_EQ(
      ZLV_putsolution(task, whichsol, skc, skx, nullptr, xc, xx, y, slc, suc, zero, zero, zero),
      ZLV_RES_OK);
}

std::string solution_text(ZLV_task_t task, int32_t whichsol) {
  int32_t prosta = 0, solsta = 0, skc[3] = {}, skx[2] = {};
  double v[8][3] = {};
  const int32_t r = ZLV_getsolution(task, whichsol, &prosta, &solsta, skc, skx, nullptr, v[0], v[1],
                                    v[2], v[3], v[4], v[5], v[6], v[7]);
  std::ostringstream out;
  out.precision(17);
  out << r << " " << solsta << ":";
  for (const int32_t sk : {skc[0], skc[1], skc[2], skx[0], skx[1]}) out << " " << sk;
  for (const auto& values : v) {
    for (const double x : values) out << " " << x;
  }
  return out.str();
}

TEST(Opf, SolutionsAndParametersTravelWithTheProblem) {
  const test_folder folder;
  for (const char* name : {"a.opf", "a.mbt"}) {
    for (const int32_t whichsol : {ZLV_SOL_ITR, ZLV_SOL_BAS, ZLV_SOL_ITG}) {
      SCOPED_TRACE(name + std::to_string(whichsol));
      api_box box, back;
      make_solved(box.task, folder, whichsol, true);
      set_int(box.task, ZLV_IPAR_WRITE_PRECISION, 17);
      set_int(box.task, ZLV_IPAR_OPF_WRITE_SOL_ITR, ZLV_ON);
      set_int(box.task, ZLV_IPAR_OPF_WRITE_PARAMETERS, ZLV_ON);
      set_int(box.task, ZLV_IPAR_OPTIMIZER, ZLV_OPTIMIZER_DUAL_SIMPLEX);
      ASSERT_EQ(ZLV_putdouparam(box.task, ZLV_DPAR_OPTIMIZER_MAX_TIME, 0.1), ZLV_RES_OK);
      ASSERT_EQ(ZLV_putstrparam(box.task, ZLV_SPAR_STAT_NAME, " a\\'\n\"% b "), ZLV_RES_OK);
      ASSERT_EQ(ZLV_writedata(box.task, folder.at(name).c_str()), ZLV_RES_OK) << box.err();
      ASSERT_EQ(ZLV_readdata(back.task, folder.at(name).c_str()), ZLV_RES_OK) << back.err();
      EXPECT_EQ(problem_text(back.task), problem_text(box.task));
      EXPECT_EQ(solution_text(back.task, whichsol), solution_text(box.task, whichsol));
      EXPECT_EQ(back.wrn(), "");
      int32_t optimizer = 0, len = 0;
      double maxtime = 0;
      char text[64] = "";
      ASSERT_EQ(ZLV_getintparam(back.task, ZLV_IPAR_OPTIMIZER, &optimizer), ZLV_RES_OK);
      ASSERT_EQ(ZLV_getdouparam(back.task, ZLV_DPAR_OPTIMIZER_MAX_TIME, &maxtime), ZLV_RES_OK);
      ASSERT_EQ(ZLV_getstrparam(back.task, ZLV_SPAR_STAT_NAME, 64, &len, text), ZLV_RES_OK);
      EXPECT_EQ(optimizer, ZLV_OPTIMIZER_DUAL_SIMPLEX);
      EXPECT_EQ(maxtime, 0.1);
      EXPECT_STREQ(text, " a\\'\n\"% b ");
    }
  }
}

TEST(Opf, StatusesAreTakenOverOnlyWhenTheValuesBearThemOut) {
  const test_folder folder;
  for (const bool isright : {true, false}) {
    api_box box, back;
    make_solved(box.task, folder, ZLV_SOL_BAS, isright);
    set_int(box.task, ZLV_IPAR_WRITE_PRECISION, 17);
    ASSERT_EQ(ZLV_writedata(box.task, folder.at("a.opf").c_str()), ZLV_RES_OK) << box.err();
    const std::string text =
        std::regex_replace(folder.get("a.opf"), std::regex("status=\\w+"), "status=OPTIMAL");
    ASSERT_EQ(ZLV_readdata(back.task, folder.put("b.opf", text).c_str()), ZLV_RES_OK) << back.err();
    int32_t prosta = 0, solsta = 0;
    ASSERT_EQ(ZLV_getsolutionstatus(back.task, ZLV_SOL_BAS, &prosta, &solsta), ZLV_RES_OK);
    EXPECT_EQ(solsta, isright ? ZLV_SOL_STA_OPTIMAL : ZLV_SOL_STA_UNKNOWN);
    EXPECT_EQ(prosta, isright ? ZLV_PRO_STA_PRIM_AND_DUAL_FEAS : ZLV_PRO_STA_UNKNOWN);
    EXPECT_EQ(back.wrn().find("b.opf: the values are not") != std::string::npos, !isright);
  }
}

TEST(Opf, AFileWithoutAProblemGivesSolutionsToTheTasks) {
  const test_folder folder;
  api_box box, back;
  make_solved(box.task, folder, ZLV_SOL_BAS, true);
  set_int(box.task, ZLV_IPAR_OPF_WRITE_PROBLEM, ZLV_OFF);
  set_int(box.task, ZLV_IPAR_WRITE_PRECISION, 17);
  ASSERT_EQ(ZLV_writedata(box.task, folder.at("a.opf").c_str()), ZLV_RES_OK) << box.err();
  ASSERT_EQ(ZLV_readdata(back.task, folder.at("s.lp").c_str()), ZLV_RES_OK) << back.err();
  const std::string before = problem_text(back.task);
  ASSERT_EQ(ZLV_readdata(back.task, folder.at("a.opf").c_str()), ZLV_RES_OK) << back.err();
  EXPECT_EQ(problem_text(back.task), before);
  EXPECT_EQ(solution_text(back.task, ZLV_SOL_BAS), solution_text(box.task, ZLV_SOL_BAS));
  api_box other;
  EXPECT_EQ(ZLV_readdata(other.task, folder.at("a.opf").c_str()), ZLV_RES_ERR_OPF_FORMAT);
}

TEST(Mbt, SolutionsAndParametersAreLeftOutWhenTheyAreNotWanted) {
  const test_folder folder;
  api_box box, back;
  make_solved(box.task, folder, ZLV_SOL_BAS, true);
  set_int(box.task, ZLV_IPAR_WRITE_TASK_INC_SOL, ZLV_OFF);
  set_int(box.task, ZLV_IPAR_OPTIMIZER, ZLV_OPTIMIZER_DUAL_SIMPLEX);
  set_int(box.task, ZLV_IPAR_OBJECTIVE_SENSE, ZLV_OBJECTIVE_SENSE_MAX);
  ASSERT_EQ(ZLV_writedata(box.task, folder.at("a.mbt").c_str()), ZLV_RES_OK);
  set_int(back.task, ZLV_IPAR_READ_TASK_IGNORE_PARAM, ZLV_ON);
  ASSERT_EQ(ZLV_readdata(back.task, folder.at("a.mbt").c_str()), ZLV_RES_OK) << back.err();
  EXPECT_EQ(problem_text(back.task), problem_text(box.task));
  int32_t isdef = 1, optimizer = 1;
  ASSERT_EQ(ZLV_solutiondef(back.task, ZLV_SOL_BAS, &isdef), ZLV_RES_OK);
  ASSERT_EQ(ZLV_getintparam(back.task, ZLV_IPAR_OPTIMIZER, &optimizer), ZLV_RES_OK);
  EXPECT_EQ(isdef, 0);
  EXPECT_EQ(optimizer, ZLV_OPTIMIZER_FREE);
}

}  // namespace
