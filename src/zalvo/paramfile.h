// Parameters as lines of text, in parameter files and in the parameter blocks of problem files:
// name, blanks, value.
#pragma once

#include <string_view>

#include "zalvo/frame.h"
#include "zalvo/paramtab.h"

// param_addline: appends the line of one parameter, without its newline: the name in 33 columns, a
// blank, and a number in 18 columns or the string. Doubles have 8 digits behind the point, or as many
// as they need to be read back as they are. A string that would not be read back as it is (blanks at
// its ends, control characters, what begins a comment) stands in double quotes, with a backslash
// before a quote or backslash, \n, \r, \t, and \xHH for other control characters.
void param_addline(mm_string& to, const param_values& par, param_id id, std::string_view comment);

// param_addquoted: appends a string in double quotes as above.
void param_addquoted(mm_string& to, std::string_view text);

// param_commentsign: what begins a comment of a parameter file, at the beginning of a line or behind
// a blank.
std::string_view param_commentsign(const param_values& par) noexcept;

// param_putline: stores the parameter of a line; blank lines and comments are passed over. What it
// found is echoed on MSG; faults are reported. Numbers may be given as symbolic constants.
rescode param_putline(task_rec& task, std::string_view line, std::string_view comment);

rescode param_writefile(task_rec& task, const char* filename);
// param_readfile: what was read before a fault stays put.
rescode param_readfile(task_rec& task, const char* filename);
