#include "zalvo/zalvoropflex.h"

#include <algorithm>
#include <charconv>

#include "zalvo/readmpsline.h"

namespace {

constexpr lex_alphabet alphabet = lex_makealphabet("!$%&:;?@_`{|}~", ".",
                                                   {{'(', lex_kind::open},
                                                    {')', lex_kind::close},
                                                    {',', lex_kind::comma},
                                                    {']', lex_kind::tagend}});

bool is(char c, uint8_t cls) noexcept {
  return lex_is(alphabet, c, cls);
}
const char* skip_blanks(const char* p, const char* stop) noexcept {
  return lex_skip(alphabet, lex_blank, p, stop);
}
const char* skip_name(const char* p, const char* stop) noexcept {
  return lex_skip(alphabet, lex_inname, p, stop);
}

std::string_view between(const char* begin, const char* end) noexcept {
  return {begin, size_t(end - begin)};
}

// What the backslash at p, which another character follows, stands for; p goes behind it.
char escaped(const char*& p, const char* stop) noexcept {
  constexpr std::string_view letters = "nrt\\'\"", meanings = "\n\r\t\\'\"";
  const char c = p[1];
  if (const size_t k = letters.find(c); k != letters.npos) {
    p += 2;
    return meanings[k];
  }
  uint8_t byte = 0;
  if (c == 'x' && stop - p > 3) {
    const auto [end, fault] = std::from_chars(p + 2, p + 4, byte, 16);
    if (fault == std::errc{} && end == p + 4 && byte != 0) {
      p += 4;
      return char(byte);
    }
  }
  ++p;
  return '\\';
}

void take_quoted(opf_lexer& lx) {
  const char quote = *lx.pos;
  const char* const begin = ++lx.pos;
  bool israw = true;
  lx.tok.kind = lex_kind::name;
  lx.tok.isquoted = true;
  while (lx.pos != lx.stop && *lx.pos != quote) {
    if (*lx.pos == '\\' && lx.pos + 1 != lx.stop) {
      if (israw) lx.unquoted.assign(begin, lx.pos);
      israw = false;
      lx.unquoted += escaped(lx.pos, lx.stop);
      continue;
    }
    if (!israw) lx.unquoted += *lx.pos;
    ++lx.pos;
  }
  lx.tok.text = israw ? between(begin, lx.pos) : std::string_view(lx.unquoted);
  if (lx.pos == lx.stop) {
    lx.tok.kind = lex_kind::bad;
    lx.tok.why = "A quotation mark is not closed.";
    return;
  }
  ++lx.pos;
  if (lx.tok.text.find('\0') == std::string_view::npos) return;
  lx.tok.kind = lex_kind::bad;
  lx.tok.why = "A name holds a zero byte.";
}

void take_name(opf_lexer& lx) noexcept {
  const char* const begin = lx.pos;
  lx.pos = skip_name(begin, lx.stop);
  lx.tok.kind = lex_kind::name;
  lx.tok.text = between(begin, lx.pos);
  if (lex_isword(lx.tok.text, "inf") || lex_isword(lx.tok.text, "infinity")) {
    lx.tok.kind = lex_kind::infinite;
  } else if (lex_isword(lx.tok.text, "nan")) {
    lx.tok.kind = lex_kind::bad;
    lx.tok.why = "It is not a number.";
  }
}

void take_number(opf_lexer& lx) noexcept {
  const char* const begin = lx.pos;
  const auto [end, fault] = std::from_chars(begin, lx.stop, lx.tok.value);
  lx.pos = skip_name(end, lx.stop);
  lx.tok.text = between(begin, lx.pos);
  lx.tok.kind = lex_kind::number;
  if (lx.pos != end) {
    lx.tok.kind = lex_kind::bad;
    lx.tok.why = "The number does not end where it should.";
  } else if (fault != std::errc{} && !mps_number(lx.tok.text, lx.tok.value)) {
    lx.tok.kind = lex_kind::bad;
    lx.tok.why = "The number is too large.";
  }
}

// A tag begins with its bracket, a slash or not, and its name, all on one line.
void take_tag(opf_lexer& lx) noexcept {
  const char* const begin = lx.pos;
  const char* p = skip_blanks(lx.pos + 1, lx.stop);
  lx.tok.isclosing = p != lx.stop && *p == '/';
  if (lx.tok.isclosing) p = skip_blanks(p + 1, lx.stop);
  lx.pos = skip_name(p, lx.stop);
  lx.tok.kind = lex_kind::tag;
  lx.tok.text = between(p, lx.pos);
  if (lx.pos != p) return;
  lx.tok.kind = lex_kind::bad;
  lx.tok.text = between(begin, lx.pos);
  lx.tok.why = "A tag needs a name.";
}

void take_symbol(opf_lexer& lx) noexcept {
  lx.tok.kind = lex_symbol(alphabet, lx.pos, lx.stop);
  lx.tok.text = between(lx.tok.at, lx.pos);
  lx.tok.value = *lx.tok.at == '-' ? -1 : 1;
  lx.tok.why = "This character cannot stand here.";
}

bool next_line(opf_lexer& lx) noexcept {
  if (!io_nextline(lx.lines, lx.line)) {
    lx.pos = lx.stop;
    return false;
  }
  lx.pos = lx.line.data();
  lx.stop = lx.pos + lx.line.size();
  return true;
}

// The place behind an end tag that begins at p, or null.
const char* end_of_endtag(const char* p, const char* stop, std::string_view tag) noexcept {
  p = skip_blanks(p + 1, stop);
  if (p == stop || *p != '/') return nullptr;
  p = skip_blanks(p + 1, stop);
  const char* const end = skip_name(p, stop);
  if (!lex_isword(between(p, end), tag)) return nullptr;
  p = skip_blanks(end, stop);
  return p != stop && *p == ']' ? p + 1 : nullptr;
}

}  // namespace

