#include "zalvo/paramfile.h"

#include <sys/stat.h>

#include <cstdio>
#include <memory>

#include "zalvo/paramput.h"

namespace {

constexpr std::string_view filebegin = "BEGIN ZALVO";
constexpr std::string_view fileend = "END ZALVO";
constexpr std::string_view byteordermark = "\xEF\xBB\xBF";
constexpr std::string_view blanks = " \t";
constexpr std::string_view nameprefix = "ZLV_";  // no line that begins so is a comment
constexpr size_t namewidth = 33, numwidth = 18;  // columns of a line
constexpr size_t maxshown = 1024;                // of a line that is shown in a message

struct file_closer {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using file_ptr = std::unique_ptr<std::FILE, file_closer>;

bool is_control(char c) noexcept {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

std::string_view trim(std::string_view text) noexcept {
  const size_t first = text.find_first_not_of(blanks);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// uncomment: text without a comment, which begins behind a blank at or after first, or at the start.
std::string_view uncomment(std::string_view text, std::string_view sign,
                           size_t first = 0) noexcept {
  for (size_t p = first; (p = text.find(sign, p)) != text.npos; ++p) {
    if (p == 0 || blanks.find(text[p - 1]) != blanks.npos) return trim(text.substr(0, p));
  }
  return trim(text);
}

// ---- Writing -------------------------------------------------------------------------------

void add_padded(mm_string& to, std::string_view text, size_t width) {
  to += text;
  if (text.size() < width) to.append(width - text.size(), ' ');
}

bool is_plain(std::string_view text, std::string_view sign) noexcept {
  if (text.starts_with('"') || uncomment(text, sign).size() != text.size()) return false;
  for (const char c : text) {
    if (is_control(c)) return false;
  }
  return true;
}

void add_type(mm_string& to, const param_values& par, int32_t type, std::string_view comment) {
  for (int32_t number = 0; number < param_count(type); ++number) {
    param_addline(to, par, {type, number}, comment);
    to += '\n';
  }
}

// write_whole: text into a file; the code that says what failed.
rescode write_whole(const char* filename, std::string_view text) noexcept {
  file_ptr file(std::fopen(filename, "wb"));
  if (file == nullptr) return rescode::err_file_open;
  const bool iswritten = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
  const bool isclosed = std::fclose(file.release()) == 0;
  return iswritten && isclosed ? rescode::ok : rescode::err_file_write;
}

// replace_file: as write_whole, but a file that exists stays as it was when writing fails.
rescode replace_file(const char* filename, std::string_view text, mm_place at) {
  struct stat info = {};
  if (stat(filename, &info) != 0 || !S_ISREG(info.st_mode)) return write_whole(filename, text);
  mm_string aside(filename, mm_alloc<char>(at));
  aside += ".part";
  rescode r = write_whole(aside.c_str(), text);
  if (r == rescode::err_file_open) return write_whole(filename, text);
  if (r == rescode::ok && std::rename(aside.c_str(), filename) != 0) r = rescode::err_file_write;
  if (r != rescode::ok) std::remove(aside.c_str());
  return r;
}

// ---- Reading -------------------------------------------------------------------------------

int hex_digit(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// take_escape: the character behind the backslash at text[p], and p on its last character.
bool take_escape(std::string_view text, size_t& p, char& c) noexcept {
  if (++p >= text.size()) return false;
  switch (text[p]) {
    case 'n':
      c = '\n';
      return true;
    case 'r':
      c = '\r';
      return true;
    case 't':
      c = '\t';
      return true;
    case '"':
    case '\\':
      c = text[p];
      return true;
    case 'x': {
      if (p + 2 >= text.size()) return false;
      const int high = hex_digit(text[p + 1]), low = hex_digit(text[p + 2]);
      p += 2;
      c = char(high * 16 + low);
      return high >= 0 && low >= 0 && c != '\0';
    }
    default:
      return false;
  }
}

// take_quoted: the text between the quotes that value begins with; nothing but a comment may follow.
bool take_quoted(std::string_view value, std::string_view sign, mm_string& to) {
  for (size_t p = 1; p < value.size(); ++p) {
    char c = value[p];
    if (c == '"') return uncomment(value.substr(p + 1), sign).empty();
    if (c == '\\' && !take_escape(value, p, c)) return false;
    to += c;
  }
  return false;
}

enum class read_end { line, file, fault };

// read_line: one line of any length, without its end.
read_end read_line(std::FILE* file, mm_string& line) {
  line.clear();
  int c = 0;
  while ((c = std::getc(file)) != EOF && c != '\n') line += char(c);
  if (c == EOF && std::ferror(file) != 0) return read_end::fault;
  if (c == EOF && line.empty()) return read_end::file;
  if (line.ends_with('\r')) line.pop_back();
  return read_end::line;
}

// show_line: where an error is, without what would disturb a terminal.
void show_line(task_rec& task, std::string_view line) {
  mm_string shown(line.substr(0, maxshown), mm_alloc<char>(mm_at(*task.mman)));
  for (char& c : shown) {
    if (is_control(c)) c = ' ';
  }
  msg_write(task.streams, msg_kind::err, "The error occured in line:\n");
  msg_write(task.streams, msg_kind::err, shown.c_str());
  msg_write(task.streams, msg_kind::err, "\n");
}

rescode read_lines(task_rec& task, std::FILE* file, const char* filename) {
  const mm_alloc<char> at = mm_at(*task.mman);
  const mm_string comment(param_commentsign(task.par), at);  // the file may change the parameter
  mm_string line(at);
  bool isinside = false;
  for (bool isfirst = true;; isfirst = false) {
    const read_end end = read_line(file, line);
    if (end == read_end::fault) return task_fail(task, rescode::err_file_read, filename);
    if (end == read_end::file) return task_fail(task, rescode::err_end_of_file, filename);
    std::string_view text = line;
    if (isfirst && text.starts_with(byteordermark)) text.remove_prefix(byteordermark.size());
    if (!isinside) {
      isinside = text.starts_with(filebegin);
      continue;
    }
    if (text.starts_with(fileend)) return rescode::ok;
    if (const rescode r = param_putline(task, text, comment); r != rescode::ok) {
      show_line(task, text);
      return r;
    }
  }
}

}  // namespace

void param_addline(mm_string& to, const param_values& par, param_id id, std::string_view comment) {
  const auto number = size_t(id.number);
  add_padded(to, param_name(id), namewidth);
  to += ' ';
  if (id.type == ZLV_PAR_INT_TYPE) {
    add_padded(to, param_text(par.i[number]).c_str(), numwidth);
  } else if (id.type == ZLV_PAR_DOU_TYPE) {
    add_padded(to, param_texte(par.d[number]).c_str(), numwidth);
  } else if (is_plain(par.s[number], comment)) {
    to += par.s[number];
  } else {
    param_addquoted(to, par.s[number]);
  }
}

void param_addquoted(mm_string& to, std::string_view text) {
  static constexpr char digits[] = "0123456789ABCDEF";
  to += '"';
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      to += '\\';
      to += c;
    } else if (c == '\n') {
      to += "\\n";
    } else if (c == '\r') {
      to += "\\r";
    } else if (c == '\t') {
      to += "\\t";
    } else if (is_control(c)) {
      to += "\\x";
      to += digits[byte / 16];
      to += digits[byte % 16];
    } else {
      to += c;
    }
  }
  to += '"';
}

std::string_view param_commentsign(const param_values& par) noexcept {
  const mm_string& sign = par.s[spar::param_comment_sign];
  return sign.empty() ? std::string_view("%") : std::string_view(sign);
}

rescode param_putline(task_rec& task, std::string_view line, std::string_view comment) {
  line = trim(line);
  if (line.empty()) return rescode::ok;
  if (line.starts_with(comment) && !line.starts_with(nameprefix)) return rescode::ok;
  const mm_alloc<char> at = mm_at(*task.mman);
  const size_t namelen = line.find_first_of(blanks);
  const mm_string name(line.substr(0, namelen), at);
  const bool ignorecase = task.par.i[ipar::param_read_case_name] == ZLV_OFF;
  const param_id id = param_find(name, ignorecase);
  const bool isstring = id.type == ZLV_PAR_STR_TYPE;

  mm_string value(at);
  const std::string_view rest =
      namelen == line.npos ? std::string_view() : trim(line.substr(namelen));
  const bool isquoted = isstring && rest.starts_with('"');
  const bool isvalue = !isquoted || take_quoted(rest, comment, value);
  // A number may begin with what begins a comment elsewhere.
  if (!isquoted || !isvalue) value = uncomment(rest, comment, isstring ? 0 : 1);

  task_echo(task, msg_kind::msg, "%-36s ", name.c_str());
  msg_write(task.streams, msg_kind::msg, value.c_str());
  msg_write(task.streams, msg_kind::msg, "\n");
  if (id.type == ZLV_PAR_INVALID_TYPE) {
    return param_unknown(task, rescode::err_param_name, name.c_str(), ZLV_PAR_INVALID_TYPE);
  }
  if (isvalue) return param_puttext(task, id, value.c_str());
  return task_fail(task, rescode::err_param_value_str, value.c_str(), param_name(id));
}

rescode param_writefile(task_rec& task, const char* filename) {
  const timer clock = timer_start();
  task_echo(task, msg_kind::msg, "Writing %s file - %s\n", "par", filename);
  const mm_place at = mm_at(*task.mman);
  mm_string text(filebegin, mm_alloc<char>(at));
  text += "\n\n";
  const std::string_view comment = param_commentsign(task.par);
  for (const int32_t type : {ZLV_PAR_INT_TYPE, ZLV_PAR_DOU_TYPE, ZLV_PAR_STR_TYPE}) {
    add_type(text, task.par, type, comment);
  }
  text += "\n";
  text += fileend;
  text += "\n";
  if (const rescode r = replace_file(filename, text, at); r != rescode::ok) {
    return task_fail(task, r, filename);
  }
  task_echo(task, msg_kind::msg, "done writing. Time: %.2f\n\n", timer_wall(clock));
  return rescode::ok;
}

rescode param_readfile(task_rec& task, const char* filename) {
  const timer clock = timer_start();
  task_echo(task, msg_kind::msg, "Reading %s file - %s\n", "par", filename);
  const file_ptr file(std::fopen(filename, "rb"));
  if (file == nullptr) return task_fail(task, rescode::wrn_open_param_file, filename);
  if (const rescode r = read_lines(task, file.get(), filename); r != rescode::ok) return r;
  task_echo(task, msg_kind::msg, "done reading. Time: %.2f\n\n", timer_wall(clock));
  return rescode::ok;
}

int32_t ZLV_writeparamfile(ZLV_task_t task, const char* filename) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, filename, "filename"); r != rescode::ok) return r;
    return param_writefile(t, filename);
  });
}

