// Constraint matrix of a problem: puts of elements, rows and columns.
#include <algorithm>
#include <cstdio>
#include <utility>

#include "zalvo/zalvodat.h"

namespace {

using enum rescode;

constexpr size_t maxargument = 40;  // of a made-up argument name

void warn_large(const dat_input& in, double value, int32_t i, int32_t j) {
  static_cast<void>(
      task_fail(in.t, wrn_large_aij, value, dat_varname(in.p, j), j, dat_conname(in.p, i), i));
}

rescode put_element(task_rec& t, int32_t i, int32_t j, double value) {
  dat_input in(t, t.prob);
  probmat& a = prob_mat(t.prob);
  if (std::abs(value) <= in.tol.aij) {
    probmat_erase(a, i, j);
  } else {
    if (std::abs(value) > in.tol.aijlarge) warn_large(in, value, i, j);
    const int32_t oldcap = prob_maxnumanz(t.prob);
    probmat_set(a, i, j, value);
    dat_grown(t, oldcap);
  }
  sol_touch(t);
  return ok;
}

rescode put_vector(dat_input& in, acc mode, int32_t k, const dat_vector& given, dat_vecname name) {
  in.sub.clear();
  in.val.clear();
  if (const rescode r = dat_checkvector(in, mode, k, given, name); r != ok) return r;
  const int32_t oldcap = prob_maxnumanz(in.t.prob);
  probmat_put(prob_mat(in.t.prob), mode, k, in.sub, in.val);
  dat_grown(in.t, oldcap);
  return ok;
}

// ---- A list of elements, taken vector by vector

struct element_list {
  std::span<const int32_t> subi, subj;
  std::span<const double> val;
};

bool is_element(const task_rec& t, const element_list& list, int32_t k) {
  return list.subi[k] >= 0 && list.subi[k] < t.prob.numcon && list.subj[k] >= 0 &&
         list.subj[k] < t.prob.numvar && std::isfinite(list.val[k]);
}
rescode check_element(task_rec& t, const element_list& list, int32_t k) {
  if (const rescode r = dat_arrindex(t, list.subi[k], k, t.prob.numcon, "subi"); r != ok) return r;
  if (const rescode r = dat_arrindex(t, list.subj[k], k, t.prob.numvar, "subj"); r != ok) return r;
  return dat_finite(t, list.val[k], k, "valij");
}

// Positions 0 .. num-1 of a list, sorted by their vector of the leading orientation and then by
// position: the vector in the upper half, the position in the lower.
using sorted_list = mm_vector<uint64_t>;

sorted_list sort_list(task_rec& t, std::span<const int32_t> vec, int32_t num) {
  sorted_list order(mm_at(*t.mman));
  order.reserve(size_t(num));
  for (int32_t k = 0; k < num; ++k) order.push_back(uint64_t(vec[k]) << 32 | uint32_t(k));
  std::sort(order.begin(), order.end());
  return order;
}
int32_t vector_of(uint64_t entry) {
  return int32_t(entry >> 32);
}
int32_t position_of(uint64_t entry) {
  return int32_t(entry & 0xFFFFFFFFU);
}

template <class F>
void for_groups(const sorted_list& order, F&& work) {  // entries of one vector at a time
  for (size_t first = 0; first < order.size();) {
    size_t last = first + 1;
    while (last < order.size() && vector_of(order[last]) == vector_of(order[first])) ++last;
    work(std::span<const uint64_t>(order).subspan(first, last - first));
    first = last;
  }
}

// The first position whose element was there before in the list; the length when there is none.
int32_t first_repeated(probmat& a, const sorted_list& order, std::span<const int32_t> across) {
  auto found = int32_t(order.size());
  for_groups(order, [&](std::span<const uint64_t> group) {
    const int32_t stamp = probmat_stamps(a, 1);
    for (const uint64_t entry : group) {
      int32_t& mark = a.mark[across[position_of(entry)]];
      if (mark == stamp) found = std::min(found, position_of(entry));
      mark = stamp;
    }
  });
  return found;
}

// Puts the elements of one vector at positions below num: values of elements that are there are
// replaced where they stand, new ones follow.
void put_group(dat_input& in, acc mode, std::span<const uint64_t> group,
               std::span<const int32_t> across, const element_list& list, int32_t num) {
  probmat& a = in.p.a;
  const int32_t k = vector_of(group[0]);
  const sprmat& lead = probmat_by(a, mode);
  const int32_t stamp = probmat_stamps(a, int32_t(group.size()));
  size_t given = 0;  // entries that count; they are the first ones
  while (given < group.size() && position_of(group[given]) < num) {
    a.mark[across[position_of(group[given])]] = stamp + int32_t(given);
    ++given;
  }
  mm_vector<int32_t>& sub = in.sub;
  mm_vector<double>& val = in.val;
  sub.clear();
  val.clear();
  const auto oldsub = sprmat_sub(lead, k);
  const auto oldval = sprmat_val(lead, k);
  for (size_t p = 0; p < oldsub.size(); ++p) {
    const int32_t where = a.mark[oldsub[p]] - stamp;
    const bool isgiven = where >= 0 && size_t(where) < given;
    const double value = isgiven ? list.val[position_of(group[where])] : oldval[p];
    if (isgiven) a.mark[oldsub[p]] = 0;  // done
    if (isgiven && std::abs(value) <= in.tol.aij) continue;
    sub.push_back(oldsub[p]);
    val.push_back(value);
  }
  for (size_t e = 0; e < given; ++e) {
    const int32_t pos = position_of(group[e]);
    if (a.mark[across[pos]] == 0 || std::abs(list.val[pos]) <= in.tol.aij) continue;
    sub.push_back(across[pos]);
    val.push_back(list.val[pos]);
  }
  probmat_put(a, mode, k, sub, val);
}

rescode put_list(task_rec& t, const element_list& list) {
  int32_t num = 0;  // elements before the first bad one
  const auto length = int32_t(list.val.size());
  while (num < length && is_element(t, list, num)) ++num;
  probmat& a = prob_mat(t.prob);
  const acc mode = a.hascol ? acc::var : acc::con;
  const auto along = a.hascol ? list.subj : list.subi;
  const auto across = a.hascol ? list.subi : list.subj;
  const sorted_list order = sort_list(t, along, num);
  const int32_t repeated = first_repeated(a, order, across);
  const bool isrepeated = repeated < num;
  num = std::min(num, repeated);
  dat_input in(t, t.prob);
  ptrdiff_t total = 0;
  int32_t longest = 0;
  for_groups(order, [&](std::span<const uint64_t> group) {
    const int32_t len = sprmat_len(probmat_lead(a), vector_of(group[0])) + int32_t(group.size());
    total += len;
    longest = std::max(longest, len);
  });
  dat_reserve(in, mode, total, longest);
  for (int32_t k = 0; k < num; ++k) {
    const double value = list.val[k];
    if (std::abs(value) > in.tol.aijlarge) warn_large(in, value, list.subi[k], list.subj[k]);
  }
  for_groups(order, [&](std::span<const uint64_t> group) {
    if (position_of(group[0]) < num) put_group(in, mode, group, across, list, num);
  });
  sol_touch(t);
  if (isrepeated) return task_fail(t, err_mul_a_element, list.subi[num], list.subj[num]);
  return num < length ? check_element(t, list, num) : ok;
}

// What a bad element of a vector gets.
rescode fail_element(const dat_input& in, acc mode, int32_t k, const dat_vector& given, int32_t p,
                     dat_vecname name) {
  char sub[maxargument] = "asub";
  char val[maxargument] = "aval";
  if (name.pos >= 0) std::snprintf(sub, sizeof sub, "(asub+aptrb[%d])", name.pos);
  if (name.pos >= 0) std::snprintf(val, sizeof val, "(aval+aptrb[%d])", name.pos);
  const bool isvar = mode == acc::var;
  const int32_t s = given.sub[p];
  if (const rescode r = dat_arrindex(in.t, s, p, isvar ? in.p.numcon : in.p.numvar, sub); r != ok) {
    return r;
  }
  if (const rescode r = dat_finite(in.t, given.val[p], p, val); r != ok) return r;
  return task_fail(in.t, err_mul_a_element, isvar ? s : k, isvar ? k : s);
}

// The vectors of a list before the first one with a bad number or bad places; how much they hold.
struct list_sizes {
  int32_t num = 0, longest = 0;
  ptrdiff_t total = 0;
};
list_sizes sizes_of(const task_rec& t, acc mode, std::span<const int32_t> sub,
                    const dat_vectors& a) {
  list_sizes sizes;
  for (const int32_t k : sub) {
    if (k < 0 || k >= prob_count(t.prob, mode) || !dat_isptr(sizes.num, a)) break;
    const int32_t len = a.ptre[sizes.num] - a.ptrb[sizes.num];
    sizes.longest = std::max(sizes.longest, len);
    sizes.total += len;
    ++sizes.num;
  }
  return sizes;
}

rescode put_vectors(dat_input& in, acc mode, std::span<const int32_t> sub, const dat_vectors& a) {
  const list_sizes sizes = sizes_of(in.t, mode, sub, a);
  dat_reserve(in, mode, sizes.total, sizes.longest);
  for (int32_t k = 0; k < sizes.num; ++k) {
    if (const rescode r = put_vector(in, mode, sub[k], a.at(k), {k}); r != ok) return r;
  }
  if (sizes.num == int32_t(sub.size())) return ok;
  const int32_t bad = sizes.num;
  const int32_t count = prob_count(in.t.prob, mode);
  if (const rescode r = dat_arrindex(in.t, sub[bad], bad, count, "sub"); r != ok) return r;
  return dat_ptr(in.t, bad, a);
}

}  // namespace

