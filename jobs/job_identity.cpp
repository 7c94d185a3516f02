#include "jobs/job_identity.h"

#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "media/files/numbered_name.h"
#include "parameters/look_version.h"
#include "parameters/preset.h"

namespace kalvetra {

namespace {

using nlohmann::json;

std::int64_t millisecondsOf(std::filesystem::file_time_type time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

// Of a numbered name: how many files it covers, and when the last of them was changed.
json sequenceIdentity(const std::string& path) {
  const std::filesystem::path pattern(path);
  std::int64_t files = 0, changed = 0, bytes = 0;
  if (isNumberedName(pattern.filename().string())) {
    std::error_code ignored;
    for (const std::filesystem::path& file : filesCoveredBy(pattern)) {
      ++files;
      bytes += static_cast<std::int64_t>(std::filesystem::file_size(file, ignored));
      changed = std::max(changed, millisecondsOf(std::filesystem::last_write_time(file, ignored)));
    }
  }
  return {{"path", path}, {"files", files}, {"bytes", bytes}, {"changed", changed}};
}

json rawIdentity(const SourceOptions& source) {
  json identity{{"rate", av_q2d(source.sequenceRate)}};
  if (source.raw) {
    identity["raw"] = {source.raw->width, source.raw->height, av_q2d(source.raw->rate),
                       static_cast<int>(source.raw->format), source.raw->floats};
  }
  return identity;
}

json fileIdentity(const std::string& path) {
  std::error_code error;
  const auto size = std::filesystem::file_size(path, error);
  if (error) return sequenceIdentity(path);
  const auto changed = std::filesystem::last_write_time(path, error);
  return {{"path", std::filesystem::weakly_canonical(path).string()},
          {"bytes", size},
          {"changed", millisecondsOf(changed)}};
}

json placeIdentity(const std::optional<Position>& position) {
  if (!position) return nullptr;
  return position->isFrame ? json(position->frame) : json(position->seconds);
}

}  // namespace

std::string jobIdentity(const KeyJob& job, const AnimatedSettings& settings, const ClipKeying& keying) {
  json identity{{"look", kLookVersion},
                {"input", fileIdentity(job.input)},
                {"settings", json::parse(presetText(settings))},
                {"source description", rawIdentity(job.source)},
                {"fields", keying.fields()},
                {"dither", keying.dithers()},
                {"start", placeIdentity(job.range.start)},
                {"end", placeIdentity(job.range.end)},
                {"frames", job.range.frames},
                {"start number", job.startNumber ? json(*job.startNumber) : json(nullptr)},
                {"clean plate", fileIdentity(job.cleanPlate)},
                {"garbage matte", fileIdentity(job.companions.garbage)},
                {"holdout matte", fileIdentity(job.companions.holdout)},
                {"background", fileIdentity(job.companions.background)},
                {"end of the background", job.companions.backgroundEnd == OverEnd::Loop ? "loop" : "hold"}};
  if (keying.deep()) identity[kDepthItem] = kDeepLookVersion;
  for (const OutputRequest& output : job.outputs) {
    const std::string path = std::filesystem::weakly_canonical(output.path).string();
    identity["output"].push_back(
        {path, static_cast<int>(output.view), describe(output.delivery), output.delivery.extendsHidden});
  }
  return identity.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace kalvetra
