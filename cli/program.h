// The whole command line: every subcommand with its options.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>

namespace kalvetra {

// Parsing with it runs the chosen subcommand.
std::unique_ptr<CLI::App> makeProgram();

}  // namespace kalvetra
