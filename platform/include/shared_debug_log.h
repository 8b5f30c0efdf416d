/* The platform's debug-log library as the daemon sees it: one bounded text file per program.
 *
 * It is not a syslog: no levels, no time stamps. A message is appended as it stands. */
#ifndef SHARED_DEBUG_LOG_H
#define SHARED_DEBUG_LOG_H

#ifdef __cplusplus
extern "C" {
#endif

/* Bounds the log file `file` of the program `identity` to `max_bytes` bytes. */
void shared_debug_log_init(const char* identity, const char* file, int max_bytes);

/* Appends the text that the printf format and its arguments give, nothing added. Works before
 * shared_debug_log_init too. A file that cannot be written drops the message; the caller goes on.
 */
void shared_debug_log_do_write_log(const char* identity, const char* file, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

#ifdef __cplusplus
}
#endif

#endif
