#include "jobs/job_identity.h"

#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "parameters/look_version.h"
#include "parameters/preset.h"

namespace kalvetra {

namespace {

using nlohmann::json;

json fileIdentity(const std::string& path) {
  std::error_code error;
  const auto size = std::filesystem::file_size(path, error);
  if (error) return {{"path", path}};  // a numbered name, or no file at all
  const auto changed = std::filesystem::last_write_time(path, error).time_since_epoch();
  return {{"path", std::filesystem::weakly_canonical(path).string()},
          {"bytes", size},
          {"changed", std::chrono::duration_cast<std::chrono::milliseconds>(changed).count()}};
}

json placeIdentity(const std::optional<Position>& position) {
  if (!position) return nullptr;
  return position->isFrame ? json(position->frame) : json(position->seconds);
}

}  // namespace

std::string jobIdentity(const KeyJob& job, const AnimatedSettings& settings, bool fields) {
  json identity{{"look", kLookVersion},
                {"input", fileIdentity(job.input)},
                {"settings", json::parse(presetText(settings))},
                {"fields", fields},
                {"dither", job.dither},
                {"start", placeIdentity(job.range.start)},
                {"end", placeIdentity(job.range.end)},
                {"frames", job.range.frames},
                {"garbage matte", fileIdentity(job.companions.garbage)},
                {"holdout matte", fileIdentity(job.companions.holdout)},
                {"background", fileIdentity(job.companions.background)}};
  for (const OutputRequest& output : job.outputs) {
    identity["output"].push_back({output.path, static_cast<int>(output.view), describe(output.delivery)});
  }
  return identity.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace kalvetra
