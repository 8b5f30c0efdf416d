// How base and unit find each other: probe requests, scan results, the candidate table and its
// file.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "discovery/candidate_table.h"
#include "discovery/probe_scan.h"
#include "support/daemon_test.h"

namespace {

using air::operator+;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string UNIT_DUMP =
    "[Pelion OUI detect]\n============Dump Pelion IE================\nid: dd\nlen: 0b\n"
    "oui: 02 7e 91\nreserved: 00 00 00\nversion: 03\nprod_type: 08\nprod_id: 02\nifname: 01\n"
    "plon_vie_data: 01\n==========================================\n";
const std::string EMPTY_FILE = "{\n\t\"candidates\":\t[]\n}";

std::string row(const std::string& mac) {
  return "STA: " + mac + "\nPUB_key(0):\n\n";
}

class BaseDiscoveryTest : public DaemonTest {
 protected:
  BaseDiscoveryTest() { starts_in(ONBOARD_MODE_BASE); }

  static int add(const std::string& mac, std::uint32_t stage = 0, const std::string& key = "") {
    CandidateEntry entry{};
    copy_text(entry.mac, air::from_text(mac));
    copy_text(entry.pub_key, air::from_text(key));
    entry.key_len = static_cast<std::uint16_t>(key.size());
    entry.stage = stage;
    return update_candidate_table(candidate_table, entry);
  }

