#include "preview/api/answers.h"
#include "preview/api/clip_requests.h"
#include "preview/api/preview_context.h"
#include "preview/clip/matte_strip.h"

namespace kalvetra {

namespace {

const char* nameOf(StripStatus status) {
  static const char* const names[] = {"none", "running", "done", "stopped", "failed"};
  return names[static_cast<std::size_t>(status)];
}

Json asJson(const StripState& state) {
  Json frames = Json::array();
  std::int64_t number = state.first + state.from;
  for (const PictureQuality& frame : state.frames) {
    Json flicker = frame.flicker ? Json(*frame.flicker) : Json();
    frames.push_back({number++, frame.clear, frame.partial, frame.solid, std::move(flicker)});
  }
  return {{"job", state.job},
          {"state", nameOf(state.status)},
          {"done", state.from + static_cast<std::int64_t>(state.frames.size())},
          {"of", state.of},
          {"error", state.error.empty() ? Json() : Json(state.error)},
          {"frames", std::move(frames)}};
}

}  // namespace

void addStripRoutes(Routes& routes, PreviewContext& context) {
  // Its own, so that what is looked at is not disturbed.
  const auto mattes = std::make_shared<ClipMattes>(context.mattes);
  const auto strip = std::make_shared<MatteStrip>(
      clipJob(context.options), context.precedence, [&context] { return context.clip.index(); },
      [mattes, &context](std::int64_t number, DepthChoice depth, const std::atomic<bool>& stop) {
        return mattes->at(
            number, [&stop] { return stop.load(); }, context.clip.keysDeep(depth, AnimatedSettings()));
      },
      [&context](const AnimatedSettings& settings, DepthChoice depth, const std::atomic<bool>& stop) {
        return context.plates.of(settings, context.clip.keysDeep(depth, settings), [&stop] { return stop.load(); });
      });
  routes.post("api/strip", [strip, &context](const Request& request) {
    const Json body = parseBody(request.body);
    return jsonAnswer({{"job", strip->start(settingsIn(body), rangeIn(body, context.frames()), depthIn(body))}});
  });
  routes.get("api/strip", [strip](const Request& request) {
    return jsonAnswer(asJson(strip->state(numberIn(request, "from", kLastKeyframe))));
  });
  routes.remove("api/strip", [strip](const Request&) {
    strip->stop();
    return jsonAnswer(Json::object());
  });
}

}  // namespace kalvetra
