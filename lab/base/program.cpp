#include "base/program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>

#include "base/box_files.h"

extern char** environ;

namespace lab {

namespace {

// With the signals that meshlab blocks let through again, so that it can be ended.
pid_t start(const std::vector<std::string>& words, int in, int out) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (const std::string& word : words) {
    pointers.push_back(const_cast<char*>(word.c_str()));
  }
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, in, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&files, out, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  pid_t pid = -1;
  errno = posix_spawnp(&pid, pointers[0], &files, &attributes, pointers.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  return errno == 0 ? pid : -1;
}

// Whether all that comes has been read in time.
bool read_until_end(int fd, std::chrono::steady_clock::time_point deadline, std::string& text) {
  std::array<char, 16384> buffer{};
  while (true) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    pollfd ready{fd, POLLIN, 0};
    if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) <= 0) {
      errno = ETIMEDOUT;
      return false;
    }
    const ssize_t length = read(fd, buffer.data(), buffer.size());
    if (length <= 0) {
      return length == 0;
    }
    text.append(buffer.data(), static_cast<std::size_t>(length));
  }
}

bool fill(const UniqueFd& file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t length = write(file.get(), text.data(), text.size());
    if (length <= 0) {
      return false;
    }
    text.remove_prefix(static_cast<std::size_t>(length));
  }
  return lseek(file.get(), 0, SEEK_SET) == 0;
}

}  // namespace

std::optional<std::string> output_of(const std::vector<std::string>& words, std::string_view input,
                                     int seconds) {
  const UniqueFd in(memfd_create("input", MFD_CLOEXEC));
  std::array<int, 2> ends{};
  if (!in.open() || !fill(in, input) || pipe2(ends.data(), O_CLOEXEC) != 0) {
    return std::nullopt;
  }
  const UniqueFd out(ends[0]);
  const pid_t pid = start(words, in.get(), ends[1]);
  const int why = errno;
  close(ends[1]);
  if (pid < 0) {
    errno = why;
    return std::nullopt;
  }
  std::string text;
  const bool whole = read_until_end(
      out.get(), std::chrono::steady_clock::now() + std::chrono::seconds(seconds), text);
  const int failure = errno;
  if (!whole && waitpid(pid, nullptr, WNOHANG) == 0) {
    kill(pid, SIGKILL);
  }
  waitpid(pid, nullptr, 0);
  errno = failure;
  return whole ? std::optional(text) : std::nullopt;
}

}  // namespace lab
