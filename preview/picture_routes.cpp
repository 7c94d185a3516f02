// Views of frames, and thumbnails.
#include <array>
#include <charconv>
#include <utility>

#include "parameters/animated_settings.h"
#include "preview/answers.h"
#include "preview/preview_context.h"
#include "preview/reduced_picture.h"
#include "preview/request_json.h"

namespace kalvetra {

namespace {

constexpr std::size_t kLongestViewer = 64;  // bytes of its name
constexpr int kSmallestThumbnail = 16, kLargestThumbnail = 160;

ShownView viewIn(const Json& body) {
  constexpr std::array<std::pair<const char*, ShownView>, 6> kViews{{{"source", ShownView::Source},
                                                                     {"matte", ShownView::Matte},
                                                                     {"result", ShownView::Result},
                                                                     {"plate", ShownView::Plate},
                                                                     {"status", ShownView::Status},
                                                                     {"composite", ShownView::Composite}}};
  const std::string name = text(body, "view");
  for (const auto& [known, view] : kViews) {
    if (name == known) return view;
  }
  throw UserError("\"view\" is none of source, matte, result, plate, status and composite");
}

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

bool isColor(const std::string& text) {
  return text.size() == 7 && text[0] == '#' && text.find_first_not_of("0123456789abcdefABCDEF", 1) == std::string::npos;
}

// A colour, or the path of a file that the user has named or put into a folder.
std::string overIn(const Json& body, const PreviewContext& context) {
  const auto found = body.find("over");
  if (found != body.end() && found->is_object()) return context.backgroundFile(text(*found, "file"));
  const std::string color = text(body, "over");
  if (!isColor(color)) throw UserError(R"("over" is neither a colour #rrggbb nor {"file": name})");
  return color;
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
  keyed.settings = settingsIn(body).at(keyed.number);
  const std::string over = view == ShownView::Composite ? overIn(body, context) : std::string();
  constexpr std::int64_t kMostRequests = std::int64_t{1} << 53;
  const Precedence::Urgent urgent(context.precedence);
  const Turns::Turn turn(context.turns, viewerIn(body), wholeNumber(body, "sequence", 0, kMostRequests, 0));
  const Abandon abandoned = [&] { return turn.isOvertaken(); };
  const auto background = over.empty() ? nullptr : context.backgrounds.at(keyed.number, over, abandoned);
  const RenderedView rendered = context.renderer.view(keyed, view, background, abandoned);
  Answer answer = pictureAnswer(rendered, keyed.scale);
  if (view == ShownView::Status) answer.headers.emplace_back("X-Status", statusJson(rendered.status));
  return answer;
}

Answer thumbnail(const Request& request, PreviewContext& context) {
  const std::int64_t number = wholeNumberIn(request, "frame", 0, kLastKeyframe);
  const auto height = static_cast<int>(wholeNumberIn(request, "height", kSmallestThumbnail, kLargestThumbnail));
  const auto source = context.thumbnails.picture(number);
  const int rows = std::min(height, source->height);
  const std::int64_t columns = std::int64_t{source->width} * rows / source->height;
  const int width = static_cast<int>(std::clamp<std::int64_t>(columns, 1, source->width));
  return pictureAnswer(context.renderer.packed(averaged(*source, width, rows)), 1);
}

}  // namespace

void addPictureRoutes(Routes& routes, PreviewContext& context) {
  routes.post("api/picture", [&context](const Request& request) { return picture(request, context); });
  routes.get("api/thumbnail", [&context](const Request& request) { return thumbnail(request, context); });
}

}  // namespace kalvetra
