// The daemon's port seen from outside: events sent to it as the driver's forwarder does.
#ifndef VORLENT_TESTS_EVENT_PORT_H
#define VORLENT_TESTS_EVENT_PORT_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "support/air.h"

inline sockaddr_in event_port_address() {
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(55688);
  to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return to;
}

// Returns how many bytes were sent.
inline long send_to_event_port(const air::Bytes& datagram) {
  static const int from = socket(AF_INET, SOCK_DGRAM, 0);
  const sockaddr_in to = event_port_address();
  return sendto(from, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                sizeof to);
}

#endif
