// Patterns of the conic method's systems: which cones are large, and where everything stands.

#include <algorithm>

#include "homo/intpntkkt.h"

namespace {

constexpr int32_t large_members = 4;  // cones of at most so many members are never large
constexpr double large_gain = 2;      // entries saved by the sparse form that make it worth while

bool prefers_large(double members, double others, double entries) {
  return members > large_members && members * others > large_gain * (entries + 2 * others);
}

void sort_unique(mm_vector<int32_t>& rows) {
  std::sort(rows.begin(), rows.end());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
}

void close_column(spmat& m) {
  m.ptr.push_back(ptrdiff_t(m.sub.size()));
  m.val.resize(m.sub.size());
}

void choose_forms(intpnt_kkt& kkt, mm_vector<int32_t>& rows) {
  const intpnt_data& data = kkt.data;
  const spmat& a = data.lp.a;
  for (int32_t k = 0; k < data.numcone(); ++k) {
    const int32_t first = data.conebeg[k], last = data.conebeg[k + 1];
    rows.assign(a.sub.begin() + a.ptr[first], a.sub.begin() + a.ptr[last]);
    const double entries = double(rows.size());
    sort_unique(rows);
    if (prefers_large(last - first, double(rows.size()), entries)) kkt.large[k] = kkt.numlarge++;
  }
}

void rows_of(const intpnt_data& data, int32_t k, mm_vector<int32_t>& rows) {
  const spmat& a = data.lp.a;
  rows.assign(a.sub.begin() + a.ptr[data.conebeg[k]], a.sub.begin() + a.ptr[data.conebeg[k + 1]]);
  sort_unique(rows);
}

// Columns of a small cone in b: each has the rows of all.
void add_small(intpnt_kkt& kkt, int32_t k, std::span<int32_t> place, mm_vector<int32_t>& rows) {
  const int32_t first = kkt.data.conebeg[k], last = kkt.data.conebeg[k + 1];
  rows_of(kkt.data, k, rows);
  for (size_t r = 0; r < rows.size(); ++r) place[rows[r]] = int32_t(r);
  for (ptrdiff_t p = kkt.data.lp.a.ptr[first]; p < kkt.data.lp.a.ptr[last]; ++p) {
    kkt.local[p] = place[kkt.data.lp.a.sub[p]];
  }
  for (int32_t j = first; j < last; ++j) {
    kkt.b.sub.insert(kkt.b.sub.end(), rows.begin(), rows.end());
    close_column(kkt.b);
  }
}

// Column j of b as that of A; in the tail of a large cone it has an entry in the cone's own row.
void add_column(intpnt_kkt& kkt, int32_t j, int32_t large) {
  kkt.b.sub.insert(kkt.b.sub.end(), kkt.data.lp.a.sub.begin() + kkt.data.lp.a.ptr[j],
                   kkt.data.lp.a.sub.begin() + kkt.data.lp.a.ptr[j + 1]);
  if (large >= 0) kkt.b.sub.push_back(kkt.data.lp.m + large);
  close_column(kkt.b);
}

void make_columns(intpnt_kkt& kkt, mm_vector<int32_t>& rows) {
  const intpnt_data& data = kkt.data;
  mm_vector<int32_t> place(size_t(data.lp.m), 0, rows.get_allocator());
  kkt.local.assign(data.lp.a.sub.size(), 0);
  kkt.b.ptr.push_back(0);
  for (int32_t j = 0; j < data.numlin; ++j) add_column(kkt, j, -1);
  for (int32_t k = 0; k < data.numcone(); ++k) {
    if (kkt.large[k] < 0) {
      add_small(kkt, k, place, rows);
      continue;
    }
    const int32_t first = data.conebeg[k], own = kkt.large[k];
    for (int32_t j = first; j < data.conebeg[k + 1]; ++j) add_column(kkt, j, j > first ? own : -1);
  }
  for (int32_t k = 0; k < data.numcone(); ++k) {
    if (kkt.large[k] < 0) continue;
    rows_of(data, k, rows);
    kkt.b.sub.insert(kkt.b.sub.end(), rows.begin(), rows.end());
    close_column(kkt.b);
    kkt.border.push_back({data.lp.n + kkt.large[k], data.lp.m + kkt.large[k], data.conebeg[k]});
  }
  for (const int32_t j : data.lp.fcol) kkt.border.push_back({j, -1, -1, true});
  kkt.b.nrow = data.lp.m + kkt.numlarge;
  kkt.b.ncol = kkt.h.nrow = kkt.h.ncol = data.lp.n + kkt.numlarge;
  kkt.h.ptr.assign(size_t(kkt.b.ncol) + 1, 0);
}

}  // namespace

intpnt_kkt::intpnt_kkt(const intpnt_data& problem, memman& mman)
    : data(problem),
      b(mm_at(mman)),
      h(mm_at(mman)),
      large(size_t(problem.numcone()), -1, mm_at(mman)),
      local(mm_at(mman)),
      border(mm_at(mman)),
      dir(size_t(problem.lp.n), 0.0, mm_at(mman)),
      frame(mm_at(mman)),
      d(mm_at(mman)),
      e(mm_at(mman)),
      rhs(mm_at(mman)),
      along(size_t(problem.lp.m), 0.0, mm_at(mman)),
      x(size_t(problem.lp.n), 0.0, mm_at(mman)),
      e1(size_t(problem.lp.n), 0.0, mm_at(mman)),
      e2(size_t(problem.lp.m), 0.0, mm_at(mman)),
      cx(size_t(problem.lp.n), 0.0, mm_at(mman)),
      cy(size_t(problem.lp.m), 0.0, mm_at(mman)),
      zero1(size_t(problem.lp.n), 0.0, mm_at(mman)),
      zero2(size_t(problem.lp.m), 0.0, mm_at(mman)),
      krylov(mm_at(mman)) {
  mm_vector<int32_t> rows(mm_at(mman));
  choose_forms(*this, rows);
  make_columns(*this, rows);
  const int32_t n = b.ncol, m = b.nrow;
  d.assign(n, 1.0);
  e.assign(m, 0.0);
  for (const int32_t j : data.lp.fcol) d[j] = 0;
  frame.resize(numlarge);
  krylov.assign((2 * intpnt_maxkrylov + 1) * (size_t(data.lp.n) + data.lp.m), 0.0);
  rhs.assign(size_t(n) + m, 0.0);
  fac = kktfac_make(kktfac_kind::sqd, m, n, mman);
}

rescode intpnt_kktsetup(intpnt_kkt& kkt, const kktfac_settings& set, const monitor& mon,
                        const monitor& orderlog) {
  kktfac_inaij(*kkt.fac, spmat_look(kkt.b));
  kktfac_inqij(*kkt.fac, spmat_look(kkt.h));
  kktfac_inborder(*kkt.fac, kkt.border);
  return kktfac_autosetup(*kkt.fac, set, mon, orderlog);
}
