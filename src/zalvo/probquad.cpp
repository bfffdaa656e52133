// Quadratic terms of a problem: one pool of (i, j, value) places shared by the objective and the
// constraints, repacked when its free end is too short.
#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

#include "cpub/fault.h"
#include "zalvo/problem.h"

namespace {

struct qrange {
  int32_t& begin;
  int32_t& end;
};
qrange range_of(prob_rec& p, int32_t k) {
  if (k == prob_obj) return {p.qobjb, p.qobje};
  return {p.qcptrb[k], p.qcptre[k]};
}

int32_t first_free(const prob_rec& p) {
  return p.maxnumqnz - p.surplus;
}

// The pool becomes cap places with the owned ranges packed: the objective's, then the constraints'.
void repack(prob_rec& p, int32_t cap) {
  const mm_place at = prob_place(p);
  mm_vector<int32_t> subi(size_t(cap), 0, at);
  mm_vector<int32_t> subj(size_t(cap), 0, at);
  mm_vector<double> val(size_t(cap), 0.0, at);
  int32_t to = 0;
  auto move = [&](qrange r) {
    const int32_t len = r.end - r.begin;
    std::copy_n(p.qsubi.data() + r.begin, len, subi.data() + to);
    std::copy_n(p.qsubj.data() + r.begin, len, subj.data() + to);
    std::copy_n(p.qval.data() + r.begin, len, val.data() + to);
    r.begin = to;
    r.end = to += len;
  };
  move(range_of(p, prob_obj));
  for (int32_t k = 0; k < p.numcon && !p.qcptrb.empty(); ++k) move(range_of(p, k));
  p.qsubi.swap(subi);
  p.qsubj.swap(subj);
  p.qval.swap(val);
  p.maxnumqnz = cap;
  p.surplus = cap - to;
}

int32_t sum_of(int32_t a, int32_t b) {
  if (b > std::numeric_limits<int32_t>::max() - a) throw std::length_error("quadratic terms");
  return a + b;
}

// At least n free places at the end, and half the used part as much again, so that many small
// enlargements are linear in all.
void make_room(prob_rec& p, int32_t n) {
  if (n <= p.surplus) return;
  const int32_t used = prob_qused(p);
  prob_qreserve(p, sum_of(n, std::min(used / 2, std::numeric_limits<int32_t>::max() - used - n)));
}

void place_term(prob_rec& p, int32_t place, int32_t i, int32_t j, double value) {
  p.qsubi[place] = i;
  p.qsubj[place] = j;
  p.qval[place] = value;
}

// The range of k moves to the end of the pool, with at least one free place behind it.
void move_to_end(prob_rec& p, int32_t k) {
  const qrange r = range_of(p, k);
  if (r.end == first_free(p) && r.begin < r.end && p.surplus > 0) return;
  const int32_t len = r.end - r.begin;
  make_room(p, sum_of(len, 1));
  if (r.end == first_free(p) && r.begin < r.end) return;  // it was the last one packed
  const int32_t to = first_free(p);
  std::copy_n(p.qsubi.data() + r.begin, len, p.qsubi.data() + to);
  std::copy_n(p.qsubj.data() + r.begin, len, p.qsubj.data() + to);
  std::copy_n(p.qval.data() + r.begin, len, p.qval.data() + to);
  r.begin = to;
  r.end = to + len;
  p.surplus -= len;
}

}  // namespace

prob_qterms prob_getq(const prob_rec& p, int32_t k) {
  if (k != prob_obj && p.qcptrb.empty()) return {};
  const int32_t begin = k == prob_obj ? p.qobjb : p.qcptrb[k];
  const int32_t end = k == prob_obj ? p.qobje : p.qcptre[k];
  const auto num = size_t(end - begin);
  return {
      {p.qsubi.data() + begin, num}, {p.qsubj.data() + begin, num}, {p.qval.data() + begin, num}};
}

void prob_qcolumns(const prob_rec& p, int32_t k, spmat& q) {
  const prob_qterms terms = prob_getq(p, k);
  const mm_place at = q.ptr.get_allocator().place;
  // Both triangles by columns in the order of the terms; the transpose of a symmetric matrix is itself
  // with its rows sorted.
  spmat raw(at), sorted(at);
  raw.nrow = raw.ncol = p.numvar;
  raw.ptr.assign(size_t(p.numvar) + 1, 0);
  const auto each = [&](auto&& place) {
    for (size_t t = 0; t < terms.val.size(); ++t) {
      place(terms.subi[t], terms.subj[t], terms.val[t]);
      if (terms.subi[t] != terms.subj[t]) place(terms.subj[t], terms.subi[t], terms.val[t]);
    }
  };
  each([&](int32_t, int32_t j, double) { ++raw.ptr[j + 1]; });
  for (int32_t j = 0; j < p.numvar; ++j) raw.ptr[j + 1] += raw.ptr[j];
  mm_vector<ptrdiff_t> next(raw.ptr.begin(), raw.ptr.end() - 1, at);
  raw.sub.resize(size_t(raw.ptr.back()));
  raw.val.resize(raw.sub.size());
  each([&](int32_t i, int32_t j, double value) {
    raw.sub[next[j]] = i;
    raw.val[next[j]++] = value;
  });
  spmat_transpose(spmat_look(raw), sorted);
  q.nrow = q.ncol = p.numvar;
  q.ptr.assign(1, 0);
  q.sub.clear();
  q.val.clear();
  for (int32_t j = 0; j < p.numvar; ++j) {
    for (ptrdiff_t e = sorted.ptr[j]; e < sorted.ptr[j + 1];) {
      const int32_t i = sorted.sub[e];
      double sum = 0;
      for (; e < sorted.ptr[j + 1] && sorted.sub[e] == i; ++e) sum += sorted.val[e];
      if (sum == 0) continue;
      q.sub.push_back(i);
      q.val.push_back(sum);
    }
    q.ptr.push_back(ptrdiff_t(q.sub.size()));
  }
}

