// The daemon as a process: the real binary with the stand-in platform, its standard descriptors,
// its port, and surroundings that fail.
#include <linux/filter.h>
#include <linux/seccomp.h>

#include "process/process_fixture.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

// As a kernel does that is older than the call.
void refuse_close_range() {
  constexpr unsigned CLOSE_RANGE = 436;
  sock_filter rules[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                         BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, CLOSE_RANGE, 0, 1),
                         BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
                         BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog program{.len = std::size(rules), .filter = rules};
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
}

TEST_F(ProcessTest, DetachesFollowsARequestAndEndsForTheRestart) {
  nvram("set blank_state=1");
  start("0");
  await("/tmp/vorlent_dbg.log", "Default un-configured mode.\n");
  nvram("set mesh_role_manual=uncfg");
  EXPECT_EQ(end(), 0);
  EXPECT_EQ(read_file("/tmp/commands"),
            "wl add_ie 16 11 02:7E:91 0000000308020101\nwl escanresults\nvexo_service restart\n");
  EXPECT_THAT(read_file("/tmp/inherited"), Not(HasSubstr("anon_inode")));
  EXPECT_THAT(read_file("/tmp/inherited"), Not(HasSubstr("socket:")));
  EXPECT_THAT(read_file("/tmp/inherited"),
              testing::ContainsRegex("SigIgn:\t[0-9a-f]{12}[02468ace]"));
  EXPECT_THAT(read_file("/tmp/vexo_nvram.saved"), HasSubstr("restart_all_processes=1\n"));
  EXPECT_THAT(read_file("/tmp/vorlent_dbg.log"), testing::EndsWith("init failed, cleanup.\n"));
  EXPECT_THAT(read_file("/tmp/vorlent_dbg.log"), testing::StartsWith("[open_eventfd]["));
}

TEST_F(ProcessTest, ClosedStandardDescriptorsAreOpenedOnNull) {
  nvram("set blank_state=1");
  prepare_output_ = [] {
    dup2(open("/dev/null", O_RDONLY), 70);
    close(0), close(1), close(2);
  };
  start("0");
  const std::vector<std::string> files = open_files();
  EXPECT_EQ(std::count(files.begin(), files.end(), "/dev/null"), 3);
}

