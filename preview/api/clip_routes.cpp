// What the clip is, and what can be set.
#include <filesystem>

#include "jobs/shown_view.h"
#include "media/input/source_depth.h"
#include "media/output/delivery.h"
#include "media/pixels/upright.h"
#include "parameters/look_version.h"
#include "parameters/parameter_json.h"
#include "preview/api/answers.h"
#include "preview/api/clip_requests.h"
#include "preview/api/preview_context.h"
#include "preview/api/request_json.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

bool hasAlpha(const Reader& reader) {
  const auto* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(reader.video().codecpar->format));
  return format != nullptr && (format->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

// A sentence; empty where there are none.
std::string mattesInUse(const CompanionPaths& mattes) {
  std::string sentence;
  for (const auto& [what, path] : {std::pair("garbage", mattes.garbage), std::pair("holdout", mattes.holdout)}) {
    if (path.empty()) continue;
    sentence += (sentence.empty() ? "In use: the " : ", the ") + std::string(what) + " matte " +
                std::filesystem::path(path).filename().string();
  }
  return sentence.empty() ? sentence : sentence + ".";
}

Json notesOf(const PreviewContext& context) {
  Json notes = Json::array();
  const Reader& reader = context.clip.reader();
  if (!reader.colorGuess().empty()) {
    notes.push_back("The clip does not say how its colours are coded; taken for " + reader.colorGuess() + ".");
  }
  const char* transfer = av_color_transfer_name(reader.format().color.transfer);
  const std::string hdr = hdrWarning(transfer != nullptr ? transfer : "",
                                     context.clip.keysDeep(context.options.depth, context.beginning().settings));
  if (!hdr.empty()) notes.push_back("In this clip " + hdr + ".");
  if (context.clip.keying().fields()) notes.push_back("The clip is interlaced: it is keyed field by field.");
  if (const int turns = reader.format().quarterTurns(); turns != 0) {
    notes.push_back("The clip asks to be turned by " + std::to_string(90 * turns) +
                    " degrees clockwise, and so it is shown.");
  }
  if (!reader.describeGaps().empty()) notes.push_back(reader.describeGaps() + ".");
  for (const std::string& guess : context.mattes.guesses()) notes.push_back(guess + ".");
  const UsualKey& key = context.beginning();
  for (const std::string& note : key.found.notes) notes.push_back(note + ".");
  if (!key.sentence.empty()) notes.push_back("Found: " + key.sentence + ".");
  if (const std::string mattes = mattesInUse(context.options.mattes); !mattes.empty()) notes.push_back(mattes);
  if (!context.pick().failure.empty()) notes.push_back(context.pick().failure + ".");
  return notes;
}

// How the name of such an output ends.
std::string endingOf(const OutputFormat& format, std::int64_t frames) {
  return (format.isPictures() && frames > 1 ? "-%05d" : "") + format.extension();
}

Json deliveriesFor(std::int64_t frames) {
  Json all = Json::array();
  for (const std::string& purpose : purposes()) {
    for (const OutputFormat& format : outputFormats()) {
      try {
        const Delivery delivery = chooseDelivery({"a" + format.extension(), purpose});
        all.push_back({{"slug", purpose}, {"label", describe(delivery)}, {"extension", endingOf(format, frames)}});
        break;
      } catch (const UserError&) {  // another kind of file
      }
    }
  }
  return all;
}

Json codecsFor(std::int64_t frames) {
  Json all = Json::array();
  for (const std::string& codec : codecs()) {
    const OutputFormat& format = outputFormatNamed(codec);
    if (!format.extension().starts_with('.')) continue;  // pipes
    all.push_back({{"slug", codec}, {"label", format.what}, {"extension", endingOf(format, frames)}});
  }
  return all;
}

Json viewsAsJson() {
  Json all = Json::array();
  for (const ViewName& name : kViewNames) all.push_back({{"slug", name.slug}, {"label", name.label}});
  return all;
}

Json describeClip(PreviewContext& context) {
  const PictureFormat format = uprightFormat(context.clip.format());
  const std::filesystem::path path(context.options.input), background(context.options.background);
  const std::int64_t frames = context.frames();
  Json json{
      {"name", path.filename().string()}, {"path", path.string()},      {"width", format.width},
      {"height", format.height},          {"frames", frames},           {"interlaced", context.clip.keying().fields()},
      {"notes", notesOf(context)},        {"look", kLookVersion},       {"alpha", hasAlpha(context.clip.reader())},
      {"version", KALVETRA_VERSION},      {"background", nullptr},      {"pick", nullptr},
      {"folders", Json::array()},         {"codecs", codecsFor(frames)}};
  json["bits"] = colorDepth(context.clip.reader());
  json["depth"] = slugOf(context.options.depth);
  json["stem"] = plainStem(context.options.input);
  json["rate"] = {{"num", format.frameRate.num}, {"den", format.frameRate.den}};
  json["pixelAspect"] = {{"num", format.pixelAspect.num}, {"den", format.pixelAspect.den}};
  for (const std::filesystem::path& folder : context.options.folders) json["folders"].push_back(folder.string());
  if (!background.empty()) json["background"] = background.filename().string();
  const std::filesystem::path cleanPlate(context.options.cleanPlate);
  json["cleanPlate"] = cleanPlate.empty() ? Json() : Json(cleanPlate.filename().string());
  if (context.pick().found) json["pick"] = asJson(context.pick().found->color);
  json["settings"] = settingsAsJson(context.beginning().settings);
  json["views"] = viewsAsJson();
  json["deliveries"] = deliveriesFor(frames);
  return json;
}

}  // namespace

void addClipRoutes(Routes& routes, PreviewContext& context) {
  routes.get("api/clip", [&context](const Request&) { return jsonAnswer(describeClip(context)); });
  routes.get("api/parameters", [](const Request&) { return jsonAnswer(describeParameters()); });
}

}  // namespace kalvetra
