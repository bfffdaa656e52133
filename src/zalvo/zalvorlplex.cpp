#include "zalvo/zalvorlplex.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "zalvo/readmpsline.h"

namespace {

constexpr uint8_t cls_name = 1, cls_first = 2, cls_blank = 4, cls_digit = 8;

constexpr std::array<uint8_t, 256> make_classes() noexcept {
  std::array<uint8_t, 256> cls{};
  for (int c = 0x80; c < 0x100; ++c) cls[c] = cls_name | cls_first;
  for (int c = 'a'; c <= 'z'; ++c) cls[c] = cls[c - 'a' + 'A'] = cls_name | cls_first;
  for (int c = '0'; c <= '9'; ++c) cls[c] = cls_name | cls_digit;
  for (const char c : std::string_view("!#$%&(),;?@_`'{}|~")) cls[c] = cls_name | cls_first;
  for (const char c : std::string_view("\"/.")) cls[c] = cls_name;
  for (const char c : std::string_view(" \t\r\f\v")) cls[c] = cls_blank;
  return cls;
}
constexpr std::array<uint8_t, 256> classes = make_classes();

bool is(char c, uint8_t cls) noexcept {
  return (classes[static_cast<unsigned char>(c)] & cls) != 0;
}

struct section_word {
  std::string_view word;
  lp_sec sec;
  const char* why;
};
constexpr const char* semicontinuous = "Semi-continuous variables are not supported.";
constexpr const char* orderedsets = "Special ordered sets are not supported.";
constexpr section_word section_words[] = {{"st", lp_sec::constraints, ""},
                                          {"st.", lp_sec::constraints, ""},
                                          {"s.t.", lp_sec::constraints, ""},
                                          {"s.t", lp_sec::constraints, ""},
                                          {"bounds", lp_sec::bounds, ""},
                                          {"bound", lp_sec::bounds, ""},
                                          {"general", lp_sec::general, ""},
                                          {"generals", lp_sec::general, ""},
                                          {"gen", lp_sec::general, ""},
                                          {"gens", lp_sec::general, ""},
                                          {"integer", lp_sec::general, ""},
                                          {"integers", lp_sec::general, ""},
                                          {"int", lp_sec::general, ""},
                                          {"ints", lp_sec::general, ""},
                                          {"binary", lp_sec::binary, ""},
                                          {"binaries", lp_sec::binary, ""},
                                          {"bin", lp_sec::binary, ""},
                                          {"bins", lp_sec::binary, ""},
                                          {"end", lp_sec::end, ""},
                                          {"semi", lp_sec::refused, semicontinuous},
                                          {"semis", lp_sec::refused, semicontinuous},
                                          {"sec", lp_sec::refused, semicontinuous},
                                          {"sos", lp_sec::refused, orderedsets},
                                          {"sos1", lp_sec::refused, orderedsets},
                                          {"sos2", lp_sec::refused, orderedsets}};

// Sections whose keyword has two words.
struct section_pair {
  std::string_view first, second;
  lp_sec sec;
  const char* why;
};
constexpr section_pair section_pairs[] = {
    {"subject", "to", lp_sec::constraints, ""},
    {"subj", "to", lp_sec::constraints, ""},
    {"such", "that", lp_sec::constraints, ""},
    {"general", "constraints", lp_sec::refused, "General constraints are not supported."},
    {"lazy", "constraints", lp_sec::refused, "Lazy constraints are not supported."},
    {"user", "cuts", lp_sec::refused, "User cuts are not supported."}};

constexpr std::string_view value_words[] = {"inf", "infinity", "nan", "free"};

bool begins_section(std::string_view text) noexcept {
  return std::any_of(std::begin(section_words), std::end(section_words),
                     [&](const section_word& s) { return lp_isword(text, s.word); }) ||
         std::any_of(std::begin(section_pairs), std::end(section_pairs),
                     [&](const section_pair& s) { return lp_isword(text, s.first); });
}

// The end of the name that begins at p.
const char* name_end(const char* p, const char* stop) noexcept {
  ++p;
  for (;;) {
    while (p != stop && is(*p, cls_name)) ++p;
    if (p == stop || *p != '[') return p;
    const char* q = p + 1;
    while (q != stop && is(*q, cls_name)) ++q;
    if (q == stop || *q != ']' || q == p + 1) return p;
    p = q + 1;
  }
}

const char* skip_blanks(const char* p, const char* stop) noexcept {
  while (p != stop && is(*p, cls_blank)) ++p;
  return p;
}

void set_section(lp_lexer& lx, const char* stop, lp_sec sec, const char* why) noexcept {
  lx.tok.kind = lp_kind::section;
  lx.tok.text = {lx.tok.text.data(), size_t(stop - lx.tok.text.data())};
  lx.tok.sec = sec;
  lx.tok.why = why;
  lx.pos = stop;
  const char* const colon = skip_blanks(stop, lx.stop);
  if (sec == lp_sec::constraints && colon != lx.stop && *colon == ':') lx.pos = colon + 1;
}

// A first word of a line: perhaps a section.
void look_for_section(lp_lexer& lx) noexcept {
  const std::string_view text = lx.tok.text;
  constexpr size_t longest = 8;
  if (text.size() > longest) return;
  const char* const next = skip_blanks(lx.pos, lx.stop);
  for (const section_pair& s : section_pairs) {
    if (!lp_isword(text, s.first) || size_t(lx.stop - next) < s.second.size()) continue;
    const char* const end = next + s.second.size();
    if (lp_isword({next, s.second.size()}, s.second) && (end == lx.stop || !is(*end, cls_name))) {
      set_section(lx, end, s.sec, s.why);
      return;
    }
  }
  for (const section_word& s : section_words) {
    if (!lp_isword(text, s.word)) continue;
    if (s.sec != lp_sec::constraints && lp_iscolonnext(lx)) return;  // a label
    set_section(lx, lx.pos, s.sec, s.why);
    return;
  }
}

void lex_name(lp_lexer& lx) noexcept {
  const char* const begin = lx.pos;
  lx.pos = name_end(begin, lx.stop);
  lx.tok.kind = lp_kind::name;
  lx.tok.text = {begin, size_t(lx.pos - begin)};
  if (lx.tok.isfirst) look_for_section(lx);
  if (lx.tok.kind != lp_kind::name || (*begin | 0x20) < 'i' || (*begin | 0x20) > 'n') return;
  if (lp_isword(lx.tok.text, "inf") || lp_isword(lx.tok.text, "infinity")) {
    lx.tok.kind = lp_kind::infinite;
  } else if (lp_isword(lx.tok.text, "nan")) {
    lx.tok.kind = lp_kind::bad;
    lx.tok.why = "It is not a number.";
  }
}

void lex_quoted(lp_lexer& lx) noexcept {
  const char* const begin = lx.pos + 1;
  const char* const end = std::find(begin, lx.stop, '"');
  lx.tok.kind = lp_kind::bad;
  lx.tok.text = {begin, size_t(end - begin)};
  lx.pos = end;
  if (end == lx.stop) {
    lx.tok.why = "A quotation mark is not closed.";
  } else if (lx.tok.text.empty()) {
    lx.tok.why = "A name is empty.";
  } else if (!lp_isquotable(lx.tok.text)) {
    lx.tok.why = "A name holds control characters.";
  } else {
    lx.tok.kind = lp_kind::name;
    lx.tok.isquoted = true;
    ++lx.pos;
  }
}

void lex_number(lp_lexer& lx) noexcept {
  const char* const begin = lx.pos;
  const auto [end, fault] = std::from_chars(begin, lx.stop, lx.tok.value);
  lx.tok.text = {begin, size_t(end - begin)};
  lx.pos = end;
  lx.tok.kind = lp_kind::number;
  lx.tok.isglued = end != lx.stop && is(*end, cls_name);
  if (fault == std::errc{}) return;
  if (fault == std::errc::result_out_of_range && mps_number(lx.tok.text, lx.tok.value)) return;
  lx.tok.kind = lp_kind::bad;
  lx.tok.why = "The number is too large.";
}

void lex_relation(lp_lexer& lx, lp_kind kind) noexcept {
  const char* const begin = lx.pos++;
  if (lx.pos != lx.stop) {  // one more character: <= >= =< => ==
    const char more = *lx.pos;
    if (kind == lp_kind::equal && (more == '<' || more == '>')) {
      kind = more == '<' ? lp_kind::less : lp_kind::greater;
      ++lx.pos;
    } else if (more == '=') {
      ++lx.pos;
    }
  }
  lx.tok.kind = kind;
  lx.tok.text = {begin, size_t(lx.pos - begin)};
}

lp_kind kind_of(char c) noexcept {
  switch (c) {
    case '+':
    case '-':
      return lp_kind::sign;
    case '*':
      return lp_kind::times;
    case '^':
      return lp_kind::power;
    case '/':
      return lp_kind::slash;
    case '[':
      return lp_kind::open;
    case ']':
      return lp_kind::close;
    case ':':
      return lp_kind::colon;
    case '<':
      return lp_kind::less;
    case '>':
      return lp_kind::greater;
    case '=':
      return lp_kind::equal;
    default:
      return lp_kind::bad;
  }
}

void lex_symbol(lp_lexer& lx, char c) noexcept {
  const lp_kind kind = kind_of(c);
  if (lp_isrelation(kind)) {
    lex_relation(lx, kind);
    return;
  }
  lx.tok.kind = kind;
  lx.tok.text = {lx.pos, 1};
  lx.tok.value = c == '-' ? -1 : 1;
  lx.tok.why = "This character cannot stand here.";
  ++lx.pos;
}

}  // namespace

