// Orderings by local information: valid permutations, exact counts, known optima, bad input.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <numeric>

#include "order/symord_graph.h"
#include "unit/order_tools.h"

namespace {

struct manager {
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  ~manager() { EXPECT_EQ(memman_delete(mman), 0U); }
};

struct ordering {
  rescode code = rescode::ok;
  std::vector<int32_t> perm;
  symord_result result;
};
ordering order_with(const order_pattern& p, symord_scoretype score, const monitor& mon = {}) {
  const manager m;
  ordering o;
  o.perm.assign(p.n, -7);
  o.code = symord_order(p.view(), score, mon, *m.mman, o.perm, o.result);
  return o;
}

void collect(void* ctx, const char* text) {
  *static_cast<std::string*>(ctx) += text;
}
monitor listener(std::string& text) {
  monitor mon;
  mon.ctx = &text;
  mon.sinkfn = collect;
  mon.level = 1;
  return mon;
}

constexpr symord_scoretype scores[] = {symord_scoretype::degree, symord_scoretype::clique,
                                       symord_scoretype::fill};

struct shape {
  const char* name;
  order_pattern pattern;
  int64_t bestnnz;  // smallest possible nnz(L), or -1 when not known
};
std::vector<shape> shapes() {
  order_pattern twice = order_grid(6, 7);  // repeated entries and a diagonal are put up with
  order_pattern dup;
  dup.n = twice.n;
  for (int32_t j = 0; j < twice.n; ++j) {
    for (int k = 0; k < 2; ++k) {
      dup.sub.insert(dup.sub.end(), twice.sub.begin() + twice.ptr[j],
                     twice.sub.begin() + twice.ptr[j + 1]);
    }
    dup.sub.push_back(j);
    dup.ptr.push_back(ptrdiff_t(dup.sub.size()));
  }
  // clang-format off
  return {
      {"Empty", order_make(0, {}), 0},
      {"One", order_make(1, {}), 1},
      {"NoEdges", order_make(9, {}), 9},
      {"Pair", order_make(2, {{0, 1}}), 3},
      {"Path", order_path(200), 399},
      {"Cycle", order_make(5, {{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 0}}), 12},
      {"StarSmall", order_star(11), 21},
      {"StarDense", order_star(300), 599},
      {"Complete", order_complete(30), 465},
      {"Hubs", order_hubs(100), 406},
      {"TwoComponents", order_make(7, {{0, 2}, {2, 4}, {1, 3}, {3, 5}}), 11},
      {"Grid", order_grid(15, 15), -1},
      {"Repeated", dup, -1},
      {"PowerLaw", order_powerlaw(400, 3, 1), -1},
      {"PowerLawThin", order_powerlaw(500, 1, 2), -1},
      {"Cliques", order_cliques(300, 350, 12, 3), -1},
      {"CliquesLarge", order_cliques(250, 200, 60, 4), -1},
  };
  // clang-format on
}

}  // namespace

TEST(SymordOrder, IsAPermutationWithExactCounts) {
  for (const shape& s : shapes()) {
    for (const symord_scoretype score : scores) {
      SCOPED_TRACE(std::string(s.name) + " score " + std::to_string(int(score)));
      const ordering o = order_with(s.pattern, score);
      ASSERT_EQ(o.code, rescode::ok);
      ASSERT_TRUE(order_isperm(o.perm));
      const order_counts c = order_eliminate(s.pattern, o.perm);
      EXPECT_EQ(o.result.nnzl, c.nnzl);
      EXPECT_NEAR(o.result.flops, c.flops, 1e-9 * c.flops);
      EXPECT_EQ(c.nnzl, s.bestnnz >= 0 ? s.bestnnz : c.nnzl);
      EXPECT_EQ(order_with(s.pattern, score).perm, o.perm);
    }
  }
}

// Nested dissection of an m x m grid has 7.75 m^2 log2 m nonzeros; local orderings come near.
TEST(SymordOrder, GridFillGrowsLikeNLogN) {
  for (const int32_t m : {20, 60, 120}) {
    for (const symord_scoretype score : scores) {
      const ordering o = order_with(order_grid(m, m), score);
      const double theory = 7.75 * m * m * std::log2(double(m));
      EXPECT_LT(double(o.result.nnzl), theory) << m << " score " << int(score);
    }
  }
}

