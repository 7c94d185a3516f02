// The command line as data: what the manual page and the completions are written from.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace kalvetra {

// What a value on the command line is.
enum class ValueKind {
  None,    // a flag
  Choice,  // one of OptionOutline::choices
  File,
  Folder,
  Other,  // a number, a colour
};

struct OptionOutline {
  std::vector<std::string> names;  // "-y", "--yes"; of a positional the one name, "INPUT"
  ValueKind kind = ValueKind::None;
  std::string value;                 // for people: "0..100", "null, hash"; empty for a flag
  std::vector<std::string> choices;  // what can be given, where that is a short list
  bool orFile = false;               // or a file instead of a choice
  std::string defaultValue;          // empty where there is none
  std::string help;
  std::string group;
  bool required = false;
};

struct CommandOutline {
  std::string name;  // without its parents'
  std::string help;
  std::vector<OptionOutline> options;      // in the order of --help
  std::vector<OptionOutline> positionals;  // in the order of the command line
  std::vector<CommandOutline> commands;
};

// Everything of the program that --help shows.
CommandOutline outlineOf(const CLI::App& program);

}  // namespace kalvetra
