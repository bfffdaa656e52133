// What stops an optimizer from outside, and what happens to internal faults.
#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/api_box.h"
#include "zalvo/interrupt.h"

namespace {

const char* const breaktext = "<crtl>+<c> has been pressed while ZALVO is running.\n";

int32_t give(void* value) {
  return *static_cast<int32_t*>(value);
}

struct fault_list {
  std::vector<std::string> texts;
  static void keep(void* self, const char* file, int32_t line, const char* text) {
    static_cast<fault_list*>(self)->texts.push_back(std::string(file) + ":" + std::to_string(line) +
                                                    " " + text);
  }
};

struct call_list {
  std::vector<int32_t> where;
  int32_t result = 0;
  static int32_t call(ZLV_task_t, void* self, int32_t caller) {
    static_cast<call_list*>(self)->where.push_back(caller);
    return static_cast<call_list*>(self)->result;
  }
};

using handler = void (*)(int);
handler interrupt_handler() {
  struct sigaction now {};
  sigaction(SIGINT, nullptr, &now);
  return now.sa_handler;
}

}  // namespace

TEST(FrameBreak, IsOffByDefault) {
  api_box box;
  int32_t wanted = 1;
  EXPECT_EQ(ZLV_putctrlcfunc(box.env, give, &wanted), ZLV_RES_OK);
  EXPECT_EQ(task_pollbreak(*box.task), rescode::ok);
  EXPECT_EQ(ZLV_putctrlcfunc(nullptr, give, nullptr), ZLV_RES_OK);
}

TEST(FrameBreak, FunctionIsReportedOnceAndSticks) {
  api_box box;
  int32_t wanted = 0;
  ZLV_putctrlcfunc(box.env, give, &wanted);
  box.task->par.i[ipar::check_ctrl_c] = ZLV_ON;
  EXPECT_EQ(task_pollbreak(*box.task), rescode::ok);
  wanted = 1;
  EXPECT_EQ(task_pollbreak(*box.task), rescode::trm_user_break);
  EXPECT_EQ(box.msg(), breaktext);
  wanted = 0;
  EXPECT_EQ(task_pollbreak(*box.task), rescode::trm_user_break);
  EXPECT_EQ(box.msg(), breaktext);
  task_resetbreaks(*box.task);  // the next run starts afresh
  EXPECT_EQ(task_pollbreak(*box.task), rescode::ok);

  ZLV_task_t late = nullptr;  // so does a task made after the break
  ASSERT_EQ(ZLV_makeemptytask(box.env, &late), ZLV_RES_OK);
  late->par.i[ipar::check_ctrl_c] = ZLV_ON;
  EXPECT_EQ(task_pollbreak(*late), rescode::ok);
  wanted = 1;
  EXPECT_EQ(task_pollbreak(*late), rescode::trm_user_break);
  // The counter belongs to the environment: its other tasks see the break too.
  wanted = 0;
  EXPECT_EQ(task_pollbreak(*box.task), rescode::trm_user_break);
  EXPECT_EQ(ZLV_deletetask(&late), ZLV_RES_OK);
}

TEST(FrameBreak, FirstPollSeesAFunctionsBreak) {
  api_box box;
  int32_t wanted = 1;
  ZLV_putctrlcfunc(box.env, give, &wanted);
  box.task->par.i[ipar::check_ctrl_c] = ZLV_ON;
  EXPECT_EQ(task_pollbreak(*box.task), rescode::trm_user_break);
}

TEST(FrameBreak, ConsoleIsWatchedOnlyWhilePolling) {
  const handler before = interrupt_handler();
  api_box first, second;
  first.task->par.i[ipar::check_ctrl_c] = second.task->par.i[ipar::check_ctrl_c] = ZLV_ON;
  EXPECT_EQ(interrupt_handler(), before);
  EXPECT_EQ(task_pollbreak(*first.task), rescode::ok);
  EXPECT_NE(interrupt_handler(), before);
  std::raise(SIGINT);
  EXPECT_EQ(task_pollbreak(*first.task), rescode::trm_user_break);
  EXPECT_EQ(first.msg(), breaktext);
  // The second was made before the interrupt but runs after it.
  task_resetbreaks(*second.task);
  EXPECT_EQ(task_pollbreak(*second.task), rescode::ok);
  task_leavebreaks(*first.task);
  EXPECT_NE(interrupt_handler(), before);  // the second still listens
  EXPECT_EQ(second.close(), ZLV_RES_OK);
  EXPECT_EQ(interrupt_handler(), before);
}

TEST(FrameBreak, HandlerOfTheHostStays) {
  const handler before = interrupt_handler();
  {
    api_box box;
    box.task->par.i[ipar::check_ctrl_c] = ZLV_ON;
    EXPECT_EQ(task_pollbreak(*box.task), rescode::ok);
    std::signal(SIGINT, SIG_IGN);  // meanwhile, by the host
  }
  EXPECT_EQ(interrupt_handler(), SIG_IGN);
  std::signal(SIGINT, before);
}

TEST(FrameBreak, TasksOfOneEnvironmentPollInTheirThreads) {
  api_box box;
  std::atomic<int32_t> wanted{0};
  ZLV_putctrlcfunc(
      box.env, [](void* value) { return static_cast<std::atomic<int32_t>*>(value)->load(); },
      &wanted);
  std::vector<rescode> last(3, rescode::ok);
  std::atomic<int> numpolling{0};
  {
    std::vector<std::jthread> threads;
    for (rescode& r : last) {
      threads.emplace_back([&] {
        ZLV_task_t task = nullptr;
        if (ZLV_makeemptytask(box.env, &task) != ZLV_RES_OK) return;
        task->par.i[ipar::check_ctrl_c] = ZLV_ON;
        const bool early = task_pollbreak(*task) != rescode::ok;
        ++numpolling;
        while ((r = task_pollbreak(*task)) == rescode::ok) std::this_thread::yield();
        if (early || ZLV_deletetask(&task) != ZLV_RES_OK) r = rescode::err_unknown;
      });
    }
    while (numpolling < int(last.size())) std::this_thread::yield();
    wanted = 1;
  }
  EXPECT_EQ(last, std::vector<rescode>(3, rescode::trm_user_break));
}

