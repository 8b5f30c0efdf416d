// The lock by which programs take turns at a file.
#ifndef STANDIN_FILE_LOCK_H
#define STANDIN_FILE_LOCK_H

#include "unique_fd.h"

namespace standin {

// Waits up to 2 seconds for the exclusive lock of an open file, so that nobody who holds it stops
// us for good; it goes with the descriptor. False leaves the reason in errno.
[[nodiscard]] bool lock_exclusively(const UniqueFd& file);

}  // namespace standin

#endif
