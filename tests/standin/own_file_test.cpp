// Files with fixed names, while others make, replace and plant them.
#include "own_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "standin_folder.h"

namespace {

using OwnFile = StandinFolder;

TEST_F(OwnFile, IsOpenedWhoeverElseIsAtItsNameMeanwhile) {
  const std::string path = folder + "/shared";
  std::atomic<int> arrived = 0;
  int refused[2] = {};
  const auto open_with_another = [&](int who) {
    for (int round = 1; round <= 500; ++round) {
      if (who == 0) {
        unlink(path.c_str());
        EXPECT_EQ(round % 2 == 0 ? symlink("planted", path.c_str()) : 0, 0);
      }
      for (++arrived; arrived < 4 * round - 2;) {
        std::this_thread::yield();
      }
      const UniqueFd file = round % 3 == 0 ? create_own_file(path.c_str(), 0600)
                                           : open_own_file(path.c_str(), O_WRONLY, 0600);
      refused[who] += file.open() ? 0 : 1;
      for (++arrived; arrived < 4 * round;) {
        std::this_thread::yield();
      }
    }
  };
  std::thread other(open_with_another, 1);
  open_with_another(0);
  other.join();
  EXPECT_EQ(refused[0] + refused[1], 0);

  std::atomic<bool> over = false;
  std::thread writer([&] {
    while (!over) {
      const UniqueFd next = create_own_file((path + ".new").c_str(), 0600);
      EXPECT_EQ(rename((path + ".new").c_str(), path.c_str()), 0);
      std::this_thread::yield();
    }
  });
  for (int i = 0; i < 5000; ++i) {
    refused[0] += open_own_to_read(path.c_str()).open() ? 0 : 1;
  }
  over = true;
  writer.join();
  EXPECT_EQ(refused[0], 0);
}

TEST_F(OwnFile, ReplacesWhatAnOldLibraryCannotTellOf) {
  shell("ln -s nowhere " + folder + "/late; touch -h -d 2040-01-01 " + folder + "/late");
  EXPECT_TRUE(open_own_file((folder + "/late").c_str(), O_WRONLY, 0600).open());
}

}  // namespace
