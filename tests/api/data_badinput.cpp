// Bad input: its code, a message that names the place and the value, and nothing stored.
#include <gtest/gtest.h>
#include <zalvo.h>

#include <functional>
#include <limits>
#include <string>

#include "support/api_box.h"

namespace {

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();

const int32_t s01[] = {0, 1, 2, 3};
const int32_t negative[] = {0, -5, 1};
const int32_t beyond[] = {0, 1, 17};
const int32_t twice[] = {2, 1, 2};
const double ones[] = {1, 1, 1, 1};
const double hasnan[] = {1, nan_value, 1};
const double hasinf[] = {1, 1, -inf};
const int32_t ptr0[] = {0, 2};
const int32_t ptr1[] = {2, 1};
const int32_t badkeys[] = {0, 9, 0};

struct bad_case {
  const char* name;
  int32_t code;
  const char* text;  // a piece of the message
  std::function<int32_t(ZLV_task_t)> call;
};
#define CALL [](ZLV_task_t t)
// clang-format off
const bad_case cases[] = {
    {"AppendNegative", ZLV_RES_ERR_NEGATIVE_APPEND, "Cannot append a negative number of -2.", CALL { return ZLV_append(t, ZLV_ACC_VAR, -2); }},
    {"AppendAccmode", ZLV_RES_ERR_IN_ARGUMENT, "'accmode'", CALL { return ZLV_append(t, 2, 1); }},
    {"AppendVarsNegative", ZLV_RES_ERR_NEGATIVE_APPEND, "-1", CALL { return ZLV_appendvars(t, -1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr); }},
    {"AppendVarsHugeCost", ZLV_RES_ERR_NAN_IN_DOUBLE_DATA, "'c'", CALL { return ZLV_appendvars(t, 3, hasnan, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr); }},
    {"AppendVarsIndex", ZLV_RES_ERR_INDEX_ARR_IS_TOO_LARGE, "17 occurring in argument '(asub+aptrb[0])[2]'", CALL { const int32_t e = 3; return ZLV_appendvars(t, 1, nullptr, s01, &e, beyond, ones, nullptr, nullptr, nullptr); }},
    {"AppendConsKey", ZLV_RES_ERR_INV_BKC, "9 occurring in argument 'bkc'", CALL { return ZLV_appendcons(t, 3, nullptr, nullptr, nullptr, nullptr, badkeys, ones, ones); }},
    {"AppendConsNoValues", ZLV_RES_ERR_NULL_POINTER, "'aval'", CALL { return ZLV_appendcons(t, 1, ptr0, ptr0 + 1, s01, nullptr, nullptr, nullptr, nullptr); }},
    {"MaxNumVar", ZLV_RES_ERR_MAXNUMVAR, "variables 3 is specified. Currently, the number of variables is 4.", CALL { return ZLV_putmaxnumvar(t, 3); }},
    {"MaxNumCon", ZLV_RES_ERR_MAXNUMCON, "'-1' is smaller than the number of constraints '4'", CALL { return ZLV_putmaxnumcon(t, -1); }},
    {"MaxNumCone", ZLV_RES_ERR_MAXNUMCONE, "The value 0 specified for maxnumcone is too small.", CALL { return ZLV_putmaxnumcone(t, 0); }},
    {"MaxNumAnz", ZLV_RES_ERR_MAXNUMANZ, "is 2", CALL { return ZLV_putmaxnumanz(t, 1); }},
    {"MaxNumQnz", ZLV_RES_ERR_MAXNUMQNZ, "Q matrices", CALL { return ZLV_putmaxnumqnz(t, 0); }},
    {"AijRow", ZLV_RES_ERR_INDEX_IS_TOO_LARGE, "4 occurring in argument 'i'", CALL { return ZLV_putaij(t, 4, 0, 1); }},
    {"AijColumn", ZLV_RES_ERR_INDEX_IS_TOO_SMALL, "-1 occurring in argument 'j'", CALL { return ZLV_putaij(t, 0, -1, 1); }},
    {"AijInfinite", ZLV_RES_ERR_NAN_IN_DOUBLE_DATA, "'aij'", CALL { return ZLV_putaij(t, 0, 0, inf); }},
    {"AijListIndex", ZLV_RES_ERR_INDEX_ARR_IS_TOO_SMALL, "'subj[0]' is too small(>=0)", CALL { return ZLV_putaijlist(t, 2, s01 + 1, negative + 1, ones); }},
    {"AvecIndex", ZLV_RES_ERR_INDEX_ARR_IS_TOO_LARGE, "'asub[2]' is too large(<4)", CALL { return ZLV_putavec(t, ZLV_ACC_CON, 0, 3, beyond, ones); }},
    {"AvecTwice", ZLV_RES_ERR_MUL_A_ELEMENT, "(2,1)", CALL { return ZLV_putavec(t, ZLV_ACC_VAR, 1, 3, twice, ones); }},
    {"AvecNan", ZLV_RES_ERR_NAN_IN_DOUBLE_DATA, "'aval' contains an invalid floating value at position 1", CALL { return ZLV_putavec(t, ZLV_ACC_VAR, 1, 3, s01, hasnan); }},
    {"AvecNegativeCount", ZLV_RES_ERR_IN_ARGUMENT, "'nzi'", CALL { return ZLV_putavec(t, ZLV_ACC_VAR, 1, -3, s01, ones); }},
    {"AvecListPtr", ZLV_RES_ERR_INV_APTRE, "at position 0.", CALL { return ZLV_putaveclist(t, ZLV_ACC_VAR, 1, s01, ptr1, ptr0, s01, ones); }},
    {"AvecListElement", ZLV_RES_ERR_INDEX_ARR_IS_TOO_SMALL, "'(asub+aptrb[0])[1]'", CALL { return ZLV_putaveclist(t, ZLV_ACC_VAR, 1, s01, ptr0, ptr0 + 1, negative, ones); }},
    {"AvecListVector", ZLV_RES_ERR_INDEX_ARR_IS_TOO_SMALL, "'sub[0]'", CALL { return ZLV_putaveclist(t, ZLV_ACC_VAR, 1, negative + 1, ptr0, ptr0 + 1, s01, ones); }},
    {"SliceRoom", ZLV_RES_ERR_TOO_SMALL_MAXNUMANZ, "1 specified for A is too small. It should be at least 2.", CALL { return ZLV_getaslice(t, ZLV_ACC_VAR, 0, 4, 1, nullptr, nullptr, nullptr, nullptr); }},
    {"SliceLast", ZLV_RES_ERR_LAST, "5", CALL { int32_t n; return ZLV_getaslicenumnz(t, ZLV_ACC_VAR, 0, 5, &n); }},
    {"PieceFirst", ZLV_RES_ERR_FIRSTJ, "-1", CALL { int32_t n; return ZLV_getapiecenumnz(t, 0, 1, -1, 1, &n); }},
    {"QobjIJ", ZLV_RES_ERR_INDEX_IS_TOO_LARGE, "'j'", CALL { return ZLV_putqobjij(t, 0, 4, 1); }},
    {"QconSubk", ZLV_RES_ERR_INV_QCON_SUBK, "Invalid value 17 at qcsubk[2].", CALL { return ZLV_putqcon(t, 3, beyond, s01, s01, ones); }},
    {"QconSubiSmall", ZLV_RES_ERR_QCON_SUBI_TOO_SMALL, "Invalid value -5 at qcsubi[1]. It should be >= 0.", CALL { return ZLV_putqcon(t, 3, s01, negative, s01, ones); }},
    {"QconSubiLarge", ZLV_RES_ERR_QCON_SUBI_TOO_LARGE, "Invalid value 17 at qcsubi[2]. It should be < 4.", CALL { return ZLV_putqcon(t, 3, s01, beyond, s01, ones); }},
    {"QconSubj", ZLV_RES_ERR_INV_QCON_SUBJ, "qcsubj[2]", CALL { return ZLV_putqcon(t, 3, s01, s01, beyond, ones); }},
    {"QconK", ZLV_RES_ERR_INDEX_IS_TOO_SMALL, "'k'", CALL { return ZLV_putqconk(t, -1, 0, nullptr, nullptr, nullptr); }},
    {"ConeType", ZLV_RES_ERR_CONE_TYPE, "7", CALL { return ZLV_appendcone(t, 7, 0, 2, s01 + 1); }},
    {"ConeSize", ZLV_RES_ERR_CONE_SIZE, "At least 2 member(s) are needed in a cone of type 'RQUAD'", CALL { return ZLV_appendcone(t, ZLV_CT_RQUAD, 0, 1, s01 + 1); }},
    {"ConeEmpty", ZLV_RES_ERR_CONE_SIZE, "At least 1 member(s) are needed in a cone of type 'QUAD'", CALL { return ZLV_appendcone(t, ZLV_CT_QUAD, 0, 0, nullptr); }},
    {"ConeMember", ZLV_RES_ERR_INDEX_ARR_IS_TOO_LARGE, "'submem[2]'", CALL { return ZLV_appendcone(t, ZLV_CT_QUAD, 0, 3, beyond); }},
    {"ConeRepeated", ZLV_RES_ERR_CONE_REP_VAR, "Variable '' (2) is repeated in cone '' (1).", CALL { return ZLV_appendcone(t, ZLV_CT_QUAD, 0, 3, twice); }},
    {"ConeOverlap", ZLV_RES_ERR_CONE_OVERLAP, "Variable 'hub' (3) is a member of both cone '' (1) and cone 'lone' (0).", CALL { return ZLV_appendcone(t, ZLV_CT_QUAD, 0, 2, s01 + 2); }},
    {"ConeIndex", ZLV_RES_ERR_CONE_INDEX, "No cone has index '1'.", CALL { return ZLV_removecone(t, 1); }},
    {"RemoveMember", ZLV_RES_ERR_REMOVE_CONE_VARIABLE, "If variable 3 ('hub') is removed, then cone 0 ('lone') will be invalid.", CALL { return ZLV_remove(t, ZLV_ACC_VAR, 4, s01); }},
    {"RemoveIndex", ZLV_RES_ERR_INDEX_ARR_IS_TOO_LARGE, "'sub[2]'", CALL { return ZLV_remove(t, ZLV_ACC_CON, 3, beyond); }},
    {"VarType", ZLV_RES_ERR_INV_VAR_TYPE, "The type 2 of variable 'hub' (3) occurring in argument 'vartype' is invalid.", CALL { return ZLV_putvartype(t, 3, 2); }},
    {"VarTypeIndex", ZLV_RES_ERR_INDEX_ARR_IS_TOO_SMALL, "'subj[0]'", CALL { return ZLV_putvartypelist(t, 1, negative + 1, s01 + 1); }},
    {"NameItem", ZLV_RES_ERR_PRO_ITEM, "3 is an invalid problem item.", CALL { return ZLV_putname(t, 3, 0, "a"); }},
    {"NameBlank", ZLV_RES_ERR_NULL_NAME, "blank", CALL { return ZLV_putname(t, ZLV_PI_CON, 0, "  \t"); }},
    {"NameEmpty", ZLV_RES_ERR_NULL_NAME, "blank", CALL { return ZLV_puttaskname(t, ""); }},
    {"NameNull", ZLV_RES_ERR_NULL_POINTER, "'name'", CALL { return ZLV_putname(t, ZLV_PI_CON, 0, nullptr); }},
    {"NameTaken", ZLV_RES_ERR_DUP_NAME, "Name 'hub' is already assigned for an item variable.", CALL { return ZLV_putname(t, ZLV_PI_VAR, 0, "hub"); }},
    {"NameBuffer", ZLV_RES_ERR_NAME_MAX_LEN, "length 3", CALL { char b[3]; const int32_t r = ZLV_getname(t, ZLV_PI_VAR, 3, 3, nullptr, b); return std::string(b) == "hu" ? r : -1; }},
    {"InputMaxNumCon", ZLV_RES_ERR_MAXNUMCON, "'1'", CALL { return ZLV_inputdata(t, 1, 2, 2, 2, nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr); }},
    {"InputCfix", ZLV_RES_ERR_NAN_IN_DOUBLE_DATA, "'cfix'", CALL { return ZLV_inputdata(t, 2, 2, 2, 2, nullptr, inf, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr); }},
    {"InputTwice", ZLV_RES_ERR_MUL_A_ELEMENT, "(2,0)", CALL { const int32_t e = 3; return ZLV_inputdata(t, 3, 1, 3, 1, nullptr, 0, s01, &e, twice, ones, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr); }},
    {"InputKey", ZLV_RES_ERR_INV_BKX, "'bkx'", CALL { return ZLV_inputdata(t, 3, 3, 3, 3, nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, badkeys, ones, ones); }},
};
// clang-format on
#undef CALL

std::string sizes_of(ZLV_task_t task) {
  int32_t n[5] = {};
  ZLV_getnumvar(task, n);
  ZLV_getnumcon(task, n + 1);
  ZLV_getnumanz(task, n + 2);
  ZLV_getnumcone(task, n + 3);
  ZLV_getnumqobjnz(task, n + 4);
  std::string out;
  for (const int32_t x : n) out += std::to_string(x) + " ";
  return out;
}

TEST(DataBadInput, GetsItsCodeAndMessageAndChangesNothing) {
  for (const bad_case& c : cases) {
    api_box box;
    ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 4), 0);
    ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_CON, 4), 0);
    ASSERT_EQ(ZLV_putaij(box.task, 1, 1, 5), 0);
    ASSERT_EQ(ZLV_putaij(box.task, 2, 3, 6), 0);
    ASSERT_EQ(ZLV_putqobjij(box.task, 1, 0, 2), 0);
    ASSERT_EQ(ZLV_appendcone(box.task, ZLV_CT_QUAD, 0, 1, s01 + 3), 0);
    ASSERT_EQ(ZLV_putname(box.task, ZLV_PI_VAR, 3, "hub"), 0);
    ASSERT_EQ(ZLV_putname(box.task, ZLV_PI_CONE, 0, "lone"), 0);
    const std::string before = sizes_of(box.task);
    EXPECT_EQ(c.call(box.task), c.code) << c.name << box.err();
    EXPECT_NE(box.err().find(c.text), std::string::npos) << c.name << ": " << box.err();
    EXPECT_EQ(sizes_of(box.task), before) << c.name;
  }
}

