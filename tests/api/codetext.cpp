// Response codes and symbolic constants as text, and back.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/api_box.h"

namespace {
using tostr_fn = int32_t (*)(ZLV_task_t, int32_t, char*);

struct tostr_case {
  tostr_fn function;
  int32_t value;
  const char* text;
  int32_t wanted;
};
}  // namespace

TEST(CodeText, DescribesKnownAndUnknownCodes) {
  char name[ZLV_MAX_STR_LEN] = "?", text[ZLV_MAX_STR_LEN] = "?";
  EXPECT_EQ(ZLV_getcodedisc(4025, name, text), ZLV_RES_OK);
  EXPECT_STREQ(name, "ZLV_RES_TRM_NUMERICAL_PROBLEM");
  EXPECT_STREQ(text, "The optimizer terminated due to a numerical problem.");
  EXPECT_EQ(ZLV_getcodedisc(12345, name, text), ZLV_RES_OK);
  EXPECT_STREQ(name, "");
  EXPECT_STREQ(text, "No description for the code 12345 is available.");
  EXPECT_EQ(ZLV_getcodedisc(1064, nullptr, text), ZLV_RES_OK);
  EXPECT_STREQ(text, "A \\texttt{task} is invalid. .");
  EXPECT_EQ(ZLV_getcodedisc(3003, name, nullptr), ZLV_RES_OK);
  EXPECT_STREQ(name, "ZLV_RES_ERR_API_NL_DATA");
  EXPECT_EQ(ZLV_getcodedisc(3003, nullptr, nullptr), ZLV_RES_OK);
}

TEST(CodeText, ClassFollowsTheRange) {
  const struct {
    int32_t code, wanted;
  } cases[] = {{0, ZLV_RESPONSE_OK},     {999, ZLV_RESPONSE_WRN},  {1000, ZLV_RESPONSE_ERR},
               {3999, ZLV_RESPONSE_ERR}, {4000, ZLV_RESPONSE_TRM}, {-5, ZLV_RESPONSE_WRN}};
  for (const auto& c : cases) {
    int32_t got = -1;
    EXPECT_EQ(ZLV_getresponseclass(c.code, &got), ZLV_RES_OK);
    EXPECT_EQ(got, c.wanted) << c.code;
  }
  EXPECT_EQ(ZLV_getresponseclass(0, nullptr), ZLV_RES_ERR_NULL_POINTER);
}

TEST(CodeText, SymbolicConstantsAreWalkedToTheSentinel) {
  api_box box;
  int32_t num = -1, maxlen = -1, longest = 0;
  ASSERT_EQ(ZLV_getsymbcondim(box.env, &num, &maxlen), ZLV_RES_OK);
  std::vector<char> name(size_t(maxlen) + 1);
  for (int32_t i = 0; i < num; ++i) {
    int32_t value = -1, back = -2;
    ASSERT_EQ(ZLV_getsymbcon(box.task, i, maxlen + 1, name.data(), &value), ZLV_RES_OK) << i;
    EXPECT_EQ(ZLV_symnamtovalue(name.data(), &back), ZLV_RES_OK) << name.data();
    EXPECT_EQ(back, value);
    longest = std::max(longest, int32_t(std::strlen(name.data())));
  }
  EXPECT_EQ(longest, maxlen);
  int32_t value = 7;
  EXPECT_EQ(ZLV_getsymbcon(box.task, num, 1, name.data(), &value), ZLV_RES_OK);
  EXPECT_STREQ(name.data(), "");
  EXPECT_EQ(value, 0);
  EXPECT_EQ(ZLV_getsymbcon(box.task, num + 1, 1, name.data(), &value),
            ZLV_RES_ERR_INDEX_IS_TOO_LARGE);
  EXPECT_EQ(ZLV_getsymbcon(box.task, -1, 1, name.data(), &value), ZLV_RES_ERR_INDEX_IS_TOO_SMALL);
  EXPECT_EQ(ZLV_getsymbcon(nullptr, 0, 1, name.data(), &value), ZLV_RES_ERR_NULL_TASK);
  EXPECT_EQ(box.wrn(), "");
  EXPECT_EQ(ZLV_getsymbcon(box.task, 0, 6, name.data(), &value), ZLV_RES_WRN_NAME_MAX_LEN);
  EXPECT_STREQ(name.data(), "ZLV_A");
  EXPECT_NE(box.wrn().find("A name of length 11 is longer than the buffer of length 6"),
            std::string::npos);
  num = maxlen = -1;
  EXPECT_EQ(ZLV_getsymbcondim(nullptr, &num, &maxlen), ZLV_RES_ERR_NULL_ENV);
  EXPECT_EQ(num, 0);
  EXPECT_EQ(maxlen, 0);
}

