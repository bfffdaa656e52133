// String builder: text put together piece by piece, numbers in the C locale whatever the process's.
#pragma once

#include <cstdint>
#include <string_view>

#include "cpub/memman.h"

struct strbld {
  mm_vector<char> text;
  explicit strbld(mm_place at) : text(at) {}
};

inline std::string_view strbld_view(const strbld& b) noexcept {
  return {b.text.data(), b.text.size()};
}
inline void strbld_clear(strbld& b) noexcept {
  b.text.clear();
}

// These append, and throw std::bad_alloc with the text unchanged.
inline void strbld_add(strbld& b, std::string_view piece) {
  b.text.insert(b.text.end(), piece.begin(), piece.end());
}
inline void strbld_add(strbld& b, char c) {
  b.text.push_back(c);
}
// strbld_pad: blanks until the text behind from is width characters long; none when it is longer.
void strbld_pad(strbld& b, size_t from, size_t width);
// strbld_left: a piece, left-justified in width characters as with "%-*s".
void strbld_left(strbld& b, std::string_view piece, size_t width);
void strbld_int(strbld& b, int64_t value);
// strbld_exp, strbld_gen: as with "%.*e" and "%.*g". precision: 0 .. strbld_maxprecision, more counts
// as that much; any decimal place beyond it is of no use to a double.
constexpr int32_t strbld_maxprecision = 60;
void strbld_exp(strbld& b, double value, int32_t precision);
void strbld_gen(strbld& b, double value, int32_t precision);
