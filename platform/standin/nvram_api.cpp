#include "vexo_nvram.h"

#include <cerrno>

#include "files.h"
#include "nvram_store.h"

namespace {

constexpr int kFailed = -1;

// Runs one call of the library. Nothing may be thrown across the C boundary; the only thing that
// is thrown below it is the want of memory.
template <class Result, class Call>
Result guarded(Result fallback, Call call) noexcept {
  try {
    return call();
  } catch (...) {
    errno = ENOMEM;
    return fallback;
  }
}

// 0 for a change that was made, with the caller's errno untouched.
template <class Call>
int done(Call call) noexcept {
  const int before = errno;
  const bool made = guarded(false, call);
  if (made) {
    errno = before;
  }
  return made ? 0 : kFailed;
}

}  // namespace

const char* vexoNvramConfig_get(const char* key) {
  if (key == nullptr) {
    return "";
  }
  return guarded("", [key] {
    const standin::Values& values = standin::live_values().values;
    const auto found = values.find(std::string_view(key));
    return found == values.end() ? "" : found->second.c_str();
  });
}

int vexoNvramConfig_match(const char* key, const char* value) {
  if (key == nullptr || value == nullptr) {
    return 0;
  }
  return guarded(0, [key, value] {
    const standin::Values& values = standin::live_values().values;
    const auto found = values.find(std::string_view(key));
    return found != values.end() && found->second == value ? 1 : 0;
  });
}

int vexoNvramConfig_set(const char* key, const char* value) {
  if (key == nullptr || value == nullptr) {
    errno = EINVAL;
    return kFailed;
  }
  return done([key, value] { return standin::set_value(key, value); });
}

int vexoNvramConfig_unset(const char* key) {
  if (key == nullptr) {
    errno = EINVAL;
    return kFailed;
  }
  return done([key] { return standin::remove_key(key); });
}

int vexoNvramConfig_save(void) {
  return done([] { return standin::save_values(); });
}
