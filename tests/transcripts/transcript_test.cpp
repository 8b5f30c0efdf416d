// Plays the transcripts beside this file: each is one life of the daemon, from main() to its end,
// written as what happens to it and exactly what it does then.
//
//   # comment                  why the behaviour matters; copied through
//   > nvram wan_status=up      what happens; the lines below it are all that the daemon did
//   > show output; start       one thing after the other
//   > probe from 02:00:00:00:01:00-0e element:2   one after the other from each
//   given: start; state        the same, where all but state and candidates is another transcript's
//                              business
//     $ wl csa 0 5 6           a command
//     set k=v / unset k / save NVRAM; the platform's calls by their names
//     [role_bakery] text       a log message and the operation that speaks; [] a bare one
//     :text                    standard output, from "show output" on
//     after 5 s                of a "pass"
//     = searches               a block of them that blocks.template holds; see folded.h
//
// The daemon runs in its own main loop: each wait for an event asks for the next line here. With
// VORLENT_UPDATE_TRANSCRIPTS set, and outside the sandbox, a transcript that differs is rewritten;
// read what it then says before you commit it.
#include <sys/select.h>
#include <unistd.h>

#include <csignal>
#include <deque>
#include <filesystem>
#include <optional>
#include <regex>
#include <set>
#include <sstream>

#include "core/event_socket.h"
#include "core/signals.h"
#include "discovery/candidate_table.h"
#include "discovery/scan_result.h"
#include "support/daemon_test.h"
#include "support/event_port.h"
#include "transcripts/folded.h"
#include "transcripts/shown.h"

int vorlent_main();

namespace {

using air::operator+;
using Words = std::vector<std::string>;

std::function<void()> next_turn;  // while a transcript's daemon waits for an event

Words split(const std::string& text, char at = ' ') {
  Words words;
  std::istringstream in(text);
  for (std::string word; std::getline(in, word, at);) {
    words.push_back(word);
  }
  return words;
}

std::uint32_t number(const std::string& text, int base = 16) {
  return static_cast<std::uint32_t>(std::stoul(text, nullptr, base));
}

air::Mac station(const std::string& name) {
  if (name == "UNIT" || name == "BASE") {
    return name == "UNIT" ? air::UNIT : air::BASE;
  }
  const air::Bytes bytes = air::from_hex(std::regex_replace(name, std::regex(":"), ""));
  air::Mac mac{};
  EXPECT_EQ(bytes.size(), mac.size()) << name;
  std::copy_n(bytes.begin(), std::min(bytes.size(), mac.size()), mac.begin());
  return mac;
}

// The bytes that a word such as "element:2" names, or none.
std::optional<air::Bytes> bytes_named(const Words& part) {
  const auto byte = [&](std::size_t i, const char* otherwise) {
    return static_cast<std::uint8_t>(number(part[i].empty() ? otherwise : part[i]));
  };
  const std::map<std::string, std::function<air::Bytes()>> kinds = {
      {"element", [&] { return air::element(byte(1, ""), byte(2, "1")); }},
      {"hex", [&] { return air::from_hex(part[1]); }},
      {"text", [&] { return air::from_text(part[1]); }},
      {"fill", [&] { return air::Bytes(number(part[1], 10), byte(2, "0")); }},
      {"peer-key", [] { return air::from_text(peer_key().public_pem); }},
      {"sat-key", [&] { return air::sat_key_content(peer_key().public_pem, byte(1, "2")); }},
      {"credentials", [&] { return air::credentials(part[1], part[2], part[3], part[4]); }}};
  const auto kind = kinds.find(part[0]);
  return kind == kinds.end() ? std::nullopt : std::optional(kind->second());
}

// The bytes that the words name, one after the other. Words that name none go into `options`.
air::Bytes bytes_of(const Words& words, std::map<std::string, std::string>* options = nullptr) {
  air::Bytes data;
  for (const std::string& word : words) {
    Words part = split(word, ':');
    part.resize(5);
    if (const auto bytes = bytes_named(part)) {
      data = data + *bytes;
    } else if (part[0] == "sealed") {  // all before it, for the daemon or for somebody else
      data = encrypt_for(part[1] == "peer" ? peer_key().public_pem : read_file("/tmp/rsa_pub.pem"),
                         data);
    } else {
      EXPECT_TRUE(options->count(part[0]) == 1 || part[0].compare(0, 2, "at") == 0) << word;
      options->insert_or_assign(part[0], part[1]);
    }
  }
  return data;
}

class TranscriptTest : public DaemonTest, public testing::WithParamInterface<std::string> {
 protected:
  TranscriptTest() {
    platform().on_event = [this](const std::string& event) { record(event); };
  }
  ~TranscriptTest() override { close(port_); }

