#include "node/sandbox.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <vector>

#include "base/box_files.h"
#include "node/agent/protocol.h"

namespace lab {

namespace {

using Arguments = std::vector<std::string>;

// What every box has in common: nothing of the host can be changed, and all ends with meshlab.
const Arguments kBox{"bwrap",
                     "--unshare-user",
                     "--unshare-net",
                     "--unshare-pid",
                     "--unshare-ipc",
                     "--die-with-parent",
                     "--new-session",
                     "--as-pid-1",
                     "--ro-bind",
                     "/",
                     "/",
                     "--dev",
                     "/dev",
                     "--proc",
                     "/proc",
                     "--tmpfs",
                     "/run"};

void append(Arguments& to, std::initializer_list<std::string> more) {
  to.insert(to.end(), more.begin(), more.end());
}

Arguments words_for(const BoxKit& kit, const Sandbox& box) {
  const std::string& tools = kit.tools;
  const std::string programs = kPrograms;
  Arguments words = kBox;
  append(words, {"--bind", tmp_of(box), "/tmp"});
  append(words, {"--bind", box.folder + "/lab", "/run/lab"});
  append(words, {"--ro-bind", kit.daemon, kDaemon});
  append(words, {"--ro-bind", tools + "/nvram", programs + "/nvram"});
  append(words, {"--ro-bind", tools + "/liblab_timelapse.so", kTimeLapse});
  append(words, {"--ro-bind", kit.work + "/clock", kClockPage});
  for (const char* name : {"/agent", "/wl", "/vexo_service"}) {
    append(words, {"--ro-bind", tools + "/lab-agent", programs + name});
  }
  if (!kit.keys.empty()) {
    append(words, {"--ro-bind", tools + "/liblab_ready_keys.so", kReadyKeys});
    append(words, {"--ro-bind", kit.keys, kKeyStore});
  }
  append(words, {"--clearenv", "--setenv", "PATH", programs + ":/usr/bin:/bin"});
  append(words, {"--setenv", "VEXO_LOG_DIR", "/run/lab/log"});
  // A sanitized daemon must bear a library that was loaded before the sanitizer.
  append(words, {"--setenv", "ASAN_OPTIONS", "verify_asan_link_order=0"});
  append(words, {"--setenv", "LAB_READY_KEYS",
                 std::to_string(box.first_pair) + " of " + std::to_string(kit.pairs)});
  append(words, {"--setenv", "VEXO_RESTART_HOOK", "vexo_service restart"});
  append(words, {"--chdir", "/", "--", programs + "/agent"});
  return words;
}

[[noreturn]] void become(const Arguments& words) {
  std::vector<char*> pointers;
  for (const std::string& word : words) {
    pointers.push_back(const_cast<char*>(word.c_str()));
  }
  pointers.push_back(nullptr);
  execvp(pointers[0], pointers.data());
  dprintf(STDERR_FILENO, "%s: %s\n", pointers[0], strerror(errno));
  _exit(127);
}

// In a process group of its own, so that Ctrl-C reaches meshlab alone, which then tidies up; and
// with none of its standard streams, since a terminal does what is written to it.
void prepare_child(int errors) {
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  setpgid(0, 0);
  dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
  dup2(errors, STDOUT_FILENO);
  dup2(errors, STDERR_FILENO);
}

void read_agent(Loop& loop, Sandbox& box) {
  std::array<char, 512> message{};
  const ssize_t length = recv(box.agent, message.data(), message.size(), 0);
  if (length <= 0) {
    loop.unwatch(box.agent);
    return;
  }
  const std::string text(message.data() + 1, static_cast<std::size_t>(length - 1));
  if (message[0] == kReady) {
    box.on_ready();
  } else if (message[0] == kEnded || message[0] == kFailed) {
    box.daemon_runs = box.frozen = false;
    box.on_daemon_ended(text);
  } else if (message[0] == kHolds) {
    // Bubblewrap's own process stands outside of what the agent sees.
    const auto outside = read_file("/proc/" + std::to_string(box.pid) + "/statm");
    const long pages = outside ? atol(outside->c_str() + outside->find(' ') + 1) : 0;
    const long kib = atol(text.c_str()) + pages * (sysconf(_SC_PAGESIZE) / 1024);
    box.peak_kib = std::max(box.peak_kib, kib);
  }
}

// The words of one call, each ended by a zero byte, and the answer to it.
void serve_command(Loop& loop, const Sandbox& box, int connection) {
  std::array<char, kMaxMessage> message{};
  const ssize_t length = recv(connection, message.data(), message.size() - 1, MSG_DONTWAIT);
  std::vector<std::string> words;
  for (ssize_t at = 0; at < length; at += static_cast<ssize_t>(words.back().size()) + 1) {
    words.emplace_back(&message[static_cast<std::size_t>(at)]);
  }
  if (!words.empty()) {
    const CommandResult result = box.on_command(words);
    const std::string answer = static_cast<char>(result.status) + result.text;
    send(connection, answer.data(), answer.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  }
  loop.unwatch(connection);
  close(connection);
}

bool listen_for_commands(Loop& loop, Sandbox& box) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = box.folder + "/lab/ctl";
  if (path.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return false;
  }
  memcpy(address.sun_path, path.c_str(), path.size() + 1);
  box.commands = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (bind(box.commands, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(box.commands, 64) != 0) {
    return false;
  }
  loop.watch(box.commands, [&loop, &box] {
    const int connection = accept4(box.commands, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection >= 0) {
      loop.watch(connection, [&loop, &box, connection] { serve_command(loop, box, connection); });
    }
  });
  return true;
}

void tell_agent(Sandbox& box, char kind, View content) {
  Bytes message{static_cast<std::uint8_t>(kind)};
  put(message, content);
  if (box.agent >= 0) {
    send(box.agent, message.data(), message.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  }
}

void tell_agent(Sandbox& box, char kind, std::string_view content = {}) {
  Bytes bytes;
  put(bytes, content);
  tell_agent(box, kind, View(bytes));
}

}  // namespace

std::string box_folder(const BoxKit& kit, const std::string& name) {
  return kit.work + "/" + name;
}

std::string tmp_of(const Sandbox& box) {
  return box.folder + "/tmp";
}

std::string why_no_sandbox() {
  std::array<int, 2> errors{};
  if (pipe2(errors.data(), O_CLOEXEC) != 0) {
    return strerror(errno);
  }
  const pid_t pid = fork();
  if (pid == 0) {
    prepare_child(errors[1]);
    Arguments words = kBox;
    append(words, {"--", "true"});
    become(words);
  }
  close(errors[1]);
  std::array<char, 512> text{};
  const ssize_t length = read(errors[0], text.data(), text.size() - 1);
  close(errors[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  if (status == 0) {
    return {};
  }
  std::string why(text.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
  return why.substr(0, why.find('\n'));
}

bool make_folders(const Sandbox& box) {
  for (const char* part : {"", "/tmp", "/lab", "/lab/log"}) {
    if (mkdir((box.folder + part).c_str(), 0755) != 0) {
      return false;
    }
  }
  return true;
}

bool open_sandbox(Loop& loop, const BoxKit& kit, Sandbox& box) {
  std::array<int, 2> ends{};
  if ((box.commands < 0 && !listen_for_commands(loop, box)) ||
      socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    return false;
  }
  const int errors =
      open((box.folder + "/errors.log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  const Arguments words = words_for(kit, box);
  box.pid = fork();
  if (box.pid == 0) {
    prepare_child(errors);
    if (ends[1] == kAgentSocket) {
      fcntl(kAgentSocket, F_SETFD, 0);
    } else {
      dup2(ends[1], kAgentSocket);
    }
    become(words);
  }
  close(errors);
  close(ends[1]);
  box.agent = ends[0];
  loop.watch(box.agent, [&loop, &box] { read_agent(loop, box); });
  return box.pid > 0;
}

void deliver(Sandbox& box, View datagram) {
  tell_agent(box, kDeliver, datagram);
}

void cut_power(Sandbox& box) {
  tell_agent(box, kPowerCut);
  if (box.agent >= 0) {
    shutdown(box.agent, SHUT_WR);  // the agent ends at this even where the word was lost
  }
}

void start_daemon(const BoxKit& kit, Sandbox& box) {
  box.daemon_runs = true;
  std::string preloads = kit.time_lapse ? kTimeLapse : "";
  if (!kit.keys.empty()) {
    preloads += (preloads.empty() ? "" : ":") + std::string(kReadyKeys);
  }
  tell_agent(box, kStart, preloads);
}

long pairs_taken(const Sandbox& box) {
  struct stat status {};
  const UniqueFd counter = open_in_box(box.folder, "lab/keys", O_RDONLY);
  return counter.open() && fstat(counter.get(), &status) == 0 ? status.st_size : 0;
}

void signal_daemon(Sandbox& box, int number) {
  box.frozen = number == SIGSTOP || (box.frozen && number != SIGCONT);
  tell_agent(box, kSignal, std::to_string(number));
}

void measure_memory(Sandbox& box) {
  tell_agent(box, kMemory);
}

std::string last_words(const Sandbox& box) {
  std::string text = read_file(box.folder + "/errors.log").value_or("");
  text.erase(text.find_last_not_of('\n') + 1);
  return text.substr(text.rfind('\n') + 1);
}

void sandbox_closed(Loop& loop, Sandbox& box) {
  if (box.agent >= 0) {
    loop.unwatch(box.agent);
    close(box.agent);
  }
  box.agent = -1;
  box.pid = -1;
  box.daemon_runs = box.frozen = false;
}

}  // namespace lab
