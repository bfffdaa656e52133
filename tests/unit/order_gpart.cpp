// Graph-partitioning orders: valid, deterministic, with the fill that theory promises; and the
// invariants of a partition under the steps of the multilevel scheme.
#include "order/gpart.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "order/gpart_level.h"
#include "order/symord.h"
#include "unit/order_tools.h"

namespace {

struct manager {
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  ~manager() { EXPECT_EQ(memman_delete(mman), 0U); }
};

std::vector<int32_t> gpart_perm(const order_pattern& p, int32_t form) {
  const manager m;
  std::vector<int32_t> perm(p.n, -7);
  EXPECT_EQ(gpart_order(p.view(), form, {}, *m.mman, perm), rescode::ok);
  return perm;
}

void fill_level(const order_pattern& p, gpart_level& g) {
  g.n = p.n;
  g.ptr.assign(p.ptr.begin(), p.ptr.end());
  g.adj.assign(p.sub.begin(), p.sub.end());
  g.ewgt.assign(p.sub.size(), 1);
  for (int32_t v = 0; v < p.n; ++v) g.vwgt.push_back(1 + v % 3);
}

// No edge joins the sides, and the weights are those of the sets.
void expect_partition(const gpart_level& g) {
  int64_t weight[3] = {0, 0, 0};
  for (int32_t v = 0; v < g.n; ++v) {
    weight[g.where[v]] += g.vwgt[v];
    for (ptrdiff_t p = g.ptr[v]; p < g.ptr[v + 1]; ++p) {
      ASSERT_NE(g.where[v] + g.where[g.adj[p]], 1) << v << " " << g.adj[p];
    }
  }
  for (int k = 0; k < 3; ++k) EXPECT_EQ(weight[k], g.weight[k]) << k;
}

// Copies of one block in a row, each joined to the next by a single edge.
order_pattern chain_of_blocks(int32_t blocks, int32_t size) {
  order_edges e;
  for (int32_t b = 0; b < blocks; ++b) {
    for (int32_t i = 0; i < size; ++i) {
      for (int32_t j = 0; j < i; ++j) {
        if ((i + j) % 3 != 0) e.emplace_back(b * size + i, b * size + j);
      }
    }
    if (b > 0) e.emplace_back(b * size - 1, b * size);
  }
  return order_make(blocks * size, e);
}

}  // namespace

TEST(GpartOrder, IsTheSamePermutationEachTime) {
  const order_pattern patterns[] = {order_make(0, {}),
                                    order_make(1, {}),
                                    order_make(500, {}),
                                    order_path(700),
                                    order_star(600),
                                    order_complete(300),
                                    order_hubs(400),
                                    order_grid(30, 31),
                                    order_powerlaw(2000, 3, 1),
                                    order_cliques(900, 1000, 40, 2)};
  for (const order_pattern& p : patterns) {
    for (const int32_t form : {1, 2}) {
      SCOPED_TRACE(std::to_string(p.n) + " form " + std::to_string(form));
      const std::vector<int32_t> perm = gpart_perm(p, form);
      ASSERT_TRUE(order_isperm(perm));
      EXPECT_EQ(gpart_perm(p, form), perm);
    }
  }
}

// The theory of nested dissection: 31/4 m^2 log2 m nonzeros and 829/84 m^3 multiplications, to
// leading order; the flops here count a multiplication and an addition.
TEST(GpartOrder, GridsFillAsTheoryPromises) {
  for (const int32_t m : {40, 80}) {
    const order_pattern p = order_grid(m, m);
    for (const int32_t form : {1, 2}) {
      const order_counts c = order_eliminate(p, gpart_perm(p, form));
      EXPECT_LT(double(c.nnzl), 7.75 * m * m * std::log2(double(m))) << m << " form " << form;
      EXPECT_LT(c.flops, 2 * 829.0 / 84 * m * m * m) << m << " form " << form;
    }
  }
}

