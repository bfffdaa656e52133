// Patterns of the conic method's systems: which cones leave them, which are large, and where
// everything stands.

#include <algorithm>

#include "homo/intpntkkt.h"

namespace {

constexpr int32_t large_members = 4;  // cones of at most so many members are never large
constexpr double large_gain = 2;      // entries saved by the sparse form that make it worth while

bool prefers_large(double members, double others, double entries) {
  return members > large_members && members * others > large_gain * (entries + 2 * others);
}

// Every column of the cone is a singleton in a row of its own: then those rows belong to it.
bool claims_rows(intpnt_kkt& kkt, int32_t k) {
  const intpnt_data& data = kkt.data;
  const spmat& a = data.lp.a;
  const int32_t first = data.conebeg[k], last = data.conebeg[k + 1];
  for (int32_t j = first; j < last; ++j) {
    if (a.ptr[j + 1] - a.ptr[j] != 1 || a.val[a.ptr[j]] == 0) return false;
    if (kkt.rowcone[a.sub[a.ptr[j]]] >= 0) return false;
  }
  for (int32_t j = first; j < last; ++j) {
    const int32_t i = a.sub[a.ptr[j]];
    if (kkt.rowcone[i] == k) {  // two members in one row: give all back
      for (int32_t jj = first; jj < j; ++jj) kkt.rowcone[a.sub[a.ptr[jj]]] = -1;
      return false;
    }
    kkt.rowcone[i] = k;
    kkt.rowmember[i] = j - first;
    kkt.rowval[i] = a.val[a.ptr[j]];
  }
  return true;
}

// Columns and entries of A in the rows of cone k but for its own.
struct row_counts {
  double columns = 0, entries = 0;
};
row_counts count_rows(intpnt_kkt& kkt, int32_t k) {
  const intpnt_data& data = kkt.data;
  row_counts count;
  for (int32_t j = data.conebeg[k]; j < data.conebeg[k + 1]; ++j) {
    const int32_t i = data.lp.a.sub[data.lp.a.ptr[j]];
    for (ptrdiff_t p = data.lp.at.ptr[i]; p < data.lp.at.ptr[i + 1]; ++p) {
      const int32_t other = data.lp.at.sub[p];
      if (other == j) continue;
      ++count.entries;
      if (kkt.stamp[other] != k) ++count.columns;
      kkt.stamp[other] = k;
    }
  }
  return count;
}

void sort_unique(mm_vector<int32_t>& rows) {
  std::sort(rows.begin(), rows.end());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
}

// Rows of column j of s.
void rows_of(const intpnt_kkt& kkt, int32_t j, mm_vector<int32_t>& rows) {
  const spmat& a = kkt.data.lp.a;
  rows.clear();
  for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
    const int32_t i = a.sub[p], k = kkt.rowcone[i];
    if (k < 0) {
      rows.push_back(i);
    } else {
      for (int32_t jj = kkt.data.conebeg[k]; jj < kkt.data.conebeg[k + 1]; ++jj) {
        rows.push_back(a.sub[a.ptr[jj]]);
      }
    }
  }
  sort_unique(rows);
}

void close_column(spmat& m) {
  m.ptr.push_back(ptrdiff_t(m.sub.size()));
  m.val.resize(m.sub.size());
}

