// Whole lives, from the environment to its end: with every allocation failing in turn, ten thousand
// times in one environment, and in two threads at once.
#include <gtest/gtest.h>
#include <malloc.h>

#include <thread>

#include "support/api_box.h"
#include "support/planted_lp.h"

namespace {

constexpr const char* model = ZALVO_TEST_DATA "/small.mps";
constexpr double modelobjective = -36;
constexpr int mostlives = 4000;  // lives tried at most; the allocations that fail are spread evenly

// The calls of a life. One that runs out of space is made again, and must then do its work.
struct life {
  faulty_alloc faults;
  int numspace = 0;   // calls that ran out of space
  int32_t wrong = 0;  // a code that is neither that nor ok
  int32_t solsta = 0;
  double objective = 0;
  std::string text;

  explicit life(long k, bool after = false) : faults(k) { faults.failsafter = after; }

  template <class F>
  bool step(F&& call) {
    int32_t r = call();
    if (r == ZLV_RES_ERR_SPACE) {
      ++numspace;
      if (faults.failsafter) return false;
      r = call();
    }
    if (r != ZLV_RES_OK) wrong = r;
    return r == ZLV_RES_OK;
  }

  void live() {
    ZLV_env_t env = nullptr;
    ZLV_task_t task = nullptr;
    step([&] {
      return ZLV_makeenv(&env, &faults, faulty_alloc::alloc, faulty_alloc::free, nullptr);
    }) &&
        step([&] { return ZLV_initenv(env); }) &&
        step([&] { return ZLV_makeemptytask(env, &task); }) && step([&] {
          return ZLV_linkfunctotaskstream(task, ZLV_STREAM_LOG, &text, &api_box::keep);
        }) &&
        step([&] { return ZLV_readdata(task, model); }) &&
        step([&] { return ZLV_optimize(task); }) &&
        step([&] { return ZLV_solutionsummary(task, ZLV_STREAM_LOG); }) &&
        step([&] { return ZLV_getprimalobj(task, ZLV_SOL_ITR, &objective); }) &&
        step([&] { return ZLV_getsolutionstatus(task, ZLV_SOL_ITR, nullptr, &solsta); });
    if (ZLV_deletetask(&task) != ZLV_RES_OK || ZLV_deleteenv(&env) != ZLV_RES_OK) wrong = -1;
  }
};

class WholeLife : public testing::TestWithParam<bool> {};

TEST_P(WholeLife, SurvivesEveryFailedAllocation) {
  life plain(-1);
  plain.live();
  ASSERT_EQ(plain.wrong, 0);
  ASSERT_EQ(plain.faults.numlive, 0);
  const long num = plain.faults.numcalls, stride = std::max(1L, num / mostlives);
  ASSERT_GT(num, 50);
  for (long k = 0; k < num; k += stride) {
    life one(k, GetParam());
    one.live();
    ASSERT_EQ(one.faults.numlive, 0) << k;
    ASSERT_EQ(one.wrong, 0) << k;
    if (GetParam()) {
      ASSERT_EQ(one.numspace, 1) << k;
      continue;
    }
    ASSERT_LE(one.numspace, 1) << k;  // none: the library did without, as with a cache
    ASSERT_EQ(one.solsta, ZLV_SOL_STA_OPTIMAL) << k;
    ASSERT_NEAR(one.objective, modelobjective, 1e-5) << k;
  }
}
INSTANTIATE_TEST_SUITE_P(Faults, WholeLife, testing::Bool(), [](const auto& tc) {
  return std::string(tc.param ? "AndAllAfterIt" : "Once");
});

lp_data one_of(std::mt19937& gen, int k) {
  const planted_size size{3, 4, 0.7};
  const bool maximize = k % 2 == 1;
  if (k % 10 == 8) return plant_infeasible(gen, size, maximize).p;
  return plant_optimal(gen, size, maximize).p;
}

TEST(ManySolves, LeaveNoMemoryBehind) {
  constexpr int numsolve = 10000, warm = 200;
  faulty_alloc counted;
  api_box box(&counted);
  std::mt19937 gen(41);
  long live = 0;
  size_t inuse = 0;
  for (int k = 0; k < numsolve + warm; ++k) {
    {
      ZLV_task_t task = nullptr;
      ASSERT_EQ(ZLV_makeemptytask(box.env, &task), ZLV_RES_OK);
      put_data(task, one_of(gen, k));
      ASSERT_EQ(ZLV_optimize(task), ZLV_RES_OK) << k;
      ASSERT_EQ(ZLV_deletetask(&task), ZLV_RES_OK);
    }
    if (k == warm - 1) {
      live = counted.numlive;
      inuse = mallinfo2().uordblks;
    }
  }
  EXPECT_EQ(counted.numlive, live);
  // Nothing past the allocator given either: less than a byte a solve, which the caches of malloc, that
  // count as in use, may come to.
  EXPECT_LE(mallinfo2().uordblks, inuse + numsolve);
}

TEST(ManySolves, OfOneTaskKeepItsMemory) {
  faulty_alloc counted;
  api_box box(&counted);
  std::mt19937 gen(42);
  put_data(box.task, plant_optimal(gen, {10, 15, 0.4}, false).p);
  ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
  const long live = counted.numlive;
  for (int k = 0; k < 1000; ++k) ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
  EXPECT_EQ(counted.numlive, live);
}

TEST(TwoThreads, SolveTasksOfOneEnvironmentAlike) {
  constexpr int numthread = 2, numsolve = 20;
  api_box box;
  std::vector<std::vector<std::vector<double>>> found(numthread);
  std::vector<std::thread> threads;
  for (int t = 0; t < numthread; ++t) {
    threads.emplace_back([&box, &mine = found[t]] {
      std::mt19937 gen(43);
      for (int k = 0; k < numsolve; ++k) {
        ZLV_task_t task = nullptr;
        EXPECT_EQ(ZLV_makeemptytask(box.env, &task), ZLV_RES_OK);
        EXPECT_EQ(ZLV_putintparam(task, ZLV_IPAR_CHECK_CTRL_C, ZLV_ON), ZLV_RES_OK);
        std::string log;
        ZLV_linkfunctotaskstream(task, ZLV_STREAM_LOG, &log, &api_box::keep);
        const lp_data p = plant_optimal(gen, {20, 30, 0.3}, k % 2 == 1).p;
        put_data(task, p);
        EXPECT_EQ(ZLV_optimize(task), ZLV_RES_OK);
        const lp_point s = get_point(task, p);
        EXPECT_EQ(s.solsta, ZLV_SOL_STA_OPTIMAL);
        expect_honest(p, s);
        mine.push_back(s.xx);
        EXPECT_EQ(ZLV_deletetask(&task), ZLV_RES_OK);
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(found[0], found[1]);
}

}  // namespace
