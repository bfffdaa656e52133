#include "zalvo/zalvowmps.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "cpub/strbld.h"
#include "zalvo/paramfile.h"
#include "zalvo/zalvodat.h"

namespace {

using enum rescode;

constexpr size_t namewidth = 8, headwidth = 14, numwidth = 12;
constexpr int32_t exactprecision = 17;  // digits from which on every double is read back as it is
constexpr size_t putsize = size_t{1} << 15;  // characters handed over at a time

struct mps_writer {
  task_rec& t;
  prob_rec& p;
  io_out& out;
  strbld text;
  mm_string objname;
  int32_t precision = 0, firstgeneric = 0;
  bool isstrict = false, isquoted = false, isgeneric = false, isint = false, iskeepfree = false;
  bool isanyquoted = false;  // some name stands in quotes
  mps_writer(task_rec& task, io_out& o)
      : t(task), p(task.prob), out(o), text(mm_at(*task.mman)), objname(mm_at(*task.mman)) {}
};

void hand_over(mps_writer& w) noexcept {
  io_put(w.out, strbld_view(w.text));
  strbld_clear(w.text);
}
void hand_over_if_due(mps_writer& w) noexcept {
  if (w.text.text.size() >= putsize) hand_over(w);
}

// ---- Names

struct generated_name {
  char text[32];
};
generated_name generated(const mps_writer& w, int32_t kind, int32_t i) noexcept {
  constexpr const char* forms[] = {"x%06d", "con%06d", "cone%06d"};  // by ZLV_PI_*
  generated_name name;
  std::snprintf(name.text, sizeof name.text, forms[kind], i + w.firstgeneric);  // NOLINT: in table
  return name;
}

bool isblankin(std::string_view name) noexcept {
  return name.find(' ') != name.npos;
}

// A name as it stands in the file.
void add_text(mps_writer& w, std::string_view name, size_t width) {
  const size_t from = w.text.text.size();
  const bool isquoted = w.isanyquoted && isblankin(name) && !w.isstrict;
  if (isquoted) strbld_add(w.text, '"');
  strbld_add(w.text, name);
  if (isquoted) strbld_add(w.text, '"');
  strbld_pad(w.text, from, width);
}

void add_name(mps_writer& w, int32_t kind, int32_t i, size_t width) {
  if (const std::string_view name = prob_name(w.p, kind, i); !w.isgeneric && !name.empty()) {
    add_text(w, name, width);
    return;
  }
  const size_t from = w.text.text.size();
  const generated_name name = generated(w, kind, i);
  strbld_add(w.text, name.text);
  while (!w.isgeneric && prob_findname(w.p, kind, strbld_view(w.text).substr(from)) >= 0) {
    strbld_add(w.text, '_');
  }
  strbld_pad(w.text, from, width);
}

bool iscontrol(char c) noexcept {
  return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
}

// Whether a reader takes the name for what it is.
bool iswritable(const mps_writer& w, std::string_view name) noexcept {
  if (std::any_of(name.begin(), name.end(), iscontrol)) return false;
  if (w.isstrict) {  // fixed columns: any eight characters, but for blanks at the ends
    return name.size() <= namewidth && name.front() != ' ' && name.back() != ' ';
  }
  if (name.starts_with('"') || name == "'MARKER'") return false;
  return !isblankin(name) || (w.isquoted && name.find('"') == name.npos);
}

rescode check_name(mps_writer& w, std::string_view name) {
  if (!iswritable(w, name)) {
    return task_fail(w.t, err_write_mps_invalid_name, io_printable(name).text);
  }
  w.isanyquoted = w.isanyquoted || isblankin(name);
  return ok;
}

rescode check_kind(mps_writer& w, int32_t kind, int32_t num, const char* word) {
  bool istold = false;
  for (int32_t i = 0; i < num; ++i) {
    const std::string_view name = prob_name(w.p, kind, i);
    if (name.empty()) {
      if (!istold) (void)task_fail(w.t, wrn_empty_name, word, i);
      istold = true;
    } else if (const rescode r = check_name(w, name); r != ok) {
      return r;
    }
  }
  return ok;
}

rescode check_names(mps_writer& w) {
  w.objname = w.isgeneric || prob_objname(w.p).empty() ? "obj" : prob_objname(w.p);
  const std::string_view taskname = prob_taskname(w.p);
  if (!w.isgeneric) {
    if (std::any_of(taskname.begin(), taskname.end(), iscontrol)) {
      return task_fail(w.t, err_write_mps_invalid_name, io_printable(taskname).text);
    }
    if (const rescode r = check_kind(w, ZLV_PI_CON, w.p.numcon, "constraint"); r != ok) return r;
    if (const rescode r = check_kind(w, ZLV_PI_VAR, w.p.numvar, "variable"); r != ok) return r;
    if (const rescode r = check_kind(w, ZLV_PI_CONE, w.p.numcone, "cone"); r != ok) return r;
    while (prob_findname(w.p, ZLV_PI_CON, w.objname) >= 0) w.objname += '_';
  }
  return check_name(w, w.objname);
}

// ---- Numbers

// Zeros at the end of the fraction that begins behind from go; the point and the exponent stay.
void cut_zeros(strbld& b, size_t from) {
  mm_vector<char>& text = b.text;
  const auto begin = text.begin() + ptrdiff_t(from);
  const auto point = std::find(begin, text.end(), '.');
  const auto exponent = std::find(begin, text.end(), 'e');
  if (point == text.end()) return;
  auto last = exponent;
  while (last[-1] == '0') --last;
  text.erase(last, exponent);
}

void add_number(mps_writer& w, double value) {
  strbld& b = w.text;
  if (value == 0) {
    strbld_left(b, "0", w.isstrict ? numwidth : 0);
    return;
  }
  const size_t from = b.text.size();
  if (std::abs(value) > 0.1 && std::abs(value) <= 100) {
    strbld_gen(b, value, w.precision);
  } else {
    strbld_exp(b, value, w.precision);
  }
  cut_zeros(b, from);
  if (!w.isstrict) return;
  if (b.text.size() - from > numwidth) {
    b.text.resize(from);
    strbld_exp(b, value, w.precision);
  }
  if (b.text.size() - from > numwidth) {
    constexpr int32_t usualprecision = 6;  // of "%g"
    b.text.resize(from);
    strbld_gen(b, value, usualprecision);
  }
  strbld_pad(b, from, numwidth);
}

// ---- Sections

// Free constraints stand in the file only when they are asked for.
bool isleftout(const mps_writer& w, int32_t i) noexcept {
  return w.p.bkc[i] == ZLV_BK_FR && !w.iskeepfree;
}
bool isinteger(const mps_writer& w, int32_t j) noexcept {
  return w.isint && prob_isint(w.p, j);
}

void end_line(mps_writer& w, double value) {
  strbld_add(w.text, "  ");
  add_number(w, value);
  strbld_add(w.text, '\n');
}

void add_head(mps_writer& w) {
  const std::string_view name = prob_taskname(w.p);
  if (w.isgeneric || name.empty()) {
    strbld_add(w.text, "NAME\n");
  } else {
    strbld_left(w.text, "NAME", headwidth);
    strbld_add(w.text, ' ');
    strbld_add(w.text, name);
    strbld_add(w.text, '\n');
  }
  int32_t version[4] = {};
  static_cast<void>(ZLV_getversion(&version[0], &version[1], &version[2], &version[3]));
  strbld_add(w.text, "* Written by ZALVO version ");
  for (int k = 0; k < 4; ++k) {
    strbld_int(w.text, version[k]);
    strbld_add(w.text, k < 3 ? '.' : '\n');
  }
  const bool ismax = w.t.par.i[ipar::objective_sense] == ZLV_OBJECTIVE_SENSE_MAX;
  if (w.t.par.i[ipar::write_mps_objsense] != 0) {
    strbld_add(w.text, ismax ? "OBJSENSE\n    MAX\n" : "OBJSENSE\n    MIN\n");
  } else {
    strbld_add(w.text, ismax ? "* Objective sense: maximize\n" : "* Objective sense: minimize\n");
  }
}

void add_rows(mps_writer& w) {
  constexpr char letters[] = "GLENG";  // by ZLV_BK_*
  strbld_add(w.text, "ROWS\n N  ");
  add_text(w, w.objname, 0);
  strbld_add(w.text, '\n');
  for (int32_t i = 0; i < w.p.numcon; ++i) {
    if (isleftout(w, i)) continue;
    strbld_add(w.text, ' ');
    strbld_add(w.text, letters[w.p.bkc[i]]);
    strbld_add(w.text, "  ");
    add_name(w, ZLV_PI_CON, i, namewidth);
    strbld_add(w.text, '\n');
    hand_over_if_due(w);
  }
}

void add_columns(mps_writer& w) {
  const sprmat& a = probmat_by(prob_mat(w.p), acc::var);
  strbld_add(w.text, "COLUMNS\n");
  for (int32_t j = 0; j < w.p.numvar; ++j) {
    const auto rows = sprmat_sub(a, j);
    const auto values = sprmat_val(a, j);
    const bool isbare =
        std::all_of(rows.begin(), rows.end(), [&](int32_t i) { return isleftout(w, i); });
    if (w.p.c[j] != 0 || isbare) {
      strbld_add(w.text, "    ");
      add_name(w, ZLV_PI_VAR, j, namewidth);
      strbld_add(w.text, "  ");
      add_text(w, w.objname, namewidth);
      end_line(w, w.p.c[j]);
    }
    for (size_t k = 0; k < rows.size(); ++k) {
      if (isleftout(w, rows[k])) continue;
      strbld_add(w.text, "    ");
      add_name(w, ZLV_PI_VAR, j, namewidth);
      strbld_add(w.text, "  ");
      add_name(w, ZLV_PI_CON, rows[k], namewidth);
      end_line(w, values[k]);
      hand_over_if_due(w);
    }
  }
}

// The range that is read back to the upper bound; when there is none the difference.
double range_of(const mps_writer& w, double lower, double upper) noexcept {
  constexpr double inf = std::numeric_limits<double>::infinity();
  const double range = upper - lower;
  if (w.precision < exactprecision) return range;
  for (const double r : {range, std::nextafter(range, inf), std::nextafter(range, -inf)}) {
    if (lower + r == upper) return r;
  }
  return range;
}

void add_vector_line(mps_writer& w, std::string_view vector, int32_t i, double value) {
  strbld_add(w.text, "    ");
  strbld_left(w.text, vector, namewidth);
  strbld_add(w.text, "  ");
  if (i < 0) {
    add_text(w, w.objname, namewidth);
  } else {
    add_name(w, ZLV_PI_CON, i, namewidth);
  }
  end_line(w, value);
  hand_over_if_due(w);
}

void add_rhs(mps_writer& w) {
  constexpr int32_t objective = -1;
  strbld_add(w.text, "RHS\n");
  if (w.p.cfix != 0) add_vector_line(w, "rhs", objective, -w.p.cfix);
  for (int32_t i = 0; i < w.p.numcon; ++i) {
    if (w.p.bkc[i] == ZLV_BK_FR) continue;
    const double value = w.p.bkc[i] == ZLV_BK_UP ? w.p.buc[i] : w.p.blc[i];
    if (value != 0) add_vector_line(w, "rhs", i, value);
  }
  strbld_add(w.text, "RANGES\n");
  for (int32_t i = 0; i < w.p.numcon; ++i) {
    if (w.p.bkc[i] == ZLV_BK_RA) add_vector_line(w, "ran", i, range_of(w, w.p.blc[i], w.p.buc[i]));
  }
}

void add_bound(mps_writer& w, std::string_view kind, int32_t j) {
  strbld_add(w.text, kind);
  strbld_left(w.text, "bound", namewidth);
  strbld_add(w.text, "  ");
  add_name(w, ZLV_PI_VAR, j, namewidth);
}
void add_bound(mps_writer& w, std::string_view kind, int32_t j, double value) {
  add_bound(w, kind, j);
  end_line(w, value);
}
void add_valueless(mps_writer& w, std::string_view kind, int32_t j) {
  add_bound(w, kind, j);
  strbld_add(w.text, '\n');
}

void add_bounds_cont(mps_writer& w, int32_t j) {
  const int32_t key = w.p.bkx[j];
  const double lower = w.p.blx[j], upper = w.p.bux[j];
  const bool isfreed = key == ZLV_BK_RA && upper < 0;  // by UP, unless LO is there
  if ((key == ZLV_BK_LO || key == ZLV_BK_RA) && (lower != 0 || isfreed)) {
    add_bound(w, " LO ", j, lower);
  }
  if (key == ZLV_BK_FX) add_bound(w, " FX ", j, lower);
  if (key == ZLV_BK_FR) add_valueless(w, " FR ", j);
  if (key == ZLV_BK_UP) add_valueless(w, " MI ", j);
  if (key == ZLV_BK_UP || key == ZLV_BK_RA) add_bound(w, " UP ", j, upper);
}

void add_bounds_int(mps_writer& w, int32_t j) {
  const int32_t key = w.p.bkx[j];
  const double lower = w.p.blx[j], upper = w.p.bux[j];
  if ((key == ZLV_BK_RA || key == ZLV_BK_FX) && lower == 0 && upper == 1) {
    add_valueless(w, " BV ", j);
    return;
  }
  if (key == ZLV_BK_UP) {
    add_valueless(w, " MI ", j);
  } else {
    add_bound(w, " LI ", j, lower);
  }
  if (key == ZLV_BK_UP || key == ZLV_BK_RA || key == ZLV_BK_FX) add_bound(w, " UI ", j, upper);
}

void add_bounds(mps_writer& w) {
  strbld_add(w.text, "BOUNDS\n");
  for (int32_t j = 0; j < w.p.numvar; ++j) {
    if (isinteger(w, j)) {
      add_bounds_int(w, j);
    } else {
      add_bounds_cont(w, j);
    }
    hand_over_if_due(w);
  }
}

void add_terms(mps_writer& w, const prob_qterms& q) {
  for (size_t k = 0; k < q.val.size(); ++k) {
    strbld_add(w.text, "    ");
    add_name(w, ZLV_PI_VAR, q.subi[k], namewidth);
    strbld_add(w.text, "  ");
    add_name(w, ZLV_PI_VAR, q.subj[k], namewidth);
    end_line(w, q.val[k]);
    hand_over_if_due(w);
  }
}

void add_quadratic(mps_writer& w) {
  if (const prob_qterms q = prob_getq(w.p, prob_obj); !q.val.empty()) {
    strbld_left(w.text, "QSECTION", headwidth);
    add_text(w, w.objname, 0);
    strbld_add(w.text, '\n');
    add_terms(w, q);
  }
  for (int32_t k = 0; k < w.p.numcon; ++k) {
    const prob_qterms q = prob_getq(w.p, k);
    if (q.val.empty() || isleftout(w, k)) continue;
    strbld_left(w.text, "QSECTION", headwidth);
    add_name(w, ZLV_PI_CON, k, namewidth);
    strbld_add(w.text, '\n');
    add_terms(w, q);
  }
}

void add_cones(mps_writer& w) {
  for (int32_t k = 0; k < w.p.numcone; ++k) {
    const prob_cone& cone = w.p.cone[k];
    strbld_left(w.text, "CSECTION", headwidth);
    add_name(w, ZLV_PI_CONE, k, namewidth);
    strbld_add(w.text, "  ");
    const size_t from = w.text.text.size();
    add_number(w, cone.par);
    strbld_pad(w.text, from, numwidth);
    strbld_add(w.text, cone.type == ZLV_CT_QUAD ? "   QUAD\n" : "   RQUAD\n");
    for (const int32_t j : cone.sub) {
      strbld_add(w.text, "    ");
      add_name(w, ZLV_PI_VAR, j, namewidth);
      strbld_add(w.text, '\n');
      hand_over_if_due(w);
    }
  }
}

// Parameters as comments, which a reader of ours takes over.
void add_parameters(mps_writer& w) {
  mm_string line(mm_alloc<char>(mm_at(*w.t.mman)));
  const std::string_view comment = param_commentsign(w.t.par);
  strbld_add(w.text, "*\n*BEGIN ZALVO\n*\n");
  for (const int32_t type : {ZLV_PAR_INT_TYPE, ZLV_PAR_DOU_TYPE, ZLV_PAR_STR_TYPE}) {
    for (int32_t number = 0; number < param_count(type); ++number) {
      line.clear();
      param_addline(line, w.t.par, {type, number}, comment);
      strbld_add(w.text, '*');
      strbld_add(w.text, line);
      strbld_add(w.text, '\n');
    }
    strbld_add(w.text, type == ZLV_PAR_STR_TYPE ? "*END ZALVO\n*\n" : "*\n");
  }
}

}  // namespace

rescode mps_write(task_rec& t, io_out& out) {
  mps_writer w(t, out);
  w.precision = t.par.i[ipar::write_precision];
  w.isstrict = t.par.i[ipar::write_mps_strict] != 0;
  w.isquoted = t.par.i[ipar::write_mps_quoted_names] != 0;
  w.isgeneric = t.par.i[ipar::write_generic_names] != 0;
  w.firstgeneric = w.isgeneric ? t.par.i[ipar::write_generic_names_io] : 0;
  w.isint = t.par.i[ipar::write_mps_int] != 0;
  w.iskeepfree = t.par.i[ipar::write_free_con] != 0;
  if (const rescode r = check_names(w); r != ok) return r;
  add_head(w);
  add_rows(w);
  add_columns(w);
  add_rhs(w);
  add_bounds(w);
  add_quadratic(w);
  add_cones(w);
  strbld_add(w.text, "ENDATA\n");
  if (t.par.i[ipar::write_data_param] != 0) add_parameters(w);
  hand_over(w);
  return ok;
}
