// The wireless utility's commands that put the vendor element on the air and take it off.
//
// First number: the frames that carry it, as a bit mask (1 beacon, 2 probe response, 16 probe
// request). Second: bytes of OUI and data. Then the OUI with colons, and the rest of the element's
// body in hexadecimal. Made by the compiler, so that they cannot differ from the element.
#ifndef VORLENT_ROLE_WL_ELEMENTS_H
#define VORLENT_ROLE_WL_ELEMENTS_H

#include <string_view>

#include "core/pelion_element.h"

using ElementCommand = std::array<char, 48>;

// The command that begins with `words` for the advertised element of a role.
constexpr ElementCommand element_command(std::string_view words, std::uint8_t prod_id) {
  constexpr std::string_view DIGITS = "0123456789ABCDEF";
  constexpr std::size_t BODY_AT = 2;
  constexpr std::size_t DATA_AT = BODY_AT + PELION_OUI.size();
  const PelionElement element = pelion_element(prod_id, VIE_DATA_ADVERTISED);
  ElementCommand command{};
  std::size_t at = 0;
  for (const char letter : words) {
    command[at++] = letter;
  }
  static_assert(PLON_IE_SIZE - BODY_AT == 11);
  for (const char letter : {' ', '1', '1', ' '}) {
    command[at++] = letter;
  }
  for (std::size_t i = BODY_AT; i < element.size(); ++i) {
    if (i > BODY_AT && i <= DATA_AT) {
      command[at++] = i == DATA_AT ? ' ' : ':';
    }
    command[at++] = DIGITS[element[i] >> 4U];
    command[at++] = DIGITS[element[i] & 0x0FU];
  }
  return command;
}

inline constexpr ElementCommand ADD_BASE_ELEMENT = element_command("wl add_ie 3", PROD_ID_BASE);
inline constexpr ElementCommand DEL_BASE_ELEMENT = element_command("wl del_ie 3", PROD_ID_BASE);
inline constexpr ElementCommand ADD_UNIT_ELEMENT = element_command("wl add_ie 16", PROD_ID_UNIT);
inline constexpr ElementCommand DEL_UNIT_ELEMENT = element_command("wl del_ie 16", PROD_ID_UNIT);

#endif
