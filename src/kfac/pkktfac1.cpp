#include "kfac/pkktfac1.h"

#include <algorithm>
#include <utility>

namespace {

// The map is made when it has at most mapfactor nonzeros of L and mapextra entries.
constexpr double mapfactor = 4;
constexpr double mapextra = 1e7;

// Columns in the order of the factor, rows sorted: the entries are dealt out row by row.
void permute_columns(const spmat_view& a, std::span<const uint8_t> isoff, const symface& sym,
                     int32_t rowbase, adaform& form) {
  const mm_place at = form.col.get_allocator().place;
  const std::span<const int32_t> place = std::span(sym.iperm).subspan(size_t(rowbase));
  const auto n = size_t(sym.n);
  form.singleptr.assign(n + 1, 0);
  form.rowptr.assign(n + 1, 0);
  ptrdiff_t total = 0;
  for (int32_t j = 0; j < a.ncol; ++j) {
    const ptrdiff_t len = a.ptr[j + 1] - a.ptr[j];
    if (isoff[j] != 0 || len == 0) continue;
    if (len == 1) {
      ++form.singleptr[place[a.sub[a.ptr[j]]] + 1];
      continue;
    }
    form.col.push_back(j);
    form.colptr.push_back(total);
    total += len;
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) ++form.rowptr[place[a.sub[p]] + 1];
  }
  form.colptr.push_back(total);
  for (size_t i = 0; i < n; ++i) {
    form.singleptr[i + 1] += form.singleptr[i];
    form.rowptr[i + 1] += form.rowptr[i];
  }
  const auto nnz = size_t(total);
  form.colsub.resize(nnz);
  form.val.resize(nnz);
  form.scaled.resize(nnz);
  form.entpos.resize(nnz);
  form.entlen.resize(nnz);
  form.singlecol.resize(size_t(form.singleptr[n]));
  form.singlesq.resize(size_t(form.singleptr[n]));
  // By rows first: entpos holds the column's number, scaled the value.
  mm_vector<ptrdiff_t> fill(form.rowptr.begin(), form.rowptr.end(), at);
  for (size_t c = 0; c < form.col.size(); ++c) {
    for (ptrdiff_t p = a.ptr[form.col[c]]; p < a.ptr[form.col[c] + 1]; ++p) {
      const ptrdiff_t q = fill[place[a.sub[p]]]++;
      form.entpos[q] = ptrdiff_t(c);
      form.scaled[q] = a.val[p];
    }
  }
  fill.assign(form.colptr.begin(), form.colptr.end());
  for (int32_t i = 0; i < sym.n; ++i) {
    for (ptrdiff_t q = form.rowptr[i]; q < form.rowptr[i + 1]; ++q) {
      const ptrdiff_t c = form.entpos[q], p = fill[c]++;
      form.colsub[p] = i;
      form.val[p] = form.scaled[q];
      form.entpos[q] = p;
      form.entlen[q] = int32_t(form.colptr[c + 1] - p);
    }
  }
  fill.assign(form.singleptr.begin(), form.singleptr.end());
  for (int32_t j = 0; j < a.ncol; ++j) {
    if (isoff[j] != 0 || a.ptr[j + 1] - a.ptr[j] != 1) continue;
    const ptrdiff_t p = a.ptr[j], q = fill[place[a.sub[p]]]++;
    form.singlecol[q] = j;
    form.singlesq[q] = a.val[p] * a.val[p];
  }
}

void place_rows(const symface& sym, int32_t s, std::span<int32_t> place) {
  const int32_t ncol = sym.first[s + 1] - sym.first[s];
  for (int32_t k = 0; k < ncol; ++k) place[sym.first[s] + k] = k;
  const ptrdiff_t begin = sym.rowptr[s];
  for (ptrdiff_t p = begin; p < sym.rowptr[s + 1]; ++p) {
    place[sym.rowsub[p]] = ncol + int32_t(p - begin);
  }
}

void make_map(const symface& sym, double numproduct, adaform& form) {
  if (numproduct > mapfactor * double(sym.numnz) + mapextra) return;
  mm_vector<int32_t> place(size_t(sym.n), 0, form.col.get_allocator().place);
  form.mapptr.resize(size_t(sym.n) + 1);
  form.map.resize(size_t(numproduct));
  ptrdiff_t to = 0;
  for (int32_t s = 0; s < sym.numsn; ++s) {
    place_rows(sym, s, place);
    for (int32_t i = sym.first[s]; i < sym.first[s + 1]; ++i) {
      form.mapptr[i] = to;
      for (ptrdiff_t q = form.rowptr[i]; q < form.rowptr[i + 1]; ++q) {
        const int32_t* rows = form.colsub.data() + form.entpos[q];
        for (int32_t t = 0; t < form.entlen[q]; ++t) form.map[to++] = place[rows[t]];
      }
    }
  }
  form.mapptr[sym.n] = to;
}

