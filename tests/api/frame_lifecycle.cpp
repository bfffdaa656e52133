// Making and deleting environments and tasks, and the handle checks.
#include <gtest/gtest.h>

#include "support/api_box.h"

TEST(FrameLife, RefusesBadHandles) {
  ZLV_env_t env = nullptr;
  ZLV_task_t task = nullptr;
  EXPECT_EQ(ZLV_initenv(nullptr), ZLV_RES_ERR_NULL_ENV);
  EXPECT_EQ(ZLV_maketask(nullptr, 0, 0, &task), ZLV_RES_ERR_NULL_ENV);
  EXPECT_EQ(ZLV_getenv(nullptr, &env), ZLV_RES_ERR_NULL_TASK);
  EXPECT_EQ(ZLV_deletetask(&task), ZLV_RES_OK);
  EXPECT_EQ(ZLV_deleteenv(&env), ZLV_RES_OK);

  ASSERT_EQ(ZLV_makeenv(&env, nullptr, nullptr, nullptr, nullptr), ZLV_RES_OK);
  std::string text;
  ASSERT_EQ(ZLV_linkfunctoenvstream(env, ZLV_STREAM_ERR, &text, &api_box::keep), ZLV_RES_OK);
  EXPECT_EQ(ZLV_makeemptytask(env, &task), ZLV_RES_ERR_NO_INIT_ENV);
  EXPECT_EQ(text.rfind("ZALVO Error 1063   - ", 0), 0U) << text;
  EXPECT_EQ(task, nullptr);
  EXPECT_EQ(ZLV_initenv(env), ZLV_RES_OK);
  EXPECT_EQ(ZLV_initenv(env), ZLV_RES_OK);
  EXPECT_EQ(ZLV_maketask(env, 2, 3, nullptr), ZLV_RES_ERR_NULL_POINTER);
  EXPECT_EQ(ZLV_deleteenv(&env), ZLV_RES_OK);
  EXPECT_EQ(env, nullptr);
}

TEST(FrameLife, TaskOutlivesItsEnvironmentOnlyToBeDeleted) {
  api_box box;
  ASSERT_EQ(box.made, ZLV_RES_OK);
  ZLV_env_t same = nullptr;
  EXPECT_EQ(ZLV_getenv(box.task, &same), ZLV_RES_OK);
  EXPECT_EQ(same, box.env);
  EXPECT_EQ(ZLV_getenv(box.task, nullptr), ZLV_RES_ERR_NULL_POINTER);
  EXPECT_NE(box.err().find("Argument 'env' is unexpectedly a NULL pointer."), std::string::npos);
  EXPECT_EQ(ZLV_deleteenv(&box.env), ZLV_RES_OK);
  EXPECT_EQ(ZLV_getenv(box.task, &same), ZLV_RES_ERR_INVALID_TASK);
  EXPECT_EQ(ZLV_deletetask(&box.task), ZLV_RES_OK);
}

TEST(FrameLife, EveryFailedAllocationIsOutOfSpaceWithoutALeak) {
  for (long k = 0;; ++k) {
    faulty_alloc from(k);
    {
      api_box box(&from, 3, 4);
      if (box.made == ZLV_RES_OK) {
        ASSERT_LT(from.numcalls, k + 1);
        break;
      }
      ASSERT_EQ(box.made, ZLV_RES_ERR_SPACE) << k;
      EXPECT_EQ(box.task, nullptr) << k;
      EXPECT_EQ(box.close(), ZLV_RES_OK) << k;
    }
    ASSERT_EQ(from.numlive, 0) << k;
  }
}