TEST(DataTerms, BeforeABadOneStay) {
  api_box box;
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 4), 0);
  int32_t num = -1;
  EXPECT_EQ(ZLV_putqobj(box.task, 3, s01, s01, hasinf), ZLV_RES_ERR_NAN_IN_DOUBLE_DATA);
  EXPECT_NE(box.err().find("'qoval' contains an invalid floating value at position 2"),
            std::string::npos)
      << box.err();
  EXPECT_EQ(ZLV_getnumqobjnz(box.task, &num), 0);
  EXPECT_EQ(num, 2);
}

TEST(DataElements, SmallOnesAreDroppedZerosAndLargeOnesTold) {
  api_box box;
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 1), 0);
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_CON, 4), 0);
  ASSERT_EQ(ZLV_putname(box.task, ZLV_PI_CON, 3, "big"), 0);
  const double val[] = {0, 1e-12, 0, 1e11};
  EXPECT_EQ(ZLV_putavec(box.task, ZLV_ACC_VAR, 0, 4, s01, val), 0);
  int32_t num = 0;
  EXPECT_EQ(ZLV_getnumanz(box.task, &num), 0);
  EXPECT_EQ(num, 1);
  EXPECT_NE(box.wrn().find("2 zero element(s) in A are specified."), std::string::npos);
  EXPECT_NE(box.wrn().find("for variable '' (0) in constraint 'big' (3)"), std::string::npos);
  box.forget();
  EXPECT_EQ(ZLV_putaij(box.task, 3, 0, 0), 0);  // takes the element away, on purpose
  EXPECT_EQ(ZLV_getnumanz(box.task, &num), 0);
  EXPECT_EQ(num, 0);
  EXPECT_EQ(box.wrn(), "");
}

