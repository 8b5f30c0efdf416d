/* Exercises a platform's libraries through the declarations that the daemon sees, one line for each
 * call: "ok", or "WRONG" with what was expected, what came and what to do; "-----" where it cannot
 * tell. Run on the board, or where the libraries run. Each check has a process of its own, so that
 * a library that crashes, hangs or ends the program is a finding, not the end of the report.
 *
 * It uses keys of its own (platform_check_...) and removes them, and writes into a log file of its
 * own. NVRAM is saved once. The calls that change a unit (disable_mesh_settings,
 * reset_to_uncfg_mode) are made only when it is started with --all.
 *
 * Exit status: 0 all behave, 1 something does not, 2 wrong use. */
#include <ctype.h>
#include <limits.h>
#include <signal.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "platform_onboarding.h"
#include "shared_debug_log.h"
#include "vexo_nvram.h"

#define KEY "platform_check_key"
#define OTHER "platform_check_other"
#define LOG "platform_check.log"
#define UNLISTED "02:00:5e:00:53:fe"

static int wrong;
static bool* finished; /* shared with the process of a check: it came to its end */

/* One line of the report. `advice` follows only where the call does not behave. */
static void report(const char* call, bool behaves, const char* advice) {
  printf("%-5s  %s%s%s\n", behaves ? "ok" : "WRONG", call, behaves ? "" : ": ",
         behaves ? "" : advice);
  fflush(stdout);
  wrong += behaves ? 0 : 1;
}

static bool reads(const char* key, const char* value) {
  const char* text = vexoNvramConfig_get(key);
  return text != NULL && strcmp(text, value) == 0;
}

static const char* early_end(int status) {
  if (!WIFSIGNALED(status)) {
    return "it ends the program instead of returning";
  }
  return WTERMSIG(status) == SIGALRM ? "it does not return within 60 s; the daemon stands meanwhile"
                                     : "it crashes when called as declared";
}

static bool check(const char* call, void (*body)(const char*)) {
  const int before = wrong;
  *finished = false;
  const pid_t child = fork();
  if (child == 0) {
    wrong = 0;
    alarm(60);
    body(call);
    *finished = true;
    _exit(wrong);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) < 0) {
    report(call, false, "no process could be made for the check");
  } else if (!*finished) {
    report(call, false, early_end(status));
  } else {
    wrong += WEXITSTATUS(status);
  }
  return wrong == before;
}

static void check_set(const char* call) {
  char value[256];
  for (int i = 0; i < 255; ++i) {
    value[i] = (char)(i + 1);
  }
  value[255] = '\0';
  if (vexoNvramConfig_set(KEY, "plain") != 0) {
    report(call, false, "must return 0 for a plain key; may this user write the store?");
    return;
  }
  report(call, vexoNvramConfig_set(KEY, value) == 0 && reads(KEY, value),
         "a value of all bytes from 1 to 255 must come back byte for byte: spaces, '=', "
         "backslashes and ends of line are legal");
}

/* Where a store cuts, it mostly does so at a round number; all numbers would take minutes. */
static size_t next_length(size_t length) {
  return length < 1100 || (length + 2) % 1024 < 3 ? length + 1 : length + 1022 - length % 1024;
}

static void check_lengths(const char* call) {
  static char value[(64 << 10) + 1];
  for (size_t length = 0; length < sizeof value; length = next_length(length)) {
    for (size_t i = 0; i < length; ++i) {
      value[i] = (char)('a' + (i + length) % 26);
    }
    value[length] = '\0';
    if (vexoNvramConfig_set(KEY, value) != 0 || !reads(KEY, value)) {
      char advice[80];
      snprintf(advice, sizeof advice, "a value of %zu bytes does not come back whole", length);
      report(call, false, advice);
      return;
    }
  }
  report(call, true, "");
}

static void check_get(const char* call) {
  const char* absent = vexoNvramConfig_get("platform_check_absent");
  if (absent == NULL || absent[0] != '\0') {
    report(call, false, "a key that is not set must give an empty text, never NULL");
    return;
  }
  const bool whole = vexoNvramConfig_set(KEY, "") == 0 && reads(KEY, "");
  report(call, whole && vexoNvramConfig_set(KEY, "1") == 0 && reads(KEY, "1"),
         "must give the value just set, empty values included");
}

static void check_match(const char* call) {
  const bool set = vexoNvramConfig_set(KEY, "Ab2") == 0;
  const bool not_part =
      vexoNvramConfig_match(KEY, "Ab") == 0 && vexoNvramConfig_match(KEY, "Ab22") == 0;
  const bool not_case = vexoNvramConfig_match(KEY, "ab2") == 0;
  report(call,
         set && not_part && not_case && vexoNvramConfig_match(KEY, "Ab2") == 1 &&
             vexoNvramConfig_match("platform_check_absent", "") == 0,
         "1 only where the key is set and its whole value equals, in the same letter case; 0 for a "
         "part and for an absent key");
}

