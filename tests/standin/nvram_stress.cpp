// Kills writers of the NVRAM store at random and looks at what they leave behind.
//
// Usage: nvram_stress [ROUNDS [SEED]]
//
// In each round four processes write and save at once, one reads, and SIGKILL falls on the writers
// one after the other. At every moment the store must be whole (each line parses, each value is
// one that was written) and must not go back; after each round it must hold every write that a
// writer has reported done, and `.saved` everything that stood there before a save that returned.
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <numeric>
#include <random>
#include <string>
#include <thread>

#include "nvram_text.h"
#include "support/files.h"
#include "vexo_nvram.h"

namespace {

constexpr unsigned kWriters = 4;
constexpr unsigned kDeadlineSeconds = 20;

struct Shared {
  std::array<std::atomic<unsigned>, kWriters> done;   // Last write that returned, by writer.
  std::array<std::atomic<unsigned>, kWriters> saved;  // Last write that a returned save had seen.
  std::atomic<bool> stop;
};
Shared* shared;
std::string store;

void require(bool good, const std::string& what) {
  if (!good) {
    std::cerr << "nvram_stress: " + what + "; see " + store + '\n';
    std::_Exit(1);
  }
}

std::string key_of(unsigned writer) {
  return "writer" + std::to_string(writer);
}

// The text of a writer's write number `count`: long and short ones, with what needs escaping.
std::string value_of(unsigned writer, unsigned count) {
  std::string value = std::to_string(writer) + ':' + std::to_string(count) + ':';
  for (unsigned i = (count * 7919 + writer) % 3000; i > 0; --i) {
    value += "\\n\n=x"[(i * count) % 5];
  }
  return value + ':' + std::to_string(count);
}

// The number of the write that `value` comes from; ends the run when it comes from none.
unsigned count_in(const std::string& value) {
  char* end = nullptr;
  const auto writer = static_cast<unsigned>(std::strtoul(value.c_str(), &end, 10));
  const auto count = *end == ':' ? static_cast<unsigned>(std::strtoul(end + 1, &end, 10)) : 0;
  require(value == value_of(writer, count), "a value that nobody has written: " + value);
  return count;
}

// Reads `path` as it stands; ends the run unless every line of it is a setting that was written.
standin::Values whole_store(const std::string& path) {
  const std::string text = read_file(path);
  standin::Values values = standin::parse_values(text);
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  require((text.empty() || text.back() == '\n') && lines == values.size(), path + " is torn");
  for (const auto& setting : values) {
    count_in(setting.second);
  }
  return values;
}

unsigned count_of(const standin::Values& values, unsigned writer) {
  const auto found = values.find(key_of(writer));
  return found == values.end() ? 0 : count_in(found->second);
}

// A call may give up on the lock where the disk keeps another one waiting; a store that stands
// still for good ends the run.
template <typename Call>
void until_done(Call call) {
  while (call() != 0) {
  }
}

void save_and_note() {
  std::array<unsigned, kWriters> before{};
  std::copy(shared->done.begin(), shared->done.end(), before.begin());
  until_done(vexoNvramConfig_save);
  for (unsigned i = 0; i < kWriters; ++i) {
    unsigned seen = shared->saved[i];
    while (seen < before[i] && !shared->saved[i].compare_exchange_weak(seen, before[i])) {
    }
  }
}

void write_for_ever(unsigned me) {
  for (unsigned count = shared->done[me] + 1;; ++count) {
    const std::string value = value_of(me, count);
    until_done([&] { return vexoNvramConfig_set(key_of(me).c_str(), value.c_str()); });
    shared->done[me] = count;
    until_done([&] {
      return count % 2 == 0 ? vexoNvramConfig_unset("shared")
                            : vexoNvramConfig_set("shared", value.c_str());
    });
    if (count % 4 == 0) {
      save_and_note();
    }
  }
}

void read_until_told() {
  std::array<unsigned, kWriters> last{};
  for (unsigned i = 0; !shared->stop; i = (i + 1) % kWriters) {
    const unsigned floor = std::max(last[i], shared->done[i].load());
    const std::string value = vexoNvramConfig_get(key_of(i).c_str());
    last[i] = value.empty() ? 0 : count_in(value);
    require(last[i] >= floor, "a reader has seen an old value");
    whole_store(store);
  }
}

void end(pid_t child, int wanted) {
  int status = 0;
  ::waitpid(child, &status, 0);
  require(status == wanted, "a process has found a fault");
}

unsigned writes(unsigned first) {
  return std::accumulate(shared->done.begin() + first, shared->done.end(), 0U);
}

// Waits until the writers from `first` on have done `more` writes between them: those that are
// left must come on, whatever the killed one was at. The alarm ends a run that stands still.
void wait_for_writes(unsigned first, unsigned more) {
  ::alarm(kDeadlineSeconds);
  for (const unsigned goal = writes(first) + more; writes(first) < goal;) {
    std::this_thread::yield();
  }
}

void run_round(std::mt19937& random) {
  shared->stop = false;
  std::array<pid_t, kWriters> writers{};
  for (unsigned i = 0; i < kWriters; ++i) {
    if ((writers[i] = ::fork()) == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      write_for_ever(i);
    }
  }
  const pid_t reader = ::fork();
  if (reader == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    read_until_told();
    std::_Exit(0);
  }
  for (unsigned i = 0; i < kWriters; ++i) {
    wait_for_writes(i, 2 + random() % 8);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 1000));
    ::kill(writers[i], SIGKILL);
    end(writers[i], SIGKILL);
  }
  shared->stop = true;
  end(reader, 0);
  const standin::Values live = whole_store(store);
  const standin::Values saved = whole_store(store + ".saved");
  for (unsigned i = 0; i < kWriters; ++i) {
    const unsigned count = count_of(live, i);
    require(count - shared->done[i] <= 1, "a write is lost of " + key_of(i));
    require(count_of(saved, i) >= shared->saved[i], "a saved write is lost of " + key_of(i));
    shared->done[i] = count;  // Where the next round's writer goes on.
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::stoi(argv[1]) : 60;
  const auto seed = argc > 2 ? static_cast<unsigned>(std::stoul(argv[2])) : std::random_device()();
  std::cout << rounds << " rounds, seed " << seed << std::endl;
  std::array<char, 25> folder{"/tmp/nvram-stress-XXXXXX"};
  store = std::string(::mkdtemp(folder.data())) + "/nvram";
  ::setenv("VEXO_NVRAM", store.c_str(), 1);
  shared = new (::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                       -1, 0)) Shared{};
  std::mt19937 random(seed);
  for (int i = 0; i < rounds; ++i) {
    run_round(random);
  }
  std::cout << writes(0) << " writes: nothing torn, nothing lost\n";
  std::filesystem::remove_all(folder.data());
}
