#include "zalvo/zalvowopf.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "zalvo/zalvodat.h"
#include "zalvo/zalvoropflex.h"

namespace {

using enum rescode;

constexpr size_t putsize = size_t{1} << 15;  // characters handed over at a time
constexpr std::string_view indent = "    ";  // of a line that goes on

rescode check_names(opf_writer& w) {
  for (int32_t j = 0; j < w.p.numvar && !w.isgeneric; ++j) {
    if (prob_name(w.p, ZLV_PI_VAR, j).empty()) {
      return task_fail(w.t, err_write_opf_invalid_var_name, j);
    }
  }
  return ok;
}

// ---- Lines and terms

// The place of one more term or name, perhaps on the next line.
void begin_term(opf_writer& w) {
  if (w.maxterm > 0 && w.numterm >= w.maxterm) {
    strbld_add(w.text, '\n');
    opf_endline(w);
    opf_add(w, indent);
    w.numterm = 0;
  } else if (w.numterm > 0) {
    strbld_add(w.text, ' ');
  }
  ++w.numterm;
}

void add_linear(opf_writer& w, double value, int32_t j) {
  begin_term(w);
  opf_add(w, value < 0 ? "- " : "+ ");
  opf_addnumber(w, std::abs(value));
  strbld_add(w.text, ' ');
  opf_additem(w, ZLV_PI_VAR, j);
}

void add_product(opf_writer& w, double value, int32_t i, int32_t j) {
  begin_term(w);
  opf_add(w, value < 0 ? "- " : "+ ");
  if (std::abs(value) != 1) {
    opf_addnumber(w, std::abs(value));
    strbld_add(w.text, ' ');
  }
  opf_additem(w, ZLV_PI_VAR, i);
  if (i == j) {
    opf_add(w, " ^ 2");
  } else {
    opf_add(w, " * ");
    opf_additem(w, ZLV_PI_VAR, j);
  }
}

void add_quadratic(opf_writer& w, const prob_qterms& q) {
  if (q.val.empty()) return;
  begin_term(w);
  opf_add(w, "+ 0.5 (");
  for (size_t k = 0; k < q.val.size(); ++k) {
    const int32_t i = q.subi[k], j = q.subj[k];
    const double value = q.val[k];
    if (i == j) {
      add_product(w, value, i, i);
    } else if (std::isfinite(2 * value)) {
      add_product(w, 2 * value, i, j);
    } else {  // both places of the matrix, which are added when they are read
      add_product(w, value, i, j);
      add_product(w, value, j, i);
    }
  }
  opf_add(w, " )");
}

void begin_terms(opf_writer& w) noexcept {
  w.numterm = 0;
}

// ---- Sections

void add_head(opf_writer& w) {
  int32_t version[4] = {};
  static_cast<void>(ZLV_getversion(&version[0], &version[1], &version[2], &version[3]));
  const std::time_t now = std::time(nullptr);
  std::tm day = {};
  localtime_r(&now, &day);
  constexpr int firstyear = 1900;
  char text[192];
  std::snprintf(text, sizeof text,
                "[comment]\nWritten by ZALVO version %d.%d.%d.%d\n"
                "Date %04d-%02d-%02d\n   Time %02d:%02d:%02d\n[/comment]\n\n",
                version[0], version[1], version[2], version[3], day.tm_year + firstyear,
                day.tm_mon + 1, day.tm_mday, day.tm_hour, day.tm_min, day.tm_sec);
  opf_add(w, text);
}

void add_hint(opf_writer& w, std::string_view keyword, int32_t value) {
  opf_add(w, "  [hint ");
  opf_add(w, keyword);
  opf_add(w, "] ");
  strbld_int(w.text, value);
  opf_add(w, " [/hint]\n");
}

void add_hints(opf_writer& w) {
  opf_add(w, "[hints]\n");
  add_hint(w, "NUMVAR", w.p.numvar);
  add_hint(w, "NUMCON", w.p.numcon);
  add_hint(w, "NUMANZ", prob_numanz(w.p));
  opf_add(w, "[/hints]\n\n");
}

// Names of the variables that the test takes.
template <class F>
void add_list(opf_writer& w, F&& istaken) {
  begin_terms(w);
  for (int32_t j = 0; j < w.p.numvar; ++j) {
    if (!istaken(j)) continue;
    begin_term(w);
    opf_additem(w, ZLV_PI_VAR, j);
  }
}

void add_variables(opf_writer& w) {
  opf_add(w, "[variables disallow_new_variables]\n");
  add_list(w, [](int32_t) { return true; });
  opf_add(w, "\n[/variables]\n\n");
}

void add_objective(opf_writer& w) {
  const bool ismax = w.t.par.i[ipar::objective_sense] == ZLV_OBJECTIVE_SENSE_MAX;
  const std::string_view name = prob_objname(w.p);
  opf_add(w, ismax ? "[objective maximize" : "[objective minimize");
  if (!name.empty() && !w.isgeneric) {
    strbld_add(w.text, ' ');
    opf_addquoted(w.text, name);
  }
  opf_add(w, "]\n");
  begin_terms(w);
  for (int32_t j = 0; j < w.p.numvar; ++j) {
    if (w.p.c[j] != 0) add_linear(w, w.p.c[j], j);
  }
  if (w.p.cfix != 0) {
    begin_term(w);
    opf_add(w, w.p.cfix < 0 ? "- " : "+ ");
    opf_addnumber(w, std::abs(w.p.cfix));
  }
  add_quadratic(w, prob_getq(w.p, prob_obj));
  opf_add(w, "\n[/objective]\n\n");
}

bool isrange(int32_t key, double lower, double upper) noexcept {
  return key == ZLV_BK_RA || (key == ZLV_BK_FX && lower != upper);  // two that count as one
}

void add_relation(opf_writer& w, std::string_view relation, double value) {
  opf_add(w, relation);
  opf_addnumber(w, value);
}

void add_row(opf_writer& w, const sprmat& a, int32_t i) {
  const int32_t key = w.p.bkc[i];
  const double lower = w.p.blc[i], upper = w.p.buc[i];
  opf_add(w, "[con");
  if (w.isgeneric || !prob_name(w.p, ZLV_PI_CON, i).empty()) {
    strbld_add(w.text, ' ');
    opf_additem(w, ZLV_PI_CON, i);
  }
  opf_add(w, "] ");
  if (isrange(key, lower, upper)) {
    opf_addnumber(w, lower);
    opf_add(w, " <= ");
  }
  begin_terms(w);
  const auto sub = sprmat_sub(a, i);
  const auto val = sprmat_val(a, i);
  for (size_t k = 0; k < sub.size(); ++k) add_linear(w, val[k], sub[k]);
  const prob_qterms q = prob_getq(w.p, i);
  add_quadratic(w, q);
  if (sub.empty() && q.val.empty()) strbld_add(w.text, '0');
  if (key == ZLV_BK_UP || isrange(key, lower, upper)) {
    add_relation(w, " <= ", upper);
  } else if (key == ZLV_BK_FR) {
    opf_add(w, " >= -inf");
  } else {
    add_relation(w, key == ZLV_BK_FX ? " = " : " >= ", lower);
  }
  opf_add(w, " [/con]\n");
  opf_endline(w);
}

void add_rows(opf_writer& w) {
  const sprmat& a = probmat_by(prob_mat(w.p), acc::con);
  opf_add(w, "[constraints]\n");
  for (int32_t i = 0; i < w.p.numcon; ++i) add_row(w, a, i);
  opf_add(w, "[/constraints]\n\n");
}

void add_bound(opf_writer& w, int32_t j) {
  const int32_t key = w.p.bkx[j];
  const double lower = w.p.blx[j], upper = w.p.bux[j];
  if (key == ZLV_BK_LO && lower == 0) return;
  const bool ispoint = key == ZLV_BK_FX && lower == upper;
  opf_add(w, "[b] ");
  if (key == ZLV_BK_UP) {
    opf_add(w, "-inf       <= ");
  } else if (key != ZLV_BK_FR && !ispoint) {
    opf_addcolumn(w, lower);
    opf_add(w, " <= ");
  }
  opf_additem(w, ZLV_PI_VAR, j);
  if (key == ZLV_BK_FR) {
    opf_add(w, " free");
  } else if (key != ZLV_BK_LO) {
    add_relation(w, ispoint ? " =  " : " <= ", upper);
  }
  opf_add(w, " [/b]\n");
  opf_endline(w);
}

void add_cone(opf_writer& w, int32_t k) {
  const prob_cone& cone = w.p.cone[k];
  opf_add(w, cone.type == ZLV_CT_QUAD ? "[cone quad" : "[cone rquad");
  if (const std::string_view name = prob_name(w.p, ZLV_PI_CONE, k); w.isgeneric || !name.empty()) {
    strbld_add(w.text, ' ');
    if (!w.isgeneric && lex_isword(name, "par")) {  // an attribute of the tag
      opf_addquoted(w.text, name);
    } else {
      opf_additem(w, ZLV_PI_CONE, k);
    }
  }
  if (cone.par != 0) {
    opf_add(w, " par=");
    opf_addnumber(w, cone.par);
  }
  opf_add(w, "] ");
  begin_terms(w);
  for (size_t m = 0; m < cone.sub.size(); ++m) {
    if (m > 0) strbld_add(w.text, ',');
    begin_term(w);
    opf_additem(w, ZLV_PI_VAR, cone.sub[m]);
  }
  opf_add(w, " [/cone]\n");
}

void add_bounds(opf_writer& w) {
  opf_add(w, "[bounds]\n[b] 0 <= * [/b]\n");
  for (int32_t j = 0; j < w.p.numvar; ++j) add_bound(w, j);
  for (int32_t k = 0; k < w.p.numcone; ++k) add_cone(w, k);
  opf_add(w, "[/bounds]\n\n");
}

void add_integers(opf_writer& w) {
  if (w.p.numintvar == 0) return;
  opf_add(w, "[integer]\n");
  add_list(w, [&](int32_t j) { return prob_isint(w.p, j); });
  opf_add(w, "\n[/integer]\n\n");
}

}  // namespace

