// Files with fixed names in a folder where anybody may make files, such as /tmp.
//
// Other programs rely on the names, so whoever is there first may plant something: a link to a file
// of ours, a pipe that nobody writes, a file that he will read. Hence: no link is followed, nothing
// is waited for, and only a regular file of this user with this one name is taken. Whatever else
// stands there is removed. The daemon, the stand-in and the services of a Linux box all need that,
// so it stands below all of them.
#ifndef PLATFORM_OWN_FILE_H
#define PLATFORM_OWN_FILE_H

#include <sys/stat.h>
#include <unistd.h>

#include "unique_fd.h"

// Opens the file for reading. Returns its descriptor, closed on exec, or none with errno; nothing
// is removed.
UniqueFd open_own_to_read(const char* path);

// Opens the file with `flags`, any of those of open() but the ones that create, and makes it anew
// with `mode` where it is missing or was not ours. Returns its descriptor, closed on exec, or none
// with errno. A file of `owner` counts as ours too.
UniqueFd open_own_file(const char* path, int flags, mode_t mode, uid_t owner = geteuid());

// Makes a new file for writing in place of whatever stands there. Returns as open_own_file.
UniqueFd create_own_file(const char* path, mode_t mode);

#endif
