// The live NVRAM store: one text file that all processes of the unit share, and this process's
// parsed copy of it.
//
// - Reading costs one stat while the file is unchanged: no parsing, no allocation. The file that
//   was parsed is kept open, so that its inode number cannot come back on another file; a
//   replaced file therefore always differs in device and inode, and one that was edited in place
//   differs in size or times. (Of two edits in place within one tick of the file system's clock
//   that keep the size, the second may go unseen. Writers replace the file.)
// - Writers take turns through a lock on `<path>.lock`, read the file anew under it, and replace
//   it by way of `<path>.tmp`. The lock is the kernel's, so a killed writer leaves nothing behind
//   but that temporary file, which the next writer removes. The lock file is its owner's alone, and
//   a wait for it ends after 2 seconds.
// - A file that is there but cannot be read leaves the values last known in force, and is never
//   written over: what it holds would be lost.
// - The live file is not synced. `<path>.saved` is the copy that outlives a power cut; nothing
//   here reads it back. Whoever plays the boot copies it to `<path>`.
// - Not for several threads: a value is handed out until the next call. Not for signal handlers.
#ifndef STANDIN_NVRAM_STORE_H
#define STANDIN_NVRAM_STORE_H

#include <string_view>

#include "nvram_text.h"
#include "store_path.h"

namespace standin {

struct Snapshot {
  const Values& values;  // Stays as it is until the call after the next.
  bool current;          // False: those last known, or what could be read.
};
[[nodiscard]] Snapshot live_values();

// Each returns false, with the reason in errno and on standard error, when the store could not be
// changed or saved. It then is as it was before.
[[nodiscard]] bool set_value(std::string_view key, std::string_view value);
[[nodiscard]] bool remove_key(std::string_view key);
[[nodiscard]] bool save_values();

}  // namespace standin

#endif
