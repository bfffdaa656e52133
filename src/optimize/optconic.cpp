#include "optimize/optconic.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "homo/intpnt.h"
#include "misc/exactsum.h"
#include "optimize/optlink.h"
#include "zalvo.h"

namespace {

// The problem with free cone members: a bound of a member that its cone does not imply is a row of
// its own behind the problem's rows, with the bound's key.
struct freed_problem {
  spmat a;
  mm_vector<int32_t> bkc, bkx;
  mm_vector<double> blc, buc;
  mm_vector<uint8_t> incone;
  mm_vector<int32_t> boundrow;  // numvar: row of a member's own bound, or -1
  opt_problem view;
  explicit freed_problem(mm_place at)
      : a(at), bkc(at), bkx(at), blc(at), buc(at), incone(at), boundrow(at) {}
};

bool is_head(const opt_cone& cone, size_t place) {
  return place == 0 || (place == 1 && cone.type == ZLV_CT_RQUAD);
}

// The key of what a member's bounds say beyond its cone, which keeps a head from being negative.
int32_t extra_key(const opt_problem& lp, int32_t j, bool ishead) {
  const int32_t key = lp.bkx[j];
  if (!ishead || key == ZLV_BK_FX || !opt_haslower(key) || lp.blx[j] > 0) return key;
  return key == ZLV_BK_RA ? ZLV_BK_UP : ZLV_BK_FR;
}

void add_boundrow(const opt_problem& lp, int32_t j, int32_t key, freed_problem& freed) {
  freed.boundrow[j] = int32_t(freed.bkc.size());
  freed.bkc.push_back(key);
  freed.blc.push_back(lp.blx[j]);
  freed.buc.push_back(lp.bux[j]);
}

void copy_matrix(const opt_problem& lp, freed_problem& freed) {
  freed.a.nrow = int32_t(freed.bkc.size());
  freed.a.ncol = lp.numvar;
  const size_t room = lp.a.sub.size() + freed.bkc.size() - size_t(lp.numcon);
  freed.a.sub.reserve(room);
  freed.a.val.reserve(room);
  freed.a.ptr.reserve(size_t(lp.numvar) + 1);
  freed.a.ptr.push_back(0);
  for (int32_t j = 0; j < lp.numvar; ++j) {
    for (ptrdiff_t p = lp.a.ptr[j]; p < lp.a.ptr[j + 1]; ++p) {
      freed.a.sub.push_back(lp.a.sub[p]);
      freed.a.val.push_back(lp.a.val[p]);
    }
    if (freed.boundrow[j] >= 0) {
      freed.a.sub.push_back(freed.boundrow[j]);
      freed.a.val.push_back(1);
    }
    freed.a.ptr.push_back(ptrdiff_t(freed.a.sub.size()));
  }
}

void free_members(const opt_conic_problem& prob, freed_problem& freed) {
  const opt_problem& lp = prob.lp;
  freed.bkc.assign(lp.bkc.begin(), lp.bkc.end());
  freed.blc.assign(lp.blc.begin(), lp.blc.end());
  freed.buc.assign(lp.buc.begin(), lp.buc.end());
  freed.bkx.assign(lp.bkx.begin(), lp.bkx.end());
  freed.incone.assign(lp.numvar, 0);
  freed.boundrow.assign(lp.numvar, -1);
  for (const opt_cone& cone : prob.cones) {
    for (size_t k = 0; k < cone.sub.size(); ++k) {
      const int32_t j = cone.sub[k], key = extra_key(lp, j, is_head(cone, k));
      freed.incone[j] = 1;
      freed.bkx[j] = ZLV_BK_FR;
      if (key != ZLV_BK_FR) add_boundrow(lp, j, key, freed);
    }
  }
  copy_matrix(lp, freed);
  freed.view = lp;
  freed.view.numcon = freed.a.nrow;
  freed.view.a = spmat_look(freed.a);
  freed.view.bkc = freed.bkc;
  freed.view.blc = freed.blc;
  freed.view.buc = freed.buc;
  freed.view.bkx = freed.bkx;
  freed.view.incone = freed.incone;
}

// A solution of the freed problem.
struct freed_solution {
  mm_vector<int32_t> sk;
  mm_vector<double> val;
  opt_solution view;
  freed_solution(const opt_problem& prob, mm_place at)
      : sk(size_t(prob.numcon) + prob.numvar, ZLV_SK_UNK, at),
        val(4 * size_t(prob.numcon) + 3 * size_t(prob.numvar), 0.0, at) {
    const size_t m = prob.numcon, n = prob.numvar;
    view.skc = std::span(sk).first(m);
    view.skx = std::span(sk).last(n);
    const std::span<double> v = val;
    view.xc = v.subspan(0, m);
    view.y = v.subspan(m, m);
    view.slc = v.subspan(2 * m, m);
    view.suc = v.subspan(3 * m, m);
    view.xx = v.subspan(4 * m, n);
    view.slx = v.subspan(4 * m + n, n);
    view.sux = v.subspan(4 * m + 2 * n, n);
  }
};

// How far z is from leaving the cone, its head, and its size, all with a rotated cone turned.
struct cone_place {
  double head = 0, tail = 0;
};
cone_place place_in(const opt_cone& cone, std::span<const double> z, double sign) {
  double head = sign * z[cone.sub[0]], square = 0;
  size_t first = 1;
  if (cone.type == ZLV_CT_RQUAD) {
    const double other = sign * z[cone.sub[1]];
    const double turned = (head - other) / std::numbers::sqrt2;
    head = (head + other) / std::numbers::sqrt2;
    square = turned * turned;
    first = 2;
  }
  for (size_t k = first; k < cone.sub.size(); ++k) square += z[cone.sub[k]] * z[cone.sub[k]];
  return {head, std::sqrt(square)};
}

int32_t cone_key(const opt_cone& cone, const opt_conic_solution& sol, double sign) {
  const cone_place x = place_in(cone, sol.lp.xx, 1), s = place_in(cone, sol.snx, sign);
  if (x.head - x.tail > s.head) return ZLV_SK_BAS;
  return s.head - s.tail > x.head ? ZLV_SK_LOW : ZLV_SK_SUPBAS;
}

// The solution of the problem from that of the freed one: rows of members' bounds become bound duals,
// and what the reduced costs of a member leave belongs to its cone.
void take_solution(const opt_conic_problem& prob, const freed_problem& freed,
                   const freed_solution& from, opt_conic_solution& sol) {
  const opt_problem& lp = prob.lp;
  opt_solution& to = sol.lp;
  const opt_solution& v = from.view;
  auto first = [](std::span<const double> src, std::span<double> dst) {
    std::copy_n(src.begin(), dst.size(), dst.begin());
  };
  first(v.xc, to.xc);
  first(v.y, to.y);
  first(v.slc, to.slc);
  first(v.suc, to.suc);
  first(v.xx, to.xx);
  first(v.slx, to.slx);
  first(v.sux, to.sux);
  std::copy_n(v.skc.begin(), to.skc.size(), to.skc.begin());
  std::copy_n(v.skx.begin(), to.skx.size(), to.skx.begin());
  to.prosta = v.prosta;
  to.solsta = v.solsta;
  std::fill(sol.snx.begin(), sol.snx.end(), 0.0);
  std::fill(sol.skn.begin(), sol.skn.end(), ZLV_SK_UNK);
  const opt_kind kind = opt_kindof({to.prosta, to.solsta});
  if (kind == opt_kind::primalray) return;
  for (const opt_cone& cone : prob.cones) {
    for (const int32_t j : cone.sub) {
      const int32_t row = freed.boundrow[j];
      exact_sum sum;
      if (kind == opt_kind::point) sum.add(lp.c[j]);
      for (ptrdiff_t p = freed.a.ptr[j]; p < freed.a.ptr[j + 1]; ++p) {
        sum.add(-freed.a.val[p] * v.y[freed.a.sub[p]]);
      }
      sol.snx[j] = sum.value();
      to.slx[j] = row < 0 ? 0 : v.slc[row];
      to.sux[j] = row < 0 ? 0 : v.suc[row];
      if (row >= 0) to.skx[j] = v.skc[row];
    }
  }
  if (kind != opt_kind::point) return;
  const double sign = lp.maximize ? -1 : 1;
  for (size_t k = 0; k < prob.cones.size(); ++k) sol.skn[k] = cone_key(prob.cones[k], sol, sign);
}

// The internal form in the order of the conic optimizer: columns in no cone, then the cones.
struct conic_form {
  spmat a;
  mm_vector<double> c, u;
  mm_vector<uint8_t> isfree;
  mm_vector<int32_t> order;  // internal column of each place
  mm_vector<intpnt_cone> cones;
  explicit conic_form(mm_place at) : a(at), c(at), u(at), isfree(at), order(at), cones(at) {}
};

void order_columns(const opt_conic_problem& prob, const opt_internal& in, conic_form& form,
                   mm_place at) {
  mm_vector<uint8_t> taken(size_t(in.a.ncol), 0, at);
  for (const opt_cone& cone : prob.cones) {
    for (const int32_t j : cone.sub) taken[in.colof[j]] = 1;
  }
  for (int32_t j = 0; j < in.a.ncol; ++j) {
    if (taken[j] == 0) form.order.push_back(j);
  }
  for (const opt_cone& cone : prob.cones) {
    const int32_t first = int32_t(form.order.size());
    for (const int32_t j : cone.sub) form.order.push_back(in.colof[j]);
    form.cones.push_back({cone.type == ZLV_CT_RQUAD ? intpnt_ct::rquad : intpnt_ct::quad, first,
                          int32_t(form.order.size())});
  }
}

void make_form(const opt_conic_problem& prob, const opt_internal& in, conic_form& form,
               mm_place at) {
  order_columns(prob, in, form, at);
  form.a.nrow = in.a.nrow;
  form.a.ncol = in.a.ncol;
  form.a.sub.reserve(in.a.sub.size());
  form.a.val.reserve(in.a.sub.size());
  form.a.ptr.push_back(0);
  const int32_t numlin = form.cones.empty() ? in.a.ncol : form.cones[0].cnebeg;
  for (int32_t k = 0; k < in.a.ncol; ++k) {
    const int32_t j = form.order[k];
    for (ptrdiff_t p = in.a.ptr[j]; p < in.a.ptr[j + 1]; ++p) {
      form.a.sub.push_back(in.a.sub[p]);
      form.a.val.push_back(in.a.val[p]);
    }
    form.a.ptr.push_back(ptrdiff_t(form.a.sub.size()));
    form.c.push_back(in.c[j]);
    form.u.push_back(in.u[j]);
    form.isfree.push_back(uint8_t(k < numlin && in.isfree[j] != 0));
  }
}

// The solution's columns back in the order of the internal form.
void reorder_back(const conic_form& form, hs_solution& sol) {
  mm_vector<double> other(form.order.size(), 0.0, sol.x.get_allocator());
  for (mm_vector<double>* part : {&sol.x, &sol.s, &sol.v}) {
    for (size_t k = 0; k < form.order.size(); ++k) other[form.order[k]] = (*part)[k];
    std::swap(other, *part);
  }
}

}  // namespace

