#include "web/web.h"

#include <httplib.h>
#include <sys/eventfd.h>
#include <sys/random.h>
#include <unistd.h>

#include <array>
#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace lab {

namespace {

constexpr std::size_t kThreads = 24;  // a browser that watches holds one
constexpr std::size_t kOrderMost = 500;

std::string new_token() {
  std::array<unsigned char, 16> bytes{};
  if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    return {};
  }
  std::string token;
  for (const unsigned char byte : bytes) {
    token += "0123456789abcdef"[byte >> 4U];
    token += "0123456789abcdef"[byte & 15U];
  }
  return token;
}

struct GivenOrder {
  std::string line;
  std::promise<std::string> answer;
};

}  // namespace

struct Web::State {
  Loop& loop;
  Order carry_out;
  Why why;
  httplib::Server server{};
  std::thread thread{};
  int port = 0;
  int wake = -1;
  std::string token{};
  std::string page{};

  std::mutex mutex{};  // of all below
  std::condition_variable changed{};
  std::vector<std::string> told{};
  std::deque<GivenOrder> orders{};
  bool open_for_orders = true;
  bool closing = false;

  [[nodiscard]] bool is_for_us(const httplib::Request& request) const;
  bool stream(std::size_t& at, httplib::DataSink& sink);
  std::string order(const std::string& line);
  void take_orders();
  void add_routes();
};

bool Web::State::is_for_us(const httplib::Request& request) const {
  const std::string host = request.get_header_value("Host");
  const std::string ours = ":" + std::to_string(port);
  return (host == "127.0.0.1" + ours || host == "localhost" + ours) &&
         request.get_param_value("token") == token;
}

// Sends what has been told since, or a comment where nothing has for a while: so a browser that has
// gone away is noticed.
bool Web::State::stream(std::size_t& at, httplib::DataSink& sink) {
  std::string text;
  {
    std::unique_lock lock(mutex);
    changed.wait_for(lock, std::chrono::seconds(5), [&] { return closing || at < told.size(); });
    if (closing && at == told.size()) {
      sink.done();
      return true;
    }
    for (; at < told.size() && text.size() < 256 * 1024; ++at) {
      text += "id: " + std::to_string(at + 1) + "\ndata: " + told[at] + "\n\n";
    }
  }
  text += text.empty() ? ":\n\n" : "";
  return sink.write(text.data(), text.size());
}

std::string Web::State::order(const std::string& line) {
  std::future<std::string> answer;
  {
    const std::lock_guard lock(mutex);
    if (!open_for_orders) {
      return "the run is over";
    }
    orders.push_back({line, {}});
    answer = orders.back().answer.get_future();
  }
  const std::uint64_t one = 1;
  (void)!write(wake, &one, sizeof one);
  return answer.wait_for(std::chrono::seconds(5)) == std::future_status::ready
             ? answer.get()
             : "the run does not answer";
}

void Web::State::take_orders() {
  std::uint64_t count = 0;
  (void)!read(wake, &count, sizeof count);
  std::deque<GivenOrder> given;
  {
    const std::lock_guard lock(mutex);
    given.swap(orders);
  }
  for (GivenOrder& order : given) {
    order.answer.set_value(carry_out(order.line));
  }
}

void Web::State::add_routes() {
  using httplib::Request;
  using httplib::Response;
  server.set_pre_routing_handler([this](const Request& request, Response& response) {
    response.set_header("Cache-Control", "no-store");
    response.set_header("Referrer-Policy", "no-referrer");
    response.set_header("X-Content-Type-Options", "nosniff");
    if (is_for_us(request)) {
      return httplib::Server::HandlerResponse::Unhandled;
    }
    response.status = 403;
    response.set_content("Open the address that meshlab printed.\n", "text/plain");
    return httplib::Server::HandlerResponse::Handled;
  });
  server.Get("/", [this](const Request&, Response& response) {
    response.set_content(page, "text/html; charset=utf-8");
  });
  server.Get("/stream", [this](const Request& request, Response& response) {
    const std::string last = request.get_header_value("Last-Event-ID");
    const auto at = std::make_shared<std::size_t>(strtoul(last.c_str(), nullptr, 10));
    response.set_chunked_content_provider(
        "text/event-stream",
        [this, at](std::size_t, httplib::DataSink& sink) { return stream(*at, sink); });
  });
  server.Get("/why", [this](const Request& request, Response& response) {
    response.set_content(why(request.get_param_value("unit")), "application/json");
  });
  server.Post("/order", [this](const Request& request, Response& response) {
    const std::string wrong =
        request.body.size() > kOrderMost ? "the order is too long" : order(request.body);
    response.status = wrong.empty() ? 200 : 400;
    response.set_content(wrong, "text/plain; charset=utf-8");
  });
}

Web::Web(Loop& loop, Order order, Why why)
    : state_(new State{.loop = loop, .carry_out = std::move(order), .why = std::move(why)}) {}

Web::~Web() {
  {
    const std::lock_guard lock(state_->mutex);
    state_->closing = true;
  }
  state_->changed.notify_all();
  state_->server.stop();
  if (state_->thread.joinable()) {
    state_->thread.join();
  }
  if (state_->wake >= 0) {
    state_->loop.unwatch(state_->wake);
    close(state_->wake);
  }
}

std::string Web::start(int port, const std::string& page) {
  State& state = *state_;
  state.page = page;
  state.token = new_token();
  state.wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (state.token.empty() || state.wake < 0) {
    return "no server can be made here";
  }
  state.server.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
  state.server.set_payload_max_length(4096);
  state.add_routes();
  const bool bound = port == 0 ? (state.port = state.server.bind_to_any_port("127.0.0.1")) > 0
                               : state.server.bind_to_port("127.0.0.1", state.port = port);
  if (!bound) {
    return "port " + std::to_string(port) + " of 127.0.0.1 cannot be had";
  }
  state.loop.watch(state.wake, [&state] { state.take_orders(); });
  state.thread = std::thread([&state] { state.server.listen_after_bind(); });
  return {};
}

std::string Web::url() const {
  return "http://127.0.0.1:" + std::to_string(state_->port) + "/?token=" + state_->token;
}

void Web::tell(const std::string& json) {
  {
    const std::lock_guard lock(state_->mutex);
    state_->told.push_back(json);
  }
  state_->changed.notify_all();
}

void Web::end_orders() {
  state_->take_orders();
  const std::lock_guard lock(state_->mutex);
  state_->open_for_orders = false;
}

}  // namespace lab
