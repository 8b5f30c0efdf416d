// Replacing a file so that nobody ever sees half of it, not even after a power cut.
#ifndef STANDIN_ATOMIC_FILE_H
#define STANDIN_ATOMIC_FILE_H

#include <string>
#include <string_view>

namespace standin {

// Replaces `path` by a file that holds `text`, by way of the file `temporary` in the same folder,
// which must be nobody else's at the time. A leftover of that name is removed, and so is the new
// one when anything fails; `path` is then as before. Owner and mode are those of `model`, if there
// is such a file, so that a command run by root does not lock a store's owner out.
// With `synced`, file and folder are on the disk when it returns. False leaves the reason in errno.
[[nodiscard]] bool replace_file(const std::string& path, const std::string& temporary,
                                const char* model, std::string_view text, bool synced);

}  // namespace standin

#endif
