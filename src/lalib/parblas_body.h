// The one source of the dense kernels: templates over a family's traits F. A family's file defines F
// in an unnamed namespace and instantiates parblas_table<F>; nothing here calls code that another
// file could share, so each instantiation keeps to the instructions of its family.
//   F::vec, F::width     a register of doubles and their number
//   F::mask, F::tail(n)  the first n lanes, 1 <= n <= width
//   F::tilev, F::tilen   register tile: tilev vectors by tilen columns
//   F::blockm            rows of A that stay in the second-level cache
#pragma once

#include "lalib/parblas.h"

inline constexpr int32_t parblas_blockk = 256;   // source columns of one pass
inline constexpr int32_t parblas_blockn = 1024;  // target columns whose packed B is kept
inline constexpr int parblas_leaf = 8;           // panel columns done in registers

// What all tiles of one packed tile of B share.
struct parblas_tileargs {
  int32_t k, ncol;
  ptrdiff_t lda, ldc;
  const double* b;
  bool fresh;
};

template <class F, int NV, bool MASKED>
void parblas_tile(const parblas_tileargs& t, const double* a, double* c,
                  typename F::mask last) noexcept {
  using vec = typename F::vec;
  constexpr int nr = F::tilen;
  constexpr ptrdiff_t w = F::width;
  vec acc[NV][nr];
#pragma GCC unroll 8
  for (int v = 0; v < NV; ++v) {
#pragma GCC unroll 16
    for (int j = 0; j < nr; ++j) acc[v][j] = F::zero();
  }
  const double* b = t.b;
  const ptrdiff_t lda = t.lda;
  for (int32_t p = t.k; p > 0; --p, a += lda, b += nr) {
    vec x[NV];
#pragma GCC unroll 8
    for (int v = 0; v < NV; ++v) {
      x[v] = MASKED && v == NV - 1 ? F::loadm(a + v * w, last) : F::load(a + v * w);
    }
#pragma GCC unroll 16
    for (int j = 0; j < nr; ++j) {
      const vec bj = F::bcast(b[j]);
#pragma GCC unroll 8
      for (int v = 0; v < NV; ++v) acc[v][j] = F::fnmadd(x[v], bj, acc[v][j]);
    }
  }
  const bool fresh = t.fresh;
#pragma GCC unroll 16
  for (int j = 0; j < nr; ++j, c += t.ldc) {
    if (j >= t.ncol) break;
#pragma GCC unroll 8
    for (int v = 0; v < NV; ++v) {
      double* to = c + v * w;
      if (MASKED && v == NV - 1) {
        F::storem(to, last, fresh ? acc[v][j] : F::add(F::loadm(to, last), acc[v][j]));
      } else {
        F::store(to, fresh ? acc[v][j] : F::add(F::load(to), acc[v][j]));
      }
    }
  }
}

// A tile of 1 .. tilev * width - 1 rows.
template <class F, int NV>
void parblas_tilerest(const parblas_tileargs& t, int32_t m, const double* a, double* c) noexcept {
  if constexpr (NV > 1) {
    if (m <= (NV - 1) * F::width) {
      parblas_tilerest<F, NV - 1>(t, m, a, c);
      return;
    }
  }
  parblas_tile<F, NV, true>(t, a, c, F::tail(m - (NV - 1) * F::width));
}

// B diag(scale) by tiles of tilen rows, k by k, the last tile padded with zeros.
template <class F>
void parblas_pack(int32_t n, int32_t k, const double* b, ptrdiff_t ldb, const double* scale,
                  double* to) noexcept {
  constexpr int nr = F::tilen;
  for (int32_t j = 0; j < n; j += nr) {
    const double* from = b + j;
    if (j + nr <= n) {
      for (int32_t p = 0; p < k; ++p, from += ldb, to += nr) {
        const double s = scale[p];
        for (int t = 0; t < nr; ++t) to[t] = from[t] * s;
      }
    } else {
      for (int32_t p = 0; p < k; ++p, from += ldb, to += nr) {
        for (int t = 0; t < nr; ++t) to[t] = j + t < n ? from[t] * scale[p] : 0.0;
      }
    }
  }
}

