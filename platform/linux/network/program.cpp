#include "program.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace network {

namespace {

constexpr int kTries = 60;
constexpr useconds_t kBetween = 50000;

[[noreturn]] void become(const std::vector<std::string>& words) {
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string& word : words) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  static_cast<void>(fprintf(stderr, "vorlent-network: %s: %s\n", arguments[0], strerror(errno)));
  _exit(127);
}

}  // namespace

void Program::start(const std::vector<std::string>& words) {
  stop();
  const pid_t child = fork();
  if (child == 0) {
    become(words);
  }
  pid_ = child;
}

void Program::stop() {
  if (!runs()) {
    return;
  }
  kill(pid_, SIGTERM);
  for (int i = 0; i < kTries && runs(); ++i) {
    usleep(kBetween);
  }
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }
}

bool Program::runs() {
  if (pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) != 0) {
    pid_ = -1;
  }
  return pid_ > 0;
}

}  // namespace network
