#include "zalvo/problem.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

#include "cpub/fault.h"
#include "zalvo.h"

namespace {

// Space for n entries, growing geometrically so that many small enlargements are linear in all.
template <class T>
void make_room(mm_vector<T>& v, int32_t n) {
  if (size_t(n) > v.capacity()) v.reserve(std::max(size_t(n), v.capacity() * 3 / 2));
}

template <class T>
void assign(mm_vector<T>& to, const mm_vector<T>& from) {  // to keeps its allocator
  to.assign(from.begin(), from.end());
}

void copy_sprmat(const sprmat& from, sprmat& to) {
  to.cap = from.cap;
  to.used = from.used;
  to.garbage = from.garbage;
  to.num = from.num;
  to.growtrh = from.growtrh;
  to.addnum = from.addnum;
  assign(to.vec, from.vec);
  assign(to.sub, from.sub);
  assign(to.val, from.val);
}

void copy_matrix(const probmat& from, probmat& to) {
  to.numcon = from.numcon;
  to.numvar = from.numvar;
  to.hascol = from.hascol;
  to.hasrow = !from.hascol;  // one orientation is enough for a copy
  copy_sprmat(probmat_lead(from), probmat_lead(to));
  to.mark.resize(from.mark.size(), 0);
}

void copy_cones(const prob_rec& from, prob_rec& to) {
  to.cone.reserve(from.cone.size());
  for (const prob_cone& k : from.cone) {
    prob_cone copy(prob_place(to));
    copy.type = k.type;
    copy.par = k.par;
    assign(copy.sub, k.sub);
    to.cone.push_back(std::move(copy));
  }
  assign(to.conevar, from.conevar);
}

template <class T>
void keep(mm_vector<T>& v, std::span<const int32_t> map) noexcept {
  if (v.empty()) return;
  for (size_t i = 0; i < map.size(); ++i) {
    if (map[i] >= 0) v[map[i]] = v[i];
  }
}

}  // namespace

void prob_swap(prob_rec& a, prob_rec& b) noexcept {
  std::swap(a, b);
}

void prob_copy(const prob_rec& from, prob_rec& to) {
  prob_rec p(prob_place(to));
  p.numvar = from.numvar;
  p.numcon = from.numcon;
  p.numcone = from.numcone;
  p.maxnumvar = from.maxnumvar;
  p.maxnumcon = from.maxnumcon;
  p.maxnumcone = from.maxnumcone;
  p.maxnumqnz = from.maxnumqnz;
  assign(p.bkc, from.bkc);
  assign(p.bkx, from.bkx);
  assign(p.blc, from.blc);
  assign(p.buc, from.buc);
  assign(p.blx, from.blx);
  assign(p.bux, from.bux);
  assign(p.c, from.c);
  p.cfix = from.cfix;
  copy_matrix(from.a, p.a);
  assign(p.qsubi, from.qsubi);
  assign(p.qsubj, from.qsubj);
  assign(p.qval, from.qval);
  assign(p.qcptrb, from.qcptrb);
  assign(p.qcptre, from.qcptre);
  p.qobjb = from.qobjb;
  p.qobje = from.qobje;
  p.surplus = from.surplus;
  assign(p.vartype, from.vartype);
  p.numintvar = from.numintvar;
  copy_cones(from, p);
  names_copy(from.names, p.names);
  to = std::move(p);
}

void prob_clear(prob_rec& p) noexcept {
  p = prob_rec(prob_place(p));
}

void prob_reservemax(prob_rec& p, int32_t maxnumcon, int32_t maxnumvar, int32_t maxnumcone) {
  make_room(p.bkc, maxnumcon);
  make_room(p.blc, maxnumcon);
  make_room(p.buc, maxnumcon);
  if (!p.qcptrb.empty()) make_room(p.qcptrb, maxnumcon);
  if (!p.qcptre.empty()) make_room(p.qcptre, maxnumcon);
  make_room(p.bkx, maxnumvar);
  make_room(p.blx, maxnumvar);
  make_room(p.bux, maxnumvar);
  make_room(p.c, maxnumvar);
  make_room(p.conevar, maxnumvar);
  if (!p.vartype.empty()) make_room(p.vartype, maxnumvar);
  make_room(p.cone, maxnumcone);
}

