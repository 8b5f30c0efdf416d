// Log and shell, which everybody uses.
#include <stdio_ext.h>

#include "core/log.h"
#include "core/shell.h"
#include "support/daemon_test.h"

namespace {

class LogAndShellTest : public DaemonTest {};

TEST_F(LogAndShellTest, NothingThatAShellActsOnIsEverRun) {
  (void)printf("before the command's output");
  platform().shell = [](const std::string& /*command*/) {
    return move_clock(3), 256 + static_cast<int>(__fpending(stdout));
  };
  EXPECT_EQ(run_command("wl csa 0 5 6"), 256);
  for (const char character : std::string(";|&$`\"'\\\n<(){}*?[]#~!%")) {
    EXPECT_EQ(run_command((std::string("wl csa 0 5 6") + character).c_str()), -1) << character;
  }
  EXPECT_EQ(platform().journal, std::vector<std::string>{"$ wl csa 0 5 6"});
  EXPECT_THAT(messages(), testing::StartsWith("a command took 3 seconds: wl csa 0 5 6\n"
                                              "refuse to run a command with shell syntax: wl csa "
                                              "0 5 6;\n"));
}

}  // namespace
