// Another maker's platform: each setting is a file of its own, and nothing is kept in memory.
// HALF of it lacks what is not NVRAM; BROKEN takes a part of a value for the whole.
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

static const char* place_of(const char* key) {
  static char path[300];
  snprintf(path, sizeof path, "/tmp/maker_flash/%s", key);
  return mkdir("/tmp/maker_flash", 0700), path;
}
const char* vexoNvramConfig_get(const char* key) {
  static char value[1000];
  FILE* file = fopen(place_of(key), "r");
  value[file != NULL ? fread(value, 1, sizeof value - 1, file) : 0] = '\0';
  return file != NULL ? fclose(file), value : value;
}
int vexoNvramConfig_match(const char* key, const char* value) {
#ifdef BROKEN
  return strncmp(vexoNvramConfig_get(key), value, strlen(value)) == 0;
#endif
  return access(place_of(key), F_OK) == 0 && strcmp(vexoNvramConfig_get(key), value) == 0;
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
  va_start(arguments, format), vdprintf(log, format, arguments), va_end(arguments), close(log);
  (void)who, (void)file;
}
int check_mac_in_candidate_satellite(const char* mac) {
  return mac[0] == '-';
}
int disable_mesh_settings(void) {
  return 0;
}
int reset_to_uncfg_mode(void) {
  return rename("/tmp/maker.log", "/tmp/maker.log.reset");
}
char* ether_etoa(const unsigned char* m, char* text) {
  return sprintf(text, "%02X:%02X:%02X:%02X:%02X:%02X", m[0], m[1], m[2], m[3], m[4], m[5]), text;
}
#endif
