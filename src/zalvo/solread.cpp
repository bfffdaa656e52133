// The reader of solution files. Everything is read aside; the task changes only when the whole file
// was understood.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>
#include <utility>

#include "cpub/ioutils.h"
#include "zalvo/frame.h"
#include "zalvo/solfile.h"
#include "zalvo/solmeasure.h"

namespace {

constexpr std::string_view blanks = " \t";

std::string_view trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}
// first_word, last_word: taken off the text.
std::string_view first_word(std::string_view& text) {
  text = trimmed(text);
  const std::string_view word = text.substr(0, text.find_first_of(blanks));
  text.remove_prefix(word.size());
  return word;
}
std::string_view last_word(std::string_view& text) {
  text = trimmed(text);
  const size_t blank = text.find_last_of(blanks);
  const std::string_view word = blank == std::string_view::npos ? text : text.substr(blank + 1);
  text.remove_suffix(word.size());
  return word;
}

struct sol_reader {
  task_rec& task;
  const char* path;
  io_text text;
  io_lines lines{};
  int32_t prosta = ZLV_PRO_STA_UNKNOWN, solsta = ZLV_SOL_STA_UNKNOWN;
  std::array<sol_part, 3> part;         // by ZLV_PI_*
  int32_t whichitem = -1;               // of the table that is being read; -1: the head
  std::array<sol_column, 10> column{};  // of that table, after its line of column names
  size_t numcolumn = 0;
  bool hasdual = false;  // the table of the constraints has that column
  sol_reader(task_rec& t, const char* name)
      : task(t),
        path(name),
        text(mm_at(*t.mman)),
        part{sol_part(mm_at(*t.mman)), sol_part(mm_at(*t.mman)), sol_part(mm_at(*t.mman))} {
    sol_sizepart(part[ZLV_PI_VAR], size_t(t.prob.numvar));
    sol_sizepart(part[ZLV_PI_CON], size_t(t.prob.numcon));
    sol_sizepart(part[ZLV_PI_CONE], size_t(t.prob.numcone));
  }
};

// refuse: the place, what was found and what was expected, after the message of the code.
rescode refuse(sol_reader& r, std::string_view found, const char* expected) {
  const rescode code = task_fail(r.task, rescode::err_file_read, r.path);
  task_echo(r.task, msg_kind::err, "%s(%d): '%s' where %s is expected.\n", r.path, r.lines.number,
            io_printable(found).text, expected);
  return code;
}

// ---- Head

// status_of: the status with this text, among 0 .. last; -1 when there is none.
int32_t status_of(sol_reader& r, int32_t (*totext)(ZLV_task_t, int32_t, char*), int32_t last,
                  std::string_view text) {
  char each[ZLV_MAX_STR_LEN] = "";
  for (int32_t status = 0; status <= last; ++status) {
    totext(&r.task, status, each);
    if (text == each) return status;
  }
  return -1;
}

rescode read_head(sol_reader& r, std::string_view line) {
  const size_t colon = line.find(':');
  const std::string_view key = trimmed(line.substr(0, colon));
  const bool isknown = std::ranges::find(sol_headtext, key) != sol_headtext.end();
  if (colon == std::string_view::npos || !isknown) {
    return refuse(r, line, "a key of the head or the title of a table");
  }
  const std::string_view value = trimmed(line.substr(colon + 1));
  if (key == sol_headtext[2]) {
    r.prosta = status_of(r, &ZLV_prostatostr, ZLV_PRO_STA_PRIM_INFEAS_OR_UNBOUNDED, value);
    if (r.prosta < 0) return refuse(r, value, "a problem status");
  }
  if (key == sol_headtext[3]) {
    r.solsta = status_of(r, &ZLV_solstatostr, ZLV_SOL_STA_NEAR_INTEGER_OPTIMAL, value);
    if (r.solsta < 0) return refuse(r, value, "a solution status");
  }
  return rescode::ok;
}

// ---- Tables

rescode read_columns(sol_reader& r, std::string_view line) {
  const std::string_view whole = line;
  r.numcolumn = 0;
  for (line = trimmed(line); !line.empty(); line = trimmed(line)) {
    const std::string_view word = first_word(line);
    const auto found = std::ranges::find(sol_columntext, word);
    if (found == sol_columntext.end() || r.numcolumn == r.column.size()) {
      return refuse(r, word, "the name of a column");
    }
    const auto column = sol_column(found - sol_columntext.begin());
    if (std::ranges::count(std::span(r.column).first(r.numcolumn), column) != 0) {
      return refuse(r, word, "a column that did not occur");
    }
    r.column[r.numcolumn++] = column;
  }
  if (r.numcolumn < 3 || r.column[0] != sol_column::index || r.column[1] != sol_column::name) {
    return refuse(r, whole, "INDEX, NAME and more columns");
  }
  return rescode::ok;
}

