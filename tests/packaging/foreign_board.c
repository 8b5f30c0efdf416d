// The rest of that maker's platform.
#include <stdarg.h>
#include <stdio.h>

void shared_debug_log_init(const char* who, const char* file, int max) {
  (void)who, (void)file, (void)max;
}
void shared_debug_log_do_write_log(const char* who, const char* file, const char* format, ...) {
  va_list arguments;
  FILE* log = fopen("/tmp/maker.log", "a");
  va_start(arguments, format);
  if (log != NULL) vfprintf(log, format, arguments), fclose(log);
  va_end(arguments);
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