// One packed block of B against all rows of A from row0 on.
template <class F>
void parblas_block(const parblas_update& u, int32_t j0, int32_t nb, int32_t p0,
                   int32_t kb) noexcept {
  constexpr int nr = F::tilen;
  constexpr int32_t mr = F::tilev * F::width;
  const bool fresh = u.fresh && p0 == 0;
  const double* a = u.a + p0 * u.lda;
  const int32_t blockm = u.blockm > 0 ? u.blockm : F::blockm;
  for (int32_t ic = u.lower ? j0 : 0; ic < u.m; ic += blockm) {
    const int32_t iend = ic + blockm < u.m ? ic + blockm : u.m;
    const double* b = u.work;
    for (int32_t jt = 0; jt < nb; jt += nr, b += ptrdiff_t(kb) * nr) {
      const int32_t j = j0 + jt;
      const int32_t ncol = nb - jt < nr ? nb - jt : nr;
      int32_t i = u.lower && j > ic ? j : ic;
      const parblas_tileargs t = {kb, ncol, u.lda, u.ldc, b, fresh};
      double* c = u.c + ptrdiff_t(j) * u.ldc;
      for (; i + mr <= iend; i += mr) {
        parblas_tile<F, F::tilev, false>(t, a + i, c + i, F::tail(1));
      }
      if (i < iend) parblas_tilerest<F, F::tilev>(t, iend - i, a + i, c + i);
    }
  }
}

template <class F>
void parblas_updatefn(const parblas_update& u) noexcept {
  for (int32_t j0 = 0; j0 < u.n; j0 += parblas_blockn) {
    const int32_t nb = u.n - j0 < parblas_blockn ? u.n - j0 : parblas_blockn;
    for (int32_t p0 = 0; p0 < u.k; p0 += parblas_blockk) {
      const int32_t kb = u.k - p0 < parblas_blockk ? u.k - p0 : parblas_blockk;
      parblas_pack<F>(nb, kb, u.b + p0 * u.ldb + j0, u.ldb, u.scale + p0, u.work);
      parblas_block<F>(u, j0, nb, p0, kb);
    }
  }
}

// L D L' of an NB x NB block in registers. t holds the block in its lower triangle, then L.
template <class F, int NB>
int32_t parblas_diagblock(double (&t)[NB][NB], const parblas_pivots& piv, int32_t j0) noexcept {
  int32_t refused = 0;
#pragma GCC unroll 8
  for (int p = 0; p < NB; ++p) {
    double d = t[p][p];
    double inv = 0;
    const double sign = piv.sign != nullptr ? piv.sign[j0 + p] : 1.0;
    if (sign * d > piv.thr[j0 + p]) {
      inv = 1.0 / d;
      if (piv.rep != nullptr) piv.delta[j0 + p] = 0;
    } else {  // also when d is not a number
      ++refused;
      const double r = piv.rep != nullptr ? piv.rep[j0 + p] : 0.0;
      if (r > 0) {
        piv.delta[j0 + p] = sign * r - d;
        d = sign * r;
        inv = 1.0 / d;
      } else {
        if (piv.rep != nullptr) piv.delta[j0 + p] = 0;
        d = 0;
      }
    }
    piv.d[j0 + p] = d;
    piv.dinv[j0 + p] = inv;
#pragma GCC unroll 8
    for (int i = p + 1; i < NB; ++i) {
      const double y = t[i][p];
      const double li = y * inv;
      // Rows q < i of column p are L by now, row i still carries the factor d.
#pragma GCC unroll 8
      for (int q = p + 1; q < i; ++q) t[i][q] -= y * t[q][p];
      t[i][i] -= y * li;
      t[i][p] = li;
    }
  }
  return refused;
}

// Rows of L behind an NB x NB block whose unit lower triangle is t.
template <class F, int NB>
void parblas_leafrows(int32_t nrow, double* l, ptrdiff_t ld, const double (&t)[NB][NB],
                      const double* dinv) noexcept {
  using vec = typename F::vec;
  constexpr int w = F::width;
  for (int32_t i = 0; i < nrow; i += w) {
    const bool full = i + w <= nrow;
    const typename F::mask last = F::tail(full ? w : nrow - i);
    vec x[NB];
#pragma GCC unroll 8
    for (int p = 0; p < NB; ++p) {
      x[p] = full ? F::load(l + i + p * ld) : F::loadm(l + i + p * ld, last);
    }
#pragma GCC unroll 8
    for (int p = 0; p < NB; ++p) {
#pragma GCC unroll 8
      for (int j = p + 1; j < NB; ++j) x[j] = F::fnmadd(x[p], F::bcast(t[j][p]), x[j]);
    }
#pragma GCC unroll 8
    for (int p = 0; p < NB; ++p) {
      const vec y = F::mul(x[p], F::bcast(dinv[p]));
      if (full) {
        F::store(l + i + p * ld, y);
      } else {
        F::storem(l + i + p * ld, last, y);
      }
    }
  }
}

