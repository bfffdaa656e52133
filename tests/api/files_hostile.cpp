// Hostile files of every format: each is refused with its code, line and exit status, changes nothing,
// and what is told about it is printable.
#include <sys/wait.h>

#include <cstdlib>
#include <cstring>
#include <random>

#include "support/model_texts.h"

namespace {

struct bad_case {
  const char* name;
  std::string text;
  int32_t code, line;  // line 0: the file as a whole
  settings set = {};
  const char* says = "";  // a part of the messages
};

namespace mps {
using namespace mps_text;
const settings strict = {{ZLV_IPAR_READ_MPS_FORMAT, ZLV_MPS_FORMAT_STRICT}};

// clang-format off
const std::vector<bad_case> bad = {
  {"Empty", "", ZLV_RES_ERR_MPS_FILE, 0, {}},
  {"Bytes", std::string("\x01\xFE\x80\x00z\n\xFF", 7), ZLV_RES_ERR_MPS_FILE, 1, {}},
  {"Words", "hello world\n", ZLV_RES_ERR_MPS_INV_SEC_NAME, 1, {}},
  {"LowerCaseSection", replace_all(plainfile, "ROWS", "rows"), ZLV_RES_ERR_MPS_INV_SEC_NAME, 2, {}},
  {"DataFirst", "  a b c\n", ZLV_RES_ERR_MPS_FILE, 1, {}},
  {"CutOff", head, ZLV_RES_ERR_MPS_FILE, 8, {}},
  {"CutOffInALine", plainfile.substr(0, plainfile.size() - 12), ZLV_RES_ERR_MPS_INV_FIELD, 10, {}},
  {"NoColumns", rows + "ENDATA\n", ZLV_RES_ERR_MPS_INV_SEC_ORDER, 6, {}},
  {"ColumnsFirst", "COLUMNS\n", ZLV_RES_ERR_MPS_INV_SEC_ORDER, 1, {}},
  {"RowsTwice", rows + "ROWS\n", ZLV_RES_ERR_MPS_INV_SEC_ORDER, 6, {}},
  {"RhsTwice", replace_all(plainfile, "ENDATA", "RHS\nENDATA"), ZLV_RES_ERR_MPS_INV_SEC_ORDER, 11, {}},
  {"BoundsBeforeColumns", rows + "BOUNDS\n", ZLV_RES_ERR_MPS_INV_SEC_ORDER, 6, {}},
  {"UnknownSection", replace_all(plainfile, "ENDATA", "INDICATORS\nENDATA"), ZLV_RES_ERR_MPS_INV_SEC_NAME, 11, {}},
  {"DataInColumnOne", replace_all(plainfile, "    B  r1", "RHS r1"), ZLV_RES_ERR_MPS_INV_SEC_ORDER, 10, {}},
  {"DataOnTheHead", replace_all(plainfile, "RHS\n    B  r1", "RHS B r1"), ZLV_RES_ERR_MPS_INV_FIELD, 9, {}},
  {"Sets", replace_all(plainfile, "ENDATA", "SETS\n S1 a\nENDATA"), ZLV_RES_ERR_MPS_FILE, 12, {}},
  {"NoObjective", "ROWS\n L  r1\nCOLUMNS\n", ZLV_RES_ERR_MPS_NO_OBJECTIVE, 3, {}},
  {"RowType", replace_all(plainfile, " G  r2", " X  r2"), ZLV_RES_ERR_MPS_INV_CON_KEY, 5, {}},
  {"RowWithoutName", replace_all(plainfile, " G  r2", " G"), ZLV_RES_ERR_MPS_INV_FIELD, 5, {}},
  {"RowWithEmptyName", replace_all(plainfile, " G  r2", " G  \"\""), ZLV_RES_ERR_MPS_NULL_CON_NAME, 5, {}},
  {"ColumnWithEmptyName", replace_all(plainfile, "    y  r2", "    \"\"  r2"), ZLV_RES_ERR_MPS_NULL_VAR_NAME, 8, {}},
  {"OpenQuote", replace_all(plainfile, " G  r2", " G  \"r2"), ZLV_RES_ERR_MPS_INV_FIELD, 5, {}},
  {"RowTwice", replace_all(plainfile, " G  r2", " G  r1"), ZLV_RES_ERR_MPS_MUL_CON_NAME, 5, {}},
  {"UnknownRow", replace_all(plainfile, "y  r2", "y  r3"), ZLV_RES_ERR_MPS_UNDEF_CON_NAME, 8, {}},
  {"UnknownRowInRhs", replace_all(plainfile, "B  r1", "B  r9"), ZLV_RES_ERR_MPS_UNDEF_CON_NAME, 10, {}},
  {"UnknownRowInOtherVector", replace_all(plainfile, "r1  4\n", "r1  4\n    C  r9  4\n"), ZLV_RES_ERR_MPS_UNDEF_CON_NAME, 11, {}},
  {"UnknownColumn", bounds(" UP b z 5\n"), ZLV_RES_ERR_MPS_UNDEF_VAR_NAME, 12, {}},
  {"SplitColumn", replace_all(plainfile, "RHS", "    x  r2  3\nRHS"), ZLV_RES_ERR_MPS_SPLITTED_VAR, 9, {}},
  {"SameElementTwice", replace_all(plainfile, "obj  1  r1", "r1  1  r1"), ZLV_RES_ERR_MUL_A_ELEMENT, 7, {}},
  {"SameCostTwice", replace_all(plainfile, "obj  1  r1", "obj  1  obj"), ZLV_RES_ERR_MUL_A_ELEMENT, 7, {}},
  {"SameRhsTwice", replace_all(plainfile, "r1  4", "r1  4  r1  5"), ZLV_RES_ERR_MPS_FILE, 10, {}},
  {"NumberWithLetters", replace_all(plainfile, "r2  3", "r2  1.0x3"), ZLV_RES_ERR_MPS_INV_FIELD, 8, {}},
  {"NumberNan", replace_all(plainfile, "r2  3", "r2  nan"), ZLV_RES_ERR_MPS_INV_FIELD, 8, {}},
  {"NumberInf", replace_all(plainfile, "r2  3", "r2  inf"), ZLV_RES_ERR_MPS_INV_FIELD, 8, {}},
  {"NumberTooLarge", replace_all(plainfile, "r2  3", "r2  1e400"), ZLV_RES_ERR_MPS_INV_FIELD, 8, {}},
  {"NumberTooLargeNegative", replace_all(plainfile, "r2  3", "r2  -1D400"), ZLV_RES_ERR_MPS_INV_FIELD, 8, {}},
  {"NumberHex", replace_all(plainfile, "r2  3", "r2  0x10"), ZLV_RES_ERR_MPS_INV_FIELD, 8, {}},
  {"NumberComma", replace_all(plainfile, "r2  3", "r2  3,5"), ZLV_RES_ERR_MPS_INV_FIELD, 8, {}},
  {"NumberTwoSigns", replace_all(plainfile, "r2  3", "r2  +-3"), ZLV_RES_ERR_MPS_INV_FIELD, 8, {}},
  {"NumberBareExponent", replace_all(plainfile, "r2  3", "r2  3e"), ZLV_RES_ERR_MPS_INV_FIELD, 8, {}},
  {"BoundNan", bounds(" UP b x nan\n"), ZLV_RES_ERR_MPS_INV_FIELD, 12, {}},
  {"BoundTooLarge", bounds(" UP b x 1e400\n"), ZLV_RES_ERR_MPS_INV_FIELD, 12, {}},
  {"BoundWithoutValue", bounds(" UP b x\n"), ZLV_RES_ERR_MPS_INV_FIELD, 12, {}},
  {"BoundKey", bounds(" XX b x 5\n"), ZLV_RES_ERR_MPS_INV_BOUND_KEY, 12, {}},
  {"SemiContinuous", bounds(" SC b x 5\n"), ZLV_RES_ERR_MPS_INV_BOUND_KEY, 12, {}},
  {"HugeCost", replace_all(plainfile, "obj  1", "obj  1e17"), ZLV_RES_ERR_HUGE_C, 7, {}},
  {"TooManyFields", replace_all(plainfile, "r2  3", "r2  3  r1  4  obj  5"), ZLV_RES_ERR_MPS_INV_FIELD, 8, {}},
  {"TooFewFields", replace_all(plainfile, "r2  3", "r2"), ZLV_RES_ERR_MPS_INV_FIELD, 8, {}},
  {"Marker", rows + "COLUMNS\n  M 'MARKER' 'INTBEG'\n", ZLV_RES_ERR_MPS_INV_MARKER, 7, {}},
  {"MarkerTwice", rows + "COLUMNS\n  M 'MARKER' 'INTORG'\n  M 'MARKER' 'INTORG'\n", ZLV_RES_ERR_MPS_INV_MARKER, 8, {}},
  {"MarkerEndOnly", rows + "COLUMNS\n  M 'MARKER' 'INTEND'\n", ZLV_RES_ERR_MPS_INV_MARKER, 7, {}},
  {"Objsense", replace_all(plainfile, "ROWS", "OBJSENSE\n  UP\nROWS"), ZLV_RES_ERR_MPS_INVALID_OBJSENSE, 3, {}},
  {"ZeroByte", replace_all(plainfile, "y  r2", std::string("y\0  r2", 6)), ZLV_RES_ERR_MPS_FILE, 8, {}},
  {"LongLine", replace_all(plainfile, "    y", "    " + std::string(2000, 'y')), ZLV_RES_ERR_MPS_FILE, 8, {}},
  {"MillionCharacters", "NAME " + std::string(1000000, 'n') + "\n", ZLV_RES_ERR_MPS_FILE, 1, {}},
  {"QuadobjTwice", replace_all(plainfile, "ENDATA", "QUADOBJ\nQSECTION obj\nENDATA"), ZLV_RES_ERR_MPS_MUL_QOBJ, 12, {}},
  {"QsectionTwice", replace_all(plainfile, "ENDATA", "QSECTION r1\nQSECTION r1\nENDATA"), ZLV_RES_ERR_MPS_MUL_QSEC, 12, {}},
  {"QsectionUnknown", replace_all(plainfile, "ENDATA", "QSECTION r7\nENDATA"), ZLV_RES_ERR_MPS_UNDEF_CON_NAME, 11, {}},
  {"QsectionUnnamed", replace_all(plainfile, "ENDATA", "QSECTION\nENDATA"), ZLV_RES_ERR_MPS_NULL_CON_NAME, 11, {}},
  {"QuadobjUnknown", replace_all(plainfile, "ENDATA", "QUADOBJ\n x z 1\nENDATA"), ZLV_RES_ERR_MPS_UNDEF_VAR_NAME, 12, {}},
  {"ConeType", replace_all(plainfile, "ENDATA", "CSECTION k 0 CIRCLE\n x\nENDATA"), ZLV_RES_ERR_MPS_CONE_TYPE, 11, {}},
  {"ConeTwice", replace_all(plainfile, "ENDATA", "CSECTION k 0 QUAD\n x\nCSECTION k 0 QUAD\n y\nENDATA"), ZLV_RES_ERR_MPS_MUL_CSEC, 13, {}},
  {"ConeOverlap", replace_all(plainfile, "ENDATA", "CSECTION k 0 QUAD\n x\nCSECTION l 0 QUAD\n x\nENDATA"), ZLV_RES_ERR_MPS_CONE_OVERLAP, 14, {}},
  {"ConeRepeat", replace_all(plainfile, "ENDATA", "CSECTION k 0 QUAD\n x\n x\nENDATA"), ZLV_RES_ERR_MPS_CONE_REPEAT, 13, {}},
  {"ConeTooSmall", replace_all(plainfile, "ENDATA", "CSECTION k 0 RQUAD\n x\nENDATA"), ZLV_RES_ERR_CONE_SIZE, 13, {}},
  {"NotRelaxed", bounds(" UP b x -1\n"), ZLV_RES_ERR_MPS_FILE, 0, {{ZLV_IPAR_READ_MPS_RELAX, ZLV_OFF}}},
  {"StrictTab2", "ROWS\n N  \to\n", ZLV_RES_ERR_MPS_TAB_IN_FIELD2, 2, strict},
  {"StrictTab3", "ROWS\n N  o\nCOLUMNS\n    x         \to       1\n", ZLV_RES_ERR_MPS_TAB_IN_FIELD3, 4, strict},
  {"StrictTab5", "ROWS\n N  o\nCOLUMNS\n    x         o                  1.0   \tr\n", ZLV_RES_ERR_MPS_TAB_IN_FIELD5, 4, strict},
  {"StrictBetweenFields", "ROWS\n N  longername\n", ZLV_RES_ERR_MPS_INV_FIELD, 2, strict},
  {"GzipCutOff", gzip(plainfile).substr(0, 60), ZLV_RES_ERR_END_OF_FILE, 0, {}},
  {"GzipCorrupt", replace_all(gzip(plainfile), gzip(plainfile).substr(40, 4), "abcd"), ZLV_RES_ERR_FILE_READ, 0, {}},
  {"GzipTrailingGarbage", gzip(plainfile) + "x", ZLV_RES_ERR_END_OF_FILE, 0, {}},
};
// clang-format on
}  // namespace mps

namespace lp {
using namespace lp_text;
constexpr int32_t bylined = ZLV_RES_ERR_LP_FORMAT, byplace = ZLV_RES_ERR_LP_FILE_FORMAT;
constexpr int32_t unknown = ZLV_RES_ERR_READ_LP_NONEXISTING_NAME;

// clang-format off
const std::vector<bad_case> bad = {
  {"Empty", "", bylined, 0, {}, "Expected objective sense (min or max) in line\n"},
  {"OnlyComment", "\\ min x\n", bylined, 1, {}, "Expected objective sense (min or max) in line\n\\ min x\n"},
  {"Bytes", std::string("\x01\xFE\x80\x00z\n\xFF", 7), bylined, 1, {}, "Expected objective sense"},
  {"Words", "hello world\n", bylined, 1, {}, "Expected objective sense (min or max) in line\nhello world\n"},
  {"Mps", "NAME\nROWS\n N obj\n", bylined, 1, {}, "Expected objective sense"},
  {"SenseOnly", "max", bylined, 1, {}, "Expected 'subj to' (or similar) in line\nmax\n"},
  {"NoConstraints", "min x\nbounds\n x <= 4\nend\n", bylined, 2, {}, "Expected 'subj to' (or similar) in line\nbounds\n"},
  {"EndFirst", "min x\nend\n", bylined, 2, {}, "Expected 'subj to' (or similar) in line\nend\n"},
  {"TwoTermsWithoutSign", replace_all(plainfile, "+ 2 y", "2 y"), bylined, 2, {}, "Expected 'subj to'"},
  {"ObjectiveRelation", replace_all(plainfile, "2 y", "2 y <= 4"), bylined, 2, {}, "Expected 'subj to'"},
  {"SignAtTheEnd", replace_all(plainfile, "2 y", ""), byplace, 3, {}, "Expected a variable in line\nst\n"},
  {"TwoNumbers", replace_all(plainfile, "2 y", "2 3 y"), bylined, 2, {}, "Expected 'subj to'"},
  {"Product", replace_all(plainfile, "2 y", "2 * 3"), byplace, 2, {}, "Expected a variable in line\n"},
  {"NoRelation", replace_all(plainfile, "3 x <= 4", "3 x"), byplace, 5, {}, "Expected '<' or '<=' in line\n"},
  {"NoRightSide", replace_all(plainfile, ">= -1", ">="), byplace, 6, {}, "Expected a number in line\nend\n"},
  {"ThreeSigns", replace_all(plainfile, "<= 4", "<> 4"), byplace, 4, {}, "Expected a number in line\n"},
  {"CutOffInARow", plainfile.substr(0, plainfile.find(">=") + 2), bylined, 5, {}, "The file ends here."},
  {"CutOffInANumber", plainfile.substr(0, plainfile.find("-1") + 2), bylined, 5, {}, "Expected keyword 'end' in line\n"},
  {"RangeBothWays", onerow("r: 1 <= x >= 4"), byplace, 4, {}, "Expected '<' or '<=' in line\nr: 1 <= x >= 4\n"},
  {"RangeOfEquality", onerow("r: 1 = x = 4"), byplace, 4, {}, "Expected '<' or '<='"},
  {"RangeOfThreeSums", onerow("r: x <= y <= 4"), byplace, 4, {}, "Expected a number"},
  {"RangeEndsInVariable", onerow("r: 1 <= x <= y"), byplace, 5, {}, "Variables may stand in the middle only."},
  {"NeverHolds", onerow("r: x >= inf\ns: y >= 1"), byplace, 5, {}, "Expected a number"},
  {"InfiniteEquality", onerow("r: x = -inf"), byplace, 5, {}, "can never hold"},
  {"InfinityInASum", onerow("r: x + inf >= 2"), byplace, 4, {}, "An infinity cannot be a part of a sum."},
  {"Nan", onerow("r: nan x >= 2"), byplace, 4, {}, "It is not a number."},
  {"NanRight", onerow("r: x >= NaN"), byplace, 4, {}, "It is not a number."},
  {"TooLarge", onerow("r: 1e400 x >= 2"), byplace, 4, {}, "The number is too large."},
  {"SumTooLarge", onerow("r: 1e308 x + 1.7e308 x >= 2"), byplace, 4, {}, "The sum is too large."},
  {"NumberWithTwoPoints", onerow("r: x >= 1.2.3"), byplace, 4, {}, "The number does not end here."},
  {"BareExponent", with("bounds\n x <= 3e\n"), byplace, 7, {}, "Expected a number in line\n x <= 3e\n"},
  {"HugeCost", replace_all(plainfile, "2 y", "1e17 y"), ZLV_RES_ERR_HUGE_C, 2, {}, "'y'"},
  {"DuplicateRow", replace_all(plainfile, "r2", "r1"), ZLV_RES_ERR_LP_DUP_SLACK_NAME, 5, {}, "The slack variable name 'r1' is defined multiple times."},
  {"LabelTwice", onerow("r: s: x >= 2"), byplace, 4, {}, "Expected '<'"},
  {"QuoteNotClosed", replace_all(plainfile, "2 y", "2 \"y"), byplace, 2, {}, "A quotation mark is not closed."},
  {"QuoteEmpty", replace_all(plainfile, "2 y", "2 \"\""), byplace, 2, {}, "A name is empty."},
  {"QuoteControl", replace_all(plainfile, "2 y", "2 \"a\tb\""), byplace, 2, {}, "A name holds control characters."},
  {"ZeroByte", replace_all(plainfile, "- y", std::string("- y\0", 4)), byplace, 5, {}, "This character cannot stand here."},
  {"Bracket", replace_all(plainfile, "- y", "- ] y"), byplace, 5, {}, "Expected a variable in line\n"},
  {"BoundUnknown", with("bounds\n z <= 3\n"), unknown, 7, {}, "The variable name 'z' did not occur in objective or constraints."},
  {"GeneralUnknown", with("general\n x z\n"), unknown, 7, {}, "'z'"},
  {"BoundNan", with("bounds\n x <= nan\n"), byplace, 7, {}, "It is not a number."},
  {"BoundTooLarge", with("bounds\n x <= 1e400\n"), byplace, 7, {}, "The number is too large."},
  {"BoundGlued", with("bounds\n x <= 1.0x3\n"), byplace, 7, {}, "Expected a number in line\n x <= 1.0x3\n"},
  {"BoundWithoutValue", with("bounds\n x <=\n"), byplace, 8, {}, "Expected a number in line\nend\n"},
  {"BoundCoefficient", with("bounds\n 2 x <= 3\n"), byplace, 7, {}, "Expected '<' or '<='"},
  {"BoundOfNumbers", with("bounds\n 2 <= 3\n"), byplace, 7, {}, "Expected a variable in line\n 2 <= 3\n"},
  {"BoundWord", with("bounds\n x unbounded\n"), byplace, 7, {}, "Expected keyword 'free' in line\n x unbounded\n"},
  {"BoundBothWays", with("bounds\n 1 <= x >= 3\n"), byplace, 7, {}, "Both relations must point the same way."},
  {"BoundSymbol", with("bounds\n * x >= 3\n"), byplace, 7, {}, "Expected a variable in line\n * x >= 3\n"},
  {"BoundNeverHolds", with("bounds\n x >= +inf\n"), byplace, 8, {}, "can never hold"},
  {"BoundEqualsInfinity", with("bounds\n x = inf\n"), byplace, 8, {}, "can never hold"},
  {"GeneralNumber", with("general\n 5\n"), byplace, 7, {}, "Expected a varaible name in line\n 5\n"},
  {"SemiContinuous", with("semi-continuous\n x\n"), bylined, 6, {}, "Semi-continuous variables are not supported."},
  {"Sos", with("sos\n s1: S1:: x:1\n"), bylined, 6, {}, "Special ordered sets are not supported."},
  {"Lazy", with("lazy constraints\n x <= 1\n"), bylined, 6, {}, "Lazy constraints are not supported."},
  {"GeneralConstraints", with("general constraints\n"), bylined, 6, {}, "General constraints are not supported."},
  {"QuadEmpty", quad("+ [ ]/2"), byplace, 2, {}, "Expected a variable name in line\n"},
  {"QuadLinear", quad("+ [ x + y^2 ]/2"), byplace, 2, {}, "Expected either '*' or '^' in line\n"},
  {"QuadCubic", quad("+ [ x^3 ]/2"), byplace, 2, {}, "The exponent must be 2."},
  {"QuadDivisor", quad("+ [ x^2 ]/3"), byplace, 2, {}, "The divisor must be 2."},
  {"QuadNotClosed", quad("+ [ x^2 + y*x"), byplace, 3, {}, "A sign or a closing bracket is missing."},
  {"QuadProductOfNumber", quad("+ [ x * 2 ]/2"), byplace, 2, {}, "Expected a variable name in line\n"},
  {"QuadNested", quad("+ [ [ x^2 ]/2 ]/2"), byplace, 2, {}, "Expected a variable name"},
  {"QuadTooLarge", quad("+ [ 1.7e308 x^2 ]"), byplace, 3, {}, "too large"},
};
// clang-format on
}  // namespace lp

namespace opf {
using namespace opf_text;
constexpr int32_t syntax = ZLV_RES_ERR_OPF_FORMAT;
const std::string params = "[vendor zalvo]\n[parameters]\n[p ";
const std::string closed =
    replace_all(plainfile, "[variables]", "[variables disallow_new_variables]");

// clang-format off
const std::vector<bad_case> bad = {
  {"Empty", "", syntax, 0, {}, "The file ends here."},
  {"OnlyComment", "# nothing\n", syntax, 1},
  {"Bytes", std::string("\x01\xFE\x80\x00z\n\xFF", 7), syntax, 1},
  {"Words", "hello world\n", syntax, 1, {}, "Outside of the sections"},
  {"Lp", lp_text::plainfile, syntax, 1},
  {"UnknownTag", "[objectiv min]\n", syntax, 1, {}, "Unknown tag [objectiv]\n"},
  {"NoTagName", "[ ]\n", syntax, 1, {}, "A tag needs a name."},
  {"IllegalTag", "[con c] [/con]\n", syntax, 1, {}, "Illegal use of tag [con]\n"},
  {"TagInTheObjective", objective("x [b] x free [/b]"), syntax, 5, {}, "Illegal use of tag [b]\n"},
  {"TwoObjectives", plainfile + "[objective min]\n[/objective]", syntax, 14, {}, "Illegal use of tag [objective]\n"},
  {"EndTagOnly", "[/bounds]\n", syntax, 1, {}, "Unmatched end-tag\n"},
  {"WrongEndTag", replace_all(plainfile, "[/variables]", "[/variable]"), syntax, 3, {}, "Unmatched end-tag\n"},
  {"CutOff", plainfile.substr(0, plainfile.size() - 5), syntax, 13},
  {"CutOffInASection", plainfile.substr(0, plainfile.find("[con r2]")), syntax, 8, {}, "The file ends here."},
  {"CommentNotEnded", "[comment]\nx\n[/commen]\n", syntax, 3, {}, "The file ends here."},
  {"TagNotClosed", replace_all(plainfile, "[variables]", "[variables x"), syntax, 1},
  {"NewVariable", replace_all(closed, "x - y", "x - z"), syntax, 9, {}, "Section [variables] forbids later addition of new variables.\n"},
  {"NewVariableInBounds", replace_all(closed, "0 <= *", "z free"), syntax, 12, {}, "'z'"},
  {"NoSense", replace_all(plainfile, "min 'o'", ""), syntax, 4, {}, "In section objective: An objective sense is required\n"},
  {"WrongSense", replace_all(plainfile, "min 'o'", "up"), syntax, 4, {}, "In section objective: Expected 'maximize' or 'minimize'\n"},
  {"TwoTermsWithoutSign", objective("x 2 y"), syntax, 5, {}, "Unexpected text in objective definition\n"},
  {"ObjectiveRelation", objective("x <= 4"), syntax, 5, {}, "Unexpected text in objective definition\n"},
  {"ObjectiveInfinite", objective("inf"), syntax, 6},
  {"SignAtTheEnd", objective("x +"), syntax, 6, {}, "A number or a variable is missing."},
  {"ClosingOnly", objective("x )"), syntax, 5, {}, "Unmatched closing parentes\n"},
  {"EmptyGroup", objective("x + 0.5 ()"), syntax, 5},
  {"NestedGroup", objective("0.5 ( x + ( y ) )"), syntax, 5, {}, "Paranteses may not be nested\n"},
  {"OpenGroup", objective("0.5 ( x "), syntax, 6, {}, "A closing parenthesis is missing."},
  {"Cubic", objective("x ^ 3"), syntax, 5, {}, "The exponent must be 2."},
  {"ProductOfNumber", objective("x * 2"), syntax, 5, {}, "A product needs a second variable."},
  {"HugeCost", objective("1e17 y"), ZLV_RES_ERR_HUGE_C, 5, {}, "'y'"},
  {"Nan", objective("nan x"), syntax, 5, {}, "It is not a number."},
  {"TooLarge", objective("1e400 x"), syntax, 5, {}, "The number is too large."},
  {"NumberWithLetters", objective("1.0x3"), syntax, 5, {}, "The number does not end"},
  {"QuadTooLarge", objective("1.7e308 x ^ 2"), syntax, 6, {}, "too large"},
  {"QuadSumTooLarge", objective("1e308 x * y + 1e308 y * x"), ZLV_RES_ERR_NAN_IN_DOUBLE_DATA, 0, {}, "too large"},
  {"ZeroByte", replace_all(plainfile, "x y", std::string("x\0 y", 4)), syntax, 2},
  {"ZeroByteQuoted", replace_all(plainfile, "x y", std::string("'x\0' y", 6)), syntax, 2, {}, "A name holds a zero byte."},
  {"QuoteNotClosed", replace_all(plainfile, "x y", "x 'y"), syntax, 2, {}, "A quotation mark is not closed."},
  {"EmptyName", replace_all(plainfile, "x y", "x ''"), syntax, 2, {}, "A name is empty."},
  {"NoRelation", row("3 x"), syntax, 8, {}, "A constraint needs a relation."},
  {"NoRightSide", row("3 x <="), syntax, 8, {}, "Expected a numeric value\n"},
  {"RangeBothWays", row("1 <= x >= 4"), syntax, 8, {}, "Both relations must point the same way."},
  {"RangeOfThreeSums", row("x <= y <= 4"), syntax, 8},
  {"NeverHolds", row("x >= inf"), syntax, 8, {}, "can never hold"},
  {"DuplicateRow", replace_all(plainfile, "r2", "r1"), syntax, 9, {}, "Another constraint has this name."},
  {"BoundUpperTwice", bounds("[b] 3 >= x <= 4 [/b]"), syntax, 13, {}, "Upper bound was specified twice in bound\n"},
  {"BoundUpperTwiceBehind", bounds("[b] x <= 3 <= 4 [/b]"), syntax, 13, {}, "Upper bound was specified twice in bound\n"},
  {"BoundLowerTwice", bounds("[b] 3 <= x >= 4 [/b]"), syntax, 13, {}, "Lower bound was specified twice in bound\n"},
  {"BoundEqualTwice", bounds("[b] 3 <= x = 4 [/b]"), syntax, 13, {}, "Both equality and inequality was given in bound\n"},
  {"BoundAndFree", bounds("[b] 3 <= x free [/b]"), syntax, 13, {}, "Both bound and 'free' was specified in bound\n"},
  {"BoundWord", bounds("[b] x unbounded [/b]"), syntax, 13, {}, "Expectec keyword 'free' at bound\n"},
  {"BoundOnly", bounds("[b] 5 [/b]"), syntax, 13, {}, "Extected a bound\n"},
  {"BoundNothing", bounds("[b] [/b]"), syntax, 13, {}, "Error reading bound\n"},
  {"BoundNameOnly", bounds("[b] x [/b]"), syntax, 13, {}, "Expected upper bound or 'free'\n"},
  {"BoundNoUpper", bounds("[b] x <= y [/b]"), syntax, 13, {}, "Error reading upper bound\n"},
  {"BoundNoLower", bounds("[b] x >= [/b]"), syntax, 13, {}, "Error reading lower bound\n"},
  {"BoundSign", bounds("[b] - <= x [/b]"), syntax, 13, {}, "Expected a numeric value\n"},
  {"BoundNan", bounds("[b] x <= nan [/b]"), syntax, 13, {}, "Error in numeric value\n"},
  {"BoundText", bounds("[b] x <= 4 y [/b]"), syntax, 13},
  {"BoundSymbol", bounds("[b] ( x <= 4 [/b]"), syntax, 13, {}, "Unexpected text in bound definition\n"},
  {"ConeWithoutType", bounds("[cone 'k'] x, y [/cone]"), syntax, 13, {}, "In conic constraint: Cone type required\n"},
  {"ConeText", bounds("[cone quad] x y [/cone]"), syntax, 13, {}, "Unexpected text in cone definition\n"},
  {"ConeEmpty", bounds("[cone quad] [/cone]"), syntax, 13, {}, "The cone has too few members."},
  {"ConeRepeat", bounds("[cone quad] x, x [/cone]"), syntax, 13, {}, "member of the cone already"},
  {"ConeOverlap", bounds("[cone quad] x [/cone]\n[cone quad] x [/cone]"), syntax, 14, {}, "member of another cone"},
  {"Hint", "[hints] [hint] 5 [/hint] [/hints]", syntax, 1, {}, "In section hint: a keyword is required\n"},
  {"HintValue", "[hints]\n[hint NUMVAR] many [/hint] [/hints]", syntax, 2},
  {"Vendor", "[vendor] [/vendor]", syntax, 1, {}, "In vendor section: Missing vendor name\n"},
  {"Parameter", params + "] 1 [/p]", syntax, 3, {}, "In parameter: missing identifier\n"},
  {"ParameterName", params + "ZLV_IPAR_LOGS] 1 [/p]", syntax, 3, {}, "Invalid parameter\n"},
  {"ParameterInteger", params + "ZLV_IPAR_LOG] 1.5 [/p]", syntax, 3, {}, "Invalid integer parameter value\n"},
  {"ParameterDouble", params + "ZLV_DPAR_DATA_TOL_X] ZLV_ON [/p]", syntax, 3, {}, "Invalid double parameter value\n"},
  {"ParameterRange", params + "ZLV_IPAR_LOG] 7 [/p] [/parameters] [/vendor]", ZLV_RES_ERR_PARAM_IS_TOO_LARGE, 0},
  {"SolutionType", replace_all(solution(""), "basic", "best"), syntax, 15, {}, "Unknown solution type\n"},
  {"SolutionNoType", replace_all(solution(""), "basic status=OPTIMAL", ""), syntax, 15, {}, "A solution type must be specified\n"},
  {"SolutionStatus", replace_all(solution(""), "OPTIMAL", "BEST"), syntax, 15, {}, "'BEST'"},
  {"SolutionEqual", replace_all(solution(""), "status=", "status "), syntax, 15, {}, "Expected a '='\n"},
  {"SolutionVariable", solution("[var z] lvl=1 [/var]"), syntax, 16, {}, "The problem has no such variable."},
  {"SolutionVarName", solution("[var] lvl=1 [/var]"), syntax, 16, {}, "Variable must have a name in solution\n"},
  {"SolutionConName", solution("[con] lvl=1 [/con]"), syntax, 16, {}, "Constraint must have a name in solution\n"},
  {"SolutionItem", solution("[var x] level=1 [/var]"), syntax, 16, {}, "Error in solution item definition\n"},
  {"SolutionNoValue", solution("[var x] lvl= sk=BAS [/var]"), syntax, 16, {}, "Expected a value\n"},
  {"SolutionNoEqual", solution("[var x] lvl 1 [/var]"), syntax, 16, {}, "Expected a '='\n"},
  {"SolutionInfinite", solution("[var x] lvl=inf [/var]"), syntax, 16, {}, "Error in solution item values\n"},
  {"SolutionKey", solution("[var x] sk=BASIC [/var]"), syntax, 16, {}, "Error in status key\n"},
  {"SolutionKeyTwice", solution("[var x] sk=BAS sk=BAS [/var]"), syntax, 16, {}, "Status key defined twice\n"},
  {"SolutionLevelTwice", solution("[var x] lvl=1 lvl=1 [/var]"), syntax, 16, {}, "Level value defined twice\n"},
  {"SolutionYTwice", solution("[con r1] y=1 y=1 [/con]"), syntax, 16, {}, "Value y defined twice\n"},
  {"SolutionSlTwice", solution("[con r1] sl=1 sl=1 [/con]"), syntax, 16, {}, "Value sl defined twice\n"},
  {"SolutionSuTwice", solution("[var x] su=1 su=1 [/var]"), syntax, 16, {}, "Value su defined twice\n"},
  {"SolutionSnTwice", solution("[var x] sn=1 sn=1 [/var]"), syntax, 16, {}, "Value sn defined twice\n"},
  {"SolutionVarTwice", solution("[var x] lvl=1 [/var]\n[var x] lvl=1 [/var]"), syntax, 17, {}, "The item was listed before."},
};
// clang-format on
}  // namespace opf

// The exit status of the program for a file, when there is the program.
int exit_status(api_box& box, const bad_case& c, const std::string& file) {
#ifdef ZALVO_TEST_PROGRAM
  std::string command = ZALVO_TEST_PROGRAM " --quiet";
  for (const auto& [which, value] : c.set) {
    char name[ZLV_MAX_STR_LEN] = "";
    EXPECT_EQ(ZLV_getparamname(box.task, ZLV_PAR_INT_TYPE, which, name), ZLV_RES_OK);
    command.append(" -p ").append(name).append("=").append(std::to_string(value));
  }
  const int status = std::system((command + " '" + file + "' >/dev/null 2>&1").c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#else
  (void)box, (void)c, (void)file;
  return 2;
#endif
}

void expect_refused(const char* ending, const std::vector<bad_case>& cases) {
  const test_folder folder;
  const std::string good =
      folder.put("good.mps", replace_all(mps_text::plainfile, "ROWS", "OBJSENSE MAX\nROWS"));
  for (const bad_case& c : cases) {
    SCOPED_TRACE(c.name);
    api_box box;
    ASSERT_EQ(ZLV_readdata(box.task, good.c_str()), ZLV_RES_OK) << box.err();
    apply(box.task, c.set);
    const std::string before = problem_text(box.task);
    box.forget();
    const std::string file = folder.put(std::string("case.") + ending, c.text);
    EXPECT_EQ(ZLV_readdata(box.task, file.c_str()), c.code) << box.err();
    EXPECT_EQ(problem_text(box.task), before);
    const std::string place = c.line > 0 ? file + ", line " + std::to_string(c.line) : file;
    if (c.code != ZLV_RES_ERR_PARAM_IS_TOO_LARGE) {
      EXPECT_NE(box.err().find(place), std::string::npos) << box.err();
    }
    EXPECT_NE(box.err().find(c.says), std::string::npos) << box.err();
    EXPECT_TRUE(std::all_of(box.err().begin(), box.err().end(),
                            [](char b) { return b == '\n' || (b >= ' ' && b <= '~'); }));
    EXPECT_EQ(exit_status(box, c, file), 2);
    EXPECT_EQ(box.close(), ZLV_RES_OK);
  }
}

TEST(Hostile, MpsFiles) {
  expect_refused("mps", mps::bad);
}
TEST(Hostile, LpFiles) {
  expect_refused("lp", lp::bad);
}
TEST(Hostile, OpfFiles) {
  expect_refused("opf", opf::bad);
}

// ---- MBT files

const std::string mbtsource =
    opf_text::bounds("[cone quad k] x [/cone]") +
    "[integer] y [/integer]\n[solutions]\n[solution basic] [var x] lvl=3 [/var] [/solution]\n"
    "[/solutions]\n";

std::string mbt_file(const test_folder& folder) {
  api_box box;
  EXPECT_EQ(ZLV_readdata(box.task, folder.put("a.opf", mbtsource).c_str()), 0) << box.err();
  EXPECT_EQ(ZLV_putqobjij(box.task, 1, 0, 2.5), ZLV_RES_OK);
  EXPECT_EQ(ZLV_writedata(box.task, folder.at("a.mbt").c_str()), ZLV_RES_OK) << box.err();
  return folder.get("a.mbt");
}

TEST(Hostile, MbtFilesOfOthers) {
  const test_folder folder;
  const std::string whole = mbt_file(folder);
  const auto with = [&](size_t at, const std::string& bytes) {
    return std::string(whole).replace(at, bytes.size(), bytes);
  };
  constexpr int32_t invalid = ZLV_RES_ERR_INVALID_MBT_FILE;
  constexpr int32_t foreign = ZLV_RES_ERR_MBT_INCOMPATIBLE;
  expect_refused("mbt", {{"Empty", "", invalid, 0},
                         {"Text", mps_text::plainfile, invalid, 0, {}, "It is no MBT file."},
                         {"LineEndsChanged", replace_all(whole, "\r\n", "\n"), invalid, 0},
                         {"ByteOrder", with(8, {1, 2, 3, 4}), foreign, 0, {}, "byte order"},
                         {"LaterVersion", with(12, {2}), foreign, 0, {}, "A later version"},
                         {"WordSize", with(16, {8}), foreign, 0, {}, "another size or form"},
                         {"GzipCutOff", gzip(whole).substr(0, 99), ZLV_RES_ERR_END_OF_FILE, 0},
                         {"Longer", whole + "x", invalid, 0, {}, "Something stands behind"}});
}

// Whatever happens to a byte, the problem is the same or the file is refused; and so with checksums
// that were made to fit, where what is read may be another problem, but a sound one.
TEST(Hostile, MbtFilesThatWereDamaged) {
  const test_folder folder;
  const std::string whole = mbt_file(folder);
  api_box box;
  ASSERT_EQ(ZLV_readdata(box.task, folder.at("a.mbt").c_str()), ZLV_RES_OK) << box.err();
  const std::string same = problem_text(box.task);
  std::mt19937 gen(3);
  const auto read = [&](ZLV_task_t task, const std::string& text) {
    return ZLV_readdata(task, folder.put("b.mbt", text).c_str());
  };
  for (size_t n = 0; n < whole.size(); n += n < 700 ? 1 : 13) {
    EXPECT_EQ(read(box.task, whole.substr(0, n)), ZLV_RES_ERR_INVALID_MBT_FILE) << n;
    std::string flipped = whole;
    flipped[n] = char(flipped[n] ^ (1 << gen() % 8));
    (void)read(box.task, flipped);
    EXPECT_EQ(problem_text(box.task), same) << n;
  }
  int32_t numread = 0;
  for (int32_t trial = 0; trial < 800; ++trial) {
    std::string forged = whole;
    constexpr size_t headsize = 32, blockhead = 16;
    for (size_t at = headsize; at + blockhead <= forged.size();) {
      uint64_t length = 0;
      std::memcpy(&length, &forged[at + 8], sizeof length);
      char* const data = &forged[at + blockhead];
      if (length > 0 && gen() % 12 == 0) {
        const int32_t odd[] = {-1, 0, 1, 2, 0x7fffffff, int32_t(gen() % 9), int32_t(gen())};
        std::memcpy(data + gen() % (length / 4) * 4, &odd[gen() % 7], 4);
      }
      const uint64_t crc = crc32(0, reinterpret_cast<const Bytef*>(data), uInt(length));
      std::memcpy(data + length, &crc, sizeof crc);
      at += blockhead + length + sizeof crc;
    }
    api_box other;  // parameters may be others now
    if (read(other.task, forged) != ZLV_RES_OK) continue;
    ++numread;
    EXPECT_NE(problem_text(other.task), "");
    ASSERT_EQ(ZLV_writedata(other.task, folder.at("c.mbt").c_str()), ZLV_RES_OK) << other.err();
  }
  EXPECT_GT(numread, 20);
}

}  // namespace
