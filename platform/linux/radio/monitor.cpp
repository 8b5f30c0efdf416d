#include "monitor.h"

namespace radio {

namespace {

constexpr int kFrameMax = 4096;
constexpr int kAtOnce = 64;
constexpr const char* kWanted = "wlan[0] = 0x40 or wlan[0] = 0xd0";  // probe requests, actions

void on_packet(u_char* argument, const pcap_pkthdr* header, const u_char* bytes) {
  if (header->caplen == header->len) {
    auto* take = reinterpret_cast<std::function<void(View)>*>(argument);
    (*take)({bytes, header->caplen});
  }
}

bool filter(pcap_t* capture) {
  bpf_program program{};
  if (pcap_compile(capture, &program, kWanted, 1, PCAP_NETMASK_UNKNOWN) != 0) {
    return false;
  }
  const bool set = pcap_setfilter(capture, &program) == 0;
  pcap_freecode(&program);
  return set;
}

}  // namespace

bool Monitor::open(const char* name, std::string& why) {
  char error[PCAP_ERRBUF_SIZE] = "";
  capture_.reset(pcap_create(name, &error[0]));
  pcap_t* capture = capture_.get();
  if (capture == nullptr) {
    why = &error[0];
    return false;
  }
  pcap_set_snaplen(capture, kFrameMax);
  pcap_set_immediate_mode(capture, 1);
  if (pcap_activate(capture) < 0 || pcap_datalink(capture) != DLT_IEEE802_11_RADIO ||
      !filter(capture) || pcap_setnonblock(capture, 1, &error[0]) != 0) {
    why = std::string(name) + ": " + pcap_geterr(capture);
    close();
    return false;
  }
  return true;
}

bool Monitor::read(const std::function<void(View)>& take) const {
  auto* argument = reinterpret_cast<u_char*>(const_cast<std::function<void(View)>*>(&take));
  return pcap_dispatch(capture_.get(), kAtOnce, on_packet, argument) >= 0;
}

}  // namespace radio
