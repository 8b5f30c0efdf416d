// Files of a box, which belong to the program inside: it may put a link, a FIFO, a folder or ten
// gigabytes of nothing in the place of each. So a file is opened only if no part of its path leads
// out of the box and it is a regular file of its own, it is never read beyond a bound, and what is
// put there is written outside and moved in.
//
// A `box` is the unit's folder on the host, `name` a path from there. The folder itself cannot be
// seen from inside, only some of those in it. A failure leaves the reason in errno.
#ifndef LAB_BOX_FILES_H
#define LAB_BOX_FILES_H

#include <optional>
#include <string>
#include <string_view>

#include "standin/files.h"

namespace lab {

inline constexpr std::size_t kMaxBoxFile = 64U << 20U;

UniqueFd open_in_box(const std::string& box, const std::string& name, int flags);
std::optional<std::string> read_in_box(const std::string& box, const std::string& name);
// In one step, so that nobody sees half of it.
bool replace_in_box(const std::string& box, const std::string& name, std::string_view text);
// The lock that writers take turns by. Whoever holds it for two seconds keeps it.
UniqueFd lock_in_box(const std::string& box, const std::string& name);

// A file of the host.
std::optional<std::string> read_file(const std::string& path);

}  // namespace lab

#endif
