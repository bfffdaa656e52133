#include "zalvo/zalvoropf.h"

#include <algorithm>
#include <cmath>

#include "zalvo/zalvofile.h"

namespace {

using enum rescode;

// ---- Tags

enum class opf_state : int32_t {
  top,
  comment,
  objective,
  constraints,
  con,
  hints,
  hint,
  bounds,
  b,
  cone,
  integer,
  variables,
  vendor,
  parameters,
  p,
  solutions,
  solution,
  solvar,
  solcon
};
struct tag_rule {
  std::string_view name;
  opf_state state, parent;
  bool isproblem;  // a section of the problem
};
constexpr tag_rule tag_rules[] = {{"comment", opf_state::comment, opf_state::top, false},
                                  {"objective", opf_state::objective, opf_state::top, true},
                                  {"constraints", opf_state::constraints, opf_state::top, true},
                                  {"con", opf_state::con, opf_state::constraints, false},
                                  {"hints", opf_state::hints, opf_state::top, false},
                                  {"hint", opf_state::hint, opf_state::hints, false},
                                  {"bounds", opf_state::bounds, opf_state::top, true},
                                  {"b", opf_state::b, opf_state::bounds, false},
                                  {"cone", opf_state::cone, opf_state::bounds, false},
                                  {"integer", opf_state::integer, opf_state::top, true},
                                  {"variables", opf_state::variables, opf_state::top, true},
                                  {"vendor", opf_state::vendor, opf_state::top, false},
                                  {"parameters", opf_state::parameters, opf_state::vendor, false},
                                  {"p", opf_state::p, opf_state::parameters, false},
                                  {"solutions", opf_state::solutions, opf_state::top, false},
                                  {"solution", opf_state::solution, opf_state::solutions, false},
                                  {"var", opf_state::solvar, opf_state::solution, false},
                                  {"con", opf_state::solcon, opf_state::solution, false}};

std::string_view tag_of(opf_state state) noexcept {
  for (const tag_rule& rule : tag_rules) {
    if (rule.state == state) return rule.name;
  }
  return "";
}

rescode fail_tag(opf_reader& rd, const char* form, const char* why) noexcept {
  char said[128];
  std::snprintf(said, sizeof said, form, io_printable(rd.lx.tok.text).text);  // NOLINT: ours
  return opf_fail(rd, said, why);
}

// The rule of the current opening tag within parent.
rescode find_rule(opf_reader& rd, opf_state parent, const tag_rule*& found) noexcept {
  bool isknown = false;
  for (const tag_rule& rule : tag_rules) {
    if (!lex_isword(rd.lx.tok.text, rule.name)) continue;
    isknown = true;
    found = &rule;
    if (rule.parent == parent) break;
  }
  if (!isknown) return fail_tag(rd, "Unknown tag [%s]\n", "There is no such tag.");
  const bool isrepeated = found->state == opf_state::objective && rd.isobjective;
  const bool islate = found->isproblem && !rd.isproblem && rd.out.hassol;
  if (found->parent == parent && !isrepeated && !islate) return ok;
  return fail_tag(rd, "Illegal use of tag [%s]\n",
                  isrepeated ? "There is an objective already."
                  : islate   ? "The problem must stand before its solutions."
                             : "The tag cannot stand here.");
}

rescode tag_end(opf_reader& rd) {
  if (rd.lx.tok.kind != lex_kind::tagend) {
    return opf_fail(rd, nullptr, "The tag should end here.");
  }
  opf_next(rd.lx);
  return ok;
}

// The end tag of state. said: what the format says when something else stands there.
rescode end_tag(opf_reader& rd, opf_state state, const char* said) {
  opf_lexer& lx = rd.lx;
  if (lx.tok.kind == lex_kind::end) return opf_fail(rd, nullptr, "The file ends within a section.");
  if (lx.tok.kind != lex_kind::tag) return opf_fail(rd, said, "Something else should stand here.");
  if (!lx.tok.isclosing) {
    const tag_rule* rule = nullptr;
    return find_rule(rd, state, rule);
  }
  if (!lex_isword(lx.tok.text, tag_of(state))) {
    return opf_fail(rd, "Unmatched end-tag\n", "It ends another tag than the last one opened.");
  }
  opf_next(lx);
  return tag_end(rd);
}

// ---- Lists and hints

rescode read_names(opf_reader& rd, bool isinteger) {
  opf_lexer& lx = rd.lx;
  while (lx.tok.kind == lex_kind::name) {
    if (const rescode r = opf_poll(rd); r != ok) return r;
    int32_t j = 0;
    const int32_t numvar = rd.b.numvar;
    if (const rescode r = opf_variable(rd, j); r != ok) return r;
    if (isinteger) {
      row_makevars(rd.b);
      row_setint(rd.b, j);
    } else if (numvar == rd.b.numvar) {
      row_notetaken(rd.b, row_note::double_name, lx.lines.number, lx.tok.text);
    }
    opf_next(lx);
    if (lx.tok.kind == lex_kind::comma) opf_next(lx);
  }
  return ok;
}

rescode variables_head(opf_reader& rd, bool& isclosing) {
  isclosing = false;
  if (rd.lx.tok.kind != lex_kind::name) return ok;
  if (!lex_isword(rd.lx.tok.text, "disallow_new_variables")) {
    return opf_fail(rd, nullptr, "The section has no such attribute.");
  }
  isclosing = true;
  opf_next(rd.lx);
  return ok;
}

rescode read_hint(opf_reader& rd) {
  opf_lexer& lx = rd.lx;
  if (lx.tok.kind != lex_kind::name) {
    return opf_fail(rd, "In section hint: a keyword is required\n", "A hint needs a keyword.");
  }
  int64_t* hint = lex_isword(lx.tok.text, "numvar")   ? &rd.hintvar
                  : lex_isword(lx.tok.text, "numcon") ? &rd.hintcon
                  : lex_isword(lx.tok.text, "numanz") ? &rd.hintanz
                                                      : nullptr;
  opf_next(lx);
  if (const rescode r = tag_end(rd); r != ok) return r;
  double value = 0;
  rd.hintline = lx.lines.number;
  if (const rescode r = opf_number(rd, false, value, "Expected a numeric value\n"); r != ok) {
    return r;
  }
  constexpr double most = 9007199254740992.0;  // a double counts up to here
  if (hint != nullptr) *hint = int64_t(std::clamp(value, 0.0, most));
  return ok;
}

// Files are told apart from cut ones by their hints, so that they are held against what was read.
void check_hints(opf_reader& rd) {
  const prob_rec& p = rd.b.p;
  const auto check = [&](int64_t hint, int32_t num, std::string_view name) {
    if (hint >= 0 && hint != num) row_notetaken(rd.b, row_note::hint, rd.hintline, name);
  };
  check(rd.hintvar, p.numvar, "NUMVAR");
  check(rd.hintcon, p.numcon, "NUMCON");
  check(rd.hintanz, prob_numanz(p), "NUMANZ");
}

// ---- Sections

rescode read_tag(opf_reader& rd, opf_state parent, io_text& text);

// Everything that was read so far is done with.
rescode pass_chunk(opf_reader& rd, io_text& text) {
  if (rd.lx.lines.nextchunk == rd.nextchunk) return ok;
  rd.nextchunk = rd.lx.lines.nextchunk;
  io_forget(text, rd.lx.lines);
  return opf_poll(rd);
}

rescode read_children(opf_reader& rd, opf_state state, io_text& text) {
  if (const rescode r = tag_end(rd); r != ok) return r;
  while (rd.lx.tok.kind == lex_kind::tag && !rd.lx.tok.isclosing) {
    if (const rescode r = read_tag(rd, state, text); r != ok) return r;
    if (const rescode r = pass_chunk(rd, text); r != ok) return r;
  }
  return end_tag(rd, state, nullptr);
}

rescode skip_section(opf_reader& rd, opf_state state) {
  if (rd.lx.tok.kind != lex_kind::tagend) {
    return opf_fail(rd, nullptr, "The tag should end here.");
  }
  return opf_skipto(rd.lx, tag_of(state)) ? ok : opf_fail(rd, nullptr, "The section is not ended.");
}

rescode read_vendor(opf_reader& rd, io_text& text) {
  if (rd.lx.tok.kind != lex_kind::name) {
    return opf_fail(rd, "In vendor section: Missing vendor name\n", "The section needs a name.");
  }
  const bool isours = lex_isword(rd.lx.tok.text, "zalvo");
  opf_next(rd.lx);
  return isours ? read_children(rd, opf_state::vendor, text) : skip_section(rd, opf_state::vendor);
}

rescode read_list(opf_reader& rd, opf_state state) {
  bool isclosing = false;
  if (state == opf_state::variables) {
    if (const rescode r = variables_head(rd, isclosing); r != ok) return r;
  }
  if (const rescode r = tag_end(rd); r != ok) return r;
  if (const rescode r = read_names(rd, state == opf_state::integer); r != ok) return r;
  rd.isclosed = rd.isclosed || isclosing;
  return end_tag(rd, state, nullptr);
}

// A tag whose content is one thing: head reads the attributes, body the rest.
using reader_part = rescode (*)(opf_reader&);
rescode read_leaf(opf_reader& rd, opf_state state, reader_part head, reader_part body,
                  const char* said) {
  if (head != nullptr) {
    if (const rescode r = head(rd); r != ok) return r;
  }
  if (const rescode r = tag_end(rd); r != ok) return r;
  if (const rescode r = body(rd); r != ok) return r;
  return end_tag(rd, state, said);
}

rescode objective_head(opf_reader& rd) {
  opf_lexer& lx = rd.lx;
  constexpr const char* expected = "In section objective: Expected 'maximize' or 'minimize'\n";
  if (lx.tok.kind == lex_kind::tagend) {
    return opf_fail(rd, "In section objective: An objective sense is required\n",
                    "The tag needs a sense.");
  }
  if (lx.tok.kind != lex_kind::name) return opf_fail(rd, expected, "It is no sense.");
  const bool ismax = lex_isword(lx.tok.text, "maximize") || lex_isword(lx.tok.text, "max") ||
                     lex_isword(lx.tok.text, "maximise");
  if (!ismax && !lex_isword(lx.tok.text, "minimize") && !lex_isword(lx.tok.text, "min") &&
      !lex_isword(lx.tok.text, "minimise")) {
    return opf_fail(rd, expected, "It is no sense.");
  }
  rd.out.sense = ismax ? ZLV_OBJECTIVE_SENSE_MAX : ZLV_OBJECTIVE_SENSE_MIN;
  rd.out.issensegiven = true;
  rd.isobjective = true;
  opf_next(lx);
  if (lx.tok.kind != lex_kind::name) return ok;
  names_putobj(rd.b.names, lx.tok.text);
  opf_next(lx);
  return ok;
}

rescode constraint_head(opf_reader& rd) {
  rd.label.clear();
  if (rd.lx.tok.kind != lex_kind::name) return ok;
  rd.label = rd.lx.tok.text;
  if (names_find(rd.b.names, ZLV_PI_CON, rd.label) >= 0 && !rd.label.empty()) {
    return opf_fail(rd, nullptr, "Another constraint has this name.");
  }
  opf_next(rd.lx);
  return ok;
}

rescode read_section(opf_reader& rd, opf_state state, io_text& text) {
  switch (state) {
    case opf_state::comment:
      return skip_section(rd, state);
    case opf_state::vendor:
      return read_vendor(rd, text);
    case opf_state::integer:
    case opf_state::variables:
      return read_list(rd, state);
    case opf_state::constraints:
    case opf_state::hints:
    case opf_state::bounds:
    case opf_state::parameters:
    case opf_state::solutions:
      return read_children(rd, state, text);
    case opf_state::objective:
      return read_leaf(rd, state, objective_head, opf_objective,
                       "Unexpected text in objective definition\n");
    case opf_state::con:
      return read_leaf(rd, state, constraint_head, opf_constraint, nullptr);
    case opf_state::b:
      return read_leaf(rd, state, nullptr, opf_bound, "Unexpected text in bound definition\n");
    case opf_state::cone:
      return read_leaf(rd, state, opf_conehead, opf_cone, "Unexpected text in cone definition\n");
    case opf_state::hint:
      if (const rescode r = read_hint(rd); r != ok) return r;
      return end_tag(rd, state, nullptr);
    case opf_state::p:
      if (const rescode r = opf_param(rd); r != ok) return r;
      return end_tag(rd, state, nullptr);
    case opf_state::solution:
      if (const rescode r = opf_solhead(rd); r != ok) return r;
      return read_children(rd, state, text);
    case opf_state::solvar:
    case opf_state::solcon:
      if (const rescode r = opf_solitem(rd, state == opf_state::solcon); r != ok) return r;
      return end_tag(rd, state, "Error in solution item definition\n");
    default:
      fault_raise(fault_here(), "FATA ERROR: STATE = %d (%s)\n", int32_t(state),
                  tag_of(state).data());
  }
}

rescode read_tag(opf_reader& rd, opf_state parent, io_text& text) {
  const tag_rule* rule = nullptr;
  if (const rescode r = find_rule(rd, parent, rule); r != ok) return r;
  rd.isproblem = rd.isproblem || rule->isproblem;
  rd.isany = true;
  opf_next(rd.lx);
  return read_section(rd, rule->state, text);
}

rescode read_file(opf_reader& rd, io_text& text) {
  opf_lexer& lx = rd.lx;
  for (opf_next(lx); lx.tok.kind != lex_kind::end;) {
    if (lx.tok.kind != lex_kind::tag) {
      return opf_fail(rd, nullptr, "Outside of the sections there can be nothing.");
    }
    if (lx.tok.isclosing) return opf_fail(rd, "Unmatched end-tag\n", "No tag is open here.");
    if (const rescode r = read_tag(rd, opf_state::top, text); r != ok) return r;
    if (const rescode r = pass_chunk(rd, text); r != ok) return r;
  }
  return rd.isany ? ok : opf_fail(rd, nullptr, "The file holds no section.");
}

rescode store(opf_reader& rd) {
  if (!rd.isproblem) return ok;
  if (const rescode r = row_store(rd.b); r != ok) return r;
  for (size_t k = 0; k < rd.cones.size(); ++k) {
    const prob_cone& cone = rd.cones[k];
    prob_appendcone(rd.b.p, cone.type, cone.par, cone.sub);
    names_put(rd.b.p.names, ZLV_PI_CONE, int32_t(k),
              names_get(rd.conenames, ZLV_PI_CONE, int32_t(k)));
  }
  check_hints(rd);
  return ok;
}

}  // namespace

