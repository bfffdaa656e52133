// What LP files mean: the dialects that are read as meant, and broken files that are refused with
// their code and place and change nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "support/api_box.h"
#include "support/problem_text.h"

namespace {

using settings = std::vector<std::pair<int32_t, int32_t>>;  // integer parameters

std::string replace_all(std::string text, const std::string& from, const std::string& to) {
  for (size_t p = 0; (p = text.find(from, p)) != text.npos; p += to.size())
    text.replace(p, from.size(), to);
  return text;
}

// Two rows, two columns.
const std::string plainfile = "min\n o: x + 2 y\nst\n r1: 3 x <= 4\n r2: x - y >= -1\nend\n";
const std::string inf = "1e+30";
const std::string rows = "row r1 1 [-1e+30, 4]\nrow r2 0 [-1, 1e+30]\n";
const std::string xrest = " c=1 0:3 1:1\n", yrest = " c=2 1:-1\n";
const std::string plain =
    "min 0\n" + rows + "col x 0 [0, 1e+30]" + xrest + "col y 0 [0, 1e+30]" + yrest;
std::string col(const std::string& x) {  // of plain, with other bounds of x
  return replace_all(plain, "col x 0 [0, 1e+30]", "col x " + x);
}
std::string with(const std::string& sections) {
  return replace_all(plainfile, "end\n", sections + "end\n");
}
// A file with one row over x and y, and its problem.
std::string onerow(const std::string& row) {
  return "min\n o: x + y\nst\n" + row + "\nend\n";
}
std::string meant(const std::string& row, const std::string& x, const std::string& y) {
  return "min 0\nrow " + row + "\ncol x 0 [0, 1e+30] c=1" + x + "\ncol y 0 [0, 1e+30] c=1" + y +
         "\n";
}
// x and y with costs 1 and an objective with quadratic terms.
std::string quad(const std::string& terms, const std::string& row = "") {
  return "min\n o: x + y " + terms + "\nst\n" + row + "end\n";
}
const std::string quadcols = "min 0\ncol x 0 [0, 1e+30] c=1\ncol y 0 [0, 1e+30] c=1\n";

struct valid_case {
  const char* name;
  std::string text, meaning;
  settings set;
};

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

struct bad_case {
  const char* name;
  std::string text;
  int32_t code, line;
  const char* says;  // a part of the messages
};
constexpr int32_t bylined = ZLV_RES_ERR_LP_FORMAT, byplace = ZLV_RES_ERR_LP_FILE_FORMAT;
constexpr int32_t unknown = ZLV_RES_ERR_READ_LP_NONEXISTING_NAME;

const std::vector<bad_case> bad = {
  {"Empty", "", bylined, 0, "Expected objective sense (min or max) in line\n"},
  {"OnlyComment", "\\ min x\n", bylined, 1, "Expected objective sense (min or max) in line\n\\ min x\n"},
  {"Bytes", std::string("\x01\xFE\x80\x00z\n\xFF", 7), bylined, 1, "Expected objective sense"},
  {"Words", "hello world\n", bylined, 1, "Expected objective sense (min or max) in line\nhello world\n"},
  {"Mps", "NAME\nROWS\n N obj\n", bylined, 1, "Expected objective sense"},
  {"SenseOnly", "max", bylined, 1, "Expected 'subj to' (or similar) in line\nmax\n"},
  {"NoConstraints", "min x\nbounds\n x <= 4\nend\n", bylined, 2, "Expected 'subj to' (or similar) in line\nbounds\n"},
  {"EndFirst", "min x\nend\n", bylined, 2, "Expected 'subj to' (or similar) in line\nend\n"},
  {"TwoTermsWithoutSign", replace_all(plainfile, "+ 2 y", "2 y"), bylined, 2, "Expected 'subj to'"},
  {"ObjectiveRelation", replace_all(plainfile, "2 y", "2 y <= 4"), bylined, 2, "Expected 'subj to'"},
  {"SignAtTheEnd", replace_all(plainfile, "2 y", ""), byplace, 3, "Expected a variable in line\nst\n"},
  {"TwoNumbers", replace_all(plainfile, "2 y", "2 3 y"), bylined, 2, "Expected 'subj to'"},
  {"Product", replace_all(plainfile, "2 y", "2 * 3"), byplace, 2, "Expected a variable in line\n"},
  {"NoRelation", replace_all(plainfile, "3 x <= 4", "3 x"), byplace, 5, "Expected '<' or '<=' in line\n"},
  {"NoRightSide", replace_all(plainfile, ">= -1", ">="), byplace, 6, "Expected a number in line\nend\n"},
  {"ThreeSigns", replace_all(plainfile, "<= 4", "<> 4"), byplace, 4, "Expected a number in line\n"},
  {"CutOffInARow", plainfile.substr(0, plainfile.find(">=") + 2), bylined, 5, "The file ends here."},
  {"CutOffInANumber", plainfile.substr(0, plainfile.find("-1") + 2), bylined, 5, "Expected keyword 'end' in line\n"},
  {"RangeBothWays", onerow("r: 1 <= x >= 4"), byplace, 4, "Expected '<' or '<=' in line\nr: 1 <= x >= 4\n"},
  {"RangeOfEquality", onerow("r: 1 = x = 4"), byplace, 4, "Expected '<' or '<='"},
  {"RangeOfThreeSums", onerow("r: x <= y <= 4"), byplace, 4, "Expected a number"},
  {"RangeEndsInVariable", onerow("r: 1 <= x <= y"), byplace, 5, "Variables may stand in the middle only."},
  {"NeverHolds", onerow("r: x >= inf\ns: y >= 1"), byplace, 5, "Expected a number"},
  {"InfiniteEquality", onerow("r: x = -inf"), byplace, 5, "can never hold"},
  {"InfinityInASum", onerow("r: x + inf >= 2"), byplace, 4, "An infinity cannot be a part of a sum."},
  {"Nan", onerow("r: nan x >= 2"), byplace, 4, "It is not a number."},
  {"NanRight", onerow("r: x >= NaN"), byplace, 4, "It is not a number."},
  {"TooLarge", onerow("r: 1e400 x >= 2"), byplace, 4, "The number is too large."},
  {"SumTooLarge", onerow("r: 1e308 x + 1.7e308 x >= 2"), byplace, 4, "The sum is too large."},
  {"NumberWithTwoPoints", onerow("r: x >= 1.2.3"), byplace, 4, "The number does not end here."},
  {"BareExponent", with("bounds\n x <= 3e\n"), byplace, 7, "Expected a number in line\n x <= 3e\n"},
  {"HugeCost", replace_all(plainfile, "2 y", "1e17 y"), ZLV_RES_ERR_HUGE_C, 2, "'y'"},
  {"DuplicateRow", replace_all(plainfile, "r2", "r1"), ZLV_RES_ERR_LP_DUP_SLACK_NAME, 5, "The slack variable name 'r1' is defined multiple times."},
  {"LabelTwice", onerow("r: s: x >= 2"), byplace, 4, "Expected '<'"},
  {"QuoteNotClosed", replace_all(plainfile, "2 y", "2 \"y"), byplace, 2, "A quotation mark is not closed."},
  {"QuoteEmpty", replace_all(plainfile, "2 y", "2 \"\""), byplace, 2, "A name is empty."},
  {"QuoteControl", replace_all(plainfile, "2 y", "2 \"a\tb\""), byplace, 2, "A name holds control characters."},
  {"ZeroByte", replace_all(plainfile, "- y", std::string("- y\0", 4)), byplace, 5, "This character cannot stand here."},
  {"Bracket", replace_all(plainfile, "- y", "- ] y"), byplace, 5, "Expected a variable in line\n"},
  {"BoundUnknown", with("bounds\n z <= 3\n"), unknown, 7, "The variable name 'z' did not occur in objective or constraints."},
  {"GeneralUnknown", with("general\n x z\n"), unknown, 7, "'z'"},
  {"BoundNan", with("bounds\n x <= nan\n"), byplace, 7, "It is not a number."},
  {"BoundTooLarge", with("bounds\n x <= 1e400\n"), byplace, 7, "The number is too large."},
  {"BoundGlued", with("bounds\n x <= 1.0x3\n"), byplace, 7, "Expected a number in line\n x <= 1.0x3\n"},
  {"BoundWithoutValue", with("bounds\n x <=\n"), byplace, 8, "Expected a number in line\nend\n"},
  {"BoundCoefficient", with("bounds\n 2 x <= 3\n"), byplace, 7, "Expected '<' or '<='"},
  {"BoundOfNumbers", with("bounds\n 2 <= 3\n"), byplace, 7, "Expected a variable in line\n 2 <= 3\n"},
  {"BoundWord", with("bounds\n x unbounded\n"), byplace, 7, "Expected keyword 'free' in line\n x unbounded\n"},
  {"BoundBothWays", with("bounds\n 1 <= x >= 3\n"), byplace, 7, "Both relations must point the same way."},
  {"BoundSymbol", with("bounds\n * x >= 3\n"), byplace, 7, "Expected a variable in line\n * x >= 3\n"},
  {"BoundNeverHolds", with("bounds\n x >= +inf\n"), byplace, 8, "can never hold"},
  {"BoundEqualsInfinity", with("bounds\n x = inf\n"), byplace, 8, "can never hold"},
  {"GeneralNumber", with("general\n 5\n"), byplace, 7, "Expected a varaible name in line\n 5\n"},
  {"SemiContinuous", with("semi-continuous\n x\n"), bylined, 6, "Semi-continuous variables are not supported."},
  {"Sos", with("sos\n s1: S1:: x:1\n"), bylined, 6, "Special ordered sets are not supported."},
  {"Lazy", with("lazy constraints\n x <= 1\n"), bylined, 6, "Lazy constraints are not supported."},
  {"GeneralConstraints", with("general constraints\n"), bylined, 6, "General constraints are not supported."},
  {"QuadEmpty", quad("+ [ ]/2"), byplace, 2, "Expected a variable name in line\n"},
  {"QuadLinear", quad("+ [ x + y^2 ]/2"), byplace, 2, "Expected either '*' or '^' in line\n"},
  {"QuadCubic", quad("+ [ x^3 ]/2"), byplace, 2, "The exponent must be 2."},
  {"QuadDivisor", quad("+ [ x^2 ]/3"), byplace, 2, "The divisor must be 2."},
  {"QuadNotClosed", quad("+ [ x^2 + y*x"), byplace, 3, "A sign or a closing bracket is missing."},
  {"QuadProductOfNumber", quad("+ [ x * 2 ]/2"), byplace, 2, "Expected a variable name in line\n"},
  {"QuadNested", quad("+ [ [ x^2 ]/2 ]/2"), byplace, 2, "Expected a variable name"},
  {"QuadTooLarge", quad("+ [ 1.7e308 x^2 ]"), byplace, 3, "too large"},
};
// clang-format on

void apply(ZLV_task_t task, const settings& set) {
  for (const auto& [which, value] : set) ASSERT_EQ(ZLV_putintparam(task, which, value), ZLV_RES_OK);
}

TEST(LpRead, DialectsAreReadAsMeant) {
  const test_folder folder;
  for (const valid_case& c : valid) {
    SCOPED_TRACE(c.name);
    api_box box;
    apply(box.task, c.set);
    const std::string file = folder.put("case.lp", c.text);
    EXPECT_EQ(ZLV_readdata(box.task, file.c_str()), ZLV_RES_OK) << box.err();
    EXPECT_EQ(problem_text(box.task), c.meaning);
    EXPECT_EQ(box.err(), "");
    EXPECT_EQ(box.close(), ZLV_RES_OK);
  }
}

TEST(LpRead, BrokenFilesAreRefusedAtTheirPlaceAndChangeNothing) {
  const test_folder folder;
  const std::string good = folder.put("good.lp", replace_all(plainfile, "min", "max"));
  for (const bad_case& c : bad) {
    SCOPED_TRACE(c.name);
    api_box box;
    ASSERT_EQ(ZLV_readdata(box.task, good.c_str()), ZLV_RES_OK) << box.err();
    const std::string before = problem_text(box.task);
    box.forget();
    const std::string file = folder.put("case.lp", c.text);
    EXPECT_EQ(ZLV_readdata(box.task, file.c_str()), c.code) << box.err();
    EXPECT_EQ(problem_text(box.task), before);
    EXPECT_NE(box.err().find(file + ", line " + std::to_string(c.line) + ", column "),
              std::string::npos)
        << box.err();
    EXPECT_NE(box.err().find(c.says), std::string::npos) << box.err();
    EXPECT_TRUE(std::all_of(box.err().begin(), box.err().end(),
                            [](char b) { return b == '\n' || (b >= ' ' && b <= '~'); }));
    EXPECT_EQ(box.close(), ZLV_RES_OK);
  }
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
  EXPECT_EQ(ZLV_readdata(box.task, wrong.c_str()), byplace);
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

TEST(LpRead, OutOfSpaceLeavesTheTaskAsItWas) {
  const test_folder folder;
  const std::string old = folder.put("old.lp", plainfile);
  const std::string file =
      folder.put("new.lp",
                 "max\n o: x + 2 y + [ x^2 + x * z ]/2\nst\n r1: 1 <= 3 x + z <= 4\n"
                 " r2: x - y + [ y^2 ] <= 1\nbounds\n x <= 3\ngeneral\n y\nend\n");
  for (long k = 0;; ++k) {
    faulty_alloc from;
    api_box box(&from);
    ASSERT_EQ(ZLV_readdata(box.task, old.c_str()), ZLV_RES_OK);
    const std::string before = problem_text(box.task);
    from.failat = from.numcalls + k;
    const int32_t r = ZLV_readdata(box.task, file.c_str());
    from.failat = -1;
    if (r == ZLV_RES_OK) {
      EXPECT_GT(k, 20);
      break;
    }
    ASSERT_EQ(r, ZLV_RES_ERR_SPACE) << k << box.err();
    ASSERT_EQ(problem_text(box.task), before) << k;
    ASSERT_EQ(box.close(), ZLV_RES_OK) << k;
    ASSERT_EQ(from.numlive, 0) << k;
  }
}

}  // namespace
