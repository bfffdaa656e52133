// The writer of solution files.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <utility>

#include "cpub/ioutils.h"
#include "zalvo/frame.h"
#include "zalvo/solfile.h"
#include "zalvo/solmeasure.h"

namespace {

// A filter of the listed items, of one side: ">limit" or at least lower + limit for the low side,
// "<limit" or at most upper - limit for the upper one.
struct sol_filter {
  bool isset = false, isrelative = false;
  double limit = 0;
};

struct sol_writer {
  task_rec& task;
  int32_t whichsol;
  sol_view v;
  io_out* out = nullptr;  // owned
  mm_string line;
  sol_writer(task_rec& t, int32_t which)
      : task(t), whichsol(which), v(sol_items(t, which)), line(mm_alloc<char>(mm_at(*t.mman))) {}
  sol_writer(const sol_writer&) = delete;
  sol_writer& operator=(const sol_writer&) = delete;
  ~sol_writer() { io_abandon(out); }
};

void add_number(mm_string& line, double value) {
  std::array<char, 40> text;  // sign, 17 digits, point, exponent
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value,
                                 std::chars_format::scientific, 16);
  const auto length = size_t(end.ptr - text.data());
  constexpr size_t width = 25;  // a blank and the longest number
  if (length < width) line.append(width - length, ' ');
  line.append(text.data(), length);
}
void add_padded(mm_string& line, std::string_view text, size_t width) {
  line.append(text);
  if (text.size() < width) line.append(width - text.size(), ' ');
}
void add_right(mm_string& line, std::string_view text) {
  constexpr size_t width = 25;
  line.append(width - text.size(), ' ');
  line.append(text);
}
void flush_line(sol_writer& w) {
  w.line.push_back('\n');
  io_put(*w.out, w.line);
  w.line.clear();
}

void write_head(sol_writer& w) {
  const auto row = [&](size_t key, auto&& add) {
    add_padded(w.line, sol_headtext[key], 20);
    w.line.append(": ");
    add();
    flush_line(w);
  };
  const prob_rec& p = w.task.prob;
  const auto number = [&](double value) {
    mm_string text(w.line.get_allocator());
    add_number(text, value);
    w.line.append(text, text.find_first_not_of(' '));
  };
  char text[ZLV_MAX_STR_LEN] = "";
  row(0, [&] { w.line.append(names_text(p.names, p.names.taskoff)); });
  row(1, [&] { w.line.append(sol_typetext[size_t(w.whichsol)]); });
  ZLV_prostatostr(&w.task, w.task.sol.rec[w.whichsol].prosta, text);
  row(2, [&] { w.line.append(text); });
  ZLV_solstatostr(&w.task, w.task.sol.rec[w.whichsol].solsta, text);
  row(3, [&] { w.line.append(text); });
  row(4, [&] { w.line.append(names_text(p.names, p.names.objoff)); });
  row(5, [&] { number(sol_primalobj(w.task, w.whichsol)); });
  if (w.whichsol != ZLV_SOL_ITG) row(6, [&] { number(sol_dualobj(w.task, w.whichsol)); });
  flush_line(w);
}

// One kind of item as the tables show it.
struct sol_table {
  int32_t whichitem, count;
  std::span<const int32_t> sk;
  const int32_t* bk = nullptr;
  const double *lower = nullptr, *upper = nullptr;
  std::span<const double> x, sl, su, more;  // more: y of constraints, snx of variables
  std::string_view moretext;
  sol_filter low{}, upr{};
};

bool is_listed(const sol_writer& w, const sol_table& t, int32_t i) {
  const auto& par = w.task.par.i;
  const bool isbasic = t.sk[i] == ZLV_SK_BAS || t.sk[i] == ZLV_SK_SUPBAS;
  if (isbasic && par[ipar::sol_filter_keep_basic] != 0) return true;
  if (t.bk[i] == ZLV_BK_RA && par[ipar::sol_filter_keep_ranged] != 0) return true;
  const bool haslower = t.bk[i] != ZLV_BK_UP && t.bk[i] != ZLV_BK_FR;
  const bool hasupper = t.bk[i] != ZLV_BK_LO && t.bk[i] != ZLV_BK_FR;
  if (t.low.isset && t.low.isrelative) {
    if (haslower && !(t.x[i] >= t.lower[i] + t.low.limit)) return false;
  } else if (t.low.isset && !(t.x[i] > t.low.limit)) {
    return false;
  }
  if (t.upr.isset && t.upr.isrelative) return !hasupper || t.x[i] <= t.upper[i] - t.upr.limit;
  return !t.upr.isset || t.x[i] < t.upr.limit;
}

