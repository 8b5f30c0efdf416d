// Where the live NVRAM store is, for the stand-in and for what keeps its saved copy over a boot.
#ifndef STANDIN_STORE_PATH_H
#define STANDIN_STORE_PATH_H

#include <cstdlib>

namespace standin {

// The path of the live file: VEXO_NVRAM, looked up at each call.
[[nodiscard]] inline const char* store_path() {
  const char* path = std::getenv("VEXO_NVRAM");
  return path != nullptr && *path != '\0' ? path : "/tmp/vexo_nvram";
}

}  // namespace standin

#endif