  // Returns the transcript as it should read.
  std::string play() {
    script_ = split(read_file(GetParam()), '\n');
    while (!next_step().empty()) {
      perform_step();
    }
    tell_events();
    return told_ + pending_;
  }

 private:
  void record(const std::string& event) {
    record_output();
    const std::size_t line_number = event.find("][");
    const std::size_t text = event.find(']', line_number + 1);
    if (event.compare(0, 4, "log ") != 0) {
      tell("", event + '\n');
    } else if (event[4] != '[' || line_number == std::string::npos) {
      tell("[] ", event.substr(4));
    } else {
      tell(event.substr(4, line_number - 3) + ' ', event.substr(text + 1));
    }
  }

  void record_output() {
    const std::string output = printed();
    if (show_output_ && !output.empty()) {
      tell(":", std::regex_replace(output, std::regex(R"((\]\[)\d+\])"), "][]"));
    }
  }

  void tell(const std::string& prefix, const std::string& text) {
    if (muted_) {
      return;
    }
    if (std::exchange(marked_, passed_) != passed_) {
      events_.push_back("after " + std::to_string(passed_) + " s");
    }
    events_.push_back(shown(prefix, text, frame_data_));
  }

  void tell_events() { told_ += folded(std::exchange(events_, {})); }

  // One wait of the main loop for an event: a second passes, or the next thing happens.
  void until_a_turn() {
    record_output();
    while (passed_ == until_) {
      const std::string next = next_step();
      if (next.empty() || next == "start") {
        muted_ = true;  // the process is ended from outside
        context.need_restart = 1;
        return;
      }
      if (perform_step()) {
        return;
      }
    }
    move_clock(1);
    ++passed_;
  }

  // The step that comes next, which the script's next lines may have to tell; empty at its end.
  std::string next_step() {
    for (; steps_.empty() && at_ < script_.size(); ++at_) {
      const std::string& line = script_[at_];
      given_ = line.compare(0, 7, "given: ") == 0;
      if (line.compare(0, 2, "  ") == 0) {
        continue;  // what the daemon is expected to do is compared at the end
      }
      pending_ += line + '\n';
      if (given_ || line[0] == '>') {
        add_steps(line.substr(given_ ? 7 : 2));
      }
    }
    return steps_.empty() ? "" : steps_.front();
  }

  void add_steps(const std::string& line) {
    static const std::regex range("(.* from .*:)(..)-(..) (.*)");
    for (const std::string& step : split(std::regex_replace(line, std::regex("; "), ";"), ';')) {
      std::smatch part;
      if (!std::regex_match(step, part, range)) {
        steps_.push_back(step);
        continue;
      }
      for (std::uint32_t i = number(part[2]); i <= number(part[3]); ++i) {
        steps_.push_back(part[1].str() + air::to_hex({static_cast<std::uint8_t>(i)}) + ' ' +
                         part[4].str());
      }
    }
  }

  // Returns whether the daemon has a turn now.
  bool perform_step() {
    const Words step = split(steps_.front());
    steps_.pop_front();
    if (!pending_.empty()) {
      tell_events();
      told_ += std::exchange(pending_, "");
    }
    muted_ = given_ && step[0] != "state" && step[0] != "candidates";
    until_ = passed_ = marked_ = 0;
    return perform(step);
  }

  bool perform(const Words& words) {
    const std::string& verb = words[0];
    const Words rest(words.begin() + 1, words.end());
    if (verb == "start") {
      live();
    } else if (verb == "state") {
      tell("", state_shown());
    } else if (verb == "candidates") {
      tell("", access(CANDIDATE_FILE, F_OK) == 0 ? read_file(CANDIDATE_FILE) : "no file\n");
    } else if (verb == "show") {
      show_output_ = true;
    } else if (verb == "listed") {
      platform().candidate_satellites.insert(rest.begin(), rest.end());
    } else if (verb == "write") {
      const air::Bytes bytes = bytes_of({rest.begin() + 1, rest.end()});
      write_file(rest[0], {bytes.begin(), bytes.end()});
    } else if (verb == "remove") {
      std::filesystem::remove(rest[0]);
    } else if (verb == "folder") {
      std::filesystem::create_directory(rest[0]);
    } else if (verb == "refuse") {
      platform().fails = [left = 1, name = rest[0]](const std::string& call) mutable {
        return call == name && left-- > 0;
      };
    } else if (verb == "port") {
      open_eventfd(port_);
    } else {
      return happens(verb, rest);
    }
    return false;
  }

  // One process, which starts with nothing but what it finds in NVRAM and files.
  void live() {
    new_process();
    next_turn = [this] { until_a_turn(); };
    const int status = vorlent_main();
    next_turn = nullptr;
    record_output();
    tell("", "exit " + std::to_string(status) + '\n');
  }

