#include "running_timers.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace ctl {

namespace {

// What the kernel says of a timer that runs: "it_value: (S, NS)", the time that is left, and
// "it_interval: (S, NS)", zero for one that expires once.
std::optional<long> one_shot(const std::filesystem::path& fdinfo) {
  constexpr std::string_view value = "it_value: (";
  std::ifstream file(fdinfo);
  std::optional<long> left;
  bool once = false;
  for (std::string line; std::getline(file, line);) {
    if (line.compare(0, value.size(), value) == 0 && line != "it_value: (0, 0)") {
      long seconds = 0;
      const auto read =
          std::from_chars(line.data() + value.size(), line.data() + line.size(), seconds);
      left = read.ec == std::errc() ? std::optional(seconds) : std::nullopt;
    }
    once = once || line == "it_interval: (0, 0)";
  }
  return once && left ? std::optional(*left + 1) : std::nullopt;  // begun seconds count
}

}  // namespace

std::optional<long> seconds_left(pid_t daemon) {
  std::error_code error;
  for (const auto& entry :
       std::filesystem::directory_iterator("/proc/" + std::to_string(daemon) + "/fdinfo", error)) {
    if (const auto left = one_shot(entry.path())) {
      return left;
    }
  }
  return std::nullopt;
}

}  // namespace ctl
