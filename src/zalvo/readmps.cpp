#include "zalvo/readmps.h"

#include <algorithm>
#include <cstring>

#include "zalvo/zalvodat.h"
#include "zalvo/zalvofile.h"

namespace {

using enum rescode;

// ---- Messages

struct note_text {
  mps_note note;
  bool isdeviation;  // refused when ZLV_IPAR_READ_MPS_RELAX is off
  const char* text;
};
constexpr note_text note_texts[] = {
    {mps_note::negative_up, true,
     "negative upper bound without a lower bound, which becomes minus infinity"},
    {mps_note::double_bound, true, "bound given more than once, of which the last is taken"},
    {mps_note::range_of_free, true, "range of a free row or of the objective, which is ignored"},
    {mps_note::rhs_unused, false, "entry of an RHS vector that is not the one taken"},
    {mps_note::ranges_unused, false, "entry of a RANGES vector that is not the one taken"},
    {mps_note::bounds_unused, false, "entry of a BOUNDS vector that is not the one taken"},
    {mps_note::mirrored_q, true,
     "quadratic term given more than once or in both orders; they are added"}};

// What was found and let pass: warnings, or an error when deviations are not wanted.
rescode tell_notes(mps_reader& rd) {
  for (const note_text& n : note_texts) {
    const mps_notice& notice = rd.notes[size_t(n.note)];
    if (notice.num == 0) continue;
    const bool isfault = n.isdeviation && !rd.set.isrelaxed;
    if (isfault) (void)task_fail(rd.t, err_mps_file, rd.filename);
    task_echo(rd.t, isfault ? msg_kind::err : msg_kind::wrn, "%s: line %d, '%s': %s (%d in all).\n",
              rd.filename, notice.line, io_printable(notice.name).text, n.text, notice.num);
    if (isfault) return err_mps_file;
  }
  return ok;
}

// ---- Second pass

void tell_count(const mps_reader& rd, int32_t num, const char* what, const timer& clock) {
  if (!rd.set.islog) return;
  task_echo(rd.t, msg_kind::msg, "Read %d number of %s in %.2f seconds.\n", num, what,
            timer_wall(clock));
}

rescode end_section(mps_reader& rd, const timer& clock) {
  rescode r = ok;
  switch (rd.sec) {
    case mps_sec::rows:
      r = mps_rowsend(rd);
      if (r == ok) tell_count(rd, rd.p.numcon, "constraints", clock);
      break;
    case mps_sec::columns:
      r = mps_columnsend(rd);
      if (r != ok) break;
      tell_count(rd, rd.p.numvar, "variables", clock);
      tell_count(rd, prob_numanz(rd.p), "A nonzeros", clock);
      break;
    case mps_sec::csection:
      r = mps_coneend(rd);
      break;
    default:
      break;
  }
  return r;
}

rescode read_sense(mps_reader& rd, std::string_view word) {
  const bool ismax =
      mps_isword(word, "MAX") || mps_isword(word, "MAXIMIZE") || mps_isword(word, "MAXIMISE");
  if (!ismax && !mps_isword(word, "MIN") && !mps_isword(word, "MINIMIZE") &&
      !mps_isword(word, "MINIMISE")) {
    return mps_fail(rd, word, "MIN, MINIMIZE, MAX or MAXIMIZE is expected.",
                    err_mps_invalid_objsense, io_printable(word).text);
  }
  if (rd.set.isobjsense) rd.sense = ismax ? ZLV_OBJECTIVE_SENSE_MAX : ZLV_OBJECTIVE_SENSE_MIN;
  return ok;
}

rescode read_objname(mps_reader& rd, std::string_view name) {
  if (rd.set.objname.empty()) rd.set.objname = name;
  return ok;
}

// Whether a section may stand here: ROWS before COLUMNS before all that refers to them.
bool isinorder(const mps_reader& rd, mps_sec sec) noexcept {
  const auto seen = [&](mps_sec s) { return rd.isseen[size_t(s)]; };
  switch (sec) {
    case mps_sec::name:
      return !seen(sec) && !seen(mps_sec::rows);
    case mps_sec::objsense:
      return !seen(sec);
    case mps_sec::objname:
      return !seen(sec) && !seen(mps_sec::rows);
    case mps_sec::rows:
      return !seen(sec);
    case mps_sec::columns:
      return !seen(sec) && seen(mps_sec::rows);
    case mps_sec::rhs:
    case mps_sec::ranges:
    case mps_sec::bounds:
      return !seen(sec) && seen(mps_sec::columns);
    default:
      return seen(mps_sec::columns);
  }
}

rescode begin_section(mps_reader& rd, std::string_view word, std::string_view rest) {
  const mps_sec sec = mps_findsection(word);
  if (sec == mps_sec::none) {
    return mps_fail(rd, word, "A section keyword is expected in the first column.",
                    err_mps_inv_sec_name, io_printable(word).text);
  }
  if (!isinorder(rd, sec)) {
    return mps_fail(rd, word, "The section is out of place.", err_mps_inv_sec_order,
                    io_printable(word).text);
  }
  rd.sec = sec;
  rd.isseen[size_t(sec)] = true;
  switch (sec) {
    case mps_sec::name:
      names_puttask(rd.p.names, rest);
      return ok;
    case mps_sec::objsense:
      return rest.empty() ? ok : read_sense(rd, rest);
    case mps_sec::objname:
      return rest.empty() ? ok : read_objname(rd, rest);
    case mps_sec::quadobj:
    case mps_sec::qmatrix:
    case mps_sec::qsection:
    case mps_sec::qcmatrix:
      return mps_quadhead(rd, rest);
    case mps_sec::csection:
      return mps_conehead(rd, rest);
    case mps_sec::endata:
      return ok;
    default:
      break;
  }
  if (rest.empty() || rest[0] == '$' || rest[0] == '*') return ok;
  return mps_badfield(rd, 2, rest, "There should be nothing behind the keyword.");
}

rescode data_line(mps_reader& rd) {
  switch (rd.sec) {
    case mps_sec::objsense:
      return read_sense(rd, mps_trim(rd.line));
    case mps_sec::objname:
      return read_objname(rd, mps_trim(rd.line));
    case mps_sec::rows:
      return mps_rowsline(rd);
    case mps_sec::columns:
      return mps_columnsline(rd);
    case mps_sec::rhs:
      return mps_rhsline(rd);
    case mps_sec::ranges:
      return mps_rangesline(rd);
    case mps_sec::bounds:
      return mps_boundsline(rd);
    case mps_sec::quadobj:
    case mps_sec::qmatrix:
    case mps_sec::qsection:
    case mps_sec::qcmatrix:
      return mps_quadline(rd);
    case mps_sec::csection:
      return mps_coneline(rd);
    case mps_sec::sets:
      return mps_fail(rd, mps_trim(rd.line), "Sets of variables are not supported.", err_mps_file,
                      rd.filename);
    default:
      return mps_fail(rd, mps_trim(rd.line), "A section keyword is expected in the first column.",
                      err_mps_file, rd.filename);
  }
}

rescode check_line(mps_reader& rd) {
  if (std::memchr(rd.line.data(), 0, rd.line.size()) != nullptr) {
    return mps_fail(rd, {}, "The line holds a zero byte.", err_mps_file, rd.filename);
  }
  if (rd.set.width > 0 && rd.line.size() > size_t(rd.set.width)) {
    const auto width = size_t(rd.set.width);
    if (!mps_trim(rd.line.substr(width)).empty()) {
      return mps_fail(rd, rd.line.substr(width, 1),
                      "The line is longer than ZLV_IPAR_READ_MPS_WIDTH allows.", err_mps_file,
                      rd.filename);
    }
  }
  return ok;
}

rescode read_lines(mps_reader& rd) {
  timer clock = timer_start();
  rd.sec = mps_sec::none;
  size_t nextchunk = 0;
  for (rd.lines = io_firstline(rd.text); io_nextline(rd.lines, rd.line);) {
    if (rd.lines.nextchunk != nextchunk) {
      nextchunk = rd.lines.nextchunk;
      if (const rescode r = file_poll(rd.t); r != ok) return r;
    }
    if (mps_isskipped(rd.line)) continue;
    if (const rescode r = check_line(rd); r != ok) return r;
    if (mps_isblank(rd.line[0])) {
      if (const rescode r = data_line(rd); r != ok) return r;
      continue;
    }
    std::string_view rest;
    const std::string_view word = mps_headword(rd.line, rest);
    if (const rescode r = end_section(rd, clock); r != ok) return r;
    clock = timer_start();
    if (const rescode r = begin_section(rd, word, rest); r != ok) return r;
    if (rd.sec == mps_sec::endata) return ok;
  }
  rd.line = {};
  return mps_fail(rd, {}, "The file ends without ENDATA.", err_mps_file, rd.filename);
}

// The parameters behind ENDATA, in comments between BEGIN ZALVO and END ZALVO.
void read_params(mps_reader& rd, mm_string& params) {
  constexpr std::string_view begin = "*BEGIN ZALVO", end = "*END ZALVO";
  bool isinside = false;
  while (io_nextline(rd.lines, rd.line)) {
    if (rd.line.starts_with(end)) return;
    if (isinside && rd.line.starts_with('*') && rd.line.find('\0') == rd.line.npos) {
      params += rd.line.substr(1);
      params += '\n';
    }
    isinside = isinside || rd.line.starts_with(begin);
  }
  params.clear();  // a block that does not end is text like any other
}

mps_settings settings_of(const task_rec& t) {
  mps_settings s;
  const param_values& par = t.par;
  s.format = par.i[ipar::read_mps_format];
  s.isquoted = par.i[ipar::read_mps_quoted_names] != 0;
  s.iskeepint = par.i[ipar::read_mps_keep_int] != 0;
  s.iskeepfree = par.i[ipar::read_keep_free_con] != 0;
  s.isrelaxed = par.i[ipar::read_mps_relax] != 0;
  s.isobjsense = par.i[ipar::read_mps_objsense] != 0;
  s.islog = par.i[ipar::log] != 0 && par.i[ipar::log_file] != 0;
  s.width = par.i[ipar::read_mps_width];
  s.qmode = par.i[ipar::read_q_mode];
  s.objname = par.s[spar::read_mps_obj_name];
  s.rhsname = par.s[spar::read_mps_rhs_name];
  s.ranname = par.s[spar::read_mps_ran_name];
  s.bouname = par.s[spar::read_mps_bou_name];
  s.tol = prob_tols(par);
  return s;
}

void want(mps_vectors& v, std::string_view name) noexcept {
  v.wanted = name;
  v.ischosen = !name.empty();
}

}  // namespace

