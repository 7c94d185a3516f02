// The look: reference frames with settings, and the hashes of what the keyer makes of them.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "parameters/parameter_value.h"
#include "parameters/preset.h"
#include "tests/support/cpu_levels.h"
#include "tests/support/test_images.h"

namespace {

using Json = nlohmann::ordered_json;
using kalvetra::KeySettings;
using kalvetra::Parameter;
using kalvetra::test::append;
using kalvetra::test::Bytes;

const std::string kFile = KALVETRA_TEST_DATA "/look.json";

// All hues from left to right, from pale to strong downwards, in three bands of brightness.
Bytes hues(int width, int height) {
  Bytes image;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int hue = 1530 * x / width, level = 85 * (1 + 3 * y / height), strength = 255 * (y % 7) / 6;
      const auto component = [&](int offset) {
        const int ramp = std::abs((hue + offset) % 1530 - 765) - 255;
        const int pure = std::clamp(ramp, 0, 255);
        return static_cast<unsigned char>(level * (255 * 255 - strength * (255 - pure)) / (255 * 255));
      };
      append(image, {255, component(0), component(1020), component(510)});
    }
  }
  return image;
}

// All hues from left to right, mixed with a green screen's colour from the top downwards, with some grain: soft edges,
// the matte at all of its levels.
Bytes mixes(int width, int height) {
  constexpr int screen[]{45, 150, 70};
  kalvetra::test::Random random(6);
  Bytes image = hues(width, height);
  for (std::size_t i = 0; i < image.size(); ++i) {
    if (i % 4 == 0) continue;
    const int y = static_cast<int>(i / 4) / width;
    const int mixed = (screen[i % 4 - 1] * (height - y) + image[i] * y) / height;
    image[i] = static_cast<unsigned char>(std::clamp(mixed + random.within(-2, 2), 0, 255));
  }
  return image;
}

// A pale backdrop that drifts from yellowish to bluish green, where the hue bounds decide what belongs to it.
Bytes pale(int width, int height) {
  Bytes image;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      append(image,
             {255, static_cast<unsigned char>(120 - 45 * x / width), static_cast<unsigned char>(118 + 16 * y / height),
              static_cast<unsigned char>(80 + 45 * x / width)});
    }
  }
  return image;
}

// A green screen whose alpha falls from left to right, fully transparent at the end.
Bytes fading(int width, int height) {
  Bytes image = kalvetra::test::greenScreen(width, height, 5);
  for (std::size_t i = 0; i < image.size(); i += 4) {
    const int x = static_cast<int>(i / 4) % width;
    image[i] = static_cast<unsigned char>(std::clamp(300 - 320 * x / width, 0, 255));
  }
  return image;
}

const std::map<std::string, Bytes (*)(int, int)>& pictures() {
  static const std::map<std::string, Bytes (*)(int, int)> all{
      {"screen", [](int width, int height) { return kalvetra::test::greenScreen(width, height, 3); }},
      {"noise", [](int width, int height) { return kalvetra::test::noise(width * height * 4, 4); }},
      {"hues", hues},
      {"mixes", mixes},
      {"pale", pale},
      {"fading", fading},
  };
  return all;
}

KeySettings settingsOf(const Json& entry) {
  kalvetra::AnimatedSettings settings;
  const Json text{{"look", 1}, {"settings", entry.at("settings")}};
  kalvetra::applyPreset(kalvetra::parsePreset(text.dump(), kFile), settings);
  return settings.at(0);
}

std::string hashOf(const Json& entry) {
  const int width = entry.at("width"), height = entry.at("height");
  const Bytes frame = pictures().at(entry.at("picture"))(width, height);
  Bytes out(frame.size());
  kalvetra::renderFrame(settingsOf(entry), frame.data(), out.data(), width, height);
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(kalvetra::test::hashOf(out)));
  return text;
}

Json readReference() {
  std::ifstream file(kFile);
  return Json::parse(file);
}

// The reference with this machine's hashes, one frame a line.
std::string recorded(const Json& reference) {
  std::string lines;
  for (Json entry : reference.at("frames")) {
    entry["hash"] = hashOf(entry);
    lines += (lines.empty() ? "" : ",\n") + ("    " + entry.dump());
  }
  return "{\n  \"look\": " + std::to_string(kalvetra::kLookVersion) + ",\n  \"frames\": [\n" + lines + "\n  ]\n}\n";
}

TEST(Look, IsThatOfItsVersion) {
  const Json reference = readReference();
  ASSERT_EQ(kalvetra::kLookVersion, reference.at("look").get<int>())
      << "kLookVersion was changed: its frames must be recorded. Put this into tests/data/look.json:\n"
      << recorded(reference);
  bool same = true;
  kalvetra::test::atEveryLevel([&](kalvetra::CpuLevel level) {
    for (const Json& entry : reference.at("frames")) {
      const std::string hash = hashOf(entry), expected = entry.at("hash");
      same = same && hash == expected;
      EXPECT_EQ(expected, hash) << entry.dump() << " with " << kalvetra::cpuLevelName(level);
    }
  });
  EXPECT_TRUE(same) << "The keyer's pictures have changed. Find the fault; or, if the change is meant, raise "
                       "kLookVersion in parameters/look_version.h and put this into tests/data/look.json:\n"
                    << recorded(reference);
}

// What the frames above would not notice must not be much.
TEST(Look, ReferenceTriesEverySettingAndPicture) {
  std::set<std::string> drawn, hashes;
  std::set<int> moved;
  const Json reference = readReference();
  for (const Json& entry : reference.at("frames")) {
    drawn.insert(entry.at("picture"));
    hashes.insert(entry.at("hash"));
    const KeySettings settings = settingsOf(entry);
    for (const Parameter& p : kalvetra::kParameters) {
      const bool isSetting = p.kind != kalvetra::ParameterKind::Group;
      const bool counts = p.toggle == 0 || settings.*kalvetra::findParameter(p.toggle)->value != 0;
      if (isSetting && counts && kalvetra::valueIn(settings, p) != p.defaultValue) moved.insert(p.id);
    }
  }
  EXPECT_EQ(pictures().size(), drawn.size());
  EXPECT_EQ(20u, moved.size()) << "a setting always stands at its default";
  EXPECT_EQ(reference.at("frames").size(), hashes.size()) << "two frames come out alike, so one of them tries nothing";
}

}  // namespace
