#include "file_lock.h"

#include <sys/file.h>

#include <cerrno>
#include <ctime>

#include "files.h"

namespace standin {

bool lock_exclusively(const UniqueFd& file) {
  constexpr timespec kPause{.tv_sec = 0, .tv_nsec = 1'000'000};
  Lookout patience{CLOCK_MONOTONIC, INT64_C(2'000'000'000)};
  static_cast<void>(patience.due());
  while (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    if ((errno != EINTR && errno != EWOULDBLOCK) || patience.due()) {
      return false;
    }
    const KeepErrno keep;
    ::nanosleep(&kPause, nullptr);
  }
  return true;
}

}  // namespace standin