rescode opt_conslv(const opt_conic_problem& prob, const hs_settings& set, const monitor& mon,
                   memman& mman, hs_info& info, opt_conic_solution& sol) {
  freed_problem freed(mm_at(mman));
  free_members(prob, freed);
  freed_solution found(freed.view, mm_at(mman));
  if (opt_trivial(freed.view, found.view)) {
    take_solution(prob, freed, found, sol);
    sol.lp.isdefined = true;
    return rescode::ok;
  }
  opt_linked linked(mm_at(mman));
  opt_linkmembers(freed.view, linked);
  opt_internal in(mm_at(mman));
  opt_prepare(linked.view, in);
  conic_form form(mm_at(mman));
  make_form(prob, in, form, mm_at(mman));
  intpnt_prob internal{opt_internalview(in, linked.view), form.cones};
  internal.lp.a = spmat_look(form.a);
  internal.lp.c = form.c;
  internal.lp.u = form.u;
  internal.lp.isfree = form.isfree;
  hs_solution result(mm_at(mman));
  const rescode r = intpnt_optcone(internal, set, mon, mman, info, result);
  if (result.x.empty() && in.a.ncol > 0) return r;  // stopped before its first iteration
  reorder_back(form, result);
  lp_point point(mm_at(mman));
  opt_reverse(linked.view, in, result, point);
  const opt_status status = opt_statusof(result.status);
  opt_unlink(freed.view, linked, opt_kindof(status), point);
  opt_fill(freed.view, point, status, found.view);
  take_solution(prob, freed, found, sol);
  if (sol.keeppoint && opt_kindof(status) == opt_kind::dualray) {
    result.status = hs_status::unknown;
    opt_reverse(linked.view, in, result, point);
    opt_unlink(freed.view, linked, opt_kind::point, point);
    std::copy(point.x.begin(), point.x.end(), sol.lp.xx.begin());
  }
  sol.lp.isdefined = true;
  return r;
}
