/* The platform's NVRAM library as the daemon sees it: settings as text values under text keys,
 * shared by all processes of the unit.
 *
 * Values are whole texts; there are no types and no partial matches. A change is live for every
 * process at once, and survives a power cut only after vexoNvramConfig_save. None of these calls
 * may be made from a signal handler. */
#ifndef VEXO_NVRAM_H
#define VEXO_NVRAM_H

#ifdef __cplusplus
extern "C" {
#endif

/* The value of `key`, or an empty text when it is not set; never NULL. The text belongs to the
 * library and is valid until the next call into it. */
const char* vexoNvramConfig_get(const char* key);

/* 1 when `key` is set and its whole value equals `value`, otherwise 0. */
int vexoNvramConfig_match(const char* key, const char* value);

/* Sets `key` to `value` and returns 0; other processes see it at once. This call and the two below
 * return -1, with nothing changed, where the store cannot be written or locked within 2 seconds. */
int vexoNvramConfig_set(const char* key, const char* value);

/* Removes `key` (absent afterwards, not empty) and returns 0. */
int vexoNvramConfig_unset(const char* key);

/* Makes the live values survive a power cut; returns 0 once they do. */
int vexoNvramConfig_save(void);

#ifdef __cplusplus
}
#endif

#endif