// Which cones leave the system, then which of the others are large.
void choose_forms(intpnt_kkt& kkt) {
  const intpnt_data& data = kkt.data;
  for (int32_t k = 0; k < data.numcone(); ++k) {
    if (!claims_rows(kkt, k)) continue;
    const row_counts count = count_rows(kkt, k);
    const double members = data.conebeg[k + 1] - data.conebeg[k];
    const bool large = prefers_large(members, count.columns, count.entries);
    if (!large) {
      kkt.form[k] = intpnt_form::rows;
      continue;
    }
    for (int32_t j = data.conebeg[k]; j < data.conebeg[k + 1]; ++j) {
      kkt.rowcone[data.lp.a.sub[data.lp.a.ptr[j]]] = -1;
    }
  }
  mm_vector<int32_t> rows(kkt.touched.get_allocator());
  for (int32_t k = 0; k < data.numcone(); ++k) {
    if (kkt.form[k] != intpnt_form::small) continue;
    const int32_t first = data.conebeg[k], last = data.conebeg[k + 1];
    rows.assign(data.lp.a.sub.begin() + data.lp.a.ptr[first],
                data.lp.a.sub.begin() + data.lp.a.ptr[last]);
    const double entries = double(rows.size());
    sort_unique(rows);
    if (!prefers_large(last - first, double(rows.size()), entries)) continue;
    kkt.form[k] = intpnt_form::large;
    kkt.large[k] = kkt.numlarge++;
  }
}

void make_rows(intpnt_kkt& kkt) {
  const intpnt_data& data = kkt.data;
  mm_vector<int32_t> rows(kkt.touched.get_allocator());
  kkt.s.ptr.push_back(0);
  auto add = [&](int32_t j) {
    rows_of(kkt, j, rows);
    kkt.s.sub.insert(kkt.s.sub.end(), rows.begin(), rows.end());
    close_column(kkt.s);
  };
  for (int32_t j = 0; j < data.numlin; ++j) add(j);
  for (int32_t k = 0; k < data.numcone(); ++k) {
    const bool stays = kkt.form[k] != intpnt_form::rows;
    for (int32_t j = data.conebeg[k]; j < data.conebeg[k + 1]; ++j) {
      stays ? add(j) : close_column(kkt.s);
    }
  }
  kkt.s.nrow = data.lp.m;
  kkt.s.ncol = data.lp.n;
  kkt.local.assign(kkt.s.sub.size(), 0);
}

// Columns of a small cone in b: each has the rows of all. Gives their number.
size_t add_small(intpnt_kkt& kkt, int32_t k, std::span<int32_t> place, mm_vector<int32_t>& rows) {
  const int32_t first = kkt.data.conebeg[k], last = kkt.data.conebeg[k + 1];
  rows.assign(kkt.s.sub.begin() + kkt.s.ptr[first], kkt.s.sub.begin() + kkt.s.ptr[last]);
  sort_unique(rows);
  for (size_t r = 0; r < rows.size(); ++r) place[rows[r]] = int32_t(r);
  for (ptrdiff_t p = kkt.s.ptr[first]; p < kkt.s.ptr[last]; ++p) {
    kkt.local[p] = place[kkt.s.sub[p]];
  }
  for (int32_t j = first; j < last; ++j) {
    kkt.b.sub.insert(kkt.b.sub.end(), rows.begin(), rows.end());
    close_column(kkt.b);
    close_column(kkt.h);
  }
  return rows.size();
}

// Column j of b as that of s; a member of a large cone meets its row of u and its column of v too.
void add_column(intpnt_kkt& kkt, int32_t j, int32_t large, bool hasv) {
  kkt.b.sub.insert(kkt.b.sub.end(), kkt.s.sub.begin() + kkt.s.ptr[j],
                   kkt.s.sub.begin() + kkt.s.ptr[j + 1]);
  if (large >= 0) kkt.b.sub.push_back(kkt.data.lp.m + large);
  if (hasv) kkt.h.sub.push_back(kkt.data.lp.n + large);
  close_column(kkt.b);
  close_column(kkt.h);
}

