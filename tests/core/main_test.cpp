// Start-up, the main loop and the shutdown, and the two things everybody uses: log and shell.
#include <unistd.h>

#include <csignal>

#include "core/event_socket.h"
#include "core/log.h"
#include "core/shell.h"
#include "discovery/candidate_table.h"
#include "support/daemon_test.h"
#include "support/event_port.h"

int vorlent_main();

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class MainTest : public DaemonTest {};

// Ends the loop after its first turn, which a signal to itself keeps from waiting a second.
void end_after_one_turn(const std::string& command) {
  platform().nvram["mesh_role_manual"] = "uncfg";
  if (command == "wl escanresults > /tmp/escanresults_log") {
    (void)raise(SIGUSR2);
  }
}

TEST_F(MainTest, OneTurnAndAnOrderlyEnd) {
  platform().nvram = {{"blank_state", "1"}};
  platform().on_command = end_after_one_turn;
  EXPECT_EQ(vorlent_main(), 0);
  const auto& journal = platform().journal;
  EXPECT_EQ(journal.front(), "daemon");
  EXPECT_EQ(journal[1], "debug log of vorlent in vorlent_dbg.log, at most 1048576");
  EXPECT_EQ(journal[2], "set onboarding_role=0");
  ASSERT_GE(journal.size(), 2U);
  EXPECT_EQ(journal[journal.size() - 2], "save");
  EXPECT_EQ(journal.back(), "$ vexo_service restart");
  EXPECT_EQ(std::count(journal.begin(), journal.end(), "save"), 1);
  const std::string log = messages();
  EXPECT_THAT(log, testing::StartsWith("opened loopback socket "));
  EXPECT_THAT(log, HasSubstr("Got SIGUSR2 to extend all candidate's timer...\n"));
  EXPECT_LT(log.find("eventfd: close loopback socket "), log.find("init failed, cleanup.\n"));
  EXPECT_THAT(log, testing::EndsWith("init failed, cleanup.\n"));
}

TEST_F(MainTest, BothSignalsAtOnceExtendFirstAndPushAfterwards) {
  platform().nvram = {{"multiap_mode", "3"}, {"enable_mesh_mode", "1"}};
  candidate_table[0].mac = {"02:00:00:00:00:0a"};
  candidate_table[1].mac = {"02:00:00:00:00:0b"};
  context.candidate_count = 2;
  write_file(CANDIDATE_FILE, "{}");
  platform().on_command = [](const std::string& command) {
    if (command == "cat /tmp/rsa_pub.pem") {
      (void)raise(SIGUSR1);
      (void)raise(SIGUSR1);
      (void)raise(SIGUSR2);
      platform().nvram["mesh_role_manual"] = "uncfg";
    }
  };
  EXPECT_EQ(vorlent_main(), 0);
  EXPECT_THAT(commands(), testing::IsSupersetOf({"wl actframe 02:00:00:00:00:0a 0409027e911004",
                                                 "wl actframe 02:00:00:00:00:0b 0409027e911004"}));
  const std::string log = platform().log;
  const std::size_t extended = log.find("Got SIGUSR2 to extend all candidate's timer...\n");
  const std::size_t pushed = log.find("Got SIGUSR1 to push BH credential.\n");
  EXPECT_LT(extended, pushed);
  EXPECT_EQ(log.find("Got SIGUSR1", pushed + 1), std::string::npos);
  EXPECT_THAT(log, testing::ContainsRegex(
                       "\\[sig_handler\\]\\[[0-9]+\\]Got SIGUSR1 to push BH credential"));
  EXPECT_EQ(context.candidate_count, 0);
  EXPECT_NE(access(CANDIDATE_FILE, F_OK), 0);
}

TEST_F(MainTest, AFailedStartReturnsTheErrorAndTouchesNothing) {
  const int other = take_event_port();
  ASSERT_GE(other, 0);
  EXPECT_EQ(vorlent_main(), EADDRINUSE);
  EXPECT_TRUE(platform().journal.empty());
  EXPECT_THAT(messages(), testing::EndsWith("init failed, cleanup.\n"));
  close(other);
}

TEST_F(MainTest, ADaemonThatCannotDetachEndsWithStatusZero) {
  platform().on_daemon = [] { return -1; };
  EXPECT_EQ(vorlent_main(), 0);
  EXPECT_THAT(platform().journal, ElementsAre("daemon"));
  EXPECT_THAT(messages(), HasSubstr("err from daemonize.\neventfd: close loopback socket "));
  EXPECT_THAT(messages(), testing::EndsWith("init failed, cleanup.\n"));
}

TEST_F(MainTest, TheLogGoesToTheConsoleOnlyWhileAskedFor) {
  onboard_log("somebody", 7, "value %d\n", 42);
  EXPECT_EQ(platform().log, "[somebody][7]value 42\n");
  EXPECT_EQ(printed(), "");
  platform().nvram["vorlent_dbg"] = "1";
  onboard_log("somebody", 8, "%s\n", std::string(4100, 'x').c_str());
  onboard_log_bare("bare", "\n");
  EXPECT_EQ(printed(), "[onboarding][somebody][8]" + std::string(4100, 'x') + "\nbare\n");
  platform().nvram["vorlent_dbg"] = "10";
  onboard_log("somebody", 9, "unseen\n");
  EXPECT_EQ(printed(), "");
  EXPECT_THAT(platform().log, testing::EndsWith("\nbare\n[somebody][9]unseen\n"));
}

TEST_F(MainTest, NothingThatAShellActsOnIsEverRun) {
  platform().command_status = 256;
  EXPECT_EQ(run_command("wl csa 0 5 6"), 256);
  for (const char character : std::string(";|&$`\"'\\\n<(){}*?[]#~!%")) {
    EXPECT_EQ(run_command((std::string("wl csa 0 5 6") + character).c_str()), -1) << character;
  }
  EXPECT_THAT(commands(), ElementsAre("wl csa 0 5 6"));
  EXPECT_THAT(messages(), HasSubstr("refuse to run a command with shell syntax: wl csa 0 5 6;\n"));
}

}  // namespace
