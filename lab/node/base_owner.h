// A base's owner, and the part of its platform that serves the owner: has the window opened while
// units are missing, reads the candidate file, approves the units it lists that are the owner's,
// and has the credentials pushed when all are ready, the table is full, or nothing has moved for a
// while; and so again until all are in.
//
// A push empties the daemon's table, also of those who are in the middle of a handshake. So one
// that only frees the table of those who never finish waits until nobody stirs.
#ifndef LAB_BASE_OWNER_H
#define LAB_BASE_OWNER_H

#include <optional>
#include <set>
#include <string>

#include "node/happening.h"

namespace lab {

struct Mesh;

struct Owner {
  bool automatic = true;        // pushes by itself
  bool opens_windows = true;    // asks for them by itself
  std::set<std::string> ready;  // stations in the candidate file
  // Stations that the owner approves; where nobody was named, whoever is of this mesh.
  std::optional<std::set<std::string>> approved;
  std::set<std::string> pushed;  // stations that have had a push and not come back to search
  Time ready_changed{};
  Time window_until{};
  Time last_stir{};  // when a handshake last began, got ready or was pushed
};

void request_window(Mesh& mesh, Node& base);
void push(Mesh& mesh, Node& base);
// The base's pushes are for this station, and those that were approved before, alone; for none: for
// all again.
void approve(Mesh& mesh, Node& base, const std::optional<Mac>& station);
void candidates_changed(Mesh& mesh, Node& base);
void owner_notices(Mesh& mesh, const Node& node, const ModeEntered& entered);
// The base's daemon has ended, and with it what its owner knew of it.
void owner_forgets(Node& base);
void tick_owners(Mesh& mesh);

}  // namespace lab

#endif