void make_columns(intpnt_kkt& kkt) {
  const intpnt_data& data = kkt.data;
  mm_vector<int32_t> rows(kkt.touched.get_allocator());
  mm_vector<int32_t> place(size_t(kkt.s.nrow), 0, rows.get_allocator());
  size_t widest = 0;
  kkt.b.ptr.push_back(0);
  kkt.h.ptr.push_back(0);
  for (int32_t j = 0; j < data.numlin; ++j) add_column(kkt, j, -1, false);
  for (int32_t k = 0; k < data.numcone(); ++k) {
    if (kkt.form[k] == intpnt_form::small) {
      widest = std::max(widest, add_small(kkt, k, place, rows));
      continue;
    }
    for (int32_t j = data.conebeg[k]; j < data.conebeg[k + 1]; ++j) {
      add_column(kkt, j, kkt.large[k], kkt.large[k] >= 0 && j > data.conebeg[k]);
    }
  }
  for (int32_t l = 0; l < kkt.numlarge; ++l) {
    close_column(kkt.b);
    close_column(kkt.h);
  }
  kkt.b.nrow = data.lp.m + kkt.numlarge;
  kkt.b.ncol = kkt.h.nrow = kkt.h.ncol = data.lp.n + kkt.numlarge;
  kkt.along.assign(widest, 0.0);
}

}  // namespace

intpnt_kkt::intpnt_kkt(const intpnt_data& problem, memman& mman)
    : data(problem),
      s(mm_at(mman)),
      b(mm_at(mman)),
      h(mm_at(mman)),
      form(size_t(problem.numcone()), intpnt_form::small, mm_at(mman)),
      large(size_t(problem.numcone()), -1, mm_at(mman)),
      rowcone(size_t(problem.lp.m), -1, mm_at(mman)),
      rowmember(size_t(problem.lp.m), 0, mm_at(mman)),
      rowval(size_t(problem.lp.m), 0.0, mm_at(mman)),
      local(mm_at(mman)),
      root(size_t(problem.lp.n), 1.0, mm_at(mman)),
      u(size_t(problem.lp.n), 0.0, mm_at(mman)),
      v(size_t(problem.lp.n), 0.0, mm_at(mman)),
      d(mm_at(mman)),
      e(mm_at(mman)),
      rhs(mm_at(mman)),
      along(mm_at(mman)),
      work(mm_at(mman)),
      gather(size_t(problem.lp.n), 0.0, mm_at(mman)),
      touched(mm_at(mman)),
      stamp(size_t(problem.lp.n), -1, mm_at(mman)),
      x(size_t(problem.lp.n), 0.0, mm_at(mman)),
      e1(size_t(problem.lp.n), 0.0, mm_at(mman)),
      e2(size_t(problem.lp.m), 0.0, mm_at(mman)),
      cx(size_t(problem.lp.n), 0.0, mm_at(mman)),
      cy(size_t(problem.lp.m), 0.0, mm_at(mman)),
      zero1(size_t(problem.lp.n), 0.0, mm_at(mman)),
      zero2(size_t(problem.lp.m), 0.0, mm_at(mman)),
      krylov(mm_at(mman)) {
  choose_forms(*this);
  make_rows(*this);
  make_columns(*this);
  const int32_t n = b.ncol, m = b.nrow;
  d.assign(n, 1.0);
  e.assign(m, 1.0);
  for (const int32_t j : data.lp.fcol) d[j] = 0;
  for (int32_t i = 0; i < data.lp.m; ++i) e[i] = rowcone[i] >= 0 ? 1 : 0;
  krylov.assign((2 * intpnt_maxkrylov + 1) * (size_t(data.lp.n) + data.lp.m), 0.0);
  rhs.assign(size_t(n) + m, 0.0);
  work.assign(s.nrow, 0.0);
  stamp.assign(problem.numcone(), -1);
  touched.reserve(problem.numcone());
  fac = kktfac_make(kktfac_kind::sqd, m, n, mman);
}

rescode intpnt_kktsetup(intpnt_kkt& kkt, const kktfac_settings& set, const monitor& mon,
                        const monitor& orderlog) {
  kktfac_inaij(*kkt.fac, spmat_look(kkt.b));
  kktfac_inqij(*kkt.fac, spmat_look(kkt.h));
  return kktfac_autosetup(*kkt.fac, set, mon, orderlog);
}
