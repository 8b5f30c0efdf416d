// What the radio's service takes from strangers, on to the daemon: a packet of the air with its
// radiotap header, the elements of a scanned network, and the words of its socket.
#include "harness.h"
#include "wire/driver_event.h"
#include "wire/request.h"

namespace {

void hand_over(const radio::Datagram& event) {
  if (event.whole()) {
    receive({event.view().begin(), event.view().end()});
  }
}

void hear(radio::View packet) {
  const auto received = radio::strip_radiotap(packet);
  if (!received) {
    return;
  }
  require(received->frame.size() + 8 <= packet.size(), "the frame is behind its header");
  if (const auto heard = radio::examine(received->frame, air::BASE)) {
    hand_over(radio::heard_event(air::BASE, *heard, received->frequency));
  }
}

void ask(std::string_view message) {
  const radio::Request request = radio::read_request(radio::split(message));
  require((request.wish == radio::Wish::none) != request.wrong.empty(), "a reason, or a wish");
  radio::Elements elements;
  if (request.wish == radio::Wish::add_element) {
    require(add(elements, request.element) && remove(elements, request.element), "come and gone");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  boot(ONBOARD_MODE_BASE);
  hear({data, size});
  boot(ONBOARD_MODE_UNCONFIGURED);
  hand_over(radio::bss_event(air::UNIT,
                             {.bssid = air::BASE, .frequency = 2437, .elements = {data, size}}));
  require(context.cur_mode == ONBOARD_MODE_UNCONFIGURED || context.target.channel == 6,
          "a base is on its channel");
  ask({reinterpret_cast<const char*>(data), size});
  return 0;
}
