#include "kfac/pchsolve.h"

#include <algorithm>
#include <utility>

namespace {

constexpr double serialnnz = 5e5;  // entries of the factor below which one thread solves
constexpr int32_t numpart = 4;     // a subtree in a range has at most that part of the entries
constexpr double wholennz = 2e5;   // a smaller factor is one range
constexpr int32_t widefrom = 128;  // columns from which a panel of the top is cut
constexpr int32_t widerows = 512;  // and rows
constexpr int32_t blockcols = parblas_panelblock;  // of such a panel
constexpr int32_t blockrows = 256;

struct frontview {
  int32_t first, ncol, nrow;
  const int32_t* rows;  // below
  const double* panel;
  ptrdiff_t ld;
};

frontview look_front(const symface& sym, const pcholfac& fac, int32_t s) {
  const int32_t ncol = sym.first[s + 1] - sym.first[s];
  return {sym.first[s],
          ncol,
          ncol + int32_t(sym.rowptr[s + 1] - sym.rowptr[s]),
          sym.rowsub.data() + sym.rowptr[s],
          pcholfac_panel(fac, sym, s),
          sym.panelld[s]};
}

bool is_wide(const frontview& f) {
  return f.ncol >= widefrom && f.nrow >= widerows;
}

double panel_size(const symface& sym, int32_t s) {
  const double ncol = sym.first[s + 1] - sym.first[s];
  return ncol * (ncol + double(sym.rowptr[s + 1] - sym.rowptr[s]));
}

// Supernodes whose subtree has more than limit entries are the top; the other subtrees, neighbours put
// together, are the ranges.
void cut_ranges(const symface& sym, pchsolve& ps) {
  const mm_place at = ps.top.get_allocator().place;
  mm_vector<double> size(size_t(sym.numsn), 0.0, at);
  double total = 0;
  for (int32_t s = 0; s < sym.numsn; ++s) {
    size[s] += panel_size(sym, s);
    total += panel_size(sym, s);
    if (sym.parent[s] >= 0) size[sym.parent[s]] += size[s];
  }
  const double limit = total < wholennz ? total : total / numpart;
  double inrange = 0;
  for (int32_t s = 0; s < sym.numsn; ++s) {
    if (size[s] > limit) {
      ps.top.push_back(s);
      continue;
    }
    const bool isroot = sym.parent[s] < 0 || size[sym.parent[s]] > limit;
    if (ps.last.empty() || ps.last.back() + 1 != s || inrange >= limit / 4) {
      ps.first.push_back(s);
      ps.last.push_back(s);
      inrange = 0;
    }
    ps.last.back() = s;
    if (isroot) inrange += size[s];
  }
}

// The rows behind each range, and where its supernodes find them.
void find_out(const symface& sym, pchsolve& ps) {
  const mm_place at = ps.top.get_allocator().place;
  ps.outptr.assign(1, 0);
  if (ps.first.size() == 1 && ps.top.empty()) {
    ps.outptr.push_back(0);
    return;
  }
  ps.outrel.resize(sym.rowsub.size());
  mm_vector<int32_t> mark(size_t(sym.n), -1, at);
  for (size_t k = 0; k < ps.first.size(); ++k) {
    const auto begin = ptrdiff_t(ps.outrow.size());
    const int32_t last = ps.last[k];
    for (int32_t s = ps.first[k]; s <= last; ++s) {
      if (sym.parent[s] >= 0 && sym.parent[s] <= last) continue;
      for (ptrdiff_t p = sym.rowptr[s]; p < sym.rowptr[s + 1]; ++p) {
        if (std::exchange(mark[sym.rowsub[p]], int32_t(k)) == int32_t(k)) continue;
        ps.outrow.push_back(sym.rowsub[p]);
      }
    }
    std::sort(ps.outrow.begin() + begin, ps.outrow.end());
    const std::span<const int32_t> rows = std::span(ps.outrow).subspan(size_t(begin));
    for (int32_t s = ps.first[k]; s <= last; ++s) {
      for (ptrdiff_t p = sym.rowptr[s]; p < sym.rowptr[s + 1]; ++p) {
        if (sym.rowsub[p] < sym.first[last + 1]) continue;
        ps.outrel[p] = int32_t(std::ranges::lower_bound(rows, sym.rowsub[p]) - rows.begin());
      }
    }
    ps.outptr.push_back(ptrdiff_t(ps.outrow.size()));
  }
}

// Gathers the rows of a front into consecutive places of v; zeros for those below when forward.
void gather(const frontview& f, const pchsolve_vectors& x, bool below, double* v) {
  for (int32_t r = 0; r < x.nrhs; ++r, v += f.nrow) {
    const double* from = x.x + r * x.ldx;
    std::copy_n(from + f.first, f.ncol, v);
    const int32_t num = f.nrow - f.ncol;
    if (below) {
      for (int32_t i = 0; i < num; ++i) v[f.ncol + i] = from[f.rows[i]];
    } else {
      std::fill_n(v + f.ncol, num, 0.0);
    }
  }
}

void put_columns(const frontview& f, const pchsolve_vectors& x, const double* v) {
  for (int32_t r = 0; r < x.nrhs; ++r) {
    std::copy_n(v + ptrdiff_t(r) * f.nrow, f.ncol, x.x + r * x.ldx + f.first);
  }
}

// Adds what a front gives to the rows from bound on to out, and to those before it to x itself.
void add_below(const frontview& f, const pchsolve_vectors& x, const double* v, int32_t numin,
               const int32_t* outrel, double* out, ptrdiff_t ldout) {
  for (int32_t r = 0; r < x.nrhs; ++r) {
    const double* from = v + ptrdiff_t(r) * f.nrow + f.ncol;
    double* to = x.x + r * x.ldx;
    for (int32_t i = 0; i < numin; ++i) to[f.rows[i]] += from[i];
    double* other = out + r * ldout;
    for (int32_t i = numin; i < f.nrow - f.ncol; ++i) other[outrel[i]] += from[i];
  }
}

// One range of subtrees, forward and backward; v is scratch for a front.
// NOLINTNEXTLINE(readability-identifier-naming): as in the design
void par_sparse_Lx_subtrees(const symface& sym, const pcholfac& fac, pchsolve& ps, int32_t k,
                            double* v, const pchsolve_vectors& x) {
  const ptrdiff_t numout = ps.outptr[k + 1] - ps.outptr[k];
  double* out = ps.out.data() + ps.outptr[k] * parblas_maxrhs;
  std::fill_n(out, numout * x.nrhs, 0.0);
  const int32_t bound = sym.first[ps.last[k] + 1];
  for (int32_t s = ps.first[k]; s <= ps.last[k]; ++s) {
    const frontview f = look_front(sym, fac, s);
    gather(f, x, false, v);
    fac.family->forward(f.ncol, f.nrow, f.panel, f.ld, v, f.nrow, x.nrhs);
    put_columns(f, x, v);
    int32_t numin = f.nrow - f.ncol;
    while (numin > 0 && f.rows[numin - 1] >= bound) --numin;
    const int32_t* rel = ps.outrel.empty() ? nullptr : ps.outrel.data() + sym.rowptr[s];
    add_below(f, x, v, numin, rel, out, numout);
  }
}

void upper_front(const symface& sym, const pcholfac& fac, int32_t s, double* v,
                 const pchsolve_vectors& x) {
  const frontview f = look_front(sym, fac, s);
  gather(f, x, true, v);
  fac.family->backward(f.ncol, f.nrow, f.panel, f.ld, v, f.nrow, x.nrhs);
  put_columns(f, x, v);
}

// NOLINTNEXTLINE(readability-identifier-naming): as in the design
void par_sparse_Ltx_subtrees(const symface& sym, const pcholfac& fac, const pchsolve& ps, int32_t k,
                             double* v, const pchsolve_vectors& x) {
  for (int32_t s = ps.last[k]; s >= ps.first[k]; --s) upper_front(sym, fac, s, v, x);
}

int32_t count_blocks(int32_t rows) {
  return (rows + blockrows - 1) / blockrows;
}

// A wide front, its panel by blocks of columns and of rows.
// NOLINTNEXTLINE(readability-identifier-naming): as in the design
void par_dense_LXX(const pcholfac& fac, const frontview& f, kteam& team, double* v, int32_t nrhs) {
  const parblas_family& family = *fac.family;
  for (int32_t j = 0; j < f.ncol; j += blockcols) {
    const int32_t nb = std::min(blockcols, f.ncol - j), left = f.nrow - j - nb;
    const double* l = f.panel + j + j * f.ld;
    family.forward(nb, nb, l, f.ld, v + j, f.nrow, nrhs);
    kteam_share(team, count_blocks(left), [&](int32_t task, int32_t) {
      const int32_t r0 = task * blockrows, rows = std::min(blockrows, left - r0);
      family.times(nb, rows, l + nb + r0, f.ld, v + j, v + j + nb + r0, f.nrow, nrhs);
    });
  }
}

// NOLINTNEXTLINE(readability-identifier-naming): as in the design
void par_dense_Ltx(const pcholfac& fac, const frontview& f, kteam& team, double* v, double* part,
                   int32_t nrhs) {
  const parblas_family& family = *fac.family;
  for (int32_t j = (f.ncol - 1) / blockcols * blockcols; j >= 0; j -= blockcols) {
    const int32_t nb = std::min(blockcols, f.ncol - j), left = f.nrow - j - nb;
    const double* l = f.panel + j + j * f.ld;
    const int32_t num = count_blocks(left);
    constexpr ptrdiff_t step = ptrdiff_t(blockcols) * parblas_maxrhs;
    kteam_share(team, num, [&](int32_t task, int32_t) {
      const int32_t r0 = task * blockrows, rows = std::min(blockrows, left - r0);
      double* sum = part + task * step;
      std::fill_n(sum, step, 0.0);
      family.timest(nb, rows, l + nb + r0, f.ld, sum, v + j + nb + r0, f.nrow, nrhs);
    });
    for (int32_t task = 0; task < num; ++task) {
      for (int32_t r = 0; r < nrhs; ++r) {
        const double* sum = part + task * step + ptrdiff_t(r) * blockcols;
        double* to = v + j + ptrdiff_t(r) * f.nrow;
        for (int32_t i = 0; i < nb; ++i) to[i] += sum[i];
      }
    }
    family.backward(nb, nb, l, f.ld, v + j, f.nrow, nrhs);
  }
}

}  // namespace

