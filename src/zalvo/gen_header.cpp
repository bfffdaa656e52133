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
void parameters(std::ostream& out) {
#define ZLV_IPAR(name, number, value, check, lower, upper) \
  if (std::string(#name).find("reserved") == std::string::npos) member(out, "ipar_" #name, number);
#define ZLV_DPAR(name, number, value, check, lower, upper) member(out, "dpar_" #name, number);
#define ZLV_SPAR(name, number, value) member(out, "spar_" #name, number);
#include "zalvo/param.def"
}
void infitems(std::ostream& out) {
#define ZLV_IINF(name, number, text) member(out, "iinf_" #name, number, text);
#define ZLV_DINF(name, number, text) member(out, "dinf_" #name, number, text);
#include "zalvo/infitem.def"
}
void symbols(std::ostream& out) {
#define ZLV_GROUP(text) out << "\n/* " << (text) << " */\n";
#define ZLV_ENUM(name, value) member(out, #name, value);
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
