#include "core/log.h"

#include <array>
#include <cstdarg>
#include <cstdio>

#include "core/nvram.h"
#include "shared_debug_log.h"

namespace {

bool wanted_on_stdout() {
  return nvram_is("vorlent_dbg", "1");
}

}  // namespace

void onboard_log(const char* func, int line, const char* format, ...) {
  std::array<char, 8192> text;
  va_list arguments;
  va_start(arguments, format);
  if (vsnprintf(text.data(), text.size(), format, arguments) < 0) {
    text[0] = '\0';
  }
  va_end(arguments);

  shared_debug_log_do_write_log(LOG_IDENTITY, LOG_FILE, "[%s][%d]%s", func, line, text.data());
  if (wanted_on_stdout()) {
    (void)printf("[onboarding][%s][%d]%s", func, line, text.data());
  }
}

void onboard_log_bare(const char* text, const char* end) {
  shared_debug_log_do_write_log(LOG_IDENTITY, LOG_FILE, "%s%s", text, end);
  if (wanted_on_stdout()) {
    (void)printf("%s%s", text, end);
  }
}
