// Bounds and costs: what is stored, what is warned about and what is refused.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "support/api_box.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr double big = 1e30;

struct bound {
  int32_t key;
  double lower, upper;
  bool operator==(const bound&) const = default;
};
std::ostream& operator<<(std::ostream& out, const bound& b) {
  return out << "{" << b.key << ", " << b.lower << ", " << b.upper << "}";
}

struct bound_case {
  const char* name;
  bound given, stored;
  const char* warning = "";  // a piece of its text
};

bound get_bound(ZLV_task_t task, int32_t accmode, int32_t i) {
  bound b{-1, 0, 0};
  EXPECT_EQ(ZLV_getbound(task, accmode, i, &b.key, &b.lower, &b.upper), 0);
  return b;
}

class DataBound : public testing::TestWithParam<bound_case> {};

TEST_P(DataBound, IsNormalised) {
  const bound_case& c = GetParam();
  for (const int32_t accmode : {ZLV_ACC_VAR, ZLV_ACC_CON}) {
    api_box box;
    ASSERT_EQ(ZLV_append(box.task, accmode, 2), 0);
    EXPECT_EQ(ZLV_putbound(box.task, accmode, 1, c.given.key, c.given.lower, c.given.upper), 0);
    EXPECT_EQ(get_bound(box.task, accmode, 1), c.stored);
    EXPECT_EQ(box.wrn().empty(), *c.warning == '\0') << box.wrn();
    EXPECT_NE(box.wrn().find(c.warning), std::string::npos) << box.wrn();
  }
}

INSTANTIATE_TEST_SUITE_P(
    Keys, DataBound,
    testing::Values(
        bound_case{"LowerOnly", {ZLV_BK_LO, 1, 2}, {ZLV_BK_LO, 1, big}},
        bound_case{"UpperOnly", {ZLV_BK_UP, 1, 2}, {ZLV_BK_UP, -big, 2}},
        bound_case{"Free", {ZLV_BK_FR, 1, nan_value}, {ZLV_BK_FR, -big, big}},
        bound_case{"FixedTakesLower", {ZLV_BK_FX, 1, 2}, {ZLV_BK_FX, 1, 1}, "280"},
        bound_case{"FixedIgnoresNanUpper", {ZLV_BK_FX, 1, nan_value}, {ZLV_BK_FX, 1, 1}},
        bound_case{"LowerBeyondInfinity", {ZLV_BK_LO, -1e31, 0}, {ZLV_BK_FR, -big, big}},
        bound_case{"LowerAtInfinity", {ZLV_BK_LO, -1e16, 0}, {ZLV_BK_FR, -big, big}},
        bound_case{"UpperInfinite", {ZLV_BK_UP, 0, inf}, {ZLV_BK_FR, -big, big}},
        bound_case{"RangeHugeLowerStays", {ZLV_BK_RA, 1e31, 5}, {ZLV_BK_RA, 1e31, 5}, "Warning 52"},
        bound_case{"RangeInfiniteBothSides", {ZLV_BK_RA, -big, big}, {ZLV_BK_FR, -big, big}},
        bound_case{"RangeInfiniteLower", {ZLV_BK_RA, -inf, 5}, {ZLV_BK_UP, -big, 5}},
        bound_case{"RangeInfiniteUpper", {ZLV_BK_RA, 3, 1e17}, {ZLV_BK_LO, 3, big}},
        bound_case{"NarrowRangeIsFixed", {ZLV_BK_RA, 3, 3 + 1e-12}, {ZLV_BK_FX, 3, 3 + 1e-12}},
        bound_case{"RangeCrossedStays", {ZLV_BK_RA, 2, 1}, {ZLV_BK_RA, 2, 1}},
        bound_case{"LargeLower", {ZLV_BK_LO, 1e8, 0}, {ZLV_BK_LO, 1e8, big}, "lower bound"},
        bound_case{"LargeUpper", {ZLV_BK_UP, 0, 1e9}, {ZLV_BK_UP, -big, 1e9}, "upper bound"}),
    [](const auto& tc) { return std::string(tc.param.name); });

TEST(DataBoundPut, RefusesBadInputAndStoresNothing) {
  api_box box;
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 1), 0);
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_CON, 1), 0);
  EXPECT_EQ(ZLV_putbound(box.task, ZLV_ACC_VAR, 7, 5, 0, 0), ZLV_RES_ERR_INV_BKX);  // key first
  EXPECT_EQ(ZLV_putbound(box.task, ZLV_ACC_CON, 0, -1, 0, 0), ZLV_RES_ERR_INV_BKC);
  EXPECT_NE(box.err().find("'bk'"), std::string::npos) << box.err();
  EXPECT_EQ(ZLV_putbound(box.task, ZLV_ACC_VAR, -1, 0, 0, 0), ZLV_RES_ERR_INDEX_IS_TOO_SMALL);
  EXPECT_EQ(ZLV_putbound(box.task, ZLV_ACC_VAR, 1, 0, 0, 0), ZLV_RES_ERR_INDEX_IS_TOO_LARGE);
  EXPECT_EQ(ZLV_putbound(box.task, 2, 0, 0, 0, 0), ZLV_RES_ERR_IN_ARGUMENT);
  EXPECT_EQ(ZLV_putbound(box.task, ZLV_ACC_VAR, 0, ZLV_BK_LO, nan_value, 0),
            ZLV_RES_ERR_NAN_IN_DOUBLE_DATA);
  EXPECT_EQ(ZLV_putbound(nullptr, ZLV_ACC_VAR, 0, 0, 0, 0), ZLV_RES_ERR_NULL_TASK);
  EXPECT_EQ(get_bound(box.task, ZLV_ACC_VAR, 0), (bound{ZLV_BK_FX, 0, 0}));
  EXPECT_EQ(get_bound(box.task, ZLV_ACC_CON, 0), (bound{ZLV_BK_FR, -big, big}));
}

