// A textbook simplex on dense matrices, for problems of a few rows: the independent answer that
// reductions are held against. Bland's rule throughout; the basis matrix is solved anew every time.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "misc/linprob.h"

// A linear problem with storage of its own.
struct dense_lp {
  int32_t m = 0, n = 0;
  std::vector<std::vector<double>> a;  // m rows of n
  std::vector<double> blc, buc, blx, bux, c;
  double cfix = 0;
  std::vector<ptrdiff_t> ptr;
  std::vector<int32_t> sub;
  std::vector<double> val;

  lp_view view() {
    ptr.assign(1, 0);
    sub.clear();
    val.clear();
    for (int32_t j = 0; j < n; ++j) {
      for (int32_t i = 0; i < m; ++i) {
        if (a[i][j] == 0) continue;
        sub.push_back(i);
        val.push_back(a[i][j]);
      }
      ptr.push_back(ptrdiff_t(sub.size()));
    }
    return {m, n, {m, n, ptr, sub, val}, blc, buc, blx, bux, c, cfix};
  }
};

// x: n + m values, logicals last. key: n + m. A ray is in x (n + m) or in y.
struct dense_answer {
  lp_verdict verdict = lp_verdict::none;
  double obj = 0;
  std::vector<double> x, y;
  std::vector<lp_key> key;
};

struct dense_simplex {
  const lp_view p;
  int32_t m, n, num;
  std::vector<std::vector<double>> col;  // num columns of [A, -I]
  std::vector<double> lo, up, x, cost, y, inverse;
  std::vector<int32_t> head;
  std::vector<lp_key> key;
  static constexpr double tol = 1e-9;

