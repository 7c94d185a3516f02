// What the doctor finds, here and on machines that lack something.
#include "cli/doctor_checks.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "cpu/cpu_level.h"
#include "media/output/output_format.h"
#include "tests/support/command.h"

namespace {

using kalvetra::Check;
using kalvetra::CheckState;
using kalvetra::test::expectHas;
using kalvetra::test::kKalvetra;
using kalvetra::test::need;
using kalvetra::test::Outcome;
using kalvetra::test::run;

const Check* named(const std::vector<Check>& checks, const std::string& name) {
  for (const Check& check : checks) {
    if (check.name == name) return &check;
  }
  return nullptr;
}

TEST(Doctor, FindsThisMachineWell) {
  const Outcome outcome = run(kKalvetra + " doctor");
  EXPECT_EQ(0, outcome.status) << outcome.output;
  const auto json = nlohmann::json::parse(need(kKalvetra + " doctor --json"));
  EXPECT_GT(json.size(), 25u);
  for (const auto& check : json) {
    EXPECT_TRUE(!check["needed"] || check["state"] == "ok") << check;
    expectHas(outcome.output, check["check"]);
    expectHas(outcome.output, check["detail"]);
  }
}

TEST(Doctor, ChecksEveryOutputsCodecsAndEveryCpuLevel) {
  const std::vector<Check> checks = kalvetra::allChecks();
  for (const kalvetra::OutputFormat& format : kalvetra::outputFormats()) {
    std::vector<std::string> codecs{std::string("decoder ") + format.decoder};
    for (const kalvetra::Encoder& encoder : format.encoders) codecs.push_back(std::string("encoder ") + encoder.name);
    for (const std::string& codec : codecs) {
      const Check* check = named(checks, codec);
      ASSERT_NE(nullptr, check) << codec;
      EXPECT_TRUE(check->needed || !format.usual) << codec;
    }
  }
  EXPECT_TRUE(named(checks, "encoder prores_ks")->needed);
  EXPECT_FALSE(named(checks, "encoder libaom-av1")->needed);
  const kalvetra::CpuLevel before = kalvetra::cpuLevel();
  for (const kalvetra::CpuLevel level : kalvetra::cpuLevels()) {
    const Check* check = named(checks, "engine at " + std::string(kalvetra::cpuLevelName(level)));
    ASSERT_NE(nullptr, check);
    EXPECT_EQ(CheckState::Ok, check->state) << check->detail;
  }
  EXPECT_EQ(before, kalvetra::cpuLevel());
}

TEST(Doctor, ReportsAnEngineWithOtherBytes) {
  for (const Check& check : kalvetra::checkEngine(kalvetra::kDrawnPictureHash ^ 1)) {
    EXPECT_EQ(CheckState::Wrong, check.state);
    EXPECT_TRUE(check.needed);
    expectHas(check.detail, "gives other bytes (");
  }
}

TEST(Doctor, ReportsAMissingCodecAndWhatToInstall) {
  for (const Check& check : {kalvetra::checkEncoder("none-such", ".xyz output", true),
                             kalvetra::checkDecoder("none-such", ".xyz output", true),
                             kalvetra::checkEncoder("h264", "only decodes", true)}) {
    EXPECT_EQ(CheckState::Missing, check.state) << check.name;
    expectHas(check.detail, "not possible here; install");
  }
}

TEST(Doctor, ReportsALibraryOfAnotherKind) {
  EXPECT_EQ(CheckState::Ok,
            kalvetra::checkLibrary("avutil", AV_VERSION_INT(57, 28, 100), AV_VERSION_INT(57, 99, 1)).state);
  const Check wrong = kalvetra::checkLibrary("avutil", AV_VERSION_INT(57, 28, 100), AV_VERSION_INT(58, 2, 100));
  EXPECT_EQ(CheckState::Wrong, wrong.state);
  expectHas(wrong.detail, "built with 57.28.100, running 58.2.100");
}

TEST(Doctor, ReportsWhenTheCoresAreTooManyForTheMemory) {
  EXPECT_EQ(CheckState::Ok, kalvetra::checkMemory(8e9, 4).state);
  const Check little = kalvetra::checkMemory(2e9, 16);
  EXPECT_EQ(CheckState::Wrong, little.state);
  EXPECT_FALSE(little.needed);
  expectHas(little.detail, "16 cores, 1.9 GiB: little for pictures of 3840 x 2160; give fewer --threads");
}

TEST(Doctor, ReportsAFolderThatTakesNoFiles) {
  const Outcome outcome = run("TMPDIR=/nowhere/at/all " + kKalvetra + " doctor");
  EXPECT_EQ(0, outcome.status);  // outputs are not written there
  expectHas(outcome.output, "wrong    temporary folder     /nowhere/at/all: no file can be made there");
}

}  // namespace
