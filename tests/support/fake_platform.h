// Two of the three seams of the daemon's tests: the platform's libraries and the shell. The third,
// time, is in virtual_time.h.
//
// All of them are replaced at link time, so the product holds no test code. Whatever the daemon
// does to its surroundings lands in one journal, in order: "$ wl ..." a command, "set k=v", "unset
// k" and "save" for NVRAM, the names of the platform's calls. Reads are not recorded. An observer
// is told of the same, and of the log's messages as "log ...", at the moment they happen.
#ifndef VORLENT_TESTS_FAKE_PLATFORM_H
#define VORLENT_TESTS_FAKE_PLATFORM_H

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/virtual_time.h"

struct FakePlatform {
  std::map<std::string, std::string> nvram;
  std::set<std::string> candidate_satellites;
  std::vector<std::string> journal;
  std::string log;  // the debug log, message after message
  std::function<int(const std::string&)> shell = [](const std::string& /*command*/) { return 0; };
  std::function<void(const std::string& event)> on_event;  // the observer
  // Whether this call fails: "system", "daemon", "timerfd_create" or "timerfd_settime"; "unset" and
  // "save" are NVRAM's.
  std::function<bool(const char* call)> fails = [](const char* /*call*/) { return false; };
};

FakePlatform& platform();

// How many of the journal's commands start with `prefix`.
int count_commands(const std::string& prefix);

// The log without its "[function][line]" prefixes.
std::string messages();

// Forgets all that ends with a process, and starts virtual time at a whole second.
void new_process();

// How many descriptors the process has open; what it loses gets the lowest numbers.
int open_descriptors();

#endif
