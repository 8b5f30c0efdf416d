// Where the services of a Linux box, the programs that they run and `wl` meet. All of it is root's.
#ifndef PLATFORM_LINUX_PLACES_H
#define PLATFORM_LINUX_PLACES_H

inline constexpr const char* kRunFolder = "/run/vorlent";
inline constexpr const char* kRadioSocket = "/run/vorlent/radio.sock";

// Folders of the control sockets.
inline constexpr const char* kHostapdSockets = "/run/vorlent/hostapd";
inline constexpr const char* kSupplicantSockets = "/run/vorlent/supplicant";

#endif
