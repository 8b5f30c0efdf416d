#include "load/receiver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "core/event_socket.h"

namespace {

constexpr const char* CANDIDATES = "/tmp/vexo_onborading.json";

void replace_candidates(const std::string& text) {
  constexpr const char* ASIDE = "/tmp/bare.tmp";
  unlink(ASIDE);
  const int fd = open(ASIDE, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  (void)!write(fd, text.data(), text.size());
  close(fd);
  (void)!rename(ASIDE, CANDIDATES);
}

// The system calls that what the daemon leaves takes at the least.
void leave(const Trace& trace) {
  static const int nvram = open("/tmp/vexo_nvram", O_RDONLY | O_CLOEXEC);
  static const int log = open("/tmp/bare.log", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  static std::size_t size = 0;
  for (const std::string& message : trace.messages) {
    struct stat status {};
    (void)fstat(nvram, &status);
    size += message.size();
    (void)!write(log, message.data(), message.size());
  }
  if (size > 1 << 20) {
    size = 0;
    (void)!ftruncate(log, 0);
  }
  if (!trace.candidates.empty()) {
    replace_candidates(trace.candidates);
  }
}

std::string content_of(const char* path) {
  std::stringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

ino_t file_at(const char* path) {
  struct stat status {};
  return stat(path, &status) == 0 ? status.st_ino : 0;
}

void run_bare_loop(Meter& meter, const std::vector<Trace>& traces) {
  int fd = -1;
  if (open_eventfd(fd) != 0) {
    die("the event port is taken");
  }
  const int epoll = epoll_create1(0);
  meter.pid = getpid();
  for (;;) {
    ++meter.turns;
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    timeval timeout{.tv_sec = 1, .tv_usec = 0};
    if (select(fd + 1, &readable, nullptr, nullptr, &timeout) > 0) {
      std::array<std::uint8_t, 4096> buffer;
      const ssize_t received = recv(fd, buffer.data(), buffer.size(), 0);
      for (const Trace& trace : traces) {
        if (received == static_cast<ssize_t>(trace.event.size()) &&
            memcmp(buffer.data(), trace.event.data(), trace.event.size()) == 0) {
          leave(trace);
        }
      }
      if (received > 95 && buffer[47] == 59 && buffer[93] == 0x10 && buffer[94] == 0x00) {
        meter.add_answer({.begin_ns = now_ns(), .end_ns = now_ns(), .operation = 1001});
      }
      meter.turn_of_last = meter.turns.load();
      ++meter.taken;
    }
    std::array<epoll_event, 16> ready;
    (void)epoll_wait(epoll, ready.data(), static_cast<int>(ready.size()), 0);
  }
}

const std::string& settings_of(OnboardMode mode) {
  static const std::string unit = "blank_state=1\n";
  static const std::string base =
      "multiap_mode=3\nenable_mesh_mode=1\nbh_ssid=our mesh\nbh_wpa_psk=a long pass phrase\n"
      "bh_crypto=aes\nbh_akm=psk2\n";
  static const std::string satellite = "multiap_mode=2\nenable_mesh_mode=2\nmesh_role=satallite\n";
  return mode == ONBOARD_MODE_UNCONFIGURED ? unit : mode == ONBOARD_MODE_BASE ? base : satellite;
}

}  // namespace

void die(const std::string& why) {
  std::cerr << "vorlent_load: " << why << "\n";
  exit(1);
}

long number_in(const std::string& path, const std::string& name) {
  std::ifstream file(path);
  std::string line;
  while (std::getline(file, line)) {
    if (line.rfind(name + ":", 0) == 0) {
      return std::stol(line.substr(name.size() + 1));
    }
  }
  return -1;
}

void prepare_unit(OnboardMode mode) {
  for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
    if (entry.is_regular_file()) {
      std::filesystem::remove(entry);
    }
  }
  std::filesystem::create_directory("/tmp/bin");
  if (access("/tmp/bin/wl", F_OK) != 0) {
    std::filesystem::create_symlink(BUILD_DIR "/bench/wl_noop", "/tmp/bin/wl");
  }
  setenv("PATH", "/tmp/bin:/usr/bin:/bin", 1);
  std::ofstream nvram("/tmp/vexo_nvram");
  nvram << settings_of(mode) << "candidate_satellites=";
  for (int i = 10; i < 25; ++i) {
    nvram << "02:00:00:00:00:" << std::hex << (i < 16 ? "0" : "") << i << std::dec << ' ';
  }
  for (int i = 0; i < 1000; ++i) {
    nvram << "\nsetting_" << i << "=a value of usual length";
  }
  nvram << "\n";
}

void launch(const char* program) {
  prctl(PR_SET_CHILD_SUBREAPER, 1);  // a daemon that detaches becomes ours to wait for
  const pid_t child = fork();
  if (child == 0) {
    dup2(open("/dev/null", O_RDWR), STDOUT_FILENO);
    setenv("LD_PRELOAD", BUILD_DIR "/bench/meter_shim.so", 1);
    execl(program, program, nullptr);
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0) {
    die(std::string(program) + " does not start");
  }
}

Receiver::Receiver(OnboardMode mode) {
  prepare_unit(mode);
  meter_ = map_meter();
  launch(BUILD_DIR "/vorlent");
  adopt();
}

Receiver::Receiver(const std::vector<Trace>& traces) {
  prepare_unit(ONBOARD_MODE_SATELLITE);
  meter_ = map_meter();
  if (fork() == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    run_bare_loop(*meter_, traces);
  }
  adopt();
}

Receiver::~Receiver() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  munmap(meter_, sizeof(Meter));
}

void Receiver::adopt() {
  const std::int64_t deadline = now_ns() + 20'000'000'000;
  while (meter_->pid == 0) {
    if (now_ns() > deadline) {
      die("no main loop after 20 seconds");
    }
    usleep(200);
  }
  pid_ = meter_->pid;
}

double Receiver::cpu_seconds() const {
  clockid_t clock = 0;
  timespec used{};
  if (clock_getcpuclockid(pid_, &clock) != 0 || clock_gettime(clock, &used) != 0) {
    die("the receiver is gone");
  }
  return static_cast<double>(used.tv_sec) + 1e-9 * static_cast<double>(used.tv_nsec);
}

long Receiver::status(const std::string& name) const {
  const long number = number_in("/proc/" + std::to_string(pid_) + "/status", name);
  if (number < 0) {
    die("no " + name + " of the receiver");
  }
  return number;
}

Trace Receiver::trace_of(const air::Bytes& event) {
  Trace trace{.event = event, .messages = {}, .candidates = {}};
  std::ifstream log("/tmp/vorlent_dbg.log");
  log.seekg(0, std::ios::end);
  const ino_t before = file_at(CANDIDATES);
  send_event(event);
  wait_until_handled(meter_->taken + 1);
  for (std::string line; std::getline(log, line);) {
    if (line.rfind('[', 0) == 0 || trace.messages.empty()) {
      trace.messages.emplace_back();
    }
    trace.messages.back() += line + '\n';
  }
  if (file_at(CANDIDATES) != before) {
    trace.candidates = content_of(CANDIDATES);
  }
  return trace;
}

void Receiver::wait_until_handled(std::uint64_t count) {
  const std::int64_t deadline = now_ns() + 5'000'000'000;
  while ((meter_->taken < count || meter_->turns <= meter_->turn_of_last) && now_ns() < deadline) {
    usleep(50);
  }
}

void Receiver::wait_for_answers(std::uint64_t count) {
  const std::int64_t deadline = now_ns() + 10'000'000'000;
  while (meter_->answers < count) {
    if (now_ns() > deadline) {
      die("no answer of the receiver in 10 seconds");
    }
    usleep(50);
  }
}

void send_event(const air::Bytes& datagram, std::size_t count) {
  static const int socket_fd = [] {
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(EVENT_PORT);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    (void)connect(fd, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    return fd;
  }();
  iovec bytes{.iov_base = const_cast<std::uint8_t*>(datagram.data()), .iov_len = datagram.size()};
  mmsghdr one{};
  one.msg_hdr.msg_iov = &bytes;
  one.msg_hdr.msg_iovlen = 1;
  std::vector<mmsghdr> copies(count, one);
  (void)sendmmsg(socket_fd, copies.data(), static_cast<unsigned>(count), 0);
}

std::uint64_t lost() {
  std::ifstream file("/proc/net/udp");
  std::string line;
  while (std::getline(file, line)) {
    if (line.find("0100007F:D988 00000000") != std::string::npos) {
      return std::stoull(line.substr(line.find_last_not_of(' ') == std::string::npos
                                         ? 0
                                         : line.find_last_of(' ', line.find_last_not_of(' '))));
    }
  }
  die("nobody listens at the event port");
}
