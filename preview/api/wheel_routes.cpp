// The chroma wheel.
#include "preview/api/answers.h"
#include "preview/api/clip_requests.h"
#include "preview/api/preview_context.h"
#include "preview/api/request_json.h"
#include "preview/clip/chroma_wheel.h"
#include "support/number_text.h"

namespace kalvetra {

namespace {

Json pair(Chroma c) { return {rounded(c.I), rounded(c.Q)}; }

Json linesAsJson(const KeyLines& lines) {
  const auto line = [&](const char* name, Chroma direction) {
    return Json{{"name", name}, {"at", pair(lines.grey)}, {"direction", pair(direction)}};
  };
  return {line("skin hue", lines.skinHue), line("blue hue", lines.blueHue), line("skin despill", lines.skinDespill),
          line("blue despill", lines.blueDespill)};
}

void addBins(const ChromaBins& all, Json& json) {
  Json& counts = json["counts"] = Json::array();
  Json& colors = json["colors"] = Json::array();
  for (const ChromaBins::Bin& bin : all.bins) {
    counts.push_back(bin.pixels);
    if (bin.pixels == 0) {
      colors.push_back(nullptr);
    } else {
      colors.push_back(hexColor(bin.red / bin.pixels, bin.green / bin.pixels, bin.blue / bin.pixels).substr(1));
    }
  }
}

Answer wheel(const Request& request, PreviewContext& context) {
  const Json body = parseBody(request.body);
  const std::int64_t number = wholeNumber(body, "frame", 0, kLastKeyframe);
  const AnimatedSettings animated = settingsIn(body);
  const KeySettings settings = animated.at(number);
  const Precedence::Urgent urgent(context.precedence);
  const auto source = context.clip.picture(number);
  const KeyLines lines = keyLines(settings);
  Json json{{"reach", ChromaBins::kReach}, {"bins", ChromaBins::kSide}, {"key", pair(lines.key)},
            {"grey", pair(lines.grey)},    {"plate", Json::array()},    {"lines", linesAsJson(lines)}};
  const bool deep = isDeepIn(body, context, animated);
  const KeyedFrame keyed{number, 1, settings, deep, context.plates.of(animated, deep)};
  for (const Chroma c : sparseChroma(context.renderer.plate(keyed))) json["plate"].push_back(pair(c));
  addBins(binChroma(*source), json);
  return jsonAnswer(json);
}

}  // namespace

void addWheelRoutes(Routes& routes, PreviewContext& context) {
  routes.post("api/wheel", [&context](const Request& request) { return wheel(request, context); });
}

}  // namespace kalvetra
