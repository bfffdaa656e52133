#include "zalvo/readmpsline.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace {

// Fields of the fixed columns: first character and length, from 0.
struct field_place {
  size_t first, len;
};
constexpr int32_t numfield = 6;
constexpr field_place field_places[numfield] = {{1, 2},   {4, 8},  {14, 8},
                                                {24, 12}, {39, 8}, {49, 12}};
constexpr size_t ignoredfrom = 72;

std::string_view part(std::string_view line, size_t first, size_t last) noexcept {
  if (first >= line.size()) return {};
  return line.substr(first, last - first);
}

bool isallblank(std::string_view text) noexcept {
  return std::all_of(text.begin(), text.end(), mps_isblank);
}

// Leading field of a shape with key: 0 when the key comes first.
constexpr bool haskey(mps_shape shape) noexcept {
  return shape == mps_shape::key_name || shape == mps_shape::key_set_value;
}

// How many tokens a line of the shape has: at least and at most, and from where a comment may start.
struct shape_size {
  int32_t least, most, comment;
};
constexpr shape_size size_of(mps_shape shape) noexcept {
  switch (shape) {
    case mps_shape::key_name:
      return {2, 2, 2};
    case mps_shape::name_pairs:
      return {3, 5, 3};
    case mps_shape::set_pairs:
      return {2, 5, 2};
    case mps_shape::key_set_value:
      return {2, 4, 3};
    case mps_shape::name:
      return {1, 1, 1};
  }
  return {1, 1, 1};
}

// Tokens in front of a comment: a '$' where a further name or nothing would stand.
int32_t count_tokens(const mps_tokens& tokens, mps_shape shape) noexcept {
  for (int32_t i = size_of(shape).comment; i < tokens.num; ++i) {
    if (!tokens.tok[i].empty() && tokens.tok[i][0] == '$') return i;
  }
  return tokens.num;
}

bool suits(int32_t num, mps_shape shape) noexcept {
  const shape_size s = size_of(shape);
  return num >= s.least && num <= s.most && (shape != mps_shape::name_pairs || num % 2 == 1);
}

// type, [set], column, [value]: which of the two or three behind the type is the column.
void split_bound(const mps_tokens& tokens, int32_t num, const mps_lookup& lookup,
                 mps_fields& f) noexcept {
  f.key = tokens.tok[0];
  f.numpair = 1;
  const auto iscolumn = [&](int32_t i) {
    return lookup.iscolumn != nullptr && lookup.iscolumn(lookup.ctx, tokens.tok[i]);
  };
  if (num == 3 && tokens.tok[2].starts_with('$') && !iscolumn(2)) num = 2;
  const bool needsvalue = !(mps_isword(f.key, "FR") || mps_isword(f.key, "MI") ||
                            mps_isword(f.key, "PL") || mps_isword(f.key, "BV"));
  double ignored = 0;
  if (num == 4) {
    f.name = tokens.tok[1];
    f.pair[0] = {tokens.tok[2], tokens.tok[3]};
  } else if (num == 2) {
    f.pair[0] = {tokens.tok[1], {}};
  } else if (needsvalue ? mps_boundnumber(tokens.tok[2], ignored) || !iscolumn(2)
                        : iscolumn(1) && !iscolumn(2)) {
    f.pair[0] = {tokens.tok[1], tokens.tok[2]};
  } else {
    f.name = tokens.tok[1];
    f.pair[0] = {tokens.tok[2], {}};
  }
}

int32_t tabbed_field(size_t at) noexcept {
  for (int32_t k = 0; k < numfield; ++k) {
    if (at < field_places[k].first + field_places[k].len) return k + 1;
  }
  return numfield;
}

bool find_overflow(std::string_view line, mps_linefault& fault) noexcept {
  size_t from = 0;
  for (int32_t k = 0; k <= numfield; ++k) {
    const size_t to = k < numfield ? field_places[k].first : ignoredfrom;
    const std::string_view gap = part(line, from, to);
    if (!isallblank(gap)) {
      fault = {std::clamp(k, 1, numfield), false, "Text between the columns of two fields.", gap};
      return true;
    }
    if (k < numfield) from = to + field_places[k].len;
  }
  return false;
}

const char* skip_blanks(const char* p, const char* end) noexcept {
  while (p != end && mps_isblank(*p)) ++p;
  return p;
}
// Most characters are told from blanks by one comparison.
const char* skip_text(const char* p, const char* end) noexcept {
  while (p != end && (static_cast<unsigned char>(*p) > ' ' || !mps_isblank(*p))) ++p;
  return p;
}

}  // namespace

std::string_view mps_trim(std::string_view text) noexcept {
  while (!text.empty() && mps_isblank(text.front())) text.remove_prefix(1);
  while (!text.empty() && mps_isblank(text.back())) text.remove_suffix(1);
  return text;
}

void mps_tokenize(std::string_view line, bool isquoted, mps_tokens& tokens) noexcept {
  const char* p = line.data();
  const char* const end = p + line.size();
  tokens.num = 0;
  tokens.isopen = false;
  for (;;) {
    p = skip_blanks(p, end);
    if (p == end || tokens.num == mps_tokens::most) return;
    const char* begin = p;
    if (isquoted && *p == '"') {
      ++begin;
      p = static_cast<const char*>(std::memchr(begin, '"', size_t(end - begin)));
      if (p == nullptr) {
        tokens.isopen = true;
        p = end;
      }
      tokens.tok[tokens.num++] = {begin, size_t(p - begin)};
      if (p != end) ++p;
      continue;
    }
    p = skip_text(p, end);
    tokens.tok[tokens.num++] = {begin, size_t(p - begin)};
  }
}

