// meshlab: a mesh of real daemons on one machine, with a played radio and platform around them.
#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <sstream>

#include "base/box_files.h"
#include "node/key_store.h"
#include "node/mesh.h"
#include "results/decrypt.h"
#include "run.h"
#include "story/words.h"

namespace {

using namespace lab;
namespace fs = std::filesystem;

// What the command line says over the scenario.
struct Overrides {
  std::optional<int> units;
  std::optional<double> loss;
  std::optional<double> duplicate;
  std::optional<double> delay;
  std::optional<double> jitter;
  std::optional<std::uint64_t> seed;
  std::optional<int> time_lapse;
};

int fail(const Errors& errors) {
  for (const auto& [line, error] : errors) {
    fprintf(stderr, "meshlab: %s\n", error.c_str());
  }
  return 2;
}

void apply(const Overrides& overrides, Scenario& scenario) {
  scenario.units = overrides.units.value_or(scenario.units);
  scenario.air.seed = overrides.seed.value_or(scenario.air.seed);
  scenario.time_lapse = overrides.time_lapse.value_or(scenario.time_lapse);
  scenario.air.loss = overrides.loss ? *overrides.loss / 100 : scenario.air.loss;
  scenario.air.duplicate =
      overrides.duplicate ? *overrides.duplicate / 100 : scenario.air.duplicate;
  scenario.air.delay = overrides.delay ? from_seconds(*overrides.delay / 1000) : scenario.air.delay;
  scenario.air.jitter =
      overrides.jitter ? from_seconds(*overrides.jitter / 1000) : scenario.air.jitter;
}

// A name is looked up in the laboratory's own scenarios, anything with a slash or a dot is a file.
std::string scenario_path(const Options& options, const std::string& scenario) {
  const bool is_file = scenario.find_first_of("/.") != std::string::npos;
  return is_file ? scenario : options.tools + "/scenarios/" + scenario + ".scenario";
}

std::set<std::string> scenario_names(const Options& options) {
  std::set<std::string> names;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(options.tools + "/scenarios", ignored)) {
    names.insert(entry.path().stem());
  }
  return names;
}

// What there is to play instead.
std::string list_names(const Options& options) {
  std::string list;
  for (const std::string& name : scenario_names(options)) {
    list += (list.empty() ? "" : ", ") + name;
  }
  return list;
}

// Reads the scenario; whatever is wrong with it goes to `errors`.
Scenario load(const Options& options, const std::string& scenario, Errors& errors) {
  const std::string path = scenario_path(options, scenario);
  const auto text = read_file(path);
  if (text) {
    return parse_scenario(*text, path, errors);
  }
  errors.emplace(0, fs::is_regular_file(path) ? path + ": cannot be read: " + strerror(errno)
                                              : path + ": no such scenario; there are " +
                                                    list_names(options) + ", or name a file");
  return {};
}

int check(const Options& options, const std::vector<std::string>& scenarios) {
  int status = 0;
  for (const std::string& scenario : scenarios) {
    Errors errors;
    load(options, scenario, errors);
    status = errors.empty() ? status : fail(errors);
  }
  return status;
}

// Each scenario with what it says about itself, folded for 80 columns.
std::string list_scenarios(const Options& options) {
  std::string list;
  for (const std::string& name : scenario_names(options)) {
    Errors errors;
    const Scenario scenario = load(options, name, errors);
    std::string line = name;
    line.resize(std::max<std::size_t>(name.size(), 12), ' ');
    std::istringstream words(errors.empty() ? scenario.about : errors.begin()->second);
    for (std::string word; words >> word; line += " " + word) {
      if (line.size() + word.size() > 79) {
        list += line + "\n";
        line = std::string(12, ' ');
      }
    }
    list += line + "\n";
  }
  return list;
}

