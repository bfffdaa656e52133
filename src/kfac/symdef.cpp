#include "kfac/symdef.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "kfac/kktfac.h"
#include "order/symord.h"

namespace {

// The scaled matrix: strict part by columns, each pair in the column of the larger number.
struct unit_matrix {
  int32_t n = 0;
  mm_vector<ptrdiff_t> ptr;
  mm_vector<int32_t> sub;
  mm_vector<double> val;
  explicit unit_matrix(mm_place at) : ptr(at), sub(at), val(at) {}
};

double largest_entry(const spmat_view& a) {
  double largest = 0;
  for (const double x : a.val) largest = std::max(largest, std::abs(x));
  return largest;
}

// scale[i] = 1 / sqrt(a_ii), 0 for a zero row. False when the diagonal shows that a is indefinite.
// Rounding of the largest entries, zero, is no zero of small ones: variables may be scaled by any factor.
bool read_scale(const spmat_view& a, double sign, double zero, mm_vector<double>& scale) {
  for (int32_t j = 0; j < a.ncol; ++j) {
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
      if (a.sub[p] == j) scale[j] = sign * a.val[p];
    }
  }
  for (double& d : scale) {
    if (d < -zero) return false;
    d = d > 0 ? 1 / std::sqrt(d) : 0;
  }
  for (int32_t j = 0; j < a.ncol; ++j) {
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
      const bool iszerorow = scale[j] == 0 || scale[a.sub[p]] == 0;
      if (a.sub[p] != j && iszerorow && std::abs(a.val[p]) > zero) return false;
    }
  }
  return true;
}

// A fill-reducing elimination order of the pattern of a; place[i] is when i is eliminated.
void find_places(const spmat_view& a, memman& mman, mm_vector<int32_t>& place) {
  const auto n = size_t(a.ncol);
  mm_vector<ptrdiff_t> ptr(n + 1, 0, mm_at(mman));
  for (int32_t j = 0; j < a.ncol; ++j) {
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
      if (a.sub[p] != j) ++ptr[j], ++ptr[a.sub[p]];
    }
  }
  ptrdiff_t sum = 0;
  for (ptrdiff_t& entry : ptr) sum += std::exchange(entry, sum);
  std::iota(place.begin(), place.end(), 0);
  if (sum == 0) return;  // diagonal
  mm_vector<int32_t> sub(size_t(sum), 0, mm_at(mman));
  mm_vector<ptrdiff_t> next(ptr.begin(), ptr.end(), mm_at(mman));
  for (int32_t j = 0; j < a.ncol; ++j) {
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
      const int32_t i = a.sub[p];
      if (i == j) continue;
      sub[next[i]++] = j;
      sub[next[j]++] = i;
    }
  }
  mm_vector<int32_t> perm(n, 0, mm_at(mman));
  symord_result result;
  const spmat_view graph = {a.ncol, a.ncol, ptr, sub, {}};
  // A monitor without a poll function never ends the ordering.
  static_cast<void>(symord_order(graph, symord_scoretype::degree, {}, mman, perm, result));
  for (int32_t k = 0; k < a.ncol; ++k) place[perm[k]] = k;
}

constexpr double unit_excess =
    2;  // entries of a semidefinite matrix of unit diagonal are at most 1

void make_unit(const spmat_view& a, double sign, double zero, const mm_vector<double>& scale,
               const mm_vector<int32_t>& place, unit_matrix& u) {
  u.n = a.ncol;
  u.ptr.assign(size_t(a.ncol) + 1, 0);
  for (int32_t j = 0; j < a.ncol; ++j) {
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
      if (a.sub[p] != j) ++u.ptr[std::max(place[j], place[a.sub[p]]) + 1];
    }
  }
  std::partial_sum(u.ptr.begin(), u.ptr.end(), u.ptr.begin());
  u.sub.resize(size_t(u.ptr[u.n]));
  u.val.resize(size_t(u.ptr[u.n]));
  mm_vector<ptrdiff_t> next(u.ptr.begin(), u.ptr.end(), u.ptr.get_allocator());
  for (int32_t j = 0; j < a.ncol; ++j) {
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
      const int32_t i = a.sub[p];
      if (i == j) continue;
      const ptrdiff_t q = next[std::max(place[i], place[j])]++;
      u.sub[q] = std::min(place[i], place[j]);
      const double v = sign * a.val[p] * scale[i] * scale[j];
      // Beside a diagonal entry that is itself rounding, an entry may be no more than that.
      u.val[q] = std::abs(v) > unit_excess && std::abs(a.val[p]) <= zero ? 0 : v;
    }
  }
}

