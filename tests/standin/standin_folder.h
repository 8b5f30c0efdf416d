// A folder of its own for each test of the stand-in, with the store and the log in it.
#ifndef TESTS_STANDIN_FOLDER_H
#define TESTS_STANDIN_FOLDER_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/files.h"

struct StandinFolder : testing::Test {
  StandinFolder() {
    ::setenv("VEXO_NVRAM", store.c_str(), 1);
    ::setenv("VEXO_LOG_DIR", folder.c_str(), 1);
  }
  ~StandinFolder() override { std::filesystem::remove_all(folder); }

  // What a shell command prints; its exit status is in `status`.
  std::string shell(const std::string& command) {
    status = std::system((command + " >" + folder + "/printed 2>&1").c_str()) / 256;
    return read_file(folder + "/printed");
  }
  // Runs `body` on a disk that takes no file larger than `bytes`.
  template <class Body>
  static void on_disk_of(rlim_t bytes, Body body) {
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
    rlimit limit{bytes, RLIM_INFINITY};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    body();
    limit.rlim_cur = RLIM_INFINITY;
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }

  std::string pattern = "/tmp/standin-XXXXXX";
  std::string folder = ::mkdtemp(pattern.data());
  std::string store = folder + "/nvram";
  int status = 0;
};

#endif
