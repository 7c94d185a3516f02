// Views of frames, and thumbnails.
#include <charconv>

#include "media/pixels/upright.h"
#include "parameters/animated_settings.h"
#include "preview/api/answers.h"
#include "preview/api/clip_requests.h"
#include "preview/api/preview_context.h"
#include "preview/clip/reduced_picture.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr std::size_t kLongestViewer = 64;  // bytes of its name
constexpr int kSmallestThumbnail = 16, kLargestThumbnail = 160;

int scaleIn(const Json& body) {
  const auto scale = static_cast<int>(wholeNumber(body, "scale", 1, 4, 1));
  if (scale == 3) throw UserError("\"scale\" is none of 1, 2 and 4");
  return scale;
}

std::string viewerIn(const Json& body) {
  const std::string viewer = text(body, "viewer", "");
  if (viewer.size() > kLongestViewer) throw UserError("\"viewer\" is longer than 64 bytes");
  return viewer;
}

std::string statusJson(const MatteStatus& status) {
  return Json{{"clear", status.clear},
              {"almostClear", status.almostClear},
              {"partial", status.partial},
              {"almostOpaque", status.almostOpaque},
              {"opaque", status.opaque}}
      .dump();
}

Answer picture(const Request& request, PreviewContext& context) {
  const Json body = parseBody(request.body);
  const ShownView view = viewIn(body);
  KeyedFrame keyed;
  keyed.number = wholeNumber(body, "frame", 0, kLastKeyframe);
  keyed.scale = scaleIn(body);
  const AnimatedSettings settings = settingsIn(body);
  keyed.deep = isDeepIn(body, context, settings);
  keyed.settings = settings.at(keyed.number);
  const std::string over = view == ShownView::Composite ? overIn(body, context) : std::string();
  constexpr std::int64_t kMostRequests = std::int64_t{1} << 53;
  const Precedence::Urgent urgent(context.precedence);
  const Turns::Turn turn(context.turns, viewerIn(body), wholeNumber(body, "sequence", 0, kMostRequests, 0));
  const Abandon abandoned = [&] { return turn.isOvertaken(); };
  if (view != ShownView::Source) keyed.plates = context.plates.of(settings, keyed.deep, abandoned);
  const auto background = over.empty() ? nullptr : context.backgrounds.at(keyed.number, over, abandoned, keyed.deep);
  const RenderedView rendered = context.renderer.view(keyed, view, background, abandoned);
  Answer answer = pictureAnswer(rendered, keyed.scale);
  if (view == ShownView::Status) answer.headers.emplace_back("X-Status", statusJson(rendered.status));
  return answer;
}

Answer thumbnail(const Request& request, PreviewContext& context) {
  const std::int64_t number = wholeNumberIn(request, "frame", 0, kLastKeyframe);
  const auto height = static_cast<int>(wholeNumberIn(request, "height", kSmallestThumbnail, kLargestThumbnail));
  const auto source = context.thumbnails.picture(number);
  const PictureFormat shown = uprightFormat(context.clip.format());
  const int rows = std::min(height, shown.height);
  const std::int64_t wanted = std::int64_t{shown.width} * rows / shown.height;
  const int columns = static_cast<int>(std::clamp<std::int64_t>(wanted, 1, shown.width));
  const bool sideways = context.clip.format().quarterTurns() % 2 != 0;
  const Image small = averaged(*source, sideways ? rows : columns, sideways ? columns : rows);
  return pictureAnswer(context.renderer.packed(small), 1);
}

}  // namespace

void addPictureRoutes(Routes& routes, PreviewContext& context) {
  routes.post("api/picture", [&context](const Request& request) { return picture(request, context); });
  routes.get("api/thumbnail", [&context](const Request& request) { return thumbnail(request, context); });
}

}  // namespace kalvetra
