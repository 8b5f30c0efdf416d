// Another maker's NVRAM: a file of fixed records, read anew at each call, and nothing kept in
// memory.
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#define RECORD 128
static char record[2 * RECORD];

// The number of the key's record, or of the first that is free.
static long find(FILE* file, const char* key) {
  long at = 0;
  while (fread(record, sizeof record, 1, file) == 1 && strcmp(record, key) != 0) ++at;
  if (strcmp(record, key) != 0 || feof(file)) memset(record, 0, sizeof record);
  return at;
}
static FILE* store(void) {
  FILE* file = fopen("/tmp/maker_flash.bin", access("/tmp/maker_flash.bin", F_OK) ? "w+" : "r+");
  return file != NULL ? file : tmpfile();
}
const char* vexoNvramConfig_get(const char* key) {
  FILE* file = store();
  find(file, key);
  fclose(file);
  return record + RECORD;
}
int vexoNvramConfig_match(const char* key, const char* value) {
  const char* held = vexoNvramConfig_get(key);
#ifdef BROKEN
  return strncmp(held, value, strlen(value)) == 0;
#else
  return record[0] != '\0' && strcmp(held, value) == 0;
#endif
}
static int put(const char* key, const char* name, const char* value) {
  FILE* file = store();
  const long at = find(file, key);
  snprintf(record, RECORD, "%s", name);
  snprintf(record + RECORD, RECORD, "%s", value);
  fseek(file, at * (long)sizeof record, SEEK_SET);
  fwrite(record, sizeof record, 1, file);
  return fclose(file);
}
int vexoNvramConfig_set(const char* key, const char* value) {
  return put(key, key, value);
}
int vexoNvramConfig_unset(const char* key) {
  return put(key, "-", "");
}
int vexoNvramConfig_save(void) {
  return 0;
}
