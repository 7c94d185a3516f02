#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "cli/commands.h"
#include "cli/common_options.h"
#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/key_options.h"
#include "jobs/auto_settings.h"
#include "jobs/frame_sampler.h"
#include "media/input/reader.h"
#include "parameters/parameter_manual.h"
#include "parameters/parameter_value.h"
#include "support/number_text.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

using Json = nlohmann::ordered_json;

struct PickCommand : CommonOptions {
  int frames = kSampledFrames;
  std::optional<Area> area;
  bool json = false;
  bool settings = false;
  std::optional<int> keyColor;  // 0xrrggbb
  std::string savedPreset;      // a file's name, or empty
};

Area parseArea(const std::string& text) {
  char x[6], y[6], width[6] = "1", height[6] = "1";
  int point = 0, rectangle = 0;
  std::sscanf(text.c_str(), "%5[0-9],%5[0-9]%n,%5[0-9],%5[0-9]%n", x, y, &point, width, height, &rectangle);
  if (point == 0 || static_cast<std::size_t>(std::max(point, rectangle)) != text.size()) {
    throw CLI::ValidationError("--at", "'" + text + "' is no area; give x,y or x,y,width,height in pixels");
  }
  const Area area{std::atoi(x), std::atoi(y), std::atoi(width), std::atoi(height)};
  if (area.width == 0 || area.height == 0) {
    throw CLI::ValidationError("--at", "'" + text + "' is empty; give a width and a height of at least 1");
  }
  return area;
}

int parseColor(const std::string& text) {
  const Parameter& p = *findParameter("key-color");
  const std::optional<int> color = parseValue(p, text);
  if (!color) throw CLI::ValidationError("--key-color", "'" + text + "' is no colour; give " + valueRange(p));
  return *color;
}

std::string twoDigits(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", value);
  return text;
}

void printLine(const std::string& name, const std::string& value, const std::string& reason = {}) {
  std::printf("%-18s %s%s%s\n", name.c_str(), value.c_str(), reason.empty() ? "" : "  ", reason.c_str());
}

std::string colorText(const MeasuredColor& color) { return hexColor(color.red, color.green, color.blue); }

Json asJson(const MeasuredColor& color, int frames) {
  return {{"keyColor", colorText(color)},
          {"rgb", {color.red, color.green, color.blue}},
          {"lumaSpread", rounded(color.lumaSpread)},
          {"chromaSpread", rounded(color.chromaSpread)},
          {"pixels", color.pixels},
          {"frames", frames}};
}

const char* screenText(const BackdropColor& color) { return color.screen == 1 ? "blue" : "green"; }

void print(const MeasuredColor& color) {
  printLine("key-color", colorText(color));
  printLine("luma-spread", twoDigits(color.lumaSpread) + " levels");
  printLine("chroma-spread", twoDigits(color.chromaSpread) + " levels");
}

void pickBackdrop(const PickCommand& options) {
  Reader clip = openForSamples(options.input, {}, options.threads, stopRequested());
  const FoundBackdrop found = findBackdrop(clip, options.frames, stopRequested());
  if (options.json) {
    Json json = asJson(found.color, found.frames);
    json["screen"] = screenText(found.color);
    json["confidence"] = rounded(found.color.confidence);
    json["unevenness"] = rounded(found.color.unevenness);
    json["reason"] = found.color.reason;
    std::puts(json.dump(2).c_str());
    return;
  }
  print(found.color);
  printLine("screen", screenText(found.color));
  printLine("confidence", twoDigits(found.color.confidence));
  printLine("unevenness", twoDigits(found.color.unevenness) + " %");
  printLine("reason", found.color.reason);
}

// The picture's size is known only now.
void checkArea(const std::string& input, const Area& area, const Image& frame) {
  if (area.left + area.width <= frame.width && area.top + area.height <= frame.height) return;
  const auto size = [](int width, int height) { return std::to_string(width) + " x " + std::to_string(height); };
  throw UserError(input + ": the area of " + size(area.width, area.height) + " pixels at " + std::to_string(area.left) +
                  "," + std::to_string(area.top) + " is not inside the picture of " + size(frame.width, frame.height) +
                  "; name one that is");
}

