// Build-time program: makes include/zalvo.h from its template, putting the constants of the tables
// where the template has a line "@TABLE name@". Usage: zalvo_genheader TEMPLATE OUTPUT.
#include <cctype>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::string upper(std::string text) {
  for (char& c : text) c = char(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

void member(std::ostream& out, const std::string& name, long value, const std::string& text = "") {
  out << "#define ZLV_" << upper(name) << " " << value;
  if (!text.empty()) out << " /* " << text << " */";
  out << "\n";
}

void codes(std::ostream& out) {
#define ZLV_CODE(name, value, message, description) member(out, "res_" #name, value, description);
#include "cpub/rescode.def"
#undef ZLV_CODE
}
// The sentence behind a parameter: its meaning, default and range.
std::string range_text(int check, const std::string& lower, const std::string& upper) {
  switch (check) {
    case 0:
      return "at least " + lower;
    case 1:
      return "at most " + upper;
    case 4:
      return lower + " to " + upper;
    default:
      return "any value";
  }
}
struct param_line {
  std::string name;
  long number;
  std::string text;
  bool isreserved;
};
void list_params(std::ostream& out, const char* heading, const std::vector<param_line>& lines) {
  out << "\n/* " << heading << " */\n";
  for (const param_line& line : lines) {
    if (!line.isreserved) member(out, line.name, line.number, line.text);
  }
}
void parameters(std::ostream& out) {
  list_params(out, "Integer parameters",
              {
#define ZLV_IPAR(name, number, value, check, lower, upper, family, text)                     \
  {"ipar_" #name, number, text "; default " #value ", " + range_text(check, #lower, #upper), \
   std::string_view(#family) == "reserved"},
#include "zalvo/param.def"
              });
  list_params(out, "Double parameters",
              {
#define ZLV_DPAR(name, number, value, check, lower, upper, text) \
  {"dpar_" #name, number, text "; default " #value ", " + range_text(check, #lower, #upper), false},
#include "zalvo/param.def"
              });
  list_params(out, "String parameters",
              {
#define ZLV_SPAR(name, number, value, text) \
  {"spar_" #name, number, text "; default \"" value "\"", false},
#include "zalvo/param.def"
              });
}
void infitems(std::ostream& out) {
#define ZLV_IINF(name, number, text) member(out, "iinf_" #name, number, text);
#define ZLV_DINF(name, number, text) member(out, "dinf_" #name, number, text);
#include "zalvo/infitem.def"
}
void symbols(std::ostream& out) {
#define ZLV_GROUP(id, text) out << "\n/* " << (text) << " */\n";
#define ZLV_ENUM(id, name, value) member(out, #name, value);
#include "zalvo/symbcon.def"
}
void callbacks(std::ostream& out) {
#define ZLV_CALLBACK(name, value) member(out, "callback_" #name, value);
#include "cpub/callback.def"
#undef ZLV_CALLBACK
}

bool table(std::ostream& out, const std::string& line) {
  if (line == "@TABLE codes@") return codes(out), true;
  if (line == "@TABLE parameters@") return parameters(out), true;
  if (line == "@TABLE infitems@") return infitems(out), true;
  if (line == "@TABLE symbols@") return symbols(out), true;
  if (line == "@TABLE callbacks@") return callbacks(out), true;
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::ifstream in(argv[1]);
  std::ofstream out(argv[2]);
  for (std::string line; std::getline(in, line);) {
    if (!table(out, line)) out << line << "\n";
  }
  out.close();
  return in.eof() && out ? 0 : 1;
}
