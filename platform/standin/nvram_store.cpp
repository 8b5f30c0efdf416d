#include "nvram_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "atomic_file.h"
#include "file_lock.h"
#include "files.h"

namespace standin {

namespace {

// Far above what a unit holds; keeps a mistaken path, such as that of a disk image, out of memory.
constexpr std::size_t kMaxStore = 16U << 20U;

struct Cache {
  std::string path;
  UniqueFd file;  // The file that was parsed; closed when that was no file at all.
  struct stat status {};
  bool whole = true;  // False: only the beginning was read.
  Lookout path_look = path_lookout();
  Values values;
  Values former;  // Those before, so that a value may serve as an argument of the next call.
};

Cache& cache() {
  static auto* const instance = new Cache;  // Outlives every destructor that may still read.
  return *instance;
}

enum class Trouble { kRead, kLock, kChange, kSave, kPart, kText };

// The file that each kind of trouble was told of, until the kind is over.
std::string& told_of(Trouble kind) {
  static auto& told = *new std::array<std::string, 6>;
  return told[static_cast<std::size_t>(kind)];
}

// One line on standard error for each kind of trouble with a file: a caller that asks thousands of
// times a second must not flood it. Returns false, for the caller to pass on.
bool report(Trouble kind, const std::string& path) {
  static constexpr std::array kWords = {"read", "lock", "change", "save", "read all of"};
  if (told_of(kind) != path) {
    const KeepErrno keep;
    static_cast<void>(std::fprintf(stderr, "nvram: cannot %s %s: %s\n",
                                   kWords[static_cast<std::size_t>(kind)], path.c_str(),
                                   std::strerror(errno)));
    told_of(kind) = path;
  }
  return false;
}

bool settled(Trouble kind) {
  told_of(kind).clear();
  return true;
}

// One line for a store that some other program has written in its own way.
void remark_on(const std::string& path, std::string_view text) {
  const char* what = nullptr;
  if (text.find('\0') != std::string_view::npos) {
    what = "NUL bytes: a value ends at one; is it UTF-16?";
  } else if (text.find("\r\n") != std::string_view::npos) {
    what = "CR LF at the end of a line: the CR belongs to the value";
  }
  if (what == nullptr) {
    settled(Trouble::kText);
  } else if (told_of(Trouble::kText) != path) {
    static_cast<void>(std::fprintf(stderr, "nvram: %s: %s\n", path.c_str(), what));
    told_of(Trouble::kText) = path;
  }
}

bool same_time(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool same_file(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool unchanged(const struct stat& a, const struct stat& b) {
  return same_file(a, b) && a.st_nlink == b.st_nlink && a.st_size == b.st_size &&
         same_time(a.st_mtim, b.st_mtim) && same_time(a.st_ctim, b.st_ctim);
}

// An absent file is an empty store; every other failure is one.
bool is_absent(int error) {
  return error == ENOENT || error == ENOTDIR;
}

bool is_regular(const struct stat& status) {
  if (!S_ISREG(status.st_mode)) {
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  }
  return S_ISREG(status.st_mode);
}

// Opens the store at `path` and reads it; an absent file gives a closed descriptor and no text.
// With EFBIG, `text` is more than the beginning that a store may have.
bool read_store(const char* path, UniqueFd& file, struct stat& status, std::string& text) {
  text.clear();
  file = open_file(path, O_RDONLY | O_NONBLOCK);
  if (!file.open()) {
    return is_absent(errno);
  }
  return ::fstat(file.get(), &status) == 0 && is_regular(status) && read_all(file, kMaxStore, text);
}

bool read_text(const std::string& path, std::string& text) {
  UniqueFd file;
  struct stat status {};
  return read_store(path.c_str(), file, status, text);
}

void take(UniqueFd file, const struct stat& status, Values values) {
  Cache& kept = cache();
  kept.file = std::move(file);
  kept.status = status;
  kept.former = std::exchange(kept.values, std::move(values));
}

// A file that was replaced has lost a link, so that the open one tells of it, for half the price.
bool is_known(const char* path) {
  Cache& kept = cache();
  struct stat now {};
  if (kept.file.open() && !kept.path_look.due()) {
    return ::fstat(kept.file.get(), &now) == 0 && now.st_nlink > 0 && unchanged(now, kept.status);
  }
  if (::stat(path, &now) != 0) {
    return !kept.file.open() && is_absent(errno);
  }
  return kept.file.open() && unchanged(now, kept.status);
}

bool refresh(const char* path) {
  if (cache().path != path) {
    take(UniqueFd(), {}, {});
    cache().path = path;
  }
  if (is_known(path)) {
    return true;
  }
  UniqueFd file;
  struct stat status {};
  std::string text;
  const bool whole = read_store(path, file, status, text);
  if (!whole && errno != EFBIG) {
    return report(Trouble::kRead, path);
  }
  if (!whole) {
    static_cast<void>(report(Trouble::kPart, path));
    text.resize(kMaxStore);
    text.resize(text.rfind('\n') + 1);  // Whole lines; npos + 1 is none.
  }
  remark_on(path, text);
  take(std::move(file), status, parse_values(text));
  cache().whole = whole;
  settled(Trouble::kRead);
  return true;
}

// The owner of the store, who must be able to lock it after root has.
uid_t owner_of(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? status.st_uid : ::geteuid();
}

// The writers' lock file. Only its owner can open it: whoever else could, could hold it.
UniqueFd open_lock(const std::string& path, uid_t owner) {
  UniqueFd file = open_own(path.c_str(), O_RDONLY, owner);
  struct stat status {};
  if (file.open() && ::fstat(file.get(), &status) == 0) {
    const KeepErrno keep;
    [[maybe_unused]] int kept =
        status.st_uid == owner ? 0 : ::fchown(file.get(), owner, status.st_gid);
    kept = (status.st_mode & 0777) == kPrivateFile ? 0 : ::fchmod(file.get(), kPrivateFile);
  }
  return file;
}

// Waits for the writers' lock. The lock file may have been removed while we waited, and the next
// writer would then lock another one: only a lock on the file that stands there counts.
UniqueFd lock_store(const std::string& store) {
  const std::string path = store + ".lock";
  for (;;) {
    UniqueFd file = open_lock(path, owner_of(store));
    if (!file.open() || !lock_exclusively(file)) {
      static_cast<void>(report(Trouble::kLock, path));
      return UniqueFd();
    }
    struct stat held {};
    struct stat there {};
    if (::fstat(file.get(), &held) == 0 && ::stat(path.c_str(), &there) == 0 &&
        same_file(held, there)) {
      settled(Trouble::kLock);
      return file;
    }
  }
}

// Runs `change` of a key on the text of the store, under the lock, and puts the outcome in its
// place.
template <class Change>
bool change_store(std::string_view key, Change change) {
  const std::string path = store_path();
  if (!valid_key(key)) {
    errno = EINVAL;
    return report(Trouble::kChange, path);
  }
  const UniqueFd lock = lock_store(path);
  if (!lock.open()) {
    return false;
  }
  std::string text;
  if (!read_text(path, text)) {
    return report(Trouble::kChange, path);
  }
  const std::string changed = change(text);
  if (changed == text) {
    return true;  // Which does not show that the store can be changed.
  }
  if (changed.size() > kMaxStore) {
    errno = EFBIG;
    return report(Trouble::kChange, path);
  }
  return replace_file(path, path + ".tmp", path.c_str(), changed, false)
             ? settled(Trouble::kChange)
             : report(Trouble::kChange, path);
}

}  // namespace

Snapshot live_values() {
  const KeepErrno keep;
  const bool current = refresh(store_path());
  return {cache().values, current && cache().whole};
}

bool set_value(std::string_view key, std::string_view value) {
  return change_store(key, [&](std::string_view text) { return with_value(text, key, value); });
}

bool remove_key(std::string_view key) {
  return change_store(key, [&](std::string_view text) { return without_key(text, key); });
}

bool save_values() {
  const std::string path = store_path();
  const UniqueFd lock = lock_store(path);
  if (!lock.open()) {
    return false;
  }
  std::string text;
  return read_text(path, text) &&
                 replace_file(path + ".saved", path + ".saved.tmp", path.c_str(), text, true)
             ? settled(Trouble::kSave)
             : report(Trouble::kSave, path);
}

}  // namespace standin
