#include "shared_debug_log.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "standin_folder.h"
#include "vexo_nvram.h"

using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

struct DebugLog : StandinFolder {
  DebugLog() { shared_debug_log_init("me", "log", 0); }
  static void log(const std::string& text) {
    shared_debug_log_do_write_log("me", "log", "%s", text.c_str());
  }
  std::string path = folder + "/log";
};

TEST_F(DebugLog, AppendsWholeMessagesAsTheyStand) {
  log("");
  EXPECT_FALSE(std::filesystem::exists(path));
  write_file(path, "old\n");
  errno = ENOENT;
  shared_debug_log_init(nullptr, "other", 1);
  shared_debug_log_init("other", nullptr, 1);
  void (*const write)(const char*, const char*, const char*, ...) = shared_debug_log_do_write_log;
  for (const auto& [identity, file, format] :
       {std::tuple<const char*, const char*, const char*>(nullptr, "log", "x"),
        {"me", nullptr, "x"},
        {"me", "", "x"},
        {"me", "log", nullptr}}) {
    write(identity, file, format);
  }
  shared_debug_log_do_write_log("me", "log", "%d%% %m|", 7);
  EXPECT_EQ(errno, ENOENT);
  std::string large(200000, 'x');
  log(large);
  for (const std::size_t usual : {2047U, 2048U, 2049U}) {
    log(std::string(usual, 'u'));
    large.append(usual, 'u');
  }
  write_file(folder + "/other", "kept");
  testing::internal::CaptureStderr();
  rlimit room{};
  getrlimit(RLIMIT_NOFILE, &room);
  const rlimit none{.rlim_cur = 0, .rlim_max = room.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  log("\n");  // without a descriptor more: the file is opened once
  shared_debug_log_do_write_log("me", "other", "+");
  shared_debug_log_do_write_log("me", "absent", "+");
  setrlimit(RLIMIT_NOFILE, &room);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "cannot write " + folder + "/other: Too many open files\ncannot write " + folder +
                "/absent: Too many open files\n");
  shared_debug_log_do_write_log("me", "other", "+");
  EXPECT_EQ(read_file(folder + "/other"), "kept+");
  EXPECT_EQ(read_file(path), "old\n7% No such file or directory|" + large + "\n");
}

TEST_F(DebugLog, RollsOverAtItsBoundAndLosesNothing) {
  shared_debug_log_init("me", "log", 1000);
  std::string current;
  std::string former;
  for (int i = 0; i < 300; ++i) {
    const std::string message =
        std::to_string(i) + std::string(static_cast<std::size_t>(i * 37 % 1100), '.') + '\n';
    if (!current.empty() && current.size() + message.size() > 1000) {
      former = std::exchange(current, "");
    }
    current += message;
    log(message);
    ASSERT_EQ(read_file(path), current) << i;
    ASSERT_EQ(read_file(path + ".1"), former) << i;
  }
  std::filesystem::remove(path + ".1");
  std::filesystem::create_directory(path + ".1");
  testing::internal::CaptureStderr();
  log(std::string(1000, '!'));
  log(std::string(1000, '!'));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "cannot write " + path + ": Is a directory\n");
  EXPECT_EQ(read_file(path), current);
  EXPECT_EQ((shell("flock -n " + path + " true"), status), 0) << "others may write on";
  std::filesystem::remove(path + ".1");
  log(std::string(1000, '!'));
  EXPECT_EQ(read_file(path), std::string(1000, '!'));
  std::filesystem::remove(path + ".1");
  std::filesystem::create_directory(path + ".1");
  testing::internal::CaptureStderr();
  log("?");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "cannot write " + path + ": Is a directory\n")
      << "told again";
}

TEST_F(DebugLog, AForeignLockDelaysTheRollOverOnceAndLosesNothing) {
  shared_debug_log_init("me", "log", 10);
  log("1234567890");
  shell("flock " + path + " sleep 9 & sleep 0.1");
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < 4; ++i) {
    log("abcdefghij");
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
  EXPECT_EQ(read_file(path) + read_file(path + ".1"), "abcdefghijabcdefghij");
}

TEST_F(DebugLog, KeepsItsBoundBesideAnotherProcess) {
  shared_debug_log_init("me", "log", 100000);
  for (int i = 0; i < 100; ++i) {
    log("+");
    const int other = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    const std::string most(99997, '.');
    EXPECT_EQ(::write(other, most.data(), most.size()), 99997);
    log("+");
    EXPECT_EQ(::write(other, "+", 1), 1);  // Within microseconds of the last look at the file.
    log("!");
    ASSERT_EQ(read_file(path), "!");
    ::close(other);
    std::filesystem::remove(path);
  }
}

TEST_F(DebugLog, ComesBackAfterEveryTrouble) {
  const auto writes_to = [&](const std::string& file) {
    log("+");
    const std::string text = read_file(file);
    return !text.empty() && text.back() == '+';
  };
  EXPECT_TRUE(writes_to(path));
  std::filesystem::remove(path);
  while (!writes_to(path)) {  // Comes true within microseconds.
  }
  std::filesystem::rename(path, path + ".moved");
  while (!writes_to(path)) {  // Comes true with the clock's next tick.
  }
  std::filesystem::remove(path);
  for (const std::string plant : {"mkfifo ", "touch victim; ln victim ", "ln -s victim "}) {
    shell("cd " + folder + "; rm -f log; " + plant + "log");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // The clock's next tick.
    EXPECT_TRUE(writes_to(path)) << plant;
    EXPECT_EQ(read_file(folder + "/victim"), "") << plant;
  }
  ::setenv("VEXO_LOG_DIR", "", 1);
  EXPECT_TRUE(writes_to("/tmp/log"));
  ::unsetenv("VEXO_LOG_DIR");
  EXPECT_TRUE(writes_to("/tmp/log"));
  EXPECT_EQ(read_file("/tmp/log"), "++");
  std::filesystem::remove("/tmp/log");
  ::setenv("VEXO_LOG_DIR", (folder + "/later").c_str(), 1);
  errno = EXDEV;
  log("nowhere");
  EXPECT_EQ(errno, EXDEV);
  std::filesystem::create_directory(folder + "/later");
  EXPECT_TRUE(writes_to(folder + "/later/log"));
}

TEST_F(DebugLog, DropsWholeMessagesOnly) {
  log("1234567890");
  on_disk_of(15, [] { log("abcdefghij"); });
  log("+");
  EXPECT_EQ(read_file(path), "1234567890+");
}

TEST_F(DebugLog, LeavesNoDescriptorToCommandsAndNoneInTheStandardOnesPlace) {
  const auto use = [] {
    log("+");
    vexoNvramConfig_set("a", "1");
    vexoNvramConfig_get("a");
  };
  for (const int first : {0, 2}) {
    if (::fork() == 0) {
      const auto closed = [](int file) { return ::close(file) != 0; };
      closed(2), closed(first), use();
      _exit(closed(2) && closed(first) ? 0 : 1);
    }
    ::wait(&status);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(read_file(path) + read_file(store), "++a=1\n");
  use();
  EXPECT_THAT(shell("ls -l /proc/self/fd"), Not(AnyOf(HasSubstr("/log"), HasSubstr("/nvram"))));
}
