// Reader of MPS files: the state that its sections share. The problem is built aside, in a record of
// the task's memory manager; the task itself is only used for its settings and its streams, so that
// a file that is refused changes nothing.
//
//   readmps.cpp      the second pass, the section lines, the messages
//   readmpssize.cpp  the first pass
//   readmpsline.cpp  a line into fields, fields into numbers
//   readmpssec.cpp   ROWS, COLUMNS, RHS, RANGES, BOUNDS
//   readmpsquad.cpp  quadratic and cone sections
//
// Rules where files differ: the first N row is the objective unless it is named by a parameter or
// an OBJNAME section; further N rows are left out, or kept as free constraints when
// ZLV_IPAR_READ_KEEP_FREE_CON is on. An RHS entry of the objective is minus its constant. RANGES
// R of a row with right-hand side b: L [b - |R|, b], G [b, b + |R|], E [b, b + R] for R >= 0 and
// [b + R, b] for R < 0. Variables have the bounds [0, inf) unless BOUNDS says otherwise, integer ones
// too. A negative UP bound of a variable without a lower one makes that minus infinity. MI
// leaves the upper bound as it is. The first vector met of RHS, RANGES and BOUNDS is taken, unless a
// parameter names another. What is read so against a strict view of the format is told once each with
// its first line and a count; it is refused when ZLV_IPAR_READ_MPS_RELAX is off.
//
// ZLV_MPS_FORMAT_RELAXED means fields separated by blanks, unless some line of ROWS to BOUNDS and
// the quadratic sections has a number of fields that its section cannot have while every one of
// them keeps to the fixed columns and has no tab: then names hold blanks, and the whole file is read
// by fixed columns. So a file that suits both is read by blanks.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "cpub/ioutils.h"
#include "zalvo/frame.h"
#include "zalvo/readmpsline.h"

enum class mps_sec : int32_t {
  none,
  name,
  objsense,
  objname,
  rows,
  columns,
  rhs,
  ranges,
  bounds,
  sets,
  quadobj,
  qmatrix,
  qsection,
  qcmatrix,
  csection,
  endata,
  count
};

struct mps_settings {
  int32_t format = 0;  // ZLV_MPS_FORMAT_*
  bool isquoted = true, iskeepint = true, iskeepfree = false, isobjsense = true, islog = true;
  bool isrelaxed = true;                                // deviations are told and let pass
  int32_t width = 0;                                    // longest line accepted; 0: any
  int32_t qmode = 0;                                    // ZLV_Q_READ_*
  std::string_view objname, rhsname, ranname, bouname;  // empty: the first met
  prob_tol tol;
};

// What was found in the file and let pass; told once each, with the first place and a count.
enum class mps_note : int32_t {
  negative_up,
  double_bound,
  range_of_free,
  rhs_unused,
  ranges_unused,
  bounds_unused,
  mirrored_q,
  count
};
struct mps_notice {
  int32_t num = 0, line = 0;
  std::string_view name;
};

// The named vectors of RHS, RANGES or BOUNDS.
struct mps_vectors {
  const char *section, *kind;  // "RHS", "rhs"
  rescode splitcode;
  mps_note unused;
  std::string_view wanted, current;  // wanted: the one to take, once ischosen
  bool ischosen = false, istold = false, isany = false;
  names_store seen;           // names of the vectors met, but for the unnamed one
  mm_vector<uint8_t> warned;  // by vector; the unnamed one is the first
  mps_vectors(mm_place at, const char* sec, const char* word, rescode code, mps_note note)
      : section(sec), kind(word), splitcode(code), unused(note), seen(at), warned(at) {}
};

constexpr int32_t mps_objrow = -1, mps_ignoredrow = -2, mps_norow = -3;

struct mps_qterms {
  mm_vector<int32_t> subk, subi, subj;  // subk: the constraint or prob_obj
  mm_vector<double> val;
  mm_vector<uint8_t> isfull;  // the term comes from a section that has both triangles
  explicit mps_qterms(mm_place at) : subk(at), subi(at), subj(at), val(at), isfull(at) {}
};

struct file_problem;

