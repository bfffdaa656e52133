// A problem that a file gives row by row, as LP and OPF files do: terms are gathered by rows, variables
// are numbered in the order in which they occur, and at the end all of it becomes a problem. What the
// file repeats or leaves open is told once each, with its first place and a count.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "cpub/ioutils.h"
#include "zalvo/frame.h"

// What was found in a file and let pass.
enum class row_note : int32_t {
  double_term,
  double_qterm,
  double_bound,
  negative_upper,
  free_row,
  old_quad,
  no_end,
  double_name,
  hint,
  count
};
struct row_notice {
  int32_t num = 0, line = 0;
  io_shorttext name{};
};

struct row_qterms {
  mm_vector<int32_t> subk, subi, subj;  // subk: the constraint or prob_obj; subi >= subj
  mm_vector<double> val;
  explicit row_qterms(mm_place at) : subk(at), subi(at), subj(at), val(at) {}
};

// Where a variable stands in the row that is being read.
struct row_mark {
  int32_t stamp = -1;  // of the row that had it last
  ptrdiff_t pos = 0;
};

constexpr uint8_t row_lowergiven = 1, row_uppergiven = 2;

struct row_builder {
  task_rec& t;  // for messages
  prob_rec& p;  // what is being built
  const char* filename;
  prob_tol tol;
  double defaultlower = 0, defaultupper = prob_inf;  // of a variable's sides that are not given
  names_store names;
  int32_t numvar = 0, numcon = 0;
  mm_vector<row_mark> mark;
  mm_vector<double> c;
  mm_vector<double> lower, upper;  // the sides that are given
  mm_vector<uint8_t> boundset;     // row_lowergiven, row_uppergiven
  mm_vector<uint8_t> isint;
  bool isanyint = false;
  int32_t negativeline = 0;  // where the first negative upper bound was given
  mm_vector<ptrdiff_t> rowptr;
  mm_vector<int32_t> sub;
  mm_vector<double> val;
  mm_vector<prob_bound> rowbound;
  double cfix = 0;
  row_qterms q;
  int32_t row = prob_obj, stamp = 0;  // of the row that is being read
  std::array<row_notice, size_t(row_note::count)> notes;
  row_builder(task_rec& task, prob_rec& prob, const char* file);
};

// row_variable: the number of a variable, a new one when the name was not met before.
int32_t row_variable(row_builder& b, std::string_view name);
// row_begin: row b.numcon, or the objective (prob_obj), which may be begun at any time, but once.
void row_begin(row_builder& b, int32_t row);
// row_term: adds value times variable j to the row. A fault was not reported.
enum class row_fault : int32_t { none, overflow, hugecost };
row_fault row_term(row_builder& b, int32_t j, double value, int32_t line);
// row_qterm: a quadratic term of the row: value times x_i x_j / 2, or x_i^2 / 2 when i is j.
void row_qterm(row_builder& b, int32_t i, int32_t j, double value);
// row_end: the row is complete. row_drop: it is left out; firstq: quadratic terms before it.
void row_end(row_builder& b, std::string_view name, const prob_bound& bound);
void row_drop(row_builder& b, size_t firstq);
// row_makevars: the arrays of bounds and types get the length of the current variables.
void row_makevars(row_builder& b);
// row_setsides: gives the sides (row_lowergiven, row_uppergiven) of variable j.
void row_setsides(row_builder& b, int32_t j, const prob_bound& bound, uint8_t sides, int32_t line);
void row_setint(row_builder& b, int32_t j);

// row_notetaken: counts one more of a note. line: 0 when it is not known any more.
void row_notetaken(row_builder& b, row_note note, int32_t line, std::string_view name) noexcept;
// row_store: everything becomes the problem. The code was reported.
rescode row_store(row_builder& b);
// row_tellnotes: what was found and let pass.
void row_tellnotes(const row_builder& b) noexcept;
