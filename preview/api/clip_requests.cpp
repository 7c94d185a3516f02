#include "preview/api/clip_requests.h"

#include "media/files/numbered_name.h"
#include "preview/export/plain_name.h"
#include "support/number_text.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

bool has(const Json& body, const char* name) {
  const auto found = body.find(name);
  return found != body.end() && !found->is_null();
}

}  // namespace

std::string plainStem(const std::string& input) {
  const std::string stem = clipStem(input);
  return isPlainName(stem) && stem.find_first_of("%{") == std::string::npos ? stem : "clip";
}

KeyJob clipJob(const PreviewOptions& options) {
  KeyJob job;
  job.input = options.input;
  job.source = options.source;
  job.companions = options.mattes;
  job.cleanPlate = options.cleanPlate;
  job.threads = options.threads;
  return job;
}

ClipRange rangeIn(const Json& body, std::int64_t frames) {
  const std::int64_t start = wholeNumber(body, "start", 0, kLastKeyframe, 0);
  const std::int64_t end = wholeNumber(body, "end", 0, kLastKeyframe, kLastKeyframe);
  if (end <= start) throw UserError("the range is empty; its end is the first frame after it");
  if (frames > 0 && start >= frames) throw UserError("the range begins after the clip's last frame");
  ClipRange range;
  if (start > 0) range.start = Position{true, 0.0, start};
  if (end < (frames > 0 ? frames : kLastKeyframe)) range.end = Position{true, 0.0, end};
  return range;
}

ShownView viewIn(const Json& body) {
  if (const std::optional<ShownView> view = findView(text(body, "view"))) return *view;
  throw UserError("\"view\" is none of " + viewSlugs());
}

DepthChoice depthIn(const Json& body) {
  if (const std::optional<DepthChoice> depth = findDepth(text(body, "depth", "auto"))) return *depth;
  throw UserError(R"("depth" is none of "auto", "8" and "deep")");
}

bool isDeepIn(const Json& body, const PreviewContext& context, const AnimatedSettings& settings) {
  return context.clip.keysDeep(depthIn(body), settings);
}

std::string overIn(const Json& body, const PreviewContext& context) {
  const auto found = body.find("over");
  if (found != body.end() && found->is_object()) return context.backgroundFile(text(*found, "file"));
  const std::string color = text(body, "over");
  if (!parseHexColor(color)) throw UserError(R"("over" is neither a colour #rrggbb nor {"file": name})");
  return color;
}

KeyRequest keyRequestIn(const Json& body, PreviewContext& context) {
  KeyRequest request{settingsIn(body), rangeIn(body, context.frames())};
  request.purpose = text(body, "delivery", "");
  request.codec = text(body, "codec", "");
  request.keepPartial = flag(body, "keepPartial", false);
  request.depth = depthIn(body);
  if (has(body, "view")) request.view = viewIn(body);
  if (has(body, "over") && !request.view) request.view = ShownView::Composite;
  if (request.view == ShownView::Composite) request.over = overIn(body, context);
  return request;
}

std::int64_t numberIn(const Request& request, const std::string& name, std::int64_t highest) {
  return request.query.contains(name) ? wholeNumberIn(request, name, 0, highest) : 0;
}

}  // namespace kalvetra