TEST(DataBoundList, KeepsWhatCameBeforeTheFailure) {
  api_box box;
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 4), 0);
  const int32_t sub[] = {3, 1, 9, 0};
  const int32_t bk[] = {ZLV_BK_LO, ZLV_BK_UP, ZLV_BK_FR, ZLV_BK_FR};
  const double bl[] = {1, 2, 3, 4};
  const double bu[] = {5, 6, 7, 8};
  EXPECT_EQ(ZLV_putboundlist(box.task, ZLV_ACC_VAR, 4, sub, bk, bl, bu),
            ZLV_RES_ERR_INDEX_IS_TOO_LARGE);
  EXPECT_EQ(get_bound(box.task, ZLV_ACC_VAR, 3), (bound{ZLV_BK_LO, 1, big}));
  EXPECT_EQ(get_bound(box.task, ZLV_ACC_VAR, 1), (bound{ZLV_BK_UP, -big, 6}));
  EXPECT_EQ(get_bound(box.task, ZLV_ACC_VAR, 0), (bound{ZLV_BK_FX, 0, 0}));
  EXPECT_EQ(ZLV_putboundlist(box.task, ZLV_ACC_VAR, -3, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(ZLV_putboundlist(box.task, ZLV_ACC_VAR, 1, sub, nullptr, bl, bu),
            ZLV_RES_ERR_NULL_POINTER);
  EXPECT_EQ(ZLV_putboundslice(box.task, ZLV_ACC_VAR, 2, 4, bk, bl, bu), 0);
  EXPECT_EQ(get_bound(box.task, ZLV_ACC_VAR, 2), (bound{ZLV_BK_LO, 1, big}));
  EXPECT_EQ(get_bound(box.task, ZLV_ACC_VAR, 3), (bound{ZLV_BK_UP, -big, 6}));
}

TEST(DataBoundChange, ChangesOneSideAndTheKey) {
  struct step {
    int32_t lower, finite;
    double value;
    bound after;
  };
  const step steps[] = {{0, 0, 0, {ZLV_BK_LO, 0, big}},        {0, 1, 4, {ZLV_BK_RA, 0, 4}},
                        {1, 0, 7, {ZLV_BK_UP, -big, 4}},       {0, 1, inf, {ZLV_BK_FR, -big, big}},
                        {1, 1, -1e16, {ZLV_BK_FR, -big, big}}, {1, 1, 3, {ZLV_BK_LO, 3, big}},
                        {0, 1, 3, {ZLV_BK_FX, 3, 3}}};
  api_box box;
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 1), 0);
  for (const step& s : steps) {
    EXPECT_EQ(ZLV_chgbound(box.task, ZLV_ACC_VAR, 0, s.lower, s.finite, s.value), 0);
    EXPECT_EQ(get_bound(box.task, ZLV_ACC_VAR, 0), s.after);
  }
  EXPECT_EQ(ZLV_chgbound(box.task, ZLV_ACC_VAR, 0, 1, 1, nan_value),
            ZLV_RES_ERR_NAN_IN_DOUBLE_DATA);
  EXPECT_EQ(get_bound(box.task, ZLV_ACC_VAR, 0), (bound{ZLV_BK_FX, 3, 3}));
}

TEST(DataCost, ChecksSizes) {
  api_box box;
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 3), 0);
  ASSERT_EQ(ZLV_putname(box.task, ZLV_PI_VAR, 1, "cargo"), 0);
  EXPECT_EQ(ZLV_putcj(box.task, 1, 1e16), 0);  // at the limit: large only
  EXPECT_NE(box.wrn().find("'cargo' (1)"), std::string::npos) << box.wrn();
  EXPECT_EQ(ZLV_putcj(box.task, 1, 2e16), ZLV_RES_ERR_HUGE_C);
  EXPECT_EQ(ZLV_putcj(box.task, 1, -inf), ZLV_RES_ERR_HUGE_C);
  EXPECT_EQ(ZLV_putcj(box.task, 1, nan_value), ZLV_RES_ERR_NAN_IN_DOUBLE_DATA);
  const int32_t subj[] = {0, 2, 3};
  const double val[] = {5, 6, 7};
  EXPECT_EQ(ZLV_putclist(box.task, 3, subj, val), ZLV_RES_ERR_INDEX_ARR_IS_TOO_LARGE);
  EXPECT_NE(box.err().find("'subj[2]' is too large(<3)"), std::string::npos) << box.err();
  double c[3] = {};
  EXPECT_EQ(ZLV_getc(box.task, c), 0);
  EXPECT_EQ(c[0], 5);
  EXPECT_EQ(c[1], 1e16);
  EXPECT_EQ(c[2], 6);
  EXPECT_EQ(ZLV_getcslice(box.task, 2, 4, c), ZLV_RES_ERR_LAST);
  EXPECT_EQ(ZLV_getcslice(box.task, 4, 4, c), ZLV_RES_ERR_FIRST);
  EXPECT_EQ(ZLV_putcfix(box.task, nan_value), ZLV_RES_ERR_NAN_IN_DOUBLE_DATA);
}

}  // namespace
