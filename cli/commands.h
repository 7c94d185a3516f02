// The subcommands. Each adds itself to the program and runs when it is chosen; failures are thrown.
#pragma once

#include <CLI/CLI.hpp>

namespace kalvetra {

void addKeyCommand(CLI::App& program);         // key INPUT OUTPUT
void addStillCommand(CLI::App& program);       // still INPUT OUT.png
void addPickCommand(CLI::App& program);        // pick FILE
void addSampleCommand(CLI::App& program);      // sample OUT.mp4
void addParametersCommand(CLI::App& program);  // parameters

}  // namespace kalvetra