// add_name: as it stands in the file: quoted if asked for and needed; a generic name for an item
// without one, or with one that the file cannot hold.
void add_name(sol_writer& w, int32_t whichitem, int32_t i, size_t width) {
  const std::string_view stored = prob_name(w.task.prob, whichitem, i);
  const auto& par = w.task.par.i;
  const size_t begin = w.line.size();
  const auto isblank = [](char c) { return c == ' ' || c == '\t'; };
  const bool isquoted =
      par[ipar::sol_quoted_names] != 0 && stored.find_first_of(" \t'\"") != std::string_view::npos;
  const bool isgeneric = stored.empty() || par[ipar::write_generic_names] != 0 ||
                         stored.find_first_of("\n\r") != std::string_view::npos ||
                         (!isquoted && (isblank(stored.front()) || isblank(stored.back())));
  if (isgeneric) {
    w.line.append(sol_genericname(w.task, whichitem, i).text.data());
  } else if (isquoted) {
    const char quote = stored.find('\'') == std::string_view::npos ? '\'' : '"';
    w.line.push_back(quote);
    w.line.append(stored);
    w.line.push_back(quote);
  } else {
    w.line.append(stored);
  }
  const size_t length = w.line.size() - begin;
  if (length < width) w.line.append(width - length, ' ');
}

size_t name_width(const task_rec& task, int32_t whichitem, int32_t count) {
  constexpr size_t least = 12, most = 40;  // longer names move their line's columns
  size_t width = least;
  for (int32_t i = 0; i < count && width < most; ++i) {
    width = std::max(width, prob_name(task.prob, whichitem, i).size() + 2);
  }
  return std::min(width, most);
}

void write_bound(mm_string& line, bool isfinite, double value) {
  if (isfinite)
    add_number(line, value);
  else
    add_right(line, sol_infinite);
}

void write_table(sol_writer& w, const sol_table& t) {
  constexpr size_t indexwidth = 10;
  constexpr std::array<const char*, 7> keytext = {"UN", "BS", "SB", "LL", "UL", "EQ", "**"};
  const size_t width = name_width(w.task, t.whichitem, t.count);
  w.line.append(sol_tabletext[size_t(t.whichitem)]);
  flush_line(w);
  add_padded(w.line, sol_columntext[0], indexwidth);
  w.line.push_back(' ');
  add_padded(w.line, sol_columntext[1], width);
  w.line.append(" AT");
  if (t.bk != nullptr) {
    for (const size_t k : {3U, 4U, 5U}) add_right(w.line, sol_columntext[k]);
    if (!t.sl.empty()) {
      add_right(w.line, sol_columntext[6]);
      add_right(w.line, sol_columntext[7]);
    }
    if (!t.more.empty()) add_right(w.line, t.moretext);
  }
  flush_line(w);
  for (int32_t i = 0; i < t.count; ++i) {
    if (t.bk != nullptr && !is_listed(w, t, i)) continue;
    char number[16];
    std::snprintf(number, sizeof number, "%-10d ", i);
    w.line.append(number);
    add_name(w, t.whichitem, i, width);
    w.line.push_back(' ');
    w.line.append(keytext[size_t(t.sk[i])]);
    if (t.bk != nullptr) {
      add_number(w.line, t.x[i]);
      write_bound(w.line, t.bk[i] != ZLV_BK_UP && t.bk[i] != ZLV_BK_FR, t.lower[i]);
      write_bound(w.line, t.bk[i] != ZLV_BK_LO && t.bk[i] != ZLV_BK_FR, t.upper[i]);
      if (!t.sl.empty()) {
        add_number(w.line, t.sl[i]);
        add_number(w.line, t.su[i]);
      }
      if (!t.more.empty()) add_number(w.line, t.more[i]);
    }
    flush_line(w);
  }
  flush_line(w);
}

