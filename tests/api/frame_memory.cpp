// Memory functions, memory debugging and version functions through the interface.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "support/api_box.h"
#include "support/file_text.h"

namespace {

struct fault_list {
  std::vector<std::string> texts;
  static void keep(void* self, const char*, int32_t, const char* text) {
    static_cast<fault_list*>(self)->texts.emplace_back(text);
  }
};

}  // namespace

TEST(FrameMemory, BlocksOfBothManagers) {
  faulty_alloc from;
  api_box box(&from);
  const auto iszero = [](const void* block) {
    return std::string(static_cast<const char*>(block), 24) == std::string(24, '\0');
  };
  void* blocks[] = {ZLV_callocenv(box.env, 3, 8), ZLV_callocdbgenv(box.env, 8, 3, "f.c", 1),
                    ZLV_calloctask(box.task, 24, 1), ZLV_callocdbgtask(box.task, 1, 24, "f.c", 2)};
  for (void* block : blocks) EXPECT_TRUE(block != nullptr && iszero(block));
  char* texts[] = {ZLV_strdupenv(box.env, "a"), ZLV_strdupdbgenv(box.env, "", "f.c", 3),
                   ZLV_strduptask(box.task, "b"), ZLV_strdupdbgtask(box.task, "cd", "f.c", 4)};
  EXPECT_STREQ(texts[0], "a");
  EXPECT_STREQ(texts[1], "");
  EXPECT_STREQ(texts[3], "cd");
  EXPECT_EQ(ZLV_strduptask(box.task, nullptr), nullptr);
  from.failat = from.numcalls;
  EXPECT_EQ(ZLV_callocenv(box.env, 1, 1), nullptr);
  ZLV_freeenv(box.env, blocks[0]);
  ZLV_freedbgenv(box.env, blocks[1], "f.c", 5);
  ZLV_freetask(box.task, blocks[2]);
  ZLV_freedbgtask(box.task, blocks[3], nullptr, 6);
  for (int k = 0; k < 4; ++k)
    (k < 2 ? ZLV_freeenv(box.env, texts[k]) : ZLV_freetask(box.task, texts[k]));
  ZLV_freetask(box.task, nullptr);
  EXPECT_EQ(box.close(), ZLV_RES_OK);
  EXPECT_EQ(from.numlive, 0);
}

TEST(FrameMemory, NullHandles) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(ZLV_callocenv(nullptr, 1, 8), nullptr);
  EXPECT_EQ(ZLV_callocdbgtask(nullptr, 1, 8, "f.c", 7), nullptr);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("mman==NULL file: f.c line: 7\n"),
            std::string::npos);
  ZLV_freeenv(nullptr, nullptr);
  ZLV_freetask(nullptr, nullptr);
  EXPECT_EQ(ZLV_checkmemenv(nullptr, "f.c", 1), ZLV_RES_ERR_NULL_ENV);
  EXPECT_EQ(ZLV_checkmemtask(nullptr, "f.c", 1), ZLV_RES_ERR_NULL_TASK);
}

// The text goes to standard output, which a death test doesn't catch: it is led to standard error.
TEST(FrameMemoryDeathTest, NullHandlesThatEndTheProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto led = [] {
    std::fflush(stdout);
    dup2(2, 1);
  };
  const auto ended = testing::ExitedWithCode(1);
  EXPECT_EXIT((led(), ZLV_freedbgenv(nullptr, nullptr, "f.c", 1)), ended, "ZLV_free\n");
  EXPECT_EXIT((led(), ZLV_freedbgtask(nullptr, nullptr, "f.c", 1)), ended, "ZLV_free\n");
  EXPECT_EXIT((led(), ZLV_strdupdbgenv(nullptr, "x", "f.c", 1)), ended, "ZLV_strdup\n");
  EXPECT_EXIT((led(), ZLV_strduptask(nullptr, "x")), ended, "ZLV_strdup\n");
}

