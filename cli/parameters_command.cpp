#include <cstdio>
#include <memory>
#include <string>

#include "cli/commands.h"
#include "parameters/parameter_manual.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

void print(const std::string& text) {
  if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
    throw UserError("the standard output: cannot be written; check where it goes");
  }
}

}  // namespace

void addParametersCommand(CLI::App& program) {
  program.add_subcommand("parameters", "Print the table of all key parameters as Markdown.")->callback([] {
    print(parametersAsMarkdown());
  });
  CLI::App* command = program.add_subcommand("params", "Print all key parameters, their ranges and defaults.");
  auto asJson = std::make_shared<bool>(false);
  command->add_flag("--json", *asJson, "As JSON, for programs.");
  command->callback([asJson] { print(*asJson ? parametersAsJson() : parametersAsText()); });
}

}  // namespace kalvetra
