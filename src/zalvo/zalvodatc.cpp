// Cones of a problem, and removal of variables and constraints.
#include <algorithm>

#include "zalvo/zalvodat.h"

namespace {

using enum rescode;

constexpr int32_t acc_cones = 2;  // what the solution store calls cones

struct cone_data {
  int32_t type;
  double par;
  std::span<const int32_t> sub;
};

rescode check_coneindex(task_rec& t, int32_t k) {
  return k >= 0 && k < t.prob.numcone ? ok : task_fail(t, err_cone_index, k);
}

const char* cone_name(const prob_rec& p, int32_t k) {
  return k < p.numcone ? prob_name(p, ZLV_PI_CONE, k).data() : "";
}

// Cone k as it is to be; nummem may be anything and submem null.
rescode check_cone(task_rec& t, int32_t k, int32_t type, double par, int32_t nummem,
                   const int32_t* submem) {
  prob_rec& p = t.prob;
  if (type != ZLV_CT_QUAD && type != ZLV_CT_RQUAD) return task_fail(t, err_cone_type, type);
  const int32_t least = type == ZLV_CT_QUAD ? 1 : 2;
  if (nummem < least) {
    return task_fail(t, err_cone_size, least, type == ZLV_CT_QUAD ? "QUAD" : "RQUAD");
  }
  if (const rescode r = dat_finite(t, par, 0, "conepar"); r != ok) return r;
  if (const rescode r = chk_pointer(t, submem, "submem"); r != ok) return r;
  for (int32_t m = 0; m < nummem; ++m) {
    if (const rescode r = dat_arrindex(t, submem[m], m, p.numvar, "submem"); r != ok) return r;
  }
  const int32_t stamp = probmat_stamps(p.a, 1);
  for (int32_t m = 0; m < nummem; ++m) {
    const int32_t j = submem[m];
    if (p.a.mark[j] == stamp) {
      return task_fail(t, err_cone_rep_var, dat_varname(p, j), j, cone_name(p, k), k);
    }
    p.a.mark[j] = stamp;
    const int32_t other = p.conevar[j];
    if (other >= 0 && other != k) {
      return task_fail(t, err_cone_overlap, dat_varname(p, j), j, cone_name(p, k), k,
                       cone_name(p, other), other);
    }
  }
  return ok;
}

void append_cone(task_rec& t, const cone_data& d) {
  const prob_rec& p = t.prob;
  const int32_t k = p.numcone;
  if (k == p.maxnumcone) {
    dat_setmax(t, p.maxnumcon, p.maxnumvar, k + 1 + std::max(t.par.i[ipar::alloc_add_cone], 0));
  }
  prob_appendcone(t.prob, d.type, d.par, d.sub);
  sol_append(t, acc_cones, k, 1);
  sol_touch(t);
}

void give_info(const prob_cone& cone, int32_t* conetype, double* conepar, int32_t* nummem) {
  if (conetype != nullptr) *conetype = cone.type;
  if (conepar != nullptr) *conepar = cone.par;
  if (nummem != nullptr) *nummem = int32_t(cone.sub.size());
}

rescode remove_items(task_rec& t, acc mode, std::span<const int32_t> sub) {
  prob_rec& p = t.prob;
  const int32_t count = prob_count(p, mode);
  mm_vector<uint8_t> gone(size_t(count), 0, mm_at(*t.mman));
  for (size_t k = 0; k < sub.size(); ++k) {
    if (const rescode r = dat_arrindex(t, sub[k], int32_t(k), count, "sub"); r != ok) return r;
    const int32_t cone = mode == acc::var ? p.conevar[sub[k]] : -1;
    if (cone >= 0) {
      return task_fail(t, err_remove_cone_variable, sub[k], dat_varname(p, sub[k]), cone,
                       cone_name(p, cone));
    }
    gone[sub[k]] = 1;
  }
  const mm_vector<int32_t> map = prob_removalmap(p, gone);  // the last thing that can fail
  sol_remove(t, int32_t(mode), gone);
  prob_remove(p, mode, gone, map);
  sol_touch(t);
  return ok;
}

}  // namespace

int32_t ZLV_appendcone(ZLV_task_t task, int32_t conetype, double conepar, int32_t nummem,
                       const int32_t* submem) {
  return task_call(task, [=](task_rec& t) {
    const int32_t k = t.prob.numcone;
    if (const rescode r = check_cone(t, k, conetype, conepar, nummem, submem); r != ok) return r;
    append_cone(t, {conetype, conepar, {submem, size_t(nummem)}});
    return ok;
  });
}

int32_t ZLV_putcone(ZLV_task_t task, int32_t k, int32_t conetype, double conepar, int32_t nummem,
                    const int32_t* submem) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = check_coneindex(t, k); r != ok) return r;
    if (const rescode r = check_cone(t, k, conetype, conepar, nummem, submem); r != ok) return r;
    prob_putcone(t.prob, k, conetype, conepar, {submem, size_t(nummem)});
    sol_touch(t);
    return ok;
  });
}

int32_t ZLV_removecone(ZLV_task_t task, int32_t k) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = check_coneindex(t, k); r != ok) return r;
    mm_vector<uint8_t> gone(size_t(t.prob.numcone), 0, mm_at(*t.mman));
    gone[k] = 1;
    sol_remove(t, acc_cones, gone);
    prob_removecone(t.prob, k, gone);
    sol_touch(t);
    return ok;
  });
}

int32_t ZLV_getcone(ZLV_task_t task, int32_t k, int32_t* conetype, double* conepar, int32_t* nummem,
                    int32_t* submem) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = check_coneindex(t, k); r != ok) return r;
    const prob_cone& cone = t.prob.cone[k];
    give_info(cone, conetype, conepar, nummem);
    if (submem != nullptr) std::ranges::copy(cone.sub, submem);
    return ok;
  });
}

int32_t ZLV_getconeinfo(ZLV_task_t task, int32_t k, int32_t* conetype, double* conepar,
                        int32_t* nummem) {
  return ZLV_getcone(task, k, conetype, conepar, nummem, nullptr);
}

int32_t ZLV_getnumconemem(ZLV_task_t task, int32_t k, int32_t* nummem) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = check_coneindex(t, k); r != ok) return r;
    if (const rescode r = chk_pointer(t, nummem, "nummem"); r != ok) return r;
    *nummem = int32_t(t.prob.cone[k].sub.size());
    return ok;
  });
}

int32_t ZLV_remove(ZLV_task_t task, int32_t accmode, int32_t num, const int32_t* sub) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_acc(t, accmode); r != ok) return r;
    if (num < 1) return ok;
    if (const rescode r = chk_pointer(t, sub, "sub"); r != ok) return r;
    return remove_items(t, acc(accmode), {sub, size_t(num)});
  });
}
