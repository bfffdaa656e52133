#include "cpub/strbld.h"

#include <algorithm>
#include <charconv>

namespace {

void add_double(strbld& b, double value, std::chars_format format, int32_t precision) {
  char digits[strbld_maxprecision + 32];  // sign, point, exponent
  const auto end = std::to_chars(digits, digits + sizeof digits, value, format,
                                 std::clamp(precision, 0, strbld_maxprecision));
  strbld_add(b, {digits, size_t(end.ptr - digits)});
}

}  // namespace

void strbld_pad(strbld& b, size_t from, size_t width) {
  if (b.text.size() - from < width) b.text.resize(from + width, ' ');
}

void strbld_left(strbld& b, std::string_view piece, size_t width) {
  const size_t from = b.text.size();
  strbld_add(b, piece);
  strbld_pad(b, from, width);
}

void strbld_int(strbld& b, int64_t value) {
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, value);
  strbld_add(b, {digits, size_t(end.ptr - digits)});
}

void strbld_exp(strbld& b, double value, int32_t precision) {
  add_double(b, value, std::chars_format::scientific, precision);
}

void strbld_gen(strbld& b, double value, int32_t precision) {
  add_double(b, value, std::chars_format::general, precision);
}
