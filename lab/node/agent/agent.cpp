// The laboratory's one program inside a unit's sandbox. Called `wl` or `vexo_service` it hands its
// arguments to the laboratory and gives back what the laboratory answers; called anything else it
// is the agent: the first process of the unit, which starts the daemon, hears of its end, forwards
// driver events to its port and pulls the plug.
//
// It is linked statically and without the C++ library's streams, since a mesh of sixty units has
// sixty agents and each command of a daemon starts one more.
#include <arpa/inet.h>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "protocol.h"

using namespace lab;

namespace {

pid_t starting = -1;  // the daemon's first process, which ends when it has detached
pid_t running = -1;   // the detached daemon
int event_socket = -1;

void report(char kind, const char* text) {
  char message[256];
  const int length = snprintf(message, sizeof message, "%c%s", kind, text);
  (void)!send(kAgentSocket, message, static_cast<size_t>(length), MSG_NOSIGNAL);
}

// Calls `each` with every process number of the unit.
template <typename Each>
void for_each_process(Each each) {
  DIR* folder = opendir("/proc");
  if (folder == nullptr) {
    return;
  }
  while (const dirent* entry = readdir(folder)) {
    const long pid = strtol(entry->d_name, nullptr, 10);
    if (pid > 0) {
      each(static_cast<pid_t>(pid));
    }
  }
  closedir(folder);
}

// A process that detached itself has become a child of the first process, which is the agent.
bool is_detached_daemon(pid_t pid) {
  char path[64];
  char line[256] = "";
  snprintf(path, sizeof path, "/proc/%d/stat", static_cast<int>(pid));
  FILE* file = fopen(path, "re");
  if (file == nullptr) {
    return false;
  }
  const bool read = fgets(line, sizeof line, file) != nullptr;
  fclose(file);
  const char* state = read ? strrchr(line, ')') : nullptr;
  return state != nullptr && strstr(line, "(vorlent)") != nullptr && strlen(state) > 4 &&
         strtol(state + 4, nullptr, 10) == getpid();
}

void report_end(int status) {
  char text[32];
  if (WIFSIGNALED(status)) {
    snprintf(text, sizeof text, "signal %d", WTERMSIG(status));
  } else {
    snprintf(text, sizeof text, "exit %d", WEXITSTATUS(status));
  }
  report(kEnded, text);
}

void look_for_detached_daemon() {
  for_each_process([](pid_t found) {
    if (found != starting && is_detached_daemon(found)) {
      running = found;
    }
  });
}

// Collects every process that has ended. The daemon's first process is looked at before it is
// collected: what it left behind, dead or alive, is the daemon.
void reap() {
  siginfo_t ended{};
  while (waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid > 0) {
    const pid_t pid = ended.si_pid;
    if (pid == starting) {
      look_for_detached_daemon();
    }
    int status = 0;
    waitpid(pid, &status, 0);
    if (pid == running || (pid == starting && running < 0)) {
      running = -1;
      report_end(status);
    }
    starting = pid == starting ? -1 : starting;
    ended = {};
  }
}

void start_daemon(const char* preloads) {
  const pid_t pid = fork();
  if (pid < 0) {
    report(kFailed, strerror(errno));
    return;
  }
  if (pid > 0) {
    starting = pid;
    return;
  }
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  int output = open(kOutput, O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK, 0644);
  output = output < 0 ? open("/dev/null", O_WRONLY) : output;  // the daemon may have spoilt it
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  close(output);
  if (*preloads != 0) {
    setenv("LD_PRELOAD", preloads, 1);
  }
  execl(kDaemon, kDaemon, static_cast<char*>(nullptr));
  _exit(127);
}

void deliver(const char* datagram, size_t length) {
  sockaddr_in port{};
  port.sin_family = AF_INET;
  port.sin_port = htons(kEventPort);
  port.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  sendto(event_socket, datagram, length, 0, reinterpret_cast<const sockaddr*>(&port), sizeof port);
}

void report_memory() {
  long pages = 0;
  for_each_process([&pages](pid_t pid) {
    char path[64];
    long size = 0;
    long resident = 0;
    snprintf(path, sizeof path, "/proc/%d/statm", static_cast<int>(pid));
    FILE* file = fopen(path, "re");
    if (file != nullptr && fscanf(file, "%ld %ld", &size, &resident) == 2) {
      pages += resident;
    }
    if (file != nullptr) {
      fclose(file);
    }
  });
  char text[32];
  snprintf(text, sizeof text, "%ld", pages * (sysconf(_SC_PAGESIZE) / 1024));
  report(kHolds, text);
}

[[noreturn]] void pull_the_plug() {
  kill(-1, SIGKILL);
  _exit(0);
}

void send_signal(int number) {
  const pid_t daemon = running > 0 ? running : starting;
  if (daemon > 0) {
    kill(daemon, number);
  }
}

void serve(char* message, ssize_t length) {
  message[length] = '\0';
  switch (message[0]) {
    case kDeliver:
      deliver(message + 1, static_cast<size_t>(length - 1));
      break;
    case kStart:
      start_daemon(message + 1);
      break;
    case kSignal:
      send_signal(atoi(message + 1));
      break;
    case kMemory:
      report_memory();
      break;
    default:
      pull_the_plug();
  }
}

[[noreturn]] void be_the_agent() {
  sigset_t children;
  sigemptyset(&children);
  sigaddset(&children, SIGCHLD);
  sigprocmask(SIG_BLOCK, &children, nullptr);
  const int ended = signalfd(-1, &children, SFD_CLOEXEC | SFD_NONBLOCK);
  event_socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  fcntl(kAgentSocket, F_SETFD, FD_CLOEXEC);
  report(kReady, "");
  static char message[kMaxMessage + 1];
  for (;;) {
    pollfd wait[2] = {{kAgentSocket, POLLIN, 0}, {ended, POLLIN, 0}};
    if (poll(wait, 2, -1) < 0) {
      continue;
    }
    signalfd_siginfo info;
    while (read(ended, &info, sizeof info) > 0) {
    }
    reap();
    if (wait[0].revents != 0) {
      const ssize_t length = recv(kAgentSocket, message, kMaxMessage, 0);
      if (length <= 0) {
        pull_the_plug();
      }
      serve(message, length);
    }
  }
}

int complain(const char* name, const char* what) {
  fprintf(stderr, "%s: %s: %s\n", name, what, strerror(errno));
  return 1;
}

int ask_the_laboratory(const char* name, int argc, char** argv) {
  static char message[kMaxMessage];
  size_t length = static_cast<size_t>(snprintf(message, sizeof message, "%s", name)) + 1;
  for (int i = 1; i < argc; ++i) {
    const size_t size = strlen(argv[i]) + 1;
    if (length + size > sizeof message) {
      fprintf(stderr, "%s: the arguments are too long\n", name);
      return 1;
    }
    memcpy(message + length, argv[i], size);
    length += size;
  }
  const int laboratory = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  strcpy(address.sun_path, kCommandSocket);
  if (connect(laboratory, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      send(laboratory, message, length, MSG_NOSIGNAL) < 0) {
    return complain(name, "no driver answers");
  }
  const ssize_t answer = recv(laboratory, message, sizeof message, 0);
  if (answer < 1) {
    return complain(name, "no driver answers");
  }
  fwrite(message + 1, 1, static_cast<size_t>(answer - 1), message[0] == 0 ? stdout : stderr);
  return message[0];
}

}  // namespace

int main(int argc, char** argv) {
  const char* slash = strrchr(argv[0], '/');
  const char* name = slash != nullptr ? slash + 1 : argv[0];
  if (strcmp(name, "wl") == 0 || strcmp(name, "vexo_service") == 0) {
    return ask_the_laboratory(name, argc, argv);
  }
  if (argc == 2 && strcmp(argv[1], "--version") == 0) {
    return puts("lab-agent " AGENT_VERSION) < 0;
  }
  if (argc != 1) {
    const bool asked = strcmp(argv[1], "--help") == 0;
    fputs("Usage: lab-agent [--help | --version]     meshlab starts it, in the sandbox of a unit\n",
          asked ? stdout : stderr);
    return asked ? 0 : 2;
  }
  be_the_agent();
}