TEST(FrameCallback, FlushesFilesNowAndThen) {
  const std::string name = testing::TempDir() + "frame_interrupt." + std::to_string(getpid());
  const auto size = [&] { return std::ifstream(name, std::ios::ate).tellg(); };
  api_box box;
  ASSERT_EQ(ZLV_linkfiletotaskstream(box.task, ZLV_STREAM_LOG, name.c_str(), 0), ZLV_RES_OK);
  task_echo(*box.task, msg_kind::log, "a line\n");
  const int32_t freq = box.task->par.i[ipar::flush_stream_freq];
  for (int32_t k = 1; k < freq; ++k) static_cast<void>(task_callback(*box.task, -1));
  EXPECT_EQ(size(), 0);
  static_cast<void>(task_callback(*box.task, -1));
  EXPECT_GT(size(), 0);
  EXPECT_EQ(box.close(), ZLV_RES_OK);
  std::remove(name.c_str());
}

TEST(FrameCallback, StopsAndKeepsItsPeriod) {
  api_box box;
  call_list calls;
  EXPECT_EQ(task_callback(*box.task, ZLV_CALLBACK_IM_INTPNT), rescode::ok);
  ASSERT_EQ(ZLV_putcallbackfunc(box.task, &call_list::call, &calls), ZLV_RES_OK);
  EXPECT_EQ(task_callback(*box.task, -1), rescode::ok);
  EXPECT_TRUE(calls.where.empty());
  box.task->par.d[dpar::callback_freq] = 1e6;  // seconds
  for (const int32_t where : {ZLV_CALLBACK_BEGIN_INTPNT, ZLV_CALLBACK_IM_INTPNT,
                              ZLV_CALLBACK_UPDATE_DUAL_SIMPLEX, ZLV_CALLBACK_END_INTPNT}) {
    EXPECT_EQ(task_callback(*box.task, where), rescode::ok);
  }
  EXPECT_EQ(calls.where,
            (std::vector<int32_t>{ZLV_CALLBACK_BEGIN_INTPNT, ZLV_CALLBACK_END_INTPNT}));
  box.task->par.d[dpar::callback_freq] = -1;
  calls.result = 7;
  EXPECT_EQ(task_callback(*box.task, ZLV_CALLBACK_IM_INTPNT), rescode::trm_user_callback);

  ZLV_callbackfunc func = nullptr;
  void* handle = nullptr;
  EXPECT_EQ(ZLV_getcallbackfunc(box.task, &func, &handle), ZLV_RES_OK);
  EXPECT_EQ(func, &call_list::call);
  EXPECT_EQ(handle, &calls);
  EXPECT_EQ(ZLV_getcallbackfunc(box.task, nullptr, &handle), ZLV_RES_ERR_NULL_POINTER);
  EXPECT_EQ(ZLV_getcallbackfunc(box.task, &func, nullptr), ZLV_RES_ERR_NULL_POINTER);
}

TEST(FrameFault, GoesToTheExitFunctionAndIsAnInternalError) {
  api_box box;
  fault_list faults;
  const auto fails = [](const auto& record) -> rescode {
    fault_check(record.mman == nullptr, {"unit.cpp", 17});
    return rescode::ok;
  };
  EXPECT_EQ(task_call(box.task, fails), ZLV_RES_ERR_INTERNAL);  // nobody was told to exit
  EXPECT_EQ(box.err(), "Assertion failed at unit.cpp (17).\nFatal error in file 'unit.cpp(17)'\n");
  EXPECT_EQ(ZLV_putexitfunc(box.env, &fault_list::keep, &faults), ZLV_RES_OK);
  EXPECT_EQ(ZLV_putexitfunc(nullptr, &fault_list::keep, &faults), ZLV_RES_OK);
  EXPECT_EQ(task_call(box.task, fails), ZLV_RES_ERR_INTERNAL);
  EXPECT_EQ(env_call(box.env, fails), ZLV_RES_ERR_INTERNAL);
  const std::string text = "unit.cpp:17 Assertion failed at unit.cpp (17).";
  EXPECT_EQ(faults.texts, (std::vector<std::string>{text, text}));
  ZLV_env_t env = nullptr;
  EXPECT_EQ(ZLV_getenv(box.task, &env), ZLV_RES_OK);  // the next call starts afresh
}

TEST(FrameFault, NothingThrownCrossesTheInterface) {
  api_box box;
  EXPECT_EQ(task_call(box.task, [](task_rec&) -> rescode { throw std::bad_alloc(); }),
            ZLV_RES_ERR_SPACE);
  EXPECT_EQ(env_call(box.env, [](env_rec&) -> rescode { throw std::length_error("size"); }),
            ZLV_RES_ERR_SPACE);
  EXPECT_EQ(task_call(box.task, [](task_rec&) -> rescode { throw std::runtime_error("odd"); }),
            ZLV_RES_ERR_INTERNAL);
  EXPECT_NE(box.err().find("An internal error occurred 'odd'."), std::string::npos);
  EXPECT_EQ(env_call(box.env, [](env_rec&) -> rescode { throw 3; }), ZLV_RES_ERR_INTERNAL);
}
