#include "core/shell.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "core/log.h"

namespace {

// '>' stands in one command only, the search scan; no text from outside can contain it, since MAC
// texts, hexadecimal and decimal numbers are all that is ever formatted into a command.
constexpr const char* COMMAND_CHARACTERS =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 :/._>";

constexpr std::int64_t SLOW_MILLISECONDS = 2000;

// The start of the command, which names it; a frame's is thousands of characters long.
constexpr int COMMAND_SHOWN = 60;

std::int64_t milliseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

}  // namespace

int run_command(const char* command) {
  if (command[strspn(command, COMMAND_CHARACTERS)] != '\0') {
    ONBOARD_LOG("refuse to run a command with shell syntax: %s\n", command);
    return -1;
  }
  (void)fflush(stdout);
  const std::int64_t begin = milliseconds();
  const int status = system(command);
  const std::int64_t took = milliseconds() - begin;
  if (took > SLOW_MILLISECONDS) {
    ONBOARD_LOG("a command took %d seconds: %.*s\n", static_cast<int>(took / 1000), COMMAND_SHOWN,
                command);
  }
  return status;
}
