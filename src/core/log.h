// The daemon's log. Every message goes to the platform's debug log; while NVRAM `vorlent_dbg` is
// "1" it goes to standard output as well, so that a person at the console sees what the file gets.
//
// The switch is read at every message, so it works on a running daemon. No line feed is added: the
// texts carry their own, and a few have none.
#ifndef VORLENT_CORE_LOG_H
#define VORLENT_CORE_LOG_H

// The identity and the file under which the platform's debug-log library knows the daemon.
inline constexpr const char* LOG_IDENTITY = "vorlent";
inline constexpr const char* LOG_FILE = "vorlent_dbg.log";

// Appends "[func][line]" and the formatted text to the debug log. `func` is the operation that
// speaks. A text over 8191 bytes is cut; no message of the daemon is that long.
void onboard_log(const char* func, int line, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Appends `text` and `end` as they stand, as one message: no prefix, any length.
void onboard_log_bare(const char* text, const char* end = "");

// The name of the function it stands in.
#define SPEAKER static_cast<const char*>(__func__)

// onboard_log under the speaker's name and with this line's number. Readers and tools find a
// message by the operation that speaks, so what is split off from an operation goes on speaking in
// its name.
#define ONBOARD_LOG_AS(speaker, ...) onboard_log(speaker, __LINE__, __VA_ARGS__)
#define ONBOARD_LOG(...) ONBOARD_LOG_AS(SPEAKER, __VA_ARGS__)

#endif
