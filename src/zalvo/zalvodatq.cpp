// Quadratic terms of a problem, its variable types and its type.
#include <algorithm>

#include "zalvo/zalvodat.h"

namespace {

using enum rescode;

struct term_arrays {
  const int32_t *subi, *subj;
  const double* val;
};

rescode check_arrays(task_rec& t, int32_t num, const term_arrays& a, const char* const names[3]) {
  if (const rescode r = dat_array(t, a.subi, num, names[0]); r != ok) return r;
  if (const rescode r = dat_array(t, a.subj, num, names[1]); r != ok) return r;
  return dat_array(t, a.val, num, names[2]);
}
constexpr const char* objnames[] = {"qosubi", "qosubj", "qoval"};
constexpr const char* connames[] = {"qcsubi", "qcsubj", "qcval"};

rescode check_objterm(task_rec& t, const term_arrays& a, int32_t k) {
  const int32_t numvar = t.prob.numvar;
  if (const rescode r = dat_arrindex(t, a.subi[k], k, numvar, "qosubi"); r != ok) return r;
  if (const rescode r = dat_arrindex(t, a.subj[k], k, numvar, "qosubj"); r != ok) return r;
  return dat_finite(t, a.val[k], k, "qoval");
}

rescode check_conterm(task_rec& t, const term_arrays& a, int32_t k) {
  const int32_t numvar = t.prob.numvar;
  const int32_t i = a.subi[k];
  const int32_t j = a.subj[k];
  if (i < 0) return task_fail(t, err_qcon_subi_too_small, i, k, 0);
  if (i >= numvar) return task_fail(t, err_qcon_subi_too_large, i, k, numvar);
  if (j < 0 || j >= numvar) return task_fail(t, err_inv_qcon_subj, j, k);
  return dat_finite(t, a.val[k], k, "qcval");
}

void give_terms(const prob_qterms& q, int32_t* num, int32_t* subi, int32_t* subj, double* val) {
  if (num != nullptr) *num = int32_t(q.val.size());
  if (subi != nullptr) std::ranges::copy(q.subi, subi);
  if (subj != nullptr) std::ranges::copy(q.subj, subj);
  if (val != nullptr) std::ranges::copy(q.val, val);
}

// Terms written before a bad one stay: the call is not atomic.
rescode put_objective(task_rec& t, int32_t num, const term_arrays& a) {
  const double tol = t.par.d[dpar::data_tol_qij];
  prob_qwriter w = prob_qopen(t.prob, prob_obj, num);
  rescode r = ok;
  for (int32_t k = 0; k < num && r == ok; ++k) {
    r = check_objterm(t, a, k);
    if (r == ok && std::abs(a.val[k]) > tol) {
      prob_qpush(t.prob, w, a.subi[k], a.subj[k], a.val[k]);
    }
  }
  prob_qclose(t.prob, w);
  sol_touch(t);
  return r;
}

rescode put_constraint(task_rec& t, int32_t k, int32_t num, const term_arrays& a) {
  const double tol = t.par.d[dpar::data_tol_qij];
  for (int32_t p = 0; p < num; ++p) {
    if (const rescode r = check_conterm(t, a, p); r != ok) return r;
  }
  prob_qranges(t.prob);
  prob_qwriter w = prob_qopen(t.prob, k, num);
  for (int32_t p = 0; p < num; ++p) {
    if (std::abs(a.val[p]) > tol) prob_qpush(t.prob, w, a.subi[p], a.subj[p], a.val[p]);
  }
  prob_qclose(t.prob, w);
  sol_touch(t);
  return ok;
}

rescode put_type(task_rec& t, int32_t j, int32_t type) {
  prob_rec& p = t.prob;
  if (p.vartype.empty()) return ok;
  if (p.vartype[j] == ZLV_VAR_TYPE_INT) --p.numintvar;  // before the check of the type, on purpose
  if (type != ZLV_VAR_TYPE_CONT && type != ZLV_VAR_TYPE_INT) {
    return task_fail(t, err_inv_var_type, type, dat_varname(p, j), j, "vartype");
  }
  p.vartype[j] = type;
  if (type == ZLV_VAR_TYPE_INT) ++p.numintvar;
  sol_touch(t);
  return ok;
}

}  // namespace

