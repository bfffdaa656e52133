#include "simplex/simcrash.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

#include "misc/prique.h"

namespace {

// A column with bounds at least this far apart is as good in the basis as one with one bound.
constexpr double crash_widebox = 1000.0;

enum crash_kind : uint8_t { crash_never, crash_boxed, crash_wide, crash_free };

crash_kind kind_of(double lower, double upper) {
  if (lower == upper) return crash_never;
  const bool haslower = std::isfinite(lower), hasupper = std::isfinite(upper);
  if (!haslower && !hasupper) return crash_free;
  return haslower && hasupper && upper - lower < crash_widebox ? crash_boxed : crash_wide;
}

struct crash_work {
  const lp_view& lp;
  spmat rows;                   // A'
  mm_vector<uint8_t> kind;      // of the columns; crash_never once it is out
  mm_vector<double> largest;    // of each column
  mm_vector<int32_t> count;     // live columns of each row that the row would take
  mm_vector<int32_t> colofrow;  // the answer
  crash_work(const lp_view& p, memman& mman)
      : lp(p),
        rows(mm_at(mman)),
        kind(mm_at(mman)),
        largest(mm_at(mman)),
        count(mm_at(mman)),
        colofrow(mm_at(mman)) {}
};

bool is_fixed(const lp_view& lp, int32_t i) {
  return lp.blc[i] == lp.buc[i];
}
bool takes(const crash_work& w, int32_t i, int32_t j) {
  return w.kind[j] == crash_free || (w.kind[j] != crash_never && is_fixed(w.lp, i));
}

void setup(crash_work& w, bool fordual) {
  const lp_view& lp = w.lp;
  spmat_transpose(lp.a, w.rows);
  w.kind.resize(lp.numvar);
  w.largest.assign(lp.numvar, 0.0);
  w.count.assign(lp.numcon, 0);
  w.colofrow.assign(lp.numcon, -1);
  for (int32_t j = 0; j < lp.numvar; ++j) {
    w.kind[j] = kind_of(lp.blx[j], lp.bux[j]);
    if (fordual && w.kind[j] != crash_free && lp.c[j] != 0) w.kind[j] = crash_never;
    for (ptrdiff_t k = lp.a.ptr[j]; k < lp.a.ptr[j + 1]; ++k) {
      w.largest[j] = std::max(w.largest[j], std::abs(lp.a.val[k]));
      if (takes(w, lp.a.sub[k], j)) ++w.count[lp.a.sub[k]];
    }
  }
}

// The best live column of row i: by kind, then by few entries, then by cost. -1: none.
int32_t choose_column(const crash_work& w, int32_t i) {
  int32_t best = -1;
  for (ptrdiff_t k = w.rows.ptr[i]; k < w.rows.ptr[i + 1]; ++k) {
    const int32_t j = w.rows.sub[k];
    if (!takes(w, i, j) || std::abs(w.rows.val[k]) < simcrash_relpiv * w.largest[j]) continue;
    const auto key = [&](int32_t c) {
      return std::make_tuple(-int32_t(w.kind[c]), w.lp.a.ptr[c + 1] - w.lp.a.ptr[c], w.lp.c[c]);
    };
    if (best < 0 || key(j) < key(best)) {
      best = j;
    }
  }
  return best;
}

// Column j is out: the rows it was counted in lose it.
void drop_column(crash_work& w, prique& open, int32_t j) {
  for (ptrdiff_t k = w.lp.a.ptr[j]; k < w.lp.a.ptr[j + 1]; ++k) {
    const int32_t i = w.lp.a.sub[k];
    if (!takes(w, i, j)) continue;
    --w.count[i];
    if (open.bucket[i] >= 0) prique_update(open, i, w.count[i]);
  }
  w.kind[j] = crash_never;
}

}  // namespace

int32_t sim_crash(const lp_view& lp, int32_t trh, bool fordual, memman& mman,
                  mm_vector<int32_t>& colofrow) {
  crash_work w(lp, mman);
  setup(w, fordual);
  int32_t numfixed = 0, numchosen = 0;
  for (int32_t i = 0; i < lp.numcon; ++i) numfixed += is_fixed(lp, i) ? 1 : 0;
  const bool hasfree = std::find(w.kind.begin(), w.kind.end(), crash_free) != w.kind.end();
  if (trh <= 0 || (!hasfree && 100.0 * numfixed <= (100.0 - trh) * lp.numcon)) {
    colofrow = std::move(w.colofrow);
    return 0;
  }
  prique open(lp.numcon, mm_at(mman));  // rows by their number of live columns
  for (int32_t i = 0; i < lp.numcon; ++i) {
    const bool isbounded = std::isfinite(lp.blc[i]) || std::isfinite(lp.buc[i]);
    if (w.count[i] > 0 && isbounded) prique_insert(open, i, w.count[i]);
  }
  for (int32_t i = prique_min(open); i >= 0; i = prique_min(open)) {
    prique_remove(open, i);
    const int32_t j = choose_column(w, i);
    if (j < 0) continue;
    w.colofrow[i] = j;
    ++numchosen;
    // Later columns must not reach into row i.
    for (ptrdiff_t k = w.rows.ptr[i]; k < w.rows.ptr[i + 1]; ++k) {
      const int32_t other = w.rows.sub[k];
      if (w.kind[other] != crash_never) drop_column(w, open, other);
    }
  }
  colofrow = std::move(w.colofrow);
  return numchosen;
}
