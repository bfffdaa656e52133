// The concurrent optimizer, both entries: what wins, what the calling task gets, what it refuses.
// Also a subject for the thread sanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/api_box.h"
#include "support/planted_lp.h"
#include "support/solved_lp.h"

namespace {

planted_lp planted(uint32_t seed) {
  std::mt19937 gen(seed);
  return plant_optimal(gen, {30, 50, 0.2}, seed % 2 == 1);
}

void choose(ZLV_task_t task, int32_t optimizer) {
  ASSERT_EQ(ZLV_putintparam(task, ZLV_IPAR_OPTIMIZER, optimizer), ZLV_RES_OK);
}

int32_t optimizer_of(ZLV_task_t task) {
  int32_t optimizer = -1;
  EXPECT_EQ(ZLV_getintparam(task, ZLV_IPAR_OPTIMIZER, &optimizer), ZLV_RES_OK);
  return optimizer;
}

// A second task with streams of its own, of the same environment.
struct second_task {
  ZLV_task_t task = nullptr;
  explicit second_task(ZLV_env_t env) { EXPECT_EQ(ZLV_makeemptytask(env, &task), ZLV_RES_OK); }
  ~second_task() { EXPECT_EQ(ZLV_deletetask(&task), ZLV_RES_OK); }
  second_task(const second_task&) = delete;
  second_task& operator=(const second_task&) = delete;
};

// How often a text is in another.
int count(const std::string& text, const std::string& part) {
  int num = 0;
  for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++num;
  return num;
}

const char *const ipm = "interior-point (threads = 2)", *const primal = "primal simplex",
                  *const dual = "dual simplex", *const either = "free simplex";

struct concurrent_case {
  const char* name;
  int32_t num;          // asked for
  int32_t priority[4];  // of interior point, primal, dual and free simplex
  std::vector<const char*> runs;
};

}  // namespace

TEST(Concurrent, TheCallingTaskGetsTheSolution) {
  for (uint32_t seed = 0; seed < 8; ++seed) {
    const planted_lp lp = planted(seed);
    api_box box;
    put_data(box.task, lp.p);
    choose(box.task, ZLV_OPTIMIZER_INTPNT);
    second_task other(box.env);
    choose(other.task, ZLV_OPTIMIZER_INTPNT);
    ASSERT_EQ(ZLV_optimizeconcurrent(box.task, &other.task, 1), ZLV_RES_OK) << box.err();
    const lp_point point = get_point(box.task, lp.p);
    EXPECT_EQ(point.solsta, ZLV_SOL_STA_OPTIMAL);
    expect_honest(lp.p, point);
    int32_t fastest = -1, numopt = -1;
    EXPECT_EQ(ZLV_getintinf(box.task, ZLV_IINF_CONCURRENT_FASTEST_OPTIMIZER, &fastest), 0);
    EXPECT_EQ(ZLV_getintinf(box.task, ZLV_IINF_CONCURRENT_NUM_OPTIMIZERS, &numopt), 0);
    EXPECT_EQ(fastest, ZLV_OPTIMIZER_INTPNT);
    EXPECT_EQ(numopt, 2);
  }
}

class ConcurrentChoice : public testing::TestWithParam<concurrent_case> {};
TEST_P(ConcurrentChoice, ByPriorityAndPutBack) {
  const concurrent_case& c = GetParam();
  const planted_lp lp = planted(3);
  api_box box;
  put_data(box.task, lp.p);
  choose(box.task, ZLV_OPTIMIZER_CONCURRENT);
  const std::pair<int32_t, int32_t> settings[] = {
      {ZLV_IPAR_CONCURRENT_NUM_OPTIMIZERS, c.num},
      {ZLV_IPAR_CONCURRENT_PRIORITY_INTPNT, c.priority[0]},
      {ZLV_IPAR_CONCURRENT_PRIORITY_PRIMAL_SIMPLEX, c.priority[1]},
      {ZLV_IPAR_CONCURRENT_PRIORITY_DUAL_SIMPLEX, c.priority[2]},
      {ZLV_IPAR_CONCURRENT_PRIORITY_FREE_SIMPLEX, c.priority[3]},
      {ZLV_IPAR_INTPNT_NUM_THREADS, 2}};
  for (const auto& [par, value] : settings) ASSERT_EQ(ZLV_putintparam(box.task, par, value), 0);
  ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK) << box.err();
  EXPECT_EQ(optimizer_of(box.task), ZLV_OPTIMIZER_CONCURRENT);
  const std::string& log = box.log();
  const std::string num = std::to_string(c.runs.size()),
                    chosen = "Optimizer selected for thread number ";
  EXPECT_EQ(count(log, "Number of concurrent optimizers          : " + num + "\n"), 1);
  EXPECT_EQ(count(log, chosen), int(c.runs.size()));
  int32_t numthread = 0, numwon = 0, fastest = -1;
  for (size_t k = 0; k < c.runs.size(); ++k) {
    const std::string thread = std::to_string(k), run = c.runs[k];
    EXPECT_EQ(count(log, chosen + thread + "   : " + run + "\n"), 1);
    const bool isintpnt = c.runs[k] == ipm;
    numthread += isintpnt ? 2 : 1;
    const std::string verdict = "Thread number " + thread + " (" + run;
    if (count(log, verdict + ") terminated first.\n\n") == 0) continue;
    ++numwon;
    const lp_point point = get_point(box.task, lp.p, isintpnt ? ZLV_SOL_ITR : ZLV_SOL_BAS);
    EXPECT_EQ(point.solsta, ZLV_SOL_STA_OPTIMAL);
    expect_honest(lp.p, point);
    EXPECT_EQ(ZLV_getintinf(box.task, ZLV_IINF_CONCURRENT_FASTEST_OPTIMIZER, &fastest), 0);
    EXPECT_EQ(fastest == ZLV_OPTIMIZER_INTPNT, isintpnt);
  }
  EXPECT_EQ(numwon, 1);
  const std::string total = std::to_string(numthread);
  EXPECT_EQ(count(log, "Total number of threads required         : " + total + "\n"), 1);
}
INSTANTIATE_TEST_SUITE_P(
    Runs, ConcurrentChoice,
    testing::Values(concurrent_case{"None", 0, {4, 1, 2, 3}, {ipm}},
                    concurrent_case{"Alone", 1, {1, 4, 2, 3}, {primal}},
                    concurrent_case{"EqualPriorities", 3, {7, 7, 7, 7}, {ipm, primal, dual}},
                    concurrent_case{"Simplex", 2, {0, 2, 3, 1}, {dual, primal}},
                    concurrent_case{"TooMany", 9, {1, 2, 3, 4}, {either, dual, primal, ipm}}),
    [](const auto& tc) { return std::string(tc.param.name); });