// Tasks of about taskwork products, zeros counted in.
void cut_tasks(const symface& sym, adaform& form) {
  constexpr double taskwork = 2e4, zerowork = 0.25;
  double work = taskwork;
  int32_t s = 0;
  for (int32_t i = 0; i < sym.n; ++i) {
    if (i >= sym.first[s + 1]) ++s;
    if (work >= taskwork) {
      form.cut.push_back(i);
      work = 0;
    }
    work += 1 + zerowork * sym.panelld[s];
    for (ptrdiff_t q = form.rowptr[i]; q < form.rowptr[i + 1]; ++q) work += form.entlen[q];
  }
  form.cut.push_back(sym.n);
}

// The same walk as that of permute_columns, for the places of the entries in A.
void find_sources(const spmat_view& a, std::span<const uint8_t> isoff,
                  std::span<const int32_t> place, adaform& form) {
  const mm_place at = form.col.get_allocator().place;
  form.valfrom.resize(form.val.size());
  form.singlefrom.resize(form.singlesq.size());
  mm_vector<std::pair<int32_t, ptrdiff_t>> entry(at);
  for (size_t c = 0; c < form.col.size(); ++c) {
    entry.clear();
    for (ptrdiff_t p = a.ptr[form.col[c]]; p < a.ptr[form.col[c] + 1]; ++p) {
      entry.emplace_back(place[a.sub[p]], p);
    }
    std::sort(entry.begin(), entry.end());
    for (size_t k = 0; k < entry.size(); ++k) {
      form.valfrom[size_t(form.colptr[c]) + k] = entry[k].second;
    }
  }
  mm_vector<ptrdiff_t> fill(form.singleptr.begin(), form.singleptr.end(), at);
  for (int32_t j = 0; j < a.ncol; ++j) {
    if (isoff[j] != 0 || a.ptr[j + 1] - a.ptr[j] != 1) continue;
    form.singlefrom[fill[place[a.sub[a.ptr[j]]]]++] = a.ptr[j];
  }
}

}  // namespace

void adaform_make(const spmat_view& a, std::span<const uint8_t> isoff, const symface& sym,
                  int32_t rowbase, bool rereads, adaform& form) {
  adaform made(form.col.get_allocator().place);
  permute_columns(a, isoff, sym, rowbase, made);
  if (rereads) {
    find_sources(a, isoff, std::span(sym.iperm).subspan(size_t(rowbase)), made);
  }
  double numproduct = 0;
  for (const int32_t len : made.entlen) numproduct += len;
  made.flops = 2 * numproduct + double(made.val.size()) + 2 * double(made.singlesq.size());
  make_map(sym, numproduct, made);
  cut_tasks(sym, made);
  form = std::move(made);
}

void adaform_reread(adaform& form, std::span<const double> val) {
  for (size_t p = 0; p < form.val.size(); ++p) form.val[p] = val[form.valfrom[p]];
  for (size_t p = 0; p < form.singlesq.size(); ++p) {
    const double v = val[form.singlefrom[p]];
    form.singlesq[p] = v * v;
  }
}

void adaform_scale(adaform& form, std::span<const double> d, std::span<double> diag) {
  for (size_t c = 0; c < form.col.size(); ++c) {
    const double dj = d[form.col[c]];
    for (ptrdiff_t p = form.colptr[c]; p < form.colptr[c + 1]; ++p) {
      form.scaled[p] = form.val[p] * dj;
    }
  }
  for (size_t i = 0; i < diag.size(); ++i) {
    double sum = diag[i];
    for (ptrdiff_t p = form.singleptr[i]; p < form.singleptr[i + 1]; ++p) {
      sum += form.singlesq[p] * d[form.singlecol[p]];
    }
    diag[i] = sum;
  }
}

void par_arow_adanumfac(const adaform& form, const symface& sym, int32_t c0, int32_t c1,
                        double* panels, std::span<double> diag, std::span<int32_t> place) {
  const bool ismapped = !form.mapptr.empty();
  int32_t s = int32_t(std::upper_bound(sym.first.begin(), sym.first.begin() + sym.numsn, c0) -
                      sym.first.begin()) -
              1;
  if (!ismapped && c0 < c1) place_rows(sym, s, place);
  for (int32_t i = c0; i < c1; ++i) {
    if (i >= sym.first[s + 1]) {
      ++s;
      if (!ismapped) place_rows(sym, s, place);
    }
    const int32_t ld = sym.panelld[s];
    double* to = panels + sym.panelpos[s] + ptrdiff_t(i - sym.first[s]) * ld;
    std::fill_n(to, ld, 0.0);
    const int32_t* row = ismapped ? form.map.data() + form.mapptr[i] : nullptr;
    for (ptrdiff_t q = form.rowptr[i]; q < form.rowptr[i + 1]; ++q) {
      const double factor = form.scaled[form.entpos[q]];
      const double* val = form.val.data() + form.entpos[q];
      const int32_t len = form.entlen[q];
      if (factor == 0) {
        if (ismapped) row += len;
      } else if (ismapped) {
        for (int32_t t = 0; t < len; ++t) to[row[t]] += factor * val[t];
        row += len;
      } else {
        const int32_t* sub = form.colsub.data() + form.entpos[q];
        for (int32_t t = 0; t < len; ++t) to[place[sub[t]]] += factor * val[t];
      }
    }
    double& own = to[i - sym.first[s]];
    own += diag[i];
    diag[i] = own;
  }
}
