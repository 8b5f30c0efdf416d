#include "journal.h"

#include <cstdarg>
#include <cstdio>

namespace radio {

void say(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  static_cast<void>(vfprintf(stderr, format, arguments));
  va_end(arguments);
  static_cast<void>(fputc('\n', stderr));
}

}  // namespace radio
