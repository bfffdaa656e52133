// Reading and writing problem files: the table of formats behind ZLV_readdata and ZLV_writedata, and
// what all formats share before and after the work of their own.
#pragma once

#include <cstdint>
#include <string_view>

#include "cpub/ioutils.h"
#include "zalvo/frame.h"

// What a reader makes of a file: a problem built aside, solutions of it, and what goes into
// parameters.
struct file_problem {
  prob_rec prob;
  bool isproblem = true;      // false: the task keeps its problem, which the solutions are for
  int32_t sense = 0;          // ZLV_OBJECTIVE_SENSE_*
  bool issensegiven = false;  // by the file, so that it comes before what the parameters say
  mm_string params;           // lines of parameters that the file holds, or empty
  param_values par;           // all parameters, when ispar
  bool ispar = false;
  sol_store sol;  // made by sol_make for the solutions that the file holds, with isdef and statuses
  bool hassol = false;
  bool isproven = false;  // the statuses are taken over without a check
  explicit file_problem(mm_place at) : prob(at), params(mm_alloc<char>(at)), par(at), sol(at) {}
};

// A format: its number, its extension without and its kind word in messages. A null function: files
// of this format cannot be read, or not written.
// read may free parts of the text that it has done with.
struct file_format {
  int32_t number;  // ZLV_DATA_FORMAT_*
  std::string_view extension;
  const char* kind;
  rescode (*read)(task_rec& t, io_text& text, const char* filename, file_problem& out);
  rescode (*write)(task_rec& t, io_out& out);
};

// file_find: the format of a file by its name (number ZLV_DATA_FORMAT_EXTENSION) or by its number;
// null when there is none.
const file_format* file_find(int32_t number, std::string_view filename) noexcept;
// file_isgzipname: whether a name ends in .gz.
bool file_isgzipname(std::string_view filename) noexcept;

// file_read, file_write: all of it, with messages, information items and parameters.
rescode file_read(task_rec& t, const file_format& format, const char* filename);
rescode file_write(task_rec& t, const file_format& format, const char* filename);

// file_poll: for long reading: trm_user_break when the caller wants an end.
rescode file_poll(task_rec& t) noexcept;
