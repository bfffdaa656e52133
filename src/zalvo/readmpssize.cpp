// First pass over an MPS file: which form it has, and how large the problem is.
#include <algorithm>

#include "zalvo/readmps.h"

namespace {

struct section_word {
  std::string_view word;
  mps_sec sec;
};
constexpr section_word section_words[] = {
    {"NAME", mps_sec::name},         {"OBJSENSE", mps_sec::objsense},
    {"OBJSENS", mps_sec::objsense},  {"OBJNAME", mps_sec::objname},
    {"OBJECTIVE", mps_sec::objname}, {"ROWS", mps_sec::rows},
    {"COLUMNS", mps_sec::columns},   {"RHS", mps_sec::rhs},
    {"RANGES", mps_sec::ranges},     {"BOUNDS", mps_sec::bounds},
    {"SETS", mps_sec::sets},         {"QUADOBJ", mps_sec::quadobj},
    {"QMATRIX", mps_sec::qmatrix},   {"QSECTION", mps_sec::qsection},
    {"QCMATRIX", mps_sec::qcmatrix}, {"CSECTION", mps_sec::csection},
    {"ENDATA", mps_sec::endata}};

constexpr bool shape_of(mps_sec sec, mps_shape& shape) noexcept {
  switch (sec) {
    case mps_sec::rows:
      shape = mps_shape::key_name;
      return true;
    case mps_sec::columns:
    case mps_sec::quadobj:
    case mps_sec::qmatrix:
    case mps_sec::qsection:
    case mps_sec::qcmatrix:
      shape = mps_shape::name_pairs;
      return true;
    case mps_sec::rhs:
    case mps_sec::ranges:
      shape = mps_shape::set_pairs;
      return true;
    case mps_sec::bounds:
      shape = mps_shape::key_set_value;
      return true;
    default:
      return false;
  }
}

struct line_census {
  bool isodd = false;  // some line does not have its section's number of fields
  std::string_view colname;
};

void count_column(mps_reader& rd, line_census& census, std::string_view name, size_t numentry) {
  rd.numentry += int64_t(numentry);
  if (rd.numcol > 0 && name == census.colname) return;
  census.colname = name;
  rd.colchars += int64_t(name.size());
  ++rd.numcol;
}

void count_line(mps_reader& rd, line_census& census, mps_shape shape) noexcept {
  mps_tokens tokens;
  mps_fields f;
  mps_linefault fault;
  if (rd.form == mps_form::fixed) {
    if (!mps_splitfixed(rd.line, shape, f, fault)) return;
  } else {
    mps_tokenize(rd.line, rd.set.isquoted, tokens);
    census.isodd = census.isodd || !mps_hasshape(tokens, shape);
    f.name = tokens.num > 0 ? tokens.tok[0] : std::string_view{};
    f.pair[0].name = tokens.num > 1 ? tokens.tok[1] : std::string_view{};
    f.numpair = (tokens.num - 1) / 2;
  }
  if (rd.sec == mps_sec::rows) {
    ++rd.numrow;
    rd.rowchars += int64_t(rd.line.size());
  } else if (rd.sec == mps_sec::columns && f.pair[0].name != "'MARKER'") {
    count_column(rd, census, f.name, size_t(f.numpair));
  }
}

// Calls what(shape) for each data line of the sections that have a shape, as long as it returns true.
template <class F>
void each_line(mps_reader& rd, F&& what) noexcept {
  rd.sec = mps_sec::none;
  for (rd.lines = io_firstline(rd.text); io_nextline(rd.lines, rd.line);) {
    if (mps_isskipped(rd.line)) continue;
    if (!mps_isblank(rd.line[0])) {
      std::string_view rest;
      rd.sec = mps_findsection(mps_headword(rd.line, rest));
      if (rd.sec == mps_sec::endata) break;
      continue;
    }
    mps_shape shape{};
    if (shape_of(rd.sec, shape) && !what(shape)) return;
  }
}

line_census count_lines(mps_reader& rd) noexcept {
  line_census census;
  rd.numrow = rd.numcol = 0;
  rd.numentry = rd.rowchars = rd.colchars = 0;
  each_line(rd, [&](mps_shape shape) {
    count_line(rd, census, shape);
    return true;
  });
  return census;
}

// Whether every line keeps to the fixed columns.
bool fits_fixed(mps_reader& rd) noexcept {
  bool isfixed = true;
  each_line(rd, [&](mps_shape) { return isfixed = mps_fitsfixed(rd.line); });
  return isfixed;
}

void reserve(mps_reader& rd) {
  const auto numrow = size_t(rd.numrow);
  const auto numentry = size_t(std::min<int64_t>(rd.numentry, sprmat_maxcap));
  names_reserve(rd.rows, ZLV_PI_CON, rd.numrow, ptrdiff_t(rd.rowchars));
  rd.rowcon.reserve(numrow);
  rd.contype.reserve(numrow);
  prob_append(rd.p, acc::var, rd.numcol);
  names_reserve(rd.p.names, ZLV_PI_VAR, rd.numcol, ptrdiff_t(rd.colchars));
  rd.boundset.resize(size_t(rd.numcol), 0);
  rd.ptr.reserve(size_t(rd.numcol) + 1);
  rd.sub.reserve(numentry);
  rd.val.reserve(numentry);
}

}  // namespace

mps_sec mps_findsection(std::string_view word) noexcept {
  for (const section_word& s : section_words) {
    if (s.word == word) return s.sec;
  }
  return mps_sec::none;
}

// The keyword of a section line, and what stands behind it.
std::string_view mps_headword(std::string_view line, std::string_view& rest) noexcept {
  size_t n = 0;
  while (n < line.size() && !mps_isblank(line[n])) ++n;
  rest = mps_trim(line.substr(n));
  return line.substr(0, n);
}

bool mps_isskipped(std::string_view line) noexcept {
  if (line.empty() || line[0] == '*') return true;
  return std::all_of(line.begin(), line.end(), mps_isblank);
}

void mps_estimate(mps_reader& rd) {
  const timer clock = timer_start();
  const bool islog = rd.set.islog;
  if (islog) {
    task_echo(rd.t, msg_kind::msg, "Estimating problem size.\n");
    task_echo(rd.t, msg_kind::msg, "Estimating number of %s.\n", "constraints");
    task_echo(rd.t, msg_kind::msg, "Estimating number of %s.\n", "variables and A nonzeros");
  }
  rd.form = rd.set.format == ZLV_MPS_FORMAT_STRICT ? mps_form::fixed : mps_form::blanks;
  const line_census census = count_lines(rd);
  if (rd.set.format == ZLV_MPS_FORMAT_RELAXED && census.isodd && fits_fixed(rd)) {
    rd.form = mps_form::fixed;
    count_lines(rd);
  }
  if (islog) {
    task_echo(rd.t, msg_kind::msg, "Finished estimating problem size. Time: %-.2f\n",
              timer_wall(clock));
  }
  reserve(rd);
}