TEST(FrameMemory, LeaksAreTheVerdictOfDeletion) {
  for (const char* dbgfile : {static_cast<const char*>(nullptr), ""}) {
    faulty_alloc from;
    api_box box(&from, 0, 0, dbgfile);
    const void* left = ZLV_calloctask(box.task, 1, 8);
    ASSERT_NE(left, nullptr);
    EXPECT_EQ(ZLV_deletetask(&box.task), ZLV_RES_ERR_SPACE_LEAKING);
    EXPECT_EQ(box.task, nullptr);
    ASSERT_NE(ZLV_callocenv(box.env, 1, 8), nullptr);
    EXPECT_EQ(ZLV_deleteenv(&box.env), ZLV_RES_ERR_SPACE_LEAKING);
    EXPECT_EQ(from.numlive, 2);  // the two that the caller lost, and nothing else
  }
}

TEST(FrameMemory, DebuggingFindsBrokenGuards) {
  faulty_alloc from;
  api_box box(&from, 0, 0, "");
  fault_list faults;
  auto* block = static_cast<char*>(ZLV_callocdbgtask(box.task, 5, 1, "f.c", 1));
  block[5] ^= 1;
  EXPECT_EQ(ZLV_checkmemtask(box.task, "g.c", 2), ZLV_RES_ERR_INTERNAL);  // no exit function
  EXPECT_NE(box.err().find(" guard pos: 0 expected: "), std::string::npos);
  EXPECT_NE(box.err().find("Fatal error in file 'g.c(2)'\n"), std::string::npos);
  ZLV_putexitfunc(box.env, &fault_list::keep, &faults);
  EXPECT_EQ(ZLV_checkmemtask(box.task, "g.c", 3), ZLV_RES_ERR_INTERNAL);
  EXPECT_EQ(ZLV_checkmemenv(box.env, "g.c", 4), ZLV_RES_OK);
  EXPECT_EQ(faults.texts.size(), 1U);
  ZLV_freetask(box.task, block);
  EXPECT_EQ(faults.texts.size(), 2U);
  EXPECT_EQ(ZLV_checkmemtask(box.task, "g.c", 5), ZLV_RES_OK);

  block = static_cast<char*>(ZLV_calloctask(box.task, 5, 1));
  block[-1] ^= 1;
  EXPECT_EQ(ZLV_deletetask(&box.task), ZLV_RES_ERR_INTERNAL);
  ASSERT_EQ(faults.texts.size(), 3U);
  EXPECT_EQ(faults.texts[2].rfind("*** Block guard violation. Block number ", 0), 0U);
}

TEST(FrameMemory, LogsOfEnvironmentAndTasks) {
  const std::string prefix = testing::TempDir() + "frame_memory";
  const std::string envlog = prefix + ".env.txt", log1 = prefix + "1.task.txt",
                    log2 = prefix + "2.task.txt";
  {
    api_box box(nullptr, 0, 0, prefix.c_str());
    ASSERT_EQ(box.made, ZLV_RES_OK);
    ZLV_task_t second = nullptr;
    ASSERT_EQ(ZLV_makeemptytask(box.env, &second), ZLV_RES_OK);
    ZLV_freedbgtask(second, ZLV_callocdbgtask(second, 1, 100, "mine.c", 77), "mine.c", 78);
    EXPECT_EQ(ZLV_checkmemenv(box.env, "mine.c", 79), ZLV_RES_OK);
    EXPECT_EQ(ZLV_deletetask(&second), ZLV_RES_OK);
    EXPECT_EQ(box.close(), ZLV_RES_OK);
  }
  for (const std::string& name : {envlog, log1, log2}) {
    const std::string text = file_text(name);
    EXPECT_EQ(text.rfind("ZALVO memory debugging.", 0), 0U) << name;
    EXPECT_NE(text.find("Checking leaks\nDone checking leaks\n"), std::string::npos) << name;
    EXPECT_EQ(text.find("cannot be deallocated"), std::string::npos) << name;
    std::remove(name.c_str());
    if (name == envlog) {
      EXPECT_NE(text.find("Scanning memory at 'mine.c'(79)\n"), std::string::npos);
    }
    if (name == log2) {
      EXPECT_NE(text.find(" of size 100 B ("), std::string::npos);
      EXPECT_NE(text.find(") in file 'mine.c(77)'"), std::string::npos);
      EXPECT_NE(text.find(") in file 'mine.c(78)'"), std::string::npos);
    }
  }
  ZLV_env_t env = nullptr;
  const std::string nowhere = testing::TempDir() + "no/such/folder/x";
  EXPECT_EQ(ZLV_makeenv(&env, nullptr, nullptr, nullptr, nowhere.c_str()), ZLV_RES_ERR_FILE_OPEN);
  EXPECT_EQ(env, nullptr);
}

