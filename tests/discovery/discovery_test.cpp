// Discovery where a transcript would be a table: elements and records cut at every byte, and the
// candidate table by itself.
#include "discovery/candidate_table.h"
#include "discovery/probe_request.h"
#include "discovery/scan_result.h"
#include "discovery/vendor_ie.h"
#include "support/daemon_test.h"

namespace {

using air::operator+;

class DiscoveryTest : public DaemonTest {
 protected:
  static air::Bytes first(const air::Bytes& bytes, std::size_t size) {
    return {bytes.begin(), bytes.begin() + static_cast<long>(size)};
  }

  static int add(const char* mac, std::uint32_t stage = 0, const std::string& key = "") {
    CandidateEntry entry{};
    copy_text(entry.mac, air::from_text(mac));
    copy_text(entry.pub_key, air::from_text(key));
    entry.stage = stage;
    return update_candidate_table(candidate_table, entry);
  }
};

TEST_F(DiscoveryTest, AnElementCutAtAnyByteEndsTheWalk) {
  starts_in(ONBOARD_MODE_BASE);
  const air::Bytes ours = air::element(2);
  for (std::size_t size = 0; size < ours.size(); ++size) {
    const air::Bytes cut = air::ie(0, {}) + first(ours, size);
    EXPECT_TRUE(find_vendor_ie(cut, PELION_OUI, {}).empty()) << size;
    hears_probe_from(air::UNIT, cut);
  }
  EXPECT_EQ(messages(), "");
  hears_probe_from(air::UNIT, air::ie(0, {}) + ours);
  EXPECT_EQ(context.candidate_count, 1);
}

TEST_F(DiscoveryTest, ShortOrOverlongScanRecordsAreSkipped) {
  starts_in(ONBOARD_MODE_UNCONFIGURED);
  const air::Bytes whole = air::scan_data({.elements = air::element(1)});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    receives(air::event(69, air::BASE, first(whole, size)));
    EXPECT_EQ(messages().find("BSSID: ") != std::string::npos, size >= 12 + 124) << size;
    forget();
  }
  for (const auto& [offset, bytes] : {std::pair<int, air::Bytes>{128, {0xff, 0xff}},
                                      {132, {0xff, 0xff, 0xff, 0xff}},
                                      {132, {0x0e, 0, 0, 0}},
                                      {128, {0x81, 0}}}) {
    air::Bytes outside = whole;
    std::copy(bytes.begin(), bytes.end(), outside.begin() + offset);
    receives(air::event(69, air::BASE, outside));
  }
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_UNCONFIGURED);
  air::Bytes far =
      air::scan_data({.elements = air::Bytes(256) + air::ie(0, air::Bytes(250)) + air::element(1)});
  far[12 + 117] = far[12 + 121] = 1;  // offset 128 + 256, length 521 - 256
  receives(air::event(69, air::BASE, far));
  EXPECT_EQ(context.cur_mode, ONBOARD_MODE_UNCFG_ACT_HANDSHAKE);
}

TEST_F(DiscoveryTest, RowsAreFoundAndRemovedByTheirExactText) {
  EXPECT_EQ(add("02:00:00:00:00:0a", 1), 1);
  EXPECT_EQ(add("02:00:00:00:00:0b", 2), 1);
  EXPECT_EQ(add("02:00:00:00:00:0A", 3), 1);
  EXPECT_EQ(add("02:00:00:00:00:0c", 5, "line\nbreak"), 1);
  EXPECT_EQ(add("02:00:00:00:00:0b"), 0);
  EXPECT_EQ(check_in_candidate_list(candidate_table, 4, "02:00:00:00:00:0A"), 2);
  EXPECT_EQ(check_in_candidate_list(candidate_table, 2, "02:00:00:00:00:0A"), -1);
  EXPECT_EQ(delete_node_from_candidate_table(candidate_table, "02:00:00:00:00:0d"), -1);
  EXPECT_EQ(delete_node_from_candidate_table(candidate_table, "02:00:00:00:00:0b"), 0);
  EXPECT_STREQ(candidate_table[1].mac.data(), "02:00:00:00:00:0A");
  EXPECT_STREQ(candidate_table[2].pub_key.data(), "line\nbreak");
  EXPECT_EQ(candidate_table[3].mac[0], '\0');
  for (const char last : std::string("bdefghijklmn")) {
    EXPECT_EQ(add((std::string("02:00:00:00:00:0") + last).c_str()), 1);
  }
  write_file("/tmp/vexo_onborading.json.tmp", std::string(5000, 'x'));  // left by a sudden end
  EXPECT_EQ(add("02:00:00:00:00:0o"), -1);
  EXPECT_EQ(read_file(CANDIDATE_FILE),
            "{\n\t\"candidates\":\t[{\n\t\t\t\"mac\":\t\"02:00:00:00:00:0c\",\n"
            "\t\t\t\"key\":\t\"line\\nbreak\"\n\t\t}]\n}");
  forget_earlier_candidates();
  EXPECT_NE(read_file(CANDIDATE_FILE), "") << "its stations are in the table";
  clear_candidate_table(candidate_table);
  EXPECT_EQ(candidate_table[14].mac[0], '\0');
  EXPECT_EQ(context.candidate_count, 0);
  write_file(CANDIDATE_FILE, "of an earlier process");
  forget_earlier_candidates();
  EXPECT_EQ(read_file(CANDIDATE_FILE), "");
}

TEST_F(DiscoveryTest, FindsTheFirstElementOfTheMakerThatFits) {
  const air::Bytes ours = air::element(1);
  const air::Bytes other = air::ie(0xDD, {0x02, 0x7E, 0x92, 1});
  const air::Bytes typed = air::ie(0xDD, {0x02, 0x7E, 0x91, 4, 5});
  const struct {
    long at;
    air::Bytes list;
    air::Bytes type = {};
  } cases[] = {{0, ours},
               {0, air::ie(0xDD, {0x02, 0x7E, 0x91})},
               {2, air::ie(0, {}) + ours},
               {12, air::ie(0, air::from_text("home")) + other + ours},
               {6, air::ie(0, air::from_text("home")) + typed + ours},
               {257, air::ie(0xDD, air::Bytes(255, 1)) + ours},
               {0, typed, {4}},
               {0, typed, {4, 5}},
               {-1, typed, {4, 6}},
               {-1, typed, {4, 5, 0}},
               {-1, {}},
               {-1, {0xDD}},
               {-1, {0xDD, 0}},
               {-1, other},
               {-1, air::ie(0xDD, {0x02, 0x7F, 0x91, 1})},
               {-1, air::ie(0xDD, {0x03, 0x7E, 0x91, 1})},
               {-1, air::ie(0xDC, {0x02, 0x7E, 0x91, 1})},
               {-1, air::Bytes{0, 200} + ours},
               {-1, air::ie(0, {1}) + air::Bytes{0, 20} + ours},
               {-1, air::ie(0xDD, {0x02, 0x7E}) + air::Bytes{0x91, 0, 1}}};
  for (const auto& c : cases) {
    const ByteView found = find_vendor_ie(c.list, PELION_OUI, c.type);
    EXPECT_EQ(found.empty() ? -1 : found.data() - c.list.data(), c.at) << air::to_hex(c.list);
  }
}

}  // namespace
