#include "discovery/vendor_ie.h"

#include "support/daemon_test.h"

namespace {

using air::operator+;

class VendorIeTest : public DaemonTest {
 protected:
  static long found_at(const air::Bytes& list, const air::Bytes& type = {}) {
    const ByteView elem = find_vendor_ie(list, PELION_OUI, type);
    return elem.empty() ? -1 : elem.data() - list.data();
  }

  static int check(const air::Bytes& received, std::uint8_t plon_vie_data = 1) {
    PelionIe ie{};
    EXPECT_EQ(copy_plon_ie(received, ie), 0);
    PelionIe expected{};
    expected.prod_type = 8;
    expected.prod_id = 2;
    expected.plon_vie_data = plon_vie_data;
    forget();
    return check_plon_ie(ie, expected);
  }
};

TEST_F(VendorIeTest, FindsTheFirstElementOfTheMaker) {
  const air::Bytes ssid = air::ie(0, air::from_text("home"));
  const air::Bytes other = air::ie(0xDD, {0x02, 0x7E, 0x92, 1});
  const air::Bytes ours = air::element(1);
  EXPECT_EQ(found_at(ours), 0);
  EXPECT_EQ(found_at(ssid + other + ours), 12);
  EXPECT_EQ(found_at(ssid + air::ie(0xDD, {0x02, 0x7E, 0x91, 9}) + ours), 6);
  EXPECT_EQ(found_at(air::ie(0, {}) + ours), 2);
  EXPECT_EQ(found_at(ssid + ours + other), 6);
  EXPECT_EQ(found_at(air::ie(0xDD, air::Bytes(255, 1)) + ours), 257);
}

TEST_F(VendorIeTest, PassesOverWhatIsNotOneOrDoesNotFit) {
  const air::Bytes ours = air::element(1);
  for (const air::Bytes& list :
       {air::Bytes{}, air::Bytes{0xDD}, air::Bytes{0xDD, 0}, air::ie(0xDD, {0x02, 0x7E}),
        air::ie(0xDD, {0x02, 0x7E, 0x92, 1}), air::ie(0xDD, {0x02, 0x7F, 0x91, 1}),
        air::ie(0xDD, {0x03, 0x7E, 0x91, 1}), air::ie(0xDC, {0x02, 0x7E, 0x91, 1}),
        air::Bytes{0, 200} + ours, air::ie(0, {1}) + air::Bytes{0, 20} + ours,
        air::ie(0xDD, {0x02, 0x7E}) + air::Bytes{0x91, 0, 1}}) {
    EXPECT_EQ(found_at(list), -1) << air::to_hex(list);
  }
  for (std::size_t size = 0; size < ours.size(); ++size) {
    EXPECT_EQ(found_at(air::ie(1, {2, 4}) +
                       air::Bytes(ours.begin(), ours.begin() + static_cast<long>(size))),
              -1)
        << size;
  }
  EXPECT_EQ(found_at(air::ie(0xDD, {0x02, 0x7E, 0x91})), 0);
}

TEST_F(VendorIeTest, ATypeBehindTheOuiMustMatchToo) {
  const air::Bytes typed = air::ie(0xDD, {0x02, 0x7E, 0x91, 4, 5});
  EXPECT_EQ(found_at(typed, {4}), 0);
  EXPECT_EQ(found_at(typed, {4, 5}), 0);
  EXPECT_EQ(found_at(typed, {4, 6}), -1);
  EXPECT_EQ(found_at(typed, {4, 5, 0}), -1);
}

TEST_F(VendorIeTest, AShortElementCountsAsIfZerosFollowed) {
  PelionIe ie{};
  copy_plon_ie(air::from_hex("dd03027e91"), ie);
  EXPECT_EQ(ie.len, 3);
  EXPECT_EQ(ie.oui, PELION_OUI);
  EXPECT_EQ(ie.prod_type, 0);
  EXPECT_EQ(ie.plon_vie_data, 0);
}

TEST_F(VendorIeTest, LooksAtFourFieldsInTheirOrder) {
  const std::string head = "======== check Pelion IE ========\n";
  air::Bytes ie = air::element(2);
  EXPECT_EQ(check(ie), 1);
  EXPECT_EQ(messages(), head +
                            "Match Pelion OUI.\nMatch prod type: 08\nMatch prod id: 02\n"
                            "Match prod plon_vie_data: 01\n==================================\n");
  for (const std::size_t ignored : {0U, 1U, 5U, 6U, 7U, 8U, 11U}) {
    ie[ignored] = 0x55;
  }
  EXPECT_EQ(check(ie), 1);
  ie[12] = 3;
  EXPECT_EQ(check(ie), 0);
  EXPECT_EQ(messages(), head +
                            "Match Pelion OUI.\nMatch prod type: 08\nMatch prod id: 02\n"
                            "recv prod plon_vie_data: 03\ntarget prod plon_vie_data: 01\n");
  ie[10] = 1;
  EXPECT_EQ(check(ie), 0);
  EXPECT_EQ(messages(), head +
                            "Match Pelion OUI.\nMatch prod type: 08\n"
                            "recv prod id: 01\ntarget prod id: 02\n");
  ie[9] = 7;
  EXPECT_EQ(check(ie), 0);
  EXPECT_EQ(messages(), head + "Match Pelion OUI.\nrecv prod type: 07\ntarget prod type: 08\n");
  ie[4] = 0x90;
  EXPECT_EQ(check(ie), 0);
  EXPECT_EQ(messages(), head);
  EXPECT_EQ(check(air::element(2, 2), 2), 1);
}

TEST_F(VendorIeTest, DumpsEveryByteAsItStands) {
  PelionIe ie{};
  copy_plon_ie(air::from_hex("a0a1a2a3a4a5a6a7a8a9aaabac"), ie);
  dump_plon_ie(ie);
  EXPECT_EQ(messages(),
            "============Dump Pelion IE================\nid: a0\nlen: a1\noui: a2 a3 a4\n"
            "reserved: a5 a6 a7\nversion: a8\nprod_type: a9\nprod_id: aa\nifname: ab\n"
            "plon_vie_data: ac\n==========================================\n");
}

}  // namespace