template <class F, int NB>
int32_t parblas_leaffn(int32_t nrow, double* l, ptrdiff_t ld, const parblas_pivots& piv,
                       int32_t j0) noexcept {
  double t[NB][NB];
#pragma GCC unroll 8
  for (int p = 0; p < NB; ++p) {
#pragma GCC unroll 8
    for (int i = p; i < NB; ++i) t[i][p] = l[i + p * ld];
  }
  const int32_t refused = parblas_diagblock<F, NB>(t, piv, j0);
#pragma GCC unroll 8
  for (int p = 0; p < NB; ++p) {
#pragma GCC unroll 8
    for (int i = p + 1; i < NB; ++i) l[i + p * ld] = t[i][p];
  }
  parblas_leafrows<F, NB>(nrow - NB, l + NB, ld, t, piv.dinv + j0);
  return refused;
}

template <class F, int NB>
void parblas_leafbelow(int32_t nrow, const double* l, const double* dinv, double* below,
                       ptrdiff_t ld) noexcept {
  double t[NB][NB] = {};
#pragma GCC unroll 8
  for (int p = 0; p < NB; ++p) {
#pragma GCC unroll 8
    for (int i = p + 1; i < NB; ++i) t[i][p] = l[i + p * ld];
  }
  parblas_leafrows<F, NB>(nrow, below, ld, t, dinv);
}

template <class F>
int32_t parblas_leafpanel(int32_t ncol, int32_t nrow, double* l, ptrdiff_t ld,
                          const parblas_pivots& piv, int32_t j0) noexcept {
  switch (ncol) {
    case 1:
      return parblas_leaffn<F, 1>(nrow, l, ld, piv, j0);
    case 2:
      return parblas_leaffn<F, 2>(nrow, l, ld, piv, j0);
    case 3:
      return parblas_leaffn<F, 3>(nrow, l, ld, piv, j0);
    case 4:
      return parblas_leaffn<F, 4>(nrow, l, ld, piv, j0);
    case 5:
      return parblas_leaffn<F, 5>(nrow, l, ld, piv, j0);
    case 6:
      return parblas_leaffn<F, 6>(nrow, l, ld, piv, j0);
    case 7:
      return parblas_leaffn<F, 7>(nrow, l, ld, piv, j0);
    default:
      return parblas_leaffn<F, 8>(nrow, l, ld, piv, j0);
  }
}

// Columns j0 .. j0+ncol-1 of a panel, l at their diagonal: the left half, its update of the right
// half, the right half.
template <class F>
int32_t parblas_halves(int32_t ncol, int32_t nrow, double* l, ptrdiff_t ld,
                       const parblas_pivots& piv, int32_t j0, double* work) noexcept {
  if (ncol <= parblas_leaf) return parblas_leafpanel<F>(ncol, nrow, l, ld, piv, j0);
  const int32_t n1 = (ncol / 2 + parblas_leaf - 1) / parblas_leaf * parblas_leaf;
  int32_t refused = parblas_halves<F>(n1, nrow, l, ld, piv, j0, work);
  parblas_update u;
  u.m = nrow - n1;
  u.n = ncol - n1;
  u.k = n1;
  u.a = u.b = l + n1;
  u.lda = u.ldb = ld;
  u.scale = piv.d + j0;
  u.c = l + n1 + n1 * ld;
  u.ldc = ld;
  u.lower = true;
  u.work = work;
  parblas_updatefn<F>(u);
  refused += parblas_halves<F>(ncol - n1, nrow - n1, u.c, ld, piv, j0 + n1, work);
  return refused;
}

template <class F>
int32_t parblas_panelfn(int32_t ncol, int32_t nrow, double* l, ptrdiff_t ld,
                        const parblas_pivots& piv, double* work) noexcept {
  int32_t refused = 0;
  for (int32_t j = 0; j < ncol; j += parblas_panelblock) {
    const int32_t nb = ncol - j < parblas_panelblock ? ncol - j : parblas_panelblock;
    double* block = l + j + j * ld;
    refused += parblas_halves<F>(nb, nrow - j, block, ld, piv, j, work);
    if (j + nb == ncol) break;
    parblas_update u;
    u.m = nrow - j - nb;
    u.n = ncol - j - nb;
    u.k = nb;
    u.a = u.b = block + nb;
    u.lda = u.ldb = ld;
    u.scale = piv.d + j;
    u.c = block + nb + nb * ld;
    u.ldc = ld;
    u.lower = true;
    u.work = work;
    parblas_updatefn<F>(u);
  }
  return refused;
}

