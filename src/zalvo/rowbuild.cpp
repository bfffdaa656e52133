#include "zalvo/rowbuild.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

#include "zalvo/zalvodat.h"

namespace {

using enum rescode;

struct note_text {
  row_note note;
  const char* text;
};
constexpr note_text note_texts[] = {
    {row_note::double_term, "term given more than once in a row or the objective; they are added"},
    {row_note::double_qterm,
     "quadratic term given more than once in a row or the objective; they are added"},
    {row_note::double_bound, "bound given more than once, of which the last is taken"},
    {row_note::negative_upper, "negative upper bound without a lower bound, which stays 0"},
    {row_note::free_row, "constraint without a finite side, which is left out"},
    {row_note::old_quad, "quadratic expression without '/2', which is not halved"},
    {row_note::no_end, "the file ends without 'end'"},
    {row_note::double_name, "name given more than once in a list"},
    {row_note::hint, "hint that is not what the file holds"}};

// Takes small coefficients out of the row and warns of large ones.
void tidy_row(row_builder& b) {
  const auto first = size_t(b.rowptr.back());
  size_t to = first;
  for (size_t k = first; k < b.val.size(); ++k) {
    const double value = b.val[k];
    if (std::abs(value) <= b.tol.aij) continue;
    if (std::abs(value) > b.tol.aijlarge) {
      const int32_t j = b.sub[k];
      (void)task_fail(b.t, wrn_large_aij, value, names_get(b.names, ZLV_PI_VAR, j).data(), j,
                      names_get(b.names, ZLV_PI_CON, b.row).data(), b.row);
    }
    b.sub[to] = b.sub[k];
    b.val[to++] = value;
  }
  b.sub.resize(to);
  b.val.resize(to);
}

// ---- Putting the problem together

// Adds up equal quadratic terms. The order stays.
void merge_qterms(row_builder& b) {
  row_qterms& q = b.q;
  const size_t num = q.val.size();
  const auto key = [&](size_t t) {
    return std::array<int32_t, 3>{q.subk[t], q.subi[t], q.subj[t]};
  };
  mm_vector<size_t> order(num, 0, prob_place(b.p));
  for (size_t t = 0; t < num; ++t) order[t] = t;
  std::sort(order.begin(), order.end(), [&](size_t s, size_t t) {
    const auto ks = key(s), kt = key(t);
    return ks != kt ? ks < kt : s < t;
  });
  for (size_t s = 1, first = 0; s < num; ++s) {
    if (key(order[s]) != key(order[first])) {
      first = s;
      continue;
    }
    row_notetaken(b, row_note::double_qterm, 0, prob_name(b.p, ZLV_PI_VAR, q.subi[order[s]]));
    q.val[order[first]] += q.val[order[s]];
    q.val[order[s]] = 0;  // dropped like all that is small
  }
}

rescode check_sums(row_builder& b) {
  for (size_t k = 0; k < b.q.val.size(); ++k) {
    if (std::isfinite(b.q.val[k])) continue;
    const rescode r = task_fail(b.t, err_nan_in_double_data, "qval", int32_t(k));
    task_echo(b.t, msg_kind::err, "%s: the sum of the terms of '%s' and '%s' is too large.\n",
              b.filename, io_printable(prob_name(b.p, ZLV_PI_VAR, b.q.subi[k])).text,
              io_printable(prob_name(b.p, ZLV_PI_VAR, b.q.subj[k])).text);
    return r;
  }
  return ok;
}

// The terms of the objective, which are together, go to the front. Returns how many they are.
size_t objective_first(row_qterms& q) {
  const auto begin = std::find(q.subk.begin(), q.subk.end(), prob_obj);
  const auto end = std::find_if(begin, q.subk.end(), [](int32_t k) { return k != prob_obj; });
  const ptrdiff_t from = begin - q.subk.begin(), to = end - q.subk.begin();
  const auto turn = [&](auto& v) { std::rotate(v.begin(), v.begin() + from, v.begin() + to); };
  turn(q.subi);
  turn(q.subj);
  turn(q.val);
  turn(q.subk);
  return size_t(to - from);
}

rescode store_quadratic(row_builder& b) {
  const row_qterms& q = b.q;
  if (q.val.empty()) return ok;
  merge_qterms(b);
  if (const rescode r = check_sums(b); r != ok) return r;
  const size_t first = objective_first(b.q);
  const size_t rest = q.val.size() - first;
  prob_qreserve(b.p, int32_t(q.val.size()));
  if (first > 0) {
    prob_qwriter w = prob_qopen(b.p, prob_obj, int32_t(first));
    for (size_t k = 0; k < first; ++k) {
      if (std::abs(q.val[k]) > b.tol.qij) prob_qpush(b.p, w, q.subi[k], q.subj[k], q.val[k]);
    }
    prob_qclose(b.p, w);
  }
  if (rest == 0) return ok;
  prob_qloadcons(
      b.p, b.tol, {q.subk.data() + first, rest},
      {{q.subi.data() + first, rest}, {q.subj.data() + first, rest}, {q.val.data() + first, rest}});
  return ok;
}

// The rows read become columns.
void store_matrix(row_builder& b) {
  const mm_place at = prob_place(b.p);
  const ptrdiff_t end = b.rowptr.back();
  mm_vector<ptrdiff_t> ptr(size_t(b.numvar) + 1, 0, at);
  mm_vector<int32_t> sub(size_t(end), 0, at);
  mm_vector<double> val(size_t(end), 0.0, at);
  for (ptrdiff_t k = 0; k < end; ++k) ++ptr[b.sub[k] + 1];
  for (int32_t j = 0; j < b.numvar; ++j) ptr[j + 1] += ptr[j];
  for (int32_t i = 0; i < b.numcon; ++i) {
    for (ptrdiff_t k = b.rowptr[i]; k < b.rowptr[i + 1]; ++k) {
      const ptrdiff_t to = ptr[b.sub[k]]++;
      sub[to] = i;
      val[to] = b.val[k];
    }
  }
  std::rotate(ptr.begin(), ptr.end() - 1, ptr.end());
  ptr[0] = 0;
  b.sub = mm_vector<int32_t>(at);
  b.val = mm_vector<double>(at);
  prob_loadcolumns(b.p, ptr, sub, val);
}

rescode store_costs(row_builder& b) {
  for (int32_t j = 0; j < b.numvar; ++j) {
    if (b.c[j] == 0) continue;
    if (const rescode r = dat_cost(b.t, b.p, b.c[j], 0, j, "c"); r != ok) return r;
    b.p.c[j] = b.c[j];
  }
  b.p.cfix = b.cfix;
  return ok;
}

// The warnings about a bound. Two values that count as one are no fault of the file.
void warn_bound(row_builder& b, prob_bound bound, acc mode, int32_t i) {
  if (bound.key == ZLV_BK_FX) bound.key = ZLV_BK_RA;
  dat_warnbound(b.t, b.p, b.tol, bound, mode, i);
}

void store_bounds(row_builder& b) {
  prob_rec& p = b.p;
  for (int32_t i = 0; i < p.numcon; ++i) {
    warn_bound(b, b.rowbound[i], acc::con, i);
    prob_storebound(p, acc::con, i, b.rowbound[i]);
  }
  for (int32_t j = 0; j < p.numvar; ++j) {
    const bool islower = (b.boundset[j] & row_lowergiven) != 0;
    const bool isupper = (b.boundset[j] & row_uppergiven) != 0;
    const double lower = islower ? b.lower[j] : b.defaultlower;
    const double upper = isupper ? b.upper[j] : b.defaultupper;
    if (isupper && !islower && upper < 0 && lower == 0) {
      row_notetaken(b, row_note::negative_upper, b.negativeline, prob_name(p, ZLV_PI_VAR, j));
    }
    const prob_bound bound = prob_normalise(b.tol, {ZLV_BK_RA, lower, upper});
    warn_bound(b, bound, acc::var, j);
    prob_storebound(p, acc::var, j, bound);
  }
}

void store_integers(row_builder& b) {
  if (!b.isanyint) return;
  prob_maketypes(b.p);
  for (int32_t j = 0; j < b.numvar; ++j) {
    if (b.isint[j] != 0) prob_setint(b.p, j);
  }
}

}  // namespace

