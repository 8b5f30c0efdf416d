#include "atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "files.h"

namespace standin {

namespace {

bool take_owner_and_mode(const UniqueFd& file, const char* model) {
  struct stat status {};
  if (::stat(model, &status) != 0) {
    return ::fchmod(file.get(), kPrivateFile) == 0;  // whatever the umask has left of it
  }
  // Only root may give a file away; anybody else's own file is right as it is.
  [[maybe_unused]] const int given = ::fchown(file.get(), status.st_uid, status.st_gid);
  return ::fchmod(file.get(), status.st_mode & 0777) == 0;
}

bool sync_folder_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const UniqueFd opened = open_file(folder.c_str(), O_RDONLY | O_DIRECTORY);
  // EINVAL: a file system that has nothing to sync for a folder.
  return opened.open() && (::fsync(opened.get()) == 0 || errno == EINVAL);
}

bool write_temporary(const std::string& temporary, const char* model, std::string_view text,
                     bool synced) {
  const UniqueFd file = open_file(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW);
  return file.open() && take_owner_and_mode(file, model) && write_all(file, text) == text.size() &&
         (!synced || ::fsync(file.get()) == 0);
}

}  // namespace

bool replace_file(const std::string& path, const std::string& temporary, const char* model,
                  std::string_view text, bool synced) {
  if (::unlink(temporary.c_str()) != 0 && errno != ENOENT) {
    return false;
  }
  if (!write_temporary(temporary, model, text, synced) ||
      ::rename(temporary.c_str(), path.c_str()) != 0) {
    const KeepErrno keep;
    ::unlink(temporary.c_str());
    return false;
  }
  return !synced || sync_folder_of(path);
}

}  // namespace standin