// The second task has just begun when the first one ends: it must stop at its next poll.
TEST(Concurrent, WhoIsLateIsStopped) {
  const planted_lp lp = planted(5);
  api_box box;
  put_data(box.task, lp.p);
  choose(box.task, ZLV_OPTIMIZER_DUAL_SIMPLEX);
  second_task other(box.env);
  choose(other.task, ZLV_OPTIMIZER_INTPNT);
  std::atomic<bool> isover = false;
  const auto tell = [](ZLV_task_t, void* flag, int32_t where) -> int32_t {
    if (where == ZLV_CALLBACK_END_DUAL_SIMPLEX) *static_cast<std::atomic<bool>*>(flag) = true;
    return 0;
  };
  const auto wait = [](ZLV_task_t, void* flag, int32_t) -> int32_t {
    do {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    } while (!*static_cast<std::atomic<bool>*>(flag));
    return 0;
  };
  ASSERT_EQ(ZLV_putcallbackfunc(box.task, tell, &isover), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putcallbackfunc(other.task, wait, &isover), ZLV_RES_OK);
  ASSERT_EQ(ZLV_optimizeconcurrent(box.task, &other.task, 1), ZLV_RES_OK) << box.err();
  EXPECT_EQ(count(box.log(), "Thread number 0 (dual simplex) terminated first.\n\n"), 1);
  EXPECT_EQ(get_point(box.task, lp.p, ZLV_SOL_BAS).solsta, ZLV_SOL_STA_OPTIMAL);
  EXPECT_NE(get_point(other.task, lp.p).solsta, ZLV_SOL_STA_OPTIMAL);
}

TEST(Concurrent, WhatEndsAllIsToldOnce) {
  for (const bool isinteger : {true, false}) {
    api_box box;
    put_data(box.task, planted(2).p);
    choose(box.task, ZLV_OPTIMIZER_CONCURRENT);
    ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_CONCURRENT_PRIORITY_FREE_SIMPLEX, 0), ZLV_RES_OK);
    if (isinteger) {
      ASSERT_EQ(ZLV_putvartype(box.task, 0, ZLV_VAR_TYPE_INT), ZLV_RES_OK);
    } else {
      const auto stop = [](ZLV_task_t, void*, int32_t where) -> int32_t {
        return where == ZLV_CALLBACK_BEGIN_PRESOLVE ? 1 : 0;
      };
      ASSERT_EQ(ZLV_putcallbackfunc(box.task, stop, nullptr), ZLV_RES_OK);
      ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_CONCURRENT_NUM_OPTIMIZERS, 1), ZLV_RES_OK);
    }
    const int32_t code = isinteger ? ZLV_RES_ERR_MIO_NOT_LOADED : ZLV_RES_TRM_USER_CALLBACK;
    EXPECT_EQ(ZLV_optimize(box.task), code);
    EXPECT_EQ(count(box.err(), std::to_string(code)), 1) << box.err();
  }
}

TEST(Concurrent, RefusesWhatItCannotRun) {
  api_box box;
  put_data(box.task, planted(1).p);
  choose(box.task, ZLV_OPTIMIZER_INTPNT);
  second_task other(box.env);
  choose(other.task, ZLV_OPTIMIZER_CONIC);
  ZLV_task_t twice[] = {other.task, other.task}, self[] = {box.task}, null[] = {nullptr};
  const struct {
    ZLV_task_t task;
    ZLV_task_t* tasks;
    int32_t num, code;
  } calls[] = {
      {nullptr, &other.task, 1, ZLV_RES_ERR_NULL_TASK},
      {box.task, nullptr, 1, ZLV_RES_ERR_NULL_POINTER},
      {box.task, &other.task, -1, ZLV_RES_ERR_ARGUMENT_DIMENSION},
      {box.task, null, 1, ZLV_RES_ERR_NULL_TASK},
      {box.task, self, 1, ZLV_RES_ERR_INVALID_TASK},
      {box.task, twice, 2, ZLV_RES_ERR_INVALID_TASK},
      {box.task, &other.task, 1, ZLV_RES_ERR_CONCURRENT_OPTIMIZER},
  };
  for (const auto& call : calls) {
    EXPECT_EQ(ZLV_optimizeconcurrent(call.task, call.tasks, call.num), call.code);
    int32_t isdef = 1;
    EXPECT_EQ(ZLV_solutiondef(box.task, ZLV_SOL_ITR, &isdef), ZLV_RES_OK);
    EXPECT_EQ(isdef, 0);
  }
  EXPECT_NE(box.err().find("An unsupported optimizer was chosen"), std::string::npos);
}