int32_t ZLV_readparamfile(ZLV_task_t task) {
  return task_call(task, [](task_rec& t) {
    // A copy: the file may name another file.
    const mm_string filename(t.par.s[spar::param_read_file_name]);
    return param_readfile(t, filename.c_str());
  });
}

int32_t ZLV_printparam(ZLV_task_t task) {
  return task_call(task, [](task_rec& t) {
    constexpr msg_kind msg = msg_kind::msg;
    msg_write(t.streams, msg, "Integer parameters\n");
    for (int32_t k = 0; k < ipar::count; ++k) {
      task_echo(t, msg, "%-3d %-33s: %-18d\n", k, param_introws()[size_t(k)].name,
                t.par.i[size_t(k)]);
    }
    msg_write(t.streams, msg, "\nDouble parameters\n");
    for (int32_t k = 0; k < dpar::count; ++k) {
      task_echo(t, msg, "%-3d %-33s: %-18.8e\n", k, param_dourows()[size_t(k)].name,
                t.par.d[size_t(k)]);
    }
    msg_write(t.streams, msg, "\nString parameters\n");
    for (int32_t k = 0; k < spar::count; ++k) {
      const mm_string& value = t.par.s[size_t(k)];
      task_echo(t, msg, "%-3d %-33s: ", k, param_strrows()[size_t(k)].name);
      msg_write(t.streams, msg, value.empty() ? "NONE" : value.c_str());
      msg_write(t.streams, msg, "\n");
    }
    return rescode::ok;
  });
}
