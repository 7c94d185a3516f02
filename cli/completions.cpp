#include "cli/completions.h"

#include <functional>

#include "support/shell_quoted.h"

namespace kalvetra {

namespace {

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

std::string joined(const std::vector<std::string>& words, const std::string& between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

std::string firstSentence(const std::string& text) { return text.substr(0, text.find(". ")); }

std::vector<std::string> namesOf(const std::vector<CommandOutline>& commands) {
  std::vector<std::string> names;
  for (const CommandOutline& command : commands) names.push_back(command.name);
  return names;
}

// Sees every command with the words that lead to it, "kalvetra key"; outer ones first.
using See = std::function<void(const CommandOutline&, const std::string& path)>;
void walk(const CommandOutline& command, const std::string& path, const See& see) {
  see(command, path);
  for (const CommandOutline& child : command.commands) walk(child, path + " " + child.name, see);
}

// --- bash

// What can follow an option: a line of a case.
std::string bashValue(const OptionOutline& option, const std::string& path) {
  std::vector<std::string> patterns;
  for (const std::string& name : option.names) patterns.push_back(singleQuoted(path + " " + name));
  const std::string what = option.kind == ValueKind::Choice ? "words=" + singleQuoted(joined(option.choices, " ")) +
                                                                  (option.orFile ? " files=-f" : "")
                           : option.kind == ValueKind::File   ? "files=-f"
                           : option.kind == ValueKind::Folder ? "files=-d"
                                                              : "return";
  return "    " + joined(patterns, " | ") + ") " + what + " ;;\n";
}

// What can stand anywhere in a command: a line of a case.
std::string bashArguments(const CommandOutline& command, const std::string& path) {
  std::vector<std::string> options, words = namesOf(command.commands);
  std::string files;
  for (const OptionOutline& option : command.options) {
    options.insert(options.end(), option.names.begin(), option.names.end());
  }
  for (const OptionOutline& positional : command.positionals) {
    words.insert(words.end(), positional.choices.begin(), positional.choices.end());
    if (positional.kind == ValueKind::File) files = " files=-f";
    if (positional.kind == ValueKind::Folder) files = " files=-d";
  }
  return "        " + singleQuoted(path) + ") options=" + singleQuoted(joined(options, " ")) +
         " words=" + singleQuoted(joined(words, " ")) + files + " ;;\n";
}

// --- zsh

std::string zshFunction(const std::string& path) { return "_" + replaced(replaced(path, "-", "_"), " ", "_"); }

// Text within [...] or between colons.
std::string zshText(const std::string& text) {
  std::string safe = replaced(text, "\\", "\\\\");
  for (const char* special : {"[", "]", ":"}) safe = replaced(safe, special, std::string("\\") + special);
  return safe;
}

std::string zshAction(const OptionOutline& option) {
  switch (option.kind) {
    case ValueKind::Choice:
      return option.orFile ? "_files" : "(" + joined(option.choices, " ") + ")";
    case ValueKind::File:
      return "_files";
    case ValueKind::Folder:
      return "_files -/";
    default:
      return " ";  // shows the message alone
  }
}

// One argument of _arguments for each of the option's names; each excludes all.
std::string zshOption(const OptionOutline& option) {
  std::string text;
  for (const std::string& name : option.names) {
    std::string spec = "(" + joined(option.names, " ") + ")" + name;
    if (option.kind != ValueKind::None) spec += name.starts_with("--") ? "=" : "+";
    spec += "[" + zshText(firstSentence(option.help)) + "]";
    if (option.kind != ValueKind::None) spec += ":" + zshText(option.value) + ":" + zshAction(option);
    text += " \\\n    " + singleQuoted(spec);
  }
  return text;
}

std::string zshPositional(const OptionOutline& option) {
  return " \\\n    " +
         singleQuoted((option.required ? ":" : "::") + zshText(option.names.front()) + ":" + zshAction(option));
}

// The part of a function that goes on to the command's own commands.
std::string zshDispatch(const CommandOutline& command, const std::string& path) {
  std::string described, calls;
  for (const CommandOutline& child : command.commands) {
    described += "\n        " + singleQuoted(child.name + ":" + zshText(firstSentence(child.help)));
    calls += "        " + child.name + ") " + zshFunction(path + " " + child.name) + " ;;\n";
  }
  return " \\\n    ':command:->command' '*::argument:->argument'\n  case $state in\n    command)\n      local -a "
         "commands=(" +
         described + "\n      )\n      _describe command commands\n      ;;\n    argument)\n      case $words[1] in\n" +
         calls + "      esac\n      ;;\n  esac\n";
}

// --- fish

std::string fishQuoted(const std::string& text) {
  return "'" + replaced(replaced(text, "\\", "\\\\"), "'", "\\'") + "'";
}

// True where the command line has come as far as this command and no further.
std::string fishCondition(const CommandOutline& command, const std::string& path) {
  const std::size_t space = path.find(' ');
  if (space == std::string::npos) return " -n __fish_use_subcommand";
  std::string condition =
      "__fish_seen_subcommand_from " + replaced(path.substr(space + 1), " ", "; and __fish_seen_subcommand_from ");
  if (!command.commands.empty()) {
    condition += "; and not __fish_seen_subcommand_from " + joined(namesOf(command.commands), " ");
  }
  return " -n " + fishQuoted(condition);
}

std::string fishValue(const OptionOutline& option) {
  switch (option.kind) {
    case ValueKind::None:
      return "";
    case ValueKind::Choice:
      return (option.orFile ? " -r -F -a " : " -x -a ") + fishQuoted(joined(option.choices, " "));
    case ValueKind::File:
      return " -r -F";
    case ValueKind::Folder:
      return " -x -a '(__fish_complete_directories)'";
    default:
      return " -x";
  }
}

std::string fishOption(const OptionOutline& option) {
  std::string text;
  for (const std::string& name : option.names) {
    text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  return text + fishValue(option) + " -d " + fishQuoted(firstSentence(option.help));
}

std::string fishCommand(const CommandOutline& command, const std::string& path, const std::string& program) {
  const std::string start = "complete -c " + program + fishCondition(command, path);
  std::string text;
  for (const CommandOutline& child : command.commands) {
    text += start + " -a " + child.name + " -d " + fishQuoted(firstSentence(child.help)) + "\n";
  }
  for (const OptionOutline& positional : command.positionals) {
    if (positional.kind == ValueKind::File || positional.kind == ValueKind::Folder) text += start + " -F\n";
    if (positional.kind == ValueKind::Choice)
      text += start + " -a " + fishQuoted(joined(positional.choices, " ")) + "\n";
  }
  for (const OptionOutline& option : command.options) text += start + fishOption(option) + "\n";
  return text;
}

}  // namespace

std::string bashCompletion(const CommandOutline& program) {
  std::string paths, values, arguments;
  walk(program, program.name, [&](const CommandOutline& command, const std::string& path) {
    if (path != program.name) paths += (paths.empty() ? "" : " | ") + singleQuoted(path);
    for (const OptionOutline& option : command.options) {
      if (option.kind != ValueKind::None) values += bashValue(option, path);
    }
    arguments += bashArguments(command, path);
  });
  return "# Completion of " + program.name + R"( for bash.
_kalvetra() {
  local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local command=)" +
         program.name + R"( options='' words='' files='' i
  COMPREPLY=()
  if [[ $current == '=' ]]; then # --option=value comes as three words
    current=''
  elif [[ $before == '=' ]]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case "$command ${COMP_WORDS[i]}" in
      )" +
         paths + R"() command+=" ${COMP_WORDS[i]}" ;;
    esac
  done
  case "$command $before" in
)" + values +
         R"(    *)
      case $command in
)" + arguments +
         R"(      esac
      [[ $current == -* ]] && words=$options files=''
      ;;
  esac
  mapfile -t COMPREPLY < <(
    compgen -W "$words" -- "$current"
    [[ -n $files ]] && compgen "$files" -- "$current"
  )
  [[ -z $files ]] || compopt -o filenames 2>/dev/null
}
complete -F _kalvetra )" +
         program.name + "\n";
}

std::string zshCompletion(const CommandOutline& program) {
  std::string text = "#compdef " + program.name + "\n";
  walk(program, program.name, [&](const CommandOutline& command, const std::string& path) {
    text += "\n" + zshFunction(path) + "() {\n";
    if (!command.commands.empty()) text += "  local context state state_descr line\n  typeset -A opt_args\n";
    text += command.commands.empty() ? "  _arguments -s" : "  _arguments -C -s";
    for (const OptionOutline& option : command.options) text += zshOption(option);
    for (const OptionOutline& positional : command.positionals) text += zshPositional(positional);
    text += (command.commands.empty() ? "\n" : zshDispatch(command, path)) + "}\n";
  });
  return text + "\n" + zshFunction(program.name) + " \"$@\"\n";
}

std::string fishCompletion(const CommandOutline& program) {
  std::string text = "# Completion of " + program.name + " for fish.\ncomplete -c " + program.name + " -f\n";
  walk(program, program.name, [&](const CommandOutline& command, const std::string& path) {
    text += fishCommand(command, path, program.name);
  });
  return text;
}

}  // namespace kalvetra