// With every node of a stage of its own no choice is left: the order is that of the stages. With
// all in one later stage nothing changes but the bookkeeping.
TEST(SymordStaged, KeepsTheStagesApart) {
  const manager m;
  for (const shape& s : shapes()) {
    SCOPED_TRACE(s.name);
    const int32_t n = s.pattern.n;
    std::vector<int32_t> stage(n);
    std::vector<int32_t> perm(n, -7);
    symord_result result;
    for (const int32_t modulus : {1, 2, 5, n + 1}) {
      if (modulus > 5 && n > 250) continue;  // the check takes the cube of n
      for (int32_t i = 0; i < n; ++i) stage[i] = i % modulus;
      ASSERT_EQ(symord_staged(s.pattern.view(), stage, symord_scoretype::degree, {}, *m.mman, perm,
                              result),
                rescode::ok);
      ASSERT_TRUE(order_isperm(perm));
      for (int32_t k = 1; k < n; ++k) ASSERT_LE(stage[perm[k - 1]], stage[perm[k]]) << modulus;
      const order_counts c = order_eliminate(s.pattern, perm);
      EXPECT_EQ(result.nnzl, c.nnzl) << modulus;
    }
  }
}

TEST(SymordSetup, MarksTheCentreOfAStarFromTwelveNodes) {
  for (const int32_t n : {10, 11, 12, 50}) {
    std::string text;
    const ordering o = order_with(order_star(n), symord_scoretype::clique, listener(text));
    EXPECT_EQ(o.result.numdense, n >= 12 ? 1 : 0) << n;
    EXPECT_NE(text.find(n >= 12 ? "cutoff      : 10          num(den)    : 1         \n"
                                : "cutoff      : 10          num(den)    : 0         \n"),
              std::string::npos)
        << text;
    EXPECT_GE(std::find(o.perm.begin(), o.perm.end(), 0) - o.perm.begin(), n - 2);
  }
}

TEST(SymordSetup, LogsTheShape) {
  std::string text;
  order_with(order_path(4), symord_scoretype::degree, listener(text));
  EXPECT_EQ(text,
            "n           : 4           num(edges)/2: 3         \n"
            "max(deg)    : 2           avg(deg)    : 1         \n"
            "Density (%) : 62.50   \n"
            "cutoff      : 4           num(den)    : 0         \n"
            "Rel. saved  : 0.00      \n"
            "Initial number of nodes: 4\n"
            "Compressed number of nodes: 4\n"
            "Priority approximate min. degree\n"
            "nnz(L)    : 7         flops     :  1.30e+01  \n");
  text.clear();
  order_with(order_make(0, {}), symord_scoretype::fill, listener(text));
  EXPECT_EQ(text, "Approximate min. local fill\nNo nodes available\n");
}

TEST(SymordPrepro, MergesEqualClosedNeighbourhoodsSideBySide) {
  // Triangles 3k, 3k+1, 3k+2 in a chain: links join only 3k+2 and 3k+3.
  order_edges e;
  for (int32_t k = 0; k < 20; ++k) {
    e.insert(e.end(), {{3 * k, 3 * k + 1}, {3 * k, 3 * k + 2}, {3 * k + 1, 3 * k + 2}});
    if (k > 0) e.emplace_back(3 * k - 1, 3 * k + 2);
  }
  const order_pattern p = order_make(60, e);
  const ordering o = order_with(p, symord_scoretype::fill);
  EXPECT_EQ(o.result.numcompressed, 40);
  std::vector<int32_t> place(60);
  for (int32_t k = 0; k < 60; ++k) place[o.perm[k]] = k;
  for (int32_t k = 0; k < 20; ++k) EXPECT_EQ(std::abs(place[3 * k] - place[3 * k + 1]), 1) << k;
  // Equal open neighbourhoods are another thing.
  EXPECT_EQ(order_with(order_hubs(7), symord_scoretype::fill).result.numcompressed, 10);
  EXPECT_EQ(order_with(order_complete(8), symord_scoretype::fill).result.numcompressed, 1);
}

// A cutoff that sets most of a graph aside costs little fill: compare with an order that knows no
// cutoff, since all of its nodes return in one stage.
TEST(SymordOrder, SillyCutoffDoesNoHarm) {
  const manager m;
  double ratio = 0;
  for (uint32_t seed = 0; seed < 8; ++seed) {
    const order_pattern p = order_powerlaw(3000, 3, seed);
    const ordering o = order_with(p, symord_scoretype::degree);
    EXPECT_GT(o.result.numdense, 0);
    std::vector<int32_t> perm(p.n);
    symord_result all;
    ASSERT_EQ(symord_staged(p.view(), std::vector<int32_t>(p.n, 1), symord_scoretype::degree, {},
                            *m.mman, perm, all),
              rescode::ok);
    ratio += std::log(o.result.flops / all.flops);
  }
  EXPECT_LT(std::exp(ratio / 8), 1.1);
}