opf_reader::opf_reader(task_rec& task, const char* file, file_problem& into)
    : b(task, into.prob, file),
      out(into),
      lx(prob_place(into.prob)),
      label(mm_alloc<char>(prob_place(into.prob))),
      cones(prob_place(into.prob)),
      conenames(prob_place(into.prob)),
      coneof(prob_place(into.prob)),
      sol{opf_solution(prob_place(into.prob)), opf_solution(prob_place(into.prob)),
          opf_solution(prob_place(into.prob))} {
  b.defaultlower = -prob_inf;
}

rescode opf_fail(opf_reader& rd, const char* said, const char* why) noexcept {
  const opf_token& tok = rd.lx.tok;
  const auto column = tok.at == nullptr ? 1 : int32_t(tok.at - rd.lx.line.data()) + 1;
  (void)task_fail(rd.b.t, err_opf_format, rd.lx.lines.number);
  if (said != nullptr) task_echo(rd.b.t, msg_kind::err, "%s", said);
  if (tok.kind == lex_kind::bad) why = tok.why;
  if (tok.kind == lex_kind::end) why = "The file ends here.";
  task_echo(rd.b.t, msg_kind::err, "%s, line %d, column %d, '%s': %s\n", rd.b.filename,
            rd.lx.lines.number, column, io_printable(tok.text).text, why);
  return err_opf_format;
}