void pchsolve_make(const symface& sym, int32_t numthreads, pchsolve& ps) {
  pchsolve made(ps.top.get_allocator().place);
  double size = 0;
  for (int32_t s = 0; s < sym.numsn; ++s) size += panel_size(sym, s);
  made.numthreads = size < serialnnz ? 1 : numthreads;
  cut_ranges(sym, made);
  find_out(sym, made);
  made.frontsize = ptrdiff_t(sym.maxrow) * parblas_maxrhs;
  made.front.resize(size_t(made.frontsize) * size_t(made.numthreads));
  made.out.resize(made.outrow.size() * parblas_maxrhs);
  made.part.resize(size_t(count_blocks(sym.maxrow)) * blockcols * parblas_maxrhs);
  ps = std::move(made);
}

void pchsolve_lower(const symface& sym, const pcholfac& fac, pchsolve& ps, kteam& team,
                    const pchsolve_vectors& x) noexcept {
  kteam_share(team, int32_t(ps.first.size()), [&](int32_t task, int32_t member) {
    par_sparse_Lx_subtrees(sym, fac, ps, task, ps.front.data() + member * ps.frontsize, x);
  });
  for (size_t k = 0; k < ps.first.size(); ++k) {
    const ptrdiff_t num = ps.outptr[k + 1] - ps.outptr[k];
    const double* out = ps.out.data() + ps.outptr[k] * parblas_maxrhs;
    const int32_t* rows = ps.outrow.data() + ps.outptr[k];
    for (int32_t r = 0; r < x.nrhs; ++r, out += num) {
      double* to = x.x + r * x.ldx;
      for (ptrdiff_t i = 0; i < num; ++i) to[rows[i]] += out[i];
    }
  }
  double* v = ps.front.data();
  for (const int32_t s : ps.top) {
    const frontview f = look_front(sym, fac, s);
    gather(f, x, false, v);
    if (is_wide(f)) {
      par_dense_LXX(fac, f, team, v, x.nrhs);
    } else {
      fac.family->forward(f.ncol, f.nrow, f.panel, f.ld, v, f.nrow, x.nrhs);
    }
    put_columns(f, x, v);
    add_below(f, x, v, f.nrow - f.ncol, nullptr, nullptr, 0);
  }
}

void pchsolve_upper(const symface& sym, const pcholfac& fac, pchsolve& ps, kteam& team,
                    const pchsolve_vectors& x) noexcept {
  double* v = ps.front.data();
  for (size_t k = ps.top.size(); k-- > 0;) {
    const frontview f = look_front(sym, fac, ps.top[k]);
    if (!is_wide(f)) {
      upper_front(sym, fac, ps.top[k], v, x);
      continue;
    }
    gather(f, x, true, v);
    par_dense_Ltx(fac, f, team, v, ps.part.data(), x.nrhs);
    put_columns(f, x, v);
  }
  kteam_share(team, int32_t(ps.first.size()), [&](int32_t task, int32_t member) {
    par_sparse_Ltx_subtrees(sym, fac, ps, task, ps.front.data() + member * ps.frontsize, x);
  });
}

void pchsolve_diag(const pcholfac& fac, const pchsolve_vectors& x) noexcept {
  const auto n = ptrdiff_t(fac.dinv.size());
  for (int32_t r = 0; r < x.nrhs; ++r) {
    double* to = x.x + r * x.ldx;
    for (ptrdiff_t i = 0; i < n; ++i) to[i] *= fac.dinv[i];
  }
}
