// The whole command line: every subcommand with its options.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>

namespace kalvetra {

// Parsing with it runs the chosen subcommand.
std::unique_ptr<CLI::App> makeProgram();

// The command `kalvetra`, from its arguments to its exit status: 0 done, 1 failed, 2 wrong usage, 130 interrupted.
// Whatever goes wrong is one sentence on stderr.
int runProgram(int argc, char** argv);

}  // namespace kalvetra