int32_t prob_qused(const prob_rec& p) {
  int32_t used = p.qobje - p.qobjb;
  for (int32_t k = 0; k < p.numcon && !p.qcptrb.empty(); ++k) used += p.qcptre[k] - p.qcptrb[k];
  return used;
}

void prob_qreserve(prob_rec& p, int32_t n) {
  repack(p, std::max(sum_of(prob_qused(p), n), p.maxnumqnz));
}

void prob_qsetcap(prob_rec& p, int32_t n) {
  assert(n >= prob_qused(p));
  repack(p, n);
}

void prob_qranges(prob_rec& p) {
  if (!p.qcptrb.empty()) return;
  mm_vector<int32_t> begin(size_t(p.maxnumcon), 0, prob_place(p));
  mm_vector<int32_t> end(size_t(p.maxnumcon), 0, prob_place(p));
  p.qcptrb.swap(begin);
  p.qcptre.swap(end);
}

prob_qwriter prob_qopen(prob_rec& p, int32_t k, int32_t n) {
  const qrange r = range_of(p, k);
  if (n < r.end - r.begin) return {k, true, r.begin, r.begin};
  if (n > p.surplus) {
    const int32_t len = r.end - r.begin;
    const int32_t begin = std::exchange(r.begin, 0);
    r.end = 0;
    try {
      if (k == prob_obj) {
        prob_qreserve(p, n);
      } else {
        make_room(p, n);
      }
    } catch (...) {
      r.begin = begin;
      r.end = begin + len;
      throw;
    }
  }
  return {k, false, first_free(p), first_free(p)};
}

void prob_qpush(prob_rec& p, prob_qwriter& w, int32_t i, int32_t j, double value) {
  place_term(p, w.end++, i, j, value);
}

void prob_qclose(prob_rec& p, const prob_qwriter& w) {
  const qrange r = range_of(p, w.k);
  r.begin = w.begin;
  r.end = w.end;
  if (!w.isinplace) p.surplus -= w.end - w.begin;
}

void prob_qset(prob_rec& p, const prob_tol& tol, int32_t k, int32_t i, int32_t j, double value) {
  const bool iskept = std::abs(value) > tol.qij;
  if (k != prob_obj) prob_qranges(p);
  const qrange r = range_of(p, k);
  bool isset = false;
  int32_t to = r.begin;
  for (int32_t t = r.begin; t < r.end; ++t) {
    const bool isthis =
        (p.qsubi[t] == i && p.qsubj[t] == j) || (p.qsubi[t] == j && p.qsubj[t] == i);
    if (isthis && (isset || !iskept)) continue;
    place_term(p, to++, p.qsubi[t], p.qsubj[t], isthis ? value : p.qval[t]);
    isset = isset || isthis;
  }
  r.end = to;
  if (isset || !iskept) return;
  move_to_end(p, k);
  place_term(p, r.end++, i, j, value);
  --p.surplus;
}

void prob_qloadcons(prob_rec& p, const prob_tol& tol, std::span<const int32_t> subk,
                    const prob_qterms& terms) {
  mm_vector<int32_t> count(size_t(p.numcon), 0, prob_place(p));
  for (const int32_t k : subk) ++count[k];
  mm_vector<int32_t> begin(size_t(p.maxnumcon), 0, prob_place(p));
  mm_vector<int32_t> end(size_t(p.maxnumcon), 0, prob_place(p));
  p.qcptrb.swap(begin);
  p.qcptre.swap(end);
  const auto num = int32_t(subk.size());
  try {
    prob_qreserve(p, num);
  } catch (...) {
    p.qcptrb.swap(begin);
    p.qcptre.swap(end);
    throw;
  }
  for (int32_t k = 0; k < p.numcon; ++k) {
    if (count[k] > p.surplus) {
      fault_raise(fault_here(), "Out of q space");  // cannot happen: num places were reserved
    }
    p.qcptrb[k] = p.qcptre[k] = first_free(p);
    p.surplus -= count[k];
  }
  for (int32_t t = 0; t < num; ++t) {
    if (!(std::abs(terms.val[t]) > tol.qij)) continue;
    place_term(p, p.qcptre[subk[t]]++, terms.subi[t], terms.subj[t], terms.val[t]);
  }
}

void prob_qremove(prob_rec& p, acc mode, std::span<const uint8_t> gone,
                  std::span<const int32_t> map) noexcept {
  if (mode == acc::con) {
    for (size_t k = 0; k < gone.size() && !p.qcptrb.empty(); ++k) {
      if (gone[k] != 0) continue;
      p.qcptrb[map[k]] = p.qcptrb[k];
      p.qcptre[map[k]] = p.qcptre[k];
    }
    return;
  }
  const int32_t last = p.qcptrb.empty() ? prob_obj : p.numcon - 1;
  for (int32_t k = prob_obj; k <= last; ++k) {
    const qrange r = range_of(p, k);
    int32_t to = r.begin;
    for (int32_t t = r.begin; t < r.end; ++t) {
      const int32_t i = map[p.qsubi[t]];
      const int32_t j = map[p.qsubj[t]];
      if (i >= 0 && j >= 0) place_term(p, to++, i, j, p.qval[t]);
    }
    r.end = to;
  }
}
