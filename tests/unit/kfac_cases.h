// Constraint matrices for the tests of the factorization, and a dense A D A' + shift I.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "cpub/spmat.h"

struct kfac_matrix {
  int32_t m = 0, n = 0;
  std::vector<ptrdiff_t> ptr{0};
  std::vector<int32_t> sub;
  std::vector<double> val;
  spmat_view view() const { return {m, n, ptr, sub, val}; }
  void add(std::vector<std::pair<int32_t, double>> col) {
    std::sort(col.begin(), col.end());
    for (const auto& [i, v] : col) {
      if (ptrdiff_t(sub.size()) > ptr.back() && sub.back() == i) continue;
      sub.push_back(i);
      val.push_back(v);
    }
    ptr.push_back(ptrdiff_t(sub.size()));
    ++n;
  }
};
inline kfac_matrix kfac_rows(int32_t m) {
  kfac_matrix a;
  a.m = m;
  return a;
}

inline kfac_matrix kfac_random(int32_t m, int32_t n, int32_t most, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> value(-1, 1);
  kfac_matrix a = kfac_rows(m);
  for (int32_t j = 0; j < n; ++j) {
    std::vector<std::pair<int32_t, double>> col;
    const int32_t len = 1 + int32_t(gen() % unsigned(most));
    for (int32_t k = 0; k < len; ++k) col.emplace_back(int32_t(gen() % unsigned(m)), value(gen));
    a.add(col);
  }
  return a;
}
// A slack for each row, and one column of two entries for each edge.
inline kfac_matrix kfac_edges(int32_t m, const std::vector<std::pair<int32_t, int32_t>>& edges) {
  kfac_matrix a = kfac_rows(m);
  for (int32_t i = 0; i < m; ++i) a.add({{i, 1.0 + 0.01 * i}});
  for (const auto& [i, j] : edges) a.add({{i, 1.0}, {j, -0.5 - 0.001 * j}});
  return a;
}
inline kfac_matrix kfac_chain(int32_t m) {
  std::vector<std::pair<int32_t, int32_t>> edges;
  for (int32_t i = 0; i + 1 < m; ++i) edges.emplace_back(i, i + 1);
  return kfac_edges(m, edges);
}
inline kfac_matrix kfac_tree(int32_t m) {
  std::vector<std::pair<int32_t, int32_t>> edges;
  for (int32_t i = 1; i < m; ++i) edges.emplace_back((i - 1) / 3, i);
  return kfac_edges(m, edges);
}
inline kfac_matrix kfac_arrow(int32_t m) {
  std::vector<std::pair<int32_t, int32_t>> edges;
  for (int32_t i = 1; i < m; ++i) edges.emplace_back(0, i);
  return kfac_edges(m, edges);
}
inline kfac_matrix kfac_grid(int32_t k) {
  std::vector<std::pair<int32_t, int32_t>> edges;
  for (int32_t i = 0; i < k; ++i) {
    for (int32_t j = 0; j < k; ++j) {
      if (i + 1 < k) edges.emplace_back(i * k + j, (i + 1) * k + j);
      if (j + 1 < k) edges.emplace_back(i * k + j, i * k + j + 1);
    }
  }
  return kfac_edges(k * k, edges);
}
inline kfac_matrix kfac_full(int32_t m) {
  kfac_matrix a = kfac_edges(m, {});
  for (int32_t j = 0; j < m; ++j) {
    std::vector<std::pair<int32_t, double>> col;
    for (int32_t i = 0; i < m; ++i) col.emplace_back(i, std::sin(1.0 + i * 0.7 + j * 1.3));
    a.add(col);
  }
  return a;
}

// m x m, column-major.
inline std::vector<double> kfac_dense(const kfac_matrix& a, const std::vector<double>& d,
                                      double shift) {
  std::vector<double> mat(size_t(a.m) * size_t(a.m), 0.0);
  for (int32_t j = 0; j < a.n; ++j) {
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
      for (ptrdiff_t q = a.ptr[j]; q < a.ptr[j + 1]; ++q) {
        mat[a.sub[p] + size_t(a.m) * a.sub[q]] += a.val[p] * d[j] * a.val[q];
      }
    }
  }
  for (int32_t i = 0; i < a.m; ++i) mat[i + size_t(a.m) * i] += shift;
  return mat;
}
// Largest component of |b - M x| / (|M| max|x| + |b|).
inline double kfac_backward(const std::vector<double>& mat, const std::vector<double>& x,
                            const std::vector<double>& b) {
  const size_t m = b.size();
  double worst = 0, xmax = 0;
  for (const double v : x) xmax = std::max(xmax, std::abs(v));
  for (size_t i = 0; i < m; ++i) {
    double res = b[i], size = std::abs(b[i]);
    for (size_t j = 0; j < m; ++j) {
      res -= mat[i + m * j] * x[j];
      size += std::abs(mat[i + m * j]) * xmax;
    }
    const double err = std::abs(res) / (size > 0 ? size : 1.0);
    worst = err <= worst ? worst : err;  // keeps NaN
  }
  return worst;
}
