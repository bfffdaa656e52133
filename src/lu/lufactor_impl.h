// Shared by the files that change factors: growing of files, lists by count, one pivot's bookkeeping.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>

#include "lu/lu.h"

// lu_ensure: at least need entries; grows by half so that repeated calls cost little.
template <class T>
void lu_ensure(mm_vector<T>& v, size_t need) {
  if (need <= v.size()) return;
  if (need > size_t(std::numeric_limits<int32_t>::max())) throw std::bad_alloc();
  v.resize(std::max(need, v.size() + v.size() / 2));
}
inline void lu_ensure(lu_file& file, size_t need) {
  lu_ensure(file.sub, need);
  lu_ensure(file.val, need);
}

// lu_makeroom: room for one more entry; a full vector moves to the end of its file.
inline void lu_makeroom(lu_file& file, lu_slot& at) {
  if (at.num < at.cap) return;
  const size_t beg = file.sub.size(), cap = 2 * size_t(at.cap) + 4;
  if (beg + cap > size_t(std::numeric_limits<int32_t>::max())) throw std::bad_alloc();
  file.sub.resize(beg + cap);
  file.val.resize(beg + cap);
  std::copy_n(file.sub.begin() + at.beg, at.num, file.sub.begin() + ptrdiff_t(beg));
  std::copy_n(file.val.begin() + at.beg, at.num, file.val.begin() + ptrdiff_t(beg));
  at.beg = int32_t(beg);
  at.cap = int32_t(cap);
}

// lu_pivoted: row i and position p are the next pivot, with that diagonal of U.
inline void lu_pivoted(lu_rec& f, int32_t i, int32_t p, double diag) {
  const auto k = int32_t(f.useq.size());
  f.useq.push_back(i);
  f.useqat[i] = k;
  f.ker.rank[i] = k;
  f.ker.pivpos[k] = p;
  f.ker.state[p] = lu_colpivoted;
  f.rowofpos[p] = i;
  f.posofrow[i] = p;
  f.udiag[i] = diag;
}

// The columns of a basis.
struct lu_columns {
  const spmat_view& a;
  const int32_t* basic;
  [[nodiscard]] bool isstruct(int32_t p) const { return basic[p] < a.ncol; }
  [[nodiscard]] ptrdiff_t beg(int32_t p) const { return a.ptr[basic[p]]; }
  [[nodiscard]] ptrdiff_t end(int32_t p) const { return a.ptr[basic[p] + 1]; }
};

// lu_begin: empty factors with room for numpos columns (at least m).
void lu_begin(lu_rec& f, int32_t m, int32_t n, int32_t numpos);

// lu_kernelload: the active columns and rows behind the singletons.
void lu_kernelload(lu_rec& f, const lu_columns& b);
// The same for columns that come one by one: an empty kernel, a column of it (its entries in rows that
// have a pivot are left out), and at last the rows.
void lu_kernelempty(lu_rec& f);
void lu_kernelcolumn(lu_rec& f, int32_t p, const lu_vector& x);
void lu_kernelrows(lu_rec& f);
// lu_kernelrun: eliminates them; columns without a pivot become lu_colrejected.
rescode lu_kernelrun(lu_rec& f, const monitor& mon);
// lu_densetail: eliminates what is left of the kernel as a dense matrix.
void lu_densetail(lu_rec& f);
// lu_kernelrow: row r of U begins; lu_kernelu adds an entry to it.
inline void lu_kernelrow(lu_kernel& ker, int32_t r) {
  ker.urrow.push_back(r);
  ker.urbeg.push_back(int32_t(ker.ursub.size()));
}
inline void lu_kernelu(lu_kernel& ker, int32_t p, double u) {
  ker.ursub.push_back(p);
  ker.urval.push_back(u);
}
// lu_assemble: U by columns and by rows, L by rows, from what the pivots left.
void lu_assemble(lu_rec& f, const lu_columns& b);

// Stages of the solves, each on the vector that the one before leaves: in the space of rows, but for
// the result of lu_ftranu, which is by position.
void lu_ftranl(lu_rec& f, lu_vector& x);
void lu_ftranr(lu_rec& f, lu_vector& x);
void lu_ftranu(lu_rec& f, lu_vector& x);
void lu_btranu(lu_rec& f, lu_vector& x);
void lu_btranr(lu_rec& f, lu_vector& x);
void lu_btranl(lu_rec& f, lu_vector& x);