mps_reader::mps_reader(task_rec& task, prob_rec& prob, io_text& from, const char* file)
    : t(task),
      p(prob),
      filename(file),
      set(settings_of(task)),
      text(from),
      rows(prob_place(prob)),
      rowcon(prob_place(prob)),
      contype(prob_place(prob)),
      rhs(prob_place(prob)),
      ran(prob_place(prob)),
      hasrhs(prob_place(prob)),
      hasran(prob_place(prob)),
      rowmark(prob_place(prob)),
      ptr(prob_place(prob)),
      sub(prob_place(prob)),
      val(prob_place(prob)),
      boundset(prob_place(prob)),
      rhsvec(prob_place(prob), "RHS", "rhs", wrn_mps_split_rhs_vector, mps_note::rhs_unused),
      ranvec(prob_place(prob), "RANGES", "range", wrn_mps_split_ran_vector,
             mps_note::ranges_unused),
      bouvec(prob_place(prob), "BOUNDS", "bound", wrn_mps_split_bou_vector,
             mps_note::bounds_unused),
      q(prob_place(prob)),
      hasq(prob_place(prob)),
      conesub(prob_place(prob)) {
  want(rhsvec, set.rhsname);
  want(ranvec, set.ranname);
  want(bouvec, set.bouname);
}

