// NVRAM as the daemon uses it: what cannot be written is told, and the daemon goes on.
//
// A setting, a removal or a save that fails is logged when it begins to fail, and again once one
// has succeeded in between: a full disk fails them all, some of them in each turn. Each returns
// whether it was done.
//
// A setting or removal that failed is written again before each save, and the save fails as long as
// one is missing: credentials come once, and the disk may have room when they are saved. So `key`
// and `value` have to stay where they are.
#ifndef VORLENT_CORE_NVRAM_H
#define VORLENT_CORE_NVRAM_H

#include "vexo_nvram.h"

// True when `key` is set and its whole value equals `value`.
inline bool nvram_is(const char* key, const char* value) {
  return vexoNvramConfig_match(key, value) != 0;
}

bool nvram_set(const char* key, const char* value);
bool nvram_unset(const char* key);
bool nvram_save();

#endif