bool mps_hasshape(const mps_tokens& tokens, mps_shape shape) noexcept {
  return !tokens.isopen && suits(count_tokens(tokens, shape), shape);
}

bool mps_splitblanks(const mps_tokens& tokens, mps_shape shape, const mps_lookup& lookup,
                     mps_fields& f, mps_linefault& fault) noexcept {
  const int32_t num = count_tokens(tokens, shape);
  const std::string_view last = num > 0 ? tokens.tok[num - 1] : std::string_view{};
  const int32_t lastfield = std::clamp(num + (haskey(shape) ? 0 : 1), 1, numfield);
  f = {};
  if (tokens.isopen) {
    fault = {lastfield, false, "A quotation mark is not closed.", last};
    return false;
  }
  if (!suits(num, shape)) {
    const bool isfew = num < size_of(shape).least || shape == mps_shape::name_pairs;
    fault = {std::min(lastfield + (isfew ? 1 : 0), numfield), false,
             num > size_of(shape).most ? "More fields than the section allows."
                                       : "A field is missing, or a name holds a blank.",
             last};
    return false;
  }
  switch (shape) {
    case mps_shape::key_name:
      f.key = tokens.tok[0];
      f.name = tokens.tok[1];
      break;
    case mps_shape::name:
      f.name = tokens.tok[0];
      break;
    case mps_shape::key_set_value:
      split_bound(tokens, num, lookup, f);
      break;
    default: {
      int32_t at = num % 2;
      if (at == 1) f.name = tokens.tok[0];
      for (; at < num; at += 2) f.pair[f.numpair++] = {tokens.tok[at], tokens.tok[at + 1]};
    }
  }
  return true;
}

bool mps_fitsfixed(std::string_view line) noexcept {
  mps_linefault fault;
  const std::string_view text = part(line, 0, ignoredfrom);
  return text.find('\t') == std::string_view::npos && !find_overflow(line, fault);
}

bool mps_splitfixed(std::string_view line, mps_shape shape, mps_fields& f,
                    mps_linefault& fault) noexcept {
  while (!line.empty() && mps_isblank(line.back())) line.remove_suffix(1);
  for (const size_t comment : {field_places[2].first, field_places[4].first}) {
    if (comment < line.size() && line[comment] == '$') line = line.substr(0, comment);
  }
  if (const size_t tab = part(line, 0, ignoredfrom).find('\t'); tab != std::string_view::npos) {
    fault = {tabbed_field(tab), true, "A tab in fixed columns.", line.substr(tab, 1)};
    return false;
  }
  if (find_overflow(line, fault)) return false;
  std::string_view field[numfield];
  for (int32_t k = 0; k < numfield; ++k) {
    const field_place& at = field_places[k];
    field[k] = mps_trim(part(line, at.first, at.first + at.len));
  }
  f = {field[0], field[1], {{field[2], field[3]}, {field[4], field[5]}}, 0};
  const bool haspair = !field[2].empty() || !field[3].empty();
  const bool hassecond = !field[4].empty() || !field[5].empty();
  f.numpair = hassecond ? 2 : haspair ? 1 : 0;
  if (!haskey(shape) && !field[0].empty()) {
    fault = {1, false, "There should be nothing in this field.", field[0]};
    return false;
  }
  const bool wantspair = shape != mps_shape::key_name && shape != mps_shape::name;
  const int32_t mostpair = !wantspair ? 0 : shape == mps_shape::key_set_value ? 1 : 2;
  if (f.numpair > mostpair) {
    fault = {f.numpair == 2 ? 5 : 3, false, "There should be nothing in this field.",
             f.numpair == 2 ? field[4] : field[2]};
    return false;
  }
  if (wantspair && f.numpair == 0) {
    fault = {3, false, "The field is empty.", part(line, line.size() - 1, line.size())};
    return false;
  }
  return true;
}

bool mps_number(std::string_view text, double& value) noexcept {
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return false;
  }
  const char* const end = text.data() + text.size();
  const auto [stop, fault] = std::from_chars(text.data(), end, value);
  if (fault == std::errc{} && stop == end) return std::isfinite(value);
  constexpr size_t longest = 512;  // of a number with a D, or of one that is out of range
  if (text.empty() || text.size() > longest) return false;
  char copy[longest];
  std::replace_copy_if(
      text.begin(), text.end(), copy, [](char c) { return c == 'D' || c == 'd'; }, 'e');
  const char* const copyend = copy + text.size();
  const auto again = std::from_chars(copy, copyend, value);
  if (again.ptr != copyend) return false;
  if (again.ec == std::errc::result_out_of_range) {  // too small or too large?
    const std::string_view digits(copy, text.size());
    const size_t e = std::min(digits.find_first_of("eE"), digits.size());
    const bool isbelowone = digits.find_first_of("123456789") > std::min(digits.find('.'), e);
    const bool istiny = e + 1 < digits.size() ? digits[e + 1] == '-' : isbelowone;
    value = 0;
    return istiny;
  }
  return again.ec == std::errc{} && std::isfinite(value);
}

bool mps_isword(std::string_view text, std::string_view upper) noexcept {
  return text.size() == upper.size() &&
         std::equal(text.begin(), text.end(), upper.begin(), [](char a, char b) {
           return a == b || (a >= 'a' && a <= 'z' && a - 'a' + 'A' == b);
         });
}

bool mps_boundnumber(std::string_view text, double& value) noexcept {
  constexpr double infinite = 1e30;
  if (mps_number(text, value)) return true;
  const bool isminus = text.starts_with('-');
  if (isminus || text.starts_with('+')) text.remove_prefix(1);
  if (!mps_isword(text, "INF") && !mps_isword(text, "INFINITY")) return false;
  value = isminus ? -infinite : infinite;
  return true;
}
