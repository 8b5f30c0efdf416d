#include "vexo_nvram.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <new>
#include <optional>

#include "shared_debug_log.h"
#include "standin_folder.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// Root's tests have no other user's files: here they pretend to.
static std::optional<uid_t> owner_of_all;
static std::vector<uid_t> given_to;
extern "C" int __real_stat(const char* path, struct stat* status);
extern "C" int __wrap_stat(const char* path, struct stat* status) {
  const int result = __real_stat(path, status);
  status->st_uid = owner_of_all.value_or(status->st_uid);
  return result;
}
extern "C" int __wrap_fchown(int /*file*/, uid_t owner, gid_t /*group*/) {
  given_to.push_back(owner);
  return 0;
}

// What each of the next calls ends with, and what was synced.
static std::vector<int> sync_errors;
static std::vector<std::string> synced;
extern "C" int __wrap_fsync(int file) {
  errno = synced.size() < sync_errors.size() ? sync_errors[synced.size()] : 0;
  synced.push_back(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file)));
  return errno == 0 ? 0 : -1;
}
// Any write may take less than it was asked to.
static std::size_t most_at_once = SIZE_MAX;
extern "C" ssize_t __real_write(int file, const void* bytes, std::size_t count);
extern "C" ssize_t __wrap_write(int file, const void* bytes, std::size_t count) {
  return __real_write(file, bytes, std::min(count, most_at_once));
}
static bool has_memory = true;
void* operator new(std::size_t size) {
  void* made = has_memory ? std::malloc(size) : nullptr;
  return made == nullptr ? throw std::bad_alloc() : made;
}
void operator delete(void* made) noexcept {
  std::free(made);
}
void operator delete(void* made, std::size_t /*size*/) noexcept {
  std::free(made);
}

struct Nvram : StandinFolder {
  std::string command(const std::string& arguments) { return shell(NVRAM_COMMAND " " + arguments); }
};

