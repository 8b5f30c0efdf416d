#include "transcripts/shown.h"

#include <regex>

#include "support/daemon_test.h"

namespace {

constexpr std::size_t SECOND_BLOCK =
    256 - 19;  // of a key text behind the headers of operation 1002

void replace(std::string& text, const std::string& what, const std::string& with) {
  for (std::size_t at = text.find(what); !what.empty() && at != std::string::npos;
       at = text.find(what, at + with.size())) {
    text.replace(at, what.size(), with);
  }
}

std::string dumped(const air::Bytes& bytes) {
  std::string text;
  for (const char digit : air::to_hex(bytes)) {
    text += static_cast<char>(toupper(digit));
    text += text.size() % 3 == 2 ? " " : "";
  }
  return text;
}

std::string in_json(std::string text) {
  replace(text, "\n", "\\n");
  return text;
}

void name_key(std::string& text, const std::string& pem, const std::string& name) {
  replace(text, pem, "<" + name + ">");
  replace(text, in_json(pem), "<" + name + " in JSON>");
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

// What the blocks say, with the zeros at the end counted.
std::string decrypted(const std::string& hex) {
  const air::Bytes plain = decrypt_with(peer_key().private_pem, air::from_hex(hex));
  std::string text(plain.begin(), plain.end());
  text.resize(text.find_last_not_of('\0') + 1);
  const std::string fill = std::to_string(plain.size() - text.size());
  name_keys(text);
  return "<sealed for peer: " + text + ", then " + fill + " zeros>";
}

// Runs of hexadecimal digits of a block and more are ciphertext at their end, or a buffer.
void decrypt_runs(std::string& text) {
  constexpr std::size_t BLOCK = 512;
  const std::string zeros(BLOCK, '0');
  std::size_t end = 0;
  for (std::size_t at = 0; at < text.size(); at = end + 1) {
    end = std::min(text.find_first_not_of("0123456789abcdef", at), text.size());
    if (end - at >= BLOCK && (end - at) % BLOCK <= 18) {
      const std::size_t from = at + (end - at) % BLOCK;
      std::size_t to = end;
      while (to > from && text.compare(to - BLOCK, BLOCK, zeros) == 0) {
        to -= BLOCK;
      }
      const std::string plain = to == from ? "" : decrypted(text.substr(from, to - from));
      text.replace(from, to - from, plain);
      end = end - (to - from) + plain.size();
    }
  }
}

void count_zeros(std::string& text) {
  for (std::size_t at = 0; (at = text.find(std::string(32, '0'), at)) != std::string::npos;) {
    const std::size_t end = std::min(text.find_first_not_of('0', at), text.size());
    text.replace(at, end - at, "<" + std::to_string(end - at) + " zeros>");
  }
}

void name_descriptors(std::string& text) {
  static const std::regex descriptor(R"((timerfd: |fd: |: fd |add timer: |loopback socket )(\d+))");
  std::smatch match;
  std::string named;
  while (std::regex_search(text, match, descriptor)) {
    const int timer = match[1] == "loopback socket " ? 0 : timer_number(std::stoi(match[2]));
    named += match.prefix().str() + match[1].str() +
             (timer == 0 ? "<fd>" : "<timer " + std::to_string(timer) + ">");
    text = match.suffix();
  }
  text = named + text;
}

}  // namespace

std::vector<std::string> shown(const std::string& prefix, const std::string& text,
                               const air::Bytes& frame_data) {
  std::string named = text;
  name_keys(named);
  if (frame_data.size() > 32) {
    replace(named, dumped(frame_data), "<the data> ");
  }
  decrypt_runs(named);
  count_zeros(named);
  name_descriptors(named);
  named += named.empty() || named.back() != '\n' ? "\\c\n" : "";
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < named.size();) {
    const std::size_t end = named.find('\n', at);
    std::string line = named.substr(at, end - at);
    const bool unended =
        end + 1 == named.size() && line.size() > 1 && line.compare(line.size() - 2, 2, "\\c") == 0;
    line = escaped(unended ? line.substr(0, line.size() - 2) : line) + (unended ? "\\c" : "");
    if (!line.empty() && line.back() == ' ') {
      line.replace(line.size() - 1, 1, "\\s");
    }
    line = (lines.empty() ? "  " + prefix : "    | ") + line;
    lines.push_back(line.substr(0, line.find_last_not_of(' ') + 1));
    at = end + 1;
  }
  return lines;
}