bool lp_isword(std::string_view text, std::string_view lower) noexcept {
  return text.size() == lower.size() &&
         std::equal(text.begin(), text.end(), lower.begin(), [](char a, char b) {
           return a == b || (a >= 'A' && a <= 'Z' && a - 'A' + 'a' == b);
         });
}

bool lp_isplainname(std::string_view text, bool isstrict) noexcept {
  if (text.empty() || !is(text[0], cls_first)) return false;
  if (!std::all_of(text.begin(), text.end(), [](char c) { return is(c, cls_name) && c > ' '; })) {
    return false;
  }
  if (begins_section(text) ||
      std::any_of(std::begin(value_words), std::end(value_words),
                  [&](std::string_view word) { return lp_isword(text, word); })) {
    return false;
  }
  constexpr size_t longest = 255;
  if (!isstrict) return true;
  const bool isexponent =
      (text[0] == 'e' || text[0] == 'E') && (text.size() == 1 || is(text[1], cls_digit));
  return text.size() <= longest && !isexponent;
}

bool lp_isquotable(std::string_view text) noexcept {
  return !text.empty() && std::none_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '\x7f' || c == '"';
  });
}

bool lp_iscolonnext(const lp_lexer& lx) noexcept {
  const char* const p = skip_blanks(lx.pos, lx.stop);
  return p != lx.stop && *p == ':';
}

void lp_next(lp_lexer& lx) noexcept {
  lx.lastline = lx.lines.number;
  lx.tok.isfirst = lx.tok.isquoted = lx.tok.isglued = false;
  lx.tok.why = "";
  lx.pos = skip_blanks(lx.pos, lx.stop);
  while (lx.pos == lx.stop || *lx.pos == '\\') {
    if (!io_nextline(lx.lines, lx.line)) {
      lx.pos = lx.stop;
      lx.tok.kind = lp_kind::end;
      lx.tok.text = {lx.pos, size_t(lx.stop - lx.pos)};  // empty, at the end of the last line
      lx.tok.isfirst = true;
      return;
    }
    lx.stop = lx.line.data() + lx.line.size();
    lx.pos = skip_blanks(lx.line.data(), lx.stop);
    lx.tok.isfirst = true;
  }
  const char c = *lx.pos;
  if (is(c, cls_first)) {
    lex_name(lx);
  } else if (is(c, cls_digit) || (c == '.' && lx.pos + 1 != lx.stop && is(lx.pos[1], cls_digit))) {
    lex_number(lx);
  } else if (c == '"' && lx.isquoting) {
    lex_quoted(lx);
  } else {
    lex_symbol(lx, c);
  }
}
