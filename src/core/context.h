// The state of the process: one plain record, the timer descriptors kept beside it, and the modes.
//
// What outlives a turn of the main loop is here, so that a support engineer finds it in one place
// and a test resets it with one call. The timer list and the candidate table have files of their
// own, and what a file notes for itself alone (signals that wait, failures already told, the
// driver's byte order) stays in it. Nothing here acts.
#ifndef VORLENT_CORE_CONTEXT_H
#define VORLENT_CORE_CONTEXT_H

#include <array>
#include <cstdint>

// What the unit is at present. Held as 32 bits because it is compared with what NVRAM and the role
// monitor ask for: a value without a row in the mode table is a case to handle.
enum OnboardMode : std::uint32_t {
  ONBOARD_MODE_UNCONFIGURED = 0,         // factory-fresh, searching for a base
  ONBOARD_MODE_UNCFG_ACT_HANDSHAKE = 1,  // found a base, exchanging keys with it
  ONBOARD_MODE_TEMP_ROUTER = 2,          // not installed, but its WAN is up
  ONBOARD_MODE_TEMP_SATELLITE = 3,       // has backhaul credentials, not installed
  ONBOARD_MODE_TEMP_ETH_SATELLITE = 4,   // the same over an Ethernet backhaul
  ONBOARD_MODE_BASE = 5,                 // installed base router
  ONBOARD_MODE_SATELLITE = 6,            // installed satellite
};
inline constexpr std::size_t ONBOARD_MODE_COUNT = 7;

// A MAC address as text: 17 characters and a NUL.
using MacText = std::array<char, 18>;

// What an un-configured unit knows about the base it is joining. Cleared whole when a base is
// found.
struct TargetBssInfo {
  MacText bssid;
  std::uint8_t channel;
  std::array<char, 2048> base_pub_key;  // PEM text, NUL-terminated
  std::uint16_t key_len;                // bytes of base_pub_key as received
  std::array<char, 32> bh_ssid;
  std::array<char, 64> bh_password;
  std::array<char, 16> bh_crypto;
  std::array<char, 16> bh_akm;
};

// How far the unit's handshake has come, by what it waits for.
enum HandshakeStage : std::uint32_t {
  STAGE_NONE = 0,
  STAGE_AWAIT_1001 = 1,  // operation 1000 sent
  STAGE_AWAIT_1004 = 3,  // operation 1002 sent
  STAGE_AWAIT_1003 = 5,  // operation 1004 received
};

struct OnboardContext {
  std::uint32_t onboarding_active;  // 1 while the base's onboarding window is open
  std::uint32_t wan_fail_count;     // consecutive failed Internet checks
  std::uint32_t bh_fail_count;      // consecutive failed backhaul checks
  OnboardMode cur_mode;             // changed by role_bakery only
  OnboardMode target_role;          // the mode that role_bakery shall change to
  std::int32_t candidate_count;     // rows of the candidate table in use
  TargetBssInfo target;
  HandshakeStage act_stage;    // the unit's handshake
  std::int32_t act_timer_fd;   // the unit's handshake timer; 0 or less: none
  std::uint32_t need_restart;  // ends the main loop after the turn that sets it
  std::uint32_t act_op_sent;   // last handshake operation sent, for the log
  std::uint32_t act_op_wait;   // handshake operation awaited, for the log
};

extern OnboardContext context;

// Descriptors; -1 at start, 0 or less means that there is none.
extern int epoll_fd;             // the epoll instance of the timer list
extern int mode_timer_fd;        // periodic job of the mode: search scan or watchdog
extern int onboarding_timer_fd;  // the base's open window; meaningful while onboarding_active is 1

// Puts the record and the descriptors back to their values at process start. Closes nothing.
void reset_context();

#endif
