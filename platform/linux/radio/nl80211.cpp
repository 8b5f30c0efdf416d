#include "nl80211.h"

#include <linux/nl80211.h>
#include <net/if.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/genl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "netlink_answer.h"
#include "usable_channels.h"

namespace radio {

namespace {

constexpr int kUsualStay = 1000;  // ms, where the kernel says nothing

bool parse(nl_msg* message, Attributes& out) {
  auto* header = static_cast<genlmsghdr*>(nlmsg_data(nlmsg_hdr(message)));
  return nlmsg_hdr(message)->nlmsg_len >= NLMSG_LENGTH(GENL_HDRLEN) &&
         nla_parse(out.data(), NL80211_ATTR_MAX, genlmsg_attrdata(header, 0),
                   genlmsg_attrlen(header, 0), nullptr) == 0;
}

int command_of(nl_msg* message) {
  return static_cast<genlmsghdr*>(nlmsg_data(nlmsg_hdr(message)))->cmd;
}

// What a request waits for.
struct Exchange {
  const std::function<void(nlattr**)>* answer;
  int result = 1;  // 1: not over
};

int on_answer(nl_msg* message, void* argument) {
  const auto* exchange = static_cast<Exchange*>(argument);
  Attributes attributes{};
  if (*exchange->answer && parse(message, attributes)) {
    (*exchange->answer)(attributes.data());
  }
  return NL_OK;
}

int on_end(nl_msg* /*message*/, void* argument) {
  static_cast<Exchange*>(argument)->result = 0;
  return NL_STOP;
}

int on_error(sockaddr_nl* /*from*/, nlmsgerr* error, void* argument) {
  static_cast<Exchange*>(argument)->result = error->error;
  return NL_STOP;
}

struct FreeCallbacks {
  void operator()(nl_cb* callbacks) const { nl_cb_put(callbacks); }
};
using Callbacks = std::unique_ptr<nl_cb, FreeCallbacks>;

struct Reader {
  const std::function<void(const Notification&)>& take;
  std::uint32_t index;
};

int on_event(nl_msg* message, void* argument) {
  const auto* reader = static_cast<Reader*>(argument);
  Attributes attributes{};
  if (parse(message, attributes) && u32_of(attributes[NL80211_ATTR_IFINDEX]) == reader->index) {
    if (const auto seen = notification(command_of(message), attributes.data())) {
      reader->take(*seen);
    }
  }
  return NL_OK;
}

int any_sequence(nl_msg* /*message*/, void* /*argument*/) {
  return NL_OK;
}

}  // namespace

// A request on its way; the attributes that did not fit are found when it is sent.
class Nl80211::Message {
 public:
  Message(int family, int command, int index, int flags = 0) : message_(nlmsg_alloc_size(8192)) {
    genlmsg_put(message_, 0, 0, family, 0, flags, static_cast<std::uint8_t>(command), 0);
    u32(NL80211_ATTR_IFINDEX, static_cast<std::uint32_t>(index));
  }
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;
  ~Message() { nlmsg_free(message_); }

  void u32(int name, std::uint32_t value) {
    fits_ = nla_put_u32(message_, name, value) == 0 && fits_;
  }
  void u64(int name, std::uint64_t value) {
    fits_ = nla_put_u64(message_, name, value) == 0 && fits_;
  }
  void flag(int name) { fits_ = nla_put_flag(message_, name) == 0 && fits_; }
  void bytes(int name, View data) {
    fits_ = nla_put(message_, name, static_cast<int>(data.size()), data.data()) == 0 && fits_;
  }
  nlattr* begin(int name) { return nla_nest_start(message_, name); }
  void end(nlattr* nest) { nla_nest_end(message_, nest); }

  nl_msg* get() { return message_; }
  bool fits() const { return fits_; }

