#include <arpa/inet.h>
#include <sys/socket.h>

#include "journal.h"
#include "radio.h"

namespace radio {

namespace {

// A daemon that is not there misses what it misses, as with a driver. The socket is not connected:
// it would report a daemon that was not there to the next event, and drop that.
void hand_over(const Radio& radio, const Datagram& event) {
  if (!event.whole()) {
    say("an event of more than 4096 bytes was dropped");
    return;
  }
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kEventPort);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const View bytes = event.view();
  static_cast<void>(sendto(radio.daemon.get(), bytes.data(), bytes.size(), 0,
                           reinterpret_cast<const sockaddr*>(&address), sizeof address));
}

// A channel without a number of its own, as those of 6 GHz, is none on which the daemon could
// answer.
void hand_over_bss(const Radio& radio, const Bss& bss) {
  if (channel_of(bss.frequency) != 0) {
    hand_over(radio, bss_event(radio.interface.address, bss));
  }
}

void end_scan(Radio& radio, bool complete) {
  if (!radio.scanning) {
    return;  // another program's
  }
  radio.scanning = false;
  if (complete) {
    radio.kernel.for_each_bss([&radio](const Bss& bss) { hand_over_bss(radio, bss); });
  }
  hand_over(radio, scan_end_event(radio.interface.address,
                                  complete ? ScanEnd::complete : ScanEnd::aborted));
}

// Somebody else's scan or association would wait for the channel that the radio stays on.
void give_way(Radio& radio) {
  if (radio.staying.frequency != 0 && !radio.scanning) {
    say("another program takes the radio from channel %d", channel_of(radio.staying.frequency));
    stop(radio.staying, radio.kernel);
  }
}

}  // namespace

void heard(Radio& radio, View frame, int frequency) {
  const auto seen = examine(frame, radio.interface.address);
  if (!seen || (seen->kind == FrameKind::probe_request && !radio.interface.access_point)) {
    return;
  }
  const bool again =
      seen->retry && seen->from == radio.last_from && seen->sequence == radio.last_sequence;
  radio.last_from = seen->from;
  radio.last_sequence = seen->sequence;
  if (!again) {
    hand_over(radio, heard_event(radio.interface.address, *seen, frequency));
  }
}

void noticed(Radio& radio, const Notification& notice) {
  switch (notice.what) {
    case Notice::scan_done:
    case Notice::scan_aborted:
      end_scan(radio, notice.what == Notice::scan_done);
      break;
    case Notice::sent:
      went_out(radio.sendings, notice.cookie, notice.acknowledged);
      break;
    case Notice::stay_ended:
      ended(radio.staying, notice.cookie);
      break;
    case Notice::wanted:
      give_way(radio);
      break;
    case Notice::frame:
      heard(radio, notice.frame, notice.frequency);
      break;
  }
}

}  // namespace radio
