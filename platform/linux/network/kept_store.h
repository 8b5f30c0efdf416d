// NVRAM across a power cut, where its live file is in a folder that a boot empties: what is saved
// beside it is kept in another place, and comes back from there.
#ifndef PLATFORM_LINUX_NETWORK_KEPT_STORE_H
#define PLATFORM_LINUX_NETWORK_KEPT_STORE_H

#include <sys/stat.h>

#include <string>

namespace network {

class KeptStore {
 public:
  KeptStore(std::string live, std::string kept);

  // Makes the live file where there is none: of what was kept, or an empty one where nothing was.
  // False, and a line on standard error, where what was kept cannot be brought back.
  [[nodiscard]] bool bring_back() const;

  // Keeps what has been saved since the last look; what cannot be kept is tried again.
  void look();

 private:
  std::string live_;
  std::string kept_;
  struct stat seen_ {};
};

}  // namespace network

#endif
