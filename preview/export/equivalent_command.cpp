#include "preview/export/equivalent_command.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "jobs/clip_plates.h"
#include "parameters/parameter_value.h"
#include "parameters/preset.h"
#include "preview/export/plain_name.h"
#include "support/shell_quoted.h"
#include "support/user_error.h"

namespace fs = std::filesystem;

namespace kalvetra {

namespace {

using Words = std::vector<std::string>;

void append(Words& words, const Words& more) { words.insert(words.end(), more.begin(), more.end()); }

// A path that the command line takes for nothing but a path.
std::string pathWord(const std::string& path) {
  if (!isUtf8(path)) throw UserError("a file's name is not UTF-8 and cannot be shown in a command; rename it");
  const bool plain = !path.empty() && (path.front() == '/' || std::isalnum(static_cast<unsigned char>(path.front())));
  return plain ? path : "./" + path;
}

std::string absoluteWord(const std::string& path) { return pathWord(fs::absolute(path).string()); }

std::string outputWord(const std::string& path) {
  if (path.find("{name}") != std::string::npos) {
    throw UserError(path + ": the command would replace {name} in it; choose another name");
  }
  return pathWord(path);
}

bool isIdle(const Parameter& p, const KeySettings& settings) {
  if (p.value == &KeySettings::plate) return settings.smoothBG == 0;
  return p.toggle != 0 && valueIn(settings, *findParameter(p.toggle)) == 0;
}

bool wantsCleanPlate(const KeySettings& settings) {
  return settings.smoothBG != 0 && settings.plate == static_cast<int>(PlateKind::Clean);
}

Words plateWords(const std::string& cleanPlate) {
  if (cleanPlate.empty()) {
    throw UserError("the settings key against a clean plate, which is not named; start the preview with --plate FILE");
  }
  return {"--plate", absoluteWord(cleanPlate)};
}

// Of settings that stay the same.
Words settingWords(const KeySettings& settings, const std::string& cleanPlate) {
  Words words{"--plain"};
  for (const Parameter& p : kParameters) {
    if (p.kind == ParameterKind::Group || isView(p) || isIdle(p, settings)) continue;
    if (p.value == &KeySettings::plate && wantsCleanPlate(settings)) {
      append(words, plateWords(cleanPlate));
      continue;
    }
    const int value = valueIn(settings, p);
    if (p.kind != ParameterKind::Color && value == p.defaultValue) continue;
    append(words, {"--" + std::string(p.slug), valueText(p, value)});
  }
  return words;
}

// A preset may name another view than the one that is wanted.
Words viewWords(const KeyJob& job, bool hasPreset) {
  if (job.animatedView) return {};
  if (job.mainView == ShownView::Result && !hasPreset) return {};
  return {"--view", std::string(slugOf(job.mainView))};
}

Words rangeWords(const ClipRange& range) {
  Words words;
  if (range.start) append(words, {"--start", std::to_string(range.start->frame) + "f"});
  if (range.end) append(words, {"--end", std::to_string(range.end->frame) + "f"});
  return words;
}

Words matteWords(const CompanionPaths& mattes) {
  Words words;
  if (!mattes.garbage.empty()) append(words, {"--garbage", absoluteWord(mattes.garbage)});
  if (!mattes.holdout.empty()) append(words, {"--holdout", absoluteWord(mattes.holdout)});
  return words;
}

// True when the output's name alone chooses that kind of file.
bool isUsualFor(const std::string& output, const OutputFormat* format, KeyRequest request) {
  request.purpose.clear();
  request.codec.clear();
  try {
    return keyJobFor({}, request, output, false).outputs.front().delivery.format == format;
  } catch (const UserError&) {
    return false;
  }
}

Words deliveryWords(const KeyRequest& request, const KeyJob& job, const std::string& output) {
  const OutputFormat* format = job.outputs.front().delivery.format;
  if (isUsualFor(output, format, request)) return {};
  return request.codec.empty() ? Words{"--for", request.purpose} : Words{"--codec", request.codec};
}

Words depthWords(DepthChoice depth) {
  if (depth == DepthChoice::Auto) return {};
  return {"--depth", slugOf(depth)};
}

Words backgroundWords(const KeyRequest& request, const KeyJob& job) {
  if (job.mainView != ShownView::Composite) return {};
  return {"--over", request.over.starts_with('#') ? request.over : absoluteWord(request.over)};
}

}  // namespace

EquivalentCommand equivalentCommand(const KeyRequest& request, const CommandFiles& files) {
  const std::string output = outputWord(files.output);
  const KeyJob job = keyJobFor({}, request, output, false);
  const bool animated = request.settings.isAnimated();
  EquivalentCommand result;
  Words words{"kalvetra", "key", absoluteWord(files.input), output};
  append(words, files.sourceArguments);
  append(words, depthWords(request.depth));
  append(words, matteWords(files.mattes));
  if (animated) {
    result.presetFile = files.preset;
    result.presetText = presetText(request.settings, files.deep);
    append(words, {"--preset", pathWord(files.preset)});
    if (wantsCleanPlate(request.settings.at(0))) append(words, plateWords(files.cleanPlate));
  } else {
    append(words, settingWords(request.settings.at(0), files.cleanPlate));
  }
  append(words, viewWords(job, animated));
  append(words, backgroundWords(request, job));
  append(words, rangeWords(request.range));
  append(words, deliveryWords(request, job, output));
  if (request.keepPartial) words.emplace_back("--keep-partial");
  for (const std::string& word : words) result.command += (result.command.empty() ? "" : " ") + shellQuoted(word);
  return result;
}

}  // namespace kalvetra
