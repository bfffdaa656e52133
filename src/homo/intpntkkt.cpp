#include "homo/intpntkkt.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "homo/intpntcone.h"

namespace {

// Pivots: refinement against the true system makes good what rounding has left of small ones, so all
// but the lost are kept.
constexpr double pivot_leave = 1e-16;    // part of its diagonal below which a row leaves
constexpr double pivot_raise = 1e-17;    // the same for one that stays: its pivot is raised to that
constexpr double pivot_lostabs = 1e-20;  // the same, absolute
constexpr double regul_part = 1e-8;      // of its diagonal: most that is added to that of a row
constexpr double pivot_value = 1e-10;    // what stands in for it
constexpr double proximal_weight = 1e-12;  // of free columns; more of it shows in the dual residual
constexpr double krylov_ask = 1e-10;       // residual that plain refinement has to reach
constexpr double krylov_tol = 1e-12;  // part of the residual at its start at which the second ends
constexpr int maxrefine = 8;
constexpr double refine_tol = 1e-14;  // residual relative to right-hand side and solution: done
constexpr double refine_gain = 0.3;   // a round that does not reduce the residual so is the last

// Columns first .. last-1 of a vector, constant or not as the vector is.
template <class V>
auto part(V& v, int32_t first, int32_t last) {
  return std::span(v).subspan(size_t(first), size_t(last - first));
}

double maxabs(std::span<const double> v) {
  double most = 0;
  bool isnan = false;
  for (const double e : v) {
    most = std::max(most, std::abs(e));
    isnan |= !(e == e);
  }
  return isnan ? std::numeric_limits<double>::quiet_NaN() : most;
}

void expand_large(intpnt_kkt& kkt, const intpnt_scal& scal) {
  const intpnt_data& data = kkt.data;
  for (int32_t k = 0; k < data.numcone(); ++k) {
    if (kkt.large[k] < 0) continue;
    const int32_t first = data.conebeg[k], last = data.conebeg[k + 1];
    kkt.frame[kkt.large[k]] = cone_expand(part(scal.w, first, last), part(kkt.dir, first, last));
  }
}

// B of a small cone: its columns of A times W^-1, column by column.
void fill_small(intpnt_kkt& kkt, const intpnt_scal& scal, int32_t k) {
  const spmat& s = kkt.data.lp.a;
  const int32_t first = kkt.data.conebeg[k], last = kkt.data.conebeg[k + 1];
  const size_t numrows = size_t(kkt.b.ptr[first + 1] - kkt.b.ptr[first]);
  const double inveta = 1 / scal.eta[k], w0 = scal.w[first];
  const std::span<double> along = std::span(kkt.along).first(numrows);
  auto column = [&](int32_t j) { return std::span(kkt.b.val).subspan(kkt.b.ptr[j], numrows); };
  std::fill(along.begin(), along.end(), 0.0);
  for (int32_t j = first + 1; j < last; ++j) {
    for (ptrdiff_t p = s.ptr[j]; p < s.ptr[j + 1]; ++p) along[kkt.local[p]] -= scal.w[j] * s.val[p];
  }
  const std::span<double> head = column(first);
  for (size_t r = 0; r < numrows; ++r) head[r] = inveta * along[r];
  for (size_t r = 0; r < numrows; ++r) along[r] /= 1 + w0;
  for (ptrdiff_t p = s.ptr[first]; p < s.ptr[first + 1]; ++p) {
    head[kkt.local[p]] += inveta * w0 * s.val[p];
    along[kkt.local[p]] += s.val[p];
  }
  for (int32_t j = first + 1; j < last; ++j) {
    const double factor = -inveta * scal.w[j];
    const std::span<double> col = column(j);
    for (size_t r = 0; r < numrows; ++r) col[r] = factor * along[r];
    for (ptrdiff_t p = s.ptr[j]; p < s.ptr[j + 1]; ++p) col[kkt.local[p]] += inveta * s.val[p];
  }
}

// Column j of B as that of A times a factor; what else stands there comes after it.
void fill_scaled(intpnt_kkt& kkt, int32_t j, double factor) {
  const spmat& a = kkt.data.lp.a;
  ptrdiff_t q = kkt.b.ptr[j];
  for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) kkt.b.val[q++] = factor * a.val[p];
}