// item_of: the item that a name and an index stand for; -1 when there is none. The index decides
// only for generic names, which may be the names of other items too.
int32_t item_of(sol_reader& r, std::string_view name, int32_t index) {
  const names_store& names = r.task.prob.names;
  const auto find = [&](std::string_view text) {
    return text.empty() ? -1 : names_find(names, r.whichitem, text);
  };
  const bool isindex = index < int32_t(r.part[r.whichitem].sk.size());
  const bool isgeneric = isindex && name == sol_genericname(r.task, r.whichitem, index).text.data();
  if (isgeneric && (names_get(names, r.whichitem, index).empty() ||
                    r.task.par.i[ipar::write_generic_names] != 0)) {
    return index;
  }
  const size_t length = name.size();
  const bool isquoted =
      length >= 2 && (name.front() == '\'' || name.front() == '"') && name.back() == name.front();
  int32_t item = -1;
  if (isquoted && r.task.par.i[ipar::sol_quoted_names] != 0)
    item = find(name.substr(1, length - 2));
  if (item < 0) item = find(name);
  if (item < 0 && isquoted) item = find(name.substr(1, length - 2));
  return item < 0 && isgeneric ? index : item;
}

bool read_number(std::string_view word, double& value) {
  const auto end = std::from_chars(word.data(), word.data() + word.size(), value);
  return end.ec == std::errc() && end.ptr == word.data() + word.size() && std::isfinite(value);
}

rescode read_cell(sol_reader& r, sol_column column, int32_t item, std::string_view word) {
  sol_part& part = r.part[r.whichitem];
  if (column == sol_column::at) {
    constexpr std::array<std::string_view, 7> keytext = {"UN", "BS", "SB", "LL", "UL", "EQ", "**"};
    const auto found = std::ranges::find(keytext, word);
    if (found == keytext.end()) return refuse(r, word, "a status key");
    part.sk[item] = int32_t(found - keytext.begin());
    return rescode::ok;
  }
  const bool isbound = column == sol_column::lower || column == sol_column::upper;
  if (isbound && word == sol_infinite) return rescode::ok;
  double value = 0;
  if (!read_number(word, value)) return refuse(r, word, "a finite number");
  if (column == sol_column::activity) part.x[item] = value;
  if (column == sol_column::duallower) part.sl[item] = value;
  if (column == sol_column::dualupper) part.su[item] = value;
  if (column == sol_column::dual || column == sol_column::conicdual) part.more[item] = value;
  return rescode::ok;
}

rescode read_item(sol_reader& r, std::string_view line) {
  const std::string_view whole = line;
  std::array<std::string_view, 10> word;
  for (size_t k = r.numcolumn; k > 2; --k) {
    word[k - 1] = last_word(line);
    if (word[k - 1].empty()) return refuse(r, whole, "a line with an entry for every column");
  }
  const std::string_view number = first_word(line), name = trimmed(line);
  int32_t index = -1;
  const auto end = std::from_chars(number.data(), number.data() + number.size(), index);
  if (end.ec != std::errc() || end.ptr != number.data() + number.size() || index < 0) {
    return refuse(r, number, "an index");
  }
  const int32_t item = item_of(r, name, index);
  if (item < 0) {
    const io_shorttext text = io_printable(name);
    const rescode code =
        task_fail(r.task, rescode::err_invalid_name_in_sol_file, std::data(text.text));
    task_echo(r.task, msg_kind::err, "%s(%d): the task has no such name.\n", r.path,
              r.lines.number);
    return code;
  }
  if (r.part[r.whichitem].given[item] != 0) return refuse(r, name, "an item that did not occur");
  r.part[r.whichitem].given[item] = 1;
  for (size_t k = 2; k < r.numcolumn; ++k) {
    const rescode code = read_cell(r, r.column[k], item, word[k]);
    if (code != rescode::ok) return code;
  }
  return rescode::ok;
}

rescode read_line(sol_reader& r, std::string_view line) {
  const std::string_view text = trimmed(line);
  if (text.empty() || text.front() == '*') return rescode::ok;
  const auto title = std::ranges::find(sol_tabletext, text);
  if (title != sol_tabletext.end()) {
    r.whichitem = int32_t(title - sol_tabletext.begin());
    r.numcolumn = 0;
    return rescode::ok;
  }
  if (r.whichitem < 0) return read_head(r, text);
  if (r.numcolumn != 0) return read_item(r, text);
  const rescode code = read_columns(r, text);
  const auto columns = std::span(r.column).first(r.numcolumn);
  if (r.whichitem == ZLV_PI_CON && std::ranges::find(columns, sol_column::dual) != columns.end()) {
    r.hasdual = true;
  }
  return code;
}

