#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/console.h"
#include "cli/doctor_checks.h"
#include "support/number_text.h"
#include "support/shown_text.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

void printJson(const std::vector<Check>& checks) {
  nlohmann::json json = nlohmann::json::array();
  for (const Check& check : checks) {
    json.push_back({{"check", check.name},
                    {"state", checkStateName(check.state)},
                    {"detail", check.detail},
                    {"needed", check.needed}});
  }
  std::printf("%s\n", json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

void printLines(const std::vector<Check>& checks) {
  for (const Check& check : checks) {
    std::printf("%-8s %-20s %s%s\n", checkStateName(check.state).c_str(), check.name.c_str(),
                shownText(check.detail).c_str(),
                check.state != CheckState::Ok && !check.needed ? " (the outputs of kalvetra key do without)" : "");
  }
}

void run(bool json) {
  const std::vector<Check> checks = allChecks();
  json ? printJson(checks) : printLines(checks);
  std::fflush(stdout);
  std::int64_t bad = 0;
  for (const Check& check : checks) bad += check.needed && check.state != CheckState::Ok ? 1 : 0;
  if (bad > 0) throw UserError("doctor: " + counted(bad, "needed thing") + " missing or wrong; the list says which");
}

}  // namespace

void addDoctorCommand(CLI::App& program) {
  CLI::App* command = program.add_subcommand("doctor", "Check that this machine has all that is needed.");
  auto json = std::make_shared<bool>(false);
  command->add_flag("--json", *json, "Print JSON.");
  command->callback([json] { run(*json); });
}

}  // namespace kalvetra