void fill_large(intpnt_kkt& kkt, const intpnt_scal& scal, int32_t k) {
  const spmat& a = kkt.data.lp.a;
  const int32_t first = kkt.data.conebeg[k], last = kkt.data.conebeg[k + 1];
  const cone_frame& frame = kkt.frame[kkt.large[k]];
  const double inveta = 1 / scal.eta[k];
  fill_scaled(kkt, first, inveta / frame.root);
  for (int32_t j = first + 1; j < last; ++j) {
    fill_scaled(kkt, j, inveta);
    kkt.b.val[kkt.b.ptr[j + 1] - 1] = kkt.dir[j];
  }
  const int32_t own = kkt.data.lp.n + kkt.large[k];
  for (ptrdiff_t p = kkt.b.ptr[own]; p < kkt.b.ptr[own + 1]; ++p) kkt.along[kkt.b.sub[p]] = 0;
  for (int32_t j = first; j < last; ++j) {
    const double factor = j == first ? -frame.kappa : kkt.dir[j];
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) kkt.along[a.sub[p]] += factor * a.val[p];
  }
  for (ptrdiff_t p = kkt.b.ptr[own]; p < kkt.b.ptr[own + 1]; ++p) {
    kkt.b.val[p] = inveta * frame.root * kkt.along[kkt.b.sub[p]];
  }
}

}  // namespace

void intpnt_bardtimesh(const intpnt_data& data, const intpnt_scal& scal, int power,
                       std::span<const double> z, std::span<double> out) {
  for (int32_t j = 0; j < data.numlin; ++j) {
    out[j] = power > 0 ? z[j] * scal.w[j] : z[j] / scal.w[j];
  }
  for (int32_t k = 0; k < data.numcone(); ++k) {
    const int32_t first = data.conebeg[k], last = data.conebeg[k + 1];
    (power > 0 ? cone_mulw : cone_divw)(part(scal.w, first, last), scal.eta[k],
                                        part(z, first, last), part(out, first, last));
  }
}

rescode intpnt_kktfactor(intpnt_kkt& kkt, const intpnt_scal& scal, const intpnt_pivots& piv,
                         const monitor& mon) {
  const intpnt_data& data = kkt.data;
  expand_large(kkt, scal);
  for (int32_t j = 0; j < data.numlin; ++j) fill_scaled(kkt, j, 1 / scal.w[j]);
  for (int32_t k = 0; k < data.numcone(); ++k) {
    (kkt.large[k] < 0 ? fill_small : fill_large)(kkt, scal, k);
  }
  std::fill(kkt.e.begin(), kkt.e.end(), 0.0);
  for (int32_t j = 0; j < kkt.b.ncol; ++j) {
    for (ptrdiff_t p = kkt.b.ptr[j]; p < kkt.b.ptr[j + 1]; ++p) {
      kkt.e[kkt.b.sub[p]] += kkt.b.val[p] * kkt.b.val[p];
    }
  }
  for (double& e : kkt.e) e = std::min(piv.regul, regul_part * e);
  kktfac_regul own;
  own.regcol = piv.regul;
  own.regrow = 0;
  kkt.proximal = proximal_weight;
  own.pivrel = piv.keeprow ? pivot_raise : pivot_leave;
  own.keeprow = piv.keeprow;
  own.dynthr = pivot_lostabs;
  own.dynval = pivot_value;
  return kktfac_numfacsqd(*kkt.fac, kkt.d, kkt.e, own, mon);
}

