// Constraint matrix of a problem: getting elements, rows and columns, ranges and counts.
#include <algorithm>

#include "zalvo/zalvodat.h"

namespace {

using enum rescode;

// Nonzeros of the vectors first, ..., last-1. Without an orientation of its own when only counting
// by the other one is possible: then the elements with such a subscript are counted.
ptrdiff_t count_slice(const probmat& a, acc mode, int32_t first, int32_t last) {
  ptrdiff_t num = 0;
  if (mode == acc::var ? a.hascol : a.hasrow) {
    const sprmat& m = mode == acc::var ? a.col : a.row;
    for (int32_t k = first; k < last; ++k) num += sprmat_len(m, k);
    return num;
  }
  const sprmat& m = probmat_lead(a);
  for (int32_t k = 0; k < sprmat_numvec(m); ++k) {
    for (const int32_t s : sprmat_sub(m, k)) num += s >= first && s < last ? 1 : 0;
  }
  return num;
}

rescode check_slice(task_rec& t, int32_t accmode, int32_t first, int32_t last) {
  if (const rescode r = dat_acc(t, accmode); r != ok) return r;
  return dat_range(t, first, last, prob_count(t.prob, acc(accmode)));
}

rescode check_room(task_rec& t, acc mode, int32_t first, int32_t last, int32_t maxnumnz) {
  const auto need = int32_t(count_slice(prob_mat(t.prob), mode, first, last));
  return need <= maxnumnz ? ok : task_fail(t, err_too_small_maxnumanz, maxnumnz, need);
}

rescode check_piece(task_rec& t, int32_t firsti, int32_t lasti, int32_t firstj, int32_t lastj) {
  const prob_rec& p = t.prob;
  if (firsti < 0 || firsti > p.numcon) return task_fail(t, err_firsti, firsti);
  if (lasti < firsti || lasti > p.numcon) return task_fail(t, err_lasti, lasti);
  if (firstj < 0 || firstj > p.numvar) return task_fail(t, err_firstj, firstj);
  if (lastj < firstj || lastj > p.numvar) return task_fail(t, err_lastj, lastj);
  return ok;
}

}  // namespace

int32_t ZLV_getaij(ZLV_task_t task, int32_t i, int32_t j, double* aij) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_index(t, acc::con, i, "i"); r != ok) return r;
    if (const rescode r = dat_index(t, acc::var, j, "j"); r != ok) return r;
    if (const rescode r = chk_pointer(t, aij, "aij"); r != ok) return r;
    *aij = probmat_get(prob_mat(t.prob), i, j);
    return ok;
  });
}

int32_t ZLV_getavecnumnz(ZLV_task_t task, int32_t accmode, int32_t i, int32_t* nzi) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_acc(t, accmode); r != ok) return r;
    if (const rescode r = dat_index(t, acc(accmode), i, "i"); r != ok) return r;
    if (const rescode r = chk_pointer(t, nzi, "nzi"); r != ok) return r;
    *nzi = sprmat_len(probmat_by(prob_mat(t.prob), acc(accmode)), i);
    return ok;
  });
}

int32_t ZLV_getavec(ZLV_task_t task, int32_t accmode, int32_t i, int32_t* nzi, int32_t* subi,
                    double* vali) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_acc(t, accmode); r != ok) return r;
    if (const rescode r = dat_index(t, acc(accmode), i, "i"); r != ok) return r;
    const sprmat& m = probmat_by(prob_mat(t.prob), acc(accmode));
    if (nzi != nullptr) *nzi = sprmat_len(m, i);
    if (subi != nullptr) std::ranges::copy(sprmat_sub(m, i), subi);
    if (vali != nullptr) std::ranges::copy(sprmat_val(m, i), vali);
    return ok;
  });
}

int32_t ZLV_getaslicenumnz(ZLV_task_t task, int32_t accmode, int32_t first, int32_t last,
                           int32_t* numnz) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = check_slice(t, accmode, first, last); r != ok) return r;
    if (const rescode r = chk_pointer(t, numnz, "numnz"); r != ok) return r;
    *numnz = int32_t(count_slice(prob_mat(t.prob), acc(accmode), first, last));
    return ok;
  });
}

// A range, the room and the arrays of a packed matrix.
// NOLINTNEXTLINE(readability-function-size)
int32_t ZLV_getaslice(ZLV_task_t task, int32_t accmode, int32_t first, int32_t last,
                      int32_t maxnumnz, int32_t* ptrb, int32_t* ptre, int32_t* sub, double* val) {
  return task_call(task, [&](task_rec& t) {
    if (const rescode r = check_slice(t, accmode, first, last); r != ok) return r;
    const acc mode = acc(accmode);
    if (const rescode r = check_room(t, mode, first, last, maxnumnz); r != ok) return r;
    const sprmat& m = probmat_by(prob_mat(t.prob), mode);
    int32_t at = 0;
    for (int32_t k = first; k < last; ++k) {
      if (ptrb != nullptr) ptrb[k - first] = at;
      if (sub != nullptr) std::ranges::copy(sprmat_sub(m, k), sub + at);
      if (val != nullptr) std::ranges::copy(sprmat_val(m, k), val + at);
      at += sprmat_len(m, k);
      if (ptre != nullptr) ptre[k - first] = at;
    }
    return ok;
  });
}

int32_t ZLV_getaslicetrip(ZLV_task_t task, int32_t accmode, int32_t first, int32_t last,
                          int32_t maxnumnz, int32_t* subi, int32_t* subj, double* val) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = check_slice(t, accmode, first, last); r != ok) return r;
    const acc mode = acc(accmode);
    if (const rescode r = check_room(t, mode, first, last, maxnumnz); r != ok) return r;
    const sprmat& m = probmat_by(prob_mat(t.prob), mode);
    int32_t* along = mode == acc::var ? subj : subi;
    int32_t* across = mode == acc::var ? subi : subj;
    int32_t at = 0;
    for (int32_t k = first; k < last; ++k) {
      if (along != nullptr) std::fill_n(along + at, sprmat_len(m, k), k);
      if (across != nullptr) std::ranges::copy(sprmat_sub(m, k), across + at);
      if (val != nullptr) std::ranges::copy(sprmat_val(m, k), val + at);
      at += sprmat_len(m, k);
    }
    return ok;
  });
}

int32_t ZLV_getapiecenumnz(ZLV_task_t task, int32_t firsti, int32_t lasti, int32_t firstj,
                           int32_t lastj, int32_t* numnz) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = check_piece(t, firsti, lasti, firstj, lastj); r != ok) return r;
    if (const rescode r = chk_pointer(t, numnz, "numnz"); r != ok) return r;
    const probmat& a = prob_mat(t.prob);
    const sprmat& m = probmat_lead(a);
    const int32_t first = a.hascol ? firstj : firsti;
    const int32_t last = a.hascol ? lastj : lasti;
    const int32_t from = a.hascol ? firsti : firstj;
    const int32_t to = a.hascol ? lasti : lastj;
    int32_t num = 0;
    for (int32_t k = first; k < last; ++k) {
      for (const int32_t s : sprmat_sub(m, k)) num += s >= from && s < to ? 1 : 0;
    }
    *numnz = num;
    return ok;
  });
}