rescode opf_poll(opf_reader& rd) noexcept {
  if (rd.lx.lines.nextchunk == rd.pollchunk) return ok;
  rd.pollchunk = rd.lx.lines.nextchunk;
  return file_poll(rd.b.t);
}

rescode opf_variable(opf_reader& rd, int32_t& j) {
  if (rd.lx.tok.text.empty()) return opf_fail(rd, nullptr, "A name is empty.");
  if (!rd.isclosed) {
    j = row_variable(rd.b, rd.lx.tok.text);
    return ok;
  }
  j = names_find(rd.b.names, ZLV_PI_VAR, rd.lx.tok.text);
  if (j >= 0) return ok;
  return opf_fail(rd, "Section [variables] forbids later addition of new variables.\n",
                  "The section does not list this variable.");
}

rescode opf_number(opf_reader& rd, bool isinf, double& value, const char* said) {
  opf_lexer& lx = rd.lx;
  double sign = 1;
  for (; lx.tok.kind == lex_kind::sign; opf_next(lx)) sign *= lx.tok.value;
  if (lx.tok.kind == lex_kind::bad) {
    return opf_fail(rd, "Error in numeric value\n", "It is not a number.");
  }
  if (isinf && lx.tok.kind == lex_kind::infinite) {
    value = sign * prob_inf;
  } else if (lx.tok.kind == lex_kind::number) {
    value = sign * lx.tok.value;
  } else {
    return opf_fail(rd, said, "A number should stand here.");
  }
  opf_next(lx);
  return ok;
}

rescode opf_read(task_rec& t, io_text& text, const char* filename, file_problem& out) {
  opf_reader rd(t, filename, out);
  rd.lx.lines = io_firstline(text);
  if (const rescode r = read_file(rd, text); r != ok) return r;
  if (const rescode r = store(rd); r != ok) return r;
  out.isproblem = rd.isproblem;
  opf_storesolutions(rd);
  row_tellnotes(rd.b);
  return ok;
}
