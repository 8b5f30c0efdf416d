#include "support/fake_platform.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <regex>

#include "core/timer_list.h"
#include "discovery/candidate_table.h"
#include "discovery/scan_result.h"
#include "platform_onboarding.h"
#include "shared_debug_log.h"
#include "support/virtual_time.h"
#include "vexo_nvram.h"

FakePlatform& platform() {
  static FakePlatform fake;
  return fake;
}

namespace {

void record(const std::string& event) {
  platform().journal.push_back(event);
  if (platform().on_event) {
    platform().on_event(event);
  }
}

}  // namespace

int count_commands(const std::string& prefix) {
  const auto& all = platform().journal;
  return static_cast<int>(std::count_if(all.begin(), all.end(), [&](const std::string& entry) {
    return entry.rfind("$ " + prefix, 0) == 0;
  }));
}

std::string messages() {
  static const std::regex prefix(R"(\[[A-Za-z0-9_]+\]\[[0-9]+\])");
  return std::regex_replace(platform().log, prefix, "");
}

int open_descriptors() {
  int count = 0;
  for (int fd = 0; fd < 64; ++fd) {
    count += fcntl(fd, F_GETFD) == -1 ? 0 : 1;
  }
  return count;
}

extern "C" {

const char* vexoNvramConfig_get(const char* key) {
  static std::string value;
  const auto found = platform().nvram.find(key);
  value = found == platform().nvram.end() ? "" : found->second;
  return value.c_str();
}

int vexoNvramConfig_match(const char* key, const char* value) {
  const auto found = platform().nvram.find(key);
  return found != platform().nvram.end() && found->second == value ? 1 : 0;
}

int vexoNvramConfig_set(const char* key, const char* value) {
  platform().nvram[key] = value;
  record(std::string("set ") + key + "=" + value);
  return 0;
}

int vexoNvramConfig_unset(const char* key) {
  if (platform().fails("unset")) {
    return -1;
  }
  platform().nvram.erase(key);
  record(std::string("unset ") + key);
  return 0;
}

int vexoNvramConfig_save(void) {
  record("save");
  return platform().fails("save") ? -1 : 0;
}

void shared_debug_log_init(const char* identity, const char* file, int max_bytes) {
  record(std::string("debug log of ") + identity + " in " + file + ", at most " +
         std::to_string(max_bytes));
}

void shared_debug_log_do_write_log(const char* identity, const char* file, const char* format,
                                   ...) {
  if (strcmp(identity, "vorlent") != 0 || strcmp(file, "vorlent_dbg.log") != 0) {
    return;  // another program's log
  }
  std::array<char, 1 << 18> text;
  va_list arguments;
  va_start(arguments, format);
  (void)vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  platform().log += text.data();
  if (platform().on_event) {
    platform().on_event(std::string("log ") + text.data());
  }
}

int check_mac_in_candidate_satellite(const char* mac) {
  return static_cast<int>(platform().candidate_satellites.count(mac));
}

int disable_mesh_settings(void) {
  record("disable_mesh_settings");
  return 0;
}

int reset_to_uncfg_mode(void) {
  record("reset_to_uncfg_mode");
  return 0;
}

int __wrap_system(const char* command) {
  const int status = platform().shell(command);
  record(std::string("$ ") + command);
  return platform().fails("system") ? -1 : status;
}

int __wrap_daemon(int nochdir, int noclose) {
  record("daemon " + std::to_string(nochdir) + ' ' + std::to_string(noclose));
  return platform().fails("daemon") ? -1 : 0;
}

}  // namespace

void new_process() {
  reset_timer_list();
  reset_context();
  candidate_table.fill(CandidateEntry{});
  gg_swap = false;
  restart_clock();
}

extern "C" {

// The descriptors from 3 on are the test program's own here.
void __wrap__Z20shed_inherited_statev() {}

}  // extern "C"
