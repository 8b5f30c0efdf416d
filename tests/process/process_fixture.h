// The fixture of the tests that run the real binary: its commands are recorded in /tmp/commands,
// and whatever they find out about themselves in /tmp/inherited.
#ifndef VORLENT_TESTS_PROCESS_FIXTURE_H
#define VORLENT_TESTS_PROCESS_FIXTURE_H

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <sstream>
#include <thread>

#include "support/event_port.h"
#include "support/files.h"

// Looks again until `seen` holds, for ten seconds at the most. Returns whether it did.
inline bool comes_true(const std::function<bool()>& seen) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!seen()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

class ProcessTest : public testing::Test {
 protected:
  ProcessTest() {
    std::filesystem::create_directory("/tmp/bin");
    for (const char* name : {"wl", "vexo_service"}) {
      provide(name,
              "echo \"${0##*/} $*\" >> /tmp/commands; ls -l /proc/self/fd >> /tmp/inherited;"
              "grep SigIgn /proc/self/status >> /tmp/inherited");
    }
    setenv("PATH", (std::string("/tmp/bin:") + BUILD_DIR + ":/usr/bin:/bin").c_str(), 1);
    prctl(PR_SET_CHILD_SUBREAPER, 1);  // the detached daemon becomes ours to wait for
  }

  ~ProcessTest() override {
    if (daemon_ > 0) {
      kill(daemon_, SIGKILL);
      waitpid(daemon_, nullptr, 0);
    }
  }

  static void provide(const std::string& name, const std::string& script) {
    const std::string path = "/tmp/bin/" + name;
    std::ofstream(path) << "#!/bin/sh\n" << script << "\n";
    chmod(path.c_str(), 0755);
  }

  static void nvram(const std::string& arguments) {
    ASSERT_EQ(system((std::string(BUILD_DIR) + "/nvram " + arguments).c_str()), 0);
  }

  // Runs the program until it ends or detaches. Returns its exit status.
  int launch() const {
    const pid_t child = fork();
    if (child == 0) {
      prepare_output_();
      execl(BUILD_DIR "/vorlent", "vorlent", nullptr);
      _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  // Starts the daemon and waits until it has entered its mode.
  void start(const std::string& role) {
    ASSERT_EQ(launch(), 0);
    ASSERT_TRUE(comes_true([&] { return find_daemon() > 0; }));
    await("/tmp/vexo_nvram", "onboarding_role=" + role);
  }

  // Our one child by now: the daemon's own children may bear its name for a moment.
  pid_t find_daemon() {
    const std::string self = std::to_string(getpid());
    std::istringstream children(read_file("/proc/" + self + "/task/" + self + "/children"));
    children >> daemon_;
    return daemon_;
  }

  // What the daemon's descriptors are open on.
  std::vector<std::string> open_files() const {
    std::vector<std::string> files;
    const std::string folder = "/proc/" + std::to_string(daemon_) + "/fd";
    for (const auto& descriptor : std::filesystem::directory_iterator(folder)) {
      std::error_code closed;
      files.push_back(std::filesystem::read_symlink(descriptor, closed));
    }
    return files;
  }

  // Waits for the daemon's end. Returns its exit status.
  int end() {
    int status = -1;
    EXPECT_TRUE(comes_true([&] { return waitpid(daemon_, &status, WNOHANG) == daemon_; }));
    daemon_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  static void send_event(const air::Bytes& datagram) {
    ASSERT_EQ(send_to_event_port(datagram), static_cast<long>(datagram.size()));
  }

  static std::size_t lines_with(const std::string& path, const std::string& text) {
    const std::string all = read_file(path);
    std::size_t count = 0;
    for (std::size_t at = all.find(text); at != std::string::npos; at = all.find(text, at + 1)) {
      ++count;
    }
    return count;
  }

  // Waits until the file has the text.
  static void await(const std::string& path, const std::string& text) {
    ASSERT_TRUE(comes_true([&] { return lines_with(path, text) > 0; })) << text;
  }

  void base_nvram() { nvram("set multiap_mode=3 && nvram set enable_mesh_mode=1"); }

  pid_t daemon_ = 0;
  std::function<void()> prepare_output_ = [] { dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO); };
};

#endif