void mps_tell(mps_reader& rd, std::string_view token, const char* why) noexcept {
  task_echo(rd.t, msg_kind::err, "The error occured at line(%d):\n", rd.lines.number);
  task_echo(rd.t, msg_kind::err, "%s\n", io_printable(rd.line).text);
  const bool isinside = !token.empty() && token.data() >= rd.line.data() &&
                        token.data() < rd.line.data() + rd.line.size();
  if (isinside) {
    task_echo(rd.t, msg_kind::err, "%s, line %d, column %d, '%s': %s\n", rd.filename,
              rd.lines.number, int32_t(token.data() - rd.line.data()) + 1, io_printable(token).text,
              why);
  } else {
    task_echo(rd.t, msg_kind::err, "%s, line %d: %s\n", rd.filename, rd.lines.number, why);
  }
}

rescode mps_badfield(mps_reader& rd, int32_t field, std::string_view token,
                     const char* why) noexcept {
  return mps_fail(rd, token, why, err_mps_inv_field, field);
}

rescode mps_badrow(mps_reader& rd, std::string_view name) noexcept {
  if (name.empty()) return mps_fail(rd, name, "A name is expected.", err_mps_null_con_name);
  return mps_fail(rd, name, "It is not in ROWS.", err_mps_undef_con_name, io_printable(name).text);
}

