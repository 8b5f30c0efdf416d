#include "core/nvram.h"

#include <cerrno>
#include <cstring>

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

}  // namespace

bool nvram_set(const char* key, const char* value) {
  static ToldFailure told;
  return done(told, "set ", key, [=] { return vexoNvramConfig_set(key, value); });
}

bool nvram_unset(const char* key) {
  static ToldFailure told;
  return done(told, "unset ", key, [=] { return vexoNvramConfig_unset(key); });
}

bool nvram_save() {
  static ToldFailure told;
  return done(told, "save", "", [] { return vexoNvramConfig_save(); });
}
