#include "zalvo/zalvorlp.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

#include "zalvo/zalvodat.h"
#include "zalvo/zalvofile.h"

namespace {

using enum rescode;

constexpr uint8_t lowergiven = 1, uppergiven = 2;

// ---- Messages

// What the format says when something is missing. ismark: at a place within the line.
struct want_text {
  const char* text;
  lp_want want;
  bool ismark;
};
constexpr want_text want_texts[] = {
    {"Expected objective sense (min or max)", lp_want::sense, false},
    {"Expected 'subj to' (or similar)", lp_want::constraints, false},
    {"Expected a variable name", lp_want::qvariable, true},
    {"Expected a varaible name", lp_want::intvariable, true},
    {"Expected a variable", lp_want::variable, true},
    {"Expected a number", lp_want::number, true},
    {"Expected '<' or '<='", lp_want::less, true},
    {"Expected either '*' or '^'", lp_want::power, true},
    {"Expected keyword 'free'", lp_want::free, true},
    {"Expected keyword 'end'", lp_want::end, false}};

struct note_text {
  lp_note note;
  const char* text;
};
constexpr note_text note_texts[] = {
    {lp_note::double_term, "term given more than once in a row or the objective; they are added"},
    {lp_note::double_qterm,
     "quadratic term given more than once in a row or the objective; they are added"},
    {lp_note::double_bound, "bound given more than once, of which the last is taken"},
    {lp_note::negative_upper, "negative upper bound without a lower bound, which stays 0"},
    {lp_note::free_row, "constraint without a finite side, which is left out"},
    {lp_note::old_quad, "quadratic expression without '/2', which is not halved"},
    {lp_note::no_end, "the file ends without 'end'"}};

void tell_notes(const lp_reader& rd) {
  for (const note_text& n : note_texts) {
    const lp_notice& notice = rd.notes[size_t(n.note)];
    if (notice.num == 0) continue;
    if (n.note == lp_note::old_quad) (void)task_fail(rd.t, wrn_lp_old_quad_format);
    char place[32] = "";
    if (notice.line > 0) std::snprintf(place, sizeof place, "line %d, ", notice.line);
    task_echo(rd.t, msg_kind::wrn, "%s: %s'%s': %s (%d in all).\n", rd.filename, place,
              notice.name.text, n.text, notice.num);
  }
}

int32_t column_of(const lp_reader& rd) noexcept {
  return int32_t(rd.lx.tok.text.data() - rd.lx.line.data()) + 1;
}

// The line for a message, from before the current token on when it is long.
io_shorttext shown_line(const lp_reader& rd) noexcept {
  constexpr size_t before = 30;
  std::string_view line = rd.lx.line;
  const size_t at = size_t(column_of(rd)) - 1;
  if (line.size() > io_shorttext::maxlen && at > before) line.remove_prefix(at - before);
  return io_printable(line);
}

// ---- Sections

void tell_part(const lp_reader& rd, const char* part) noexcept {
  if (rd.set.islog) task_echo(rd.t, msg_kind::msg, "Reading %s.\n", part);
}

rescode read_sense(lp_reader& rd) {
  constexpr std::string_view mins[] = {"min", "minimize", "minimise", "minimum"};
  constexpr std::string_view maxs[] = {"max", "maximize", "maximise", "maximum"};
  const auto isin = [&](const auto& words) {
    return rd.lx.tok.kind == lp_kind::name &&
           std::any_of(std::begin(words), std::end(words),
                       [&](std::string_view word) { return lp_isword(rd.lx.tok.text, word); });
  };
  const bool ismax = isin(maxs);
  if (!ismax && !isin(mins)) {
    return lp_expect(rd, lp_want::sense, "The file must begin with it.");
  }
  rd.sense = ismax ? ZLV_OBJECTIVE_SENSE_MAX : ZLV_OBJECTIVE_SENSE_MIN;
  lp_next(rd.lx);
  if (rd.lx.tok.kind == lp_kind::colon) lp_next(rd.lx);
  return ok;
}

rescode read_constraints(lp_reader& rd, io_text& text) {
  for (lp_lexer& lx = rd.lx; lx.tok.kind != lp_kind::section && lx.tok.kind != lp_kind::end;) {
    if (const rescode r = lp_constraint(rd); r != ok) return r;
    if (lx.lines.nextchunk == rd.nextchunk) continue;
    io_forget(text, lx.lines);  // nobody refers to what was read so far
    rd.nextchunk = lx.lines.nextchunk;
  }
  return ok;
}

// A finite or infinite number, with signs.
rescode read_value(lp_reader& rd, double& value) {
  lp_lexer& lx = rd.lx;
  double sign = 1;
  for (; lx.tok.kind == lp_kind::sign; lp_next(lx)) sign *= lx.tok.value;
  if (lx.tok.kind == lp_kind::infinite) {
    value = sign * prob_inf;
  } else if (lx.tok.kind == lp_kind::number && !lx.tok.isglued) {
    value = sign * lx.tok.value;
  } else {
    return lp_expect(rd, lp_want::number, "A bound is a number or an infinity.");
  }
  lp_next(lx);
  return ok;
}

// The variable that the current token names, which objective and constraints must hold. j < 0: the
// variable is dropped.
rescode known_variable(lp_reader& rd, int32_t& j) {
  const std::string_view name = rd.lx.tok.text;
  j = names_find(rd.names, ZLV_PI_VAR, name);
  if (j >= 0) {
    lp_next(rd.lx);
    return ok;
  }
  if (rd.set.isdropnew) {
    (void)task_fail(rd.t, wrn_lp_drop_variable, io_printable(name).text);
    lp_next(rd.lx);
    return ok;
  }
  (void)task_fail(rd.t, err_read_lp_nonexisting_name, io_printable(name).text);
  lp_tell(rd, "Objective and constraints do not hold this variable.");
  return err_read_lp_nonexisting_name;
}

void store_sides(lp_reader& rd, int32_t j, const prob_bound& b, uint8_t sides) {
  if ((rd.boundset[j] & sides) != 0) {
    lp_notetaken(rd, lp_note::double_bound, rd.lx.lastline, names_get(rd.names, ZLV_PI_VAR, j));
  }
  rd.boundset[j] |= sides;
  if ((sides & lowergiven) != 0) rd.lower[j] = b.lower;
  if ((sides & uppergiven) == 0) return;
  rd.upper[j] = b.upper;
  if (b.upper < 0 && rd.negativeline == 0) rd.negativeline = rd.lx.lastline;
}

// relation value, as seen from the variable; a second one of the same statement has the same
// direction, which is checked by the caller.
rescode put_bound(lp_reader& rd, int32_t j, lp_kind relation, double value) {
  prob_bound b = {ZLV_BK_RA, -prob_inf, prob_inf};
  if (!lp_side(relation, value, b)) {
    return lp_expect(rd, lp_want::number,
                     "The bound before this place can never hold: it is infinite.");
  }
  const uint8_t sides = (relation != lp_kind::less ? lowergiven : 0) |
                        (relation != lp_kind::greater ? uppergiven : 0);
  if (j >= 0) store_sides(rd, j, b, sides);
  return ok;
}

rescode read_relation(lp_reader& rd, lp_kind& relation) {
  relation = rd.lx.tok.kind;
  if (!lp_isrelation(relation)) {
    return lp_expect(rd, lp_want::less, "A bound needs a relation.");
  }
  lp_next(rd.lx);
  return ok;
}

// value relation name [relation value]
rescode bound_by_value(lp_reader& rd) {
  double value = 0;
  lp_kind relation = lp_kind::less, second = lp_kind::less;
  int32_t j = 0;
  if (const rescode r = read_value(rd, value); r != ok) return r;
  if (const rescode r = read_relation(rd, relation); r != ok) return r;
  if (rd.lx.tok.kind != lp_kind::name) {
    return lp_expect(rd, lp_want::variable, "A bound needs a variable.");
  }
  if (const rescode r = known_variable(rd, j); r != ok) return r;
  const lp_kind turned = relation == lp_kind::less      ? lp_kind::greater
                         : relation == lp_kind::greater ? lp_kind::less
                                                        : relation;
  if (const rescode r = put_bound(rd, j, turned, value); r != ok) return r;
  if (!lp_isrelation(rd.lx.tok.kind)) return ok;
  if (rd.lx.tok.kind != relation || relation == lp_kind::equal) {
    return lp_expect(rd, lp_want::less, "Both relations must point the same way.");
  }
  if (const rescode r = read_relation(rd, second); r != ok) return r;
  if (const rescode r = read_value(rd, value); r != ok) return r;
  return put_bound(rd, j, second, value);
}

// name "free" | name relation value
rescode bound_by_name(lp_reader& rd) {
  double value = 0;
  lp_kind relation = lp_kind::less;
  int32_t j = 0;
  if (const rescode r = known_variable(rd, j); r != ok) return r;
  if (!lp_isrelation(rd.lx.tok.kind)) {
    if (rd.lx.tok.kind != lp_kind::name || !lp_isword(rd.lx.tok.text, "free")) {
      return lp_expect(rd, lp_want::free, "A variable in the bounds is free or has a relation.");
    }
    lp_next(rd.lx);
    if (j >= 0) {
      store_sides(rd, j, {ZLV_BK_FR, -prob_inf, prob_inf}, lowergiven | uppergiven);
    }
    return ok;
  }
  if (const rescode r = read_relation(rd, relation); r != ok) return r;
  if (const rescode r = read_value(rd, value); r != ok) return r;
  return put_bound(rd, j, relation, value);
}

void make_variables(lp_reader& rd) {
  const auto numvar = size_t(rd.numvar);
  rd.lower.resize(numvar, 0.0);
  rd.upper.resize(numvar, prob_inf);
  rd.boundset.resize(numvar, uint8_t{0});
  rd.isint.resize(numvar, uint8_t{0});
}

rescode read_bounds(lp_reader& rd) {
  make_variables(rd);
  for (lp_lexer& lx = rd.lx; lx.tok.kind != lp_kind::section && lx.tok.kind != lp_kind::end;) {
    const bool isvalue = lx.tok.kind == lp_kind::number || lx.tok.kind == lp_kind::sign ||
                         lx.tok.kind == lp_kind::infinite;
    if (!isvalue && lx.tok.kind != lp_kind::name) {
      return lp_expect(rd, lp_want::variable, "A bound begins with a variable or a number.");
    }
    if (const rescode r = isvalue ? bound_by_value(rd) : bound_by_name(rd); r != ok) return r;
  }
  return ok;
}

rescode read_integers(lp_reader& rd, bool isbinary) {
  make_variables(rd);
  for (lp_lexer& lx = rd.lx; lx.tok.kind != lp_kind::section && lx.tok.kind != lp_kind::end;) {
    int32_t j = 0;
    if (lx.tok.kind != lp_kind::name) {
      return lp_expect(rd, lp_want::intvariable, "The section is a list of variables.");
    }
    if (const rescode r = known_variable(rd, j); r != ok) return r;
    if (j < 0) continue;
    rd.isint[j] = 1;
    rd.isanyint = true;
    if (!isbinary) continue;
    rd.lower[j] = 0;
    rd.upper[j] = 1;
    rd.boundset[j] = lowergiven | uppergiven;
  }
  return ok;
}

rescode read_section(lp_reader& rd, io_text& text) {
  const lp_sec sec = rd.lx.tok.sec;
  if (sec == lp_sec::refused) {
    return lp_expect(rd, lp_want::end, rd.lx.tok.why);
  }
  lp_next(rd.lx);
  switch (sec) {
    case lp_sec::constraints:
      tell_part(rd, "constraints");
      return read_constraints(rd, text);
    case lp_sec::bounds:
      tell_part(rd, "bounds");
      return read_bounds(rd);
    default:
      tell_part(rd, "binary/general");
      return read_integers(rd, sec == lp_sec::binary);
  }
}

// A file may do without "end", but not break off in the middle of a line.
rescode check_end(lp_reader& rd) {
  if (rd.lx.tok.kind == lp_kind::section) return ok;
  const mm_vector<char>& last = rd.lx.lines.text->chunk.back();
  if (!last.empty() && last.back() != '\n') {
    return lp_expect(rd, lp_want::end, "The file breaks off.");
  }
  lp_notetaken(rd, lp_note::no_end, rd.lx.lines.number, rd.lx.line);
  return ok;
}

rescode read_file(lp_reader& rd, io_text& text) {
  lp_lexer& lx = rd.lx;
  lp_next(lx);
  if (const rescode r = read_sense(rd); r != ok) return r;
  tell_part(rd, "objective");
  if (const rescode r = lp_objective(rd); r != ok) return r;
  if (lx.tok.kind != lp_kind::section || lx.tok.sec != lp_sec::constraints) {
    return lp_expect(rd, lp_want::constraints, "The objective must end before it.");
  }
  while (lx.tok.kind == lp_kind::section && lx.tok.sec != lp_sec::end) {
    if (const rescode r = read_section(rd, text); r != ok) return r;
  }
  return check_end(rd);
}

// ---- Putting the problem together

// Adds up equal quadratic terms. The order stays.
void merge_qterms(lp_reader& rd) {
  lp_qterms& q = rd.q;
  const size_t num = q.val.size();
  const auto key = [&](size_t t) {
    return std::array<int32_t, 3>{q.subk[t], q.subi[t], q.subj[t]};
  };
  mm_vector<size_t> order(num, 0, prob_place(rd.p));
  for (size_t t = 0; t < num; ++t) order[t] = t;
  std::sort(order.begin(), order.end(), [&](size_t a, size_t b) {
    const auto ka = key(a), kb = key(b);
    return ka != kb ? ka < kb : a < b;
  });
  for (size_t s = 1, first = 0; s < num; ++s) {
    if (key(order[s]) != key(order[first])) {
      first = s;
      continue;
    }
    lp_notetaken(rd, lp_note::double_qterm, 0, prob_name(rd.p, ZLV_PI_VAR, q.subi[order[s]]));
    q.val[order[first]] += q.val[order[s]];
    q.val[order[s]] = 0;  // dropped like all that is small
  }
}

void store_quadratic(lp_reader& rd) {
  const lp_qterms& q = rd.q;
  if (q.val.empty()) return;
  merge_qterms(rd);
  size_t first = 0;  // of the constraints' terms; those of the objective come before them
  while (first < q.val.size() && q.subk[first] == prob_obj) ++first;
  const size_t rest = q.val.size() - first;
  prob_qreserve(rd.p, int32_t(q.val.size()));
  if (first > 0) {
    prob_qwriter w = prob_qopen(rd.p, prob_obj, int32_t(first));
    for (size_t k = 0; k < first; ++k) {
      if (std::abs(q.val[k]) > rd.set.tol.qij) prob_qpush(rd.p, w, q.subi[k], q.subj[k], q.val[k]);
    }
    prob_qclose(rd.p, w);
  }
  if (rest == 0) return;
  prob_qloadcons(
      rd.p, rd.set.tol, {q.subk.data() + first, rest},
      {{q.subi.data() + first, rest}, {q.subj.data() + first, rest}, {q.val.data() + first, rest}});
}

// The rows read become columns.
void store_matrix(lp_reader& rd) {
  const mm_place at = prob_place(rd.p);
  const ptrdiff_t begin = rd.rowptr[1], end = rd.rowptr.back();
  mm_vector<ptrdiff_t> ptr(size_t(rd.numvar) + 1, 0, at);
  mm_vector<int32_t> sub(size_t(end - begin), 0, at);
  mm_vector<double> val(size_t(end - begin), 0.0, at);
  for (ptrdiff_t k = begin; k < end; ++k) ++ptr[rd.sub[k] + 1];
  for (int32_t j = 0; j < rd.numvar; ++j) ptr[j + 1] += ptr[j];
  for (int32_t i = 0; i < rd.numcon; ++i) {
    for (ptrdiff_t k = rd.rowptr[i + 1]; k < rd.rowptr[i + 2]; ++k) {
      const ptrdiff_t to = ptr[rd.sub[k]]++;
      sub[to] = i;
      val[to] = rd.val[k];
    }
  }
  std::rotate(ptr.begin(), ptr.end() - 1, ptr.end());
  ptr[0] = 0;
  rd.sub = mm_vector<int32_t>(at);
  rd.val = mm_vector<double>(at);
  prob_loadcolumns(rd.p, ptr, sub, val);
}

rescode store_costs(lp_reader& rd) {
  for (ptrdiff_t k = rd.rowptr[0]; k < rd.rowptr[1]; ++k) {
    const int32_t j = rd.sub[k];
    if (const rescode r = dat_cost(rd.t, rd.p, rd.val[k], 0, j, "c"); r != ok) return r;
    rd.p.c[j] = rd.val[k];
  }
  rd.p.cfix = rd.cfix;
  return ok;
}

// The warnings about a bound. Two values that count as one are no fault of the file.
void warn_bound(lp_reader& rd, prob_bound b, acc mode, int32_t i) {
  if (b.key == ZLV_BK_FX) b.key = ZLV_BK_RA;
  dat_warnbound(rd.t, rd.p, rd.set.tol, b, mode, i);
}

void store_bounds(lp_reader& rd) {
  prob_rec& p = rd.p;
  for (int32_t i = 0; i < p.numcon; ++i) {
    warn_bound(rd, rd.rowbound[i], acc::con, i);
    prob_storebound(p, acc::con, i, rd.rowbound[i]);
  }
  for (int32_t j = 0; j < p.numvar; ++j) {
    if (rd.upper[j] < 0 && (rd.boundset[j] & lowergiven) == 0) {
      lp_notetaken(rd, lp_note::negative_upper, rd.negativeline, prob_name(p, ZLV_PI_VAR, j));
    }
    const prob_bound b = prob_normalise(rd.set.tol, {ZLV_BK_RA, rd.lower[j], rd.upper[j]});
    warn_bound(rd, b, acc::var, j);
    prob_storebound(p, acc::var, j, b);
  }
}

void store_integers(lp_reader& rd) {
  if (!rd.isanyint) return;
  prob_maketypes(rd.p);
  for (int32_t j = 0; j < rd.numvar; ++j) {
    if (rd.isint[j] != 0) prob_setint(rd.p, j);
  }
}

rescode store(lp_reader& rd) {
  make_variables(rd);
  rd.rowptr.push_back(ptrdiff_t(rd.sub.size()));
  prob_append(rd.p, acc::con, rd.numcon);
  prob_append(rd.p, acc::var, rd.numvar);
  rd.p.names = std::move(rd.names);
  if (const rescode r = store_costs(rd); r != ok) return r;
  store_matrix(rd);
  store_quadratic(rd);
  store_bounds(rd);
  store_integers(rd);
  return ok;
}

lp_settings settings_of(const task_rec& t) {
  lp_settings s;
  s.isquoted = t.par.i[ipar::read_lp_quoted_names] != 0;
  s.iskeepfree = t.par.i[ipar::read_keep_free_con] != 0;
  s.isdropnew = t.par.i[ipar::read_lp_drop_new_vars_in_bou] != 0;
  s.islog = t.par.i[ipar::log] != 0 && t.par.i[ipar::log_file] != 0;
  s.tol = prob_tols(t.par);
  return s;
}

}  // namespace