rescode mps_badcolumn(mps_reader& rd, std::string_view name) noexcept {
  if (name.empty()) return mps_fail(rd, name, "A name is expected.", err_mps_null_var_name);
  return mps_fail(rd, name, "It is not in COLUMNS.", err_mps_undef_var_name,
                  io_printable(name).text);
}

void mps_notetaken(mps_reader& rd, mps_note note, std::string_view name) noexcept {
  mps_notice& notice = rd.notes[size_t(note)];
  if (notice.num++ > 0) return;
  notice.line = rd.lines.number;
  notice.name = name;
}

rescode mps_split(mps_reader& rd, mps_shape shape, mps_fields& fields) {
  mps_linefault fault;
  if (rd.form == mps_form::fixed) {
    if (mps_splitfixed(rd.line, shape, fields, fault)) return ok;
    if (fault.istab) {
      const rescode code = fault.field <= 2   ? err_mps_tab_in_field2
                           : fault.field <= 4 ? err_mps_tab_in_field3
                                              : err_mps_tab_in_field5;
      return mps_fail(rd, fault.token, fault.why, code);
    }
  } else {
    mps_tokens tokens;
    mps_tokenize(rd.line, rd.set.isquoted, tokens);
    const mps_lookup lookup = {&rd, [](const void* ctx, std::string_view name) {
                                 return mps_findcol(*static_cast<const mps_reader*>(ctx), name) >=
                                        0;
                               }};
    if (mps_splitblanks(tokens, shape, lookup, fields, fault)) return ok;
  }
  return mps_badfield(rd, fault.field, fault.token, fault.why);
}

int32_t mps_findrow(const mps_reader& rd, std::string_view name) noexcept {
  const int32_t row = names_find(rd.rows, ZLV_PI_CON, name);
  return row < 0 ? mps_norow : rd.rowcon[row];
}

rescode mps_read(task_rec& t, io_text& text, const char* filename, file_problem& out) {
  mps_reader rd(t, out.prob, text, filename);
  rd.sense = rd.set.isobjsense ? ZLV_OBJECTIVE_SENSE_MIN : t.par.i[ipar::objective_sense];
  mps_estimate(rd);
  if (const rescode r = read_lines(rd); r != ok) return r;
  if (!rd.isseen[size_t(mps_sec::columns)]) {
    return mps_fail(rd, {}, "There is no COLUMNS section.", err_mps_file, filename);
  }
  mps_storequad(rd);
  mps_storebounds(rd);
  if (const rescode r = tell_notes(rd); r != ok) return r;
  out.sense = rd.sense;
  out.issensegiven = rd.set.isobjsense && rd.isseen[size_t(mps_sec::objsense)];
  read_params(rd, out.params);
  return ok;
}
