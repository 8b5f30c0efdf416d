// Stands in for the fuzzing engine: runs each file of the folders it is given once.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <span>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size);

int main(int count, char** arguments) {
  for (const char* folder : std::span(arguments, static_cast<std::size_t>(count)).subspan(1)) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      std::cerr << entry.path().filename() << '\n';
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string bytes{std::istreambuf_iterator<char>(file), {}};
      LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
  }
  return 0;
}