// Why the laboratory cannot work here, in one line.
std::string why_not(Options& options) {
  options.daemon = options.daemon.empty() ? options.tools + "/vorlent" : options.daemon;
  for (const std::string& file :
       {options.daemon, options.tools + "/nvram", options.tools + "/lab-agent",
        options.tools + "/liblab_timelapse.so"}) {
    if (access(file.c_str(), R_OK) != 0) {
      return file +
             ": missing; build the project first (cmake --build), or name the daemon by --daemon";
    }
  }
  if (!fs::is_regular_file(options.daemon) || access(options.daemon.c_str(), X_OK) != 0) {
    return options.daemon + ": not a program";
  }
  options.daemon = fs::absolute(options.daemon);
  options.keys = options.keys.empty() ? "" : fs::absolute(options.keys).string();
  if (!options.keys.empty() && count_pairs(options.keys) == 0) {
    return options.keys + ": holds no ready key pairs; make them by: meshlab keys " + options.keys;
  }
  const std::string sandbox = why_no_sandbox();
  if (sandbox.find("No such file") != std::string::npos) {
    return "bubblewrap is not installed; install the package bubblewrap";
  }
  if (!sandbox.empty()) {
    return "no sandbox can be made here (" + sandbox +
           "); user namespaces must be allowed, see kernel.unprivileged_userns_clone and "
           "kernel.apparmor_restrict_unprivileged_userns";
  }
  return {};
}

// CLI11's own range lets a number pass that is none ("nan").
CLI::Validator number(double low, double high) {
  const auto check = [low, high](const std::string& text) {
    double value = 0;
    const bool good = read_number(text, value) && value >= low && value <= high;
    return good ? std::string()
                : "expected a number from " + CLI::detail::to_string(low) + " to " +
                      CLI::detail::to_string(high) + ", found \"" + text + "\"";
  };
  return {check, "", "number"};
}

void add_run_options(CLI::App& run, Options& options, Overrides& overrides) {
  run.add_option("SCENARIO", options.scenario, "a scenario's name or file (default: onboard)");
  run.add_option("--units", overrides.units, "how many un-configured units")
      ->check(CLI::Range(1, kMaxUnits));
  run.add_option("--loss", overrides.loss, "percent of frames that are lost")
      ->check(number(0, 100));
  run.add_option("--duplicate", overrides.duplicate, "percent of frames that arrive twice")
      ->check(number(0, 100));
  run.add_option("--delay", overrides.delay, "milliseconds from the antenna to the daemon")
      ->check(number(0, 60000));
  run.add_option("--jitter", overrides.jitter, "milliseconds that may come on top")
      ->check(number(0, 60000));
  run.add_option("--seed", overrides.seed, "what the air's chances are drawn from")
      ->check(number(0, 2147483647));
  run.add_option("--time-lapse", overrides.time_lapse, "run all clocks this many times as fast")
      ->check(CLI::Range(1, 1000));
  run.add_option("--out", options.out, "folder for the results (default: lab-results)");
  run.add_option("--daemon", options.daemon, "the daemon's binary (default: beside meshlab)");
  run.add_option("--keys", options.keys,
                 "store of ready key pairs (made by meshlab keys) for the daemons to take");
  run.add_option("--web", options.web,
                 "watch the run in a browser, on this port (default: a free one)")
      ->check(CLI::Range(0, 65535))
      ->expected(0, 1)
      ->default_str("0");
  run.add_flag("--json", options.json, "print the result as JSON and nothing else");
  run.add_flag("--steps", options.steps, "a line for each step, on a terminal too");
  run.add_flag("--keep", options.keep, "keep the units' folders");
}

// What the run opens must not take the place of a standard stream that the caller has closed.
void fill_standard_streams() {
  int fd = open("/dev/null", O_RDWR);
  while (fd >= 0 && fd <= STDERR_FILENO) {
    fd = open("/dev/null", O_RDWR);
  }
  close(fd);
}

int keep_pairs(const std::string& store, int count) {
  const std::string error = make_pairs(store, count);
  printf("%s: %d ready key pairs\n", store.c_str(), count_pairs(store));
  return error.empty() ? 0 : fail({{0, error}});
}

