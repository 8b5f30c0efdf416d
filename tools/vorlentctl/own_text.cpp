#include "own_text.h"

#include <unistd.h>

#include <array>

#include "own_file.h"

namespace ctl {

std::string read_own(const std::string& path) {
  std::string text;
  const UniqueFd file = open_own_to_read(path.c_str());
  std::array<char, 4096> piece{};
  for (ssize_t got = 0; file.open() && (got = read(file.get(), piece.data(), piece.size())) > 0;) {
    text.append(piece.data(), static_cast<std::size_t>(got));
  }
  return text;
}

}  // namespace ctl
