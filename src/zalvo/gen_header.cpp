// Build-time program: makes include/zalvo.h from its template, putting the constants of the tables
// where the template has a line "@TABLE name@". Usage: zalvo_genheader TEMPLATE OUTPUT.
#include <cctype>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

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
void parameters(std::ostream& out) {
  out << "/* Integer parameters */\n";
#define ZLV_IPAR(name, number, value, check, lower, upper, family, text)       \
  if (std::string(#family) != "reserved") {                                    \
    member(out, "ipar_" #name, number,                                         \
           text "; default " #value ", " + range_text(check, #lower, #upper)); \
  }
#include "zalvo/param.def"
  out << "\n/* Double parameters */\n";
#define ZLV_DPAR(name, number, value, check, lower, upper, text) \
  member(out, "dpar_" #name, number,                             \
         text "; default " #value ", " + range_text(check, #lower, #upper));
#include "zalvo/param.def"
  out << "\n/* String parameters */\n";
#define ZLV_SPAR(name, number, value, text) \
  member(out, "spar_" #name, number, text "; default \"" value "\"");
#include "zalvo/param.def"
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
