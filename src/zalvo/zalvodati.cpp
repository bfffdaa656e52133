// Input of a whole problem, and appending with data.
#include <algorithm>
#include <utility>

#include "zalvo/zalvodat.h"

namespace {

using enum rescode;

struct bound_arrays {
  const int32_t* bk;  // null: the bounds of freshly appended items
  const double *bl, *bu;
  const char* keyname;
};

rescode check_bounds(task_rec& t, acc mode, int32_t num, const bound_arrays& b) {
  if (b.bk == nullptr) return ok;
  if (const rescode r = dat_array(t, b.bl, num, "bl"); r != ok) return r;
  if (const rescode r = dat_array(t, b.bu, num, "bu"); r != ok) return r;
  for (int32_t k = 0; k < num; ++k) {
    if (const rescode r = dat_key(t, mode, b.bk[k], b.keyname); r != ok) return r;
    if (const rescode r = dat_boundvalues(t, {b.bk[k], b.bl[k], b.bu[k]}, k); r != ok) return r;
  }
  return ok;
}

// Bounds of the items from first on; they were checked.
void load_bounds(task_rec& t, prob_rec& p, acc mode, int32_t first, int32_t num,
                 const bound_arrays& b) {
  if (b.bk == nullptr) return;
  const prob_tol tol = prob_tols(t.par);
  for (int32_t k = 0; k < num; ++k) {
    const prob_bound given = {b.bk[k], b.bl[k], b.bu[k]};
    dat_warnbound(t, p, tol, given, mode, first + k);
    prob_storebound(p, mode, first + k, prob_normalise(tol, given));
  }
}

// Costs of the variables from first on of p, or to be appended to it.
rescode check_costs(task_rec& t, const prob_rec& p, int32_t first, int32_t num, const double* c) {
  for (int32_t k = 0; k < num && c != nullptr; ++k) {
    if (const rescode r = dat_cost(t, p, c[k], k, first + k, "c"); r != ok) return r;
  }
  return ok;
}

rescode check_vectors(task_rec& t, int32_t num, const dat_vectors& a) {
  if (a.ptrb == nullptr) return ok;  // no elements
  if (const rescode r = dat_array(t, a.ptre, num, "aptre"); r != ok) return r;
  for (int32_t k = 0; k < num; ++k) {
    if (const rescode r = dat_ptr(t, k, a); r != ok) return r;
  }
  return ok;
}

// The columns given, checked and packed, become A of p.
rescode load_columns(task_rec& t, prob_rec& p, const dat_vectors& a) {
  if (a.ptrb == nullptr) return ok;
  dat_input in(t, p);
  ptrdiff_t total = 0;
  for (int32_t j = 0; j < p.numvar; ++j) total += a.ptre[j] - a.ptrb[j];
  in.sub.reserve(size_t(total));
  in.val.reserve(size_t(total));
  mm_vector<ptrdiff_t> ptr(mm_at(*t.mman));
  ptr.reserve(size_t(p.numvar) + 1);
  ptr.push_back(0);
  for (int32_t j = 0; j < p.numvar; ++j) {
    if (const rescode r = dat_checkvector(in, acc::var, j, a.at(j), {j}); r != ok) return r;
    ptr.push_back(ptrdiff_t(in.sub.size()));
  }
  prob_loadcolumns(p, ptr, in.sub, in.val);
  dat_warnzero(in);
  return ok;
}

// The vectors of items to be appended, checked: their elements and where each one ends.
struct new_vectors {
  dat_input in;
  mm_vector<size_t> end;
  explicit new_vectors(task_rec& t) : in(t, t.prob), end(mm_at(*t.mman)) {}
};

rescode read_vectors(new_vectors& v, acc mode, int32_t first, int32_t num, const dat_vectors& a) {
  if (a.ptrb == nullptr) return ok;
  ptrdiff_t total = 0;
  for (int32_t k = 0; k < num; ++k) total += a.ptre[k] - a.ptrb[k];
  v.in.sub.reserve(size_t(total));
  v.in.val.reserve(size_t(total));
  v.end.reserve(size_t(num));
  for (int32_t k = 0; k < num; ++k) {
    if (const rescode r = dat_checkvector(v.in, mode, first + k, a.at(k), {k}); r != ok) return r;
    v.end.push_back(v.in.sub.size());
  }
  dat_reserve(v.in, mode, ptrdiff_t(v.in.sub.size()), 0);
  return ok;
}

void put_vectors(const new_vectors& v, acc mode, int32_t first) {
  size_t begin = 0;
  for (size_t k = 0; k < v.end.size(); ++k) {
    const size_t len = v.end[k] - begin;
    probmat_put(v.in.p.a, mode, first + int32_t(k), {v.in.sub.data() + begin, len},
                {v.in.val.data() + begin, len});
    begin = v.end[k];
  }
}

struct append_data {
  const double* c;  // variables only
  dat_vectors a;
  bound_arrays b;
};

rescode append_items(task_rec& t, acc mode, int32_t num, const append_data& d) {
  if (num < 0) return task_fail(t, err_negative_append, num);
  if (num == 0) return ok;
  if (const rescode r = check_bounds(t, mode, num, d.b); r != ok) return r;
  if (const rescode r = check_vectors(t, num, d.a); r != ok) return r;
  const int32_t first = prob_count(t.prob, mode);
  if (const rescode r = check_costs(t, t.prob, first, num, d.c); r != ok) return r;
  new_vectors v(t);
  if (const rescode r = read_vectors(v, mode, first, num, d.a); r != ok) return r;
  dat_append(t, mode, num);  // the last thing that can fail
  put_vectors(v, mode, first);
  dat_warnzero(v.in);
  if (d.c != nullptr) std::copy_n(d.c, num, t.prob.c.begin() + first);
  load_bounds(t, t.prob, mode, first, num, d.b);
  for (int32_t i = first; i < first + num && d.b.bk != nullptr; ++i) {
    const bool isvar = mode == acc::var;
    sol_boundchanged(t, int32_t(mode), i, isvar ? ZLV_BK_FX : ZLV_BK_FR, isvar ? 0 : -prob_inf,
                     isvar ? 0 : prob_inf);
  }
  sol_touch(t);
  return ok;
}

struct whole_input {
  int32_t maxnumcon, maxnumvar, numcon, numvar;
  const double* c;
  double cfix;
  dat_vectors a;
  bound_arrays con, var;
};

rescode check_sizes(task_rec& t, const whole_input& d) {
  if (d.numcon < 0) return task_fail(t, err_in_argument, "numcon");
  if (d.numvar < 0) return task_fail(t, err_in_argument, "numvar");
  if (d.maxnumcon < d.numcon) return task_fail(t, err_maxnumcon, d.maxnumcon, d.numcon);
  if (d.maxnumvar < d.numvar) return task_fail(t, err_maxnumvar, d.maxnumvar, d.numvar);
  return ok;
}

// Built aside, so that the task keeps its problem when anything is refused.
rescode input_whole(task_rec& t, const whole_input& d) {
  if (const rescode r = check_sizes(t, d); r != ok) return r;
  if (const rescode r = dat_finite(t, d.cfix, 0, "cfix"); r != ok) return r;
  if (const rescode r = check_bounds(t, acc::con, d.numcon, d.con); r != ok) return r;
  if (const rescode r = check_bounds(t, acc::var, d.numvar, d.var); r != ok) return r;
  if (const rescode r = check_vectors(t, d.numvar, d.a); r != ok) return r;
  prob_rec aside(mm_at(*t.mman));
  prob_setmax(aside, d.maxnumcon, d.maxnumvar, 0);
  prob_append(aside, acc::con, d.numcon);
  prob_append(aside, acc::var, d.numvar);
  if (const rescode r = check_costs(t, aside, 0, d.numvar, d.c); r != ok) return r;
  if (d.c != nullptr) std::copy_n(d.c, d.numvar, aside.c.begin());
  aside.cfix = d.cfix;
  if (const rescode r = load_columns(t, aside, d.a); r != ok) return r;
  load_bounds(t, aside, acc::con, 0, d.numcon, d.con);
  load_bounds(t, aside, acc::var, 0, d.numvar, d.var);
  dat_replace(t, aside);
  return ok;
}

}  // namespace

