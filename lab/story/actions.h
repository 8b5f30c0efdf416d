// What a scenario can have somebody do: one table of names, arguments and deeds.
#ifndef LAB_ACTIONS_H
#define LAB_ACTIONS_H

#include <span>
#include <string>
#include <string_view>

namespace lab {

struct Mesh;
struct Node;

// Of `off` and `window`: this word or nothing.
enum class Argument { none, time, number, signal, setting, off, window, units };

// Who can do it: whoever has a daemon, whoever has a radio (the stranger too), and so on. A
// newcomer is a unit that is not there before.
enum class Whose { daemons, radios, bases, stranger, newcomer };

struct Action {
  std::string_view name;
  Argument argument;
  Whose whose;
  void (*act)(Mesh& mesh, Node& node, const std::string& argument);
};

std::span<const Action> actions();

}  // namespace lab

#endif