// ---- Storing

// is_borneout: whether a status is what the values show on the problem as it is now.
bool is_borneout(const sol_measures& m) {
  constexpr double tol = 1e-6;      // relative violations of a solution that may be called so
  constexpr double neartol = 1e-3;  // and of one that is nearly so
  switch (m.solsta) {
    case ZLV_SOL_STA_OPTIMAL:
      return m.relprimal <= tol && m.reldual <= tol && m.relgap <= tol;
    case ZLV_SOL_STA_NEAR_OPTIMAL:
      return m.relprimal <= neartol && m.reldual <= neartol && m.relgap <= neartol;
    case ZLV_SOL_STA_PRIM_AND_DUAL_FEAS:
      return m.relprimal <= tol && m.reldual <= tol;
    case ZLV_SOL_STA_NEAR_PRIM_AND_DUAL_FEAS:
      return m.relprimal <= neartol && m.reldual <= neartol;
    case ZLV_SOL_STA_PRIM_FEAS:
    case ZLV_SOL_STA_INTEGER_OPTIMAL:
    case ZLV_SOL_STA_DUAL_INFEAS_CER:
      return m.relprimal <= tol;
    case ZLV_SOL_STA_NEAR_PRIM_FEAS:
    case ZLV_SOL_STA_NEAR_INTEGER_OPTIMAL:
    case ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER:
      return m.relprimal <= neartol;
    case ZLV_SOL_STA_DUAL_FEAS:
    case ZLV_SOL_STA_PRIM_INFEAS_CER:
      return m.reldual <= tol;
    case ZLV_SOL_STA_NEAR_DUAL_FEAS:
    case ZLV_SOL_STA_NEAR_PRIM_INFEAS_CER:
      return m.reldual <= neartol;
    default:
      return true;
  }
}

// fill: the values read become the solution, with the statuses of the file where they are true.
void fill(sol_reader& r, int32_t whichsol) {
  sol_part& con = r.part[ZLV_PI_CON];
  if (!r.hasdual) std::ranges::transform(con.sl, con.su, con.more.begin(), std::minus<>());
  sol_ensure(r.task, whichsol);
  const sol_view v = sol_items(r.task, whichsol);
  sol_storeparts(con, r.part[ZLV_PI_VAR], v);
  std::copy_n(r.part[ZLV_PI_CONE].sk.begin(), v.skn.size(), v.skn.begin());
  sol_settle(r.task, whichsol, r.prosta, r.solsta, r.path);
}

void store(sol_reader& r, int32_t whichsol) {
  sol_rec& rec = r.task.sol.rec[whichsol];
  sol_rec kept = std::move(rec);
  rec = sol_rec(mm_at(*r.task.mman));
  try {
    fill(r, whichsol);
  } catch (...) {
    rec = std::move(kept);
    throw;
  }
}

}  // namespace

void sol_settle(task_rec& task, int32_t whichsol, int32_t prosta, int32_t solsta,
                const char* path) {
  sol_measures m;
  sol_measureas(task, whichsol, solsta, m);
  const bool istrue = is_borneout(m);
  sol_define(task, whichsol, istrue ? prosta : ZLV_PRO_STA_UNKNOWN,
             istrue ? solsta : ZLV_SOL_STA_UNKNOWN);
  if (istrue) return;
  task_echo(task, msg_kind::wrn,
            "%s: the values are not what the solution status says, which becomes unknown "
            "(relative infeasibilities: primal %.1e, dual %.1e, gap %.1e).\n",
            path, m.relprimal, m.reldual, m.relgap);
}

int32_t ZLV_readsolution(ZLV_task_t task, int32_t whichsol, const char* filename) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_whichsol(whichsol); r != rescode::ok)
      return task_fail(t, r, whichsol);
    const std::string_view path = sol_filename(t, whichsol, filename);
    if (path.empty()) return sol_nofilename(t, whichsol);
    sol_reader r(t, path.data());
    if (const io_result io = io_readtext(path.data(), r.text); io.code != rescode::ok) {
      const rescode code = task_fail(t, io.code, path.data());
      task_echo(t, msg_kind::err, "%s\n", io.why);
      return code;
    }
    r.lines = io_firstline(r.text);
    for (std::string_view line; io_nextline(r.lines, line);) {
      if (const rescode code = read_line(r, line); code != rescode::ok) return code;
    }
    if (r.whichitem < 0) return refuse(r, "", "a table of constraints or variables");
    store(r, whichsol);
    return rescode::ok;
  });
}
