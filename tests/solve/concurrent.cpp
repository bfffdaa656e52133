// The concurrent optimizer, both entries: what wins, what the calling task gets, what it refuses.
// Also a subject for the thread sanitizer.
#include <gtest/gtest.h>

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

TEST(Concurrent, AsTheOptimizerOfATaskIsChosenByPriorityAndPutBack) {
  const planted_lp lp = planted(3);
  for (const int32_t num : {1, 0}) {
    api_box box;
    put_data(box.task, lp.p);
    choose(box.task, ZLV_OPTIMIZER_CONCURRENT);
    ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_CONCURRENT_NUM_OPTIMIZERS, num), ZLV_RES_OK);
    ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK) << box.err();
    EXPECT_EQ(optimizer_of(box.task), ZLV_OPTIMIZER_CONCURRENT);
    EXPECT_EQ(get_point(box.task, lp.p).solsta, ZLV_SOL_STA_OPTIMAL);
    EXPECT_NE(box.log().find("Number of concurrent optimizers          : 1\n"), std::string::npos);
    EXPECT_NE(box.log().find("Optimizer selected for thread number 0   : "
                             "interior-point (threads = 1)\n"),
              std::string::npos);
    EXPECT_NE(box.log().find("Thread number 0 (interior-point (threads = 1)) terminated first."),
              std::string::npos);
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