lp_reader::lp_reader(task_rec& task, prob_rec& prob, const char* file, const lp_settings& settings)
    : t(task),
      p(prob),
      filename(file),
      set(settings),
      names(prob_place(prob)),
      mark(prob_place(prob)),
      lower(prob_place(prob)),
      upper(prob_place(prob)),
      boundset(prob_place(prob)),
      isint(prob_place(prob)),
      rowptr(prob_place(prob)),
      sub(prob_place(prob)),
      val(prob_place(prob)),
      rowbound(prob_place(prob)),
      q(prob_place(prob)) {}

void lp_tell(lp_reader& rd, const char* why) noexcept {
  const lp_token& tok = rd.lx.tok;
  task_echo(rd.t, msg_kind::err, "%s, line %d, column %d, '%s': %s\n", rd.filename,
            rd.lx.lines.number, column_of(rd), io_printable(tok.text).text, why);
}

rescode lp_expect(lp_reader& rd, lp_want want, const char* why) noexcept {
  const want_text& w = want_texts[size_t(want)];
  const bool isend = rd.lx.tok.kind == lp_kind::end;
  const rescode code = w.ismark && !isend ? err_lp_file_format : err_lp_format;
  if (code == err_lp_file_format) {
    (void)task_fail(rd.t, err_lp_file_format, rd.lx.lines.number, column_of(rd));
  } else {
    (void)task_fail(rd.t, err_lp_format, rd.lx.lines.number);
  }
  task_echo(rd.t, msg_kind::err, "%s in line\n%s\n", w.text, shown_line(rd).text);
  const bool isown = rd.lx.tok.kind == lp_kind::bad;
  lp_tell(rd, isown ? rd.lx.tok.why : isend ? "The file ends here." : why);
  return code;
}

void lp_notetaken(lp_reader& rd, lp_note note, int32_t line, std::string_view name) noexcept {
  lp_notice& notice = rd.notes[size_t(note)];
  if (notice.num++ > 0) return;
  notice.line = line;
  notice.name = io_printable(name);
}

rescode lp_read(task_rec& t, io_text& text, const char* filename, file_problem& out) {
  lp_reader rd(t, out.prob, filename, settings_of(t));
  rd.lx.lines = io_firstline(text);
  rd.lx.isquoting = rd.set.isquoted;
  if (const rescode r = read_file(rd, text); r != ok) return r;
  if (const rescode r = store(rd); r != ok) return r;
  tell_notes(rd);
  out.sense = rd.sense;
  out.issensegiven = true;
  return ok;
}
