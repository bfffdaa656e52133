// The records behind the problem data, below the interface: pools, orientations and name tables keep
// their invariants under random changes, and copies are equal and independent.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "zalvo.h"
#include "zalvo/problem.h"

namespace {

using entries = std::map<std::pair<int32_t, int32_t>, double>;  // by row and column

struct record_box {
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  std::mt19937 rng{7};
  ~record_box() { EXPECT_EQ(memman_delete(mman), 0U); }
  record_box() = default;
  record_box(const record_box&) = delete;
  record_box& operator=(const record_box&) = delete;
  int32_t below(int32_t n) { return int32_t(rng() % uint32_t(n)); }
};

entries columns_of(const prob_rec& p) {
  spmat a(prob_place(p));
  prob_acolumns(p, a);
  entries got;
  for (int32_t j = 0; j < a.ncol; ++j) {
    for (ptrdiff_t q = a.ptr[j]; q < a.ptr[j + 1]; ++q) {
      EXPECT_TRUE(q == a.ptr[j] || a.sub[q - 1] < a.sub[q]);
      got[{a.sub[q], j}] = a.val[q];
    }
  }
  return got;
}

void put_random_vector(record_box& box, prob_rec& p, entries& want, acc mode) {
  const bool isvar = mode == acc::var;
  const int32_t k = box.below(prob_count(p, mode));
  const int32_t across = isvar ? p.numcon : p.numvar;
  std::vector<int32_t> sub(across);
  std::iota(sub.begin(), sub.end(), 0);
  std::shuffle(sub.begin(), sub.end(), box.rng);
  sub.resize(box.below(std::min(across, 30)));
  std::vector<double> val;
  std::erase_if(want, [&](auto& x) { return (isvar ? x.first.second : x.first.first) == k; });
  for (const int32_t s : sub) {
    val.push_back(1 + box.below(100));
    want[isvar ? std::pair{s, k} : std::pair{k, s}] = val.back();
  }
  probmat_put(p.a, mode, k, sub, val);
}

// Rows and columns in any mixture: both orientations, kept or dropped, hold the same matrix.
TEST(DataMatrix, KeepsBothOrientations) {
  record_box box;
  bool wasboth = false, wasrow = false, wascol = false;
  {
    prob_rec p(mm_at(*box.mman));
    prob_append(p, acc::con, 150);
    prob_append(p, acc::var, 120);
    entries want;
    for (int32_t step = 0; step < 6000; ++step) {
      const bool israre = step / 1000 % 2 == 1;  // long runs of one kind, and mixtures
      const acc mode = israre ? (step / 2000 % 2 == 0 ? acc::var : acc::con) : acc(box.below(2));
      if (box.below(4) == 0) {
        const int32_t i = box.below(p.numcon);
        const int32_t j = box.below(p.numvar);
        if (box.below(2) == 0) {
          probmat_set(p.a, i, j, 5);
          want[{i, j}] = 5;
        } else {
          probmat_erase(p.a, i, j);
          want.erase({i, j});
        }
      } else {
        put_random_vector(box, p, want, mode);
      }
      wasboth = wasboth || (p.a.hascol && p.a.hasrow);
      wasrow = wasrow || !p.a.hascol;
      wascol = wascol || !p.a.hasrow;
      if (step % 50 != 0) continue;
      ASSERT_EQ(prob_check(p), nullptr) << step;
      ASSERT_EQ(size_t(prob_numanz(p)), want.size()) << step;
      ASSERT_EQ(columns_of(p), want) << step;
    }
    EXPECT_GT(probmat_lead(p.a).numcompact, 0);
  }
  EXPECT_TRUE(wasboth && wasrow && wascol);  // else the case of the name was not tried
}

// Vectors that grow a little at a time stay linear: the pool is compacted seldom.
TEST(DataMatrix, CompactsSeldom) {
  record_box box;
  constexpr int32_t num = 3000;
  sprmat a(mm_at(*box.mman));
  sprmat_append(a, num);
  for (int32_t round = 0; round < 20; ++round) {
    for (int32_t k = 0; k < num; ++k) sprmat_add(a, k, round, 1);
  }
  EXPECT_EQ(sprmat_check(a), nullptr);
  EXPECT_LT(a.numcompact + a.numgrow, 60);  // of 60000 elements added
  EXPECT_LT(a.cap, 4 * a.num);
}

TEST(DataNames, AreFoundAfterEveryChange) {
  record_box box;
  names_store names(mm_at(*box.mman));
  std::vector<std::string> want;
  for (int32_t step = 0; step < 3000; ++step) {
    if (box.below(3) == 0 || want.empty()) {
      names_append(names, 0, 1);
      want.emplace_back();
    } else if (box.below(100) == 0) {
      std::vector<uint8_t> gone(want.size());
      for (uint8_t& g : gone) g = uint8_t(box.below(3) == 0);
      size_t i = 0;
      std::erase_if(want, [&](const std::string&) { return gone[i++] != 0; });
      names_remove(names, 0, gone);
    } else {
      const int32_t i = box.below(int32_t(want.size()));
      std::string name(size_t(box.below(5)), 'a');
      name += box.below(8) == 0 ? "" : std::to_string(box.below(500));
      const auto at = std::find(want.begin(), want.end(), name);
      const bool istaken = !name.empty() && at != want.end() && at - want.begin() != i;
      EXPECT_EQ(names_put(names, 0, i, name), istaken ? int32_t(at - want.begin()) : -1);
      if (!istaken) want[i] = name;
    }
    if (step % 20 != 0) continue;
    for (size_t i = 0; i < want.size(); ++i) {
      ASSERT_EQ(names_get(names, 0, int32_t(i)), want[i]);
      ASSERT_EQ(names_find(names, 0, want[i]), want[i].empty() ? -1 : int32_t(i)) << want[i];
    }
    ASSERT_EQ(names_find(names, 0, "nobody"), -1);
  }
  EXPECT_LE(names.pool.size(), 40U * want.size());  // what names leave behind is used again
}

TEST(DataRecord, CopiesAreEqualAndIndependent) {
  record_box box;
  prob_rec p(mm_at(*box.mman));
  prob_append(p, acc::con, 20);
  prob_append(p, acc::var, 15);
  entries want;
  for (int32_t step = 0; step < 30; ++step) put_random_vector(box, p, want, acc(step % 2));
  names_put(p.names, ZLV_PI_VAR, 3, "three");
  prob_qset(p, {}, prob_obj, 2, 1, 4);
  prob_qset(p, {}, 7, 2, 2, 9);
  prob_appendcone(p, ZLV_CT_QUAD, 0.5, std::vector<int32_t>{4, 5});
  prob_maketypes(p);
  prob_setint(p, 6);
  prob_rec copy(mm_at(*box.mman));
  prob_copy(p, copy);
  ASSERT_EQ(prob_check(copy), nullptr);
  EXPECT_EQ(columns_of(copy), want);
  std::vector<uint8_t> gone(15);
  gone[0] = gone[6] = 1;
  prob_remove(p, acc::var, gone);
  ASSERT_EQ(prob_check(p), nullptr);
  EXPECT_EQ(p.numintvar, 0);
  EXPECT_EQ(prob_findname(p, ZLV_PI_VAR, "three"), 2);
  EXPECT_EQ(p.cone[0].sub[0], 3);
  EXPECT_EQ(prob_getq(p, 7).subi[0], 1);
  EXPECT_EQ(columns_of(copy), want);
  EXPECT_EQ(prob_findname(copy, ZLV_PI_VAR, "three"), 3);
  EXPECT_EQ(copy.numintvar, 1);
  prob_swap(p, copy);
  EXPECT_EQ(p.numvar, 15);
  prob_clear(p);
  ASSERT_EQ(prob_check(p), nullptr);
  EXPECT_EQ(p.maxnumvar + p.maxnumcon + p.maxnumcone + p.maxnumqnz, 0);
}

}  // namespace