dat_input::dat_input(task_rec& task, prob_rec& prob)
    : t(task), p(prob), tol(prob_tols(task.par)), sub(mm_at(*task.mman)), val(mm_at(*task.mman)) {
  for (sprmat* m : {&p.a.col, &p.a.row}) {
    m->growtrh = t.par.i[ipar::maxnumanz_double_trh];
    m->addnum = std::max(t.par.i[ipar::alloc_add_anz], 0);
  }
}

void dat_grown(task_rec& t, int32_t oldcap) {
  const int32_t newcap = prob_maxnumanz(t.prob);
  if (newcap <= oldcap) return;
  ++t.prob.numanzexpand;
  if (t.par.i[ipar::log] == 0 || t.par.i[ipar::log_storage] == 0) return;
  task_echo(t, msg_kind::log, "Expanding %s from %d to %d.\n", "maximum number of A nonzeros",
            oldcap, newcap);
}

void dat_reserve(dat_input& in, acc mode, ptrdiff_t numnz, int32_t longest) {
  in.sub.reserve(size_t(longest));
  in.val.reserve(size_t(longest));
  probmat& a = prob_mat(in.p);
  probmat_by(a, mode);
  const int32_t oldcap = prob_maxnumanz(in.p);
  sprmat& m = mode == acc::var ? a.col : a.row;
  if (numnz > 0) sprmat_reserve(m, numnz);
  dat_grown(in.t, oldcap);
}

