// Tokens of an LP file, and which texts are names in it; reader and writer share the rules.
//
// A name begins with a letter, a byte above ASCII, or one of !#$%&(),;?@_`'{}|~ and goes on with
// these, digits, the double quote, the slash and the full stop. Behind its first character it may
// also hold pieces in brackets made of such characters, as in x[1,2]. Quoted names ("any text") may
// hold everything but double quotes and control characters. Words that begin a section have that
// meaning as the first word of a line only; "inf", "infinity" and "nan" are never names.
// A backslash begins a comment. Lines may have any length; line ends mean no more than blanks, but
// for the words above and for the right-hand side of a constraint, which ends with its line.
#pragma once

#include <cstdint>
#include <string_view>

#include "cpub/ioutils.h"
#include "zalvo/lexchar.h"

enum class lp_sec : int32_t { none, constraints, bounds, general, binary, end, refused };

struct lp_token {
  lex_kind kind = lex_kind::end;
  std::string_view text;  // a part of the line; of a quoted name without the quotes
  double value = 0;
  lp_sec sec = lp_sec::none;
  bool isfirst = false;   // of its line
  const char* why = "";   // bad, refused: what is wrong with it
  bool isquoted = false;  // name
  bool isglued = false;   // number: a name follows without a blank
};

struct lp_lexer {
  io_lines lines;
  std::string_view line;
  const char *pos = nullptr, *stop = nullptr;  // the rest of the line
  bool isquoting = true;                       // names may stand in quotes
  lp_token tok;                                // the current one
  int32_t lastline = 0;                        // where the token before it is
};

// lp_next: goes on to the next token.
void lp_next(lp_lexer& lx) noexcept;
// lp_iscolonnext: whether a colon follows the current token on its line.
bool lp_iscolonnext(const lp_lexer& lx) noexcept;

// lp_isplainname: the text is read back as a name when it stands there as it is, wherever it stands.
// isstrict: and so by readers that take at most 255 characters of ASCII, and a leading e for the
// exponent of a number.
bool lp_isplainname(std::string_view text, bool isstrict) noexcept;
// lp_isquotable: the text is read back as a name when it stands in double quotes.
bool lp_isquotable(std::string_view text) noexcept;
