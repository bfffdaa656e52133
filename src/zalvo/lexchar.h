// What the tokens of LP and OPF files have in common: their kinds, classes of characters, words and
// symbols.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string_view>

enum class lex_kind : uint8_t {
  bad,  // what begins no token
  end,  // of the file
  name,
  number,
  infinite,  // inf, infinity
  sign,      // value: 1 or -1
  times,
  power,
  slash,
  open,
  close,
  colon,
  comma,
  less,
  greater,
  equal,
  section,  // LP: the words that begin one
  tag,      // OPF: the beginning of a tag; text: its name
  tagend    // OPF: the bracket that closes a tag
};

constexpr uint8_t lex_inname = 1, lex_first = 2, lex_blank = 4, lex_digit = 8;  // classes

struct lex_alphabet {
  std::array<uint8_t, 256> cls{};    // sums of classes
  std::array<lex_kind, 256> kind{};  // of the token that the character is or begins
};

struct lex_symbolkind {
  char symbol;
  lex_kind kind;
};

// lex_makealphabet: names begin with letters, bytes above ASCII and the characters of first, and go
// on with these, digits, and the characters of further. Symbols of every format are + - * ^ < > =.
constexpr lex_alphabet lex_makealphabet(std::string_view first, std::string_view further,
                                        std::initializer_list<lex_symbolkind> symbols) noexcept {
  lex_alphabet abc;
  auto& cls = abc.cls;
  for (int c = 0x80; c < 0x100; ++c) cls[c] = lex_inname | lex_first;
  for (int c = 'a'; c <= 'z'; ++c) cls[c] = cls[c - 'a' + 'A'] = lex_inname | lex_first;
  for (int c = '0'; c <= '9'; ++c) cls[c] = lex_inname | lex_digit;
  for (const char c : first) cls[c] = lex_inname | lex_first;
  for (const char c : further) cls[c] = lex_inname;
  for (const char c : std::string_view(" \t\r\f\v")) cls[c] = lex_blank;
  abc.kind['+'] = abc.kind['-'] = lex_kind::sign;
  abc.kind['*'] = lex_kind::times;
  abc.kind['^'] = lex_kind::power;
  abc.kind['<'] = lex_kind::less;
  abc.kind['>'] = lex_kind::greater;
  abc.kind['='] = lex_kind::equal;
  for (const lex_symbolkind s : symbols) abc.kind[s.symbol] = s.kind;
  return abc;
}

inline bool lex_is(const lex_alphabet& abc, char c, uint8_t cls) noexcept {
  return (abc.cls[static_cast<unsigned char>(c)] & cls) != 0;
}
// lex_skip: the first place from p on whose character is not of the class.
inline const char* lex_skip(const lex_alphabet& abc, uint8_t cls, const char* p,
                            const char* stop) noexcept {
  while (p != stop && lex_is(abc, *p, cls)) ++p;
  return p;
}
// lex_beginsnumber: a digit, or a full stop and a digit, stands at p, before stop.
inline bool lex_beginsnumber(const lex_alphabet& abc, const char* p, const char* stop) noexcept {
  return lex_is(abc, *p, lex_digit) || (*p == '.' && p + 1 != stop && lex_is(abc, p[1], lex_digit));
}

// lex_symbol: the symbol at pos, which goes behind it. Relations may have two characters: <= >= =<
// => ==.
lex_kind lex_symbol(const lex_alphabet& abc, const char*& pos, const char* stop) noexcept;

inline bool lex_isrelation(lex_kind kind) noexcept {
  return kind == lex_kind::less || kind == lex_kind::greater || kind == lex_kind::equal;
}
bool lex_isword(std::string_view text, std::string_view lower) noexcept;  // whatever the case
// lex_isvalueword: inf, infinity, nan or free, which are never names without quotes.
bool lex_isvalueword(std::string_view text) noexcept;
