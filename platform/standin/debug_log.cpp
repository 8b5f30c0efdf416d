// The debug log: messages appended as they stand, and a bound that rolls the file over to
// `<file>.1`.
//
// - The file stays open from message to message. An fstat tells whether it was removed or cut short
//   from outside, and its size, also where two processes share it; a look at its path, whether it
//   was moved away. Each costs about as much as a write, the look at the path more. So an event
//   that logs thirty messages at once asks the file once or twice, and the path every few
//   milliseconds: a file that was taken away still gets what is written in that moment. Near the
//   bound, where another process may have used the last room, the file is asked each time.
// - A message is one write. One that is longer than the bound gets a file of its own.
// - Where the old file cannot be moved away, messages are dropped: the bound protects a unit whose
//   log lies in memory.
// - errno is left alone: callers log first and report the reason afterwards.
#include "shared_debug_log.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "file_lock.h"
#include "files.h"

namespace {

using standin::KeepErrno;
using standin::Lookout;

constexpr std::size_t kUsualMessage = 2048;

struct Log {
  std::string identity;
  std::string name;
  std::string folder;
  std::string path;
  off_t bound = 0;  // 0 or less: none.
  off_t size = 0;   // Of the file as it stands at `path`.
  dev_t device = 0;
  ino_t inode = 0;  // Not given to another file while this one is open.
  Lookout file_look{CLOCK_MONOTONIC, 20'000};
  Lookout path_look = standin::path_lookout();
  int told_error = 0;  // Why messages are dropped.
  UniqueFd file;
};

// The log of a program; a process writes one or two, so that a walk finds it at once.
Log& log_of(const char* identity, const char* name) {
  static auto* const logs = new std::list<Log>;  // Outlives every destructor that may still log.
  for (Log& log : *logs) {
    if (log.name == name && log.identity == identity) {
      return log;
    }
  }
  Log& log = logs->emplace_back();
  log.identity = identity;
  log.name = name;
  return log;
}

void follow_folder(Log& log) {
  const char* folder = std::getenv("VEXO_LOG_DIR");
  if (folder == nullptr || *folder == '\0') {
    folder = "/tmp";
  }
  if (log.folder != folder) {
    log.file = UniqueFd();
    log.folder = folder;
    log.path = log.folder + '/' + log.name;
  }
}

// Whether the open file is the one that stands at the path; notes its size.
bool stands_at_its_path(Log& log) {
  struct stat there {};
  if (::lstat(log.path.c_str(), &there) != 0) {
    return false;
  }
  log.size = there.st_size;
  return there.st_dev == log.device && there.st_ino == log.inode;
}

// The same as far as the open file can tell.
bool is_linked(Log& log) {
  struct stat open {};
  if (::fstat(log.file.get(), &open) != 0 || open.st_nlink == 0) {
    return false;
  }
  log.size = open.st_size;
  return true;
}

bool near_bound(const Log& log, std::size_t length) {
  constexpr off_t kOthers = 64 << 10;  // More than another process writes between two looks.
  return log.bound > 0 && log.size + static_cast<off_t>(length) + kOthers > log.bound;
}

bool still_there(Log& log, std::size_t length) {
  if (!log.file.open()) {
    return false;
  }
  if (!log.file_look.due()) {
    return !near_bound(log, length) || is_linked(log);
  }
  return log.path_look.due() ? stands_at_its_path(log) : is_linked(log);
}

// Says on standard error why messages are dropped, once until that has changed.
void tell(Log& log, int error) {
  if (std::exchange(log.told_error, error) != error) {
    const KeepErrno keep;
    static_cast<void>(
        std::fprintf(stderr, "cannot write %s: %s\n", log.path.c_str(), std::strerror(error)));
  }
}

// What was planted at the log's place would get the pass phrase, or have its owner's file grow.
bool open_log(Log& log) {
  log.file = standin::open_own(log.path.c_str(), O_WRONLY | O_APPEND, ::geteuid());
  struct stat status {};
  if (!log.file.open() || ::fstat(log.file.get(), &status) != 0) {
    tell(log, errno);
    return false;
  }
  log.size = status.st_size;
  log.device = status.st_dev;
  log.inode = status.st_ino;
  return true;
}

// Moves the full file away. Processes that share it take turns, and whoever comes second finds
// another file at the path: to move that one too would destroy what the first has just saved. None
// of them takes as long as the wait for the lock may: what holds it then is no roll-over, and to
// respect it would have each message wait, and lose it.
bool roll_over(Log& log) {
  static_cast<void>(standin::lock_exclusively(log.file));
  const std::string old = log.path + ".1";
  if (stands_at_its_path(log) && ::rename(log.path.c_str(), old.c_str()) != 0 && errno != ENOENT) {
    ::flock(log.file.get(), LOCK_UN);
    return false;
  }
  return open_log(log);
}

bool make_room(Log& log, std::size_t length) {
  // Several turns only where another process fills the new file before we come to it.
  while (log.bound > 0 && log.size > 0 && log.size + static_cast<off_t>(length) > log.bound) {
    if (!roll_over(log)) {
      return false;
    }
  }
  return true;
}

// Takes the first part of a message that did not fit on the disk off the end again, unless
// another process has written behind it.
void take_back(const Log& log, std::size_t part) {
  struct stat status {};
  if (part > 0 && ::fstat(log.file.get(), &status) == 0 &&
      status.st_size == log.size + static_cast<off_t>(part)) {
    [[maybe_unused]] const int cut = ::ftruncate(log.file.get(), log.size);
  }
}

void append(Log& log, std::string_view message) {
  follow_folder(log);
  if (!still_there(log, message.size()) && !open_log(log)) {
    return;
  }
  if (!make_room(log, message.size())) {
    tell(log, errno);
    return;
  }
  const std::size_t written = standin::write_all(log.file, message);
  if (written < message.size()) {
    tell(log, errno);
    take_back(log, written);
  } else {
    log.told_error = 0;
    log.size += static_cast<off_t>(written);
  }
}

void append_guarded(const char* identity, const char* name, std::string_view message) {
  try {
    append(log_of(identity, name), message);
  } catch (...) {  // No memory: the message is dropped and the caller goes on.
  }
}

}  // namespace

void shared_debug_log_init(const char* identity, const char* file, int max_bytes) {
  const KeepErrno keep;
  try {
    if (identity != nullptr && file != nullptr) {
      log_of(identity, file).bound = max_bytes;
    }
  } catch (...) {  // No memory: the log stays without a bound.
  }
}

// Formats in place where that is enough and on the heap where it is not, but never cuts.
void shared_debug_log_do_write_log(const char* identity, const char* file, const char* format,
                                   ...) {
  const KeepErrno keep;
  if (identity == nullptr || file == nullptr || *file == '\0' || format == nullptr) {
    return;
  }
  std::array<char, kUsualMessage> usual;
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(usual.data(), usual.size(), format, arguments);
  va_end(arguments);
  if (length <= 0) {
    return;
  }
  const auto size = static_cast<std::size_t>(length);
  if (size < usual.size()) {
    append_guarded(identity, file, {usual.data(), size});
    return;
  }
  const std::unique_ptr<char[]> whole(new (std::nothrow) char[size + 1]);
  if (whole != nullptr) {
    va_start(arguments, format);
    static_cast<void>(std::vsnprintf(whole.get(), size + 1, format, arguments));
    va_end(arguments);
    append_guarded(identity, file, {whole.get(), size});
  }
}