void prob_setmax(prob_rec& p, int32_t maxnumcon, int32_t maxnumvar, int32_t maxnumcone) {
  prob_reservemax(p, maxnumcon, maxnumvar, maxnumcone);
  p.bkc.resize(size_t(maxnumcon), ZLV_BK_FR);
  p.blc.resize(size_t(maxnumcon), -prob_inf);
  p.buc.resize(size_t(maxnumcon), prob_inf);
  if (!p.qcptrb.empty()) p.qcptrb.resize(size_t(maxnumcon), 0);
  if (!p.qcptre.empty()) p.qcptre.resize(size_t(maxnumcon), 0);
  p.bkx.resize(size_t(maxnumvar), ZLV_BK_FX);
  p.blx.resize(size_t(maxnumvar), 0.0);
  p.bux.resize(size_t(maxnumvar), 0.0);
  p.c.resize(size_t(maxnumvar), 0.0);
  p.conevar.resize(size_t(maxnumvar), -1);
  if (!p.vartype.empty()) p.vartype.resize(size_t(maxnumvar), 0);
  p.maxnumcon = maxnumcon;
  p.maxnumvar = maxnumvar;
  p.maxnumcone = maxnumcone;
}

void prob_append(prob_rec& p, acc mode, int32_t num) {
  const bool isvar = mode == acc::var;
  const int32_t first = prob_count(p, mode);
  if (num > std::numeric_limits<int32_t>::max() - first) throw std::length_error("prob_append");
  const int32_t want = first + num;
  prob_setmax(p, isvar ? p.maxnumcon : std::max(p.maxnumcon, want),
              isvar ? std::max(p.maxnumvar, want) : p.maxnumvar, p.maxnumcone);
  mm_vector<ptrdiff_t>& off = p.names.kind[isvar ? ZLV_PI_VAR : ZLV_PI_CON].off;
  names_append(p.names, isvar ? ZLV_PI_VAR : ZLV_PI_CON, num);
  try {
    probmat_append(p.a, isvar ? 0 : num, isvar ? num : 0);
  } catch (...) {
    off.resize(size_t(first));
    throw;
  }
  for (int32_t i = first; i < want; ++i) {
    if (isvar) {
      p.bkx[i] = ZLV_BK_FX;
      p.blx[i] = p.bux[i] = p.c[i] = 0;
      p.conevar[i] = -1;
      if (!p.vartype.empty()) p.vartype[i] = ZLV_VAR_TYPE_CONT;
    } else {
      p.bkc[i] = ZLV_BK_FR;
      p.blc[i] = -prob_inf;
      p.buc[i] = prob_inf;
      if (!p.qcptrb.empty()) p.qcptrb[i] = p.qcptre[i] = 0;
    }
  }
  (isvar ? p.numvar : p.numcon) = want;
}

mm_vector<int32_t> prob_removalmap(const prob_rec& p, std::span<const uint8_t> gone) {
  mm_vector<int32_t> map(gone.size(), -1, prob_place(p));
  int32_t left = 0;
  for (size_t i = 0; i < gone.size(); ++i) {
    if (gone[i] == 0) map[i] = left++;
  }
  return map;
}

