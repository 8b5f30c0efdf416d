// What becomes of a handshake frame that the driver told a daemon of: whether the daemon serves it,
// and if not, why. Told from the daemon's state and from its log, which names each frame that it
// takes, in the order in which they came. A frame of which nothing shows the contrary passes for
// served.
#ifndef LAB_SERVICE_H
#define LAB_SERVICE_H

#include <deque>
#include <optional>

#include "node/happening.h"

namespace lab {

struct Mesh;

struct WaitingFrame {
  const Node* from;
  int operation;
  std::uint64_t number;
  bool judged = false;
};

struct Service {
  std::deque<WaitingFrame> waiting;     // told, and not yet seen in the log
  std::optional<WaitingFrame> current;  // that the daemon works on
  bool table_full = false;
  bool was_full = false;  // when the last push emptied it
};

void service_notices(Mesh& mesh, const Happening& seen);

}  // namespace lab

#endif
