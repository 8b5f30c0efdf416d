#include "platform_onboarding.h"

#include "standin_folder.h"
#include "vexo_nvram.h"

using Onboarding = StandinFolder;

TEST_F(Onboarding, FindsWholeCandidatesWithoutRegardToCase) {
  EXPECT_EQ(check_mac_in_candidate_satellite("02:00:00:00:00:aa"), 0);
  vexoNvramConfig_set("candidate_satellites", " 02:00:00:00:00:AA  02:00:00:00:00:bb");
  for (const char* listed : {"02:00:00:00:00:aa", "02:00:00:00:00:AA", "02:00:00:00:00:Bb"}) {
    EXPECT_NE(check_mac_in_candidate_satellite(listed), 0) << listed;
  }
  for (const char* other : {"", " ", "02:00:00:00:00:a", "02:00:00:00:00:AA  02:00:00:00:00:bb"}) {
    EXPECT_EQ(check_mac_in_candidate_satellite(other), 0) << other;
  }
}

TEST_F(Onboarding, LogsWhatItIsCalledFor) {
  disable_mesh_settings();
  reset_to_uncfg_mode();
  EXPECT_EQ(read_file(folder + "/vorlent_dbg.log"),
            "[platform] disable_mesh_settings\n[platform] reset_to_uncfg_mode\n");
}

TEST(Ether, WritesUpperCaseText) {
  const std::array<unsigned char, 6> mac = {0x01, 0x32, 0x54, 0x76, 0x98, 0xba};
  const std::array<unsigned char, 6> other = {0x00, 0xdc, 0xfe, 0xff, 0x0f, 0xf0};
  std::array<char, 19> text;
  text.fill('~');
  EXPECT_EQ(ether_etoa(mac.data(), text.data()), text.data());
  EXPECT_STREQ(text.data(), "01:32:54:76:98:BA");
  EXPECT_STREQ(ether_etoa(other.data(), text.data()), "00:DC:FE:FF:0F:F0");
  EXPECT_EQ(text[18], '~');
}
