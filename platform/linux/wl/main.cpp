// The driver maker's command as the daemon calls it: words to the radio's service, its answer back.
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "../places.h"
#include "../wire/request.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUse = 2;
// Of 5 seconds, which nothing here takes longer than: to be let in, to ask, and to be answered.
constexpr timeval kToAsk{.tv_sec = 0, .tv_usec = 500000};
constexpr timeval kToAnswer{.tv_sec = 4, .tv_usec = 0};

int complain(const std::string& text, int status) {
  static_cast<void>(fprintf(stderr, "wl: %s\n", text.c_str()));
  return status;
}

int complain_of(const char* path) {
  const bool absent = errno == ENOENT || errno == ECONNREFUSED;
  const char* why = errno == EAGAIN ? "no answer within 4 seconds"
                    : absent        ? "it does not run"
                                    : strerror(errno);
  return complain(std::string("the radio's service (") + path + "): " + why, kFailed);
}

// The answer is the exit status as one byte, then text.
int print_answer(const char* answer, std::size_t size) {
  const bool done = answer[0] == '\0';
  FILE* stream = done ? stdout : stderr;
  if (size > 1) {
    static_cast<void>(
        fprintf(stream, "%s%.*s\n", done ? "" : "wl: ", static_cast<int>(size - 1), answer + 1));
  }
  return done ? 0 : kFailed;
}

int ask(const std::vector<std::string>& words) {
  const char* named = getenv("VORLENT_RADIO_SOCKET");
  const char* path = named == nullptr || *named == '\0' ? kRadioSocket : named;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (strlen(path) >= sizeof address.sun_path) {
    return complain(std::string(path) + ": too long for a socket's name", kFailed);
  }
  memcpy(&address.sun_path[0], path, strlen(path));
  const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &kToAnswer, sizeof kToAnswer);
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &kToAsk, sizeof kToAsk);
  const std::string message = radio::join(words);
  char answer[radio::kMessageMax];
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      send(fd, message.data(), message.size(), MSG_NOSIGNAL) < 0) {
    return complain_of(path);
  }
  const ssize_t size = recv(fd, &answer[0], sizeof answer, 0);
  if (size < 0) {
    return complain_of(path);
  }
  return size == 0 ? complain("the radio's service has hung up", kFailed)
                   : print_answer(&answer[0], static_cast<std::size_t>(size));
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.size() == 1 && (words[0] == "--help" || words[0] == "-h")) {
    return fputs(radio::kUsage, stdout) < 0 ? kFailed : 0;
  }
  if (words.size() == 1 && words[0] == "--version") {
    return puts("wl " VORLENT_VERSION) < 0 ? kFailed : 0;
  }
  const radio::Request request = radio::read_request(words);
  if (request.wish == radio::Wish::none) {
    return complain(request.wrong, kWrongUse);
  }
  return ask(words);
}
