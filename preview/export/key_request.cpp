#include "preview/export/key_request.h"

#include <array>

#include "jobs/output_choice.h"
#include "media/files/endings.h"
#include "parameters/clip_levels.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr std::array<const char*, 3> kDepthSlugs{"auto", "8", "deep"};  // in the order of DepthChoice

}  // namespace

std::string slugOf(DepthChoice depth) { return kDepthSlugs[static_cast<std::size_t>(depth)]; }

std::optional<DepthChoice> findDepth(const std::string& slug) {
  for (const DepthChoice depth : {DepthChoice::Auto, DepthChoice::Eight, DepthChoice::Deep}) {
    if (slug == slugOf(depth)) return depth;
  }
  return std::nullopt;
}

std::string withEnding(const std::string& name, const KeyRequest& request) {
  const bool lacks = !name.empty() && extensionOf(name).empty();
  return lacks ? name + usualExtension(request.purpose, request.codec) : name;
}

KeyJob keyJobFor(const KeyJob& clip, const KeyRequest& request, const std::string& path, bool replace) {
  refuseCrossedClipLevels(request.settings);
  KeyJob job = clip;
  const Parameter& view = *findParameter("view");
  job.range = request.range;
  job.mainView = request.view.value_or(static_cast<ShownView>(request.settings.at(0).view));
  job.animatedView = !request.view && request.settings.curve(view).size() > 1;
  job.replace = replace;
  job.keepPartial = request.keepPartial;
  job.keying.depth = settledDepth(request.depth, request.settings.at(0));
  if (job.mainView == ShownView::Composite) {
    if (request.over.empty()) throw UserError("a composite needs a background; choose a colour or a file");
    job.companions.background = request.over;
  }
  DeliveryRequest delivery = deliveryRequest(job.mainView, path);
  if (job.animatedView) delivery.opaque = delivery.levels = false;
  delivery.purpose = request.purpose;
  delivery.codec = request.codec;
  addOutput(job, job.mainView, delivery);
  return job;
}

}  // namespace kalvetra