// The data of the items, one array each.
// NOLINTNEXTLINE(readability-function-size)
int32_t ZLV_appendvars(ZLV_task_t task, int32_t num, const double* c, const int32_t* aptrb,
                       const int32_t* aptre, const int32_t* asub, const double* aval,
                       const int32_t* bkx, const double* blx, const double* bux) {
  return task_call(task, [&](task_rec& t) {
    return append_items(t, acc::var, num, {c, {aptrb, aptre, asub, aval}, {bkx, blx, bux, "bkx"}});
  });
}

// NOLINTNEXTLINE(readability-function-size): as above
int32_t ZLV_appendcons(ZLV_task_t task, int32_t num, const int32_t* aptrb, const int32_t* aptre,
                       const int32_t* asub, const double* aval, const int32_t* bkc,
                       const double* blc, const double* buc) {
  return task_call(task, [&](task_rec& t) {
    return append_items(t, acc::con, num,
                        {nullptr, {aptrb, aptre, asub, aval}, {bkc, blc, buc, "bkc"}});
  });
}

// NOLINTNEXTLINE(readability-function-size): the whole problem, one array each
int32_t ZLV_inputdata(ZLV_task_t task, int32_t maxnumcon, int32_t maxnumvar, int32_t numcon,
                      int32_t numvar, const double* c, double cfix, const int32_t* aptrb,
                      const int32_t* aptre, const int32_t* asub, const double* aval,
                      const int32_t* bkc, const double* blc, const double* buc, const int32_t* bkx,
                      const double* blx, const double* bux) {
  return task_call(task, [&](task_rec& t) {
    return input_whole(t, {maxnumcon,
                           maxnumvar,
                           numcon,
                           numvar,
                           c,
                           cfix,
                           {aptrb, aptre, asub, aval},
                           {bkc, blc, buc, "bkc"},
                           {bkx, blx, bux, "bkx"}});
  });
}