/* The set happens in another process, as the platform's own programs do it. */
static void check_other_process(const char* call) {
  int status = -1;
  const bool before = vexoNvramConfig_set(OTHER, "old") == 0 && reads(OTHER, "old");
  const pid_t child = fork();
  if (child == 0) {
    _exit(vexoNvramConfig_set(OTHER, "new") == 0 ? 0 : 1);
  }
  report(call,
         child > 0 && waitpid(child, &status, 0) == child && status == 0 && before &&
             reads(OTHER, "new"),
         "a value set by another process must be seen at the next read, without a restart");
}

static void check_unset(const char* call) {
  const bool set = vexoNvramConfig_set(KEY, "1") == 0;
  const int result = vexoNvramConfig_unset(KEY);
  report(call, set && result == 0 && reads(KEY, "") && vexoNvramConfig_match(KEY, "") == 0,
         "must return 0 and leave the key absent, which is not the same as empty");
}

static void check_save(const char* call) {
  report(call, vexoNvramConfig_save() == 0,
         "must return 0 once the values survive a power cut; may this user write the flash?");
}

/* A known station of the list, where the caller names one. */
static const char* listed;

static int lookup(const char* mac, int (*letter)(int)) {
  char text[18] = "";
  for (size_t i = 0; i + 1 < sizeof text && mac[i] != '\0'; ++i) {
    text[i] = (char)letter((unsigned char)mac[i]);
  }
  return check_mac_in_candidate_satellite(text);
}

static void check_candidates(const char* call) {
  report(call, lookup(UNLISTED, tolower) == 0 && lookup(UNLISTED, toupper) == 0,
         "must be 0 for " UNLISTED ", which nobody has approved, in any letter case");
}

static void check_listed(const char* call) {
  report(call, lookup(listed, tolower) != 0 && lookup(listed, toupper) != 0,
         "must not be 0 for the station named by --listed, in any letter case");
}

/* What the daemon calls many times in each turn, and what it calls now and then. */
static void call_get(void) {
  (void)vexoNvramConfig_get(KEY);
}
static void call_match(void) {
  (void)vexoNvramConfig_match(KEY, "1");
}
static void call_candidates(void) {
  (void)check_mac_in_candidate_satellite(UNLISTED);
}
static void call_log(void) {
  shared_debug_log_do_write_log("platform_check", LOG, "time\n");
}
static void call_set(void) {
  (void)vexoNvramConfig_set(KEY, "1");
}
static void call_save(void) {
  (void)vexoNvramConfig_save();
}

static const struct {
  const char* name;
  void (*call)(void);
  long most_us;
} timed[] = {
    {"vexoNvramConfig_get", call_get, 5000},
    {"vexoNvramConfig_match", call_match, 5000},
    {"check_mac_in_candidate_satellite", call_candidates, 50000},
    {"shared_debug_log_do_write_log", call_log, 5000},
    {"vexoNvramConfig_set", call_set, 500000},
    {"vexoNvramConfig_save", call_save, 2000000},
};

/* The fastest of seven, in microseconds: the others may have met a busy machine. */
static long time_of(void (*call)(void)) {
  long fastest = LONG_MAX;
  for (int i = 0; i < 7; ++i) {
    struct timespec from;
    struct timespec to;
    clock_gettime(CLOCK_MONOTONIC, &from);
    call();
    clock_gettime(CLOCK_MONOTONIC, &to);
    const long taken = (to.tv_sec - from.tv_sec) * 1000000 + (to.tv_nsec - from.tv_nsec) / 1000;
    fastest = taken < fastest ? taken : fastest;
  }
  return fastest;
}

static void check_time(const char* call) {
  for (size_t i = 0; i < sizeof timed / sizeof timed[0]; ++i) {
    const long taken = time_of(timed[i].call);
    if (taken > timed[i].most_us) {
      char advice[160];
      snprintf(advice, sizeof advice,
               "%s takes %ld us, and may take %ld: the daemon has one thread, which waits",
               timed[i].name, taken, timed[i].most_us);
      report(call, false, advice);
      return;
    }
  }
  report(call, true, "");
}