TEST(DataCapacity, GrowsByTheRulesAndTellsIt) {
  api_box box;
  ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_LOG_STORAGE, 1), 0);
  ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_ALLOC_ADD_VAR, 10), 0);
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 3), 0);
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_CON, 20), 0);
  int32_t num = 0;
  EXPECT_EQ(ZLV_getmaxnumvar(box.task, &num), 0);
  EXPECT_EQ(num, 13);
  EXPECT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 10), 0);  // still fits
  EXPECT_EQ(ZLV_getmaxnumvar(box.task, &num), 0);
  EXPECT_EQ(num, 13);
  ASSERT_EQ(ZLV_putmaxnumanz(box.task, 10), 0);
  for (int32_t j = 0; j < 8; ++j) {
    ASSERT_EQ(ZLV_putavec(box.task, ZLV_ACC_VAR, j, 1, &j, ones), 0);
  }
  EXPECT_EQ(box.log().find("Expanding"), std::string::npos);
  const int32_t at = 8;
  ASSERT_EQ(ZLV_putavec(box.task, ZLV_ACC_VAR, 8, 1, &at, ones), 0);  // 8 + 1 + 1 >= 10
  EXPECT_NE(box.log().find("Expanding maximum number of A nonzeros from 10 to 16.\n"),
            std::string::npos)
      << box.log();
  // Quadratic terms get exactly the places that are asked for.
  EXPECT_EQ(ZLV_putqobj(box.task, 3, s01, s01, ones), 0);
  EXPECT_EQ(ZLV_getmaxnumqnz(box.task, &num), 0);
  EXPECT_EQ(num, 3);
  EXPECT_EQ(ZLV_putqobj(box.task, 4, s01, s01, ones), 0);
  EXPECT_EQ(ZLV_getmaxnumqnz(box.task, &num), 0);
  EXPECT_EQ(num, 4);
}

