// Environments and tasks in several threads: also a subject for the thread sanitizer.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "support/api_box.h"

namespace {

constexpr int numthread = 4;
constexpr int numround = 50;

// What a thread does with tasks of an environment; the number of calls that went wrong.
int use_tasks(ZLV_env_t env) {
  int numwrong = 0;
  for (int k = 0; k < numround; ++k) {
    ZLV_task_t task = nullptr;
    std::string text;
    numwrong += ZLV_maketask(env, k, k, &task) != ZLV_RES_OK;
    numwrong += ZLV_linkfunctotaskstream(task, ZLV_STREAM_LOG, &text, &api_box::keep) != ZLV_RES_OK;
    numwrong += ZLV_echotask(task, ZLV_STREAM_MSG, "round %d\n", k) != ZLV_RES_OK;
    numwrong += text != "round " + std::to_string(k) + "\n";
    ZLV_freetask(task, ZLV_calloctask(task, 10, 10));
    numwrong += ZLV_checkmemtask(task, __FILE__, __LINE__) != ZLV_RES_OK;
    numwrong += ZLV_deletetask(&task) != ZLV_RES_OK;
  }
  return numwrong;
}

int use_environment() {
  int numwrong = 0;
  for (int k = 0; k < numround / 10; ++k) {
    ZLV_env_t env = nullptr;
    numwrong +=
        ZLV_makeenv(&env, nullptr, nullptr, nullptr, k % 2 == 0 ? nullptr : "") != ZLV_RES_OK;
    numwrong += ZLV_initenv(env) != ZLV_RES_OK;
    numwrong += use_tasks(env);
    numwrong += ZLV_deleteenv(&env) != ZLV_RES_OK;
  }
  return numwrong;
}

template <class Work>
void run_threads(Work&& work) {
  std::vector<int> wrong(numthread, -1);
  {
    std::vector<std::jthread> threads;
    for (int k = 0; k < numthread; ++k) threads.emplace_back([&, k] { wrong[size_t(k)] = work(); });
  }
  EXPECT_EQ(wrong, std::vector<int>(numthread, 0));
}

}  // namespace

TEST(FrameThreads, EachItsEnvironment) {
  run_threads(use_environment);
}

TEST(FrameThreads, TasksOfOneEnvironment) {
  for (const char* dbgfile : {static_cast<const char*>(nullptr), ""}) {
    faulty_alloc from;
    api_box box(&from, 0, 0, dbgfile);
    run_threads([&] { return use_tasks(box.env); });
    EXPECT_EQ(box.close(), ZLV_RES_OK);
    EXPECT_EQ(from.numlive, 0);
  }
}
