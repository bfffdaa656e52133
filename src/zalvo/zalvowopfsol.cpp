// Parameters and solutions in OPF files.
#include <algorithm>
#include <array>
#include <cstring>

#include "zalvo/paramput.h"
#include "zalvo/paramtab.h"
#include "zalvo/zalvoropflex.h"
#include "zalvo/zalvowopf.h"

namespace {

// ---- Parameters

size_t longest_name() noexcept {
  size_t longest = 0;
  for (const int32_t type : {ZLV_PAR_INT_TYPE, ZLV_PAR_DOU_TYPE, ZLV_PAR_STR_TYPE}) {
    for (int32_t k = 0; k < param_count(type); ++k) {
      longest = std::max(longest, std::strlen(param_name({type, k})));
    }
  }
  return longest;
}

void add_title(opf_writer& w, std::string_view title) {
  constexpr std::string_view rule = "##################################################\n";
  opf_add(w, rule);
  opf_add(w, title);
  opf_add(w, rule);
}

void add_double(opf_writer& w, double value) {
  const size_t from = w.text.text.size();
  opf_addnumber(w, value);
  const auto back = param_parsedou(strbld_view(w.text).substr(from));
  if (back && *back == value) return;
  w.text.text.resize(from);
  opf_add(w, param_texte(value).c_str());  // all the digits that it needs
}

void add_value(opf_writer& w, int32_t type, size_t k) {
  const param_values& par = w.t.par;
  if (type == ZLV_PAR_DOU_TYPE) {
    add_double(w, par.d[k]);
  } else if (type == ZLV_PAR_STR_TYPE) {
    opf_addquoted(w.text, par.s[k]);
  } else {
    const symgroup family = param_introws()[k].family;
    const char* symbol = family < symgroup::none ? symbcon_name(family, par.i[k]) : nullptr;
    if (symbol != nullptr) {
      opf_add(w, symbol);
    } else {
      strbld_int(w.text, par.i[k]);
    }
  }
}

void add_type(opf_writer& w, int32_t type, size_t width) {
  for (int32_t k = 0; k < param_count(type); ++k) {
    const size_t from = w.text.text.size();
    opf_add(w, "[p ");
    opf_add(w, param_name({type, k}));
    opf_add(w, "] ");
    strbld_pad(w.text, from, width);
    add_value(w, type, size_t(k));
    opf_add(w, " [/p]\n");
  }
}

// ---- Solutions

constexpr std::array<const char*, 7> keytexts = {"UNK", "BAS", "SUPBAS", "LOW",
                                                 "UPR", "FIX", "INF"};  // by ZLV_SK_*
constexpr size_t keywidth = 6;

void add_column(opf_writer& w, std::string_view keyword, double value) {
  strbld_add(w.text, ' ');
  opf_add(w, keyword);
  opf_addcolumn(w, value);
}

void add_item(opf_writer& w, int32_t kind, int32_t i, int32_t sk, double level) {
  opf_add(w, kind == ZLV_PI_VAR ? "[var " : "[con ");
  opf_additem(w, kind, i);
  opf_add(w, "] sk=");
  strbld_left(w.text, keytexts[size_t(sk)], keywidth);
  add_column(w, "lvl=", level);
}

// Whether the name made for a constraint without one is that of another constraint.
bool is_ambiguous(opf_writer& w, int32_t i) {
  if (w.isgeneric || !prob_name(w.p, ZLV_PI_CON, i).empty()) return false;
  const size_t from = w.text.text.size();
  opf_additem(w, ZLV_PI_CON, i);
  const bool istaken = prob_findname(w.p, ZLV_PI_CON, strbld_view(w.text).substr(from)) >= 0;
  w.text.text.resize(from);
  return istaken;
}

void add_solution(opf_writer& w, int32_t whichsol) {
  constexpr const char* types[] = {"interior", "basic", "integer"};
  const sol_view v = sol_items(w.t, whichsol);
  char status[ZLV_MAX_STR_LEN] = "";
  (void)ZLV_solstatostr(nullptr, w.t.sol.rec[size_t(whichsol)].solsta, status);
  opf_add(w, "[solution ");
  opf_add(w, types[whichsol]);
  opf_add(w, " status=");
  opf_add(w, status);
  opf_add(w, "]\n    # Variable solution\n");
  for (int32_t j = 0; j < int32_t(v.xx.size()); ++j) {
    add_item(w, ZLV_PI_VAR, j, v.skx[j], v.xx[j]);
    if (!v.slx.empty()) {
      add_column(w, "sl=", v.slx[j]);
      add_column(w, "su=", v.sux[j]);
      if (!v.snx.empty() && w.p.numcone > 0) add_column(w, "sn=", v.snx[j]);
    }
    opf_add(w, " [/var]\n");
    opf_endline(w);
  }
  opf_add(w, "# Constraint solution\n");
  for (int32_t i = 0; i < int32_t(v.xc.size()); ++i) {
    if (is_ambiguous(w, i)) continue;
    add_item(w, ZLV_PI_CON, i, v.skc[i], v.xc[i]);
    if (!v.y.empty()) {
      add_column(w, "y=", v.y[i]);
      add_column(w, "sl=", v.slc[i]);
      add_column(w, "su=", v.suc[i]);
    }
    opf_add(w, " [/con]\n");
    opf_endline(w);
  }
  opf_add(w, "[/solution]\n");
}

}  // namespace

void opf_addparams(opf_writer& w) {
  constexpr std::string_view more = "[p ] ";
  const size_t width = longest_name() + more.size();
  opf_add(w, "[vendor zalvo]\n[parameters]\n");
  add_title(w, "# INTEGER parameters\n");
  add_type(w, ZLV_PAR_INT_TYPE, width);
  add_title(w, "# DOUBLE parameters\n");
  add_type(w, ZLV_PAR_DOU_TYPE, width);
  add_title(w, "# STRING parameters\n");
  add_type(w, ZLV_PAR_STR_TYPE, width);
  opf_add(w, "[/parameters]\n[/vendor]\n\n");
}

void opf_addsolutions(opf_writer& w) {
  constexpr int32_t wanted[] = {ipar::opf_write_sol_itr, ipar::opf_write_sol_bas,
                                ipar::opf_write_sol_itg};
  bool isany = false;
  for (const int32_t whichsol : {ZLV_SOL_ITR, ZLV_SOL_BAS, ZLV_SOL_ITG}) {
    if (w.t.par.i[size_t(wanted[whichsol])] == 0 || !sol_isdef(w.t, whichsol)) continue;
    if (!w.t.sol.rec[size_t(whichsol)].isallocated) continue;
    if (!isany) opf_add(w, "[solutions]\n");
    isany = true;
    add_solution(w, whichsol);
  }
  if (isany) opf_add(w, "[/solutions]\n");
}