template <class F>
void parblas_rowsfn(int32_t ncol, int32_t nrow, const double* l, const parblas_pivots& piv,
                    double* below, ptrdiff_t ld, double* work) noexcept {
  switch (ncol) {
    case 0:
      return;
    case 1:
      parblas_leafbelow<F, 1>(nrow, l, piv.dinv, below, ld);
      return;
    case 2:
      parblas_leafbelow<F, 2>(nrow, l, piv.dinv, below, ld);
      return;
    case 3:
      parblas_leafbelow<F, 3>(nrow, l, piv.dinv, below, ld);
      return;
    case 4:
      parblas_leafbelow<F, 4>(nrow, l, piv.dinv, below, ld);
      return;
    case 5:
      parblas_leafbelow<F, 5>(nrow, l, piv.dinv, below, ld);
      return;
    case 6:
      parblas_leafbelow<F, 6>(nrow, l, piv.dinv, below, ld);
      return;
    case 7:
      parblas_leafbelow<F, 7>(nrow, l, piv.dinv, below, ld);
      return;
    case 8:
      parblas_leafbelow<F, 8>(nrow, l, piv.dinv, below, ld);
      return;
    default:
      break;
  }
  const int32_t n1 = (ncol / 2 + parblas_leaf - 1) / parblas_leaf * parblas_leaf;
  parblas_rowsfn<F>(n1, nrow, l, piv, below, ld, work);
  parblas_update u;
  u.m = nrow;
  u.n = ncol - n1;
  u.k = n1;
  u.a = below;
  u.b = l + n1;
  u.lda = u.ldb = ld;
  u.scale = piv.d;
  u.c = below + n1 * ld;
  u.ldc = ld;
  u.work = work;
  parblas_updatefn<F>(u);
  parblas_pivots rest;
  rest.d = piv.d + n1;
  rest.dinv = piv.dinv + n1;
  parblas_rowsfn<F>(ncol - n1, nrow, l + n1 + n1 * ld, rest, u.c, ld, work);
}

template <class F>
void parblas_addrun(int32_t len, const double* from, double* to) noexcept {
  constexpr int w = F::width;
  int32_t t = 0;
  for (; t + w <= len; t += w) F::store(to + t, F::add(F::load(to + t), F::load(from + t)));
  if (t < len) {
    const typename F::mask last = F::tail(len - t);
    F::storem(to + t, last, F::add(F::loadm(to + t, last), F::loadm(from + t, last)));
  }
}

template <class F>
void parblas_assemblefn(const parblas_assemble& s) noexcept {
  int32_t r = 0;
  for (int32_t j = s.j0; j < s.j1; ++j) {
    const double* from = s.u + j * s.ldu;
    double* to = s.dst + (s.rel[j] - s.coloff) * s.ldd - s.rowoff;
    int32_t i = j;
    if (s.numrun > 0) {
      while (s.run[r + 1] <= j) ++r;
      for (int32_t q = r; q < s.numrun; ++q) {
        parblas_addrun<F>(s.run[q + 1] - i, from + i, to + s.rel[i]);
        i = s.run[q + 1];
      }
    } else {
      for (; i < s.contfrom; ++i) to[s.rel[i]] += from[i];
      if (i < s.n) parblas_addrun<F>(s.n - i, from + i, to + s.rel[i]);
    }
  }
}

// v2 -= L2 v1 for NB columns; l and v at the first row of L2, v1 the NB entries of each vector.
template <class F, int NB, int R>
void parblas_axpy(int32_t nrow, const double* l, ptrdiff_t ld, const double* v1, double* v,
                  ptrdiff_t ldv) noexcept {
  using vec = typename F::vec;
  constexpr int w = F::width;
  for (int32_t i = 0; i < nrow; i += w) {
    const bool full = i + w <= nrow;
    const typename F::mask last = F::tail(full ? w : nrow - i);
    vec y[R];
#pragma GCC unroll 4
    for (int r = 0; r < R; ++r)
      y[r] = full ? F::load(v + i + r * ldv) : F::loadm(v + i + r * ldv, last);
#pragma GCC unroll 8
    for (int p = 0; p < NB; ++p) {
      const vec x = full ? F::load(l + i + p * ld) : F::loadm(l + i + p * ld, last);
#pragma GCC unroll 4
      for (int r = 0; r < R; ++r) y[r] = F::fnmadd(x, F::bcast(v1[p + r * ldv]), y[r]);
    }
#pragma GCC unroll 4
    for (int r = 0; r < R; ++r) {
      if (full) {
        F::store(v + i + r * ldv, y[r]);
      } else {
        F::storem(v + i + r * ldv, last, y[r]);
      }
    }
  }
}

