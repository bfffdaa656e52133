// Reader of OPF files: the state that its parts share. The problem is built aside, in a record of the
// task's memory manager; the task itself is only used for its settings, its streams and, when the
// file holds no problem, for its names.
//
//   zalvoropf.cpp      tags, lists of names, hints, messages, putting the problem together
//   zalvoropflex.cpp   tokens and names
//   zalvoropfexpr.cpp  objective, constraints, bounds, cones
//   zalvoropfsol.cpp   parameters and solutions
//
//   [comment] anything [/comment]
//   [hints] [hint NUMVAR|NUMCON|NUMANZ|...] number [/hint] [/hints]
//   [variables disallow_new_variables] name name ... [/variables]      the attribute may be missing
//   [objective minimize|maximize 'name'] sum [/objective]              the name may be missing
//   [constraints] [con 'name'] sum relation sum [/con] ... [/constraints]
//                 [con 'name'] value relation sum relation value [/con]
//   [bounds] [b] value relation names [/b] [b] names relation value [/b] [b] names free [/b]
//            [b] value relation names relation value [/b]
//            [cone quad|rquad 'name' par=number] name, name, ... [/cone]   par: 0 when missing
//   [/bounds]
//   [integer] name name ... [/integer]
//   [vendor zalvo] [parameters] [p NAME] value [/p] ... [/parameters] [/vendor]
//   [solutions] [solution interior|basic|integer status=TEXT]
//               [var 'name'] sk=KEY lvl=x sl=x su=x sn=x [/var]
//               [con 'name'] sk=KEY lvl=x y=x sl=x su=x [/con]
//               [/solution] [/solutions]
//   sum      = {sign} item {sign {sign} item}
//   item     = number | [number ["*"]] term | [number ["*"]] "(" sum ")"
//   term     = name | name "^" 2 | name "*" name
//   names    = name {"," name}, or "*": every variable
//   relation = < <= =< > >= => = ==; strict ones mean the others
// Sections may stand in any order and, but for objective, more than once. Names may stand in quotes.
//
// Where files differ: terms may stand on both sides of a relation, and all go to the left, or to the
// right when there are none on the left; constants go the other way. A constant of the objective is
// its fixed term. Repeated terms are added. Variables are numbered in the order in which they occur.
// They are free, but "*" gives bounds to the sides that no bound of their own gives, wherever it
// stands. Constraints without a finite side are kept. A file without variables, objective,
// constraints, bounds and integers leaves the task's problem as it is, and its solutions are those
// of that problem. The status of a solution is taken over when its values bear it out.
#pragma once

#include <cstdint>
#include <string_view>

#include "cpub/ioutils.h"
#include "zalvo/frame.h"
#include "zalvo/rowbuild.h"
#include "zalvo/solfile.h"
#include "zalvo/zalvoropflex.h"

struct file_problem;

// What is read of a solution: the items of the variables or of the constraints.
struct opf_solution {
  bool isgiven = false;
  int32_t solsta = 0;  // ZLV_SOL_STA_*
  sol_part var, con;
  explicit opf_solution(mm_place at) : var(at), con(at) {}
};

struct opf_reader {
  row_builder b;  // what is being built
  file_problem& out;
  opf_lexer lx;
  size_t nextchunk = 0;      // up to where the text was freed
  size_t pollchunk = 0;      // in which breaks were asked for last
  bool isany = false;        // a section was met
  bool isproblem = false;    // one of the problem's
  bool isobjective = false;  // the objective
  bool isclosed = false;     // no new variables any more
  mm_string label;           // name of the row or cone that is being read
  double factor = 1;         // of the group in brackets
  bool isgroup = false;      // inside of it
  int64_t hintvar = -1, hintcon = -1, hintanz = -1;
  int32_t hintline = 0;
  mm_vector<prob_cone> cones;
  names_store conenames;
  mm_vector<int32_t> coneof;                // cone of each variable or -1; may be shorter
  std::array<opf_solution, sol_count> sol;  // by ZLV_SOL_*
  int32_t whichsol = 0;                     // of the solution that is being read
  opf_reader(task_rec& task, const char* file, file_problem& into);
};

// ---- Entry: reads text into out, which must be empty. The code was reported. The parts of text that
// were read are freed.
rescode opf_read(task_rec& t, io_text& text, const char* filename, file_problem& out);

// opf_fail: err_opf_format at the current token. said: a text of the format, or null; why: in plain
// words. A bad token tells its own fault.
rescode opf_fail(opf_reader& rd, const char* said, const char* why) noexcept;
// opf_poll: trm_user_break when the caller wants an end.
rescode opf_poll(opf_reader& rd) noexcept;
// opf_variable: the number of the variable that the current token, a name, means. The token stays.
rescode opf_variable(opf_reader& rd, int32_t& j);
// opf_number: a finite number with signs, or with isinf +-prob_inf for an infinity.
rescode opf_number(opf_reader& rd, bool isinf, double& value, const char* said);

// ---- What stands within the tags; behind it is the end tag.
rescode opf_objective(opf_reader& rd);
rescode opf_constraint(opf_reader& rd);
rescode opf_bound(opf_reader& rd);
rescode opf_conehead(opf_reader& rd);
rescode opf_cone(opf_reader& rd);
rescode opf_param(opf_reader& rd);  // its attributes too
rescode opf_solhead(opf_reader& rd);
rescode opf_solitem(opf_reader& rd, bool iscon);  // its attributes too
void opf_storesolutions(opf_reader& rd);