TEST_F(Nvram, KeepsWholeValuesAndAbsence) {
  EXPECT_STREQ(vexoNvramConfig_get("key"), "");
  EXPECT_EQ(vexoNvramConfig_match("key", ""), 0);
  for (const std::string value : {"", "a b=c", "\\n\n\r\\"}) {
    most_at_once = value.empty() ? SIZE_MAX : 3;
    ASSERT_EQ(vexoNvramConfig_set("key", value.c_str()), 0);
    EXPECT_STREQ(vexoNvramConfig_get("key"), value.c_str());
    EXPECT_EQ(vexoNvramConfig_match("key", value.c_str()), 1);
    EXPECT_EQ(vexoNvramConfig_match("key", (value + "x").c_str()), 0);
  }
  most_at_once = SIZE_MAX;
  EXPECT_EQ(vexoNvramConfig_match("key", "\\n"), 0);
  EXPECT_EQ(vexoNvramConfig_match("key", nullptr) + vexoNvramConfig_match(nullptr, ""), 0);
  EXPECT_STREQ(vexoNvramConfig_get(nullptr), "");
  EXPECT_EQ(vexoNvramConfig_unset("key"), 0);
  EXPECT_EQ(vexoNvramConfig_match("key", ""), 0);
  EXPECT_EQ(read_file(store), "");
  EXPECT_EQ(vexoNvramConfig_unset("key"), 0);
  for (const char* wrong : {static_cast<const char*>(nullptr), "", "a=b", "a\nb"}) {
    errno = EXDEV;
    EXPECT_EQ(vexoNvramConfig_set(wrong, "2") + vexoNvramConfig_unset(wrong), -2);
    EXPECT_EQ(errno, EINVAL);
  }
  errno = 0;
  EXPECT_EQ(vexoNvramConfig_set("key", nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(vexoNvramConfig_unset("key"), 0);
  EXPECT_EQ(errno, EINVAL) << "left alone by what succeeds";
  EXPECT_EQ(read_file(store), "");
}

TEST_F(Nvram, GivesNothingWhereThereIsNoMemoryAndGoesOn) {
  const std::string large(9999, 'x');
  vexoNvramConfig_set("key", "1");
  has_memory = false;
  const std::string_view got = vexoNvramConfig_get("key");
  const std::array results = {vexoNvramConfig_match("key", "1"), vexoNvramConfig_save(),
                              vexoNvramConfig_set("key", "2"), vexoNvramConfig_unset("key")};
  const int error = errno;
  shared_debug_log_init("no", "memory", 1);
  shared_debug_log_do_write_log("no", "memory", "+");
  shared_debug_log_do_write_log("me", "log", "%s", large.c_str());
  has_memory = true;
  EXPECT_EQ(got, "");
  EXPECT_EQ(results, (std::array{0, -1, -1, -1}));
  EXPECT_EQ(error, ENOMEM);
  EXPECT_EQ(vexoNvramConfig_match("key", "1"), 1);
  EXPECT_EQ(read_file(folder + "/log"), "");
}

TEST_F(Nvram, AnUnchangedStoreIsNotWrittenAgain) {
  vexoNvramConfig_set("a", "1");
  const std::string stands = shell("stat -c %i.%z " + store);
  EXPECT_EQ(vexoNvramConfig_set("a", "1") + vexoNvramConfig_unset("b"), 0);
  EXPECT_EQ(shell("stat -c %i.%z " + store), stands);
}

TEST_F(Nvram, SeesEveryChangeAtTheNextCall) {
  vexoNvramConfig_set("a", "1");
  command("set a=2");
  EXPECT_EQ(vexoNvramConfig_match("a", "2"), 1);
  for (int i = 0; i < 200; ++i) {  // Many within one tick of the clock, all of one size.
    const std::string value(1, static_cast<char>('a' + i % 26));
    const char* before = vexoNvramConfig_get("b");
    write_file(store + ".new", std::string("a=").append(value).append("\nb=").append(value));
    std::filesystem::rename(store + ".new", store);
    ASSERT_EQ(vexoNvramConfig_match("a", before), 0);  // Its text is valid until the call is over.
    ASSERT_EQ(vexoNvramConfig_get("a"), value);
  }
  shell("flock " + store + ".lock timeout 0.1 " NVRAM_COMMAND " set a='not yet'");
  EXPECT_EQ(read_file(store), "a=r\nb=r");
  write_file(store, "a=edited in place\n");
  EXPECT_STREQ(vexoNvramConfig_get("a"), "edited in place");
  std::filesystem::remove(store);
  EXPECT_STREQ(vexoNvramConfig_get("a"), "");
}

// A store through a mapping changes neither size nor times on the memory file system of /tmp, so
// that nobody who does not read the file again can know of it.
TEST_F(Nvram, DoesNotReadAnUnchangedFileAgain) {
  write_file(store, "a=1\n");
  const int file = ::open(store.c_str(), O_RDWR | O_CLOEXEC);
  auto* text = static_cast<char*>(::mmap(nullptr, 4, PROT_WRITE, MAP_SHARED, file, 0));
  text[2] = '1';  // The page is in place before the store is read.
  ASSERT_EQ(vexoNvramConfig_match("a", "1"), 1);
  text[2] = '2';
  ASSERT_EQ(read_file(store), "a=2\n");
  for (const clock_t begin = ::clock(); ::clock() - begin < CLOCKS_PER_SEC / 50;) {
    ASSERT_EQ(vexoNvramConfig_match("a", "1"), 1);
  }
  ::futimens(file, nullptr);
  EXPECT_EQ(vexoNvramConfig_match("a", "2"), 1);
  ::munmap(text, 4);
  ::close(file);
}

TEST_F(Nvram, SavesAllOrLosesNothing) {
  vexoNvramConfig_set("a", "1\n");
  EXPECT_EQ(vexoNvramConfig_save(), 0);
  const std::string large(5000, 'x');
  testing::internal::CaptureStderr();
  on_disk_of(4096, [&] {
    EXPECT_NE(vexoNvramConfig_set("b", large.c_str()), 0);
    EXPECT_NE(vexoNvramConfig_set("b", large.c_str()), 0);
  });
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "nvram: cannot change " + store + ": File too large\n");
  EXPECT_EQ(read_file(store), "a=1\\n\n");
  vexoNvramConfig_set("b", large.c_str());
  on_disk_of(4096, [] { EXPECT_NE(vexoNvramConfig_save(), 0); });
  EXPECT_EQ(read_file(store + ".saved"), "a=1\\n\n");
  EXPECT_THAT(shell("ls " + folder), Not(HasSubstr("tmp")));
  shell("cd " + folder + "; VEXO_NVRAM=nvram " NVRAM_COMMAND " commit");
  EXPECT_EQ(read_file(store + ".saved"), read_file(store));
  EXPECT_EQ(status, 0);
  shell("cd " + folder + "; mkfifo pipe; mkdir none; ln -s /proc/self/mem broken; ln -s loop loop");
  for (const char* name : {"/none", "/missing/nvram", "/pipe", "/broken", "/loop"}) {
    const std::string path = folder + name;
    ::setenv("VEXO_NVRAM", path.c_str(), 1);
    errno = EXDEV;
    EXPECT_STREQ(vexoNvramConfig_get("a"), "") << path;
    EXPECT_EQ(errno, EXDEV);
    EXPECT_NE(vexoNvramConfig_set("a", "1"), 0) << path;
    EXPECT_NE(vexoNvramConfig_save(), 0) << path;
  }
}

TEST_F(Nvram, OnlyWhatIsSavedGoesToTheDisk) {
  synced.clear();
  umask(0777);
  vexoNvramConfig_set("a", "1");
  umask(022);
  EXPECT_EQ(std::filesystem::status(store).permissions(), std::filesystem::perms{0600});
  EXPECT_THAT(synced, testing::IsEmpty());
  const std::vector<std::string> both = {store + ".saved.tmp", folder};
  using Errors = std::vector<int>;
  for (const auto& [errors, saved] :
       {std::pair(Errors{EINVAL}, -1), {Errors{0, EIO}, -1}, {Errors{0, EINVAL}, 0}}) {
    synced.clear();
    sync_errors = errors;
    EXPECT_EQ(vexoNvramConfig_save(), saved);
    EXPECT_TRUE(std::equal(synced.begin(), synced.end(), both.begin()));
    EXPECT_EQ(synced.size(), errors.size());
  }
}

TEST_F(Nvram, GivesWhatCanBeReadOfAnyFileAndSaysWhatCannot) {
  const std::pair<std::string, std::string> cases[] = {
      {"a=1\r\nb=2\n", "CR LF"},
      {std::string("\xff\xfe"
                   "a\0=\0"
                   "1\0\nb=2\n",
                   13),
       "NUL bytes"},
      {"b=2\n" + std::string(17 << 20, 'x'), "cannot read all of"}};
  for (const auto& [text, line] : cases) {
    write_file(store, text);
    EXPECT_THAT(command("get b"), testing::AllOf(HasSubstr(line), testing::EndsWith("2\n")));
  }
  EXPECT_EQ(vexoNvramConfig_set("b", "3"), -1);
  write_file(store, "b=2\n" + std::string((16 << 20) - 4, 'x'));
  EXPECT_EQ(command("get b"), "2\n") << "at its bound";
  errno = 0;
  EXPECT_EQ(vexoNvramConfig_set("b", "33"), -1);
  EXPECT_EQ(errno, EFBIG);
  shell("{ printf x >>" + store + "; }");
  EXPECT_THAT(command("get b"), HasSubstr("cannot read all of")) << "above it";
  std::filesystem::resize_file(store, 16 << 20);
  EXPECT_EQ(vexoNvramConfig_set("b", "3"), 0);
}

TEST_F(Nvram, SaysOfEachTroubleOnceUntilItIsOver) {
  const std::string lock = store + ".lock";
  auto change = [value = 0]() mutable {
    return vexoNvramConfig_set("a", std::to_string(++value).c_str());
  };
  std::string lines;
  testing::internal::CaptureStderr();
  for (int i = 0; i < 2; ++i) {
    for (const char* text : {"b=1\r\n", "b=1\r\n\n", "b=1\n"}) {
      write_file(store, text);
      vexoNvramConfig_get("b");
    }
    lines += "nvram: " + store + ": CR LF at the end of a line: the CR belongs to the value\n";
    for (const std::string& obstacle : {store, lock}) {
      std::filesystem::remove(obstacle);
      std::filesystem::create_directory(obstacle);
      for (int times = 0; times < 2; ++times) {
        vexoNvramConfig_get("b");
        EXPECT_EQ(change() + vexoNvramConfig_save(), -2);
      }
      std::filesystem::remove(obstacle);
      EXPECT_EQ(change() + vexoNvramConfig_save(), 0);
      EXPECT_STREQ(vexoNvramConfig_get("b"), "");
    }
    for (const std::string& line :
         {"read " + store, "change " + store, "save " + store, "lock " + lock}) {
      lines += "nvram: cannot " + line + ": Is a directory\n";
    }
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), lines);
}

