// A unit's NVRAM: a file in its box, which its programs and the platform rewrite, and the copy that
// outlives a power cut. Its text is the stand-in's.
#ifndef LAB_UNIT_NVRAM_H
#define LAB_UNIT_NVRAM_H

#include <string>
#include <string_view>

#include "standin/nvram_text.h"

namespace lab {

struct Mesh;
struct Node;

using Settings = standin::Values;

struct UnitNvram {
  Settings factory;
  Settings settings;      // as last read
  std::string own_stamp;  // of the file that the platform itself wrote last
  bool first_boot = true;
};

std::string value_of(const Settings& settings, std::string_view key);
// Whether a store is whole: its last line ended, and the mark there that the factory set.
bool is_whole(std::string_view text);

// What is in /tmp when a unit starts: its NVRAM as it was last saved and nothing else.
void restore_nvram(Mesh& mesh, Node& node);
void change_nvram(Mesh& mesh, Node& node, std::string_view key, std::string_view value);
void save_nvram(Mesh& mesh, Node& node);
bool has_unsaved(const Node& node);
// Reads the file and publishes what has changed; false where it is torn.
bool read_nvram(Mesh& mesh, Node& node);
// Whether somebody else than the platform wrote it last.
bool is_foreign(const Node& node);

// Whether the unit holds this base's backhaul credentials.
bool has_credentials_of(const Node& unit, const Node& base);

}  // namespace lab

#endif
