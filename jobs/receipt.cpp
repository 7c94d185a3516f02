#include "jobs/receipt.h"

#include <cerrno>
#include <fstream>
#include <nlohmann/json.hpp>

#include "media/files/write_failure.h"
#include "media/input/source_depth.h"
#include "media/output/clip_movie.h"
#include "parameters/look_version.h"
#include "parameters/preset.h"

namespace kalvetra {

namespace {

using nlohmann::ordered_json;

ordered_json inputEntry(const KeyJob& job, const ClipKeying& keying, const Reader& source, const JobResult& result) {
  const PictureFormat& format = source.format();
  const char* pixels = av_get_pix_fmt_name(static_cast<AVPixelFormat>(source.video().codecpar->format));
  ordered_json entry{{"file", job.input},
                     {"width", format.width},
                     {"height", format.height},
                     {"pixel_format", pixels != nullptr ? pixels : "unknown"},
                     {"depth", colorDepth(source)},
                     {"dithered", keying.dithers() && !keying.deep()},
                     {"colour_guessed", source.colorGuess()},
                     {"damaged_frames", result.damagedFrames},
                     {"lost_frames", result.lostFrames}};
  const std::string timecode = timecodeOf(source, job.range.firstFrame(format.frameRate));
  if (!timecode.empty()) entry["timecode"] = timecode;
  return entry;
}

ordered_json outputEntry(const WrittenOutput& output) {
  ordered_json entry{{"file", output.request.path},
                     {"delivery", describe(output.request.delivery)},
                     {"hidden_colours", output.request.delivery.extendsHidden ? "extended" : "kept"},
                     {"verified", !output.proof.checks.empty()},
                     {"checks", output.proof.checks}};
  if (output.request.delivery.dithersDeep()) entry["dithered"] = true;
  if (!output.numbers.empty()) {
    entry["first_number"] = output.numbers.front();
    entry["last_number"] = output.numbers.back();
  }
  return entry;
}

}  // namespace

void writeReceipt(const std::string& path, const KeyJob& job, const ClipKeying& keying,
                  const AnimatedSettings& settings, const Reader& source, const JobResult& result) {
  ordered_json receipt{{"kalvetra", KALVETRA_VERSION},
                       {"look", kLookVersion},
                       {"input", inputEntry(job, keying, source, result)},
                       {"frames", result.frames},
                       {"clip_hash", "murmur3:" + hexadecimal(result.clipHash)},
                       {"settings", ordered_json::parse(presetText(settings)).at("settings")},
                       {"outputs", ordered_json::array()}};
  if (keying.deep()) {
    receipt["depth"] = "deep";
    receipt["deep_look"] = kDeepLookVersion;
  }
  if (!job.companions.background.empty()) {
    receipt["background"] = {{"file", job.companions.background},
                             {"end", job.companions.backgroundEnd == OverEnd::Loop ? "loop" : "hold"}};
  }
  if (!job.cleanPlate.empty()) receipt["clean_plate"] = job.cleanPlate;
  for (const WrittenOutput& output : result.outputs) receipt["outputs"].push_back(outputEntry(output));
  errno = 0;
  std::ofstream file(path, std::ios::binary);
  file << receipt.dump(2, ' ', false, ordered_json::error_handler_t::replace) << std::endl;
  if (!file) failWriting(job.receipt, errno);
}

}  // namespace kalvetra
