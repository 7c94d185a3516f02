#include "tests/support/look.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

#include "parameters/preset.h"

namespace kalvetra::test {

namespace {

using Json = nlohmann::ordered_json;

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

// A weak backdrop through all hues from skin over green to blue, in waves of light: where the hue bounds stand decides
// what the estimate of the backdrop follows.
Bytes drift(int width, int height) {
  Bytes image;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int turn = 2 * x - width, light = 118 + std::abs((x + y) % 40 - 20) - 10;
      const int I = 1400 * turn / width, Q = 1800 * turn / width * turn / width - 1200;  // in hundredths
      const auto component = [&](int ofI, int ofQ) {
        return static_cast<unsigned char>(light + (ofI * I + ofQ * Q) / 100000);
      };
      append(image, {255, component(956, 620), component(-272, -647), component(-1108, 1705)});
    }
  }
  return image;
}

// The chromas round the screen's colour, I from left to right and Q downwards, in waves of light: a disc of them passes
// for backdrop, whose rim shows the least change of the colours that are expected.
Bytes disc(int width, int height) {
  Bytes image;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int light = 110 + std::abs((x + 2 * y) % 60 - 30);
      const int I = -3690 + 2600 * (2 * x - width) / width, Q = -4710 + 2600 * (2 * y - height) / height;  // hundredths
      const auto component = [&](int ofI, int ofQ) {
        return static_cast<unsigned char>(std::clamp(light + (ofI * I + ofQ * Q) / 100000, 0, 255));
      };
      append(image, {255, component(956, 620), component(-272, -647), component(-1108, 1705)});
    }
  }
  return image;
}

// The screen's colour at all brightnesses from left to right, its red and blue moved apart from the top downwards:
// shadows, highlights, and both sides of the axis to grey.
Bytes shades(int width, int height) {
  Bytes image;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int light = 20 + 235 * x / width, aside = 90 * (2 * y - height) / height;
      const auto component = [&](int full, int moved) {
        return static_cast<unsigned char>(std::clamp(full * light / 180 + moved, 0, 255));
      };
      append(image, {255, component(45, aside), component(150, 0), component(70, -aside)});
    }
  }
  return image;
}

// Blocks of 8 x 8 pixels with a colour each, as strong compression leaves them, under a luminance without blocks.
Bytes blocks(int width, int height) {
  Bytes image;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      kalvetra::test::Random random(static_cast<std::uint64_t>(y / 8 * 1000 + x / 8));
      const int light = 40 * (x + y) / (width + height);
      append(image, {255, static_cast<unsigned char>(40 + light + random.within(-25, 60)),
                     static_cast<unsigned char>(140 + light + random.within(-25, 25)),
                     static_cast<unsigned char>(65 + light + random.within(-25, 60))});
    }
  }
  return image;
}

// All mixes of components at and next to their ends, under every kind of alpha.
Bytes extremes(int width, int height) {
  constexpr unsigned char values[]{0, 1, 127, 128, 254, 255}, alphas[]{255, 255, 254, 128, 1, 0, 255};
  Bytes image;
  for (std::size_t i = 0; i < static_cast<std::size_t>(width) * static_cast<std::size_t>(height); ++i) {
    append(image, {alphas[i % 7], values[i % 6], values[i / 6 % 6], values[i / 36 % 6]});
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
      {"drift", drift},
      {"disc", disc},
      {"shades", shades},
      {"blocks", blocks},
      {"extremes", extremes},
  };
  return all;
}

LookFrame frameOf(const Json& entry) {
  AnimatedSettings settings;
  const Json preset{{"look", 1}, {"settings", entry.at("settings")}};
  applyPreset(parsePreset(preset.dump(), kFile), settings);
  return {entry.dump(),         entry.at("picture"), entry.at("width"), entry.at("height"),
          presetText(settings), settings.at(0),      entry.at("hash")};
}

}  // namespace

const LookReference& lookReference() {
  static const LookReference reference = [] {
    std::ifstream file(kFile);
    const Json json = Json::parse(file);
    LookReference read{json.at("look"), {}};
    for (const Json& entry : json.at("frames")) read.frames.push_back(frameOf(entry));
    return read;
  }();
  return reference;
}

std::vector<std::string> lookPictures() {
  std::vector<std::string> names;
  for (const auto& [name, draw] : pictures()) names.push_back(name);
  return names;
}

Bytes drawn(const LookFrame& frame) { return pictures().at(frame.picture)(frame.width, frame.height); }

std::string lookHash(const Bytes& keyed) {
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hashOf(keyed)));
  return text;
}

std::string lookFile(const std::vector<std::string>& hashes) {
  std::string lines;
  for (std::size_t i = 0; i < hashes.size(); ++i) {
    Json entry = Json::parse(lookReference().frames.at(i).line);
    entry["hash"] = hashes[i];
    lines += (lines.empty() ? "    " : ",\n    ") + entry.dump();
  }
  return "{\n  \"look\": " + std::to_string(kLookVersion) + ",\n  \"frames\": [\n" + lines + "\n  ]\n}\n";
}

}  // namespace kalvetra::test