TEST_F(Nvram, AReplacedStoreIsAsItsOwnerMadeIt) {
  vexoNvramConfig_set("a", "1");
  std::filesystem::permissions(store, std::filesystem::perms{0640});
  owner_of_all = 1234;
  given_to.clear();
  EXPECT_EQ(vexoNvramConfig_set("a", "2") + vexoNvramConfig_save(), 0);
  EXPECT_EQ(shell("stat -c %a " + store + ' ' + store + ".saved"), "640\n640\n");
  owner_of_all.reset();
  EXPECT_EQ(given_to, std::vector<uid_t>(4, 1234)) << "the store, its copy, and twice their lock";
}

TEST_F(Nvram, NobodyElseStopsAWriterForGood) {
  std::filesystem::create_symlink(folder + "/victim", store + ".lock");
  EXPECT_EQ(vexoNvramConfig_set("a", "1"), 0);
  EXPECT_EQ(shell("{ stat -c %a " + store + ".lock; ls " + folder + "; }"),
            "600\nnvram\nnvram.lock\nprinted\n");
  const auto locked_by = [&](const std::string& what) {
    const std::string taken = folder + "/taken";
    shell("rm -f " + taken + "; flock " + store + ".lock sh -c 'echo >" + taken + "; " + what +
          "' & until [ -e " + taken + " ]; do sleep 0.01; done");
  };
  locked_by("sleep 0.2; rm " + store + ".lock; sleep 0.1");
  EXPECT_EQ(vexoNvramConfig_set("a", "3"), 0);
  EXPECT_TRUE(std::filesystem::exists(store + ".lock")) << "what others would lock";
  locked_by("exec sleep 9");
  EXPECT_THAT(command("set a=2"), HasSubstr("cannot lock " + store + ".lock: "));
  EXPECT_EQ(vexoNvramConfig_save(), -1);
}