int32_t ZLV_putqobj(ZLV_task_t task, int32_t numqonz, const int32_t* qosubi, const int32_t* qosubj,
                    const double* qoval) {
  return task_call(task, [=](task_rec& t) {
    const term_arrays a = {qosubi, qosubj, qoval};
    if (numqonz < 0) return task_fail(t, err_in_argument, "numqonz");
    if (const rescode r = check_arrays(t, numqonz, a, objnames); r != ok) return r;
    return put_objective(t, numqonz, a);
  });
}

int32_t ZLV_putqobjij(ZLV_task_t task, int32_t i, int32_t j, double qoij) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_index(t, acc::var, i, "i"); r != ok) return r;
    if (const rescode r = dat_index(t, acc::var, j, "j"); r != ok) return r;
    if (const rescode r = dat_finite(t, qoij, 0, "qoij"); r != ok) return r;
    prob_qset(t.prob, prob_tols(t.par), prob_obj, i, j, qoij);
    sol_touch(t);
    return ok;
  });
}

int32_t ZLV_getnumqobjnz(ZLV_task_t task, int32_t* numqonz) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, numqonz, "numqonz"); r != ok) return r;
    *numqonz = int32_t(prob_getq(t.prob, prob_obj).val.size());
    return ok;
  });
}

int32_t ZLV_getqobj(ZLV_task_t task, int32_t* numqonz, int32_t* qosubi, int32_t* qosubj,
                    double* qoval) {
  return task_call(task, [=](task_rec& t) {
    give_terms(prob_getq(t.prob, prob_obj), numqonz, qosubi, qosubj, qoval);
    return ok;
  });
}

int32_t ZLV_getqobjij(ZLV_task_t task, int32_t i, int32_t j, double* qoij) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_index(t, acc::var, i, "i"); r != ok) return r;
    if (const rescode r = dat_index(t, acc::var, j, "j"); r != ok) return r;
    if (const rescode r = chk_pointer(t, qoij, "qoij"); r != ok) return r;
    const prob_qterms q = prob_getq(t.prob, prob_obj);
    double sum = 0;
    for (size_t p = 0; p < q.val.size(); ++p) {
      const bool isthis = (q.subi[p] == i && q.subj[p] == j) || (q.subi[p] == j && q.subj[p] == i);
      if (isthis) sum += q.val[p];
    }
    *qoij = sum;
    return ok;
  });
}

int32_t ZLV_putqcon(ZLV_task_t task, int32_t numqcnz, const int32_t* qcsubk, const int32_t* qcsubi,
                    const int32_t* qcsubj, const double* qcval) {
  return task_call(task, [=](task_rec& t) {
    const term_arrays a = {qcsubi, qcsubj, qcval};
    if (numqcnz < 0) return task_fail(t, err_in_argument, "numqcnz");
    if (const rescode r = dat_array(t, qcsubk, numqcnz, "qcsubk"); r != ok) return r;
    if (const rescode r = check_arrays(t, numqcnz, a, connames); r != ok) return r;
    for (int32_t p = 0; p < numqcnz; ++p) {
      if (qcsubk[p] < 0 || qcsubk[p] >= t.prob.numcon) {
        return task_fail(t, err_inv_qcon_subk, qcsubk[p], p);
      }
      if (const rescode r = check_conterm(t, a, p); r != ok) return r;
    }
    const auto num = size_t(numqcnz);
    prob_qloadcons(t.prob, prob_tols(t.par), {qcsubk, num},
                   {{qcsubi, num}, {qcsubj, num}, {qcval, num}});
    sol_touch(t);
    return ok;
  });
}

