// The platform's `nvram` command, on the store that the library serves.
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>

#include "nvram_store.h"
#include "nvram_text.h"

namespace {

constexpr int kDone = 0;
constexpr int kFailure = 1;
constexpr int kWrongUse = 2;

constexpr const char* kUsage =
    "Usage: nvram COMMAND [ARGUMENT]\n"
    "\n"
    "  get KEY         print the value of KEY; an empty line where KEY is not set\n"
    "  set KEY=VALUE   set KEY, for all processes at once\n"
    "  unset KEY       remove KEY\n"
    "  show            print all settings as KEY=VALUE, sorted by key; in a value a\n"
    "                  backslash is printed as \\\\ and a line feed as \\n\n"
    "  commit          make the settings survive a power cut\n"
    "  restart         run the program that VEXO_RESTART_HOOK names, if any\n"
    "  --help, --version\n"
    "\n"
    "The settings are in the file that VEXO_NVRAM names, or in /tmp/vexo_nvram.\n"
    "Exit status: 0 done, 1 failed, 2 wrong use.\n";

// Says what is wrong on standard error; there is no place left to say that this failed.
void complain(const std::string& what) {
  static_cast<void>(std::fputs(("nvram: " + what + '\n').c_str(), stderr));
}

int wrong_use(const std::string& reason) {
  complain(reason + '\n');
  static_cast<void>(std::fputs(kUsage, stderr));
  return kWrongUse;
}

// `what` failed for the reason in errno.
int failure(const std::string& what) {
  complain(what + ": " + std::strerror(errno));
  return kFailure;
}

// The library has said on standard error what went wrong.
int status_of(bool done) {
  return done ? kDone : kFailure;
}

int print(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0) {
    return kDone;
  }
  return failure("cannot write to standard output");
}

int get(const char* key) {
  const standin::Snapshot snapshot = standin::live_values();
  const auto found = snapshot.values.find(std::string_view(key));
  const int printed = print(found == snapshot.values.end() ? "\n" : found->second + '\n');
  return snapshot.current ? printed : kFailure;
}

int set(const char* argument) {
  const std::string_view setting = argument;
  const std::size_t equals = setting.find('=');
  if (equals == std::string_view::npos) {
    return wrong_use("set needs KEY=VALUE, and there is no '=' in '" + std::string(setting) + "'");
  }
  const std::string_view key = setting.substr(0, equals);
  if (!standin::valid_key(key)) {
    return wrong_use("a key must not be empty and must not contain a line feed");
  }
  return status_of(standin::set_value(key, setting.substr(equals + 1)));
}

int unset(const char* key) {
  if (!standin::valid_key(key)) {
    return wrong_use("a key must not be empty and must not contain '=' or a line feed");
  }
  return status_of(standin::remove_key(key));
}

int show(const char* /*none*/) {
  const standin::Snapshot snapshot = standin::live_values();
  const int printed = print(standin::format_values(snapshot.values));
  return snapshot.current ? printed : kFailure;
}

int commit(const char* /*none*/) {
  return status_of(standin::save_values());
}

// A development machine has no services to restart, so that no hook is no failure.
int restart(const char* /*none*/) {
  const char* hook = std::getenv("VEXO_RESTART_HOOK");
  if (hook == nullptr || *hook == '\0') {
    complain("VEXO_RESTART_HOOK names no program; nothing is restarted");
    return kDone;
  }
  ::execlp(hook, hook, static_cast<char*>(nullptr));
  return failure("cannot run the restart hook " + std::string(hook));
}

int help(const char* /*none*/) {
  return print(kUsage);
}

int version(const char* /*none*/) {
  return print("nvram " NVRAM_VERSION "\n");
}

struct Command {
  std::string_view name;
  const char* argument;  // What it takes, or null.
  int (*run)(const char* argument);
};

constexpr std::array kCommands = {Command{"get", "KEY", get},
                                  Command{"set", "KEY=VALUE", set},
                                  Command{"unset", "KEY", unset},
                                  Command{"show", nullptr, show},
                                  Command{"commit", nullptr, commit},
                                  Command{"restart", nullptr, restart},
                                  Command{"--help", nullptr, help},
                                  Command{"-h", nullptr, help},
                                  Command{"--version", nullptr, version}};

int run(const Command& command, int count, char** arguments) {
  const std::string name(command.name);
  if (command.argument == nullptr && count > 0) {
    return wrong_use(name + " takes no argument, and here is '" + arguments[0] + "'");
  }
  if (command.argument != nullptr && count != 1) {
    return wrong_use(name + " takes one argument, " + command.argument + ", and here are " +
                     std::to_string(count) + (count > 1 ? " (quote a value with spaces)" : ""));
  }
  return command.run(command.argument != nullptr ? arguments[0] : nullptr);
}

int choose(int count, char** arguments) {
  if (count < 2) {
    return wrong_use("a command is missing");
  }
  for (const Command& command : kCommands) {
    if (command.name == arguments[1]) {
      return run(command, count - 2, arguments + 2);
    }
  }
  return wrong_use("there is no command '" + std::string(arguments[1]) + "'");
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return choose(argc, argv);
  } catch (const std::exception& error) {
    complain(error.what());
    return kFailure;
  }
}
