#include "daemon_process.h"

#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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

Found as_daemon(const std::string& text, const std::string& source) {
  const auto pid = number_in(text);
  if (!pid || *pid <= 1) {
    return {std::nullopt, source + " names no process"};
  }
  const std::string process = "process " + std::to_string(*pid) + " of " + source;
  const std::string name = first_line("/proc/" + std::to_string(*pid) + "/comm");
  return name == "vorlent" ? Found{static_cast<pid_t>(*pid), ""}
         : name.empty()    ? Found{std::nullopt, process + " has ended"}
                           : Found{std::nullopt, process + " is another program"};
}

Found in_file(const std::string& path) {
  std::ifstream file(path);
  return file ? as_daemon(first_line(path), path)
              : Found{std::nullopt, path + ": " + strerror(errno)};
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

}  // namespace

Found find_daemon(const std::string& pid_file) {
  const char* named = pid_file.empty() ? getenv("VORLENT_PID_FILE") : pid_file.c_str();
  if (named != nullptr && *named != '\0') {
    return in_file(named);
  }
  return fs::is_directory("/run/systemd/system")
             ? as_daemon(main_pid_of_unit(), "the unit vorlent.service")
             : in_file("/var/run/vorlent.pid");
}

std::optional<uid_t> user_of(pid_t daemon) {
  struct stat status {};
  const bool there = stat(("/proc/" + std::to_string(daemon)).c_str(), &status) == 0;
  return there ? std::optional(status.st_uid) : std::nullopt;
}

}  // namespace ctl