struct mps_reader {  // NOLINT: members stand by subject, not by size
  task_rec& t;       // for messages
  prob_rec& p;       // what is being built
  const char* filename;
  mps_settings set;
  mps_form form = mps_form::blanks;
  io_text& text;
  io_lines lines;
  std::string_view line;  // the current one
  mps_sec sec = mps_sec::none;
  std::array<bool, size_t(mps_sec::count)> isseen{};
  // counted by the first pass
  int32_t numrow = 0, numcol = 0;
  int64_t numentry = 0, rowchars = 0, colchars = 0;
  // rows: all of ROWS, in the order of the file
  names_store rows;
  mm_vector<int32_t> rowcon;   // constraint of each row, or mps_objrow, mps_ignoredrow
  mm_vector<char> contype;     // of each constraint
  mm_vector<double> rhs, ran;  // of each constraint
  mm_vector<uint8_t> hasrhs, hasran;
  bool hasobj = false, hasobjrhs = false;
  std::string_view objname;
  int32_t sense = 0;  // ZLV_OBJECTIVE_SENSE_*
  // columns
  int32_t col = -1;  // the current one
  std::string_view colname;
  bool isint = false;          // between the integer markers
  mm_vector<int32_t> rowmark;  // column + 1 that last had an entry in the row
  mm_vector<ptrdiff_t> ptr;
  mm_vector<int32_t> sub;
  mm_vector<double> val;
  mm_vector<uint8_t> boundset;  // 1: a lower bound was given, 2: an upper one
  int32_t numzero = 0;
  mps_vectors rhsvec, ranvec, bouvec;
  // quadratic and cone sections
  mps_qterms q;
  mm_vector<uint8_t> hasq;  // of each constraint
  bool hasqobj = false;
  int32_t qrow = 0;  // of the current section: a constraint, prob_obj or mps_ignoredrow
  bool isfull = false;
  double qfactor = 1;
  mm_vector<int32_t> conesub;
  std::string_view conename;
  double conepar = 0;
  int32_t conetype = -1;  // -1: no cone is open
  std::array<mps_notice, size_t(mps_note::count)> notes;
  mps_reader(task_rec& task, prob_rec& prob, io_text& from, const char* file);
};

// ---- Entry: reads text into out, which must be empty. The code was reported.
rescode mps_read(task_rec& t, io_text& text, const char* filename, file_problem& out);

// ---- Lines of sections
mps_sec mps_findsection(std::string_view word) noexcept;  // none when it is no keyword
// mps_headword: the keyword of a section line, and what stands behind it.
std::string_view mps_headword(std::string_view line, std::string_view& rest) noexcept;
bool mps_isskipped(std::string_view line) noexcept;  // blank, or a comment
// mps_estimate: the first pass. It tells what it does, settles the form and reserves the space.
void mps_estimate(mps_reader& rd);

// ---- Shared by the sections

// mps_tell: where and what, after the message of the code. token: part of the line, or empty.
void mps_tell(mps_reader& rd, std::string_view token, const char* why) noexcept;
template <class... Args>
rescode mps_fail(mps_reader& rd, std::string_view token, const char* why, rescode code,
                 Args... args) noexcept {
  (void)task_fail(rd.t, code, args...);
  mps_tell(rd, token, why);
  return code;
}
rescode mps_badfield(mps_reader& rd, int32_t field, std::string_view token,
                     const char* why) noexcept;
rescode mps_badrow(mps_reader& rd, std::string_view name) noexcept;
rescode mps_badcolumn(mps_reader& rd, std::string_view name) noexcept;
// mps_notetaken: counts one more of a note.
void mps_notetaken(mps_reader& rd, mps_note note, std::string_view name) noexcept;
rescode mps_split(mps_reader& rd, mps_shape shape, mps_fields& fields);
int32_t mps_findrow(const mps_reader& rd, std::string_view name) noexcept;  // a constraint or mps_*
inline int32_t mps_findcol(const mps_reader& rd, std::string_view name) noexcept {
  return prob_findname(rd.p, ZLV_PI_VAR, name);
}

// ---- Sections: what a data line means, and what the end of a section settles
rescode mps_rowsline(mps_reader& rd);
rescode mps_rowsend(mps_reader& rd);
rescode mps_columnsline(mps_reader& rd);
rescode mps_columnsend(mps_reader& rd);
rescode mps_rhsline(mps_reader& rd);
rescode mps_rangesline(mps_reader& rd);
rescode mps_boundsline(mps_reader& rd);
void mps_storebounds(mps_reader& rd);  // of rows and columns, when the whole file is read
rescode mps_quadhead(mps_reader& rd, std::string_view rest);
rescode mps_quadline(mps_reader& rd);
void mps_storequad(mps_reader& rd);
rescode mps_conehead(mps_reader& rd, std::string_view rest);
rescode mps_coneline(mps_reader& rd);
rescode mps_coneend(mps_reader& rd);