// L D L' row by row: row k of L is found by a solve with the rows above it, whose pattern is the
// part of the elimination tree below k that the entries of column k reach.
struct row_factor {
  const unit_matrix& u;
  mm_vector<int32_t> parent, mark, reach;  // reach[top ..]: pattern of the row, in solving order
  mm_vector<ptrdiff_t> begin, end;         // of the columns of L
  mm_vector<int32_t> sub;
  mm_vector<double> val, work, d;
  row_factor(const unit_matrix& matrix, mm_place at)
      : u(matrix),
        parent(size_t(matrix.n), -1, at),
        mark(size_t(matrix.n), -1, at),
        reach(size_t(matrix.n), 0, at),
        begin(size_t(matrix.n) + 1, 0, at),
        end(at),
        sub(at),
        val(at),
        work(size_t(matrix.n), 0.0, at),
        d(size_t(matrix.n), 0.0, at) {}
};

// The tree and the lengths of L's columns, O(nonzeros of L).
void analyse(row_factor& f) {
  for (int32_t k = 0; k < f.u.n; ++k) {
    f.mark[k] = k;
    for (ptrdiff_t p = f.u.ptr[k]; p < f.u.ptr[k + 1]; ++p) {
      for (int32_t i = f.u.sub[p]; f.mark[i] != k; i = f.parent[i]) {
        if (f.parent[i] < 0) f.parent[i] = k;
        ++f.begin[i + 1];
        f.mark[i] = k;
      }
    }
  }
  std::partial_sum(f.begin.begin(), f.begin.end(), f.begin.begin());
  f.end.assign(f.begin.begin(), f.begin.end() - 1);
  std::fill(f.mark.begin(), f.mark.end(), -1);
}

int32_t find_reach(row_factor& f, int32_t k) {
  int32_t top = f.u.n;
  f.mark[k] = k;
  for (ptrdiff_t p = f.u.ptr[k]; p < f.u.ptr[k + 1]; ++p) {
    int32_t len = 0;
    f.work[f.u.sub[p]] = f.u.val[p];
    for (int32_t i = f.u.sub[p]; f.mark[i] != k; i = f.parent[i]) {
      f.reach[len++] = i;
      f.mark[i] = k;
    }
    while (len > 0) f.reach[--top] = f.reach[--len];
  }
  return top;
}

// The factor of the matrix plus shift, laid out by analyse. A pivot of at most drop is zero and has no
// column; false at one that is not positive when drop is negative.
bool has_factor(row_factor& f, double shift, double drop) {
  f.sub.resize(size_t(f.begin[f.u.n]));
  f.val.resize(size_t(f.begin[f.u.n]));
  for (int32_t k = 0; k < f.u.n; ++k) {
    double pivot = 1 + shift;
    for (int32_t t = find_reach(f, k); t < f.u.n; ++t) {
      const int32_t j = f.reach[t];
      const double y = std::exchange(f.work[j], 0.0);
      if (f.d[j] == 0) continue;
      for (ptrdiff_t p = f.begin[j]; p < f.end[j]; ++p) f.work[f.sub[p]] -= f.val[p] * y;
      const double l = y / f.d[j];
      pivot -= l * y;
      f.sub[f.end[j]] = k;
      f.val[f.end[j]++] = l;
    }
    if (drop < 0 && !(pivot > 0)) return false;
    f.d[k] = pivot > drop ? pivot : 0;
  }
  return true;
}

constexpr double work_large = 1e7;  // flops from which blocks are worth their setup
constexpr int32_t order_given = 5;  // ordermethod of kktfac: none

// Flops of the factorization that f is laid out for, about.
double factor_work(const row_factor& f) {
  double work = 0;
  for (int32_t k = 0; k < f.u.n; ++k) {
    const auto len = double(f.begin[k + 1] - f.begin[k]);
    work += len * len;
  }
  return work;
}