row_builder::row_builder(task_rec& task, prob_rec& prob, const char* file)
    : t(task),
      p(prob),
      filename(file),
      tol(prob_tols(task.par)),
      names(prob_place(prob)),
      mark(prob_place(prob)),
      c(prob_place(prob)),
      lower(prob_place(prob)),
      upper(prob_place(prob)),
      boundset(prob_place(prob)),
      isint(prob_place(prob)),
      rowptr(prob_place(prob)),
      sub(prob_place(prob)),
      val(prob_place(prob)),
      rowbound(prob_place(prob)),
      q(prob_place(prob)) {}

int32_t row_variable(row_builder& b, std::string_view name) {
  const int32_t known = names_find(b.names, ZLV_PI_VAR, name);
  if (known >= 0) return known;
  const int32_t j = b.numvar;
  names_append(b.names, ZLV_PI_VAR, 1);
  names_put(b.names, ZLV_PI_VAR, j, name);
  b.mark.push_back({});
  b.c.push_back(0);
  ++b.numvar;
  return j;
}

void row_begin(row_builder& b, int32_t row) {
  b.row = row;
  ++b.stamp;
  if (row != prob_obj) b.rowptr.push_back(ptrdiff_t(b.sub.size()));
}

row_fault row_term(row_builder& b, int32_t j, double value, int32_t line) {
  row_mark& mark = b.mark[j];
  const bool isobj = b.row == prob_obj;
  if (mark.stamp == b.stamp) {
    row_notetaken(b, row_note::double_term, line, names_get(b.names, ZLV_PI_VAR, j));
    double& stored = isobj ? b.c[j] : b.val[mark.pos];
    stored = value += stored;
  } else {
    mark = {b.stamp, ptrdiff_t(b.val.size())};
    if (isobj) {
      b.c[j] = value;
    } else {
      b.sub.push_back(j);
      b.val.push_back(value);
    }
  }
  if (!std::isfinite(value)) return row_fault::overflow;
  return isobj && std::abs(value) > b.tol.chuge ? row_fault::hugecost : row_fault::none;
}

