#include "base/box_files.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <utility>

#include "standin/atomic_file.h"
#include "standin/file_lock.h"

namespace lab {

namespace {

std::optional<std::string> read_whole(const UniqueFd& file) {
  struct stat status {};
  std::string text;
  if (!file.open() || fstat(file.get(), &status) != 0) {
    return std::nullopt;
  }
  if (status.st_size > static_cast<off_t>(kMaxBoxFile)) {
    errno = EFBIG;
    return std::nullopt;
  }
  return standin::read_all(file, kMaxBoxFile, text) ? std::optional(text) : std::nullopt;
}

}  // namespace

UniqueFd open_in_box(const std::string& box, const std::string& name, int flags) {
  const UniqueFd folder = standin::open_file(box.c_str(), O_PATH | O_DIRECTORY);
  open_how how{};
  how.flags = static_cast<std::uint64_t>(flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  how.mode = (flags & O_CREAT) != 0 ? standin::kPrivateFile : 0;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
  UniqueFd file(
      static_cast<int>(syscall(__NR_openat2, folder.get(), name.c_str(), &how, sizeof how)));
  struct stat status {};
  if (file.open() && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode)) {
    return file;
  }
  errno = file.open() ? EINVAL : errno;
  return UniqueFd();
}

std::optional<std::string> read_in_box(const std::string& box, const std::string& name) {
  return read_whole(open_in_box(box, name, O_RDONLY));
}

bool replace_in_box(const std::string& box, const std::string& name, std::string_view text) {
  return standin::replace_file(box + "/" + name, box + "/new", "", text, false);
}

UniqueFd lock_in_box(const std::string& box, const std::string& name) {
  UniqueFd file = open_in_box(box, name, O_RDWR | O_CREAT);
  return file.open() && standin::lock_exclusively(file) ? std::move(file) : UniqueFd();
}

std::optional<std::string> read_file(const std::string& path) {
  return read_whole(standin::open_file(path.c_str(), O_RDONLY));
}

}  // namespace lab
