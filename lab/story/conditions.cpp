#include "story/conditions.h"

#include <array>

namespace lab {

namespace {

void take_operation(Words& words, Trigger& trigger) {
  trigger.number = words.number("an operation", 1000, 1004);
}

constexpr std::array kConditions{
    Condition{"sends", take_operation,
              [](const Trigger& trigger, const Happening& seen) {
                const auto* sent = seen.as<FrameSent>();
                return sent != nullptr && sent->frame.operation == trigger.number;
              }},
    Condition{"hears", take_operation,
              [](const Trigger& trigger, const Happening& seen) {
                const auto* told = seen.as<DriverTold>();
                return told != nullptr && told->operation == trigger.number;
              }},
    Condition{"mode",
              [](Words& words, Trigger& trigger) { trigger.number = words.number("a mode", 0, 6); },
              [](const Trigger& trigger, const Happening& seen) {
                const auto* entered = seen.as<ModeEntered>();
                return entered != nullptr && entered->mode == trigger.number;
              }},
    Condition{"nvram",
              [](Words& words, Trigger& trigger) {
                std::tie(trigger.key, trigger.text) = words.setting();
              },
              [](const Trigger& trigger, const Happening& seen) {
                const auto* set = seen.as<NvramSet>();
                return set != nullptr && set->key == trigger.key &&
                       set->value.value_or("") == trigger.text;
              }},
    Condition{"logs",
              [](Words& words, Trigger& trigger) { trigger.text = words.take("a text in quotes"); },
              [](const Trigger& trigger, const Happening& seen) {
                const auto* logged = seen.as<Logged>();
                return logged != nullptr && logged->line.find(trigger.text) != std::string::npos;
              }},
    Condition{"gives-up", [](Words&, Trigger&) {},
              [](const Trigger&, const Happening& seen) {
                const auto* entered = seen.as<ModeEntered>();
                return entered != nullptr && gives_up(*entered);
              }}};

}  // namespace

std::span<const Condition> conditions() {
  return kConditions;
}

}  // namespace lab
