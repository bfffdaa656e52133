// Whole files as text.
#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

inline std::string file_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}