void prob_remove(prob_rec& p, acc mode, std::span<const uint8_t> gone,
                 std::span<const int32_t> map) noexcept {
  const auto left = int32_t(std::count(gone.begin(), gone.end(), uint8_t{0}));
  prob_qremove(p, mode, gone, map);
  probmat_remove(p.a, mode, gone, map);
  names_remove(p.names, mode == acc::var ? ZLV_PI_VAR : ZLV_PI_CON, gone);
  if (mode == acc::var) {
    for (size_t j = 0; j < gone.size() && !p.vartype.empty(); ++j) {
      if (gone[j] != 0 && p.vartype[j] == ZLV_VAR_TYPE_INT) --p.numintvar;
    }
    for (prob_cone& k : p.cone) {
      for (int32_t& j : k.sub) j = map[j];
    }
    keep(p.bkx, map);
    keep(p.blx, map);
    keep(p.bux, map);
    keep(p.c, map);
    keep(p.conevar, map);
    keep(p.vartype, map);
    p.numvar = left;
  } else {
    keep(p.bkc, map);
    keep(p.blc, map);
    keep(p.buc, map);
    p.numcon = left;
  }
}

int32_t prob_maxnumanz(const prob_rec& p) {
  return int32_t(std::max(p.a.col.cap, p.a.row.cap));  // a stale orientation has none
}

prob_tol prob_tols(const param_values& par) {
  prob_tol tol;
  tol.boundinf = par.d[dpar::data_tol_bound_inf];
  tol.boundwrn = par.d[dpar::data_tol_bound_wrn];
  tol.fixed = par.d[dpar::data_tol_x];
  tol.aij = par.d[dpar::data_tol_aij];
  tol.aijlarge = par.d[dpar::data_tol_aij_large];
  tol.cjlarge = par.d[dpar::data_tol_cj_large];
  tol.chuge = par.d[dpar::data_tol_c_huge];
  tol.qij = par.d[dpar::data_tol_qij];
  return tol;
}

prob_bound prob_normalise(const prob_tol& tol, prob_bound b) {
  if (b.key == ZLV_BK_UP || b.key == ZLV_BK_FR) b.lower = -prob_inf;
  if (b.key == ZLV_BK_LO || b.key == ZLV_BK_FR) b.upper = prob_inf;
  if (b.key == ZLV_BK_FX) b.upper = b.lower;
  const bool islowerinf = b.lower <= -tol.boundinf;
  const bool isupperinf = b.upper >= tol.boundinf;
  if (b.key == ZLV_BK_LO && islowerinf) b.key = ZLV_BK_FR;
  if (b.key == ZLV_BK_UP && isupperinf) b.key = ZLV_BK_FR;
  if (b.key == ZLV_BK_FX || b.key == ZLV_BK_RA) {
    if (islowerinf) b.key = ZLV_BK_UP;
    if (isupperinf) b.key = b.key == ZLV_BK_UP ? ZLV_BK_FR : ZLV_BK_LO;
  }
  if (b.key == ZLV_BK_UP || b.key == ZLV_BK_FR) b.lower = -prob_inf;
  if (b.key == ZLV_BK_LO || b.key == ZLV_BK_FR) b.upper = prob_inf;
  b.lower = std::isinf(b.lower) ? std::copysign(prob_inf, b.lower) : b.lower;
  b.upper = std::isinf(b.upper) ? std::copysign(prob_inf, b.upper) : b.upper;
  const bool isboth = b.key == ZLV_BK_RA || b.key == ZLV_BK_FX;
  if (isboth && std::abs(b.upper - b.lower) <= tol.fixed) b.key = ZLV_BK_FX;
  return b;
}

prob_boundnote prob_noteof(const prob_tol& tol, const prob_bound& b) {
  constexpr double eps = std::numeric_limits<double>::epsilon();
  prob_boundnote note;
  const bool haslower = b.key == ZLV_BK_LO || b.key == ZLV_BK_FX || b.key == ZLV_BK_RA;
  const bool hasupper = b.key == ZLV_BK_UP || b.key == ZLV_BK_FX || b.key == ZLV_BK_RA;
  const double smaller = std::min(std::abs(b.lower), std::abs(b.upper));
  note.isunequal =
      b.key == ZLV_BK_FX && std::abs(b.upper - b.lower) >= std::max(eps, eps * smaller);
  note.islargelower = haslower && std::abs(b.lower) >= tol.boundwrn && b.lower > -tol.boundinf;
  note.islargeupper = hasupper && std::abs(b.upper) >= tol.boundwrn && b.upper < tol.boundinf;
  return note;
}

