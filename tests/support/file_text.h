// Whole files as text, and files in a folder of their own.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>

inline std::string file_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// A folder that is gone with its files when the test ends.
struct test_folder {
  std::filesystem::path path;
  test_folder() {
    std::string name = (std::filesystem::temp_directory_path() / "zalvoXXXXXX").string();
    path = mkdtemp(name.data());
  }
  ~test_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  test_folder(const test_folder&) = delete;
  test_folder& operator=(const test_folder&) = delete;
  std::string at(const std::string& name) const { return (path / name).string(); }
  std::string put(const std::string& name, std::string_view text) const {
    std::ofstream(at(name), std::ios::binary) << text;
    return at(name);
  }
  std::string get(const std::string& name) const { return file_text(at(name)); }
  size_t numfile() const {
    return size_t(std::distance(std::filesystem::directory_iterator(path), {}));
  }
};