// What has_factor tells, by the blocked factorization of the systems: as the matrix stands in their
// negative block, none of its pivots has to be replaced.
bool has_blockfactor(const unit_matrix& u, double shift, memman& mman) {
  spmat upper(mm_at(mman)), lower(mm_at(mman));
  upper.nrow = upper.ncol = u.n;
  upper.ptr.assign(1, 0);
  for (int32_t k = 0; k < u.n; ++k) {
    upper.sub.insert(upper.sub.end(), u.sub.begin() + u.ptr[k], u.sub.begin() + u.ptr[k + 1]);
    upper.val.insert(upper.val.end(), u.val.begin() + u.ptr[k], u.val.begin() + u.ptr[k + 1]);
    upper.sub.push_back(k);
    upper.val.push_back(1);
    upper.ptr.push_back(ptrdiff_t(upper.sub.size()));
  }
  spmat_transpose(spmat_look(upper), lower);
  const mm_vector<ptrdiff_t> noptr(size_t(u.n) + 1, 0, mm_at(mman));
  const kktfac_ptr fac = kktfac_make(kktfac_kind::sqd, 0, u.n, mman);
  kktfac_inaij(*fac, {0, u.n, noptr, {}, {}});
  kktfac_inqij(*fac, spmat_look(lower));
  kktfac_settings set;
  set.ordermethod = order_given;
  set.form = 1;
  kktfac_regul regul;
  regul.regcol = regul.regrow = regul.dynthr = regul.pivrel = 0;
  const mm_vector<double> diagonal(size_t(u.n), shift, mm_at(mman));
  // A monitor without a poll function never ends either phase.
  static_cast<void>(kktfac_setup(*fac, set, {}, {}));
  static_cast<void>(kktfac_numfacsqd(*fac, diagonal, {}, regul, {}));
  return kktfac_getstats(*fac).numskipped == 0;
}

}  // namespace

bool symdef_ispsd(const spmat_view& a, double sign, const symdef_tol& tol, memman& mman) {
  mm_vector<double> scale(size_t(a.ncol), 0.0, mm_at(mman));
  const double zero = tol.zero * largest_entry(a);
  if (!read_scale(a, sign, zero, scale)) return false;
  mm_vector<int32_t> place(size_t(a.ncol), 0, mm_at(mman));
  find_places(a, mman, place);
  unit_matrix u(mm_at(mman));
  make_unit(a, sign, zero, scale, place, u);
  row_factor f(u, mm_at(mman));
  analyse(f);
  if (factor_work(f) > work_large) return has_blockfactor(u, tol.shift, mman);
  return has_factor(f, tol.shift, -1);
}

void symdef_root(const spmat_view& a, double sign, memman& mman, spmat& root) {
  constexpr double rounding = 1e-14;  // pivot of the matrix of unit diagonal that is none
  const auto n = size_t(a.ncol);
  mm_vector<double> scale(n, 0.0, mm_at(mman));
  const double zero = symdef_tol{}.zero * largest_entry(a);
  static_cast<void>(read_scale(a, sign, zero, scale));
  mm_vector<int32_t> place(n, 0, mm_at(mman)), perm(n, 0, mm_at(mman));
  find_places(a, mman, place);
  for (size_t i = 0; i < n; ++i) perm[place[i]] = int32_t(i);
  unit_matrix u(mm_at(mman));
  make_unit(a, sign, zero, scale, place, u);
  row_factor f(u, mm_at(mman));
  analyse(f);
  has_factor(f, 0, rounding);
  spmat rows(mm_at(mman));  // F by columns k of L: row places as they come
  rows.nrow = a.ncol;
  rows.ptr.push_back(0);
  for (int32_t k = 0; k < u.n; ++k) {
    if (f.d[k] == 0 || scale[perm[k]] == 0) continue;
    const double d = std::sqrt(f.d[k]);
    auto add = [&](int32_t at, double l) {
      if (l == 0 || scale[perm[at]] == 0) return;
      rows.sub.push_back(perm[at]);
      rows.val.push_back(d * l / scale[perm[at]]);
    };
    add(k, 1);
    for (ptrdiff_t p = f.begin[k]; p < f.end[k]; ++p) add(f.sub[p], f.val[p]);
    rows.ptr.push_back(ptrdiff_t(rows.sub.size()));
    ++rows.ncol;
  }
  spmat columns(mm_at(mman));  // transposing twice sorts
  spmat_transpose(spmat_look(rows), columns);
  spmat_transpose(spmat_look(columns), root);
}
