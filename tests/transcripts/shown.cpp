#include "transcripts/shown.h"

#include <algorithm>
#include <functional>
#include <regex>
#include <sstream>

#include "discovery/candidate_table.h"
#include "support/daemon_test.h"

namespace {

// Of a key text behind the headers of operation 1002.
constexpr std::size_t SECOND_BLOCK = 256 - 19;

void replace(std::string& text, const std::string& what, const std::string& with) {
  for (std::size_t at = text.find(what); !what.empty() && at != std::string::npos;
       at = text.find(what, at + with.size())) {
    text.replace(at, what.size(), with);
  }
}

void replace_each(std::string& text, const std::regex& what,
                  const std::function<std::string(const std::smatch&)>& with) {
  std::string done;
  for (std::smatch match; std::regex_search(text, match, what); text = match.suffix().str()) {
    done += match.prefix().str() + with(match);
  }
  text = done + text;
}

std::string dumped(const air::Bytes& bytes) {
  std::string text;
  for (const unsigned byte : bytes) {
    std::array<char, 4> code{};
    (void)snprintf(code.data(), code.size(), "%02X ", byte);
    text += code.data();
  }
  return text;
}

void name_key(std::string& text, const std::string& pem, const std::string& name) {
  replace(text, pem, "<" + name + ">");
  std::string in_json = pem;
  replace(in_json, "\n", "\\n");
  replace(text, in_json, "<" + name + " in JSON>");
  replace(text, air::to_hex(air::from_text(pem)), "<" + name + " in hex>");
  replace(text, dumped(air::from_text(pem)), "<" + name + " in bytes>");
  replace(text, pem.substr(std::min(pem.size(), SECOND_BLOCK)), "<end of " + name + '>');
}

void name_keys(std::string& text) {
  name_key(text, peer_key().public_pem, "peer key");
  name_key(text, read_file("/tmp/rsa_pub.pem"), "own key");
}

std::string escaped(const std::string& text) {
  std::string visible;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    std::array<char, 5> code{};
    (void)snprintf(code.data(), code.size(), "\\x%02x", byte);
    visible += c == '\t'                    ? "\\t"
               : byte < 0x20 || byte > 0x7e ? code.data()
               : c == '\\'                  ? "\\\\"
                                            : std::string(1, c);
  }
  return visible;
}

// Blocks in hexadecimal as what they say, with the zeros at the end counted; blocks of zeros behind
// them are what the buffer holds.
std::string decrypted(std::string hex) {
  constexpr std::size_t BLOCK = 512;
  std::string zeros;
  while (hex.size() >= BLOCK && hex.find_last_not_of('0') + 1 <= hex.size() - BLOCK) {
    zeros += hex.substr(hex.size() - BLOCK);
    hex.resize(hex.size() - BLOCK);
  }
  if (hex.empty() || hex.size() % BLOCK != 0) {
    return hex + zeros;
  }
  const air::Bytes plain = decrypt_with(peer_key().private_pem, air::from_hex(hex));
  std::string text(plain.begin(), plain.end());
  text.resize(text.find_last_not_of('\0') + 1);
  const std::string fill = std::to_string(plain.size() - text.size());
  name_keys(text);
  return "<sealed for peer: " + text + ", then " + fill + " zeros>" + zeros;
}

void name_what_is_fresh(std::string& text) {
  static const std::regex sealed(R"((0409027e91100[23][0-9a-f]{4}|: \n)([0-9a-f]+))");
  static const std::regex zeros("0{32,}");
  static const std::regex descriptor(R"((timerfd: |fd: |: fd |add timer: |socket )(\d+))");
  name_keys(text);
  replace_each(text, sealed,
               [](const std::smatch& match) { return match[1].str() + decrypted(match[2]); });
  replace_each(text, zeros, [](const std::smatch& match) {
    return "<" + std::to_string(match.length()) + " zeros>";
  });
  replace_each(text, descriptor, [](const std::smatch& match) {
    const int timer = match[1] == "socket " ? 0 : timer_number(std::stoi(match[2]));
    return match[1].str() + (timer == 0 ? "<fd>" : "<timer " + std::to_string(timer) + ">");
  });
}

}  // namespace

std::string shown(const std::string& prefix, const std::string& text,
                  const air::Bytes& frame_data) {
  std::string named = text;
  name_what_is_fresh(named);
  if (frame_data.size() > 32) {
    replace(named, dumped(frame_data), "<the data> ");
  }
  std::istringstream in(named.empty() ? "\n" : named);
  std::string lines;
  for (std::string line; std::getline(in, line);) {
    line = escaped(line);
    if (!line.empty() && line.back() == ' ') {
      line.replace(line.size() - 1, 1, "\\s");
    }
    line.insert(0, lines.empty() ? prefix : "\n");
    lines += line.substr(0, line.find_last_not_of(' ') + 1);
  }
  return named.empty() || named.back() != '\n' ? lines + "\\c" : lines;
}

std::string state_shown() {
  std::ostringstream out;
  const auto count = [&out](const char* name, std::int64_t value) {
    value != 0 ? out << name << value : out;
  };
  const auto text = [&out](const char* name, const char* value) {
    *value != '\0' ? out << name << value : out;
  };
  const auto timer = [](int fd) { return fd > 0 ? timer_number(fd) : fd; };
  out << "mode " << context.cur_mode;
  if (context.target_role != context.cur_mode) {
    out << " target " << context.target_role;
  }
  count(" timer ", timer(mode_timer_fd));
  count(" restart ", context.need_restart);
  count(" window ", context.onboarding_active);
  count(", failures of the WAN ", context.wan_fail_count);
  count(", failures of the backhaul ", context.bh_fail_count);
  count(", stage ", context.act_stage);
  count(" timer ", timer(context.act_timer_fd));
  count(" sent ", context.act_op_sent);
  count(" awaits ", context.act_op_wait);
  const TargetBssInfo& base = context.target;
  text(", base ", base.bssid.data());
  count(" channel ", base.channel);
  count(" key of ", base.key_len);
  text(" ", base.base_pub_key.data());
  text(", SSID ", base.bh_ssid.data());
  text(", pass phrase ", base.bh_password.data());
  text(", crypto ", base.bh_crypto.data());
  text(", AKM ", base.bh_akm.data());
  for (std::size_t i = 0; i < static_cast<std::size_t>(context.candidate_count); ++i) {
    const CandidateEntry& row = candidate_table[i];
    out << ", " << row.mac.data();
    count(" stage ", row.stage);
    count(" key of ", row.key_len);
    text(" ", row.pub_key.data());
  }
  return out.str() + '\n';
}
