// The subcommands. Each adds itself to the program and runs when it is chosen; failures are thrown.
#pragma once

#include <CLI/CLI.hpp>

namespace kalvetra {

void addKeyCommand(CLI::App& program);         // key INPUT OUTPUT
void addStillCommand(CLI::App& program);       // still INPUT OUT.png
void addPickCommand(CLI::App& program);        // pick FILE
void addPresetCommand(CLI::App& program);      // preset --as frei0r FILE
void addSampleCommand(CLI::App& program);      // sample OUT.mp4
void addParametersCommand(CLI::App& program);  // parameters, params [--json]
void addReportCommand(CLI::App& program);      // report KEYED
void addDoctorCommand(CLI::App& program);      // doctor
void addManualCommand(CLI::App& program);      // manual page|bash|zsh|fish, not shown
void addProbeCommand(CLI::App& program);       // probe FILE
void addPreviewCommand(CLI::App& program);     // preview CLIP, where KALVETRA_PREVIEW is built

}  // namespace kalvetra
