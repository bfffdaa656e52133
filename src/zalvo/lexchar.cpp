#include "zalvo/lexchar.h"

#include <algorithm>

lex_kind lex_symbol(const lex_alphabet& abc, const char*& pos, const char* stop) noexcept {
  const lex_kind kind = abc.kind[static_cast<unsigned char>(*pos++)];
  if (!lex_isrelation(kind) || pos == stop) return kind;
  const char more = *pos;
  if (kind == lex_kind::equal && (more == '<' || more == '>')) {
    ++pos;
    return more == '<' ? lex_kind::less : lex_kind::greater;
  }
  if (more == '=') ++pos;
  return kind;
}

bool lex_isword(std::string_view text, std::string_view lower) noexcept {
  return text.size() == lower.size() &&
         std::equal(text.begin(), text.end(), lower.begin(), [](char a, char b) {
           return a == b || (a >= 'A' && a <= 'Z' && a - 'A' + 'a' == b);
         });
}

bool lex_isvalueword(std::string_view text) noexcept {
  constexpr std::string_view words[] = {"inf", "infinity", "nan", "free"};
  return std::any_of(std::begin(words), std::end(words),
                     [&](std::string_view word) { return lex_isword(text, word); });
}