prob_bound prob_getbound(const prob_rec& p, acc mode, int32_t i) {
  if (mode == acc::var) return {p.bkx[i], p.blx[i], p.bux[i]};
  return {p.bkc[i], p.blc[i], p.buc[i]};
}

void prob_storebound(prob_rec& p, acc mode, int32_t i, const prob_bound& b) {
  (mode == acc::var ? p.bkx : p.bkc)[i] = b.key;
  (mode == acc::var ? p.blx : p.blc)[i] = b.lower;
  (mode == acc::var ? p.bux : p.buc)[i] = b.upper;
}

prob_boundnote prob_setbound(prob_rec& p, const prob_tol& tol, acc mode, int32_t i,
                             const prob_bound& given) {
  prob_storebound(p, mode, i, prob_normalise(tol, given));
  return prob_noteof(tol, given);
}

void prob_loadcolumns(prob_rec& p, std::span<const ptrdiff_t> ptr, std::span<const int32_t> sub,
                      std::span<const double> val) {
  const ptrdiff_t nnz = ptr.empty() ? 0 : ptr[ptr.size() - 1];
  if (nnz > sprmat_maxcap) throw std::length_error("prob_loadcolumns");
  probmat a(prob_place(p));
  probmat_append(a, p.numcon, 0);
  probmat_append(a, 0, p.numvar);
  const sprmat& old = probmat_lead(p.a);
  a.col.growtrh = old.growtrh;
  a.col.addnum = old.addnum;
  sprmat_setcap(a.col, std::max(nnz, old.cap));
  std::copy_n(sub.data(), nnz, a.col.sub.data());
  std::copy_n(val.data(), nnz, a.col.val.data());
  for (int32_t j = 0; j < p.numvar; ++j) a.col.vec[j] = {ptr[j], ptr[j + 1], ptr[j + 1]};
  a.col.used = a.col.num = nnz;
  p.a = std::move(a);
}

void prob_acolumns(const prob_rec& prob, spmat& a) {
  probmat_columns(prob.a, a);
}

probmat& prob_mat(prob_rec& p) {
  const bool iscons = p.a.numcon != p.numcon;
  if (iscons || p.a.numvar != p.numvar) {
    fault_raise(fault_here(), "Mismatch numcon: %d numrow: %d\n", iscons ? p.numcon : p.numvar,
                iscons ? p.a.numcon : p.a.numvar);
  }
  return p.a;
}

void prob_maketypes(prob_rec& p) {
  if (p.vartype.empty()) p.vartype.resize(size_t(p.maxnumvar), ZLV_VAR_TYPE_CONT);
}

void prob_setint(prob_rec& p, int32_t j) {
  if (p.vartype[j] != ZLV_VAR_TYPE_INT) ++p.numintvar;
  p.vartype[j] = ZLV_VAR_TYPE_INT;
}

int32_t prob_probtype(const prob_rec& p, bool hasnl) {
  bool hasqcon = false;
  for (int32_t k = 0; k < p.numcon && !p.qcptrb.empty(); ++k) {
    hasqcon = hasqcon || p.qcptre[k] > p.qcptrb[k];
  }
  const bool hasany = p.qobje > p.qobjb || hasqcon || hasnl;
  if (!hasany) return p.numcone >= 1 ? ZLV_PROBTYPE_CONIC : ZLV_PROBTYPE_LO;
  if (p.numcone >= 1) return ZLV_PROBTYPE_MIXED;
  if (hasnl) return ZLV_PROBTYPE_GECO;
  return hasqcon ? ZLV_PROBTYPE_QCQO : ZLV_PROBTYPE_QO;
}
