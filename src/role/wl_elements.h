// The wireless utility's commands that put the vendor element on the air and take it off.
//
// First number: the frames that carry it, as a bit mask (1 beacon, 2 probe response, 16 probe
// request). Second: bytes of OUI and data. The data is the element's body from `reserved` on; base
// and unit differ in the sixth byte only, the role.
#ifndef VORLENT_ROLE_WL_ELEMENTS_H
#define VORLENT_ROLE_WL_ELEMENTS_H

inline constexpr const char* ADD_BASE_ELEMENT = "wl add_ie 3 11 02:7E:91 0000000308010101";
inline constexpr const char* DEL_BASE_ELEMENT = "wl del_ie 3 11 02:7E:91 0000000308010101";
inline constexpr const char* ADD_UNIT_ELEMENT = "wl add_ie 16 11 02:7E:91 0000000308020101";
inline constexpr const char* DEL_UNIT_ELEMENT = "wl del_ie 16 11 02:7E:91 0000000308020101";

#endif