// v1 -= L2' v2 for NB columns.
template <class F, int NB, int R>
void parblas_dots(int32_t nrow, const double* l, ptrdiff_t ld, double* v1, ptrdiff_t ldv1,
                  const double* v, ptrdiff_t ldv) noexcept {
  using vec = typename F::vec;
  constexpr int w = F::width;
  vec acc[R][NB];
#pragma GCC unroll 4
  for (int r = 0; r < R; ++r) {
#pragma GCC unroll 8
    for (int p = 0; p < NB; ++p) acc[r][p] = F::zero();
  }
  for (int32_t i = 0; i < nrow; i += w) {
    const bool full = i + w <= nrow;
    const typename F::mask last = F::tail(full ? w : nrow - i);
    vec y[R];
#pragma GCC unroll 4
    for (int r = 0; r < R; ++r)
      y[r] = full ? F::load(v + i + r * ldv) : F::loadm(v + i + r * ldv, last);
#pragma GCC unroll 8
    for (int p = 0; p < NB; ++p) {
      const vec x = full ? F::load(l + i + p * ld) : F::loadm(l + i + p * ld, last);
#pragma GCC unroll 4
      for (int r = 0; r < R; ++r) acc[r][p] = F::fnmadd(x, y[r], acc[r][p]);
    }
  }
#pragma GCC unroll 4
  for (int r = 0; r < R; ++r) {
#pragma GCC unroll 8
    for (int p = 0; p < NB; ++p) v1[p + r * ldv1] += F::sum(acc[r][p]);
  }
}

// One block of NB columns, l and v at its diagonal.
template <class F, int NB, int R, bool FORWARD>
void parblas_solveblock(int32_t nrow, const double* l, ptrdiff_t ld, double* v,
                        ptrdiff_t ldv) noexcept {
  if constexpr (!FORWARD) parblas_dots<F, NB, R>(nrow - NB, l + NB, ld, v, ldv, v + NB, ldv);
#pragma GCC unroll 4
  for (int r = 0; r < R; ++r) {
    double* x = v + r * ldv;
    if constexpr (FORWARD) {
#pragma GCC unroll 8
      for (int p = 0; p < NB; ++p) {
#pragma GCC unroll 8
        for (int i = p + 1; i < NB; ++i) x[i] -= l[i + p * ld] * x[p];
      }
    } else {
#pragma GCC unroll 8
      for (int p = NB - 1; p >= 0; --p) {
#pragma GCC unroll 8
        for (int i = p - 1; i >= 0; --i) x[i] -= l[p + i * ld] * x[p];
      }
    }
  }
  if constexpr (FORWARD) parblas_axpy<F, NB, R>(nrow - NB, l + NB, ld, v, v + NB, ldv);
}

template <class F, int R, bool FORWARD>
void parblas_solvecols(int32_t ncol, int32_t nrow, const double* l, ptrdiff_t ld, double* v,
                       ptrdiff_t ldv) noexcept {
  switch (ncol) {
    case 1:
      parblas_solveblock<F, 1, R, FORWARD>(nrow, l, ld, v, ldv);
      break;
    case 2:
      parblas_solveblock<F, 2, R, FORWARD>(nrow, l, ld, v, ldv);
      break;
    case 3:
      parblas_solveblock<F, 3, R, FORWARD>(nrow, l, ld, v, ldv);
      break;
    case 4:
      parblas_solveblock<F, 4, R, FORWARD>(nrow, l, ld, v, ldv);
      break;
    case 5:
      parblas_solveblock<F, 5, R, FORWARD>(nrow, l, ld, v, ldv);
      break;
    case 6:
      parblas_solveblock<F, 6, R, FORWARD>(nrow, l, ld, v, ldv);
      break;
    case 7:
      parblas_solveblock<F, 7, R, FORWARD>(nrow, l, ld, v, ldv);
      break;
    default:
      parblas_solveblock<F, 8, R, FORWARD>(nrow, l, ld, v, ldv);
      break;
  }
}