  static std::vector<std::string> table() {
    std::vector<std::string> macs;
    for (int i = 0; i < context.candidate_count; ++i) {
      macs.emplace_back(candidate_table[static_cast<std::size_t>(i)].mac.data());
    }
    return macs;
  }
};

TEST_F(BaseDiscoveryTest, AProbeRequestWithTheUnitsElementAddsItsSender) {
  EXPECT_EQ(hears_probe_from(air::UNIT), 0);
  EXPECT_EQ(messages(), UNIT_DUMP + "Receive Mesh onboarding Probe Request!!.\n" + EMPTY_FILE +
                            "\n" + row(air::UNIT_TEXT));
  EXPECT_THAT(table(), ElementsAre(air::UNIT_TEXT));
  EXPECT_EQ(candidate_table[0].stage, CANDIDATE_PROBED);
  EXPECT_EQ(read_file(CANDIDATE_FILE), EMPTY_FILE);
  candidate_table[0].stage = CANDIDATE_HELLO;
  forget();
  hears_probe_from(air::UNIT, air::element(2) + air::ie(0, {}) + air::element(2));
  const std::string again = UNIT_DUMP + "Receive Mesh onboarding Probe Request!!.\n" +
                            air::UNIT_TEXT + " already exist in the candidate list.\n" +
                            EMPTY_FILE + "\n" + row(air::UNIT_TEXT);
  EXPECT_EQ(messages(), again + again);
  EXPECT_EQ(context.candidate_count, 1);
  EXPECT_EQ(candidate_table[0].stage, CANDIDATE_HELLO);
}

TEST_F(BaseDiscoveryTest, OtherProbeRequestsAddNothing) {
  hears_probe_from(air::UNIT, air::ie(0, air::from_text("ssid")) + air::ie(1, {2, 4, 11, 22}));
  hears_probe_from(air::UNIT, {});
  receives(air::event(44, air::UNIT, air::Bytes(39, 0)));
  receives(air::event(44, air::UNIT, air::probe_data(air::element(2)), "wl1"));
  receives(air::event(44, air::UNIT, air::probe_data(air::element(2)), "wl0", 8, 0));
  EXPECT_EQ(messages(), "");
  for (const air::Bytes& element :
       {air::element(1), air::element(2, 2), air::from_hex("dd0b027e910000000307020101"),
        air::from_hex("dd0a027e9100000003080201")}) {
    hears_probe_from(air::UNIT, element);
    EXPECT_THAT(messages(), testing::StartsWith("[Pelion OUI detect]\n"));
    forget();
  }
  EXPECT_EQ(context.candidate_count, 0);
}

TEST_F(BaseDiscoveryTest, AnyIdAndAnyWl0InterfaceWillDo) {
  air::Bytes renamed = air::element(2);
  renamed[0] = 0x30;
  hears_probe_from(air::UNIT, air::ie(3, {6}) + renamed);
  receives(air::event(44, air::BASE, air::probe_data(air::element(2)), "wl0.1"));
  EXPECT_THAT(table(), ElementsAre(air::UNIT_TEXT, "ac:10:20:30:40:50"));
}

TEST_F(BaseDiscoveryTest, AnElementThatRunsPastTheDataEndsTheWalk) {
  const air::Bytes ours = air::element(2);
  for (std::size_t size = 0; size < ours.size(); ++size) {
    hears_probe_from(
        air::UNIT,
        air::ie(0, {}) + air::Bytes(ours.begin(), ours.begin() + static_cast<long>(size)));
  }
  hears_probe_from(air::UNIT, air::Bytes{0xDD, 0xFF, 0x02, 0x7E, 0x91} + ours);
  EXPECT_EQ(messages(), "");
  hears_probe_from(air::UNIT, ours + air::Bytes{0xDD, 0xFF, 0x02, 0x7E, 0x91});
  EXPECT_EQ(context.candidate_count, 1);
}

TEST_F(BaseDiscoveryTest, OtherEventsAreNamed) {
  receives(air::event(0x45, air::UNIT, {}, "wl0.2"));
  EXPECT_EQ(messages(), "recved event type 0x45 on wl0.2\n");
}

TEST_F(BaseDiscoveryTest, TheTableHoldsFifteenInOrderOfArrival) {
  const auto mac = [](int i) { return "02:00:00:00:00:" + std::to_string(10 + i); };
  for (int i = 0; i < 15; ++i) {
    EXPECT_EQ(add(mac(i)), 1);
  }
  forget();
  EXPECT_EQ(add(mac(15)), -1);
  EXPECT_EQ(messages(), "Over MAX support clients!!\n" + EMPTY_FILE + "\n");
  EXPECT_EQ(add(mac(3)), 0);
  EXPECT_EQ(context.candidate_count, 15);
  forget();
  EXPECT_EQ(delete_node_from_candidate_table(candidate_table, mac(0).c_str()), 0);
  EXPECT_EQ(messages(), "Find " + mac(0) + " in the candidate list.\nRemove sta " + mac(0) +
                            " from candidate list.\n");
  EXPECT_EQ(table().front(), mac(1));
  EXPECT_EQ(table().back(), mac(14));
  EXPECT_EQ(candidate_table[14].mac[0], '\0');
  EXPECT_EQ(add(mac(15)), 1);
  EXPECT_EQ(table().back(), mac(15));
}

TEST_F(BaseDiscoveryTest, RowsAreFoundAndRemovedByTheirExactText) {
  add("02:00:00:00:00:0a", 1);
  add("02:00:00:00:00:0b", 2);
  add("02:00:00:00:00:0A", 3);
  add("02:00:00:00:00:0c", 5, "key");
  forget();
  EXPECT_EQ(check_in_candidate_list(candidate_table, 4, "02:00:00:00:00:0A"), 2);
  EXPECT_EQ(check_in_candidate_list(candidate_table, 2, "02:00:00:00:00:0A"), -1);
  EXPECT_EQ(delete_node_from_candidate_table(candidate_table, "02:00:00:00:00:0d"), -1);
  EXPECT_EQ(messages(),
            "Found 02:00:00:00:00:0A in support list.\n"
            "Cannot found 02:00:00:00:00:0A in support list.\n"
            "The sta 02:00:00:00:00:0d inexist.\n");
  EXPECT_EQ(delete_node_from_candidate_table(candidate_table, "02:00:00:00:00:0b"), 0);
  EXPECT_THAT(table(), ElementsAre("02:00:00:00:00:0a", "02:00:00:00:00:0A", "02:00:00:00:00:0c"));
  EXPECT_EQ(candidate_table[2].stage, 5U);
  EXPECT_STREQ(candidate_table[2].pub_key.data(), "key");
  forget();
  dump_current_support_list();
  EXPECT_EQ(messages(), row("02:00:00:00:00:0a") + row("02:00:00:00:00:0A") +
                            "STA: 02:00:00:00:00:0c\nPUB_key(3):key\n\n");
}

TEST_F(BaseDiscoveryTest, TheFileListsTheReadyStationsInOrder) {
  platform().nvram["vorlent_dbg"] = "1";
  add("02:00:00:00:00:0a", CANDIDATE_READY, "line\nbreak");
  add("02:00:00:00:00:0b", CANDIDATE_KEY_STORED, "not yet");
  forget();
  add("02:00:00:00:00:0c", CANDIDATE_READY, "other");
  const std::string text =
      "{\n\t\"candidates\":\t[{\n\t\t\t\"mac\":\t\"02:00:00:00:00:0a\",\n"
      "\t\t\t\"key\":\t\"line\\nbreak\"\n\t\t}, {\n\t\t\t\"mac\":\t\"02:00:00:00:00:0c\",\n"
      "\t\t\t\"key\":\t\"other\"\n\t\t}]\n}";
  EXPECT_EQ(read_file(CANDIDATE_FILE), text);
  EXPECT_EQ(platform().log, text + "\n");
  EXPECT_EQ(printed(), text + "\n");
  clear_candidate_table(candidate_table);
  EXPECT_NE(access(CANDIDATE_FILE, F_OK), 0);
  EXPECT_EQ(context.candidate_count, 0);
  EXPECT_EQ(candidate_table[2].mac[0], '\0');
  ASSERT_EQ(mkdir(CANDIDATE_FILE, 0700), 0);  // a file that cannot be written is tried again later
  EXPECT_EQ(add("02:00:00:00:00:0d", CANDIDATE_READY, "k"), 1);
  ASSERT_EQ(rmdir(CANDIDATE_FILE), 0);
  EXPECT_EQ(add("02:00:00:00:00:0d"), 0);
  EXPECT_THAT(read_file(CANDIDATE_FILE), HasSubstr("02:00:00:00:00:0d"));
}

class UnitDiscoveryTest : public DaemonTest {
 protected:
  UnitDiscoveryTest() { starts_in(ONBOARD_MODE_UNCONFIGURED); }