TEST_F(ProcessTest, WhatItWasStartedWithDoesNotMatter) {
  base_nvram();
  prepare_output_ = [] {
    dup2(open("/dev/null", O_RDWR), STDIN_FILENO);
    dup2(open("/tmp/errors", O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
    dup2(STDIN_FILENO, STDOUT_FILENO);
    dup2(STDIN_FILENO, STDERR_FILENO + 1);
    while (dup(STDOUT_FILENO) < 1015) {  // with the event socket beyond 1,023 select is lost
    }
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    umask(0);
    (void)signal(SIGCHLD, SIG_IGN);
    refuse_close_range();
  };
  ASSERT_EQ(launch(), 0);
  ASSERT_TRUE(comes_true([&] { return find_daemon() > 0; }));
  kill(daemon_, SIGUSR1);  // its handler may not stand yet
  await("/tmp/vorlent_dbg.log", "Got SIGUSR1 to push BH credential.\n");
  send_event(air::event(44, air::UNIT, air::probe_data(air::element(2))));
  await("/tmp/vorlent_dbg.log", "Receive Mesh onboarding Probe Request!!.\n");
  for (const char* read_by_others : {"/tmp/vexo_onborading.json", "/tmp/rsa_pub.pem"}) {
    EXPECT_TRUE(comes_true([&] { return access(read_by_others, F_OK) == 0; }));
    EXPECT_EQ(std::filesystem::status(read_by_others).permissions(), std::filesystem::perms{0644});
  }
  const std::vector<std::string> files = open_files();
  EXPECT_EQ(std::count(files.begin(), files.end(), "/dev/null"), 2);
  EXPECT_THAT(files, AllOf(Contains("/tmp/errors"), Not(Contains(testing::EndsWith("/fd")))));
}

TEST_F(ProcessTest, TellsAServiceManagerItsNumberAndThatItTurns) {
  sockaddr_un address{AF_UNIX, "/tmp/notify"};
  const int manager = socket(AF_UNIX, SOCK_DGRAM, 0);
  ASSERT_EQ(bind(manager, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  setenv("NOTIFY_SOCKET", "/tmp/notify", 1);
  setenv("VORLENT_PID_FILE", "/tmp/vorlent.pid", 1);
  base_nvram();
  start("5");
  long busy = 0, before = 0;  // nanoseconds
  for (int turn = 0; turn < 2; ++turn) {
    std::string told(99, '\0');
    told.resize(static_cast<std::size_t>(recv(manager, told.data(), told.size(), 0)));
    EXPECT_EQ(told, "WATCHDOG=1");
    std::istringstream times(read_file("/proc/" + std::to_string(daemon_) + "/schedstat"));
    long ran = 0, waited_to_run = 0;
    times >> ran >> waited_to_run;
    before = std::exchange(busy, ran + waited_to_run);
  }
  EXPECT_LT(busy - before, 900'000'000) << "in an idle second";
  EXPECT_EQ(read_file("/tmp/vorlent.pid"), std::to_string(daemon_) + '\n');
  close(manager);
}

TEST_F(ProcessTest, APortThatSomebodyHoldsEndsTheStart) {
  const int socket_of_another = socket(AF_INET, SOCK_DGRAM, 0);
  const int on = 1;
  setsockopt(socket_of_another, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  const sockaddr_in address = event_port_address();
  ASSERT_EQ(bind(socket_of_another, reinterpret_cast<const sockaddr*>(&address), sizeof address),
            0);
  EXPECT_EQ(launch(), EADDRINUSE);
  EXPECT_EQ(lines_with("/tmp/vorlent_dbg.log", "Unable to bind to loopback socket"), 1U);
  close(socket_of_another);
}

TEST_F(ProcessTest, ABurstOfAThousandEventsIsHandledWithoutLoss) {
  base_nvram();
  start("5");
  const air::Bytes datagram = air::event(7, air::UNIT, air::Bytes(212, 1));
  ASSERT_EQ(datagram.size(), 300U);
  kill(daemon_, SIGSTOP);  // as while a shell command holds the loop
  for (int i = 0; i < 1000; ++i) {
    send_event(datagram);
  }
  kill(daemon_, SIGCONT);
  EXPECT_TRUE(comes_true(
      [] { return lines_with("/tmp/vorlent_dbg.log", "recved event type 0x7 on wl0\n") == 1000; }));
}

TEST_F(ProcessTest, FailingSurroundingsDoNotStopIt) {
  prepare_output_ = [] {
    int ends[2];
    if (pipe(ends) == 0) {
      dup2(ends[1], STDOUT_FILENO);
      close(ends[0]), close(ends[1]);  // nobody reads what the daemon prints
    }
  };
  provide("wl", "exit 3");
  std::filesystem::remove("/tmp/bin/vexo_service");
  std::ofstream("/tmp/vexo_nvram") << "nonsense\n=\nblank_state=1\n\\\\=\\x\n"
                                   << std::string(9, '\0');
  setenv("VEXO_LOG_DIR", "/nonexistent", 1);
  start("0");
  send_event(air::event(69, air::BASE, air::scan_data({.elements = air::element(1)})));
  await("/tmp/vexo_nvram", "onboarding_role=1");
  nvram("set mesh_role_manual=uncfg");
  EXPECT_EQ(end(), 0);
  unsetenv("VEXO_LOG_DIR");
}

TEST_F(ProcessTest, AnUnreadableStoreMeansAnUnconfiguredUnit) {
  std::filesystem::create_directory("/tmp/vexo_nvram");
  ASSERT_EQ(launch(), 0);
  ASSERT_TRUE(comes_true([&] { return find_daemon() > 0; }));
  await("/tmp/commands", "wl escanresults");
}

}  // namespace
