// Each row with the bounds of its columns implies bounds of every one of them. With the best of these
// from other rows a row's activity bounds are tighter, and a side may turn out never to bind. The rows
// that gave the bounds stay until the next call, and what went gives none any more; so all that went is
// implied by what stayed.
#include "prslv/prsimpl.h"

#include <algorithm>

namespace {

// A bound that a row implies with an entry this much smaller than the one it is used with would carry
// that row's error on, blown up.
constexpr double maxratio = 1e4;

// The best bound that a row implies, and the best that another one does.
struct impl_bound {
  double value[2];
  int32_t row[2] = {-1, -1};
  double coef[2] = {0, 0};
};

void offer(impl_bound& b, double value, const prslv_entry& e, double sign) {
  if (std::isinf(value)) return;
  for (int32_t k = 0; k < 2; ++k) {
    if (b.row[k] >= 0 && sign * value >= sign * b.value[k]) continue;
    if (k == 0) {
      b.value[1] = b.value[0];
      b.row[1] = b.row[0];
      b.coef[1] = b.coef[0];
    }
    b.value[k] = value;
    b.row[k] = e.row;
    b.coef[k] = e.val;
    return;
  }
}

struct impl_state {
  mm_vector<impl_bound> lower, upper;  // of the columns that are known
  mm_vector<uint8_t> known;
  mm_vector<uint8_t> used, gone;  // rows: gave a bound that was used; lost a side
};

void know(prslv_work& w, impl_state& st, int32_t j) {
  if (st.known[j] != 0) return;
  st.known[j] = 1;
  for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) {
    offer(st.lower[j], prslv_impliedlower(w, w.ent[e]), w.ent[e], -1);
    offer(st.upper[j], prslv_impliedupper(w, w.ent[e]), w.ent[e], 1);
  }
  w.work += w.clen[j];
}

// Which of the two may be used for an entry of row i; -1: none.
int32_t usable(const impl_state& st, const impl_bound& b, const prslv_entry& e) {
  for (int32_t k = 0; k < 2 && b.row[k] >= 0; ++k) {
    if (b.row[k] == e.row || st.gone[b.row[k]] != 0) continue;
    if (std::abs(e.val) <= maxratio * std::abs(b.coef[k])) return k;
  }
  return -1;
}

// Whether the largest (least) activity of row i stays within its side; marks what that rests on.
bool stays(prslv_work& w, impl_state& st, int32_t i, bool upper, bool mark) {
  exact_sum act;
  double scale = 1;
  for (int32_t e = w.rhead[i]; e >= 0; e = w.ent[e].rnext) {
    const prslv_entry& ent = w.ent[e];
    const bool up = (ent.val > 0) == upper;
    know(w, st, ent.col);
    double bound = up ? w.bux[ent.col] : w.blx[ent.col];
    const impl_bound& b = up ? st.upper[ent.col] : st.lower[ent.col];
    const int32_t k = usable(st, b, ent);
    if (k >= 0 && (up ? b.value[k] < bound : b.value[k] > bound)) {
      bound = b.value[k];
      if (mark) st.used[b.row[k]] = 1;
    }
    if (!(std::abs(bound) < prslv_hugebound)) return false;
    act.add(ent.val * bound);
    scale = std::max(scale, std::abs(ent.val * bound));
  }
  w.work += w.rlen[i];
  return upper ? act.value() <= w.buc[i] + prslv_equtol * scale
               : act.value() >= w.blc[i] - prslv_equtol * scale;
}

void checkrow(prslv_work& w, impl_state& st, int32_t i) {
  const bool haslower = std::isfinite(w.blc[i]), hasupper = std::isfinite(w.buc[i]);
  const bool freelower = haslower && stays(w, st, i, false, false);
  const bool freeupper = hasupper && stays(w, st, i, true, false);
  if (!freelower && !freeupper) return;
  if (freelower) stays(w, st, i, false, true);
  if (freeupper) stays(w, st, i, true, true);
  st.gone[i] = 1;
  if ((freelower || !haslower) && (freeupper || !hasupper)) {
    prslv_droprow(w, i);
    ++w.rec.info.numredundant;
  } else {
    prslv_dropsides(w, i, freelower, freeupper);
    ++w.rec.info.numside;
  }
}

}  // namespace

void prslv_impliedrows(prslv_work& w) {
  const mm_place at = w.tmpsub.get_allocator().place;
  impl_state st = {mm_vector<impl_bound>(w.n, impl_bound(), at),
                   mm_vector<impl_bound>(w.n, impl_bound(), at), mm_vector<uint8_t>(w.n, 0, at),
                   mm_vector<uint8_t>(w.m, 0, at), mm_vector<uint8_t>(w.m, 0, at)};
  for (int32_t i = 0; i < w.m; ++i) {
    if (w.rlive[i] == 0 || prslv_isequ(w, i) || st.used[i] != 0) continue;
    checkrow(w, st, i);
  }
}