void pickArea(const PickCommand& options) {
  Reader clip = openForSamples(options.input, {}, options.threads, stopRequested());
  const int turns = clip.format().quarterTurns();
  AreaMean mean;
  const int frames = sampleFrames(clip, options.frames, stopRequested(), [&](const Image& f) {
    const Image upright = turns == 0 ? Image() : turned(f, turns);
    const Image& frame = turns == 0 ? f : upright;
    checkArea(options.input, *options.area, frame);
    mean.add(frame.bytes.data(), frame.width, *options.area);
  });
  throwIfInterrupted();
  const std::optional<MeasuredColor> color = mean.mean();
  if (!color) throw UserError(options.input + ": no picture in it can be read; check the file");
  const std::string reason = "The mean of " + counted(static_cast<std::int64_t>(color->pixels), "pixel") + " in " +
                             counted(frames, "frame") + ".";
  if (options.json) {
    Json json = asJson(*color, frames);
    json["reason"] = reason;
    std::puts(json.dump(2).c_str());
    return;
  }
  print(*color);
  printLine("reason", reason);
}

void pickSettings(const PickCommand& options) {
  Reader clip = openForSamples(options.input, {}, options.threads, stopRequested());
  const Proposal proposal = proposeSettings(clip, options.keyColor, options.threads, stopRequested(), options.frames);
  savePreset(options.savedPreset, AnimatedSettings(proposal.settings), options);
  Json json{{"error", rounded(proposal.error)}, {"errorAtDefaults", rounded(proposal.errorAtDefaults)}};
  for (const Reason& reason : proposal.reasons) {
    const Parameter& p = *findParameter(reason.slug);
    const std::string slug(reason.slug), value = valueText(p, valueIn(proposal.settings, p));
    json["settings"][slug] = {{"value", value}, {"reason", reason.sentence}};
    if (!options.json) printLine(slug, value, reason.sentence);
  }
  json["leftOut"] = proposal.leftOut;
  if (options.json) {
    std::puts(json.dump(2).c_str());
  } else {
    for (const std::string& sentence : proposal.leftOut) printLine("left out", {}, sentence);
  }
}

void run(const PickCommand& options) {
  if (options.settings) {
    pickSettings(options);
  } else if (options.area) {
    pickArea(options);
  } else {
    pickBackdrop(options);
  }
}

}  // namespace

void addPickCommand(CLI::App& program) {
  CLI::App* command = program.add_subcommand("pick", "Tell a clip's backdrop colour, or all settings that suit it.");
  auto options = std::make_shared<PickCommand>();
  command->add_option("FILE", options->input, "What to look at.")->required();
  command->add_option("--frames", options->frames, "Pictures to look at, spread over the clip.")
      ->check(CLI::Range(1, 100))
      ->capture_default_str()
      ->type_name("1..100");
  const auto setArea = [options](const std::string& text) { options->area = parseArea(text); };
  CLI::Option* area =
      command->add_option_function<std::string>("--at", setArea, "Average this area, not the backdrop; in pixels.");
  area->type_name("x,y[,w,h]");
  CLI::Option* settings =
      command->add_flag("--settings", options->settings, "Propose all key settings, each with its reason.");
  settings->excludes(area);
  const auto setColor = [options](const std::string& text) { options->keyColor = parseColor(text); };
  command
      ->add_option_function<std::string>("--key-color", setColor,
                                         "Propose them for this key colour, not for the one found.")
      ->needs(settings)
      ->type_name(valueRange(*findParameter("key-color")));
  command->add_option("--save-preset", options->savedPreset, "Write them into this file, for --preset.")
      ->needs(settings)
      ->type_name("FILE");
  addReplaceOption(*command, *options);
  command->add_flag("--json", options->json, "Print JSON.");
  addThreadsOption(*command, *options);
  addCpuOption(*command);
  command->callback([options] { run(*options); });
}

}  // namespace kalvetra
