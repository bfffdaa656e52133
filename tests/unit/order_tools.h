// Patterns for the tests of the orderings, and elimination by brute force to check them.
#pragma once

#include <cstdint>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cpub/spmat.h"

struct order_pattern {
  int32_t n = 0;
  std::vector<ptrdiff_t> ptr{0};
  std::vector<int32_t> sub;
  spmat_view view() const { return {n, n, ptr, sub, {}}; }
};

using order_edges = std::vector<std::pair<int32_t, int32_t>>;

inline order_pattern order_make(int32_t n, const order_edges& edges) {
  std::vector<std::vector<int32_t>> adj(n);
  for (const auto& [i, j] : edges) {
    if (i == j) continue;
    adj[i].push_back(j);
    adj[j].push_back(i);
  }
  order_pattern p;
  p.n = n;
  for (const auto& list : adj) {
    p.sub.insert(p.sub.end(), list.begin(), list.end());
    p.ptr.push_back(ptrdiff_t(p.sub.size()));
  }
  return p;
}

inline order_pattern order_path(int32_t n) {
  order_edges e;
  for (int32_t i = 0; i + 1 < n; ++i) e.emplace_back(i, i + 1);
  return order_make(n, e);
}
inline order_pattern order_star(int32_t n) {
  order_edges e;
  for (int32_t i = 1; i < n; ++i) e.emplace_back(0, i);
  return order_make(n, e);
}
inline order_pattern order_complete(int32_t n) {
  order_edges e;
  for (int32_t i = 0; i < n; ++i) {
    for (int32_t j = 0; j < i; ++j) e.emplace_back(i, j);
  }
  return order_make(n, e);
}
inline order_pattern order_grid(int32_t rows, int32_t cols) {
  order_edges e;
  for (int32_t i = 0; i < rows; ++i) {
    for (int32_t j = 0; j < cols; ++j) {
      if (i + 1 < rows) e.emplace_back(i * cols + j, (i + 1) * cols + j);
      if (j + 1 < cols) e.emplace_back(i * cols + j, i * cols + j + 1);
    }
  }
  return order_make(rows * cols, e);
}
// Preferential attachment: degrees fall off like a power law.
inline order_pattern order_powerlaw(int32_t n, int32_t each, uint32_t seed) {
  std::mt19937 gen(seed);
  std::set<std::pair<int32_t, int32_t>> e;
  std::vector<int32_t> ends{0};
  for (int32_t i = 1; i < n; ++i) {
    for (int32_t k = 0; k < each; ++k) {
      const int32_t j = ends[gen() % ends.size()];
      if (j < i && e.emplace(j, i).second) ends.push_back(j);
    }
    ends.push_back(i);
  }
  return order_make(n, {e.begin(), e.end()});
}
// A A' of a random matrix: columns are cliques of the rows, a few of them large.
inline order_pattern order_cliques(int32_t n, int32_t cliques, int32_t large, uint32_t seed) {
  std::mt19937 gen(seed);
  std::set<std::pair<int32_t, int32_t>> e;
  for (int32_t c = 0; c < cliques; ++c) {
    const int32_t size = c % 17 == 0 ? large : 2 + int32_t(gen() % 4);
    std::vector<int32_t> rows;
    for (int32_t k = 0; k < size; ++k) rows.push_back(int32_t(gen() % uint32_t(n)));
    for (const int32_t i : rows) {
      for (const int32_t j : rows) {
        if (i < j) e.emplace(i, j);
      }
    }
  }
  return order_make(n, {e.begin(), e.end()});
}

// K_{3,n}: three hubs joined to n others.
inline order_pattern order_hubs(int32_t n) {
  order_edges e;
  for (int32_t i = 3; i < n + 3; ++i) {
    for (int32_t h = 0; h < 3; ++h) e.emplace_back(h, i);
  }
  return order_make(n + 3, e);
}

inline bool order_isperm(const std::vector<int32_t>& perm) {
  std::vector<int32_t> seen(perm.size(), 0);
  for (const int32_t i : perm) {
    if (i < 0 || size_t(i) >= perm.size() || seen[i]++ != 0) return false;
  }
  return true;
}

struct order_counts {
  int64_t nnzl = 0;
  double flops = 0;
};
// Eliminates by joining the neighbours of each node in turn.
inline order_counts order_eliminate(const order_pattern& p, const std::vector<int32_t>& perm) {
  std::vector<std::set<int32_t>> adj(p.n);
  for (int32_t j = 0; j < p.n; ++j) {
    adj[j].insert(p.sub.begin() + p.ptr[j], p.sub.begin() + p.ptr[j + 1]);
    adj[j].erase(j);
  }
  order_counts c;
  for (const int32_t x : perm) {
    const double size = double(adj[x].size()) + 1;
    c.nnzl += int64_t(size);
    c.flops += size * size;
    for (const int32_t i : adj[x]) {
      adj[i].insert(adj[x].begin(), adj[x].end());
      adj[i].erase(i);
      adj[i].erase(x);
    }
  }
  return c;
}
