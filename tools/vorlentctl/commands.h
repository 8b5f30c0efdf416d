// The subcommands: what a unit is, and what the owner does at a base: opens the window, approves
// units, has them wait. Each prints what came of it and returns the exit status.
#ifndef VORLENTCTL_COMMANDS_H
#define VORLENTCTL_COMMANDS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace ctl {

inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kWrongUse = 2;
inline constexpr int kNoDaemon = 3;

struct Choice {
  std::string pid_file;
  bool json = false;
  bool all = false;
  std::vector<std::string> addresses;
};

using Command = int (*)(const Choice& choice, pid_t daemon);

int show_status(const Choice& choice, pid_t daemon);
int open_window(const Choice& choice, pid_t daemon);
int show_candidates(const Choice& choice, pid_t daemon);
int approve(const Choice& choice, pid_t daemon);
int have_them_wait(const Choice& choice, pid_t daemon);

// Does what the command says with the running daemon.
int run(const Choice& choice, Command command);

}  // namespace ctl

#endif
