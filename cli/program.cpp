#include "cli/program.h"

#include "cli/commands.h"

namespace kalvetra {

std::unique_ptr<CLI::App> makeProgram() {
  auto program = std::make_unique<CLI::App>("Kalvetra keys green-screen video.", "kalvetra");
  program->set_version_flag("--version", "kalvetra " KALVETRA_VERSION);
  program->require_subcommand(1);
  addKeyCommand(*program);
  addStillCommand(*program);
#ifdef KALVETRA_PREVIEW
  addPreviewCommand(*program);
#endif
  addProbeCommand(*program);
  addPickCommand(*program);
  addReportCommand(*program);
  addPresetCommand(*program);
  addSampleCommand(*program);
  addParametersCommand(*program);
  addDoctorCommand(*program);
  addManualCommand(*program);
  return program;
}

}  // namespace kalvetra
