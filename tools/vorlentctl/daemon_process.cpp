#include "daemon_process.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string_view>

namespace ctl {

namespace {

namespace fs = std::filesystem;

std::string first_line(const fs::path& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

std::optional<long> number_in(std::string_view text) {
  long value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() ? std::optional(value) : std::nullopt;
}

std::optional<pid_t> as_daemon(const std::string& text) {
  const auto pid = number_in(text);
  if (!pid || *pid <= 1 || first_line("/proc/" + std::to_string(*pid) + "/comm") != "vorlent") {
    return std::nullopt;
  }
  return static_cast<pid_t>(*pid);
}

struct ClosePipe {
  void operator()(FILE* pipe) const { pclose(pipe); }
};

std::string main_pid_of_unit() {
  const std::unique_ptr<FILE, ClosePipe> pipe(
      popen("systemctl show --property=MainPID --value vorlent.service 2>/dev/null", "r"));
  char line[32] = "";
  return pipe != nullptr && fgets(line, sizeof line, pipe.get()) != nullptr ? line : "";
}

// What the kernel says of a timer that runs: "it_value: (S, NS)", the time that is left, and
// "it_interval: (S, NS)", zero for one that expires once.
std::optional<long> one_shot(const fs::path& fdinfo) {
  constexpr std::string_view value = "it_value: (";
  std::ifstream file(fdinfo);
  std::optional<long> left;
  bool once = false;
  for (std::string line; std::getline(file, line);) {
    if (line.compare(0, value.size(), value) == 0 && line != "it_value: (0, 0)") {
      left = number_in(std::string_view(line).substr(value.size()));
    }
    once = once || line == "it_interval: (0, 0)";
  }
  return once && left ? std::optional(*left + 1) : std::nullopt;  // begun seconds count
}

}  // namespace

std::optional<pid_t> find_daemon(const std::string& pid_file) {
  const char* named = pid_file.empty() ? getenv("VORLENT_PID_FILE") : pid_file.c_str();
  if (named != nullptr) {
    return as_daemon(first_line(named));
  }
  return as_daemon(fs::is_directory("/run/systemd/system") ? main_pid_of_unit()
                                                           : first_line("/var/run/vorlent.pid"));
}

std::optional<long> seconds_left(pid_t daemon) {
  std::error_code error;
  for (const auto& entry :
       fs::directory_iterator("/proc/" + std::to_string(daemon) + "/fdinfo", error)) {
    if (const auto left = one_shot(entry.path())) {
      return left;
    }
  }
  return std::nullopt;
}

}  // namespace ctl
