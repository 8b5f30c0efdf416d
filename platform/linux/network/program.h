// The program that makes the unit's networks, as a child that ends with us.
#ifndef PLATFORM_LINUX_NETWORK_PROGRAM_H
#define PLATFORM_LINUX_NETWORK_PROGRAM_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace network {

class Program {
 public:
  Program() = default;
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program() { stop(); }

  // Stops what runs, and starts the words' first, found on PATH.
  void start(const std::vector<std::string>& words);

  // Asks it to end, and ends it where it does not within 3 seconds.
  void stop();

  // Whether it runs; one that has ended by itself is buried by this.
  bool runs();

 private:
  pid_t pid_ = -1;
};

}  // namespace network

#endif
