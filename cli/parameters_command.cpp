#include <cstdio>
#include <memory>
#include <string>

#include "cli/commands.h"
#include "parameters/parameter_manual.h"

namespace kalvetra {

void addParametersCommand(CLI::App& program) {
  program.add_subcommand("parameters", "Print the table of all key parameters as Markdown.")->callback([] {
    std::fputs(parametersAsMarkdown().c_str(), stdout);
  });
  CLI::App* command = program.add_subcommand("params", "Print all key parameters, their ranges and defaults.");
  auto asJson = std::make_shared<bool>(false);
  command->add_flag("--json", *asJson, "As JSON, for programs.");
  command->callback([asJson] { std::fputs((*asJson ? parametersAsJson() : parametersAsText()).c_str(), stdout); });
}

}  // namespace kalvetra
