// Stands in for the fuzzing engine: runs each file of the folders it is given once.
#include <filesystem>
#include <iostream>
#include <span>

#include "support/files.h"

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size);

int main(int count, char** arguments) {
  for (const char* folder : std::span(arguments, static_cast<std::size_t>(count)).subspan(1)) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      std::cerr << entry.path().filename() << '\n';
      const std::string bytes = read_file(entry.path());
      LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
  }
  return 0;
}
