#include "cli/command_outline.h"

#include <algorithm>
#include <iterator>
#include <regex>

namespace kalvetra {

namespace {

// The words of "a, b, c". Nothing where one of them is more than a plain word, as in "0..100" or "#rrggbb", or where
// there is only one, which then is a placeholder.
std::vector<std::string> plainWords(const std::string& list) {
  std::vector<std::string> words;
  static const std::regex separator(", "), plain("[a-z0-9][a-z0-9-]*");
  for (std::sregex_token_iterator word(list.begin(), list.end(), separator, -1), end; word != end; ++word) {
    if (!std::regex_match(word->str(), plain)) return {};
    words.push_back(*word);
  }
  return words.size() > 1 ? words : std::vector<std::string>{};
}

// The library appends what its checks say: "TEXT:{null,hash}", "1..256:INT in [1 - 256]".
std::string valueText(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  const std::size_t colon = type.find(':'), brace = type.find('{'), end = type.find('}');
  if (brace == std::string::npos || end == std::string::npos) return type.substr(0, colon);
  return std::regex_replace(type.substr(brace + 1, end - brace - 1), std::regex(","), ", ");
}

ValueKind kindOf(const OptionOutline& option) {
  if (option.value.empty()) return ValueKind::None;
  if (!option.choices.empty()) return ValueKind::Choice;
  if (option.value == "DIR") return ValueKind::Folder;
  if (option.value == "TEXT" || option.value == "FILE" || option.value == "PATH") return ValueKind::File;
  return ValueKind::Other;
}

OptionOutline outlineOfOption(const CLI::Option& option) {
  OptionOutline outline;
  if (option.get_positional()) {
    outline.names.push_back(option.get_name(true));
  } else {
    for (const std::string& name : option.get_snames()) outline.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) outline.names.push_back("--" + name);
  }
  if (option.get_items_expected_max() > 0) outline.value = valueText(option);
  constexpr std::string_view kOrFile = ", FILE";
  outline.orFile = outline.value.ends_with(kOrFile);
  outline.choices = plainWords(outline.value.substr(0, outline.value.size() - (outline.orFile ? kOrFile.size() : 0)));
  outline.kind = kindOf(outline);
  outline.defaultValue = option.get_default_str();
  outline.help = option.get_description();
  outline.group = option.get_group();
  outline.required = option.get_required();
  return outline;
}

bool isShown(const CLI::App* command) { return !command->get_group().empty(); }

}  // namespace

CommandOutline outlineOf(const CLI::App& program) {
  CommandOutline outline;
  outline.name = program.get_name();
  outline.help = program.get_description();
  for (const CLI::Option* option : program.get_options()) {
    if (option->get_group().empty()) continue;  // hidden
    (option->get_positional() ? outline.positionals : outline.options).push_back(outlineOfOption(*option));
  }
  for (const CLI::App* command : program.get_subcommands(isShown)) {
    CommandOutline inner = outlineOf(*command);
    if (inner.name.empty()) {  // a group of options
      std::move(inner.options.begin(), inner.options.end(), std::back_inserter(outline.options));
      std::move(inner.positionals.begin(), inner.positionals.end(), std::back_inserter(outline.positionals));
    } else {
      outline.commands.push_back(std::move(inner));
    }
  }
  return outline;
}

}  // namespace kalvetra
