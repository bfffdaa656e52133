// Messages whose arguments do not fit the template of their code.
#include <gtest/gtest.h>

#include "support/api_box.h"
#include "zalvo/frame.h"

TEST(FrameFail, ArgumentsThatFitFillTheTemplate) {
  api_box box;
  ASSERT_EQ(box.made, ZLV_RES_OK);
  EXPECT_EQ(task_fail(*box.task, rescode::wrn_large_bound, 1e9, "variable", "x", 3),
            rescode::wrn_large_bound);
  EXPECT_EQ(
      box.wrn(),
      "ZALVO Warning 51     - A large bound of value  1.0e+09 has been specified for variable "
      "'x' (3).\n");
  EXPECT_EQ(task_fail(*box.task, rescode::err_space, "more than is needed"), rescode::err_space);
  EXPECT_EQ(box.err(), "ZALVO Error 1051   - Out of space.\n");
}

#ifdef NDEBUG
TEST(FrameFail, ArgumentsThatDoNotFitGiveTheDescription) {
  api_box box;
  ASSERT_EQ(box.made, ZLV_RES_OK);
  const std::string wanted = "ZALVO Error 1203   - An index in an argument is too small.\n";
  const auto expect_described = [&](rescode r) {
    EXPECT_EQ(r, rescode::err_index_is_too_small);
    EXPECT_EQ(box.err(), wanted);
    box.forget();
  };
  constexpr rescode code = rescode::err_index_is_too_small;
  expect_described(task_fail(*box.task, code));
  expect_described(task_fail(*box.task, code, 1));
  expect_described(task_fail(*box.task, code, "i", 1));
  expect_described(task_fail(*box.task, code, 1.0, "i"));
  expect_described(task_fail(*box.task, code, int64_t(1), "i"));
}
#endif
