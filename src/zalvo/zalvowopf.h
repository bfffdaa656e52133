// Writer of OPF files. Every name that the file will hold is looked at before anything is written.
//
// Names that are no plain ones (zalvoropflex.h) stand in single quotes, so every name can be written.
// A variable without a name is refused; a constraint or cone without one is written without. When
// ZLV_IPAR_WRITE_GENERIC_NAMES is on, all are "x%06d", "con%06d" and "cone%06d" instead, counted from
// ZLV_IPAR_WRITE_GENERIC_NAMES_IO. The solution of a constraint without a name stands under
// "con%06d", which a reader takes for that constraint, unless another one has this name.
//
// Numbers have ZLV_IPAR_WRITE_PRECISION digits behind the point, as with "%.*e"; where they stand in
// columns they are as wide as the longest. A new line begins behind ZLV_IPAR_OPF_MAX_TERMS_PER_LINE
// terms or names (0: any number). Constraints without a finite side end in ">= -inf". The parameter
// of a cone stands in its tag as "par=" when it is not zero. The coefficients inside of the brackets
// of quadratic terms are those of the whole symmetric matrix.
//
//   ZLV_IPAR_OPF_WRITE_HEADER, _HINTS, _PROBLEM, _PARAMETERS, _SOLUTIONS   the parts of the file;
//       parameters also when ZLV_IPAR_WRITE_DATA_PARAM is on
//   ZLV_IPAR_OPF_WRITE_SOL_ITR, _BAS, _ITG   which of the defined solutions
//
//   zalvowopf.cpp     the problem
//   zalvowopfsol.cpp  parameters and solutions
#pragma once

#include <cstdint>
#include <string_view>

#include "cpub/ioutils.h"
#include "cpub/strbld.h"
#include "zalvo/frame.h"

// opf_write: the problem of a task. Failures were reported, but for those of out itself.
rescode opf_write(task_rec& t, io_out& out);

// ---- What the units share: the state, names and numbers.

struct opf_writer {
  task_rec& t;
  prob_rec& p;
  io_out& out;
  strbld text;          // what was not yet handed over
  int32_t numterm = 0;  // on the current line
  int32_t precision = 0, maxterm = 0, firstgeneric = 0;
  bool isgeneric = false;
  opf_writer(task_rec& task, io_out& o) : t(task), p(task.prob), out(o), text(mm_at(*task.mman)) {}
};

inline void opf_add(opf_writer& w, std::string_view piece) {
  strbld_add(w.text, piece);
}
// opf_endline: hands the text over when there is much of it.
void opf_endline(opf_writer& w);
void opf_addname(opf_writer& w, std::string_view name);
// opf_additem: the name of an item (ZLV_PI_*), or the generic one.
void opf_additem(opf_writer& w, int32_t kind, int32_t i);
// opf_addnumber: a value in exponent form; opf_addcolumn: and blanks up to the longest.
void opf_addnumber(opf_writer& w, double value);
void opf_addcolumn(opf_writer& w, double value);

// opf_addparams, opf_addsolutions: these sections.
void opf_addparams(opf_writer& w);
void opf_addsolutions(opf_writer& w);
