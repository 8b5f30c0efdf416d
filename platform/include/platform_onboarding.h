/* The platform's onboarding library as the daemon sees it, and the one call of its network library
 * that the daemon uses. */
#ifndef PLATFORM_ONBOARDING_H
#define PLATFORM_ONBOARDING_H

#ifdef __cplusplus
extern "C" {
#endif

/* Non-zero when the platform lists the station `mac` ("aa:bb:cc:dd:ee:ff", any letter case) as a
 * candidate satellite: a unit that the owner has approved. */
int check_mac_in_candidate_satellite(const char* mac);

/* Called just before the satellite configuration is written. The daemon does not use the result. */
int disable_mesh_settings(void);

/* Called just after the un-configured defaults are written. The daemon does not use the result. */
int reset_to_uncfg_mode(void);

/* Writes the 6 bytes of `mac` into `text` as 17 upper-case characters ("AA:BB:CC:DD:EE:FF") and a
 * NUL, and returns `text`, which must hold 18 bytes. */
char* ether_etoa(const unsigned char* mac, char* text);

#ifdef __cplusplus
}
#endif

#endif
