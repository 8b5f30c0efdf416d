// Another maker's platform: each setting is a file of its own, and nothing is kept in memory.
// HALF of it lacks what is not NVRAM; the environment's WRONG names what it does not do right.
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

static int wrong(const char* how) {
  return getenv("WRONG") != NULL && strcmp(getenv("WRONG"), how) == 0;
}
static const char* place_of(const char* key) {
  static char path[300];
  snprintf(path, sizeof path, "/tmp/maker_flash/%s", key);
  return mkdir("/tmp/maker_flash", 0700), path;
}
const char* vexoNvramConfig_get(const char* key) {
  static char value[70000];
  FILE* file = fopen(place_of(key), "r");
  value[file != NULL ? fread(value, 1, wrong("cut") ? 20 : sizeof value - 1, file) : 0] = '\0';
  usleep(wrong("slow") * 200000);
  return file != NULL ? fclose(file), value : value;
}
int vexoNvramConfig_match(const char* key, const char* value) {
  const char* is = vexoNvramConfig_get(key);
  return access(place_of(key), F_OK) == 0 && (wrong("case") ? strcasecmp : strcmp)(is, value) == 0;
}
int vexoNvramConfig_set(const char* key, const char* value) {
  FILE* file = fopen(place_of(key), "w");
  return file == NULL || fputs(value, file) < 0 || fclose(file);
}
int vexoNvramConfig_unset(const char* key) {
  return unlink(place_of(key)) & 0;
}
int vexoNvramConfig_save(void) {
  return sync(), 0;
}

#ifndef HALF
void shared_debug_log_init(const char* who, const char* file, int max) {
  (void)who, (void)file, (void)max;
}
void shared_debug_log_do_write_log(const char* who, const char* file, const char* format, ...) {
  va_list arguments;
  const int log = open("/tmp/maker.log", O_WRONLY | O_APPEND | O_CREAT, 0600);
  va_start(arguments, format), vdprintf(log, format, arguments), va_end(arguments);
  (void)who, (void)file, dprintf(log, wrong("line") ? "\n" : ""), close(log);
}
int check_mac_in_candidate_satellite(const char* mac) {
  return mac[0] == '-';
}
int disable_mesh_settings(void) {
  return 0;
}
int reset_to_uncfg_mode(void) {
  if (wrong("exit")) exit(0);
  return rename("/tmp/maker.log", "/tmp/maker.log.reset");
}
char* ether_etoa(const unsigned char* m, char* text) {
  return sprintf(text, "%02X:%02X:%02X:%02X:%02X:%02X", m[0], m[1], m[2], m[3], m[4], m[5]), text;
}
#endif