TEST(SymordPivot, InvariantsHoldAndTooLittleSpaceFails) {
  const manager m;
  for (const shape& s : shapes()) {
    if (s.pattern.n == 0) continue;
    const auto run = [&](ptrdiff_t elbow, bool check, std::vector<int32_t>& perm) {
      symord_graph g(s.pattern.n, symord_scoretype::fill, mm_at(*m.mman));
      EXPECT_EQ(symord_setup(g, s.pattern.view(), {}, elbow, {}), rescode::ok);
      EXPECT_EQ(symord_prepro(g, {}), rescode::ok);
      std::string text;
      bool fits = true;
      for (int32_t x = prique_min(g.queue); fits && (x >= 0 || g.numaside > 0);
           x = prique_min(g.queue)) {
        if (x < 0) {
          symord_activate(g);
        } else {
          fits = symord_x1pivot(g, x);
        }
        if (check && !symord_check(g, listener(text))) {
          ADD_FAILURE() << s.name << ": " << text;
          return false;
        }
      }
      perm.assign(g.perm.begin(), g.perm.end());
      return fits;
    };
    std::vector<int32_t> roomy;
    std::vector<int32_t> tight;
    ASSERT_TRUE(run(100 * s.pattern.n, true, roomy)) << s.name;
    ptrdiff_t elbow = 0;  // grows until it suffices, which n always does
    while (!run(elbow, true, tight)) ++elbow;
    EXPECT_LE(elbow, s.pattern.n) << s.name;
    EXPECT_EQ(roomy, tight) << s.name;  // collections change places, not choices
  }
}

TEST(SymordPivot, AGridDoesNotFitWithoutElbowRoom) {
  const manager m;
  const order_pattern p = order_grid(12, 12);
  symord_graph g(p.n, symord_scoretype::degree, mm_at(*m.mman));
  ASSERT_EQ(symord_setup(g, p.view(), {}, 0, {}), rescode::ok);
  ASSERT_EQ(symord_prepro(g, {}), rescode::ok);
  std::string text;
  rescode code = rescode::ok;
  EXPECT_EQ(symord_priord(g, listener(text), code), symord_end::nospace);
  EXPECT_NE(text.find("Internal space"), std::string::npos);
}

TEST(SymordOrder, RefusesBrokenPatterns) {
  order_pattern oneend = order_path(5);
  oneend.sub[0] = 3;  // 0 names 3, which does not name 0
  order_pattern range = order_path(5);
  range.sub[2] = 5;
  order_pattern below = order_path(5);
  below.sub[2] = -1;
  for (const order_pattern& p : {oneend, range, below}) {
    std::string text;
    EXPECT_EQ(order_with(p, symord_scoretype::degree, listener(text)).code, rescode::err_internal);
    EXPECT_FALSE(text.empty());
  }
}

TEST(SymordOrder, StopsWhenTheMonitorSays) {
  struct counter {
    int polls = 0, stopat = 0;
  };
  const order_pattern p = order_grid(500, 500);
  counter all;
  monitor mon;
  mon.ctx = &all;
  mon.pollfn = [](void* ctx, monitor_where) {
    auto* c = static_cast<counter*>(ctx);
    return ++c->polls == c->stopat ? rescode::trm_user_break : rescode::ok;
  };
  ASSERT_EQ(order_with(p, symord_scoretype::fill, mon).code, rescode::ok);
  EXPECT_GT(all.polls, 5);
  for (const int at : {1, all.polls / 2, all.polls}) {
    counter c{0, at};
    mon.ctx = &c;
    EXPECT_EQ(order_with(p, symord_scoretype::fill, mon).code, rescode::trm_user_break) << at;
  }
}

TEST(SymordOrder, OutOfSpaceAtEveryAllocation) {
  const order_pattern p = order_powerlaw(200, 2, 5);
  int left = 0;
  const auto alloc = [](void* usr, size_t size) -> void* {
    return (*static_cast<int*>(usr))-- > 0 ? std::malloc(size) : nullptr;
  };
  const auto release = [](void*, void* block) { std::free(block); };
  for (int k = 0;; ++k) {
    ASSERT_LT(k, 1000);
    left = k + 1;  // one for the manager itself
    memman* mman = memman_create(&left, alloc, release, false);
    std::vector<int32_t> perm(p.n);
    symord_result result;
    bool thrown = false;
    try {
      EXPECT_EQ(symord_order(p.view(), symord_scoretype::fill, {}, *mman, perm, result),
                rescode::ok);
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
    EXPECT_EQ(memman_delete(mman), 0U) << k;
    if (!thrown) break;
  }
}
