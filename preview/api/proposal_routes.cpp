// What the program finds out by itself: the key colour, and all settings.
#include <mutex>

#include "jobs/frame_sampler.h"
#include "parameters/parameter_manual.h"
#include "parameters/parameter_value.h"
#include "preview/api/answers.h"
#include "preview/api/preview_context.h"
#include "preview/api/request_json.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr int kMostFrames = 64;  // that are looked at

Answer pick(const Request& request, PreviewContext& context) {
  const Json body = parseBody(request.body);
  const auto frames = static_cast<int>(wholeNumber(body, "frames", 1, kMostFrames, kSampledFrames));
  if (frames == kSampledFrames && context.pick().found) return jsonAnswer(asJson(context.pick().found->color));
  const Precedence::Urgent urgent(context.precedence);
  const PreviewOptions& options = context.options;
  Reader clip = openForSamples(options.input, options.source, options.threads, context.stop);
  return jsonAnswer(asJson(findBackdrop(clip, frames, context.stop).color));
}

// The member of that slug, where the user has chosen a value.
std::optional<int> chosen(const Json& body, const char* slug) {
  const std::string name = text(body, slug, "");
  if (name.empty()) return std::nullopt;
  const Parameter& parameter = *findParameter(slug);
  const std::optional<int> value = parseValue(parameter, name);
  if (!value) throw UserError('"' + std::string(slug) + "\" has no such value; give " + valueRange(parameter));
  return value;
}

// The same, or else what the preview was opened with.
std::optional<int> chosenOrNamed(const Json& body, const char* slug, const PreviewContext& context) {
  if (const std::optional<int> value = chosen(body, slug)) return value;
  const auto named = context.named().find(findParameter(slug)->id);
  return named != context.named().end() ? std::optional(named->second.front().value) : std::nullopt;
}

std::optional<int> chosenPlate(const Json& body, const PreviewContext& context) {
  const std::optional<int> plate = chosenOrNamed(body, "plate", context);
  return plate || !context.options.plain ? plate : std::optional(static_cast<int>(PlateKind::Own));
}

std::optional<int> chosenScreen(const Json& body, const PreviewContext& context) {
  return context.options.searchScreen ? chosen(body, "screen") : chosenOrNamed(body, "screen", context);
}

// What is keyed against the chosen plate or, where none is, against a fitted one where that is sure for the whole clip:
// as `kalvetra key --auto` does after its proposal, which was made for a fitted plate or the engine's own.
AnimatedSettings settled(const Proposal& proposal, std::optional<int> plate, std::optional<int> screen,
                         PreviewContext& context) {
  AnimatedSettings settings(proposal.settings);
  if (plate) settings.set(*findParameter("plate"), *plate);
  if (screen) settings.set(*findParameter("screen"), *screen);
  const bool isOther = plate && static_cast<PlateKind>(*plate) > PlateKind::Fit;
  return context.plates
      .usual(settings, context.clip.keysDeep(context.options.depth, settings),
             {.plate = !plate, .clipBlack = isOther && !context.options.plain})
      .settings;
}

Answer propose(const Json& body, PreviewContext& context) {
  const std::optional<int> keyColor = chosen(body, "key-color"), plate = chosenPlate(body, context);
  const std::optional<int> screen = chosenScreen(body, context);
  const Precedence::Urgent urgent(context.precedence);
  const PreviewOptions& options = context.options;
  Reader clip = openForSamples(options.input, options.source, options.threads, context.stop);
  const Proposal proposal = proposeSettings(clip, keyColor, options.threads, context.stop, kSampledFrames,
                                            static_cast<PlateKind>(plate.value_or(static_cast<int>(PlateKind::Fit))));
  const AnimatedSettings settings = settled(proposal, plate, screen, context);
  const bool isMeasuredAgain = settings.at(0).clipBlack != proposal.settings.clipBlack;
  Json reasons = Json::array();
  for (const Reason& reason : proposal.reasons) {
    const bool isOld = isMeasuredAgain && reason.slug == "clip-black";
    const std::string sentence = isOld ? "measured on the bare screen against the chosen plate" : reason.sentence;
    reasons.push_back({{"slug", std::string(reason.slug)}, {"sentence", sentence}});
  }
  return jsonAnswer({{"settings", settingsAsJson(settings)}, {"reasons", reasons}, {"leftOut", proposal.leftOut}});
}

}  // namespace

void addProposalRoutes(Routes& routes, PreviewContext& context) {
  routes.post("api/pick", [&context](const Request& request) { return pick(request, context); });
  // A proposal takes seconds on all cores: one at a time.
  routes.post("api/propose", [&context, proposing = std::make_shared<std::mutex>()](const Request& request) {
    const Json body = parseBody(request.body);
    const std::unique_lock lock(*proposing, std::try_to_lock);
    if (!lock) throw Conflict("a proposal is being worked on; wait for it");
    return propose(body, context);
  });
}

}  // namespace kalvetra
