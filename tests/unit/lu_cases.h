// Random bases of many structures, and the products with a basis that answers are checked against.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "cpub/spmat.h"

struct lu_problem {
  int32_t m = 0, n = 0;
  std::vector<ptrdiff_t> ptr{0};
  std::vector<int32_t> sub;
  std::vector<double> val;
  std::vector<int32_t> basic;
  [[nodiscard]] spmat_view a() const { return {m, n, ptr, sub, val}; }

  void add(const std::vector<std::pair<int32_t, double>>& col) {
    for (const auto& [i, v] : col) {
      sub.push_back(i);
      val.push_back(v);
    }
    ptr.push_back(ptrdiff_t(sub.size()));
    ++n;
  }
  // Calls fn(row, value) for the entries of a variable's column.
  template <class F>
  void column(int32_t var, F&& fn) const {
    if (var >= n) return fn(var - n, -1.0);
    for (ptrdiff_t e = ptr[size_t(var)]; e < ptr[size_t(var) + 1]; ++e)
      fn(sub[size_t(e)], val[size_t(e)]);
  }
  // The largest |B x - b|, relative to the largest of what was summed up.
  [[nodiscard]] double error(const std::vector<int32_t>& base, const std::vector<double>& x,
                             const std::vector<double>& b) const {
    std::vector<double> sum(b), size(size_t(m), 1.0);
    for (int32_t p = 0; p < m; ++p)
      column(base[size_t(p)], [&](int32_t i, double v) {
        sum[size_t(i)] -= v * x[size_t(p)];
        size[size_t(i)] += std::abs(v * x[size_t(p)]);
      });
    double worst = 0, most = 1;
    for (const double s : sum) worst = std::max(worst, std::abs(s));
    for (const double s : size) most = std::max(most, s);
    return worst / most;
  }
  // The same of B'y - c.
  [[nodiscard]] double errort(const std::vector<int32_t>& base, const std::vector<double>& y,
                              const std::vector<double>& c) const {
    double worst = 0, most = 1;
    for (int32_t p = 0; p < m; ++p) {
      double sum = c[size_t(p)], size = 1;
      column(base[size_t(p)], [&](int32_t i, double v) {
        sum -= v * y[size_t(i)];
        size += std::abs(v * y[size_t(i)]);
      });
      worst = std::max(worst, std::abs(sum));
      most = std::max(most, size);
    }
    return worst / most;
  }
};

struct lu_kind {
  const char* name;
  int32_t m;
  double density;   // of random columns, beyond a permuted diagonal
  double logical;   // share of logicals in the basis
  double triangle;  // share of columns whose entries keep to rows below their own
  double range;     // decades of the values
};

// A basis of a kind and as many columns again, to exchange for.
inline lu_problem lu_random(const lu_kind& kind, uint32_t seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> u(0, 1);
  lu_problem pr;
  pr.m = kind.m;
  std::vector<int32_t> perm(size_t(kind.m));
  for (int32_t i = 0; i < kind.m; ++i) perm[size_t(i)] = i;
  std::shuffle(perm.begin(), perm.end(), gen);
  const auto value = [&] {
    return (u(gen) < 0.5 ? -1 : 1) * (0.5 + u(gen)) * std::pow(10.0, kind.range * (u(gen) - 0.5));
  };
  for (int32_t k = 0; k < 2 * kind.m; ++k) {
    const int32_t own = k % kind.m;
    std::vector<std::pair<int32_t, double>> col;
    std::vector<bool> used(size_t(kind.m), false);
    const auto put = [&](int32_t i) {
      if (used[size_t(i)]) return;
      used[size_t(i)] = true;
      col.emplace_back(i, value());
    };
    put(perm[size_t(own)]);
    const bool below = u(gen) < kind.triangle;
    const auto num = int32_t(kind.density * kind.m * 2 * u(gen) + u(gen));
    for (int32_t e = 0; e < num; ++e) {
      const int32_t from = below ? own : 0;
      put(perm[size_t(from + int32_t(u(gen) * (kind.m - from)))]);
    }
    pr.add(col);
  }
  for (int32_t k = 0; k < kind.m; ++k)
    pr.basic.push_back(u(gen) < kind.logical ? pr.n + perm[size_t(k)] : k);
  std::shuffle(pr.basic.begin(), pr.basic.end(), gen);
  return pr;
}
