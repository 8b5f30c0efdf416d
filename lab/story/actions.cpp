#include "story/actions.h"

#include <signal.h>

#include <array>
#include <cstdlib>

#include "node/mesh.h"
#include "node/stranger.h"
#include "story/words.h"

namespace lab {

namespace {

using Text = const std::string&;

// Between a power cut and the next start lie as many laboratory seconds as the scenario says.
void power_cycle(Mesh& mesh, Node& node, Text off) {
  const Time span = parse_time(off).value_or(0s);
  power_off(mesh, node, [&mesh, &node, span] {
    mesh.loop.after(span, [&mesh, &node] { power_on(mesh, node); });
  });
}

void change_setting(Mesh& mesh, Node& node, Text setting) {
  const std::size_t equals = setting.find('=');
  set_nvram(mesh, node, setting.substr(0, equals), setting.substr(equals + 1));
}

template <int number>
void send(Mesh& /*mesh*/, Node& node, Text /*none*/) {
  signal_daemon(node.sandbox, number);
}

template <bool muted>
void mute(Mesh& /*mesh*/, Node& node, Text /*none*/) {
  node.radio.muted = muted;
}

void open_windows(Mesh& mesh, Node& node, Text off) {
  node.owner.opens_windows = off.empty();
  if (off.empty()) {
    request_window(mesh, node);
  }
}

void hold(Mesh& /*mesh*/, Node& node, Text window) {
  node.owner.automatic = false;
  node.owner.opens_windows = node.owner.opens_windows && window.empty();
}

void resume(Mesh& /*mesh*/, Node& node, Text /*none*/) {
  node.owner.automatic = true;
  node.owner.opens_windows = true;
}

constexpr std::array kActions{
    Action{"power-on", Argument::none, Whose::radios,
           [](Mesh& mesh, Node& node, Text) { power_on(mesh, node); }},
    Action{"power-cut", Argument::none, Whose::radios,
           [](Mesh& mesh, Node& node, Text) { power_off(mesh, node); }},
    Action{"power-cycle", Argument::time, Whose::daemons, power_cycle},
    Action{"kill", Argument::none, Whose::daemons,
           [](Mesh&, Node& node, Text) { kill_daemon(node); }},
    Action{"freeze", Argument::none, Whose::daemons, send<SIGSTOP>},
    Action{"thaw", Argument::none, Whose::daemons, send<SIGCONT>},
    Action{"mute", Argument::none, Whose::radios, mute<true>},
    Action{"unmute", Argument::none, Whose::radios, mute<false>},
    Action{"signal", Argument::signal, Whose::daemons,
           [](Mesh&, Node& node, Text name) {
             signal_daemon(node.sandbox, name == "USR1" ? SIGUSR1 : SIGUSR2);
           }},
    Action{"nvram", Argument::setting, Whose::daemons, change_setting},
    Action{"window", Argument::off, Whose::bases, open_windows},
    Action{"push", Argument::none, Whose::bases,
           [](Mesh& mesh, Node& node, Text) { push(mesh, node); }},
    Action{"approve", Argument::units, Whose::bases,
           [](Mesh& mesh, Node& node, Text whom) {
             const int number = unit_number(whom);
             approve(mesh, node, number > 0 ? std::optional(unit_station(number)) : std::nullopt);
           }},
    Action{"hold", Argument::window, Whose::bases, hold},
    Action{"resume", Argument::none, Whose::bases, resume},
    Action{"arrive", Argument::none, Whose::newcomer,
           [](Mesh& mesh, Node& node, Text) { power_on(mesh, node); }},
    Action{"flood", Argument::number, Whose::stranger,
           [](Mesh& mesh, Node& node, Text rate) { start_flood(mesh, node, atoi(rate.c_str())); }}};

}  // namespace

std::span<const Action> actions() {
  return kActions;
}

}  // namespace lab
