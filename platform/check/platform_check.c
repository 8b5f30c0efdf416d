/* Exercises a platform's libraries through the declarations that the daemon sees, one line for each
 * call: "ok", or "WRONG" with what was expected, what came and what to do. Run on the board, or
 * where the libraries run.
 *
 * It uses keys of its own (platform_check_...) and removes them, and writes into a log file of its
 * own. NVRAM is saved once. The calls that change a unit (disable_mesh_settings,
 * reset_to_uncfg_mode) are made only when it is started with --all.
 *
 * Exit status: 0 all behave, 1 something does not, 2 wrong use. */
#include <signal.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform_onboarding.h"
#include "shared_debug_log.h"
#include "vexo_nvram.h"

#define KEY "platform_check_key"
#define OTHER "platform_check_other"
#define LOG "platform_check.log"
#define UNLISTED "02:00:5e:00:53:fe"

static int wrong;

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

/* A call that crashes is a finding, not the end of the report. */
static void check(const char* call, void (*body)(const char*)) {
  const pid_t child = fork();
  if (child == 0) {
    wrong = 0;
    alarm(20);
    body(call);
    _exit(wrong);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) < 0) {
    report(call, false, "no process could be made for the check");
  } else if (WIFSIGNALED(status)) {
    report(call, false,
           WTERMSIG(status) == SIGALRM
               ? "it does not return within 20 s; the daemon stands meanwhile"
               : "it crashes when called as declared");
  } else {
    wrong += WEXITSTATUS(status);
  }
}

static void check_set(const char* call) {
  const int result = vexoNvramConfig_set(KEY, "a b=c\\d");
  if (result != 0) {
    report(call, false, "must return 0 for a plain key; may this user write the store?");
    return;
  }
  report(
      call, reads(KEY, "a b=c\\d"),
      "the value \"a b=c\\d\" must come back byte for byte: spaces, '=' and backslashes are legal");
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
  const bool set = vexoNvramConfig_set(KEY, "12") == 0;
  report(
      call,
      set && vexoNvramConfig_match(KEY, "12") == 1 && vexoNvramConfig_match(KEY, "1") == 0 &&
          vexoNvramConfig_match(KEY, "123") == 0 &&
          vexoNvramConfig_match("platform_check_absent", "") == 0,
      "1 only where the key is set and its whole value equals; 0 for a part and for an absent key");
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

static void check_candidates(const char* call) {
  const int lower = check_mac_in_candidate_satellite(UNLISTED);
  const int upper = check_mac_in_candidate_satellite("02:00:5E:00:53:FE");
  report(call, lower == 0 && upper == 0,
         "must be 0 for " UNLISTED ", which nobody has approved, in any letter case");
}

/* A known station of the list, where the caller names one. */
static const char* listed;
static void check_listed(const char* call) {
  report(call, check_mac_in_candidate_satellite(listed) != 0,
         "must not be 0 for the station named by --listed");
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
static bool log_holds(const char* text) {
  static char content[1 << 17];
  FILE* file = fopen(log_path, "re");
  if (file == NULL) {
    return false;
  }
  content[fread(content, 1, sizeof content - 1, file)] = '\0';
  fclose(file);
  return strstr(content, text) != NULL;
}

static void check_log(const char* call) {
  char mark[64];
  snprintf(mark, sizeof mark, "[%s][%d]mark %ld\n", "platform_check", 7, (long)getpid());
  shared_debug_log_init("platform_check", LOG, 65536);
  shared_debug_log_do_write_log("platform_check", LOG, "[%s][%d]mark %ld\n", "platform_check", 7,
                                (long)getpid());
  if (log_path == NULL) {
    report(call, true, "");
    printf("       (returned; name the file by --log FILE to have its content looked at)\n");
  } else {
    report(call, log_holds(mark),
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
  (void)vexoNvramConfig_unset(KEY);
  (void)vexoNvramConfig_unset(OTHER);
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
  check_everything(all);
  printf("%s\n",
         wrong == 0 ? "The platform behaves." : "The platform does not behave: see WRONG above.");
  return wrong == 0 ? 0 : 1;
}
