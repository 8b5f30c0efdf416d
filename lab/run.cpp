#include "run.h"

#include <signal.h>
#include <string.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>

#include "base/box_files.h"
#include "node/boxes.h"
#include "node/key_store.h"
#include "results/console.h"
#include "results/recorder.h"
#include "results/report.h"
#include "results/vorlent_why.h"
#include "story/expectations.h"
#include "story/hands.h"
#include "story/pace.h"
#include "web/web.h"

namespace lab {

namespace {

constexpr Time kTick = 500ms;

struct Run {
  const Options& options;
  Mesh mesh{};
  Story story;
  Recorder recorder{};
  Console console{};
  std::string by_hand{};  // steps of a scenario
  std::unique_ptr<Web> web{};
  int exit_status = -1;  // set when the run is to end
};

void stop(Run& run, int exit_status) {
  run.exit_status = exit_status;
  run.mesh.loop.stop();
}

void read_signals(Run& run, int fd) {
  signalfd_siginfo info{};
  while (read(fd, &info, sizeof info) == sizeof info) {
    if (info.ssi_signo == SIGCHLD) {
      collect_boxes(run.mesh);
    } else {
      stop(run, 128 + static_cast<int>(info.ssi_signo));
    }
  }
}

int watch_signals(Run& run) {
  sigset_t signals;
  sigemptyset(&signals);
  // SIGPIPE: nobody reads what is printed any more.
  for (const int number : {SIGCHLD, SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
    sigaddset(&signals, number);
  }
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  const int fd = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
  run.mesh.loop.watch(fd, [&run, fd] { read_signals(run, fd); });
  return fd;
}

void watch_mesh(Run& run) {
  run.mesh.watchers = {
      [&run](const Happening& seen) { record(run.recorder, run.mesh, seen); },
      [&run](const Happening& seen) { follow_journey(run.story.journeys, run.mesh, seen); },
      [&run](const Happening& seen) { console_notices(run.console, seen); },
      [&run](const Happening& seen) {
        if (seen.as<ModeEntered>() != nullptr || seen.as<NvramSet>() != nullptr) {
          note_in_time(run.story);
        }
        director_notices(run.story, seen);
      }};
}

void check_end(Run& run) {
  if (record_failed(run.recorder) || ferror(stdout) != 0) {
    stop(run, 2);
    return;
  }
  note_in_time(run.story);
  const auto verdicts = judge(run.story);
  if (is_decided(run.story, verdicts) || run.mesh.loop.clock.now() > run.story.scenario.limit) {
    const bool all_hold = std::all_of(verdicts.begin(), verdicts.end(),
                                      [](const Verdict& verdict) { return verdict.holds; });
    stop(run, all_hold ? 0 : 1);
  }
}

void tick(Run& run) {
  tick_owners(run.mesh);
  choose_pace(run.story);
  check_end(run);
  run.mesh.loop.after(kTick, [&run] { tick(run); });
}

void tick_display(Run& run) {
  for (const auto& node : run.mesh.nodes) {
    measure_memory(node->sandbox);
  }
  draw_live(run.console, run.story);
  if (run.web) {
    const Clock& clock = run.mesh.loop.clock;
    run.web->tell("{\"what\":\"now\",\"t\":" + std::to_string(seconds(clock.now())) +
                  ",\"rate\":" + std::to_string(clock.rate()) + "}");
  }
  run.mesh.loop.after_real(400ms, [&run] { tick_display(run); });
}

std::string prepare(Run& run) {
  make_mesh(run.story);
  watch_mesh(run);
  if (!run.mesh.loop.clock.start(run.mesh.kit.work + "/clock") || !prepare_boxes(run.mesh)) {
    return run.mesh.kit.work + ": " + strerror(errno);
  }
  return open_record(run.recorder, run.options.out);
}

// For the server's threads, which know nothing else of the mesh; of units that may yet arrive, too.
std::map<std::string, std::string> boxes_by_name(const Mesh& mesh) {
  std::map<std::string, std::string> boxes;
  for (const auto& node : mesh.nodes) {
    boxes[node->name] = node->sandbox.folder;
  }
  for (int i = 1; i <= kMaxUnits; ++i) {
    const std::string name = "unit-" + std::to_string(i);
    boxes[name] = box_folder(mesh.kit, name);
  }
  return boxes;
}

// What went wrong, in one line, or nothing.
std::string open_page(Run& run) {
  if (!run.options.web) {
    return {};
  }
  run.web = std::make_unique<Web>(
      run.mesh.loop,
      [&run](const std::string& line) { return do_by_hand(run.story, line, run.by_hand); },
      [boxes = boxes_by_name(run.mesh), tools = run.options.tools](const std::string& unit) {
        const auto box = boxes.find(unit);
        return box != boxes.end() ? why_of_box(tools, box->second) : std::string("{}");
      });
  const std::string error = run.web->start(*run.options.web, live_page(run.story));
  if (error.empty()) {
    run.recorder.teller = [&run](const std::string& entry) { run.web->tell(entry); };
    fprintf(run.options.json ? stderr : stdout, "The run in a browser: %s\n",
            run.web->url().c_str());
    fflush(stdout);
  }
  return error;
}

std::string write_by_hand(const Run& run) {
  const std::string text = read_file(run.story.scenario.file).value_or("");
  return write_file(run.recorder.folder + "/by-hand.scenario",
                    as_played(run.story, text) + run.by_hand)
             ? ""
             : no_write(run.recorder, "by-hand.scenario");
}

void serve_until_told(const Run& run) {
  fprintf(run.options.json ? stderr : stdout, "The page stays there until this is interrupted.\n");
  fflush(stdout);
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    sigaddset(&signals, number);
  }
  int number = 0;
  sigwait(&signals, &number);
}

// What went wrong, in one line, or nothing.
std::string play(Run& run) {
  const int signals = watch_signals(run);
  std::string error = open_page(run);
  if (!error.empty()) {
    return error;
  }
  start_director(run.story);
  tick(run);
  tick_display(run);
  run.mesh.loop.run();
  end_boxes(run.mesh);
  close(signals);
  if (run.web) {
    run.web->end_orders();
  }
  error = close_record(run.recorder, run.mesh);
  const std::string result = result_of(run.recorder, run.story, run.exit_status, run.options.tools);
  if (run.web) {
    run.web->tell(result);
  }
  if (error.empty() && !run.by_hand.empty()) {
    error = write_by_hand(run);
  }
  if (error.empty()) {
    error = write_report(run.recorder, result);
  }
  error = run.mesh.failure.empty() ? error : run.mesh.failure;
  print_result(run.console, run.story, run.exit_status, run.options.out);
  const bool told = fflush(stdout) == 0 && ferror(stdout) == 0;
  if (!told && error.empty() && run.exit_status < 128) {
    error = "standard output cannot be written";
  }
  if (run.web && told && run.exit_status < 128) {
    serve_until_told(run);
  }
  return error;
}

int complain(const std::string& what) {
  fprintf(stderr, "meshlab: %s\n", what.c_str());
  return 2;
}

}  // namespace

int run(const Options& options, const Scenario& scenario) {
  std::string folder = std::filesystem::temp_directory_path() / "meshlab-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) {
    return complain(folder + ": " + strerror(errno));
  }
  Run run{.options = options, .story = {run.mesh, scenario}};
  run.mesh.kit = {.daemon = options.daemon,
                  .tools = options.tools,
                  .work = folder,
                  .keys = options.keys,
                  .pairs = count_pairs(options.keys)};
  run.console.quiet = options.json;
  run.console.live = !options.json && !options.steps && isatty(STDOUT_FILENO) != 0;
  std::string error = prepare(run);
  error = error.empty() ? play(run) : error;
  if (!error.empty()) {
    run.exit_status = std::max(run.exit_status, complain(error));
  }
  if (options.keep) {
    fprintf(stderr, "meshlab: the units' folders are kept in %s\n", folder.c_str());
  } else {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }
  return run.exit_status;
}

}  // namespace lab