  explicit dense_simplex(const lp_view& prob)
      : p(prob), m(prob.numcon), n(prob.numvar), num(m + n), col(num), x(num), y(m) {
    for (int32_t j = 0; j < n; ++j) {
      col[j].assign(m, 0.0);
      for (ptrdiff_t q = p.a.ptr[j]; q < p.a.ptr[j + 1]; ++q) col[j][p.a.sub[q]] = p.a.val[q];
    }
    lo.assign(p.blx.begin(), p.blx.end());
    up.assign(p.bux.begin(), p.bux.end());
    lo.insert(lo.end(), p.blc.begin(), p.blc.end());
    up.insert(up.end(), p.buc.begin(), p.buc.end());
    for (int32_t k = 0; k < num; ++k) {
      key.push_back(k >= n                 ? lp_key::basic
                    : std::isfinite(lo[k]) ? lp_key::lower
                    : std::isfinite(up[k]) ? lp_key::upper
                                           : lp_key::superbasic);
      if (k >= n) {
        col[k].assign(m, 0.0);
        col[k][k - n] = -1;
        head.push_back(k);
      }
    }
  }
  // The inverse of the basis matrix by Gauss-Jordan with row exchanges; false when it is singular.
  bool invert() {
    std::vector<double> b(size_t(m) * m);
    inverse.assign(size_t(m) * m, 0.0);
    for (int32_t i = 0; i < m; ++i) {
      for (int32_t r = 0; r < m; ++r) b[size_t(i) * m + r] = col[head[r]][i];
      inverse[size_t(i) * m + i] = 1;
    }
    for (int32_t r = 0; r < m; ++r) {
      int32_t piv = r;
      for (int32_t i = r; i < m; ++i) {
        if (std::abs(b[size_t(i) * m + r]) > std::abs(b[size_t(piv) * m + r])) piv = i;
      }
      const double d = b[size_t(piv) * m + r];
      if (std::abs(d) < tol) return false;
      for (int32_t k = 0; k < m; ++k) {
        std::swap(b[size_t(piv) * m + k], b[size_t(r) * m + k]);
        std::swap(inverse[size_t(piv) * m + k], inverse[size_t(r) * m + k]);
        b[size_t(r) * m + k] /= d;
        inverse[size_t(r) * m + k] /= d;
      }
      for (int32_t i = 0; i < m; ++i) {
        const double f = b[size_t(i) * m + r];
        if (i == r || f == 0) continue;
        for (int32_t k = 0; k < m; ++k) {
          b[size_t(i) * m + k] -= f * b[size_t(r) * m + k];
          inverse[size_t(i) * m + k] -= f * inverse[size_t(r) * m + k];
        }
      }
    }
    return true;
  }
  std::vector<double> ftran(const std::vector<double>& v) const {
    std::vector<double> out(m, 0.0);
    for (int32_t i = 0; i < m; ++i) {
      for (int32_t k = 0; k < m; ++k) out[i] += inverse[size_t(i) * m + k] * v[k];
    }
    return out;
  }
  // Values of the basic variables from those of the others, and multipliers from the basic costs.
  bool compute() {
    if (!invert()) return false;
    std::vector<double> rhs(m, 0.0);
    for (int32_t k = 0; k < num; ++k) {
      if (key[k] == lp_key::basic) continue;
      x[k] = key[k] == lp_key::lower || key[k] == lp_key::fixed ? lo[k]
             : key[k] == lp_key::upper                          ? up[k]
                                                                : 0.0;
      for (int32_t i = 0; i < m; ++i) rhs[i] -= col[k][i] * x[k];
    }
    const std::vector<double> xb = ftran(rhs);
    for (int32_t r = 0; r < m; ++r) x[head[r]] = xb[r];
    return true;
  }
  void price() {
    for (int32_t i = 0; i < m; ++i) {
      y[i] = 0;
      for (int32_t r = 0; r < m; ++r) y[i] += inverse[size_t(r) * m + i] * cost[head[r]];
    }
  }
  double reduced(int32_t k) const {
    double d = cost[k];
    for (int32_t i = 0; i < m; ++i) d -= col[k][i] * y[i];
    return d;
  }
  // One pivot. Returns false at the optimum of cost; sets dir to a ray when nothing blocks.
  bool pivot(std::vector<double>& dir) {
    int32_t enter = -1;
    double sign = 0;
    for (int32_t k = 0; k < num && enter < 0; ++k) {
      if (key[k] == lp_key::basic || lo[k] == up[k]) continue;
      const double d = reduced(k);
      if (d < -tol && key[k] != lp_key::upper) enter = k, sign = 1;
      if (d > tol && key[k] != lp_key::lower) enter = k, sign = -1;
    }
    if (enter < 0) return false;
    const std::vector<double> alpha = ftran(col[enter]);
    double step = up[enter] - lo[enter];
    int32_t leave = -1;
    lp_key at = lp_key::lower;
    for (int32_t r = 0; r < m; ++r) {
      const double move = -sign * alpha[r];
      const int32_t k = head[r];
      if (std::abs(move) < tol) continue;
      const bool below = x[k]<lo[k] - tol, above = x[k]> up[k] + tol;
      double bound = move > 0 ? (below ? lo[k] : up[k]) : (above ? up[k] : lo[k]);
      if ((move > 0 && above) || (move < 0 && below)) continue;
      if (std::isinf(bound)) continue;
      const double t = std::max(0.0, (bound - x[k]) / move);
      if (t < step - tol || (t <= step + tol && leave >= 0 && k < head[leave])) {
        step = std::min(t, step);
        leave = r;
        at = bound == lo[k] ? lp_key::lower : lp_key::upper;
      }
    }
    if (std::isinf(step)) {
      dir.assign(num, 0.0);
      dir[enter] = sign;
      for (int32_t r = 0; r < m; ++r) dir[head[r]] = -sign * alpha[r];
      return true;
    }
    if (leave < 0) {
      key[enter] = sign > 0 ? lp_key::upper : lp_key::lower;
    } else {
      key[head[leave]] = at;
      head[leave] = enter;
      key[enter] = lp_key::basic;
    }
    return true;
  }
  // Costs of the present infeasibilities; false when there are none.
  bool phase1() {
    bool any = false;
    cost.assign(num, 0.0);
    for (const int32_t k : head) {
      cost[k] = x[k] < lo[k] - tol ? -1 : x[k] > up[k] + tol ? 1 : 0;
      any = any || cost[k] != 0;
    }
    return any;
  }
  dense_answer solve() {
    dense_answer out;
    std::vector<double> dir;
    for (int32_t iter = 0; iter < 5000; ++iter) {
      if (!compute()) return out;
      const bool infeasible = phase1();
      if (!infeasible) {
        cost.assign(num, 0.0);
        std::copy(p.c.begin(), p.c.end(), cost.begin());
      }
      price();
      if (!pivot(dir)) {
        out.verdict = infeasible ? lp_verdict::priminfeas : lp_verdict::optimal;
        break;
      }
      if (!dir.empty()) {
        out.verdict = lp_verdict::dualinfeas;
        x = dir;
        break;
      }
    }
    out.x = x;
    out.y = y;
    out.key = key;
    out.obj = p.cfix;
    for (int32_t j = 0; j < n; ++j) out.obj += p.c[j] * x[j];
    return out;
  }
};

inline dense_answer dense_solve(const lp_view& prob) {
  return dense_simplex(prob).solve();
}

// Whether the basis is nonsingular; its point and multipliers are then in out.
inline bool dense_basispoint(const lp_view& prob, const std::vector<lp_key>& key,
                             dense_answer& out) {
  dense_simplex s(prob);
  s.key = key;
  s.head.clear();
  for (int32_t k = 0; k < s.num; ++k) {
    if (key[k] == lp_key::basic) s.head.push_back(k);
  }
  if (int32_t(s.head.size()) != s.m || !s.compute()) return false;
  s.cost.assign(s.num, 0.0);
  std::copy(prob.c.begin(), prob.c.end(), s.cost.begin());
  s.price();
  out.x = s.x;
  out.y = s.y;
  return true;
}
