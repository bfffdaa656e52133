#include "zalvo/zalvorlplex.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "zalvo/readmpsline.h"

namespace {

constexpr lex_alphabet alphabet = lex_makealphabet("!#$%&(),;?@_`'{}|~", "\"/.",
                                                   {{'/', lex_kind::slash},
                                                    {'[', lex_kind::open},
                                                    {']', lex_kind::close},
                                                    {':', lex_kind::colon}});

bool is(char c, uint8_t cls) noexcept {
  return lex_is(alphabet, c, cls);
}
const char* skip_blanks(const char* p, const char* stop) noexcept {
  return lex_skip(alphabet, lex_blank, p, stop);
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

bool begins_section(std::string_view text) noexcept {
  return std::any_of(std::begin(section_words), std::end(section_words),
                     [&](const section_word& s) { return lex_isword(text, s.word); }) ||
         std::any_of(std::begin(section_pairs), std::end(section_pairs),
                     [&](const section_pair& s) { return lex_isword(text, s.first); });
}

// The end of the name that begins at p.
const char* name_end(const char* p, const char* stop) noexcept {
  ++p;
  for (;;) {
    p = lex_skip(alphabet, lex_inname, p, stop);
    if (p == stop || *p != '[') return p;
    const char* const q = lex_skip(alphabet, lex_inname, p + 1, stop);
    if (q == stop || *q != ']' || q == p + 1) return p;
    p = q + 1;
  }
}

void set_section(lp_lexer& lx, const char* stop, lp_sec sec, const char* why) noexcept {
  lx.tok.kind = lex_kind::section;
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
    if (!lex_isword(text, s.first) || size_t(lx.stop - next) < s.second.size()) continue;
    const char* const end = next + s.second.size();
    if (lex_isword({next, s.second.size()}, s.second) &&
        (end == lx.stop || !is(*end, lex_inname))) {
      set_section(lx, end, s.sec, s.why);
      return;
    }
  }
  for (const section_word& s : section_words) {
    if (!lex_isword(text, s.word)) continue;
    if (s.sec != lp_sec::constraints && lp_iscolonnext(lx)) return;  // a label
    set_section(lx, lx.pos, s.sec, s.why);
    return;
  }
}

void take_name(lp_lexer& lx) noexcept {
  const char* const begin = lx.pos;
  lx.pos = name_end(begin, lx.stop);
  lx.tok.kind = lex_kind::name;
  lx.tok.text = {begin, size_t(lx.pos - begin)};
  if (lx.tok.isfirst) look_for_section(lx);
  if (lx.tok.kind != lex_kind::name || (*begin | 0x20) < 'i' || (*begin | 0x20) > 'n') return;
  if (lex_isword(lx.tok.text, "inf") || lex_isword(lx.tok.text, "infinity")) {
    lx.tok.kind = lex_kind::infinite;
  } else if (lex_isword(lx.tok.text, "nan")) {
    lx.tok.kind = lex_kind::bad;
    lx.tok.why = "It is not a number.";
  }
}

void take_quoted(lp_lexer& lx) noexcept {
  const char* const begin = lx.pos + 1;
  const char* const end = std::find(begin, lx.stop, '"');
  lx.tok.kind = lex_kind::bad;
  lx.tok.text = {begin, size_t(end - begin)};
  lx.pos = end;
  if (end == lx.stop) {
    lx.tok.why = "A quotation mark is not closed.";
  } else if (lx.tok.text.empty()) {
    lx.tok.why = "A name is empty.";
  } else if (!lp_isquotable(lx.tok.text)) {
    lx.tok.why = "A name holds control characters.";
  } else {
    lx.tok.kind = lex_kind::name;
    lx.tok.isquoted = true;
    ++lx.pos;
  }
}

void take_number(lp_lexer& lx) noexcept {
  const char* const begin = lx.pos;
  const auto [end, fault] = std::from_chars(begin, lx.stop, lx.tok.value);
  lx.tok.text = {begin, size_t(end - begin)};
  lx.pos = end;
  lx.tok.kind = lex_kind::number;
  lx.tok.isglued = end != lx.stop && is(*end, lex_inname);
  if (fault == std::errc{}) return;
  if (fault == std::errc::result_out_of_range && mps_number(lx.tok.text, lx.tok.value)) return;
  lx.tok.kind = lex_kind::bad;
  lx.tok.why = "The number is too large.";
}

void take_symbol(lp_lexer& lx) noexcept {
  const char* const begin = lx.pos;
  lx.tok.kind = lex_symbol(alphabet, lx.pos, lx.stop);
  lx.tok.text = {begin, size_t(lx.pos - begin)};
  lx.tok.value = *begin == '-' ? -1 : 1;
  lx.tok.why = "This character cannot stand here.";
}

}  // namespace

bool lp_isplainname(std::string_view text, bool isstrict) noexcept {
  if (text.empty() || !is(text[0], lex_first)) return false;
  if (!std::all_of(text.begin(), text.end(), [](char c) { return is(c, lex_inname) && c > ' '; })) {
    return false;
  }
  if (begins_section(text) || lex_isvalueword(text)) return false;
  constexpr size_t longest = 255;
  if (!isstrict) return true;
  const bool isexponent =
      (text[0] == 'e' || text[0] == 'E') && (text.size() == 1 || is(text[1], lex_digit));
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
      lx.tok.kind = lex_kind::end;
      lx.tok.text = {lx.pos, size_t(lx.stop - lx.pos)};  // empty, at the end of the last line
      lx.tok.isfirst = true;
      return;
    }
    lx.stop = lx.line.data() + lx.line.size();
    lx.pos = skip_blanks(lx.line.data(), lx.stop);
    lx.tok.isfirst = true;
  }
  const char c = *lx.pos;
  if (is(c, lex_first)) {
    take_name(lx);
  } else if (lex_beginsnumber(alphabet, lx.pos, lx.stop)) {
    take_number(lx);
  } else if (c == '"' && lx.isquoting) {
    take_quoted(lx);
  } else {
    take_symbol(lx);
  }
}
