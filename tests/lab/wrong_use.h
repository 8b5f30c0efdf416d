// Tables of wrong input, one case a line: what is said of it, and the input.
#ifndef TESTS_LAB_WRONG_USE_H
#define TESTS_LAB_WRONG_USE_H

#include <gmock/gmock.h>

#include <fstream>
#include <string>
#include <vector>

// The cases of the file, split at the first `mark`; lines that begin with `#` are passed over.
inline std::vector<std::pair<std::string, std::string>> wrong_cases(const std::string& file,
                                                                    const std::string& mark) {
  std::vector<std::pair<std::string, std::string>> cases;
  std::ifstream lines(LAB_TEST_DATA + file);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t at = line.find(mark);
    if (line[0] != '#' && at != std::string::npos) {
      cases.emplace_back(line.substr(0, at), line.substr(at + mark.size()));
    }
  }
  EXPECT_GT(cases.size(), 10U) << file;
  return cases;
}

#endif
