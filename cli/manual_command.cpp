#include <cstdio>
#include <memory>
#include <string>

#include "cli/commands.h"
#include "cli/completions.h"
#include "cli/manual_page.h"

namespace kalvetra {

namespace {

std::string textOf(const std::string& what, const CommandOutline& outline) {
  if (what == "bash") return bashCompletion(outline);
  if (what == "zsh") return zshCompletion(outline);
  if (what == "fish") return fishCompletion(outline);
  return manualPage(outline, KALVETRA_VERSION);
}

}  // namespace

// For the build and for packagers; the empty group keeps it out of --help, and so out of what it prints.
void addManualCommand(CLI::App& program) {
  CLI::App* command = program.add_subcommand("manual", "Print the manual page or a shell's completions.")->group("");
  auto what = std::make_shared<std::string>();
  command->add_option("WHAT", *what, "What to print.")
      ->required()
      ->check(CLI::IsMember({"page", "bash", "zsh", "fish"}));
  command->callback([&program, what] { std::fputs(textOf(*what, outlineOf(program)).c_str(), stdout); });
}

}  // namespace kalvetra