void opf_endline(opf_writer& w) {
  if (w.text.text.size() < putsize) return;
  io_put(w.out, strbld_view(w.text));
  strbld_clear(w.text);
}

void opf_addname(opf_writer& w, std::string_view name) {
  if (opf_isplainname(name)) {
    strbld_add(w.text, name);
  } else {
    opf_addquoted(w.text, name);
  }
}

void opf_additem(opf_writer& w, int32_t kind, int32_t i) {
  const std::string_view name = prob_name(w.p, kind, i);
  if (!w.isgeneric && !name.empty()) {
    opf_addname(w, name);
    return;
  }
  constexpr const char* forms[] = {"x%06d", "con%06d", "cone%06d"};  // by ZLV_PI_*
  char made[32];
  std::snprintf(made, sizeof made, forms[kind], i + w.firstgeneric);  // NOLINT: in the table
  strbld_add(w.text, made);
}

void opf_addnumber(opf_writer& w, double value) {
  strbld_exp(w.text, value, w.precision);
}

void opf_addcolumn(opf_writer& w, double value) {
  constexpr size_t more = 8;  // sign, digit and point, and an exponent of three digits
  const size_t from = w.text.text.size();
  strbld_exp(w.text, value, w.precision);
  strbld_pad(w.text, from, size_t(std::min(w.precision, strbld_maxprecision)) + more);
}

rescode opf_write(task_rec& t, io_out& out) {
  opf_writer w(t, out);
  const auto ison = [&](int32_t which) { return t.par.i[size_t(which)] != 0; };
  w.precision = t.par.i[ipar::write_precision];
  w.maxterm = t.par.i[ipar::opf_max_terms_per_line];
  w.isgeneric = ison(ipar::write_generic_names);
  w.firstgeneric = w.isgeneric ? t.par.i[ipar::write_generic_names_io] : 0;
  if (const rescode r = check_names(w); r != ok) return r;
  if (ison(ipar::opf_write_header)) add_head(w);
  if (ison(ipar::opf_write_problem)) {
    if (ison(ipar::opf_write_hints)) add_hints(w);
    add_variables(w);
    add_objective(w);
    add_rows(w);
    add_bounds(w);
    add_integers(w);
  }
  if (ison(ipar::opf_write_parameters) || ison(ipar::write_data_param)) opf_addparams(w);
  if (ison(ipar::opf_write_solutions)) opf_addsolutions(w);
  io_put(out, strbld_view(w.text));
  return ok;
}
