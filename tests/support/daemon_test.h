// The fixture of the daemon's tests: a fresh daemon between a fake platform and a fake air, spoken
// to in the subject's own words.
#ifndef VORLENT_TESTS_DAEMON_TEST_H
#define VORLENT_TESTS_DAEMON_TEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/context.h"
#include "support/fake_platform.h"
#include "support/files.h"
#include "support/peer.h"

class DaemonTest : public testing::Test {
 protected:
  DaemonTest();
  ~DaemonTest() override;

  // Starts in `mode`, as after a restart, and forgets what the entry did.
  static void starts_in(OnboardMode mode);

  // Sends one datagram through the event receiver. Returns its result.
  int receives(const air::Bytes& datagram);
  int hears_probe_from(const air::Mac& station, const air::Bytes& elements = air::element(2));
  int air_carries(std::uint16_t attr_id, const air::Bytes& data, const air::Mac& from);

  // What the daemon has printed on standard output so far. Each call starts anew.
  static std::string printed();

  // Forgets log, journal and output.
  static void forget();

 private:
  int air_socket_[2] = {-1, -1};
};

#endif
