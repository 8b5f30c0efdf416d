// The run in a browser, while it goes on and after it: the report's page, fed by a stream.
//
// An HTTP server on 127.0.0.1 with threads of its own. They share nothing with the run but a list
// of JSON texts, which only grows, and a queue of orders, which the run's one thread carries out.
// Whoever may use it knows the token in its address; the Host header is compared too, so that a
// page of somebody else's, open in the same browser, cannot reach it by a name of its own.
#ifndef LAB_WEB_H
#define LAB_WEB_H

#include <functional>
#include <memory>
#include <string>

#include "base/loop.h"

namespace lab {

class Web {
 public:
  // Carries out an order, a line such as "unit-3 power-cut", on the loop's thread. Returns what is
  // wrong with it, or nothing.
  using Order = std::function<std::string(const std::string& line)>;

  // Tells of a unit why it is not in, as JSON; on a thread of the server's.
  using Why = std::function<std::string(const std::string& unit)>;

  Web(Loop& loop, Order order, Why why);
  ~Web();
  Web(const Web&) = delete;
  Web& operator=(const Web&) = delete;

  // Serves `page` on `port`, 0 for a free one. Returns what went wrong, or nothing.
  std::string start(int port, const std::string& page);
  [[nodiscard]] std::string url() const;
  // Hands one JSON text to every browser that watches or will.
  void tell(const std::string& json);
  // Orders are refused from here on.
  void end_orders();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace lab

#endif
