// What the program finds out by itself: the key colour, and all settings.
#include <mutex>

#include "jobs/frame_sampler.h"
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

// Member "key-color", where the user has named one.
std::optional<int> namedColor(const Json& body) {
  const std::string name = text(body, "key-color", "");
  if (name.empty()) return std::nullopt;
  const std::optional<int> color = parseValue(*findParameter("key-color"), name);
  if (!color) throw UserError(R"("key-color" is no colour; give #rrggbb)");
  return color;
}

Answer propose(const Json& body, PreviewContext& context) {
  const std::optional<int> keyColor = namedColor(body);
  const Precedence::Urgent urgent(context.precedence);
  const PreviewOptions& options = context.options;
  Reader clip = openForSamples(options.input, options.source, options.threads, context.stop);
  const Proposal proposal = proposeSettings(clip, keyColor, options.threads, context.stop);
  Json reasons = Json::array();
  for (const Reason& reason : proposal.reasons) {
    reasons.push_back({{"slug", std::string(reason.slug)}, {"sentence", reason.sentence}});
  }
  return jsonAnswer({{"settings", settingsAsJson(AnimatedSettings(proposal.settings))},
                     {"reasons", reasons},
                     {"leftOut", proposal.leftOut}});
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
