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
  if (rd.set.islog) task_echo(rd.b.t, msg_kind::msg, "Reading %s.\n", part);
}

rescode read_sense(lp_reader& rd) {
  constexpr std::string_view mins[] = {"min", "minimize", "minimise", "minimum"};
  constexpr std::string_view maxs[] = {"max", "maximize", "maximise", "maximum"};
  const auto isin = [&](const auto& words) {
    return rd.lx.tok.kind == lex_kind::name &&
           std::any_of(std::begin(words), std::end(words),
                       [&](std::string_view word) { return lex_isword(rd.lx.tok.text, word); });
  };
  const bool ismax = isin(maxs);
  if (!ismax && !isin(mins)) {
    return lp_expect(rd, lp_want::sense, "The file must begin with it.");
  }
  rd.sense = ismax ? ZLV_OBJECTIVE_SENSE_MAX : ZLV_OBJECTIVE_SENSE_MIN;
  lp_next(rd.lx);
  if (rd.lx.tok.kind == lex_kind::colon) lp_next(rd.lx);
  return ok;
}

rescode read_constraints(lp_reader& rd, io_text& text) {
  for (lp_lexer& lx = rd.lx; lx.tok.kind != lex_kind::section && lx.tok.kind != lex_kind::end;) {
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
  for (; lx.tok.kind == lex_kind::sign; lp_next(lx)) sign *= lx.tok.value;
  if (lx.tok.kind == lex_kind::infinite) {
    value = sign * prob_inf;
  } else if (lx.tok.kind == lex_kind::number && !lx.tok.isglued) {
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
  j = names_find(rd.b.names, ZLV_PI_VAR, name);
  if (j >= 0) {
    lp_next(rd.lx);
    return ok;
  }
  if (rd.set.isdropnew) {
    (void)task_fail(rd.b.t, wrn_lp_drop_variable, io_printable(name).text);
    lp_next(rd.lx);
    return ok;
  }
  (void)task_fail(rd.b.t, err_read_lp_nonexisting_name, io_printable(name).text);
  lp_tell(rd, "Objective and constraints do not hold this variable.");
  return err_read_lp_nonexisting_name;
}

// relation value, as seen from the variable; a second one of the same statement has the same
// direction, which is checked by the caller.
rescode put_bound(lp_reader& rd, int32_t j, lex_kind relation, double value) {
  prob_bound b = {ZLV_BK_RA, -prob_inf, prob_inf};
  if (!lp_side(relation, value, b)) {
    return lp_expect(rd, lp_want::number,
                     "The bound before this place can never hold: it is infinite.");
  }
  const uint8_t sides = (relation != lex_kind::less ? row_lowergiven : 0) |
                        (relation != lex_kind::greater ? row_uppergiven : 0);
  if (j >= 0) row_setsides(rd.b, j, b, sides, rd.lx.lastline);
  return ok;
}

rescode read_relation(lp_reader& rd, lex_kind& relation) {
  relation = rd.lx.tok.kind;
  if (!lex_isrelation(relation)) {
    return lp_expect(rd, lp_want::less, "A bound needs a relation.");
  }
  lp_next(rd.lx);
  return ok;
}

// value relation name [relation value]
rescode bound_by_value(lp_reader& rd) {
  double value = 0;
  lex_kind relation = lex_kind::less, second = lex_kind::less;
  int32_t j = 0;
  if (const rescode r = read_value(rd, value); r != ok) return r;
  if (const rescode r = read_relation(rd, relation); r != ok) return r;
  if (rd.lx.tok.kind != lex_kind::name) {
    return lp_expect(rd, lp_want::variable, "A bound needs a variable.");
  }
  if (const rescode r = known_variable(rd, j); r != ok) return r;
  const lex_kind turned = relation == lex_kind::less      ? lex_kind::greater
                          : relation == lex_kind::greater ? lex_kind::less
                                                          : relation;
  if (const rescode r = put_bound(rd, j, turned, value); r != ok) return r;
  if (!lex_isrelation(rd.lx.tok.kind)) return ok;
  if (rd.lx.tok.kind != relation || relation == lex_kind::equal) {
    return lp_expect(rd, lp_want::less, "Both relations must point the same way.");
  }
  if (const rescode r = read_relation(rd, second); r != ok) return r;
  if (const rescode r = read_value(rd, value); r != ok) return r;
  return put_bound(rd, j, second, value);
}

// name "free" | name relation value
rescode bound_by_name(lp_reader& rd) {
  double value = 0;
  lex_kind relation = lex_kind::less;
  int32_t j = 0;
  if (const rescode r = known_variable(rd, j); r != ok) return r;
  if (!lex_isrelation(rd.lx.tok.kind)) {
    if (rd.lx.tok.kind != lex_kind::name || !lex_isword(rd.lx.tok.text, "free")) {
      return lp_expect(rd, lp_want::free, "A variable in the bounds is free or has a relation.");
    }
    lp_next(rd.lx);
    if (j >= 0) {
      row_setsides(rd.b, j, {ZLV_BK_FR, -prob_inf, prob_inf}, row_lowergiven | row_uppergiven,
                   rd.lx.lastline);
    }
    return ok;
  }
  if (const rescode r = read_relation(rd, relation); r != ok) return r;
  if (const rescode r = read_value(rd, value); r != ok) return r;
  return put_bound(rd, j, relation, value);
}

rescode read_bounds(lp_reader& rd) {
  row_makevars(rd.b);
  for (lp_lexer& lx = rd.lx; lx.tok.kind != lex_kind::section && lx.tok.kind != lex_kind::end;) {
    const bool isvalue = lx.tok.kind == lex_kind::number || lx.tok.kind == lex_kind::sign ||
                         lx.tok.kind == lex_kind::infinite;
    if (!isvalue && lx.tok.kind != lex_kind::name) {
      return lp_expect(rd, lp_want::variable, "A bound begins with a variable or a number.");
    }
    if (const rescode r = isvalue ? bound_by_value(rd) : bound_by_name(rd); r != ok) return r;
  }
  return ok;
}

rescode read_integers(lp_reader& rd, bool isbinary) {
  row_makevars(rd.b);
  for (lp_lexer& lx = rd.lx; lx.tok.kind != lex_kind::section && lx.tok.kind != lex_kind::end;) {
    int32_t j = 0;
    if (lx.tok.kind != lex_kind::name) {
      return lp_expect(rd, lp_want::intvariable, "The section is a list of variables.");
    }
    if (const rescode r = known_variable(rd, j); r != ok) return r;
    if (j < 0) continue;
    row_setint(rd.b, j);
    if (!isbinary) continue;
    rd.b.lower[j] = 0;
    rd.b.upper[j] = 1;
    rd.b.boundset[j] = row_lowergiven | row_uppergiven;
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
  if (rd.lx.tok.kind == lex_kind::section) return ok;
  const mm_vector<char>& last = rd.lx.lines.text->chunk.back();
  if (!last.empty() && last.back() != '\n') {
    return lp_expect(rd, lp_want::end, "The file breaks off.");
  }
  row_notetaken(rd.b, row_note::no_end, rd.lx.lines.number, rd.lx.line);
  return ok;
}

rescode read_file(lp_reader& rd, io_text& text) {
  lp_lexer& lx = rd.lx;
  lp_next(lx);
  if (const rescode r = read_sense(rd); r != ok) return r;
  tell_part(rd, "objective");
  if (const rescode r = lp_objective(rd); r != ok) return r;
  if (lx.tok.kind != lex_kind::section || lx.tok.sec != lp_sec::constraints) {
    return lp_expect(rd, lp_want::constraints, "The objective must end before it.");
  }
  while (lx.tok.kind == lex_kind::section && lx.tok.sec != lp_sec::end) {
    if (const rescode r = read_section(rd, text); r != ok) return r;
  }
  return check_end(rd);
}

lp_settings settings_of(const task_rec& t) {
  lp_settings s;
  s.isquoted = t.par.i[ipar::read_lp_quoted_names] != 0;
  s.iskeepfree = t.par.i[ipar::read_keep_free_con] != 0;
  s.isdropnew = t.par.i[ipar::read_lp_drop_new_vars_in_bou] != 0;
  s.islog = t.par.i[ipar::log] != 0 && t.par.i[ipar::log_file] != 0;
  return s;
}

}  // namespace

void lp_tell(lp_reader& rd, const char* why) noexcept {
  const lp_token& tok = rd.lx.tok;
  task_echo(rd.b.t, msg_kind::err, "%s, line %d, column %d, '%s': %s\n", rd.b.filename,
            rd.lx.lines.number, column_of(rd), io_printable(tok.text).text, why);
}

rescode lp_expect(lp_reader& rd, lp_want want, const char* why) noexcept {
  const want_text& w = want_texts[size_t(want)];
  const bool isend = rd.lx.tok.kind == lex_kind::end;
  const rescode code = w.ismark && !isend ? err_lp_file_format : err_lp_format;
  if (code == err_lp_file_format) {
    (void)task_fail(rd.b.t, err_lp_file_format, rd.lx.lines.number, column_of(rd));
  } else {
    (void)task_fail(rd.b.t, err_lp_format, rd.lx.lines.number);
  }
  task_echo(rd.b.t, msg_kind::err, "%s in line\n%s\n", w.text, shown_line(rd).text);
  const bool isown = rd.lx.tok.kind == lex_kind::bad;
  lp_tell(rd, isown ? rd.lx.tok.why : isend ? "The file ends here." : why);
  return code;
}

rescode lp_read(task_rec& t, io_text& text, const char* filename, file_problem& out) {
  lp_reader rd(t, out.prob, filename, settings_of(t));
  rd.lx.lines = io_firstline(text);
  rd.lx.isquoting = rd.set.isquoted;
  if (const rescode r = read_file(rd, text); r != ok) return r;
  if (const rescode r = row_store(rd.b); r != ok) return r;
  row_tellnotes(rd.b);
  out.sense = rd.sense;
  out.issensegiven = true;
  return ok;
}
