// What MPS files mean: unusual ones that are read as meant, and what is told about them.
#include <string>
#include <vector>

#include "support/model_texts.h"

namespace {

using namespace mps_text;

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
// clang-format on

TEST(MpsRead, UnusualFilesAreReadAsMeant) {
  expect_meanings("case.mps", valid);
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

}  // namespace
