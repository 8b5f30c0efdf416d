// What becomes of a handshake frame that the driver told a daemon of: whether the daemon serves it,
// and if not, why. Told from the daemon's state and from its log, which names each frame that it
// takes or drops, in the order in which they came: so a frame that a stranger forged in a unit's
// name has to wait among those of that unit. A frame of which nothing shows the contrary passes for
// served.
#ifndef LAB_FRAME_VERDICT_H
#define LAB_FRAME_VERDICT_H

#include <deque>
#include <optional>

#include "node/happening.h"

namespace lab {

struct Mesh;

struct WaitingFrame {
  const Node* from;
  int operation;  // 0: forged, or none
  std::uint64_t number;
  bool judged = false;
  // As the daemon's log names it: who it says it is from, its operation, and its bytes.
  std::string station{};
  unsigned attr_id = 0;
  std::size_t size = 0;
};

struct FrameVerdicts {
  std::deque<WaitingFrame> waiting;     // told, and not yet seen in the log
  std::optional<WaitingFrame> current;  // that the daemon works on
  bool table_full = false;
  bool was_full = false;  // when the last push emptied it
};

void frame_verdict_notices(Mesh& mesh, const Happening& seen);

}  // namespace lab

#endif