bool opf_isplainname(std::string_view text) noexcept {
  if (text.empty() || !is(text[0], lex_first)) return false;
  if (!std::all_of(text.begin(), text.end(), [](char c) { return is(c, lex_inname); }))
    return false;
  return !lex_isvalueword(text);
}

void opf_addquoted(strbld& b, std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  constexpr std::string_view letters = "nrt\\'", meanings = "\n\r\t\\'";
  strbld_add(b, '\'');
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (const size_t k = meanings.find(c); k != meanings.npos) {
      strbld_add(b, '\\');
      strbld_add(b, letters[k]);
    } else if (byte < 0x20 || byte == 0x7f) {
      strbld_add(b, "\\x");
      strbld_add(b, digits[byte / 16]);
      strbld_add(b, digits[byte % 16]);
    } else {
      strbld_add(b, c);
    }
  }
  strbld_add(b, '\'');
}

void opf_next(opf_lexer& lx) {
  lx.tok.isquoted = lx.tok.isclosing = false;
  lx.tok.why = "";
  lx.pos = skip_blanks(lx.pos, lx.stop);
  while (lx.pos == lx.stop || *lx.pos == '#') {
    if (!next_line(lx)) {
      lx.tok.kind = lex_kind::end;
      lx.tok.at = lx.pos;
      lx.tok.text = {};
      return;
    }
    lx.pos = skip_blanks(lx.pos, lx.stop);
  }
  const char c = *lx.pos;
  lx.tok.at = lx.pos;
  if (is(c, lex_first)) {
    take_name(lx);
  } else if (lex_beginsnumber(alphabet, lx.pos, lx.stop)) {
    take_number(lx);
  } else if (c == '\'' || c == '"') {
    take_quoted(lx);
  } else if (c == '[') {
    take_tag(lx);
  } else {
    take_symbol(lx);
  }
}

bool opf_skipto(opf_lexer& lx, std::string_view tag) {
  do {
    for (;;) {
      lx.pos = std::find(lx.pos, lx.stop, '[');
      if (lx.pos == lx.stop) break;
      if (const char* const end = end_of_endtag(lx.pos, lx.stop, tag); end != nullptr) {
        lx.pos = end;
        opf_next(lx);
        return true;
      }
      ++lx.pos;
    }
  } while (next_line(lx));
  opf_next(lx);
  return false;
}
