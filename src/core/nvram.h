// The one question that the daemon asks of a setting.
#ifndef VORLENT_CORE_NVRAM_H
#define VORLENT_CORE_NVRAM_H

#include "vexo_nvram.h"

// True when `key` is set and its whole value equals `value`.
inline bool nvram_is(const char* key, const char* value) {
  return vexoNvramConfig_match(key, value) != 0;
}

#endif