 private:
  nl_msg* message_;
  bool fits_ = true;
};

int Nl80211::request_on(nl_sock* socket, Message& message,
                        const std::function<void(nlattr**)>& answer) {
  if (!message.fits()) {
    return -EMSGSIZE;
  }
  Exchange exchange{.answer = &answer};
  const Callbacks callbacks(nl_cb_alloc(NL_CB_DEFAULT));
  nl_cb_set(callbacks.get(), NL_CB_SEQ_CHECK, NL_CB_CUSTOM, any_sequence, nullptr);
  nl_cb_set(callbacks.get(), NL_CB_VALID, NL_CB_CUSTOM, on_answer, &exchange);
  nl_cb_set(callbacks.get(), NL_CB_FINISH, NL_CB_CUSTOM, on_end, &exchange);
  nl_cb_set(callbacks.get(), NL_CB_ACK, NL_CB_CUSTOM, on_end, &exchange);
  nl_cb_err(callbacks.get(), NL_CB_CUSTOM, on_error, &exchange);
  if (nl_send_auto(socket, message.get()) < 0) {
    return -EIO;
  }
  while (exchange.result > 0) {
    if (nl_recvmsgs(socket, callbacks.get()) < 0 && exchange.result > 0) {
      return -EIO;
    }
  }
  return exchange.result;
}

int Nl80211::request(Message& message, const std::function<void(nlattr**)>& answer) const {
  return request_on(commands_.get(), message, answer);
}

bool Nl80211::join_groups() const {
  for (const char* name : {"scan", "mlme"}) {
    const int group = genl_ctrl_resolve_grp(commands_.get(), "nl80211", name);
    if (group < 0 || nl_socket_add_membership(events_.get(), group) != 0) {
      return false;
    }
  }
  return true;
}

bool Nl80211::open(const std::string& interface, std::string& why) {
  index_ = static_cast<int>(if_nametoindex(interface.c_str()));
  if (index_ == 0) {
    why = interface + ": no such network interface";
    return false;
  }
  commands_.reset(nl_socket_alloc());
  events_.reset(nl_socket_alloc());
  if (!commands_ || !events_ || genl_connect(commands_.get()) != 0 ||
      genl_connect(events_.get()) != 0 ||
      (family_ = genl_ctrl_resolve(commands_.get(), "nl80211")) < 0 || !join_groups()) {
    why = "the kernel's 802.11 stack (nl80211) does not answer";
    return false;
  }
  const timeval patience{.tv_sec = 3, .tv_usec = 0};
  setsockopt(nl_socket_get_fd(commands_.get()), SOL_SOCKET, SO_RCVTIMEO, &patience,
             sizeof patience);
  nl_socket_set_buffer_size(events_.get(), 1 << 20, 0);
  setsockopt(nl_socket_get_fd(events_.get()), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  if (!this->interface()) {
    why = interface + ": not a wireless interface";
    return false;
  }
  read_limits();
  return true;
}

std::optional<Interface> Nl80211::interface() const {
  Interface out;
  Message message(family_, NL80211_CMD_GET_INTERFACE, index_);
  const int result = request(message, [&out](nlattr** attributes) {
    out.access_point = u32_of(attributes[NL80211_ATTR_IFTYPE]) == NL80211_IFTYPE_AP;
    out.high_throughput =
        attributes[NL80211_ATTR_CHANNEL_WIDTH] != nullptr &&
        u32_of(attributes[NL80211_ATTR_CHANNEL_WIDTH]) != NL80211_CHAN_WIDTH_20_NOHT;
    out.phy = u32_of(attributes[NL80211_ATTR_WIPHY]);
    out.address = mac_at(bytes_of(attributes[NL80211_ATTR_MAC]), 0);
    out.frequency = static_cast<int>(u32_of(attributes[NL80211_ATTR_WIPHY_FREQ]));
  });
  return result == 0 ? std::optional(out) : std::nullopt;
}

void Nl80211::read_limits() {
  longest_stay_ = kUsualStay;
  Message message(family_, NL80211_CMD_GET_WIPHY, index_, NLM_F_DUMP);
  message.flag(NL80211_ATTR_SPLIT_WIPHY_DUMP);
  request(message, [this](nlattr** attributes) {
    if (const auto stay = u32_of(attributes[NL80211_ATTR_MAX_REMAIN_ON_CHANNEL_DURATION])) {
      longest_stay_ = static_cast<int>(stay);
    }
  });
}

std::vector<int> Nl80211::usable_frequencies() const {
  std::vector<int> out;
  Message message(family_, NL80211_CMD_GET_WIPHY, index_, NLM_F_DUMP);
  message.flag(NL80211_ATTR_SPLIT_WIPHY_DUMP);
  request(message, [&out](nlattr** attributes) {
    nlattr* band = nullptr;
    int left = 0;
    if (attributes[NL80211_ATTR_WIPHY_BANDS] != nullptr) {
      nla_for_each_nested(band, attributes[NL80211_ATTR_WIPHY_BANDS], left) {
        collect_frequencies(band, out);
      }
    }
  });
  return out;
}

// The kernel hands the frames to the socket that asks.
int Nl80211::listen_for_actions() const {
  constexpr std::array<std::uint8_t, 2> action{0xd0, 0x00};
  Message message(family_, NL80211_CMD_REGISTER_FRAME, index_);
  message.bytes(NL80211_ATTR_FRAME_TYPE, action);
  message.bytes(NL80211_ATTR_FRAME_MATCH, kActionPrefix);
  return request_on(events_.get(), message);
}

int Nl80211::scan(View elements, const std::vector<int>& frequencies) const {
  Message message(family_, NL80211_CMD_TRIGGER_SCAN, index_);
  nlattr* ssids = message.begin(NL80211_ATTR_SCAN_SSIDS);
  message.bytes(1, {});  // of any name
  message.end(ssids);
  nlattr* list = message.begin(NL80211_ATTR_SCAN_FREQUENCIES);
  int count = 0;
  for (const int frequency : frequencies) {
    message.u32(++count, static_cast<std::uint32_t>(frequency));
  }
  message.end(list);
  if (!elements.empty()) {
    message.bytes(NL80211_ATTR_IE, elements);
  }
  // What an earlier scan has found may be gone by now, or may carry another element.
  message.u32(NL80211_ATTR_SCAN_FLAGS, NL80211_SCAN_FLAG_FLUSH);
  return request(message);
}

void Nl80211::abort_scan() const {
  Message message(family_, NL80211_CMD_ABORT_SCAN, index_);
  request(message);
}

void Nl80211::for_each_bss(const std::function<void(const Bss&)>& take) const {
  Message message(family_, NL80211_CMD_GET_SCAN, index_, NLM_F_DUMP);
  request(message, [&take](nlattr** attributes) { take_bss(attributes, take); });
}

int Nl80211::stay_on(int frequency, std::uint64_t& cookie) const {
  Message message(family_, NL80211_CMD_REMAIN_ON_CHANNEL, index_);
  message.u32(NL80211_ATTR_WIPHY_FREQ, static_cast<std::uint32_t>(frequency));
  message.u32(NL80211_ATTR_DURATION, static_cast<std::uint32_t>(longest_stay_));
  return request(message, [&cookie](nlattr** attributes) {
    cookie = u64_of(attributes[NL80211_ATTR_COOKIE]);
  });
}

void Nl80211::leave(std::uint64_t cookie) const {
  Message message(family_, NL80211_CMD_CANCEL_REMAIN_ON_CHANNEL, index_);
  message.u64(NL80211_ATTR_COOKIE, cookie);
  request(message);
}

int Nl80211::send(View frame, int frequency, int stay, std::uint64_t& cookie) const {
  Message message(family_, NL80211_CMD_FRAME, index_);
  message.u32(NL80211_ATTR_WIPHY_FREQ, static_cast<std::uint32_t>(frequency));
  message.flag(NL80211_ATTR_OFFCHANNEL_TX_OK);
  if (stay != 0) {
    message.u32(NL80211_ATTR_DURATION, static_cast<std::uint32_t>(stay));
  }
  message.bytes(NL80211_ATTR_FRAME, frame);
  return request(message, [&cookie](nlattr** attributes) {
    cookie = u64_of(attributes[NL80211_ATTR_COOKIE]);
  });
}

int Nl80211::add_monitor(const char* name) const {
  const auto own = interface();
  Message message(family_, NL80211_CMD_NEW_INTERFACE, index_);
  message.u32(NL80211_ATTR_WIPHY, own ? own->phy : 0);
  message.bytes(NL80211_ATTR_IFNAME,
                {reinterpret_cast<const std::uint8_t*>(name), strlen(name) + 1});
  message.u32(NL80211_ATTR_IFTYPE, NL80211_IFTYPE_MONITOR);
  return request(message);
}

void Nl80211::remove(const char* name) const {
  if (const unsigned index = if_nametoindex(name)) {
    Message message(family_, NL80211_CMD_DEL_INTERFACE, static_cast<int>(index));
    request(message);
  }
}

void Nl80211::read_events(const std::function<void(const Notification&)>& take) const {
  Reader reader{take, static_cast<std::uint32_t>(index_)};
  const Callbacks callbacks(nl_cb_alloc(NL_CB_DEFAULT));
  nl_cb_set(callbacks.get(), NL_CB_SEQ_CHECK, NL_CB_CUSTOM, any_sequence, nullptr);
  nl_cb_set(callbacks.get(), NL_CB_VALID, NL_CB_CUSTOM, on_event, &reader);
  nl_recvmsgs(events_.get(), callbacks.get());
}

int set_up(const std::string& interface, bool up) {
  ifreq request{};
  interface.copy(&request.ifr_name[0], IFNAMSIZ - 1);
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  int result = ioctl(fd, SIOCGIFFLAGS, &request);
  if (result == 0) {
    const int flags = up ? request.ifr_flags | IFF_UP : request.ifr_flags & ~IFF_UP;
    request.ifr_flags = static_cast<short>(flags);
    result = ioctl(fd, SIOCSIFFLAGS, &request);
  }
  const int error = result == 0 ? 0 : -errno;
  ::close(fd);
  return error;
}

}  // namespace radio
