#include <cstdio>

#include "cli/commands.h"
#include "parameters/parameter_manual.h"

namespace kalvetra {

void addParametersCommand(CLI::App& program) {
  program.add_subcommand("parameters", "Print the table of all key parameters as Markdown.")->callback([] {
    std::fputs(parametersAsMarkdown().c_str(), stdout);
  });
}

}  // namespace kalvetra