template <class F, int R, bool FORWARD>
void parblas_solvepanel(int32_t ncol, int32_t nrow, const double* l, ptrdiff_t ld, double* v,
                        ptrdiff_t ldv) noexcept {
  const int32_t numblock = (ncol + parblas_leaf - 1) / parblas_leaf;
  for (int32_t b = 0; b < numblock; ++b) {
    const int32_t j = (FORWARD ? b : numblock - 1 - b) * parblas_leaf;
    const int32_t nb = ncol - j < parblas_leaf ? ncol - j : parblas_leaf;
    parblas_solvecols<F, R, FORWARD>(nb, nrow - j, l + j + j * ld, ld, v + j, ldv);
  }
}

template <class F, bool FORWARD>
void parblas_solvefn(int32_t ncol, int32_t nrow, const double* l, ptrdiff_t ld, double* v,
                     ptrdiff_t ldv, int32_t nrhs) noexcept {
  switch (nrhs) {
    case 1:
      parblas_solvepanel<F, 1, FORWARD>(ncol, nrow, l, ld, v, ldv);
      break;
    case 2:
      parblas_solvepanel<F, 2, FORWARD>(ncol, nrow, l, ld, v, ldv);
      break;
    default:
      parblas_solvepanel<F, 4, FORWARD>(ncol, nrow, l, ld, v, ldv);
      break;
  }
}

// The products alone, eight columns at a time and then the rest one by one.
template <class F, int R>
void parblas_timescols(int32_t ncol, int32_t nrow, const double* l, ptrdiff_t ld, const double* v1,
                       double* v2, ptrdiff_t ldv) noexcept {
  int32_t j = 0;
  for (; j + parblas_leaf <= ncol; j += parblas_leaf) {
    parblas_axpy<F, parblas_leaf, R>(nrow, l + j * ld, ld, v1 + j, v2, ldv);
  }
  for (; j < ncol; ++j) parblas_axpy<F, 1, R>(nrow, l + j * ld, ld, v1 + j, v2, ldv);
}
template <class F, int R>
void parblas_timestcols(int32_t ncol, int32_t nrow, const double* l, ptrdiff_t ld, double* v1,
                        ptrdiff_t ldv1, const double* v2, ptrdiff_t ldv2) noexcept {
  int32_t j = 0;
  for (; j + parblas_leaf <= ncol; j += parblas_leaf) {
    parblas_dots<F, parblas_leaf, R>(nrow, l + j * ld, ld, v1 + j, ldv1, v2, ldv2);
  }
  for (; j < ncol; ++j) parblas_dots<F, 1, R>(nrow, l + j * ld, ld, v1 + j, ldv1, v2, ldv2);
}

template <class F>
void parblas_timesfn(int32_t ncol, int32_t nrow, const double* l, ptrdiff_t ld, const double* v1,
                     double* v2, ptrdiff_t ldv, int32_t nrhs) noexcept {
  if (nrhs == 1) {
    parblas_timescols<F, 1>(ncol, nrow, l, ld, v1, v2, ldv);
  } else if (nrhs == 2) {
    parblas_timescols<F, 2>(ncol, nrow, l, ld, v1, v2, ldv);
  } else {
    parblas_timescols<F, 4>(ncol, nrow, l, ld, v1, v2, ldv);
  }
}
template <class F>
void parblas_timestfn(int32_t ncol, int32_t nrow, const double* l, ptrdiff_t ld, double* v1,
                      const double* v2, ptrdiff_t ldv2, int32_t nrhs) noexcept {
  if (nrhs == 1) {
    parblas_timestcols<F, 1>(ncol, nrow, l, ld, v1, parblas_panelblock, v2, ldv2);
  } else if (nrhs == 2) {
    parblas_timestcols<F, 2>(ncol, nrow, l, ld, v1, parblas_panelblock, v2, ldv2);
  } else {
    parblas_timestcols<F, 4>(ncol, nrow, l, ld, v1, parblas_panelblock, v2, ldv2);
  }
}

template <class F>
constexpr parblas_family parblas_table(parblas_kind kind, const char* instructions) noexcept {
  return {kind,
          instructions,
          F::tilev * F::width,
          F::tilen,
          &parblas_updatefn<F>,
          &parblas_panelfn<F>,
          &parblas_rowsfn<F>,
          &parblas_assemblefn<F>,
          &parblas_solvefn<F, true>,
          &parblas_solvefn<F, false>,
          &parblas_timesfn<F>,
          &parblas_timestfn<F>};
}
