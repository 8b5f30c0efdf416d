#include "nvram_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace lab {

namespace {

std::string escape(std::string_view value) {
  std::string out;
  for (const char c : value) {
    out += c == '\\' ? "\\\\" : c == '\n' ? "\\n" : std::string(1, c);
  }
  return out;
}

std::string unescape(std::string_view value) {
  std::string out;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] == '\\' && i + 1 < value.size()) {
      ++i;
      out += value[i] == 'n' ? '\n' : value[i];
    } else {
      out += value[i];
    }
  }
  return out;
}

// The lock that all writers of a store take turns by, for the life of this record.
class Turn {
 public:
  explicit Turn(const std::string& path)
      : fd_(open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
    flock(fd_, LOCK_EX);
  }
  ~Turn() {
    if (fd_ >= 0) {
      close(fd_);
    }
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

 private:
  int fd_;
};

}  // namespace

Settings parse_nvram(std::string_view text) {
  Settings settings;
  std::istringstream lines{std::string(text)};
  for (std::string line; std::getline(lines, line);) {
    const std::size_t equals = line.find('=');
    if (equals != std::string::npos) {
      settings[line.substr(0, equals)] = unescape(std::string_view(line).substr(equals + 1));
    }
  }
  return settings;
}

std::string format_nvram(const Settings& settings) {
  std::string text;
  for (const auto& [key, value] : settings) {
    text += key + "=" + escape(value) + "\n";
  }
  return text;
}

std::optional<std::string> read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::error_code error;
  if (!file || std::filesystem::is_directory(path, error)) {
    return std::nullopt;
  }
  return std::string(std::istreambuf_iterator<char>(file), {});
}

bool replace_file(const std::string& path, std::string_view text) {
  const std::string beside = path + ".lab";
  std::ofstream file(beside, std::ios::binary | std::ios::trunc);
  file.write(text.data(), static_cast<std::streamsize>(text.size()));
  file.close();
  return !file.fail() && rename(beside.c_str(), path.c_str()) == 0;
}

bool is_whole(std::string_view text) {
  if (text.empty() || text.back() != '\n') {
    return false;
  }
  std::istringstream lines{std::string(text)};
  for (std::string line; std::getline(lines, line);) {
    if (line.find('=') == std::string::npos || line.front() == '=') {
      return false;
    }
  }
  return parse_nvram(text).count("lab_unit") == 1;
}

bool change_nvram(const std::string& path, const std::vector<Change>& changes) {
  const Turn turn(path);
  Settings settings = parse_nvram(read_file(path).value_or(""));
  for (const auto& [key, value] : changes) {
    if (value) {
      settings[key] = *value;
    } else {
      settings.erase(key);
    }
  }
  return replace_file(path, format_nvram(settings));
}

bool save_nvram(const std::string& path) {
  const Turn turn(path);
  const auto text = read_file(path);
  return text && replace_file(path + ".saved", *text);
}

}  // namespace lab
