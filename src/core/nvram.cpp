#include "core/nvram.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <span>

#include "core/log.h"
#include "core/told_failure.h"

namespace {

constexpr const char* AS_NVRAM = "nvram";

// `call` has left its reason in errno, if the platform's library gives one.
template <typename Call>
bool done(ToldFailure& told, const char* what, const char* key, Call call) {
  errno = 0;
  const int error = call() == 0 ? 0 : errno != 0 ? errno : EIO;
  if (is_news(told, error)) {
    ONBOARD_LOG_AS(AS_NVRAM, "NVRAM is not written: %s%s: %s\n", what, key, strerror(error));
  }
  return error == 0;
}

// A write that was refused; without a value it is a removal.
struct Refused {
  const char* key;
  const char* value;
};

// In the order in which they began to fail; more places than there are keys that the daemon writes.
std::array<Refused, 32> refused;
std::size_t refused_count = 0;

bool write_now(const Refused& write) {
  static ToldFailure told_set;
  static ToldFailure told_unset;
  return write.value != nullptr ? done(told_set, "set ", write.key,
                                       [=] { return vexoNvramConfig_set(write.key, write.value); })
                                : done(told_unset, "unset ", write.key,
                                       [=] { return vexoNvramConfig_unset(write.key); });
}

// The latest write of a key is the one that counts.
void forget_refused(const char* key) {
  const std::span<Refused> all(refused.data(), refused_count);
  const auto end =
      std::remove_if(all.begin(), all.end(), [=](const Refused& r) { return !strcmp(r.key, key); });
  refused_count = static_cast<std::size_t>(end - all.begin());
}

bool write_or_remember(const Refused& write) {
  forget_refused(write.key);
  const bool is_written = write_now(write);
  if (!is_written && refused_count < refused.size()) {
    refused[refused_count++] = write;
  }
  return is_written;
}

// Stops at the first that is refused again, since each waits where a lock is held. That one is the
// last next time, so that one key which is refused for good keeps no other back.
bool write_refused() {
  while (refused_count > 0 && write_or_remember(Refused(refused[0]))) {
  }
  return refused_count == 0;
}

}  // namespace

bool nvram_set(const char* key, const char* value) {
  return write_or_remember({key, value});
}

bool nvram_unset(const char* key) {
  return write_or_remember({key, nullptr});
}

bool nvram_save() {
  static ToldFailure told;
  const bool is_whole = write_refused();
  return done(told, "save", "", [] { return vexoNvramConfig_save(); }) && is_whole;
}
