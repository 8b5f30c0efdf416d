// The daemon's port seen from outside: events sent to it as the driver's forwarder does, and the
// port taken by somebody else.
#ifndef VORLENT_TESTS_EVENT_PORT_H
#define VORLENT_TESTS_EVENT_PORT_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "support/air.h"

inline sockaddr_in event_port() {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(55688);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// Returns the bound socket, or -1.
inline int take_event_port() {
  const int fd = socket(AF_INET, SOCK_DGRAM, 0);
  const sockaddr_in address = event_port();
  return bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? fd : -1;
}

// Returns how many bytes were sent.
inline long send_to_event_port(const air::Bytes& datagram) {
  static const int from = socket(AF_INET, SOCK_DGRAM, 0);
  const sockaddr_in to = event_port();
  return sendto(from, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                sizeof to);
}

#endif
