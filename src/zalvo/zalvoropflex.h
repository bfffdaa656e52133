// Tokens of an OPF file, and which texts are names in it; reader and writer share the rules.
//
// A name begins with a letter, a byte above ASCII, or one of !$%&:;?@_`{|}~ and goes on with these,
// digits and full stops. Any other name stands in single or double quotes; there a backslash means
// \\ \' \" \n \r \t or \xHH before these and itself before anything else. "inf", "infinity", "nan"
// and "free" are names only in quotes. A '#' begins a comment. Lines may have any length, and line
// ends mean no more than blanks.
#pragma once

#include <cstdint>
#include <string_view>

#include "cpub/ioutils.h"
#include "cpub/memman.h"
#include "cpub/strbld.h"
#include "zalvo/lexchar.h"

struct opf_token {
  lex_kind kind = lex_kind::end;
  std::string_view text;     // of a quoted name what it means; valid until the next token
  const char* at = nullptr;  // where it begins, in the line
  double value = 0;
  bool isquoted = false;   // name
  bool isclosing = false;  // tag: behind a slash
  const char* why = "";    // bad: what is wrong with it
};

struct opf_lexer {
  io_lines lines;
  std::string_view line;
  const char *pos = nullptr, *stop = nullptr;  // the rest of the line
  opf_token tok;                               // the current one
  mm_string unquoted;                          // text of a name with backslashes
  explicit opf_lexer(mm_place at) : unquoted(mm_alloc<char>(at)) {}
};

// opf_next: goes on to the next token. Throws std::bad_alloc.
void opf_next(opf_lexer& lx);
// opf_skipto: goes behind the end tag of this name, whatever stands before it; false when there is
// none. The current token is then the first one behind it.
bool opf_skipto(opf_lexer& lx, std::string_view tag);

// opf_isplainname: the text is read back as a name when it stands there as it is.
bool opf_isplainname(std::string_view text) noexcept;
// opf_addquoted: a text in single quotes, so that it is read back as it is.
void opf_addquoted(strbld& b, std::string_view text);