// filter_of: reads a filter parameter. A leading sign (plus for the low, minus for the upper side)
// makes it relative to the bound. What is no number is reported and ignored.
sol_filter filter_of(task_rec& task, int32_t parameter, char relativesign) {
  const std::string_view text = task.par.s[size_t(parameter)];
  if (text.empty()) return {};
  sol_filter f{.isset = true};
  f.isrelative = text.front() == relativesign;
  const std::string_view number = f.isrelative || text.front() == '+' ? text.substr(1) : text;
  const auto end = std::from_chars(number.data(), number.data() + number.size(), f.limit);
  if (end.ec == std::errc() && end.ptr == number.data() + number.size() && !std::isnan(f.limit)) {
    return f;
  }
  (void)task_fail(task, rescode::wrn_sol_filter, text.data());  // reported and no more
  return {};
}

sol_table con_table(sol_writer& w) {
  const prob_rec& p = w.task.prob;
  return {.whichitem = ZLV_PI_CON,
          .count = p.numcon,
          .sk = w.v.skc,
          .bk = p.bkc.data(),
          .lower = p.blc.data(),
          .upper = p.buc.data(),
          .x = w.v.xc,
          .sl = w.v.slc,
          .su = w.v.suc,
          .more = w.v.y,
          .moretext = sol_columntext[size_t(sol_column::dual)],
          .low = filter_of(w.task, spar::sol_filter_xc_low, '+'),
          .upr = filter_of(w.task, spar::sol_filter_xc_upr, '-')};
}
sol_table var_table(sol_writer& w) {
  const prob_rec& p = w.task.prob;
  sol_table t{.whichitem = ZLV_PI_VAR,
              .count = p.numvar,
              .sk = w.v.skx,
              .bk = p.bkx.data(),
              .lower = p.blx.data(),
              .upper = p.bux.data(),
              .x = w.v.xx,
              .sl = w.v.slx,
              .su = w.v.sux,
              .more = {},
              .moretext = {},
              .low = filter_of(w.task, spar::sol_filter_xx_low, '+'),
              .upr = filter_of(w.task, spar::sol_filter_xx_upr, '-')};
  if (p.numcone > 0) {
    t.more = w.v.snx;
    t.moretext = sol_columntext[size_t(sol_column::conicdual)];
  }
  return t;
}

void write_all(sol_writer& w) {
  struct parts {
    int32_t head, con, var;
  };
  constexpr parts which[] = {
      {ipar::write_sol_head, ipar::write_sol_constraints, ipar::write_sol_variables},
      {ipar::write_bas_head, ipar::write_bas_constraints, ipar::write_bas_variables},
      {ipar::write_int_head, ipar::write_int_constraints, ipar::write_int_variables}};
  const auto& par = w.task.par.i;
  const parts& part = which[w.whichsol];
  if (par[size_t(part.head)] != 0) write_head(w);
  if (par[size_t(part.con)] != 0) write_table(w, con_table(w));
  if (par[size_t(part.var)] != 0) write_table(w, var_table(w));
  if (par[size_t(part.con)] != 0 && !w.v.skn.empty()) {
    write_table(w, {.whichitem = ZLV_PI_CONE,
                    .count = w.task.prob.numcone,
                    .sk = w.v.skn,
                    .x = {},
                    .sl = {},
                    .su = {},
                    .more = {},
                    .moretext = {}});
  }
}

}  // namespace

int32_t ZLV_writesolution(ZLV_task_t task, int32_t whichsol, const char* filename) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_soldef(t, whichsol); r != rescode::ok) return r;
    if (!t.sol.rec[whichsol].isallocated) {
      return task_fail(t, rescode::err_undef_solution, whichsol);
    }
    const std::string_view path = sol_filename(t, whichsol, filename);
    if (path.empty()) return sol_nofilename(t, whichsol);
    sol_writer w(t, whichsol);
    io_result r = io_create(path.data(), path.ends_with(".gz"), *t.mman, w.out);
    if (r.code == rescode::ok) {
      write_all(w);
      r = io_finish(std::exchange(w.out, nullptr));
    }
    if (r.code == rescode::ok) return r.code;
    const rescode code = task_fail(t, r.code, path.data());
    task_echo(t, msg_kind::err, "%s\n", r.why);
    return code;
  });
}
