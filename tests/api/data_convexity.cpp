// Convexity of problems: which matrix must have which sign.
#include <gtest/gtest.h>
#include <zalvo.h>

#include <string>

#include "support/api_box.h"

namespace {

// Terms over x0, x1: [1 1; 1 1], singular, and its negative; and an indefinite one.
const int32_t subi[] = {0, 1, 1};
const int32_t subj[] = {0, 0, 1};
const double plus[] = {1, 1, 1};
const double minus[] = {-1, -1, -1};
const double mixed[] = {1, 2, 1};

struct convex_case {
  const char* name;
  int32_t sense;  // of the objective with the terms; -1: a constraint has them
  int32_t key;    // of the constraint
  const double* val;
  const char* failure;  // empty: convex
};
// clang-format off
const convex_case cases[] = {
    {"Min", ZLV_OBJECTIVE_SENSE_MIN, 0, plus, ""},
    {"MinConcave", ZLV_OBJECTIVE_SENSE_MIN, 0, minus, "in the objective is not PSD.\n"},
    {"MaxConcave", ZLV_OBJECTIVE_SENSE_MAX, 0, minus, ""},
    {"Max", ZLV_OBJECTIVE_SENSE_MAX, 0, plus, "in the objective is not NSD.\n"},
    {"MaxMixed", ZLV_OBJECTIVE_SENSE_MAX, 0, mixed, "in the objective is not NSD.\n"},
    {"Upper", -1, ZLV_BK_UP, plus, ""},
    {"UpperMixed", -1, ZLV_BK_UP, mixed, "in constraint 1 is not PSD.\n"},
    {"Lower", -1, ZLV_BK_LO, minus, ""},
    {"LowerPositive", -1, ZLV_BK_LO, plus, "in constraint 1 is not NSD.\n"},
    {"Ranged", -1, ZLV_BK_RA, plus, "in constraint 1 is not ZD.\n"},
    {"Fixed", -1, ZLV_BK_FX, minus, "in constraint 1 is not ZD.\n"},
    {"Free", -1, ZLV_BK_FR, mixed, ""},
};
// clang-format on

TEST(DataConvexity, AsksEachMatrixForItsSign) {
  for (const convex_case& c : cases) {
    api_box box;
    ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 2), 0);
    ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_CON, 2), 0);
    EXPECT_EQ(ZLV_checkconvexity(box.task), 0);
    if (c.sense >= 0) {
      ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_OBJECTIVE_SENSE, c.sense), 0);
      ASSERT_EQ(ZLV_putqobj(box.task, 3, subi, subj, c.val), 0);
    } else {
      ASSERT_EQ(ZLV_putbound(box.task, ZLV_ACC_CON, 1, c.key, 1, 2), 0);
      ASSERT_EQ(ZLV_putqconk(box.task, 1, 3, subi, subj, c.val), 0);
    }
    box.forget();
    const bool isconvex = *c.failure == '\0';
    EXPECT_EQ(ZLV_checkconvexity(box.task), isconvex ? 0 : ZLV_RES_ERR_NONCONVEX) << c.name;
    const std::string text = "The quadratic constraint matrix " + std::string(c.failure);
    EXPECT_EQ(box.err().find(text) != std::string::npos, !isconvex) << c.name << box.err();
  }
}

// Terms that cancel leave no quadratic part; both triangles add up.
TEST(DataConvexity, SumsTheTerms) {
  api_box box;
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 2), 0);
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_CON, 1), 0);
  ASSERT_EQ(ZLV_putbound(box.task, ZLV_ACC_CON, 0, ZLV_BK_RA, 1, 2), 0);
  const int32_t i[] = {0, 1}, j[] = {1, 0};
  const double val[] = {3, -3};
  ASSERT_EQ(ZLV_putqconk(box.task, 0, 2, i, j, val), 0);
  EXPECT_EQ(ZLV_checkconvexity(box.task), 0);
}

}  // namespace