  // What gives the daemon a turn.
  bool happens(const std::string& verb, const Words& rest) {
    if (!next_turn && verb != "nvram") {
      throw std::invalid_argument("the daemon does not run: " + verb);
    }
    if (verb == "big-endian") {
      gg_swap = true;
    } else if (verb == "nvram") {
      for (const std::string& setting : rest) {
        const std::size_t equals = setting.find('=');
        platform().nvram[setting.substr(0, equals)] = setting.substr(equals + 1);
      }
    } else if (verb == "pass") {
      until_ = std::stoi(rest[0]);
      return false;
    } else if (verb == "signal") {
      const std::map<std::string, int> numbers = {{"USR1", SIGUSR1}, {"USR2", SIGUSR2}};
      for (const std::string& name : rest) {
        numbers.count(name) == 1 ? (void)raise(numbers.at(name)) : sig_handler(std::stoi(name));
      }
    } else {
      send(verb, rest);
    }
    return true;
  }

  void send(const std::string& verb, const Words& rest) {
    const auto from = std::find(rest.begin(), rest.end(), "from");
    const air::Mac mac = station(*(from + 1));
    std::map<std::string, std::string> options = {
        {"interface", "wl0"}, {"status", "8"}, {"chanspec", "1006"}, {"cut", "9999"}};
    air::Bytes data = bytes_of({from + 2, rest.end()}, &options);
    const std::map<std::string, std::uint32_t> types = {{"probe", 44}, {"frame", 59}, {"scan", 69}};
    const auto type = types.find(verb);
    if (verb == "probe") {
      data = air::probe_data(data);
    } else if (verb == "scan") {
      const auto chanspec = static_cast<std::uint16_t>(number(options["chanspec"]));
      data = air::scan_data({.bssid = mac, .chanspec = chanspec, .elements = data}, gg_swap);
    } else if (verb == "frame") {
      frame_data_ = data;
      data = air::action_frame(static_cast<std::uint16_t>(number(rest[0])), data);
    }
    air::Bytes datagram = air::event(type == types.end() ? number(rest[0], 10) : type->second, mac,
                                     data, options["interface"], number(options["status"]));
    for (const auto& [name, value] : options) {
      if (name.compare(0, 2, "at") == 0) {  // "at28:0800" overwrites from offset 28 on
        const air::Bytes bytes = air::from_hex(value);
        std::copy(bytes.begin(), bytes.end(), datagram.begin() + std::stoi(name.substr(2)));
      }
    }
    datagram.resize(std::min<std::size_t>(datagram.size(), number(options["cut"], 10)));
    send_to_event_port(datagram);
  }

  Words script_;
  std::size_t at_ = 0;
  std::string pending_;  // lines up to that of the next step
  std::deque<std::string> steps_;
  bool given_ = false;  // as the steps are
  std::string told_;
  std::vector<std::string> events_;  // since then
  bool muted_ = false;
  bool show_output_ = false;
  int passed_ = 0, until_ = 0, marked_ = 0;  // seconds of the present "pass"
  air::Bytes frame_data_;
  int port_ = -1;
};

TEST_P(TranscriptTest, IsWhatTheDaemonDoes) {
  const std::string done = play();
  EXPECT_EQ(read_file(GetParam()), done) << GetParam();
  if (HasFailure() && getenv("VORLENT_UPDATE_TRANSCRIPTS") != nullptr) {
    write_file(GetParam(), done);
  }
}

std::set<std::string> transcripts() {
  std::set<std::string> found;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(TRANSCRIPTS)) {
    if (entry.path().extension() == ".txt") {
      found.insert(entry.path());
    }
  }
  return found;
}

std::string name_of(const testing::TestParamInfo<std::string>& file) {
  const std::string name = std::filesystem::path(file.param).replace_extension();
  return std::regex_replace(name.substr(sizeof TRANSCRIPTS), std::regex("[^A-Za-z0-9]"), "_");
}

INSTANTIATE_TEST_SUITE_P(Transcripts, TranscriptTest, testing::ValuesIn(transcripts()), name_of);

}  // namespace

extern "C" {

int __real_select(int count, fd_set* in, fd_set* out, fd_set* other, timeval* timeout);
int __wrap_select(int count, fd_set* in, fd_set* out, fd_set* other, timeval* timeout) {
  if (count > 0 && next_turn) {
    EXPECT_EQ(timeout->tv_sec * 1000000 + timeout->tv_usec, 1000000) << "the daemon's pace";
    next_turn();
    *timeout = timeval{};
  }
  return __real_select(count, in, out, other, timeout);
}

}  // extern "C"