static void check_ether(const char* call) {
  const unsigned char mac[6] = {0x02, 0x9e, 0x0a, 0xff, 0x00, 0xb1};
  char text[19];
  memset(text, '#', sizeof text);
  const char* given = ether_etoa(mac, text);
  report(call, given == text && memcmp(text, "02:9E:0A:FF:00:B1\0#", sizeof text) == 0,
         "must write 17 upper-case characters and a NUL, nothing more, and return its second "
         "argument");
}

static void check_log_init(const char* call) {
  shared_debug_log_do_write_log("platform_check", LOG, "before the init %d\n", 1);
  shared_debug_log_init("platform_check", LOG, 65536);
  report(call, true, "");
}

/* The file's folder is the library's own affair; --log names the file to look into. */
static const char* log_path;

/* What has been added to the log since it had `from` bytes; the log's size in `size`. */
static const char* log_since(long from, long* size) {
  static char added[256];
  FILE* file = fopen(log_path, "re");
  added[0] = '\0';
  *size = 0;
  if (file != NULL) {
    fseek(file, 0, SEEK_END);
    *size = ftell(file);
    fseek(file, from, SEEK_SET);
    added[fread(added, 1, sizeof added - 1, file)] = '\0';
    fclose(file);
  }
  return added;
}

static void check_log(const char* call) {
  char mark[64];
  long before = 0;
  long after = 0;
  snprintf(mark, sizeof mark, "[platform_check][7]mark %ld\n%%end", (long)getpid());
  shared_debug_log_init("platform_check", LOG, 65536);
  if (log_path != NULL) {
    (void)log_since(0, &before);
  }
  shared_debug_log_do_write_log("platform_check", LOG, "[%s][%d]mark %ld\n%%end", "platform_check",
                                7, (long)getpid());
  if (log_path == NULL) {
    printf("-----  %s: returned; name the file by --log FILE to have its content looked at\n",
           call);
    fflush(stdout);
  } else {
    report(call, strcmp(log_since(before, &after), mark) == 0,
           "the formatted text must stand in the file of --log as it is, with nothing added");
  }
}

static void check_results_unused(const char* call) {
  if (strcmp(call, "disable_mesh_settings") == 0) {
    (void)disable_mesh_settings();
  } else {
    (void)reset_to_uncfg_mode();
  }
  report(call, true, "");
}

static void remove_keys(const char* call) {
  (void)vexoNvramConfig_unset(KEY);
  (void)vexoNvramConfig_unset(OTHER);
  report(call, reads(KEY, "") && reads(OTHER, ""), "unset must remove them");
}

static int usage(const char* what) {
  fprintf(stderr,
          "platform-check: %s\n"
          "usage: platform-check [--all] [--listed MAC] [--log FILE]\n"
          "  --all          also make the calls that change the unit's settings\n"
          "  --listed MAC   a station that the platform lists as a candidate satellite\n"
          "  --log FILE     where the debug-log library keeps " LOG "\n",
          what);
  return 2;
}

static void check_everything(bool all) {
  check("shared_debug_log_init", check_log_init);
  check("shared_debug_log_do_write_log", check_log);
  check("vexoNvramConfig_set", check_set);
  if (check("time of a call", check_time)) { /* otherwise it would take minutes */
    check("vexoNvramConfig_set (lengths to 64 KiB)", check_lengths);
  }
  check("vexoNvramConfig_get", check_get);
  check("vexoNvramConfig_match", check_match);
  check("vexoNvramConfig_unset", check_unset);
  check("vexoNvramConfig_get (two programs)", check_other_process);
  check("vexoNvramConfig_save", check_save);
  check("ether_etoa", check_ether);
  check("check_mac_in_candidate_satellite", check_candidates);
  if (listed != NULL) {
    check("check_mac_... (listed)", check_listed);
  }
  if (all) {
    check("disable_mesh_settings", check_results_unused);
    check("reset_to_uncfg_mode", check_results_unused);
  }
  check("keys of the check removed", remove_keys);
}

int main(int argc, char** argv) {
  bool all = false;
  for (int i = 1; i < argc; ++i) {
    const bool has_value = i + 1 < argc;
    if (strcmp(argv[i], "--all") == 0) {
      all = true;
    } else if (strcmp(argv[i], "--listed") == 0 && has_value) {
      listed = argv[++i];
    } else if (strcmp(argv[i], "--log") == 0 && has_value) {
      log_path = argv[++i];
    } else {
      return usage(argv[i]);
    }
  }
  finished =
      mmap(NULL, sizeof *finished, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (finished == MAP_FAILED) {
    perror("platform-check: mmap");
    return 1;
  }
  check_everything(all);
  printf("%s\n",
         wrong == 0 ? "The platform behaves." : "The platform does not behave: see WRONG above.");
  return wrong == 0 ? 0 : 1;
}