TEST(DataType, IntegersAreCountedOnceAndABadTypeIsRefused) {
  api_box box;
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 2), 0);
  int32_t num = -1;
  EXPECT_EQ(ZLV_putvartype(box.task, 1, 1), 0);
  EXPECT_EQ(ZLV_putvartype(box.task, 1, 1), 0);
  EXPECT_EQ(ZLV_getnumintvar(box.task, &num), 0);
  EXPECT_EQ(num, 1);
  EXPECT_EQ(ZLV_putvartype(box.task, 1, 5), ZLV_RES_ERR_INV_VAR_TYPE);
  EXPECT_EQ(ZLV_getvartype(box.task, 1, &num), 0);
  EXPECT_EQ(num, 1);
  EXPECT_EQ(ZLV_getnumintvar(box.task, &num), 0);
  EXPECT_EQ(num, 0);  // counted down before the type is looked at
}

TEST(DataInput, ReplacesTheWholeProblem) {
  api_box box;
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 4), 0);
  ASSERT_EQ(ZLV_putqobjij(box.task, 1, 0, 2), 0);
  ASSERT_EQ(ZLV_appendcone(box.task, ZLV_CT_QUAD, 0, 1, s01 + 3), 0);
  const int32_t ptrb[] = {0, 1}, ptre[] = {1, 3}, asub[] = {1, 2, 0}, bk[] = {0, 4, 1};
  const double aval[] = {7, 8, 0}, bl[] = {1, 2, 3}, bu[] = {4, 5, 6};
  ASSERT_EQ(ZLV_inputdata(box.task, 5, 6, 3, 2, bl, 2.5, ptrb, ptre, asub, aval, bk, bl, bu,
                          nullptr, nullptr, nullptr),
            0);
  EXPECT_EQ(sizes_of(box.task), "2 3 2 0 0 ");
  EXPECT_NE(box.wrn().find("1 zero element(s)"), std::string::npos);
  int32_t key = -1, num = -1;
  double lower = -1, upper = -1, aij = -1;
  EXPECT_EQ(ZLV_getbound(box.task, ZLV_ACC_CON, 1, &key, &lower, &upper), 0);
  EXPECT_EQ(key, ZLV_BK_RA);
  EXPECT_EQ(upper, 5);
  EXPECT_EQ(ZLV_getbound(box.task, ZLV_ACC_VAR, 1, &key, nullptr, nullptr), 0);
  EXPECT_EQ(key, ZLV_BK_FX);
  EXPECT_EQ(ZLV_getaij(box.task, 2, 1, &aij), 0);
  EXPECT_EQ(aij, 8);
  EXPECT_EQ(ZLV_getmaxnumvar(box.task, &num), 0);
  EXPECT_EQ(num, 6);
}

}  // namespace
