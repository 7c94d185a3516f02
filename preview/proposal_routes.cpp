// What the program finds out by itself: the key colour, and all settings.
#include <mutex>

#include "preview/answers.h"
#include "preview/preview_context.h"
#include "preview/request_json.h"

namespace kalvetra {

namespace {

constexpr int kMostFrames = 64;  // that are looked at

Answer pick(const Request& request, PreviewContext& context) {
  const Json body = parseBody(request.body);
  const auto frames = static_cast<int>(wholeNumber(body, "frames", 1, kMostFrames, kSampledFrames));
  if (frames == kSampledFrames && context.pick().found) return jsonAnswer(asJson(context.pick().found->color));
  const Precedence::Urgent urgent(context.precedence);
  const PreviewOptions& options = context.options;
  return jsonAnswer(asJson(findBackdrop(options.input, options.source, frames, options.threads, context.stop).color));
}

Answer propose(PreviewContext& context) {
  const Precedence::Urgent urgent(context.precedence);
  const PreviewOptions& options = context.options;
  const Proposal proposal = proposeSettings(options.input, options.source, options.threads, context.stop);
  Json reasons = Json::array();
  for (const Reason& reason : proposal.reasons) {
    reasons.push_back({{"slug", std::string(reason.slug)}, {"sentence", reason.sentence}});
  }
  return jsonAnswer({{"settings", settingsAsJson(AnimatedSettings(proposal.settings))}, {"reasons", reasons}});
}

}  // namespace

void addProposalRoutes(Routes& routes, PreviewContext& context) {
  routes.post("api/pick", [&context](const Request& request) { return pick(request, context); });
  // A proposal takes seconds on all cores: one at a time.
  routes.post("api/propose", [&context, proposing = std::make_shared<std::mutex>()](const Request& request) {
    parseBody(request.body);
    const std::unique_lock lock(*proposing, std::try_to_lock);
    if (!lock) throw Refusal(409, "a proposal is being worked on; wait for it");
    return propose(context);
  });
}

}  // namespace kalvetra