void row_qterm(row_builder& b, int32_t i, int32_t j, double value) {
  b.q.subk.push_back(b.row);
  b.q.subi.push_back(std::max(i, j));
  b.q.subj.push_back(std::min(i, j));
  b.q.val.push_back(value);
}

void row_end(row_builder& b, std::string_view name, const prob_bound& bound) {
  names_append(b.names, ZLV_PI_CON, 1);
  names_put(b.names, ZLV_PI_CON, b.numcon, name);
  tidy_row(b);
  b.rowbound.push_back(bound);
  ++b.numcon;
}

void row_drop(row_builder& b, size_t firstq) {
  b.sub.resize(size_t(b.rowptr.back()));
  b.val.resize(size_t(b.rowptr.back()));
  b.rowptr.pop_back();
  b.q.subk.resize(firstq);
  b.q.subi.resize(firstq);
  b.q.subj.resize(firstq);
  b.q.val.resize(firstq);
}

void row_makevars(row_builder& b) {
  const auto numvar = size_t(b.numvar);
  b.lower.resize(numvar, 0.0);
  b.upper.resize(numvar, 0.0);
  b.boundset.resize(numvar, uint8_t{0});
  b.isint.resize(numvar, uint8_t{0});
}

void row_setsides(row_builder& b, int32_t j, const prob_bound& bound, uint8_t sides, int32_t line) {
  if ((b.boundset[j] & sides) != 0) {
    row_notetaken(b, row_note::double_bound, line, names_get(b.names, ZLV_PI_VAR, j));
  }
  b.boundset[j] |= sides;
  if ((sides & row_lowergiven) != 0) b.lower[j] = bound.lower;
  if ((sides & row_uppergiven) == 0) return;
  b.upper[j] = bound.upper;
  if (bound.upper < 0 && b.negativeline == 0) b.negativeline = line;
}

void row_setint(row_builder& b, int32_t j) {
  b.isint[j] = 1;
  b.isanyint = true;
}

void row_notetaken(row_builder& b, row_note note, int32_t line, std::string_view name) noexcept {
  row_notice& notice = b.notes[size_t(note)];
  if (notice.num++ > 0) return;
  notice.line = line;
  notice.name = io_printable(name);
}

rescode row_store(row_builder& b) {
  row_makevars(b);
  b.rowptr.push_back(ptrdiff_t(b.sub.size()));
  prob_append(b.p, acc::con, b.numcon);
  prob_append(b.p, acc::var, b.numvar);
  b.p.names = std::move(b.names);
  if (const rescode r = store_costs(b); r != ok) return r;
  store_matrix(b);
  if (const rescode r = store_quadratic(b); r != ok) return r;
  store_bounds(b);
  store_integers(b);
  return ok;
}

void row_tellnotes(const row_builder& b) noexcept {
  for (const note_text& n : note_texts) {
    const row_notice& notice = b.notes[size_t(n.note)];
    if (notice.num == 0) continue;
    if (n.note == row_note::old_quad) (void)task_fail(b.t, wrn_lp_old_quad_format);
    char place[32] = "";
    if (notice.line > 0) std::snprintf(place, sizeof place, "line %d, ", notice.line);
    task_echo(b.t, msg_kind::wrn, "%s: %s'%s': %s (%d in all).\n", b.filename, place,
              notice.name.text, n.text, notice.num);
  }
}
