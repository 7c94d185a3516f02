#include "cli/manual_page.h"

#include <algorithm>
#include <cctype>

#include "cli/overview.h"

namespace kalvetra {

namespace {

constexpr const char* kDescription =
    "From each frame of a clip, kalvetra computes a matte, takes the screen's colour out of the subject, and "
    "writes the result with alpha. It follows uneven lighting of the screen by estimating, for every frame, what the "
    "backdrop "
    "looks like behind the subject.";

struct Row {
  const char* term;
  const char* text;
};

constexpr Row kExitStatus[]{
    {"0", "Done."},
    {"1", "Failed; one line on the standard error says what, where and what to do. Nothing half-written is left."},
    {"2", "Wrong usage."},
    {"130", "Interrupted. Nothing stands under a final name; with --resume what is done is kept."},
};

// Text as roff takes it literally. A hyphen is a minus: options are to be copied.
std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else if (c == '\'') {
      out += "\\(aq";
    } else {
      out += c == '\n' ? ' ' : c;
    }
  }
  return out;
}

// A line of running text; a dot at its beginning would be a request.
std::string line(const std::string& text) {
  const std::string safe = escaped(text);
  return (safe.starts_with('.') ? "\\&" : "") + safe + "\n";
}

std::string bold(const std::string& text) { return "\\fB" + escaped(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + escaped(text) + "\\fR"; }
std::string entry(const std::string& term, const std::string& text) { return ".TP\n" + term + "\n" + text; }

std::string sentence(const std::string& text) { return text.empty() || text.ends_with('.') ? text : text + "."; }

std::string upperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

// "-f, --format null, hash"
std::string optionTerm(const OptionOutline& option) {
  std::string term;
  for (const std::string& name : option.names) term += (term.empty() ? "" : ", ") + bold(name);
  return option.value.empty() ? term : term + " " + italic(option.value);
}

std::string optionEntry(const OptionOutline& option) {
  const std::string byDefault = option.defaultValue.empty() ? "" : " Default: " + option.defaultValue + ".";
  return entry(optionTerm(option), line(sentence(option.help) + byDefault));
}

std::string positionalEntry(const OptionOutline& option) {
  const std::string choices = option.choices.empty() ? "" : " One of: " + option.value + ".";
  return entry(italic(option.names.front()), line(sentence(option.help) + choices));
}

std::string synopsis(const CommandOutline& command, const std::string& path) {
  std::string text = bold(path);
  if (!command.options.empty()) text += " [" + italic("options") + "]";
  for (const OptionOutline& positional : command.positionals) {
    const std::string name = italic(positional.names.front());
    text += positional.required ? " " + name : " [" + name + "]";
  }
  return text;
}

// Those that do something by themselves; a command that only holds others is no way to call the program.
std::string allSynopses(const CommandOutline& command, const std::string& path) {
  std::string text;
  if (command.commands.empty()) text = synopsis(command, path) + "\n.br\n";
  for (const CommandOutline& child : command.commands) text += allSynopses(child, path + " " + child.name);
  return text;
}

std::string optionList(const CommandOutline& command) {
  std::string text, group;
  for (const OptionOutline& option : command.options) {
    if (option.group != group && option.group != "Options") text += ".PP\n" + line(option.group + ":");
    group = option.group;
    text += optionEntry(option);
  }
  return text;
}

std::string commandSections(const CommandOutline& command, const std::string& path) {
  std::string text;
  for (const CommandOutline& child : command.commands) {
    const std::string name = path.empty() ? child.name : path + " " + child.name;
    text += ".SS " + escaped(name) + "\n" + line(child.help) + ".PP\n" + synopsis(child, "kalvetra " + name) + "\n";
    for (const OptionOutline& positional : child.positionals) text += positionalEntry(positional);
    text += optionList(child) + commandSections(child, name);
  }
  return text;
}

std::string section(const std::string& title) { return ".SH " + title + "\n"; }

}  // namespace

std::string manualPage(const CommandOutline& program, const std::string& version) {
  std::string text = ".TH " + upperCase(program.name) + " 1 \"\" \"" + program.name + " " + escaped(version) +
                     "\" \"User Commands\"\n.nh\n.ad l\n";
  text += section("NAME") + escaped(program.name) + " \\- key green\\-screen video\n";
  text += section("SYNOPSIS") + allSynopses(program, program.name);
  text += section("DESCRIPTION") + line(kDescription);
  text += section("OPTIONS") + optionList(program);
  text += section("COMMANDS") + commandSections(program, "");
  text += section("EXIT STATUS");
  for (const Row& row : kExitStatus) text += entry(bold(row.term), line(row.text));
  text += section("EXAMPLES");
  for (const Example& example : kExamples) text += entry(bold(example.command), line(example.what));
  text += section("FILES") + entry(italic(".NAME.part-*").insert(0, "\\&"),
                                   line("What is being written lies under such a hidden name beside its target until "
                                        "it is complete. One that a killed process left is removed by the next run."));
  return text;
}

}  // namespace kalvetra
