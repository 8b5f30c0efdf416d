/* What the laboratory and the agent inside a unit's sandbox say to each other, over one socket that
 * keeps messages apart: the first byte says what a message is, the rest is its content.
 *
 * The programs on the unit's PATH use a second socket, bound at kCommandSocket: they send their own
 * name and arguments, each ended by a zero byte, and get back one byte of exit status and a text.
 */
#ifndef LAB_AGENT_PROTOCOL_H
#define LAB_AGENT_PROTOCOL_H

namespace lab {

/* To the agent. */
inline constexpr char kDeliver = 'E';  /* a datagram for the daemon's event port */
inline constexpr char kStart = 'S';    /* start the daemon; the libraries to preload */
inline constexpr char kSignal = 'K';   /* send the daemon a signal; its number in digits */
inline constexpr char kMemory = 'M';   /* say how much memory the unit's processes hold */
inline constexpr char kPowerCut = 'P'; /* end everything at once, the agent too */

/* From the agent. */
inline constexpr char kReady = 'R';  /* the sandbox stands */
inline constexpr char kEnded = 'X';  /* the daemon ended: "exit N" or "signal N" */
inline constexpr char kHolds = 'M';  /* KiB in digits */
inline constexpr char kFailed = 'F'; /* the daemon could not be started; why */

inline constexpr int kAgentSocket = 3; /* the agent's end of the socket */

/* Where things are inside a sandbox. */
inline constexpr char kCommandSocket[] = "/run/lab/ctl";
inline constexpr char kOutput[] = "/run/lab/stdout.log";
inline constexpr char kPrograms[] = "/run/bin";
inline constexpr char kDaemon[] = "/run/bin/vorlent";
inline constexpr char kTimeLapse[] = "/run/bin/timelapse.so";
inline constexpr char kReadyKeys[] = "/run/bin/ready_keys.so";
inline constexpr char kKeyStore[] = "/run/keys";
inline constexpr char kClockPage[] = "/run/bin/clock";

inline constexpr unsigned kEventPort = 55688;
inline constexpr unsigned kMaxMessage = 16384;

}  // namespace lab

#endif