int32_t ZLV_putqconk(ZLV_task_t task, int32_t k, int32_t numqcnz, const int32_t* qcsubi,
                     const int32_t* qcsubj, const double* qcval) {
  return task_call(task, [=](task_rec& t) {
    const term_arrays a = {qcsubi, qcsubj, qcval};
    if (const rescode r = dat_index(t, acc::con, k, "k"); r != ok) return r;
    if (numqcnz < 0) return task_fail(t, err_in_argument, "numqcnz");
    if (const rescode r = check_arrays(t, numqcnz, a, connames); r != ok) return r;
    return put_constraint(t, k, numqcnz, a);
  });
}

int32_t ZLV_getnumqconknz(ZLV_task_t task, int32_t k, int32_t* numqcnz) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_index(t, acc::con, k, "k"); r != ok) return r;
    if (const rescode r = chk_pointer(t, numqcnz, "numqcnz"); r != ok) return r;
    *numqcnz = int32_t(prob_getq(t.prob, k).val.size());
    return ok;
  });
}

int32_t ZLV_getqconk(ZLV_task_t task, int32_t k, int32_t* numqcnz, int32_t* qcsubi, int32_t* qcsubj,
                     double* qcval) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_index(t, acc::con, k, "k"); r != ok) return r;
    give_terms(prob_getq(t.prob, k), numqcnz, qcsubi, qcsubj, qcval);
    return ok;
  });
}

int32_t ZLV_putvartype(ZLV_task_t task, int32_t j, int32_t vartype) {
  return task_call(task, [=](task_rec& t) {
    if (vartype != ZLV_VAR_TYPE_CONT) prob_maketypes(t.prob);
    if (const rescode r = dat_index(t, acc::var, j, "j"); r != ok) return r;
    return put_type(t, j, vartype);
  });
}

int32_t ZLV_putvartypelist(ZLV_task_t task, int32_t num, const int32_t* subj,
                           const int32_t* vartype) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_array(t, subj, num, "subj"); r != ok) return r;
    if (const rescode r = dat_array(t, vartype, num, "vartype"); r != ok) return r;
    const bool isall = std::all_of(vartype, vartype + std::max(num, 0),
                                   [](int32_t type) { return type == ZLV_VAR_TYPE_CONT; });
    if (!isall) prob_maketypes(t.prob);
    for (int32_t k = 0; k < num; ++k) {
      if (const rescode r = dat_arrindex(t, subj[k], k, t.prob.numvar, "subj"); r != ok) return r;
      if (const rescode r = put_type(t, subj[k], vartype[k]); r != ok) return r;
    }
    return ok;
  });
}

int32_t ZLV_getvartype(ZLV_task_t task, int32_t j, int32_t* vartype) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_index(t, acc::var, j, "j"); r != ok) return r;
    if (const rescode r = chk_pointer(t, vartype, "vartype"); r != ok) return r;
    *vartype = prob_isint(t.prob, j) ? ZLV_VAR_TYPE_INT : ZLV_VAR_TYPE_CONT;
    return ok;
  });
}

int32_t ZLV_getvartypelist(ZLV_task_t task, int32_t num, const int32_t* subj, int32_t* vartype) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_array(t, subj, num, "subj"); r != ok) return r;
    if (const rescode r = dat_array(t, vartype, num, "vartype"); r != ok) return r;
    for (int32_t k = 0; k < num; ++k) {
      if (const rescode r = dat_arrindex(t, subj[k], k, t.prob.numvar, "subj"); r != ok) return r;
      vartype[k] = prob_isint(t.prob, subj[k]) ? ZLV_VAR_TYPE_INT : ZLV_VAR_TYPE_CONT;
    }
    return ok;
  });
}

int32_t ZLV_getprobtype(ZLV_task_t task, int32_t* probtype) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, probtype, "probtype"); r != ok) return r;
    *probtype = prob_probtype(t.prob, false);
    return ok;
  });
}
