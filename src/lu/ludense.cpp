// The dense tail of the kernel: partial pivoting on a column-major copy of the active part, one
// column at a time (left-looking within blocks, so that most work is a product of dense matrices).
#include <cmath>

#include "lu/lufactor_impl.h"

namespace {

constexpr int32_t blockwidth = 16;
// Cost of an entry of the dense block at one pivot, against one of the sparse elimination.
constexpr double densecost = 0.05;

struct dense_tail {
  int32_t nrow = 0, ncol = 0;
  double* a = nullptr;  // nrow x ncol
  int32_t* row = nullptr;
  int32_t* pos = nullptr;
  [[nodiscard]] double* col(int32_t j) const { return a + ptrdiff_t(j) * nrow; }
};

dense_tail load(lu_rec& f) {
  lu_kernel& ker = f.ker;
  dense_tail t;
  t.nrow = ker.numrow;
  t.ncol = ker.numcol;
  const size_t size = size_t(t.nrow) * size_t(t.ncol);
  if (ker.dense.size() < size) ker.dense.resize(size);
  std::fill_n(ker.dense.begin(), size, 0.0);
  lu_ensure(ker.denserow, size_t(t.nrow));
  lu_ensure(ker.densepos, size_t(t.ncol));
  t.a = ker.dense.data();
  t.row = ker.denserow.data();
  t.pos = ker.densepos.data();
  int32_t num = 0;
  for (int32_t i = 0; i < f.m; ++i) {
    if (ker.rank[i] >= 0) continue;
    f.topo[i] = num;
    t.row[num++] = i;
  }
  num = 0;
  for (const int32_t p : ker.loaded) {
    if (ker.state[p] != lu_colactive) continue;
    const lu_slot at = ker.cat[p];
    double* col = t.col(num);
    for (int32_t e = at.beg; e < at.beg + at.num; ++e) col[f.topo[ker.csub[e]]] = ker.cval[e];
    t.pos[num++] = p;
  }
  return t;
}

void swap_rows(dense_tail& t, int32_t i, int32_t k) {
  if (i == k) return;
  std::swap(t.row[i], t.row[k]);
  for (int32_t j = 0; j < t.ncol; ++j) std::swap(t.col(j)[i], t.col(j)[k]);
}

void drop_column(lu_rec& f, dense_tail& t, int32_t j) {
  f.ker.state[t.pos[j]] = lu_colrejected;
  --t.ncol;
  if (j == t.ncol) return;
  t.pos[j] = t.pos[t.ncol];
  std::copy_n(t.col(t.ncol), t.nrow, t.col(j));
}

// column -= the multipliers of pivots k0 .. k1-1 times its own entries there.
void apply(const dense_tail& t, int32_t k0, int32_t k1, double* col) {
  int32_t k = k0;
  for (; k < k1; ++k) {
    const double u = col[k];
    if (u == 0) continue;
    const double* l = t.col(k);
    for (int32_t i = k + 1; i < t.nrow; ++i) col[i] -= u * l[i];
  }
}

// The same for a block of pivots that is done: first the triangle, then four multiplier columns at
// once for the rows below.
void apply_block(const dense_tail& t, int32_t k0, int32_t k1, double* col) {
  for (int32_t k = k0; k < k1; ++k) {
    const double u = col[k];
    const double* l = t.col(k);
    for (int32_t i = k + 1; i < k1; ++i) col[i] -= u * l[i];
  }
  int32_t k = k0;
  for (; k + 4 <= k1; k += 4) {
    const double u0 = col[k], u1 = col[k + 1], u2 = col[k + 2], u3 = col[k + 3];
    const double *l0 = t.col(k), *l1 = t.col(k + 1), *l2 = t.col(k + 2), *l3 = t.col(k + 3);
    for (int32_t i = k1; i < t.nrow; ++i)
      col[i] -= u0 * l0[i] + u1 * l1[i] + u2 * l2[i] + u3 * l3[i];
  }
  for (; k < k1; ++k) {
    const double u = col[k];
    const double* l = t.col(k);
    for (int32_t i = k1; i < t.nrow; ++i) col[i] -= u * l[i];
  }
}

// The pivot of column k among its rows k and below; false: there is none.
bool pivot(lu_rec& f, dense_tail& t, int32_t k) {
  double* col = t.col(k);
  int32_t big = k;
  for (int32_t i = k + 1; i < t.nrow; ++i)
    if (std::abs(col[i]) > std::abs(col[big])) big = i;
  if (std::abs(col[big]) <= f.ker.czero[t.pos[k]]) return false;
  swap_rows(t, k, big);
  const double diag = col[k];
  for (int32_t i = k + 1; i < t.nrow; ++i) col[i] /= diag;
  return true;
}

void store(lu_rec& f, const dense_tail& t, int32_t numpiv) {
  for (int32_t k = 0; k < numpiv; ++k) {
    const double* col = t.col(k);
    lu_pivoted(f, t.row[k], t.pos[k], col[k]);
    const auto lbeg = int32_t(f.lcol.sub.size());
    for (int32_t i = k + 1; i < t.nrow; ++i) {
      if (std::abs(col[i]) <= f.set.droptol) continue;
      f.lcol.sub.push_back(t.row[i]);
      f.lcol.val.push_back(col[i]);
    }
    f.lcolat[t.row[k]] = {lbeg, int32_t(f.lcol.sub.size()) - lbeg};
    if (f.lcolat[t.row[k]].num > 0) f.lseq.push_back(t.row[k]);
    lu_kernelrow(f.ker, t.row[k]);
    for (int32_t j = k + 1; j < t.ncol; ++j) {
      const double u = t.col(j)[k];
      if (std::abs(u) > f.set.droptol) lu_kernelu(f.ker, t.pos[j], u);
    }
  }
  f.count.numkernel += numpiv;
  f.count.numdense += numpiv;
}

}  // namespace

void lu_densetail(lu_rec& f) {
  dense_tail t = load(f);
  int32_t k = 0;
  while (k < std::min(t.nrow, t.ncol)) {
    const int32_t k0 = k;
    // Columns k0 .. k1-1 become pivots; a column without one goes and another takes its place, which
    // has the same transformations behind it.
    while (k < std::min({k0 + blockwidth, t.nrow, t.ncol})) {
      apply(t, k0, k, t.col(k));
      if (pivot(f, t, k))
        ++k;
      else
        drop_column(f, t, k);
    }
    for (int32_t j = k; j < t.ncol; ++j) apply_block(t, k0, k, t.col(j));
    f.count.facwork += double(k - k0) * double(t.ncol - k0) * double(t.nrow - k0) * densecost;
  }
  store(f, t, k);
}
