// The driver maker's command and the socket it asks the radio's service through, which is played.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <filesystem>
#include <future>

#include "radio/request_socket.h"
#include "support/files.h"
#include "wire/request.h"

namespace {

const char* const kPath = "/tmp/radio.sock";

// The exit status, then what it printed and where.
std::string run(const std::string& arguments) {
  const int status = system((WL " " + arguments + " >/tmp/out 2>/tmp/err").c_str());
  return std::to_string(WEXITSTATUS(status)) + " " + read_file("/tmp/out") + "/" +
         read_file("/tmp/err");
}

class WlTest : public testing::Test {
 protected:
  WlTest() {
    umask(022);
    setenv("VORLENT_RADIO_SOCKET", kPath, 1);
    EXPECT_TRUE(service_.open(kPath, why_)) << why_;
  }

  // What `wl escanresults` does where the service acts so.
  std::string told(const std::function<void(const UniqueFd&)>& act) {
    auto ends = std::async(std::launch::async, [] { return run("escanresults"); });
    serve([&](UniqueFd client, std::string_view message) {
      EXPECT_EQ(radio::split(message), std::vector<std::string>{"escanresults"});
      act(client);
    });
    return ends.get();
  }

  void serve(const std::function<void(UniqueFd, std::string_view)>& take) {
    pollfd listener{.fd = service_.fd(), .events = POLLIN, .revents = 0};
    ASSERT_EQ(poll(&listener, 1, 10000), 1);
    service_.accept();
    pollfd client{.fd = service_.clients().back().get(), .events = POLLIN, .revents = 0};
    ASSERT_EQ(poll(&client, 1, 10000), 1);
    service_.read(client.fd, take);
  }

  static UniqueFd client() {
    sockaddr_un address{AF_UNIX, "/tmp/radio.sock"};
    UniqueFd made(socket(AF_UNIX, SOCK_SEQPACKET, 0));
    EXPECT_EQ(connect(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return made;
  }

  // What the service has answered, "-" if it has closed, "" if it says nothing.
  static std::string heard(const UniqueFd& by) {
    char text[99];
    const ssize_t size = recv(by.get(), text, sizeof text, MSG_DONTWAIT);
    return size < 0 ? "" : size == 0 ? "-" : std::string(text, static_cast<std::size_t>(size));
  }

  std::string why_;
  radio::RequestSocket service_;
};

TEST_F(WlTest, SaysWhatTheServiceAnswersAndWhereNoneDoes) {
  EXPECT_EQ(told([](const auto& client) { radio::answer(client, true, ""); }), "0 /");
  EXPECT_EQ(told([](const auto& client) { radio::answer(client, true, "sent"); }), "0 sent\n/");
  EXPECT_EQ(told([](const auto& client) { radio::answer(client, false, "busy"); }),
            "1 /wl: busy\n");
  EXPECT_EQ(told([](const auto&) {}), "1 /wl: the radio's service has hung up\n");
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(run("escanresults"),
            "1 /wl: the radio's service (/tmp/radio.sock): no answer within 4 seconds\n");
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
  service_ = radio::RequestSocket();
  for (int i = 0; i < 2; ++i, unlink(kPath)) {
    EXPECT_EQ(run("csa 0 5 6"), "1 /wl: the radio's service (/tmp/radio.sock): it does not run\n");
  }
  const std::string longest = "/tmp/" + std::string(103, 'x');
  setenv("VORLENT_RADIO_SOCKET", longest.c_str(), 1);
  EXPECT_EQ(run("csa 0 5 6"), "1 /wl: " + longest + ": too long for a socket's name\n");
  EXPECT_FALSE(service_.open(longest.c_str(), why_));
  EXPECT_EQ(why_, longest + ": too long for a socket's name");
  EXPECT_FALSE(service_.open("/nowhere/radio.sock", why_));
  EXPECT_EQ(why_, "/nowhere/radio.sock: No such file or directory");
  for (auto without : {+[] { setenv("VORLENT_RADIO_SOCKET", "", 1); },
                       +[] { unsetenv("VORLENT_RADIO_SOCKET"); }}) {
    without();
    EXPECT_EQ(run("csa 0 5 6"),
              "1 /wl: the radio's service (/run/vorlent/radio.sock): it does not run\n");
  }
  EXPECT_EQ(run("csa 0 5"), "2 /wl: csa takes MODE COUNT CHANNEL\n");
  EXPECT_EQ(run("--help"), std::string("0 ") + radio::kUsage + "/");
  EXPECT_EQ(run("-h"), run("--help"));
  EXPECT_EQ(run("--help up"), "2 /wl: --help: no such command; see wl --help\n");
  EXPECT_THAT(run("--version"), testing::MatchesRegex("0 wl [0-9.]+\n/"));
}

TEST_F(WlTest, NobodyKeepsTheServiceFromOthers) {
  EXPECT_EQ(std::filesystem::status(kPath).permissions(), std::filesystem::perms{0600});
  EXPECT_EQ(umask(022), 022U);
  const UniqueFd silent = client();
  std::vector<UniqueFd> others;
  for (std::size_t i = 0; i < radio::kClientsMax; ++i) {
    EXPECT_EQ(heard(silent), "");
    service_.accept();
    others.push_back(client());
  }
  service_.accept();
  service_.accept();  // nobody there
  EXPECT_EQ(heard(silent), "-");
  EXPECT_EQ(service_.clients().size(), radio::kClientsMax);

  const auto never = [](UniqueFd, std::string_view) { FAIL(); };
  const std::string most(radio::kMessageMax, 'x');
  EXPECT_GT(send(others[0].get(), (most + 'x').data(), most.size() + 1, 0), 0);
  service_.read(service_.clients()[0].get(), never);
  EXPECT_EQ(heard(others[0]), "\1too much text");
  others[1] = UniqueFd();
  service_.read(service_.clients()[0].get(), never);
  service_.read(-1, never);
  EXPECT_EQ(service_.clients().size(), radio::kClientsMax - 2);
  EXPECT_GT(send(others[2].get(), most.data(), most.size(), 0), 0);
  service_.read(service_.clients()[0].get(),
                [&](UniqueFd, std::string_view m) { EXPECT_EQ(m, most); });
  EXPECT_EQ(heard(others[2]), "-");
  EXPECT_TRUE(service_.open(kPath, why_)) << why_ << ", where one was before";
}

}  // namespace