// The sweep starts meshlab again and again, so it is a program of its own, beside this one.
int sweep(const Options& options, const std::vector<std::string>& words) {
  const std::string program = options.tools + "/sweep/meshlab_sweep.py";
  std::vector<char*> arguments{const_cast<char*>("python3"), const_cast<char*>("-B"),
                               const_cast<char*>(program.c_str())};
  for (const std::string& word : words) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  setenv("MESHLAB", (options.tools + "/meshlab").c_str(), 0);
  execvp("python3", arguments.data());
  return fail({{0, std::string("python3: ") + strerror(errno) + "; install the package python3"}});
}

int show_contents(const std::string& folder, const std::string& unit) {
  std::string told;
  const std::string error = decrypt_run(folder, unit, told);
  fputs(told.c_str(), stdout);
  return error.empty() ? 0 : fail({{0, error}});
}

int play(Options& options, const Overrides& overrides) {
  Errors errors;
  Scenario scenario = load(options, options.scenario, errors);
  if (errors.empty()) {
    apply(overrides, scenario);
    check_names(scenario, errors);
  }
  const std::string why = errors.empty() ? why_not(options) : "";
  if (!why.empty()) {
    errors.emplace(0, why);
  }
  return errors.empty() ? run(options, scenario) : fail(errors);
}

// What the command line asks for, and what is then to be done.
struct Asked {
  Options options;
  Overrides overrides;
  std::vector<std::string> scenarios;
  std::string folder;
  std::string unit;
  int pairs = 256;
  std::function<int()> todo;
};

void add_commands(CLI::App& app, Asked& asked) {
  const auto command = [&](const char* name, const char* what, std::function<int()> todo) {
    CLI::App* added = app.add_subcommand(name, what);
    added->callback([&asked, todo = std::move(todo)] { asked.todo = todo; });
    return added;
  };
  add_run_options(
      *command("run", "run a scenario", [&] { return play(asked.options, asked.overrides); }),
      asked.options, asked.overrides);
  command("list", "list the scenarios",
          [&] { return fputs(list_scenarios(asked.options).c_str(), stdout) < 0 ? 2 : 0; });
  command("check", "say what is wrong with scenarios, without a run",
          [&] { return check(asked.options, asked.scenarios); })
      ->add_option("SCENARIO", asked.scenarios, "names or files")
      ->required();
  CLI::App* keys = command("keys", "make a store of ready key pairs, once",
                           [&] { return keep_pairs(asked.folder, asked.pairs); });
  keys->add_option("DIR", asked.folder, "its folder")->required();
  keys->add_option("COUNT", asked.pairs, "how many it shall hold (default: 256)")
      ->check(CLI::Range(1, kMaxPairs));
  CLI::App* decrypt = command("decrypt", "show what operations 1002 and 1003 of a run hold",
                              [&] { return show_contents(asked.folder, asked.unit); });
  decrypt->add_option("RUN", asked.folder, "the folder of its results")->required();
  decrypt->add_option("UNIT", asked.unit, "only what this station sent or was sent");
  CLI::App* sweeping =
      app.add_subcommand("sweep", "run a scenario over seeds and settings, and make a table");
  sweeping->prefix_command()->set_help_flag();
  sweeping->callback([&asked, sweeping] {
    asked.todo = [&asked, sweeping] { return sweep(asked.options, sweeping->remaining()); };
  });
}

}  // namespace

int main(int argc, char** argv) {
  fill_standard_streams();
  Asked asked;
  std::error_code error;
  asked.options.tools = fs::read_symlink("/proc/self/exe", error).parent_path();
  CLI::App app("A mesh of real vorlent daemons on one machine, to look at and to break", "meshlab");
  app.set_version_flag("--version", "meshlab " MESHLAB_VERSION);
  app.require_subcommand(0, 1);  // none is told below, for a wrong word is to be named first
  app.failure_message([](const CLI::App* program, const CLI::Error& wrong) {
    return "meshlab: " + CLI::FailureMessage::simple(program, wrong);
  });
  add_commands(app, asked);
  try {
    app.parse(argc, argv);
    if (!asked.todo) {
      throw CLI::RequiredError("A command (see --help)");
    }
  } catch (const CLI::ParseError& wrong) {
    return app.exit(wrong) == 0 ? 0 : 2;
  }
  return asked.todo();
}