rescode dat_checkvector(dat_input& in, acc mode, int32_t k, const dat_vector& given,
                        dat_vecname name) {
  const bool isvar = mode == acc::var;
  const int32_t count = isvar ? in.p.numcon : in.p.numvar;
  const size_t before = in.sub.size();
  const int32_t stamp = probmat_stamps(in.p.a, 1);
  for (size_t p = 0; p < given.sub.size(); ++p) {
    const int32_t s = given.sub[p];
    const double value = given.val[p];
    if (s < 0 || s >= count || !std::isfinite(value) || in.p.a.mark[s] == stamp) {
      in.sub.resize(before);
      in.val.resize(before);
      return fail_element(in, mode, k, given, int32_t(p), name);
    }
    in.p.a.mark[s] = stamp;
    if (value == 0) ++in.numzero;
    if (std::abs(value) <= in.tol.aij) continue;
    if (std::abs(value) > in.tol.aijlarge) warn_large(in, value, isvar ? s : k, isvar ? k : s);
    in.sub.push_back(s);
    in.val.push_back(value);
  }
  return ok;
}

void dat_warnzero(dat_input& in) {
  if (in.numzero > 0) static_cast<void>(task_fail(in.t, wrn_zero_aij, in.numzero));
}

bool dat_isptr(int32_t k, const dat_vectors& a) {
  return a.ptrb[k] >= 0 && a.ptre[k] >= a.ptrb[k] &&
         (a.ptre[k] == a.ptrb[k] || (a.sub != nullptr && a.val != nullptr));
}

