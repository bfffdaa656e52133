// What LP files mean: the dialects that are read as meant, and what is told about them.
#include <string>
#include <vector>

#include "support/model_texts.h"

namespace {

using namespace lp_text;

// clang-format off
const std::vector<valid_case> valid = {
  {"Plain", plainfile, plain, {}},
  {"CarriageReturns", replace_all(plainfile, "\n", "\r\n"), plain, {}},
  {"ByteOrderMark", "\xEF\xBB\xBF" + plainfile, plain, {}},
  {"TextBehindEnd", plainfile + "anything \x01 else\n", plain, {}},
  {"NoLineEndBehindEnd", plainfile.substr(0, plainfile.size() - 1), plain, {}},
  {"NoEnd", replace_all(plainfile, "end\n", ""), plain, {}},
  {"Comments", "\\ first\n" + replace_all(plainfile, "\n", " \\ a comment [ : \"\n\\\n\n  \t\n"), plain, {}},
  {"EveryBlankALineEnd", "min\no:\nx\n+\n2\ny\nst\nr1:\n3\nx\n<=\n4\nr2:\nx\n-\ny\n>=\n-\n1\nend", plain, {}},
  {"NoBlanks", "min\no:x+2y\nst\nr1:3x<=4\nr2:x-y>=-1\nend", plain, {}},
  {"ManyOnOneLine", "min o: x + 2 y\nst r1: 3 x <= 4 r2: x - y >= -1\nend", plain, {}},
  {"SubjectTo", replace_all(plainfile, "st\n", "Subject   To\n"), plain, {}},
  {"SubjTo", replace_all(plainfile, "st\n", "subj to\n"), plain, {}},
  {"SuchThat", replace_all(plainfile, "st\n", "SUCH THAT\n"), plain, {}},
  {"StWithDots", replace_all(plainfile, "st\n", "s.t.\n"), plain, {}},
  {"StWithDot", replace_all(plainfile, "st\n", "St.\n"), plain, {}},
  {"KeywordsWithColons", replace_all(replace_all(plainfile, "st\n", "subject to:\n"), "min\n", "Minimise:\n"), plain, {}},
  {"Maximum", replace_all(plainfile, "min", "MAXIMUM"), replace_all(plain, "min", "max"), {}},
  {"Max", replace_all(plainfile, "min", "Max"), replace_all(plain, "min", "max"), {}},
  {"Maximise", replace_all(plainfile, "min", "maximise"), replace_all(plain, "min", "max"), {}},
  {"Minimize", replace_all(plainfile, "min", "MINIMIZE"), plain, {}},
  {"RelationsStrict", replace_all(replace_all(plainfile, "<=", "<"), ">=", ">"), plain, {}},
  {"RelationsTurned", replace_all(replace_all(plainfile, "<=", "=<"), ">=", "=>"), plain, {}},
  {"ObjectiveConstant", replace_all(plainfile, "2 y", "2 y - 7 + 1.5"), replace_all(plain, "min 0", "min -5.5"), {}},
  {"ObjectiveConstantFirst", replace_all(plainfile, "x + 2", "7 + x + 2"), replace_all(plain, "min 0", "min 7"), {}},
  {"ObjectiveRepeats", replace_all(plainfile, "x + 2 y", "3 x + y - 2 x + y"), plain, {}},
  {"ObjectiveEmpty", "min\n o:\nst\n r: x + y >= 1\nend", "min 0\nrow r 0 [1, 1e+30]\ncol x 0 [0, 1e+30] c=0 0:1\ncol y 0 [0, 1e+30] c=0 0:1\n", {}},
  {"ObjectiveWithoutName", replace_all(plainfile, "o: ", ""), plain, {}},
  {"NothingAtAll", "min\nst\nend\n", "min 0\n", {}},
  {"Coefficients", replace_all(replace_all(plainfile, "2 y", ".2e+1y"), "3 x", "3.*x"), plain, {}},
  {"SignsAddUp", replace_all(replace_all(plainfile, "+ 2", "- -2"), "- y", "+ - y"), plain, {}},
  {"RowWithoutName", onerow("x + y >= 1\n- x + y <= 2"), "min 0\nrow  0 [1, 1e+30]\nrow  1 [-1e+30, 2]\ncol x 0 [0, 1e+30] c=1 0:1 1:-1\ncol y 0 [0, 1e+30] c=1 0:1 1:1\n", {}},
  {"RowOverLines", onerow("r: x\n + y\n >=\n 1"), meant("r 0 [1, 1e+30]", " 0:1", " 0:1"), {}},
  {"RowTermsOnBothSides", onerow("r: 2 x + 3 >= y + 5 + x"), meant("r 0 [2, 1e+30]", " 0:1", " 0:-1"), {}},
  {"RowAllOnTheRight", onerow("r: 3 >= x + y"), meant("r 1 [-1e+30, 3]", " 0:1", " 0:1"), {}},
  {"RowRepeats", onerow("r: x + y + x = 3"), meant("r 2 [3, 3]", " 0:2", " 0:1"), {}},
  {"RowCancels", onerow("r: x + y - x = 3"), meant("r 2 [3, 3]", "", " 0:1"), {}},
  {"RowZero", onerow("r: 0 x + y = 3"), meant("r 2 [3, 3]", "", " 0:1"), {}},
  {"RowEmpty", onerow("r: 0 <= 3"), meant("r 1 [-1e+30, 3]", "", ""), {}},
  {"Range", onerow("r: 1 <= x + 2 y <= 4"), meant("r 4 [1, 4]", " 0:1", " 0:2"), {}},
  {"RangeDownwards", onerow("r: 4 >= x >= -1e0"), meant("r 4 [-1, 4]", " 0:1", ""), {}},
  {"RangeOverLines", onerow("r: 1 <= x\n + 2 y\n <= 4"), meant("r 4 [1, 4]", " 0:1", " 0:2"), {}},
  {"RangeWithConstant", onerow("r: 1 <= x + 2 + y <= 4"), meant("r 4 [-1, 2]", " 0:1", " 0:1"), {}},
  {"RangeHalfInfinite", onerow("r: -inf <= x <= 4"), meant("r 1 [-1e+30, 4]", " 0:1", ""), {}},
  {"RangeOfOnePoint", onerow("r: 4 <= x <= 4"), meant("r 2 [4, 4]", " 0:1", ""), {}},
  {"FreeRowLeftOut", onerow("r: x + y >= -infinity"), "min 0\ncol x 0 [0, 1e+30] c=1\ncol y 0 [0, 1e+30] c=1\n", {}},
  {"FreeRowKept", onerow("r: x + y <= +infinity"), meant("r 3 [-1e+30, 1e+30]", " 0:1", " 0:1"), {{ZLV_IPAR_READ_KEEP_FREE_CON, 1}}},
  {"FreeRowsLeaveNoTrace", onerow("r: x + y >= -inf\ns: x + y >= 1"), meant("s 0 [1, 1e+30]", " 0:1", " 0:1"), {}},
  {"TwoConstraintSections", with("bounds\nst\n r3: y <= 9\n"), replace_all(replace_all(plain, "1e+30]\ncol x", "1e+30]\nrow r3 1 [-1e+30, 9]\ncol x"), "1:-1\n", "1:-1 2:1\n"), {}},
  // names
  {"NamesWithDotsAndBrackets", replace_all(replace_all(plainfile, "x", "x.1[2,a]"), "r1", "r[1][2]"), replace_all(replace_all(plain, "x", "x.1[2,a]"), "r1", "r[1][2]"), {}},
  {"NamesOfPunctuation", replace_all(plainfile, "x", "!#$%&(),;?@_`'{}|~/\"."), replace_all(plain, "x", "!#$%&(),;?@_`'{}|~/\"."), {}},
  {"NamesQuoted", replace_all(plainfile, "x", "\"3 <= [ free\""), replace_all(plain, "x", "3 <= [ free"), {}},
  {"NamesQuotedKeyword", replace_all(plainfile, "r1", "\"end\""), replace_all(plain, "r1", "end"), {}},
  {"NamesLikeKeywordsInside", replace_all(replace_all(plainfile, "- y", "- end"), "2 y", "2 end"), replace_all(plain, "y", "end"), {}},
  {"NamesLikeKeywordsAsLabels", replace_all(plainfile, "r1", "int"), replace_all(plain, "r1", "int"), {}},
  {"NamesLikeExponents", replace_all(plainfile, "x", "e1"), replace_all(plain, "x", "e1"), {}},
  {"NamesMillionCharacters", replace_all(plainfile, "x", std::string(100000, 'n')), replace_all(plain, "x", std::string(100000, 'n')), {}},
  {"NamesOtherScript", replace_all(plainfile, "x", "\xC3\xA6"), replace_all(plain, "x", "\xC3\xA6"), {}},
  // bounds
  {"BoundUpper", with("bounds\n x <= 5\n"), col("4 [0, 5]"), {}},
  {"BoundLower", with("Bound\n x >= 5\n"), col("0 [5, 1e+30]"), {}},
  {"BoundTurned", with("bounds\n 5 >= x\n"), col("4 [0, 5]"), {}},
  {"BoundBoth", with("BOUNDS\n -1 <= x <= 5\n"), col("4 [-1, 5]"), {}},
  {"BoundBothDownwards", with("bounds\n 5 > x > -1\n"), col("4 [-1, 5]"), {}},
  {"BoundTwoLines", with("bounds\n x <= 5\n x >= - 1\n"), col("4 [-1, 5]"), {}},
  {"BoundFixed", with("bounds\n x = 5\n"), col("2 [5, 5]"), {}},
  {"BoundFixedTurned", with("bounds\n 5 = x\n"), col("2 [5, 5]"), {}},
  {"BoundFree", with("bounds\n x Free\n"), col("3 [-1e+30, 1e+30]"), {}},
  {"BoundInfinite", with("bounds\n -infinity <= x <= +INF\n"), col("3 [-1e+30, 1e+30]"), {}},
  {"BoundLowerInfinite", with("bounds\n x >= -Inf\n x <= 2\n"), col("1 [-1e+30, 2]"), {}},
  {"BoundLarge", with("bounds\n -1e30 <= x <= 1e30\n"), col("3 [-1e+30, 1e+30]"), {}},
  {"BoundNegativeUpper", with("bounds\n x <= -5\n"), col("4 [0, -5]"), {}},
  {"BoundLastCounts", with("bounds\n x <= 7\n x <= 5\n"), col("4 [0, 5]"), {}},
  {"BoundNewDropped", with("bounds\n z <= 7\n 1 <= z <= 2\n z free\n x <= 5\ngeneral\n z\n"), col("4 [0, 5]"), {{ZLV_IPAR_READ_LP_DROP_NEW_VARS_IN_BOU, 1}}},
  // integers
  {"General", with("general\n x\n"), col("int 0 [0, 1e+30]"), {}},
  {"Generals", with("Generals\n x y\n"), replace_all(col("int 0 [0, 1e+30]"), "col y", "col y int"), {}},
  {"Gen", with("gen x\n"), col("int 0 [0, 1e+30]"), {}},
  {"Integers", with("INTEGERS\nx\n"), col("int 0 [0, 1e+30]"), {}},
  {"IntBeforeBounds", with("int\nx\nbounds\n x <= 3\n"), col("int 4 [0, 3]"), {}},
  {"Binary", with("bounds\n x <= 3\nbinary\n x\n"), col("int 4 [0, 1]"), {}},
  {"Binaries", with("Binaries\n x\nbounds\n x <= 0\n"), col("int 2 [0, 0]"), {}},
  {"Bin", with("bin\n"), plain, {}},
  // quadratic terms: x'Qx/2 is stored by the lower triangle of Q
  {"QuadHalved", quad("+ [ 2 x ^ 2 + 3 x * y - y^2 ]/2"), quadcols + "q 0,0=2\nq 1,0=1.5\nq 1,1=-1\n", {}},
  {"QuadHalvedApart", quad("+ [ 2 x^2 ] / 2"), quadcols + "q 0,0=2\n", {}},
  {"QuadNegative", quad("- [ 2 x^2 + x*y ]/2"), quadcols + "q 0,0=-2\nq 1,0=-0.5\n", {}},
  {"QuadNotHalved", quad("+ [ 2 x^2 + x * y ]"), quadcols + "q 0,0=4\nq 1,0=1\n", {}},
  {"QuadTight", quad("+[x^2+y*x]/2"), quadcols + "q 0,0=1\nq 1,0=0.5\n", {}},
  {"QuadSquareAsProduct", quad("+ [ 2 x * x ]/2"), quadcols + "q 0,0=2\n", {}},
  {"QuadRepeats", quad("+ [ x * y + x^2 + y * x ]/2"), quadcols + "q 1,0=1\nq 0,0=1\n", {}},
  {"QuadTwoBrackets", quad("+ [ x^2 ]/2 + [ x^2 ]"), quadcols + "q 0,0=3\n", {}},
  {"QuadOverLines", quad("+ [\n x\n ^\n 2\n + 3\n y\n *\n x ]\n/2"), quadcols + "q 0,0=1\nq 1,0=1.5\n", {}},
  {"QuadRow", quad("", "r: x + [ x^2 + 2 x * y ] <= 4\n"), replace_all(quadcols, "min 0\ncol x 0 [0, 1e+30] c=1", "min 0\nrow r 1 [-1e+30, 4] q0,0=2 q1,0=2\ncol x 0 [0, 1e+30] c=1 0:1"), {}},
  {"QuadRowRight", quad("", "r: 4 >= [ x^2 ]/2\n"), replace_all(quadcols, "min 0\n", "min 0\nrow r 1 [-1e+30, 4] q0,0=1\n"), {}},
  {"QuadRowBothSides", quad("", "r: x >= [ x^2 ]/2\n"), replace_all(quadcols, "min 0\ncol x 0 [0, 1e+30] c=1", "min 0\nrow r 0 [0, 1e+30] q0,0=-1\ncol x 0 [0, 1e+30] c=1 0:1"), {}},
  {"QuadRange", quad("", "r: 1 <= [ x^2 ]/2 <= 4\n"), replace_all(quadcols, "min 0\n", "min 0\nrow r 4 [1, 4] q0,0=1\n"), {}},
  {"NumberTiny", replace_all(plainfile, "+ 2 y", "+ 2 y + 1e-400"), plain, {}},
};
// clang-format on

TEST(LpRead, DialectsAreReadAsMeant) {
  expect_meanings("case.lp", valid);
}

// No file that is cut off within its sections is taken for a whole one, but at a line's end.
TEST(LpRead, EveryCutIsNoticed) {
  const test_folder folder;
  const std::string text =
      "max\n o: 2 x + 3 y + [ x^2 + x * y ]/2\nst\n r1: 1 <= 3 x <= 4\n r2: x - y >= -1\n"
      "bounds\n x <= 5\n y free\ngeneral\n x\nend\n";
  const size_t whole = text.size() - 1;  // the line end behind the last word
  for (size_t n = 0; n < whole; ++n) {
    api_box box;
    const int32_t code = ZLV_readdata(box.task, folder.put("a.lp", text.substr(0, n)).c_str());
    const bool isline = n > text.find("st\n") + 2 && text[n - 1] == '\n';
    EXPECT_EQ(code == ZLV_RES_OK, isline) << text.substr(0, n);
    EXPECT_EQ(box.wrn().find("the file ends without 'end'") != std::string::npos, isline) << n;
  }
}

TEST(LpRead, PlacesNotesAndPartsAreTold) {
  const test_folder folder;
  api_box box;
  const std::string wrong = folder.put("a.lp", replace_all(plainfile, "- y", "- * y"));
  EXPECT_EQ(ZLV_readdata(box.task, wrong.c_str()), ZLV_RES_ERR_LP_FILE_FORMAT);
  EXPECT_EQ(box.err(),
            "ZALVO Error 1157   - Syntax error in LP file at (5:10).\n"
            "Expected a variable in line\n r2: x - * y >= -1\n" +
                wrong + ", line 5, column 10, '*': A number or a variable is missing.\n");
  box.forget();
  const std::string file =
      folder.put("b.lp",
                 "min\n cost: x + x + x + [ x^2 + x^2 ]\nst\n c: x + y >= -inf\nbounds\n x <= -3\n"
                 " y <= 3\n y <= 4\nbinary\n");
  ASSERT_EQ(ZLV_readdata(box.task, file.c_str()), ZLV_RES_OK) << box.err();
  for (const char* part : {"objective", "constraints", "bounds", "binary/general"}) {
    EXPECT_NE(box.msg().find("Reading " + std::string(part) + ".\n"), std::string::npos) << part;
  }
  for (const char* note :
       {"line 2, 'x': term given more than once in a row or the objective; they are added (2 in",
        "'x': quadratic term given more than once", "line 8, 'y': bound given more than once",
        "line 6, 'x': negative upper bound", "'c': constraint without a finite side",
        "without '/2', which is not halved (1 in all)", "the file ends without 'end'",
        "ZALVO Warning 80 "}) {
    EXPECT_NE(box.wrn().find(note), std::string::npos) << note << "\n" << box.wrn();
  }
  std::string name(64, '\0');
  int32_t len = 0;
  ASSERT_EQ(ZLV_getobjname(box.task, 64, &len, name.data()), ZLV_RES_OK);
  EXPECT_STREQ(name.c_str(), "cost");
}

TEST(LpRead, LinesOfManyTermsAndNamesInAnyOrder) {
  const test_folder folder;
  constexpr int32_t num = 200000;
  std::string text = "min o:";
  for (int32_t j = 0; j < num; ++j)
    text += " + " + std::to_string(j % 7 + 1) + " v" + std::to_string(j);
  text += "\nst r:";
  for (int32_t j = num - 1; j >= 0; --j) text += " - 2 v" + std::to_string(j);
  text += " >= -3\nend\n";
  api_box box;
  ASSERT_EQ(ZLV_readdata(box.task, folder.put("a.lp", text).c_str()), ZLV_RES_OK) << box.err();
  std::vector<double> c(num), val(num);
  std::vector<int32_t> sub(num);
  ASSERT_EQ(ZLV_getcslice(box.task, 0, num, c.data()), ZLV_RES_OK);
  int32_t nz = 0;
  ASSERT_EQ(ZLV_getavec(box.task, ZLV_ACC_CON, 0, &nz, sub.data(), val.data()), ZLV_RES_OK);
  EXPECT_EQ(nz, num);
  EXPECT_EQ(std::count(val.begin(), val.end(), -2.0), num);
  for (int32_t j = 0; j < num; j += 997) EXPECT_EQ(c[j], j % 7 + 1) << j;
}

}  // namespace