namespace {

// Takes the part along dir out of the tail of a large cone's members of z. Returns it.
double take_along(const intpnt_kkt& kkt, int32_t k, std::span<double> z) {
  const int32_t first = kkt.data.conebeg[k] + 1, last = kkt.data.conebeg[k + 1];
  double sum = 0;
  for (int32_t j = first; j < last; ++j) sum += kkt.dir[j] * z[j];
  for (int32_t j = first; j < last; ++j) z[j] -= sum * kkt.dir[j];
  return sum;
}

// Right-hand side of the system from that of the scaled variables; of a large cone in its frame.
void make_rhs(intpnt_kkt& kkt, std::span<const double> r1t, std::span<const double> r2) {
  const intpnt_data& data = kkt.data;
  const int32_t next = kkt.b.ncol;
  std::copy(r1t.begin(), r1t.end(), kkt.rhs.begin());
  std::fill(kkt.rhs.begin() + data.lp.n, kkt.rhs.begin() + next, 0.0);
  std::copy(r2.begin(), r2.end(), kkt.rhs.begin() + next);
  std::fill(kkt.rhs.begin() + next + data.lp.m, kkt.rhs.end(), 0.0);
  for (int32_t k = 0; k < data.numcone(); ++k) {
    if (kkt.large[k] < 0) continue;
    const int32_t first = data.conebeg[k];
    const cone_frame& frame = kkt.frame[kkt.large[k]];
    const double head = kkt.rhs[first], tail = take_along(kkt, k, kkt.rhs);
    kkt.rhs[first] = frame.cosine * head + frame.sine * tail;
    kkt.rhs[data.lp.n + kkt.large[k]] = frame.cosine * tail - frame.sine * head;
  }
}

// xt and y from the solution of the system.
void take_solution(intpnt_kkt& kkt, std::span<double> xt, std::span<double> y) {
  const intpnt_data& data = kkt.data;
  std::copy_n(kkt.rhs.begin() + kkt.b.ncol, data.lp.m, y.begin());
  std::copy_n(kkt.rhs.begin(), data.lp.n, xt.begin());
  for (int32_t k = 0; k < data.numcone(); ++k) {
    if (kkt.large[k] < 0) continue;
    const int32_t first = data.conebeg[k], last = data.conebeg[k + 1];
    const cone_frame& frame = kkt.frame[kkt.large[k]];
    take_along(kkt, k, xt);
    const double head = xt[first], other = kkt.rhs[data.lp.n + kkt.large[k]];
    const double tail = frame.sine * head + frame.cosine * other;
    xt[first] = frame.cosine * head - frame.sine * other;
    for (int32_t j = first + 1; j < last; ++j) xt[j] += tail * kkt.dir[j];
  }
}

void solve_raw(intpnt_kkt& kkt, std::span<const double> r1t, std::span<const double> r2,
               std::span<double> xt, std::span<double> y) {
  make_rhs(kkt, r1t, r2);
  kktfac_solve(*kkt.fac, kkt.rhs, 1);
  take_solution(kkt, xt, y);
}

double relative(double residual, double size) {
  return size > 0 ? residual / size : size;
}

// Residuals of both blocks in kkt.e1 and kkt.e2; A'y in aty. Returns the largest relative one: the
// rows, the free columns and the others each have a scale of their own.
double residual(intpnt_kkt& kkt, const intpnt_scal& scal, std::span<const double> r1t,
                std::span<const double> r2, std::span<const double> xt, std::span<const double> y,
                std::span<double> aty) {
  const hom_prob& lp = kkt.data.lp;
  std::fill(aty.begin(), aty.end(), 0.0);
  spmat_addatx(spmat_look(lp.a), 1, y, aty);
  intpnt_bardtimesh(kkt.data, scal, -1, xt, kkt.x);
  std::copy(r2.begin(), r2.end(), kkt.e2.begin());
  spmat_addatx(spmat_look(lp.at), -1, kkt.x, kkt.e2);
  intpnt_bardtimesh(kkt.data, scal, -1, aty, kkt.e1);
  double free = 0, sizefree = 0, most = 0, size = 0;
  for (int32_t j = 0; j < lp.n; ++j) {
    if (lp.isfree[j] != 0) {
      kkt.e1[j] = r1t[j] + kkt.proximal * xt[j] - kkt.e1[j];
      free = std::max(free, std::abs(kkt.e1[j]));
      sizefree = std::max(sizefree, std::abs(r1t[j]));
    } else {
      kkt.e1[j] = r1t[j] + xt[j] - kkt.e1[j];
      most = std::max(most, std::abs(kkt.e1[j]));
      size = std::max({size, std::abs(r1t[j]), std::abs(xt[j])});
    }
  }
  const double rel2 = relative(maxabs(kkt.e2), maxabs(r2) + maxabs(kkt.x));
  const double rel1 = std::max(relative(free, sizefree + maxabs(aty)), relative(most, size));
  return rel1 > rel2 || !(rel1 == rel1) ? rel1 : rel2;
}

}  // namespace