rescode dat_ptr(task_rec& t, int32_t k, const dat_vectors& a) {
  if (a.ptrb[k] < 0) return task_fail(t, err_index_arr_is_too_small, a.ptrb[k], "aptrb", k, 0);
  if (a.ptre[k] < a.ptrb[k]) return task_fail(t, err_inv_aptre, k);
  const int32_t len = a.ptre[k] - a.ptrb[k];
  if (const rescode r = dat_array(t, a.sub, len, "asub"); r != ok) return r;
  return dat_array(t, a.val, len, "aval");
}

int32_t ZLV_putaij(ZLV_task_t task, int32_t i, int32_t j, double aij) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_index(t, acc::con, i, "i"); r != ok) return r;
    if (const rescode r = dat_index(t, acc::var, j, "j"); r != ok) return r;
    if (const rescode r = dat_finite(t, aij, 0, "aij"); r != ok) return r;
    return put_element(t, i, j, aij);
  });
}

int32_t ZLV_putaijlist(ZLV_task_t task, int32_t num, const int32_t* subi, const int32_t* subj,
                       const double* valij) {
  return task_call(task, [=](task_rec& t) {
    if (num < 1) return ok;
    if (const rescode r = chk_pointer(t, subi, "subi"); r != ok) return r;
    if (const rescode r = chk_pointer(t, subj, "subj"); r != ok) return r;
    if (const rescode r = chk_pointer(t, valij, "valij"); r != ok) return r;
    const auto n = size_t(num);
    return put_list(t, {{subi, n}, {subj, n}, {valij, n}});
  });
}

int32_t ZLV_putavec(ZLV_task_t task, int32_t accmode, int32_t i, int32_t nzi, const int32_t* asub,
                    const double* aval) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_acc(t, accmode); r != ok) return r;
    const acc mode = acc(accmode);
    if (const rescode r = dat_index(t, mode, i, "i"); r != ok) return r;
    if (nzi < 0) return task_fail(t, err_in_argument, "nzi");
    if (const rescode r = dat_array(t, asub, nzi, "asub"); r != ok) return r;
    if (const rescode r = dat_array(t, aval, nzi, "aval"); r != ok) return r;
    dat_input in(t, t.prob);
    in.sub.reserve(size_t(nzi));
    in.val.reserve(size_t(nzi));
    const dat_vector given = {{asub, size_t(nzi)}, {aval, size_t(nzi)}};
    const rescode r = put_vector(in, mode, i, given, {});
    dat_warnzero(in);
    sol_touch(t);
    return r;
  });
}

int32_t ZLV_putaveclist(ZLV_task_t task, int32_t accmode, int32_t num, const int32_t* sub,
                        const int32_t* ptrb, const int32_t* ptre, const int32_t* asub,
                        const double* aval) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_acc(t, accmode); r != ok) return r;
    const acc mode = acc(accmode);
    if (const rescode r = dat_array(t, sub, num, "sub"); r != ok) return r;
    if (const rescode r = dat_array(t, ptrb, num, "aptrb"); r != ok) return r;
    if (const rescode r = dat_array(t, ptre, num, "aptre"); r != ok) return r;
    if (num < 1) return ok;
    dat_input in(t, t.prob);
    const rescode r = put_vectors(in, mode, {sub, size_t(num)}, {ptrb, ptre, asub, aval});
    dat_warnzero(in);
    sol_touch(t);
    return r;
  });
}