TEST(CodeText, ValuesAsText) {
  const tostr_case cases[] = {
      {ZLV_bktostr, ZLV_BK_RA, "ZLV_BK_RA", ZLV_RES_OK},
      {ZLV_bktostr, 5, "", ZLV_RES_ERR_INV_BK},
      {ZLV_bktostr, -1, "", ZLV_RES_ERR_INV_BK},
      {ZLV_sktostr, ZLV_SK_INF, "**", ZLV_RES_OK},
      {ZLV_sktostr, 7, "", ZLV_RES_ERR_INV_SK},
      {ZLV_sktostr, -1, "", ZLV_RES_ERR_INV_SK},
      {ZLV_conetypetostr, ZLV_CT_RQUAD, "ZLV_CT_RQUAD", ZLV_RES_OK},
      {ZLV_conetypetostr, 2, "untouched", ZLV_RES_ERR_CONE_TYPE},
      {ZLV_conetypetostr, -1, "untouched", ZLV_RES_ERR_CONE_TYPE},
      {ZLV_probtypetostr, 2, "QCQO (quadratically constrained optimization problem)", ZLV_RES_OK},
      {ZLV_probtypetostr, 6, "INVALID", ZLV_RES_OK},
      {ZLV_probtypetostr, -1, "INVALID", ZLV_RES_OK},
      {ZLV_prostatostr, 11, "PRIMAL_INFEASIBLE_OR_UNBOUNDED", ZLV_RES_OK},
      {ZLV_prostatostr, 12, "INVALID CODE(12)", ZLV_RES_OK},
      {ZLV_prostatostr, -1, "INVALID CODE(-1)", ZLV_RES_OK},
      {ZLV_solstatostr, 15, "NEAR_INTEGER_OPTIMAL", ZLV_RES_OK},
      {ZLV_solstatostr, 7, "INVALID code(7)", ZLV_RES_OK},
      {ZLV_solstatostr, 16, "INVALID code(16)", ZLV_RES_OK},
      {ZLV_solstatostr, -2, "INVALID code(-2)", ZLV_RES_OK},
  };
  api_box box;
  for (const tostr_case& c : cases) {
    char text[ZLV_MAX_STR_LEN] = "untouched";
    EXPECT_EQ(c.function(box.task, c.value, text), c.wanted) << c.text;
    EXPECT_STREQ(text, c.text);
  }
  EXPECT_EQ(box.log(), "");  // the code alone tells what failed
  for (const tostr_fn f : {ZLV_bktostr, ZLV_sktostr, ZLV_conetypetostr, ZLV_probtypetostr}) {
    char text[ZLV_MAX_STR_LEN];
    EXPECT_EQ(f(nullptr, 0, text), ZLV_RES_ERR_NULL_TASK);
    EXPECT_EQ(f(box.task, 0, nullptr), ZLV_RES_ERR_NULL_POINTER);
  }
  EXPECT_EQ(ZLV_prostatostr(nullptr, 0, nullptr), ZLV_RES_ERR_NULL_POINTER);
  EXPECT_EQ(ZLV_solstatostr(nullptr, 0, nullptr), ZLV_RES_OK);
}

TEST(CodeText, TextsAsValues) {
  api_box box;
  for (int32_t sk = 0; sk < 7; ++sk) {
    char text[ZLV_MAX_STR_LEN];
    int32_t back = -1;
    ASSERT_EQ(ZLV_sktostr(box.task, sk, text), ZLV_RES_OK);
    EXPECT_EQ(ZLV_strtosk(box.task, text, &back), ZLV_RES_OK);
    EXPECT_EQ(back, sk);
  }
  for (const char* text : {"bs", "BSX", "B", "", " BS"}) {
    int32_t sk = -1;
    EXPECT_EQ(ZLV_strtosk(box.task, text, &sk), ZLV_RES_ERR_INV_SK_STR) << text;
    EXPECT_EQ(sk, 7);
  }
  int32_t ct = -1;
  EXPECT_EQ(ZLV_strtoconetype(box.task, "ZLV_CT_QUADRATIC", &ct), ZLV_RES_OK);
  EXPECT_EQ(ct, ZLV_CT_QUAD);
  EXPECT_EQ(ZLV_strtoconetype(box.task, "ZLV_CT_RQUAD", &ct), ZLV_RES_OK);
  EXPECT_EQ(ct, ZLV_CT_RQUAD);
  EXPECT_EQ(ZLV_strtoconetype(box.task, "ZLV_CT_QUA", &ct), ZLV_RES_ERR_CONE_TYPE_STR);
}