TEST(GpartOrder, ChainsOfBlocksStayLinear) {
  for (const int32_t form : {1, 2}) {
    double perblock = 0;
    for (const int32_t blocks : {20, 80}) {
      const order_pattern p = chain_of_blocks(blocks, 15);
      const double nnz = double(order_eliminate(p, gpart_perm(p, form)).nnzl) / blocks;
      if (perblock > 0) {
        EXPECT_LT(nnz, 1.1 * perblock) << "form " << form;
      }
      perblock = nnz;
    }
  }
}

TEST(GpartOrder, StopsAndRefuses) {
  const manager m;
  const order_pattern p = order_grid(150, 150);
  std::vector<int32_t> perm(p.n);
  int polls = 0;
  monitor mon;
  mon.ctx = &polls;
  mon.pollfn = [](void* ctx, monitor_where) {
    return ++*static_cast<int*>(ctx) == 2 ? rescode::trm_user_break : rescode::ok;
  };
  EXPECT_EQ(gpart_order(p.view(), 2, mon, *m.mman, perm), rescode::trm_user_break);
  order_pattern range = order_path(5);
  range.sub[2] = 5;
  EXPECT_EQ(gpart_order(range.view(), 1, {}, *m.mman, perm), rescode::err_internal);
  order_pattern oneend = order_path(5);
  oneend.sub[0] = 3;
  EXPECT_EQ(gpart_order(oneend.view(), 1, {}, *m.mman, std::span(perm).first(5)),
            rescode::err_internal);
}

TEST(GpartLevel, EveryStepKeepsThePartition) {
  const manager m;
  for (const order_pattern& p :
       {order_grid(25, 20), order_powerlaw(600, 3, 4), order_cliques(400, 500, 30, 5)}) {
    const monitor mon;
    gpart_run run{&mon, m.mman, 12345};
    gpart_level fine(mm_at(*m.mman));
    gpart_level coarse(mm_at(*m.mman));
    fill_level(p, fine);
    gpart_coarsen(run, fine, coarse, 8);
    EXPECT_LT(coarse.n, 0.8 * fine.n);
    EXPECT_EQ(std::accumulate(coarse.vwgt.begin(), coarse.vwgt.end(), 0),
              std::accumulate(fine.vwgt.begin(), fine.vwgt.end(), 0));
    EXPECT_LE(*std::max_element(coarse.vwgt.begin(), coarse.vwgt.end()), 8);
    gpart_grow(run, coarse);
    expect_partition(coarse);
    gpart_project(coarse, fine);
    expect_partition(fine);
    const double cost = gpart_cost(fine);
    const int64_t total = fine.weight[0] + fine.weight[1] + fine.weight[2];
    gpart_refine(run, fine, total * 6 / 10, 4);
    expect_partition(fine);
    EXPECT_LE(gpart_cost(fine), cost);
    gpart_separate(run, fine, 2);
    expect_partition(fine);
    EXPECT_LE(std::max(fine.weight[0], fine.weight[1]), total * 65 / 100);
  }
}

TEST(GpartLevel, FindsTheWaistOfTwoGrids) {
  // Two 12 x 12 grids that share the three vertices of a bridge.
  order_edges e;
  for (const int32_t base : {0, 144}) {
    for (int32_t i = 0; i < 12; ++i) {
      for (int32_t j = 0; j < 12; ++j) {
        if (i < 11) e.emplace_back(base + 12 * i + j, base + 12 * i + 12 + j);
        if (j < 11) e.emplace_back(base + 12 * i + j, base + 12 * i + j + 1);
      }
    }
  }
  for (int32_t k = 0; k < 3; ++k) {
    e.emplace_back(12 * k + 4, 288 + k);
    e.emplace_back(144 + 12 * k + 4, 288 + k);
  }
  const manager m;
  const monitor mon;
  gpart_run run{&mon, m.mman, 99};
  gpart_level g(mm_at(*m.mman));
  fill_level(order_make(291, e), g);
  std::fill(g.vwgt.begin(), g.vwgt.end(), 1);
  gpart_separate(run, g, 1);
  expect_partition(g);
  EXPECT_EQ(g.weight[gpart_sep], 3);
}
