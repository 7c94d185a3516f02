#include "cli/overview.h"

#include <algorithm>
#include <filesystem>

#include "support/nearest_word.h"
#include "support/shell_quoted.h"

namespace kalvetra {

namespace {

using Words = std::vector<std::string_view>;

std::vector<const CLI::App*> shownCommands(const CLI::App& program) {
  return program.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

std::string withoutDashes(const std::string& word) {
  return word.substr(std::min(word.find_first_not_of('-'), word.size()));
}

// ", did you mean ...?" where there is something near.
std::string suggestion(const std::string& word, const Words& names, const std::string& before) {
  const std::string_view nearest = nearestWord(word, names);
  if (nearest.empty() || !isLikely(nearest, word)) return {};
  return "; did you mean " + before + std::string(nearest) + "?";
}

// The command that was chosen, or the program itself.
const CLI::App& chosenCommand(const CLI::App& program) {
  const std::vector<CLI::App*> chosen = program.get_subcommands();
  return chosen.empty() ? program : *chosen.front();
}

bool isOption(const std::string& argument) { return argument.size() > 1 && argument.starts_with('-'); }

std::string nameOf(const CLI::App& program, const CLI::App& command) {
  return &command == &program ? program.get_name() : program.get_name() + " " + command.get_name();
}

std::string unknownOption(const CLI::App& program, const CLI::App& command, const std::string& argument) {
  const std::string option = argument.substr(0, argument.find('='));
  Words names;
  for (const CLI::Option* known : command.get_options()) {
    for (const std::string& name : known->get_lnames()) names.push_back(name);
  }
  std::string sentence = option + " is no option of " + nameOf(program, command);
  for (const CLI::App* other : shownCommands(program)) {
    if (other->get_option_no_throw(option) != nullptr) return sentence + ", but of " + nameOf(program, *other);
  }
  return sentence + suggestion(withoutDashes(option), names, "--");
}

std::string unknownCommand(const CLI::App& program, const std::string& word) {
  std::error_code ignored;
  if (std::filesystem::exists(word, ignored)) {
    const std::string output = std::filesystem::is_directory(word, ignored) ? "'keyed/{name}.mov'" : "keyed.mov";
    return "'" + word + "' is no command; to key it: " + program.get_name() + " key " + shellQuoted(word) + " " +
           output;
  }
  Words names;
  for (const CLI::App* command : shownCommands(program)) names.push_back(command->get_name());
  return "'" + word + "' is no command" + suggestion(word, names, "");
}

// What is wrong with the first argument that nothing took; empty where all were taken.
std::string complaint(const CLI::App& program, const CLI::App& command) {
  const CLI::App& place = program.remaining().empty() ? command : program;
  const std::vector<std::string> left = place.remaining();
  if (left.empty()) return {};
  if (isOption(left.front())) return unknownOption(program, place, left.front());
  if (&place == &program) return unknownCommand(program, left.front());
  return "'" + left.front() + "' is one argument too many for " + nameOf(program, place);
}

// The library counts: "--shadow: 1 required 0..100 missing", "--shadow: At Most 1 required but received 2".
std::string miscount(const std::string& counted) {
  const std::string option = counted.substr(0, counted.find(':'));
  return option + (counted.ends_with("missing") ? " lacks its value" : " is given more than once; give it once");
}

}  // namespace

std::string overview(const CLI::App& program) {
  std::string text = program.get_description() + "\n\nExamples:\n";
  for (std::size_t i = 0; i < 3; ++i) {
    text += std::string("  ") + kExamples[i].command + "\n      " + kExamples[i].what + "\n";
  }
  text += "\nCommands:\n";
  const std::vector<const CLI::App*> commands = shownCommands(program);
  std::size_t width = 0;
  for (const CLI::App* command : commands) width = std::max(width, command->get_name().size());
  for (const CLI::App* command : commands) {
    const std::string& name = command->get_name();
    text += "  " + name + std::string(width - name.size() + 2, ' ') + command->get_description() + "\n";
  }
  return text + "\n" + program.get_name() + " COMMAND --help lists what a command takes.\n";
}

std::string usageSentence(const CLI::App& program, const CLI::ParseError& error) {
  const CLI::App& command = chosenCommand(program);
  const auto status = static_cast<CLI::ExitCodes>(error.get_exit_code());
  const std::string more = " (" + nameOf(program, command) + " --help tells more)";
  if (status == CLI::ExitCodes::ArgumentMismatch) return miscount(error.what()) + more;
  const bool wasParsed = status == CLI::ExitCodes::ExtrasError || status == CLI::ExitCodes::RequiredError;
  const std::string unknown = wasParsed ? complaint(program, command) : "";
  return (unknown.empty() ? error.what() : unknown) + more;
}

}  // namespace kalvetra
