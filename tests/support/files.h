// Whole files as text.
#ifndef VORLENT_TESTS_FILES_H
#define VORLENT_TESTS_FILES_H

#include <fstream>
#include <iterator>
#include <string>

inline std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void write_file(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

#endif