TEST(FrameMemory, EveryFailedAllocationWithDebuggingOn) {
  for (long k = 0;; ++k) {
    faulty_alloc from(k);
    {
      api_box box(&from, 0, 0, "");
      if (box.made == ZLV_RES_OK) break;
      ASSERT_EQ(box.made, ZLV_RES_ERR_SPACE) << k;
    }
    ASSERT_EQ(from.numlive, 0) << k;
  }
}

TEST(FrameVersion, ComparesAtTheFirstDifference) {
  api_box box;
  int32_t v[4] = {-1, -1, -1, -1};
  EXPECT_EQ(ZLV_getversion(&v[0], &v[1], &v[2], &v[3]), ZLV_RES_OK);
  EXPECT_EQ(ZLV_getversion(nullptr, nullptr, nullptr, nullptr), ZLV_RES_OK);
  EXPECT_EQ((std::vector<int32_t>(v, v + 4)), (std::vector<int32_t>{4, 0, 0, 47}));
  EXPECT_EQ(ZLV_checkversion(box.env, 4, 0, 0, 47), ZLV_RES_OK);
  EXPECT_EQ(ZLV_checkversion(box.env, 4, 0, 0, 48), ZLV_RES_ERR_OLDER_DLL);
  const std::string& err = box.envtext[ZLV_STREAM_ERR];
  for (const char* part : {"4.0.0.47", "4.0.0.48"}) EXPECT_NE(err.find(part), std::string::npos);
  EXPECT_EQ(ZLV_checkversion(box.env, 3, 9, 9, 99), ZLV_RES_ERR_NEWER_DLL);
  EXPECT_EQ(ZLV_checkversion(box.env, 4, 1, -1, 0), ZLV_RES_ERR_OLDER_DLL);
  EXPECT_EQ(ZLV_checkversion(box.env, 4, 0, 0, 46), ZLV_RES_ERR_NEWER_DLL);
  EXPECT_EQ(ZLV_checkversion(nullptr, 4, 0, 0, 47), ZLV_RES_ERR_NULL_ENV);
  char state[ZLV_MAX_STR_LEN] = "x", date[ZLV_MAX_STR_LEN] = "x", tool[ZLV_MAX_STR_LEN] = "x";
  EXPECT_EQ(ZLV_getbuildinfo(state, date, tool), ZLV_RES_OK);
  EXPECT_STREQ(state, "");
  EXPECT_STREQ(date, "Oct 10 2006 20:06:05");
  EXPECT_STREQ(tool, "");
  EXPECT_EQ(ZLV_getbuildinfo(nullptr, nullptr, nullptr), ZLV_RES_OK);
}

TEST(FrameVersion, IntroductionIsShortOrLong) {
  api_box box;
  const std::string head = "\nZALVO Version 4.0.0.47 (Build date: Oct 10 2006)\n";
  EXPECT_EQ(ZLV_echointro(box.env, 0), ZLV_RES_OK);
  std::string& msg = box.envtext[ZLV_STREAM_MSG];
  EXPECT_EQ(msg, head);
  msg.clear();
  EXPECT_EQ(ZLV_echointro(box.env, 1), ZLV_RES_OK);
  EXPECT_EQ(msg.rfind(head + "\nOperating system variables\n", 0), 0U) << msg;
  EXPECT_NE(msg.find("\nOMP_NUM_THREADS          : "), std::string::npos) << msg;
  EXPECT_EQ(ZLV_echointro(nullptr, 1), ZLV_RES_ERR_NULL_ENV);
}