namespace {

struct kkt_rhs {
  std::span<const double> r1t, r2;
};
struct kkt_point {
  std::span<double> xt, y, aty;
};

void add_correction(const intpnt_kkt& kkt, double factor, const kkt_point& point) {
  for (size_t i = 0; i < point.y.size(); ++i) point.y[i] += factor * kkt.cy[i];
  for (size_t j = 0; j < point.xt.size(); ++j) point.xt[j] += factor * kkt.cx[j];
}

double residual_of(intpnt_kkt& kkt, const intpnt_scal& scal, const kkt_rhs& rhs,
                   const kkt_point& point) {
  return residual(kkt, scal, rhs.r1t, rhs.r2, point.xt, point.y, point.aty);
}

// Plain refinement. Returns the residual.
double refine(intpnt_kkt& kkt, const intpnt_scal& scal, const kkt_rhs& rhs,
              const kkt_point& point) {
  double before = std::numeric_limits<double>::infinity();
  for (int round = 0;; ++round) {
    const double now = residual_of(kkt, scal, rhs, point);
    if (round > 0 && !(now < before)) {  // the last round made it worse: take it back
      add_correction(kkt, -1, point);
      return residual_of(kkt, scal, rhs, point);
    }
    if (round == maxrefine || !(now > refine_tol) || now > refine_gain * before) return now;
    before = now;
    solve_raw(kkt, kkt.e1, kkt.e2, kkt.cx, kkt.cy);
    add_correction(kkt, 1, point);
  }
}

// The residual in kkt.e1 and kkt.e2 as one vector, and back.
void take_residual(const intpnt_kkt& kkt, double factor, std::span<double> to) {
  const size_t n = kkt.e1.size();
  for (size_t j = 0; j < n; ++j) to[j] = factor * kkt.e1[j];
  for (size_t i = 0; i < kkt.e2.size(); ++i) to[n + i] = factor * kkt.e2[i];
}
void give_residual(intpnt_kkt& kkt, std::span<const double> from) {
  std::copy_n(from.begin(), kkt.e1.size(), kkt.e1.begin());
  std::copy_n(from.begin() + ptrdiff_t(kkt.e1.size()), kkt.e2.size(), kkt.e2.begin());
}

double dot(std::span<const double> a, std::span<const double> b) {
  double sum = 0;
  for (size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

// Flexible GMRES from the residual in kkt.e1 and kkt.e2: as many pivots as there are corrections may
// be far from those of the true system. Saad, "A flexible inner-outer preconditioned GMRES
// algorithm", SIAM J. Sci. Comput. 14 (1993).
struct krylov_small {
  double h[intpnt_maxkrylov + 1][intpnt_maxkrylov] = {}, c[intpnt_maxkrylov] = {},
                              s[intpnt_maxkrylov] = {}, g[intpnt_maxkrylov + 1] = {};
  // Column k of h: earlier rotations, and the one that clears its last entry.
  void rotate(int k) {
    for (int i = 0; i < k; ++i) {
      const double a = h[i][k], b = h[i + 1][k];
      h[i][k] = c[i] * a + s[i] * b;
      h[i + 1][k] = c[i] * b - s[i] * a;
    }
    const double r = std::hypot(h[k][k], h[k + 1][k]);
    c[k] = r > 0 ? h[k][k] / r : 1;
    s[k] = r > 0 ? h[k + 1][k] / r : 0;
    h[k][k] = r;
    g[k + 1] = -s[k] * g[k];
    g[k] *= c[k];
  }
  // Coefficients of the first num corrections, in g.
  void solve(int num) {
    for (int i = num - 1; i >= 0; --i) {
      for (int k = i + 1; k < num; ++k) g[i] -= h[i][k] * g[k];
      g[i] = h[i][i] != 0 ? g[i] / h[i][i] : 0;
    }
  }
};

void krylov(intpnt_kkt& kkt, const intpnt_scal& scal, const kkt_point& point) {
  const int32_t n = kkt.data.lp.n;
  const size_t len = size_t(n) + kkt.data.lp.m;
  auto vec = [&](int k) { return std::span(kkt.krylov).subspan(size_t(k) * len, len); };
  auto corr = [&](int k) { return vec(intpnt_maxkrylov + 1 + k); };
  krylov_small small;
  take_residual(kkt, 1, vec(0));
  const double start = std::sqrt(dot(vec(0), vec(0)));
  if (!(start > 0) || !std::isfinite(start)) return;
  for (double& e : vec(0)) e /= start;
  small.g[0] = start;
  int num = 0;
  while (num < intpnt_maxkrylov && std::abs(small.g[num]) > krylov_tol * start) {
    const std::span<double> z = corr(num), next = vec(num + 1);
    const std::span<double> zx = z.first(size_t(n)), zy = z.subspan(size_t(n));
    give_residual(kkt, vec(num));
    solve_raw(kkt, kkt.e1, kkt.e2, zx, zy);
    residual(kkt, scal, kkt.zero1, kkt.zero2, zx, zy, kkt.cx);
    take_residual(kkt, -1, next);
    for (int i = 0; i <= num; ++i) {
      small.h[i][num] = dot(next, vec(i));
      for (size_t t = 0; t < len; ++t) next[t] -= small.h[i][num] * vec(i)[t];
    }
    const double norm = std::sqrt(dot(next, next));
    small.h[num + 1][num] = norm;
    if (!std::isfinite(norm)) break;
    small.rotate(num++);
    if (norm == 0) break;
    for (double& e : next) e /= norm;
  }
  small.solve(num);
  std::fill(kkt.cx.begin(), kkt.cx.end(), 0.0);
  std::fill(kkt.cy.begin(), kkt.cy.end(), 0.0);
  for (int k = 0; k < num; ++k) {
    const std::span<const double> z = corr(k);
    for (int32_t j = 0; j < n; ++j) kkt.cx[j] += small.g[k] * z[j];
    for (size_t i = 0; i < kkt.cy.size(); ++i) kkt.cy[i] += small.g[k] * z[size_t(n) + i];
  }
  add_correction(kkt, 1, point);
}

}  // namespace

double intpnt_kktsolve(intpnt_kkt& kkt, const intpnt_scal& scal, std::span<const double> r1t,
                       std::span<const double> r2, std::span<double> xt, std::span<double> y,
                       std::span<double> aty) {
  const kkt_rhs rhs{r1t, r2};
  const kkt_point point{xt, y, aty};
  solve_raw(kkt, r1t, r2, xt, y);
  const double now = refine(kkt, scal, rhs, point);
  if (!(now > krylov_ask)) return now;
  krylov(kkt, scal, point);
  const double after = residual_of(kkt, scal, rhs, point);
  if (after < now) return after;
  add_correction(kkt, -1, point);
  return residual_of(kkt, scal, rhs, point);
}
