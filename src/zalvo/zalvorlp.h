// Reader of LP files: the state that its parts share. The problem is built aside, in a record of the
// task's memory manager; the task itself is only used for its settings and its streams, so that a
// file that is refused changes nothing.
//
//   zalvorlp.cpp      sections, messages, putting the problem together
//   zalvorlplex.cpp   tokens and names
//   zalvorlpexpr.cpp  expressions: the objective and the constraints
//
//   file        = sense objective "subject to" {constraint} {section} ["end" anything]
//   sense       = min, max, minimize, maximise, minimum ..., also with a colon behind it
//   objective   = [name ":"] sum
//   constraint  = [name ":"] (sum relation sum | constant relation sum relation constant)
//   sum         = {sign} item {sign {sign} item}
//   item        = number | [number ["*"]] name | "[" qsum "]" ["/" 2]
//   qsum        = terms [number ["*"]] name ("^" 2 | "*" name) with signs
//   section     = bounds | general | binary | constraints again, in any order
//   bounds      = {name "free" | name relation value | value relation name [relation value]}
//   general     = {name}, binary = {name}
//   relation    = < <= =< > >= => = ==; strict ones mean the others
// "subject to": also subj to, such that, st, s.t.; "general": also gen, integer and their plurals;
// "binary": also bin. Keywords may be written in any case.
//
// Where files differ: terms may stand on both sides of a relation, and all go to the left, or to the
// right when there are none on the left; constants go the other way. A constant of the objective is
// its fixed term. Repeated terms are added. Variables are numbered in the order in which they occur
// and have the bounds [0, inf), also when an upper bound is negative; binary ones [0, 1]. A row
// without a finite side is left out unless ZLV_IPAR_READ_KEEP_FREE_CON is on. Without "/2" a
// quadratic expression means what stands there. "end" may be missing when the last line is
// complete. Everything of that kind is told once, with its first place and a count.
#pragma once

#include <cstdint>
#include <string_view>

#include "cpub/ioutils.h"
#include "zalvo/frame.h"
#include "zalvo/rowbuild.h"
#include "zalvo/zalvorlplex.h"

struct lp_settings {
  bool isquoted = true, iskeepfree = false, isdropnew = false, islog = true;
};

struct lp_reader {
  row_builder b;  // what is being built
  lp_settings set;
  lp_lexer lx;
  size_t nextchunk = 0;    // up to where the text was freed
  size_t pollchunk = 0;    // in which breaks were asked for last
  int32_t sense = 0;       // ZLV_OBJECTIVE_SENSE_*
  std::string_view label;  // of the row that is being read
  lp_reader(task_rec& task, prob_rec& prob, const char* file, const lp_settings& settings)
      : b(task, prob, file), set(settings) {}
};

// ---- Entry: reads text into out, which must be empty. The code was reported. The parts of text that
// were read are freed.
struct file_problem;
rescode lp_read(task_rec& t, io_text& text, const char* filename, file_problem& out);

// ---- Messages. Each tells the place: file, line, column and the current token.

// lp_tell: the place, with its line and why.
void lp_tell(lp_reader& rd, const char* why) noexcept;
// lp_expect: the current token is not what the file needs there; the text is one of the format's,
// "Expected ...". A bad token tells its own fault.
enum class lp_want : int32_t {
  sense,
  constraints,
  qvariable,
  intvariable,
  variable,
  number,
  less,
  power,
  free,
  end
};
rescode lp_expect(lp_reader& rd, lp_want want, const char* why) noexcept;

// ---- Expressions

rescode lp_objective(lp_reader& rd);
rescode lp_constraint(lp_reader& rd);
// lp_side: what a relation to a value says of the two sides of b; false when it can never hold
// because the value is infinite.
bool lp_side(lex_kind relation, double value, prob_bound& b) noexcept;
