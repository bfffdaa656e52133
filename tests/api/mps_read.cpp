// What MPS files mean: unusual ones that are read as meant, and broken ones that are refused with
// their code and line and change nothing.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "support/api_box.h"
#include "support/problem_text.h"

namespace {

using settings = std::vector<std::pair<int32_t, int32_t>>;  // integer parameters

std::string gzip(const std::string& text) {
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

std::string replace_all(std::string text, const std::string& from, const std::string& to) {
  for (size_t p = 0; (p = text.find(from, p)) != text.npos; p += to.size())
    text.replace(p, from.size(), to);
  return text;
}

// Two rows, two columns; what the cases put in between.
const std::string rows = "NAME          T\nROWS\n N  obj\n L  r1\n G  r2\n";
const std::string head = rows + "COLUMNS\n    x  obj  1  r1  2\n    y  r2  3\n";
const std::string plain =
    "min 0\nrow r1 1 [-1e+30, 4]\nrow r2 0 [0, 1e+30]\n"
    "col x 0 [0, 1e+30] c=1 0:2\n"
    "col y 0 [0, 1e+30] c=0 1:3\n";
const std::string plainfile = head + "RHS\n    B  r1  4\nENDATA\n";

std::string col(const std::string& x) {  // of plain, with other bounds of x
  const std::string from = "col x 0 [0, 1e+30]";
  return replace_all(plain, from, "col x " + x);
}
std::string bounds(const std::string& lines) {
  return head + "RHS\n    B  r1  4\nBOUNDS\n" + lines + "ENDATA\n";
}

struct valid_case {
  const char* name;
  std::string text, meaning;
  settings set;
};

const std::string inf = "1e+30";

// clang-format off
const std::vector<valid_case> valid = {
  {"Plain", plainfile, plain, {}},
  {"CarriageReturns", replace_all(plainfile, "\n", "\r\n"), plain, {}},
  {"ByteOrderMark", "\xEF\xBB\xBF" + plainfile, plain, {}},
  {"NoEndOfLine", plainfile.substr(0, plainfile.size() - 1), plain, {}},
  {"TextBehindEndata", plainfile + "anything \x01 else\n\n12\n", plain, {}},
  {"Comments", replace_all(plainfile, "\n", "\n* a\tcomment\n\n   \n"), plain, {}},
  {"Tabs", replace_all(plainfile, "  ", "\t"), plain, {}},
  {"TrailingBlanks", replace_all(plainfile, "\n", "  \t \n"), plain, {}},
  {"DollarComments", replace_all(replace_all(plainfile, "r2  3", "r2  3  $ no more"), "r1  4", "r1  4 $"), plain, {}},
  {"Gzip", gzip(plainfile), plain, {}},
  {"GzipMembers", gzip(head) + gzip("RHS\n    B  r1  4\nENDATA\n") + std::string(100, '\0'), plain, {}},
  {"FreeForm", plainfile, plain, {{ZLV_IPAR_READ_MPS_FORMAT, ZLV_MPS_FORMAT_FREE}}},
  {"NoName", replace_all(plainfile, "NAME          T\n", ""), plain, {}},
  {"NoVectorName", replace_all(plainfile, "    B  r1", "    r1"), plain, {}},
  {"TwoVectors", replace_all(plainfile, "r1  4\n", "r1  4\n    C  r1  9\n    C  r2  9\n"), plain, {}},
  {"SenseOnOneLine", replace_all(plainfile, "ROWS", "OBJSENSE MAX\nROWS"), replace_all(plain, "min 0", "max 0"), {}},
  {"SenseOnTwoLines", replace_all(plainfile, "ROWS", "OBJSENSE\n  maximize\nROWS"), replace_all(plain, "min 0", "max 0"), {}},
  {"SenseLate", replace_all(plainfile, "ENDATA", "OBJSENSE\n  MAXIMIZE\nENDATA"), replace_all(plain, "min 0", "max 0"), {}},
  {"SenseMin", replace_all(plainfile, "ROWS", "OBJSENSE\n    MIN\nROWS"), plain, {}},
  {"SenseNotWanted", replace_all(plainfile, "ROWS", "OBJSENSE MAX\nROWS"), plain, {{ZLV_IPAR_READ_MPS_OBJSENSE, 0}}},
  {"Constant", replace_all(plainfile, "r1  4", "r1  4  obj  -7"), replace_all(plain, "min 0", "min 7"), {}},
  {"SecondFreeRow", replace_all(replace_all(plainfile, " L  r1", " N  f\n L  r1"), "y  r2  3", "y  f  5  r2  3"), plain, {}},
  {"FortranExponent", replace_all(replace_all(plainfile, "r2  3", "r2  .3D+01"), "r1  4", "r1  +40.d-1"), plain, {}},
  {"NamedObjective", replace_all(replace_all(plainfile, " N  obj", " N  first\n N  obj"), "ROWS", "OBJNAME\n  obj\nROWS"), plain, {}},
  {"QuotedNames", replace_all(plainfile, "r1", "\"r 1\""), replace_all(plain, "r1", "r 1"), {}},
  {"TinyUnderflow", replace_all(plainfile, "r1  4", "r1  4  obj 1e-400"), plain, {}},
  {"KeptFreeRow", replace_all(rows, " G  r2", " N  r2") + "COLUMNS\n  x obj 1 r1 2\n  y r2 3\nRHS\n  r1 4\nENDATA\n",
   replace_all(plain, "row r2 0 [0,", "row r2 3 [-" + inf + ","), {{ZLV_IPAR_READ_KEEP_FREE_CON, 1}}},
  {"EmptyColumnKept", rows + "COLUMNS\n  x obj 1 r1 2\n  y r2 3\n  z obj 0\nRHS\n  r1 4\nENDATA\n", plain + "col z 0 [0, " + inf + "] c=0\n", {}},
  {"SplitEntriesOfOneColumn", rows + "COLUMNS\n  x obj 1\n  x r1 2\n  y r2 3\nRHS\n  r1 4\nENDATA\n", plain, {}},
  {"StrictColumns", "NAME          T\nROWS\n N  obj\n L  r 1\n G  r2\nCOLUMNS\n    x         obj                  1   r 1                  2\n"
   "    y         r2                   3\nRHS\n              r 1                  4\nENDATA\n", replace_all(plain, "r1", "r 1"), {{ZLV_IPAR_READ_MPS_FORMAT, ZLV_MPS_FORMAT_STRICT}}},
  {"BlanksInNamesFoundOut", "NAME          T\nROWS\n N  obj\n L  r 1\n G  r2\nCOLUMNS\n    x         obj                  1   r 1                  2\n"
   "    y         r2                   3\nRHS\n    B         r 1                  4\nENDATA\n", replace_all(plain, "r1", "r 1"), {}},
  // bounds
  {"UP", bounds(" UP b x 5\n"), col("4 [0, 5]"), {}},
  {"UPZero", bounds(" UP b x 0\n"), col("2 [0, 0]"), {}},
  {"UPNegative", bounds(" UP b x -5\n"), col("1 [-" + inf + ", -5]"), {}},
  {"UPNegativeWithLower", bounds(" UP b x -5\n LO b x -9\n"), col("4 [-9, -5]"), {}},
  {"UPNegativeInfeasible", bounds(" LO b x 0\n UP b x -5\n"), col("4 [0, -5]"), {}},
  {"LO", bounds(" LO b x 2\n"), col("0 [2, " + inf + "]"), {}},
  {"FX", bounds(" FX b x 2\n"), col("2 [2, 2]"), {}},
  {"FR", bounds(" FR b x\n"), col("3 [-" + inf + ", " + inf + "]"), {}},
  {"MI", bounds(" MI b x\n UP b x 3\n"), col("1 [-" + inf + ", 3]"), {}},
  {"PL", bounds(" PL b x\n"), plain, {}},
  {"BV", bounds(" BV b x\n"), replace_all(col("4 [0, 1]"), "col x", "col x int"), {}},
  {"LI", bounds(" LI b x 2\n UI b x 8\n"), replace_all(col("4 [2, 8]"), "col x", "col x int"), {}},
  {"UIKeptContinuous", bounds(" UI b x 8\n"), col("4 [0, 8]"), {{ZLV_IPAR_READ_MPS_KEEP_INT, 0}}},
  {"BoundsWithoutVector", bounds(" UP x 5\n FR y\n"), replace_all(col("4 [0, 5]"), "col y 0 [0,", "col y 3 [-" + inf + ","), {}},
  {"ValueBehindFR", bounds(" FR b x 0\n"), col("3 [-" + inf + ", " + inf + "]"), {}},
  {"BoundInfinite", bounds(" LO b x -inf\n UP b x 1e30\n"), col("3 [-" + inf + ", " + inf + "]"), {}},
  {"BoundInfinity", bounds(" LO b x -Infinity\n UP b x +INF\n"), col("3 [-" + inf + ", " + inf + "]"), {}},
  {"Markers", rows + "COLUMNS\n  M 'MARKER' 'INTORG'\n  x obj 1 r1 2\n  M 'MARKER' 'INTEND'\n  y r2 3\nRHS\n  r1 4\nENDATA\n", replace_all(plain, "col x", "col x int"), {}},
  // ranges
  {"Ranges", "ROWS\n N c\n L l\n G g\n E p\n E m\n E z\nCOLUMNS\n x c 1 l 1\n x g 1 p 1\n x m 1 z 1\nRHS\n l 5 g 5\n p 5 m 5\n z 5\n"
   "RANGES\n l -2 g -3\n p 2 m -2\n z 0\nENDATA\n",
   "min 0\nrow l 4 [3, 5]\nrow g 4 [5, 8]\nrow p 4 [5, 7]\nrow m 4 [3, 5]\nrow z 2 [5, 5]\ncol x 0 [0, " + inf + "] c=1 0:1 1:1 2:1 3:1 4:1\n", {}},
  {"RangesBeforeRhs", "ROWS\n N c\n E a\nCOLUMNS\n x a 1\nRANGES\n a -2\nRHS\n a 5\nENDATA\n", "min 0\nrow a 4 [3, 5]\ncol x 0 [0, " + inf + "] c=0 0:1\n", {}},
  // quadratic and cone sections
  {"Quadobj", replace_all(plainfile, "ENDATA", "QUADOBJ\n x x 2\n y x -1\nENDATA"), plain + "q 0,0=2\nq 1,0=-1\n", {}},
  {"QsectionUpper", replace_all(plainfile, "ENDATA", "QSECTION obj\n x x 2 y -1\nENDATA"), plain + "q 0,0=2\nq 1,0=-1\n", {}},
  {"Qmatrix", replace_all(plainfile, "ENDATA", "QMATRIX\n x x 2\n y x -1\n x y -1\nENDATA"), plain + "q 0,0=2\nq 1,0=-1\n", {}},
  {"QmodeDropUpper", replace_all(plainfile, "ENDATA", "QUADOBJ\n x x 2\n y x -1\n x y -1\nENDATA"), plain + "q 0,0=2\nq 1,0=-1\n", {{ZLV_IPAR_READ_Q_MODE, ZLV_Q_READ_DROP_UPPER}}},
  {"QsectionRow", replace_all(plainfile, "ENDATA", "QSECTION r1\n x x 2\nENDATA"), replace_all(plain, ", 4]\n", ", 4] q0,0=2\n"), {}},
  {"QcmatrixRow", replace_all(plainfile, "ENDATA", "QCMATRIX r1\n x x 2\n x y 1\n y x 1\nENDATA"), replace_all(plain, ", 4]\n", ", 4] q0,0=4 q1,0=2\n"), {}},
  {"Cone", replace_all(plainfile, "ENDATA", "CSECTION      k1        0              RQUAD\n    y\n    x\nENDATA"), plain + "cone k1 1 0 1 0\n", {}},
};

struct bad_case {
  const char* name;
  std::string text;
  int32_t code, line;  // line 0: the file as a whole
  settings set;
};
const settings strict = {{ZLV_IPAR_READ_MPS_FORMAT, ZLV_MPS_FORMAT_STRICT}};

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

void apply(ZLV_task_t task, const settings& set) {
  for (const auto& [which, value] : set) ASSERT_EQ(ZLV_putintparam(task, which, value), ZLV_RES_OK);
}

TEST(MpsRead, UnusualFilesAreReadAsMeant) {
  const test_folder folder;
  for (const valid_case& c : valid) {
    SCOPED_TRACE(c.name);
    api_box box;
    apply(box.task, c.set);
    const std::string file = folder.put("case.mps", c.text);
    EXPECT_EQ(ZLV_readdata(box.task, file.c_str()), ZLV_RES_OK) << box.err();
    EXPECT_EQ(problem_text(box.task), c.meaning);
    EXPECT_EQ(box.err(), "");
    EXPECT_EQ(box.close(), ZLV_RES_OK);
  }
}

TEST(MpsRead, BrokenFilesAreRefusedAtTheirLineAndChangeNothing) {
  const test_folder folder;
  const std::string good =
      folder.put("good.mps", replace_all(plainfile, "ROWS", "OBJSENSE MAX\nROWS"));
  for (const bad_case& c : bad) {
    SCOPED_TRACE(c.name);
    api_box box;
    ASSERT_EQ(ZLV_readdata(box.task, good.c_str()), ZLV_RES_OK);
    apply(box.task, c.set);
    const std::string before = problem_text(box.task);
    box.forget();
    const std::string file = folder.put("case.mps", c.text);
    EXPECT_EQ(ZLV_readdata(box.task, file.c_str()), c.code) << box.err();
    EXPECT_EQ(problem_text(box.task), before);
    EXPECT_NE(box.err().find(file), std::string::npos) << box.err();
    const std::string place = "The error occured at line(" + std::to_string(c.line) + "):\n";
    if (c.line > 0) {
      EXPECT_NE(box.err().find(place), std::string::npos) << box.err();
    }
    EXPECT_TRUE(std::all_of(box.err().begin(), box.err().end(),
                            [](char b) { return b == '\n' || (b >= ' ' && b <= '~'); }));
    EXPECT_EQ(box.close(), ZLV_RES_OK);
  }
}

TEST(MpsRead, TheColumnAndTheTokenAreNamed) {
  const test_folder folder;
  api_box box;
  const std::string file = folder.put("bad.mps", replace_all(plainfile, "r2  3", "r2  1.0x3"));
  EXPECT_EQ(ZLV_readmps(box.task, file.c_str()), ZLV_RES_ERR_MPS_INV_FIELD);
  EXPECT_NE(box.err().find("ZALVO Error 1101   - Field number 4 is invalid.\n"), std::string::npos)
      << box.err();
  EXPECT_NE(box.err().find("line 8, column 12, '1.0x3'"), std::string::npos) << box.err();
}

TEST(MpsRead, DeviationsAndVectorsAreTold) {
  const test_folder folder;
  api_box box;
  const std::string file =
      folder.put("a.mps", head + "RHS\n  B r1 4\n  C r1 5\n  B r2 1\nBOUNDS\n UP b x -1\nENDATA\n");
  ASSERT_EQ(ZLV_readdata(box.task, file.c_str()), ZLV_RES_OK) << box.err();
  EXPECT_NE(box.msg().find("Using 'obj' as objective vector\n"), std::string::npos);
  EXPECT_NE(box.msg().find("Using 'B' as rhs vector\n"), std::string::npos);
  EXPECT_NE(box.msg().find("Using 'b' as bound vector\n"), std::string::npos);
  EXPECT_NE(box.msg().find("Read 2 number of A nonzeros in "), std::string::npos) << box.msg();
  EXPECT_NE(box.wrn().find("ZALVO Warning 70 "), std::string::npos) << box.wrn();
  EXPECT_NE(box.wrn().find("'x': negative upper bound"), std::string::npos) << box.wrn();
  EXPECT_NE(box.wrn().find("'C': entry of an RHS vector"), std::string::npos) << box.wrn();
  char name[64];
  int32_t len = 0, num = 0;
  EXPECT_EQ(ZLV_getstrparam(box.task, ZLV_SPAR_DATA_FILE_NAME, 64, &len, name), ZLV_RES_OK);
  EXPECT_EQ(name, file);
  EXPECT_EQ(ZLV_gettaskname(box.task, 64, &len, name), ZLV_RES_OK);
  EXPECT_STREQ(name, "T");
  EXPECT_EQ(ZLV_getintinf(box.task, ZLV_IINF_RD_NUMANZ, &num), ZLV_RES_OK);
  EXPECT_EQ(num, 2);
}

TEST(MpsRead, FilesThatCannotBeFoundOrTold) {
  const test_folder folder;
  api_box box;
  const struct {
    std::string file;
    int32_t code;
  } cases[] = {{folder.at("none.mps"), ZLV_RES_ERR_FILE_OPEN},
               {folder.path.string(), ZLV_RES_ERR_DATA_FILE_EXT},
               {folder.put("a.txt", plainfile), ZLV_RES_ERR_DATA_FILE_EXT},
               {folder.put("mps", plainfile), ZLV_RES_ERR_DATA_FILE_EXT},
               {"", ZLV_RES_ERR_INVALID_FILE_NAME},
               {folder.put("A.MPS.GZ", plainfile), ZLV_RES_OK}};
  for (const auto& c : cases) EXPECT_EQ(ZLV_readdata(box.task, c.file.c_str()), c.code) << c.file;
  EXPECT_EQ(ZLV_readdata(box.task, nullptr), ZLV_RES_ERR_NULL_POINTER);
  EXPECT_EQ(ZLV_readmps(box.task, folder.path.c_str()), ZLV_RES_ERR_FILE_READ);
  ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_READ_DATA_FORMAT, ZLV_DATA_FORMAT_MPS), ZLV_RES_OK);
  EXPECT_EQ(ZLV_readdata(box.task, folder.at("a.txt").c_str()), ZLV_RES_OK);
}

TEST(MpsRead, OutOfSpaceLeavesTheTaskAsItWas) {
  const test_folder folder;
  const std::string old = folder.put("old.mps", plainfile);
  const std::string file = folder.put(
      "new.mps.gz", gzip(bounds(" BV b x\n UP c y -3\n").substr(0, bounds("").size() - 7) +
                         " BV b x\n UP c y -3\nQUADOBJ\n x y 1\nQSECTION r1\n x x 1\nCSECTION k 0 "
                         "QUAD\n x\n y\nENDATA\n"));
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
