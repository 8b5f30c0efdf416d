#include "commands.h"

#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "address.h"
#include "daemon_process.h"
#include "platform_onboarding.h"
#include "printing.h"
#include "status.h"
#include "vexo_nvram.h"

namespace ctl {

namespace {

constexpr int kPatience = 50;  // tenths of a second until the daemon has done what it is asked for

__attribute__((format(printf, 2, 3))) int fail(int status, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  fputs("vorlentctl: ", stderr);
  vfprintf(stderr, format, arguments);
  fputc('\n', stderr);
  va_end(arguments);
  return status;
}

int no_base(const Status& status) {
  return fail(kFailed, "this unit takes nobody in: %s", mode_in_words(status.mode));
}

template <typename Holds>
bool comes_true(Holds holds) {
  for (int i = 0; i < kPatience && !holds(); ++i) {
    usleep(100000);
  }
  return holds();
}

// The ready units that are meant, or an empty list where one that is named is not ready.
std::vector<Candidate> chosen(const Choice& choice, const std::vector<Candidate>& ready) {
  if (choice.all) {
    return ready;
  }
  std::vector<Candidate> out;
  for (const std::string& text : choice.addresses) {
    const std::string address = as_address(text);
    const auto found = std::find_if(ready.begin(), ready.end(),
                                    [&](const Candidate& it) { return it.address == address; });
    if (found == ready.end()) {
      fail(kFailed, "%s: no unit of that address is ready; nobody was sent anything", text.c_str());
      return {};
    }
    const bool again = std::any_of(out.begin(), out.end(),
                                   [&](const Candidate& it) { return it.address == address; });
    if (!again) {
      out.push_back(*found);
    }
  }
  return out;
}

bool put_on_the_list(const std::vector<Candidate>& units) {
  std::string list = vexoNvramConfig_get("candidate_satellites");
  for (const Candidate& unit : units) {
    if (!unit.approved) {
      list += (list.empty() ? "" : " ") + unit.address;
    }
  }
  return vexoNvramConfig_set("candidate_satellites", list.c_str()) == 0 &&
         std::all_of(units.begin(), units.end(), [](const Candidate& unit) {
           return check_mac_in_candidate_satellite(unit.address.c_str()) != 0;
         });
}

// A file of somebody else's that has come in its place is not the daemon's.
bool candidate_file_is_gone() {
  struct stat status {};
  return lstat(kCandidateFile, &status) != 0 || !S_ISREG(status.st_mode) ||
         status.st_uid != geteuid();
}

int push(pid_t daemon) {
  if (kill(daemon, SIGUSR1) != 0) {
    return fail(kFailed, "the daemon (process %d): %s", daemon, strerror(errno));
  }
  if (!comes_true(candidate_file_is_gone)) {
    return fail(kFailed, "the daemon has not sent the credentials; its log says why");
  }
  return kDone;
}

int tell_who_was_served(const Choice& choice, std::vector<Candidate> ready) {
  for (Candidate& unit : ready) {
    unit.approved = check_mac_in_candidate_satellite(unit.address.c_str()) != 0;
  }
  if (choice.json) {
    return print_candidates(ready, choice.json) ? kDone : kFailed;
  }
  for (const Candidate& unit : ready) {
    printf("%s  %s\n", unit.address.c_str(),
           unit.approved
               ? "was sent its credentials"
               : "is not approved and has lost its place; it asks again within 15 minutes");
  }
  return kDone;
}

int no_daemon(const Choice& choice, Command command, const std::string& why_not) {
  if (choice.json && command == show_status) {
    print_status(read_status(std::nullopt), choice.json);
  }
  return fail(kNoDaemon, "the daemon does not run here: %s", why_not.c_str());
}

int other_user(uid_t user) {
  const passwd* entry = getpwuid(user);
  const std::string name = entry == nullptr ? std::to_string(user) : entry->pw_name;
  return fail(kFailed, "the daemon runs as %s, and so must this command", name.c_str());
}

}  // namespace

int show_status(const Choice& choice, pid_t daemon) {
  return print_status(read_status(daemon), choice.json) ? kDone : kFailed;
}

int open_window(const Choice& choice, pid_t daemon) {
  const Status status = read_status(daemon);
  if (!is_base(status.mode)) {
    return no_base(status);
  }
  if (vexoNvramConfig_set("onboarding_soap_active", "1") != 0) {
    return fail(kFailed, "NVRAM cannot be written");
  }
  const auto opened = [] {
    return vexoNvramConfig_match("onboarding_soap_active", "0") != 0 &&
           vexoNvramConfig_match("onboarding_active_state", "2") != 0;
  };
  if (!comes_true(opened)) {
    return fail(kFailed, "the daemon has not opened its window");
  }
  return show_status(choice, daemon);
}

int show_candidates(const Choice& choice, pid_t /*daemon*/) {
  return print_candidates(read_candidates(), choice.json) ? kDone : kFailed;
}

int approve(const Choice& choice, pid_t daemon) {
  const Status status = read_status(daemon);
  if (!is_base(status.mode)) {
    return no_base(status);
  }
  const std::vector<Candidate> ready = read_candidates();
  const std::vector<Candidate> units = chosen(choice, ready);
  if (units.empty()) {
    return choice.all ? fail(kFailed, "no unit is ready for its credentials") : kFailed;
  }
  if (!put_on_the_list(units)) {
    return fail(
        kFailed,
        "the platform does not list what was approved: on a maker's platform, approve there");
  }
  const int pushed = push(daemon);
  return pushed == kDone ? tell_who_was_served(choice, ready) : pushed;
}

int have_them_wait(const Choice& choice, pid_t daemon) {
  if (kill(daemon, SIGUSR2) != 0) {
    return fail(kFailed, "the daemon (process %d): %s", daemon, strerror(errno));
  }
  puts(choice.json ? "{}" : "Every station was told to wait up to 15 minutes.");
  return kDone;
}

int run(const Choice& choice, Command command) {
  const Found found = find_daemon(choice.pid_file);
  const auto user = found.daemon ? user_of(*found.daemon) : std::nullopt;
  if (!user) {
    return no_daemon(choice, command, found.daemon ? "it has just ended" : found.why_not);
  }
  if (*user != geteuid()) {
    return other_user(*user);
  }
  const int status = command(choice, *found.daemon);
  return fflush(stdout) == 0 ? status : fail(kFailed, "standard output: %s", strerror(errno));
}

}  // namespace ctl
