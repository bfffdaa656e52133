#include "optimize/optconic.h"

#include <algorithm>

#include "homo/intpnt.h"
#include "optimize/optfreed.h"
#include "optimize/optlink.h"
#include "zalvo.h"

namespace {

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
  opt_freed freed(mm_at(mman));
  opt_freemembers(prob, freed);
  opt_freedsol found(freed.view, mm_at(mman));
  if (opt_trivial(freed.view, found.view)) {
    opt_takefreed(prob, freed, found, sol);
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
  opt_takefreed(prob, freed, found, sol);
  if (sol.keeppoint && opt_kindof(status) == opt_kind::dualray) {
    result.status = hs_status::unknown;
    opt_reverse(linked.view, in, result, point);
    opt_unlink(freed.view, linked, opt_kind::point, point);
    std::copy(point.x.begin(), point.x.end(), sol.lp.xx.begin());
  }
  sol.lp.isdefined = true;
  return r;
}
