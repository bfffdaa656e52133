// A line of an MPS file taken apart: into blank-separated tokens or into the fields of the fixed
// columns, and then into the same parts (key, first name, up to two pairs) for either form.
//
// Fixed columns, counted from 1: field 1 in 2-3, field 2 in 5-12, field 3 in 15-22, field 4 in
// 25-36, field 5 in 40-47, field 6 in 50-61. Between and behind them up to column 72 there is
// nothing; what follows is ignored, as is everything behind a '$' that begins field 3 or 5.
#pragma once

#include <cstdint>
#include <string_view>

enum class mps_form : int32_t { fixed, blanks };

// What a data line of a section looks like in blank-separated form.
enum class mps_shape : int32_t {
  key_name,       // ROWS: type, name
  name_pairs,     // COLUMNS, quadratic sections: name, one or two pairs
  set_pairs,      // RHS, RANGES: one or two pairs, a vector name in front or not
  key_set_value,  // BOUNDS: type, vector name or not, column, value or not
  name            // members of a cone
};

struct mps_pair {
  std::string_view name, value;
};
struct mps_fields {
  std::string_view key, name;  // empty where the line has none
  mps_pair pair[2];
  int32_t numpair = 0;
};

// Why a line cannot be taken apart. field: 1 .. 6, the one that is wrong; tab: it holds a tab.
struct mps_linefault {
  int32_t field = 0;
  bool istab = false;
  const char* why = "";
  std::string_view token;  // where it happened, a part of the line
};

struct mps_tokens {
  static constexpr int32_t most = 8;
  std::string_view tok[most];
  int32_t num = 0;      // of tok; a line with more tokens keeps the first of them
  bool isopen = false;  // a quotation mark is not closed
};

inline bool mps_isblank(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\r';
}
std::string_view mps_trim(std::string_view text) noexcept;

// mps_tokenize: splits at blanks and tabs. isquoted: a token that begins with a double quote runs to
// the next one and may hold blanks; the quotes are not part of it.
void mps_tokenize(std::string_view line, bool isquoted, mps_tokens& tokens) noexcept;

// mps_isknown tells whether a token is the name of a column, to tell a BOUNDS vector from a column.
struct mps_lookup {
  const void* ctx = nullptr;
  bool (*iscolumn)(const void* ctx, std::string_view name) = nullptr;
};
// mps_splitblanks, mps_splitfixed: false with a fault when the line does not have the shape.
bool mps_splitblanks(const mps_tokens& tokens, mps_shape shape, const mps_lookup& lookup,
                     mps_fields& fields, mps_linefault& fault) noexcept;
bool mps_splitfixed(std::string_view line, mps_shape shape, mps_fields& fields,
                    mps_linefault& fault) noexcept;
// mps_fitsfixed: whether a data line has its text in the fixed columns and no tab.
bool mps_fitsfixed(std::string_view line) noexcept;
// mps_hasshape: whether the number of blank-separated tokens suits the shape.
bool mps_hasshape(const mps_tokens& tokens, mps_shape shape) noexcept;

// mps_number: the whole text as a finite decimal number, independent of the locale; an exponent may
// begin with D. What is smaller than every double is zero; what is larger is refused.
bool mps_number(std::string_view text, double& value) noexcept;
// mps_boundnumber: the same, or an infinity in words, which becomes +-1e30.
bool mps_boundnumber(std::string_view text, double& value) noexcept;
bool mps_isword(std::string_view text, std::string_view upper) noexcept;  // whatever the case
