// The command that a person types on a unit: what it is, and at a base, whom it takes in.
#include <CLI/CLI.hpp>

#include "commands.h"

namespace {

struct Named {
  const char* name;
  const char* what;
  ctl::Command command;
};

constexpr Named kCommands[] = {
    {"status", "what this unit is, who is on the way in, and what it waits for", ctl::show_status},
    {"open", "open the base's window for 60 seconds", ctl::open_window},
    {"candidates", "units that are ready for their credentials", ctl::show_candidates},
    {"approve", "list units as approved, and send all approved ones their credentials",
     ctl::approve},
    {"wait", "have every station that asked wait up to 15 minutes", ctl::have_them_wait}};

}  // namespace

int main(int argc, char** argv) {
  ctl::Choice choice;
  CLI::App app("Looks at the onboarding daemon and takes units in", "vorlentctl");
  app.set_version_flag("--version", "vorlentctl " VORLENTCTL_VERSION);
  app.require_subcommand(0, 1);
  app.fallthrough();
  app.add_option("--pid-file", choice.pid_file, "where the daemon's process is named");
  app.failure_message([](const CLI::App* program, const CLI::Error& wrong) {
    return "vorlentctl: " + CLI::FailureMessage::simple(program, wrong);
  });
  ctl::Command asked = nullptr;
  for (const Named& named : kCommands) {
    CLI::App* sub = app.add_subcommand(named.name, named.what);
    sub->add_flag("--json", choice.json, "print JSON and nothing else");
    sub->callback([&asked, &named] { asked = named.command; });
  }
  CLI::App* approve = app.get_subcommand("approve");
  auto* group = approve->add_option_group("units")->require_option(1);
  group->add_option("MAC", choice.addresses, "the units' addresses");
  group->add_flag("--all", choice.all, "all that are ready now");
  try {
    app.parse(argc, argv);
    if (asked == nullptr) {
      throw CLI::RequiredError("A command (see --help)");
    }
  } catch (const CLI::ParseError& wrong) {
    return app.exit(wrong) == 0 ? ctl::kDone : ctl::kWrongUse;
  }
  return ctl::run(choice, asked);
}
