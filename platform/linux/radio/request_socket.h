// The socket through which `wl` asks: one message in, one answer out, for root alone.
#ifndef PLATFORM_LINUX_RADIO_REQUEST_SOCKET_H
#define PLATFORM_LINUX_RADIO_REQUEST_SOCKET_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "unique_fd.h"

namespace radio {

inline constexpr std::size_t kClientsMax = 8;

class RequestSocket {
 public:
  [[nodiscard]] bool open(const char* path, std::string& why);
  int fd() const { return listener_.get(); }

  // Takes a client in; where there are too many, the one that has been silent longest has to go.
  void accept();

  // The clients that have not said anything yet.
  const std::vector<UniqueFd>& clients() const { return clients_; }

  // Reads the message of the client with this descriptor, which then belongs to the caller; a
  // client that has gone is forgotten.
  void read(int client, const std::function<void(UniqueFd, std::string_view)>& take);

 private:
  UniqueFd listener_;
  std::vector<UniqueFd> clients_;
};

void answer(const UniqueFd& client, bool done, const std::string& text);

}  // namespace radio

#endif
