// The bucket priority queue against a sorted container.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "misc/prique.h"

TEST(Prique, BucketsKeepTheOrderOfKeys) {
  int32_t last = -1;
  for (int64_t key = 0; key < 20000; ++key) {
    const int32_t b = prique_bucketof(key);
    ASSERT_TRUE(b == last || b == last + 1) << key;
    EXPECT_TRUE(b > last || key > prique_exact) << key;
    last = b;
  }
  for (int power = 15; power < 63; ++power) {
    const int64_t key = int64_t(1) << power;
    EXPECT_EQ(prique_bucketof(key), prique_bucketof(key - 1) + 1) << power;
  }
  EXPECT_LT(prique_bucketof(std::numeric_limits<int64_t>::max()), prique_numbucket);
}

TEST(Prique, TakesTheSmallestUnderRandomChanges) {
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  {
    constexpr int32_t n = 300;
    prique q(n, mm_at(*mman));
    EXPECT_EQ(prique_min(q), -1);
    std::mt19937_64 gen(7);
    std::map<int32_t, int64_t> keys;
    for (int step = 0; step < 20000; ++step) {
      const auto node = int32_t(gen() % n);
      const auto key = int64_t(gen() >> (1 + gen() % 63));
      if (gen() % 3 == 0) {
        prique_remove(q, node);
        keys.erase(node);
      } else {
        prique_update(q, node, key);
        keys[node] = key;
      }
      ASSERT_EQ(q.count, int32_t(keys.size()));
      int32_t low = prique_numbucket;
      for (const auto& [i, k] : keys) low = std::min(low, prique_bucketof(k));
      const int32_t got = prique_min(q);
      ASSERT_EQ(got < 0 ? prique_numbucket : prique_bucketof(keys.at(got)), low) << step;
      if (step % 500 == 0) {
        ASSERT_EQ(prique_check(q), -1);
      }
    }
    // Ties: last in, first out.
    prique t(3, mm_at(*mman));
    for (int32_t i = 0; i < 3; ++i) prique_insert(t, i, 5);
    EXPECT_EQ(prique_min(t), 2);
    t.prev[1] = 0;
    EXPECT_GE(prique_check(t), 0);
  }
  memman_delete(mman);
}
