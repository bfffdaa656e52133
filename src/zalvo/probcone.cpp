// Cones of a problem, and the check of all its invariants.
#include <algorithm>
#include <cmath>
#include <utility>

#include "zalvo.h"
#include "zalvo/problem.h"

namespace {

void mark_members(prob_rec& p, std::span<const int32_t> sub, int32_t k) noexcept {
  for (const int32_t j : sub) p.conevar[j] = k;
}

prob_cone make_cone(const prob_rec& p, int32_t type, double par, std::span<const int32_t> sub) {
  prob_cone cone(prob_place(p));
  cone.type = type;
  cone.par = par;
  cone.sub.assign(sub.begin(), sub.end());
  return cone;
}

const char* check_bounds(const prob_rec& p, acc mode) {
  const int32_t num = prob_count(p, mode);
  for (int32_t i = 0; i < num; ++i) {
    const prob_bound b = prob_getbound(p, mode, i);
    if (b.key < ZLV_BK_LO || b.key > ZLV_BK_RA) return "bound key";
    if (std::isnan(b.lower) || std::isnan(b.upper)) return "bound value";
    const bool nolower = b.key == ZLV_BK_UP || b.key == ZLV_BK_FR;
    const bool noupper = b.key == ZLV_BK_LO || b.key == ZLV_BK_FR;
    if (nolower && b.lower != -prob_inf) return "infinite lower bound";
    if (noupper && b.upper != prob_inf) return "infinite upper bound";
  }
  return nullptr;
}

const char* check_terms(const prob_rec& p) {
  if (p.surplus < 0 || p.surplus > p.maxnumqnz) return "surplus";
  if (p.qval.size() != size_t(p.maxnumqnz)) return "quadratic pool";
  mm_vector<uint8_t> taken(size_t(p.maxnumqnz), 0, prob_place(p));
  for (int32_t k = prob_obj; k < (p.qcptrb.empty() ? 0 : p.numcon); ++k) {
    const int32_t begin = k == prob_obj ? p.qobjb : p.qcptrb[k];
    const int32_t end = k == prob_obj ? p.qobje : p.qcptre[k];
    if (begin < 0 || begin > end || end > p.maxnumqnz - p.surplus) return "quadratic range";
    for (int32_t t = begin; t < end; ++t) {
      if (taken[t]++ != 0) return "overlapping quadratic ranges";
      if (p.qsubi[t] < 0 || p.qsubi[t] >= p.numvar) return "quadratic subscript";
      if (p.qsubj[t] < 0 || p.qsubj[t] >= p.numvar) return "quadratic subscript";
    }
  }
  return nullptr;
}

const char* check_cones(const prob_rec& p) {
  if (p.cone.size() != size_t(p.numcone) || p.numcone > p.maxnumcone) return "number of cones";
  size_t members = 0;
  for (int32_t k = 0; k < p.numcone; ++k) {
    const prob_cone& cone = p.cone[k];
    if (cone.sub.size() < (cone.type == ZLV_CT_RQUAD ? 2U : 1U)) return "cone size";
    for (const int32_t j : cone.sub) {
      if (j < 0 || j >= p.numvar || p.conevar[j] != k) return "cone member";
    }
    members += cone.sub.size();
  }
  const auto marked = std::count_if(p.conevar.begin(), p.conevar.begin() + p.numvar,
                                    [](int32_t k) { return k >= 0; });
  return members == size_t(marked) ? nullptr : "repeated cone member";
}

const char* check_types(const prob_rec& p) {
  if (p.vartype.empty()) return p.numintvar == 0 ? nullptr : "number of integer variables";
  if (p.vartype.size() != size_t(p.maxnumvar)) return "variable types";
  const auto ints = std::count(p.vartype.begin(), p.vartype.begin() + p.numvar, ZLV_VAR_TYPE_INT);
  return ints == p.numintvar ? nullptr : "number of integer variables";
}

const char* check_matrix(const prob_rec& p) {
  if (p.a.numcon != p.numcon || p.a.numvar != p.numvar) return "sizes of A";
  if (!p.a.hascol && !p.a.hasrow) return "orientation of A";
  if (p.a.hascol && sprmat_numvec(p.a.col) != p.numvar) return "columns of A";
  if (p.a.hasrow && sprmat_numvec(p.a.row) != p.numcon) return "rows of A";
  if (p.a.hascol && p.a.hasrow && p.a.col.num != p.a.row.num) return "orientations of A differ";
  if (const char* broken = sprmat_check(p.a.col)) return broken;
  return sprmat_check(p.a.row);
}

}  // namespace

void prob_appendcone(prob_rec& p, int32_t type, double par, std::span<const int32_t> sub) {
  prob_cone cone = make_cone(p, type, par, sub);
  if (p.cone.size() == p.cone.capacity()) p.cone.reserve(p.cone.size() * 3 / 2 + 4);
  names_append(p.names, ZLV_PI_CONE, 1);
  p.cone.push_back(std::move(cone));
  mark_members(p, sub, p.numcone);
  p.maxnumcone = std::max(p.maxnumcone, ++p.numcone);
}

void prob_putcone(prob_rec& p, int32_t k, int32_t type, double par, std::span<const int32_t> sub) {
  prob_cone cone = make_cone(p, type, par, sub);
  mark_members(p, p.cone[k].sub, -1);
  p.cone[k] = std::move(cone);
  mark_members(p, p.cone[k].sub, k);
}

void prob_removecone(prob_rec& p, int32_t k, std::span<const uint8_t> gone) noexcept {
  mark_members(p, p.cone[k].sub, -1);
  p.cone.erase(p.cone.begin() + k);
  for (int32_t later = k; later + 1 < p.numcone; ++later) {
    mark_members(p, p.cone[later].sub, later);
  }
  names_remove(p.names, ZLV_PI_CONE, gone);
  --p.numcone;
}

const char* prob_check(const prob_rec& p) {
  if (p.numvar > p.maxnumvar || p.numcon > p.maxnumcon) return "counts above capacities";
  if (p.c.size() != size_t(p.maxnumvar) || p.bkc.size() != size_t(p.maxnumcon)) return "arrays";
  for (const auto& [kind, num] :
       {std::pair{ZLV_PI_VAR, p.numvar}, {ZLV_PI_CON, p.numcon}, {ZLV_PI_CONE, p.numcone}}) {
    if (p.names.kind[kind].off.size() != size_t(num)) return "names";
    for (int32_t i = 0; i < num; ++i) {
      const std::string_view name = prob_name(p, kind, i);
      if (!name.empty() && prob_findname(p, kind, name) != i) return "name table";
    }
  }
  if (const char* broken = check_bounds(p, acc::var)) return broken;
  if (const char* broken = check_bounds(p, acc::con)) return broken;
  if (const char* broken = check_matrix(p)) return broken;
  if (const char* broken = check_terms(p)) return broken;
  if (const char* broken = check_types(p)) return broken;
  return check_cones(p);
}
