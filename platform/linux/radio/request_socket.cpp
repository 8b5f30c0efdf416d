#include "request_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "../wire/request.h"

namespace radio {

bool RequestSocket::open(const char* path, std::string& why) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (strlen(path) >= sizeof address.sun_path) {
    why = std::string(path) + ": too long for a socket's name";
    return false;
  }
  memcpy(&address.sun_path[0], path, strlen(path));
  unlink(path);
  listener_ = UniqueFd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const mode_t before = umask(0177);  // nobody else may ask, from the first moment on
  const bool bound =
      bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  umask(before);
  if (!bound || listen(listener_.get(), kClientsMax) != 0) {
    why = std::string(path) + ": " + strerror(errno);
    return false;
  }
  return true;
}

void RequestSocket::accept() {
  UniqueFd client(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!client.open()) {
    return;
  }
  if (clients_.size() == kClientsMax) {
    clients_.erase(clients_.begin());
  }
  clients_.push_back(std::move(client));
}

void RequestSocket::read(int client, const std::function<void(UniqueFd, std::string_view)>& take) {
  const auto found = std::find_if(clients_.begin(), clients_.end(),
                                  [&](const UniqueFd& it) { return it.get() == client; });
  if (found == clients_.end()) {
    return;
  }
  std::array<char, kMessageMax> message{};
  const ssize_t size = recv(client, message.data(), message.size(), MSG_TRUNC);
  UniqueFd taken = std::move(*found);
  clients_.erase(found);
  if (size > static_cast<ssize_t>(message.size())) {
    answer(taken, false, "too much text");
  } else if (size > 0) {
    take(std::move(taken), {message.data(), static_cast<std::size_t>(size)});
  }
}

void answer(const UniqueFd& client, bool done, const std::string& text) {
  const std::string message = std::string(1, done ? '\0' : '\1') + text;
  static_cast<void>(send(client.get(), message.data(), message.size(), MSG_NOSIGNAL));
}

}  // namespace radio
