#include "kept_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "own_file.h"

namespace network {

namespace {

bool copy_content(int from, int to) {
  std::array<char, 4096> block{};
  for (ssize_t size = 0; (size = read(from, block.data(), block.size())) != 0;) {
    if (size < 0 || write(to, block.data(), static_cast<std::size_t>(size)) != size) {
      return false;
    }
  }
  return true;
}

// Without it a power cut may take the new name back.
void sync_folder_of(const std::string& path) {
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  const UniqueFd opened(
      open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  static_cast<void>(fsync(opened.get()));
}

// All of it, or nothing: the file comes to its name when it is whole and on the disk.
bool replace(const std::string& from, const std::string& to) {
  const std::string part = to + ".new";
  const UniqueFd source = open_own_to_read(from.c_str());
  const UniqueFd target = create_own_file(part.c_str(), 0600);
  const bool done = source.open() && target.open() && copy_content(source.get(), target.get()) &&
                    fsync(target.get()) == 0 && rename(part.c_str(), to.c_str()) == 0;
  if (done) {
    sync_folder_of(to);
  }
  return done;
}

bool same(const struct stat& one, const struct stat& other) {
  return one.st_ino == other.st_ino && one.st_size == other.st_size &&
         one.st_mtim.tv_sec == other.st_mtim.tv_sec && one.st_mtim.tv_nsec == other.st_mtim.tv_nsec;
}

}  // namespace

KeptStore::KeptStore(std::string live, std::string kept)
    : live_(std::move(live)), kept_(std::move(kept)) {}

bool KeptStore::bring_back() const {
  struct stat unused {};
  if (lstat(live_.c_str(), &unused) == 0 || replace(kept_, live_)) {
    return true;
  }
  const int error = errno;
  if (lstat(kept_.c_str(), &unused) != 0 && errno == ENOENT) {
    static_cast<void>(open_own_file(live_.c_str(), O_WRONLY, 0600));
    return true;
  }
  // An empty one would make a new unit of an installed one, and be kept in its place.
  static_cast<void>(fprintf(stderr, "vorlent-network: %s is not brought back to %s: %s\n",
                            kept_.c_str(), live_.c_str(), strerror(error)));
  return false;
}

void KeptStore::look() {
  const std::string saved = live_ + ".saved";
  struct stat now {};
  if (lstat(saved.c_str(), &now) != 0 || same(now, seen_)) {
    return;
  }
  if (replace(saved, kept_)) {
    seen_ = now;
  } else {
    static_cast<void>(fprintf(stderr, "vorlent-network: %s: %s\n", kept_.c_str(), strerror(errno)));
  }
}

}  // namespace network