TEST_F(Nvram, CommandDoesWhatItSays) {
  ::setenv("VEXO_RESTART_HOOK", "/bin/false", 1);
  const char* cases[][2] = {
      // Arguments, and what is printed, with the exit status at the end.
      {"get b", "\n0"},
      {"set 'b=x y\\'", "0"},
      {"set a=", "0"},
      {"get b", "x y\\\n0"},
      {"show", "a=\nb=x y\\\\\n0"},
      {"unset a", "0"},
      {"show", "b=x y\\\\\n0"},
      {"commit", "0"},
      {"restart", "1"},
  };
  for (const auto& [arguments, printed] : cases) {
    EXPECT_EQ(command(arguments).append(std::to_string(status)), printed) << arguments;
  }
  EXPECT_EQ(read_file(store + ".saved"), "b=x y\\\\\n");
  for (const auto& [wrong, why] :
       {std::pair("", "a command is missing"),
        {"got", "there is no command 'got'"},
        {"get", "get takes one argument, KEY, and here are 0"},
        {"set a", "set needs KEY=VALUE, and there is no '=' in 'a'"},
        {"set =1", "a key must not be empty and must not contain a line feed"},
        {"unset a=1", "a key must not be empty and must not contain '=' or a line feed"},
        {"show a", "show takes no argument, and here is 'a'"},
        {"get a b", "get takes one argument, KEY, and here are 2 (quote a value with spaces)"}}) {
    EXPECT_THAT(command(wrong), StartsWith(std::string("nvram: ") + why + "\n\nUsage: nvram "));
    EXPECT_EQ(status, 2) << wrong;
  }
  EXPECT_THAT(command("--version"), testing::MatchesRegex("nvram [0-9.]+\n"));
  EXPECT_EQ(command("-h"), command("--help"));
  for (const std::string known : {"get KEY ", "set KEY=VALUE ", "unset KEY ", "show ", "commit ",
                                  "restart ", "--help, --version\n"}) {
    EXPECT_THAT(command("--help"), HasSubstr("\n  " + known));
  }
  ::setenv("VEXO_RESTART_HOOK", "/nowhere", 1);
  EXPECT_EQ(command("restart"),
            "nvram: cannot run the restart hook /nowhere: No such file or directory\n");
  EXPECT_EQ(status, 1);
  ::unsetenv("VEXO_RESTART_HOOK");
  EXPECT_THAT(command("restart"), HasSubstr("nothing is restarted"));
  EXPECT_EQ(status, 0);
  std::filesystem::create_directory(folder + "/none");
  ::setenv("VEXO_NVRAM", (folder + "/none").c_str(), 1);
  for (const auto& [failing, done] : {std::pair("get a", "read"),
                                      {"set a=1", "change"},
                                      {"unset a", "change"},
                                      {"show", "read"},
                                      {"commit", "save"}}) {
    EXPECT_THAT(command(failing), HasSubstr("nvram: cannot " + std::string(done) + " " + folder +
                                            "/none: Is a directory\n"));
    EXPECT_EQ(status, 1) << failing;
  }
}