  static air::Scan base_scan() {
    air::Scan scan;
    scan.elements = air::ie(0, air::from_text("home")) + air::element(1);
    return scan;
  }
  static bool joined() { return context.cur_mode == ONBOARD_MODE_UNCFG_ACT_HANDSHAKE; }
};

TEST_F(UnitDiscoveryTest, TheBasesBeaconLeadsToItsChannelAndTheHandshake) {
  context.target.bh_ssid = {"old"};
  context.act_stage = 5;
  EXPECT_EQ(hears_beacon(base_scan()), 0);
  EXPECT_THAT(messages(),
              testing::StartsWith(
                  "recved brcm event: WLC_E_ESCAN_RESULT on wl0 STA: ac:10:20:30:40:50\n"
                  "BSSID: AC:10:20:30:40:50 chanspec: 0x1006\n"
                  "pkt_len: 93 ie length: 13 ie_offset: 80 \n\n"
                  "============Got Pelion IE================\n"
                  "============Dump Pelion IE================\nid: dd\nlen: 0b\noui: 02 7e 91\n"
                  "reserved: 00 00 00\nversion: 03\nprod_type: 08\nprod_id: 01\nifname: 01\n"
                  "plon_vie_data: 01\n==========================================\n"
                  "==========================================\n"
                  "Found Mesh onboarding!!\n==========================================\n"
                  "======Dump Tartget BSS info==========\n"
                  "Target BSS:\nBSSID: AC:10:20:30:40:50\nchannel: 6\nbase_pub_key: \nkey_len: 0\n"
                  "bh_ssid: \nbh_password: \nbh_crypto: \nbh_akm: \n"
                  "=====================================\n"
                  "wl csa 0 5 6\ntarget_role:cur_role >> (1:0)\n"));
  EXPECT_EQ(platform().journal[0], "$ wl csa 0 5 6");
  EXPECT_EQ(platform().journal[1], "set onboarding_role=1");
  EXPECT_TRUE(joined());
  EXPECT_STREQ(context.target.bssid.data(), "AC:10:20:30:40:50");
  EXPECT_EQ(context.target.bh_ssid[0], '\0');
  EXPECT_EQ(context.act_stage, 1U);
}

TEST_F(UnitDiscoveryTest, TheChannelIsTheLowByteOfTheChanspec) {
  for (const auto& [chanspec, channel] :
       {std::pair<std::uint16_t, int>{0xD024, 36}, {0xE09D, 157}, {0xFFFF, 255}}) {
    starts_in(ONBOARD_MODE_UNCONFIGURED);
    air::Scan scan = base_scan();
    scan.chanspec = chanspec;
    hears_beacon(scan);
    EXPECT_EQ(commands()[0], "wl csa 0 5 " + std::to_string(channel));
    EXPECT_EQ(context.target.channel, channel);
  }
}

TEST_F(UnitDiscoveryTest, OtherEventsInterfacesAndStatesAreIgnored) {
  const air::Bytes data = air::scan_data(base_scan());
  receives(air::event(44, air::BASE, data));
  receives(air::event(59, air::BASE, air::action_frame_1004()));
  EXPECT_EQ(messages(), "");
  const std::string head = "recved brcm event: WLC_E_ESCAN_RESULT on ";
  receives(air::event(69, air::BASE, data, "wl0.1"));
  EXPECT_EQ(messages(), head + "wl0.1 STA: ac:10:20:30:40:50\nignore escanresult from: wl0.1\n");
  for (const std::uint32_t status : {1U, 4U, 7U, 9U, 0x08000000U}) {
    forget();
    receives(air::event(69, air::BASE, data, "wl0", status));
    EXPECT_EQ(messages(), head + "wl0 STA: ac:10:20:30:40:50\n");
  }
  EXPECT_FALSE(joined());
  receives(air::event(69, air::BASE, data, "wl0", 0));
  EXPECT_TRUE(joined());
}

TEST_F(UnitDiscoveryTest, OtherBssDoNotBecomeTheTarget) {
  air::Scan scan = base_scan();
  scan.bssid.fill(0xff);
  hears_beacon(scan);
  EXPECT_THAT(messages(), testing::EndsWith("BSSID: FF:FF:FF:FF:FF:FF, ignore it.\n"));
  forget();
  scan.bssid = air::BASE;
  scan.elements = air::ie(0, air::from_text("neighbour")) + air::ie(0xDD, {0, 0x50, 0xf2, 2});
  hears_beacon(scan);
  EXPECT_THAT(messages(), testing::EndsWith("ie_offset: 80 \n\n"));
  for (const air::Bytes& element :
       {air::element(2), air::element(1, 2), air::from_hex("dd0b027e910000000307010101"),
        air::from_hex("dd0a027e9100000003080101"),
        air::ie(0xDD, {2, 0x7e, 0x91}) + air::element(1)}) {
    forget();
    scan.elements = element;
    hears_beacon(scan);
    EXPECT_THAT(messages(), HasSubstr("Got Pelion IE"));
  }
  EXPECT_FALSE(joined());
  EXPECT_EQ(count_commands("wl csa"), 0);
}

TEST_F(UnitDiscoveryTest, ShortOrOverlongRecordsAreSkipped) {
  const air::Bytes whole = air::scan_data(base_scan());
  for (std::size_t size = 0; size < whole.size(); ++size) {
    receives(air::event(69, air::BASE,
                        air::Bytes(whole.begin(), whole.begin() + static_cast<long>(size))));
    ASSERT_FALSE(joined()) << size;
  }
  forget();
  receives(air::event(69, air::BASE, {}, "wl0", 0));  // a scan that is complete has no record
  EXPECT_EQ(messages(), "recved brcm event: WLC_E_ESCAN_RESULT on wl0 STA: ac:10:20:30:40:50\n");
  for (const auto& [offset, bytes] : {std::pair<int, air::Bytes>{128, {0xff, 0xff}},
                                      {132, {0xff, 0xff, 0xff, 0xff}},
                                      {132, {0x14, 0, 0, 0}},
                                      {128, {0x81, 0}}}) {
    air::Bytes outside = whole;
    std::copy(bytes.begin(), bytes.end(), outside.begin() + offset);
    receives(air::event(69, air::BASE, outside));
  }
  EXPECT_FALSE(joined());
  EXPECT_EQ(context.target.bssid[0], '\0');
}

TEST_F(UnitDiscoveryTest, ABigEndianDriversRecordIsReadWhenTheFlagSaysSo) {
  gg_swap = true;
  air::Scan scan = base_scan();
  scan.chanspec = 0xD00B;
  receives(air::event(69, air::BASE, air::scan_data(scan, true)));
  EXPECT_THAT(messages(), HasSubstr("chanspec: 0xd00b\npkt_len: 93 ie length: 13 ie_offset: 80"));
  EXPECT_TRUE(joined());
  EXPECT_EQ(context.target.channel, 11);
}

}  // namespace
