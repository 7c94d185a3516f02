// Single pixels and areas of the source.
#include "media/upright.h"
#include "parameters/key_inspection.h"
#include "preview/answers.h"
#include "preview/preview_context.h"
#include "preview/request_json.h"

namespace kalvetra {

namespace {

constexpr std::size_t kMostSamples = 64;

const char* treatmentName(Treatment treatment) {
  switch (treatment) {
    case Treatment::NearKey:
      return "near key";
    case Treatment::SkinSide:
      return "skin side";
    case Treatment::BlueSide:
      return "blue side";
    case Treatment::Foreground:
      break;
  }
  return "foreground";
}

// Of a pixel in host order, behind its alpha.
Json colorOf(const unsigned char* argb) { return {argb[1], argb[2], argb[3]}; }

Json colorWithAlpha(const unsigned char* argb) { return {argb[1], argb[2], argb[3], argb[0]}; }

// Where an area of the picture as it is shown, upright, lies in the stored one.
Area storedArea(const Area& shown, const PictureFormat& stored) {
  const int right = stored.width - shown.left - shown.width, bottom = stored.height - shown.top - shown.height;
  const int sidewaysRight = stored.width - shown.top - shown.height,
            sidewaysBottom = stored.height - shown.left - shown.width;
  switch (stored.quarterTurns()) {
    case 1:
      return {shown.top, sidewaysBottom, shown.height, shown.width};
    case 2:
      return {right, bottom, shown.width, shown.height};
    case 3:
      return {sidewaysRight, shown.left, shown.height, shown.width};
    default:
      return shown;
  }
}

Answer pixel(const Request& request, PreviewContext& context) {
  const Json body = parseBody(request.body);
  const std::int64_t number = wholeNumber(body, "frame", 0, kLastKeyframe);
  const PictureFormat shown = uprightFormat(context.clip.format());
  Area at{0, 0, 1, 1};
  at.left = static_cast<int>(wholeNumber(body, "x", 0, shown.width - 1));
  at.top = static_cast<int>(wholeNumber(body, "y", 0, shown.height - 1));
  at = storedArea(at, context.clip.format());
  const KeySettings settings = settingsIn(body).at(number);
  const Precedence::Urgent urgent(context.precedence);
  const Turns::Turn turn(context.turns, {}, 0);
  const Renderer::Pixel found = context.renderer.pixel(number, settings, at.left, at.top);
  const auto source = context.clip.picture(number);
  const Treatment treatment = treatmentAt(settings, source->argb.data(), source->width, source->height,
                                          context.clip.keying().fields(), at.left, at.top);
  return jsonAnswer({{"source", colorWithAlpha(found.source)},
                     {"plate", colorOf(found.plate)},
                     {"alpha", found.result[0]},
                     {"result", colorWithAlpha(found.result)},
                     {"treatment", treatmentName(treatment)}});
}

struct Sample {
  std::int64_t frame;
  Area area;
};

Sample sampleIn(const Json& body, const PictureFormat& stored) {
  if (!body.is_object()) throw UserError(R"("samples" holds something that is no object)");
  const PictureFormat format = uprightFormat(stored);
  Sample sample{};
  sample.frame = wholeNumber(body, "frame", 0, kLastKeyframe);
  sample.area.left = static_cast<int>(wholeNumber(body, "x", 0, format.width - 1));
  sample.area.top = static_cast<int>(wholeNumber(body, "y", 0, format.height - 1));
  sample.area.width = static_cast<int>(wholeNumber(body, "width", 1, format.width - sample.area.left, 1));
  sample.area.height = static_cast<int>(wholeNumber(body, "height", 1, format.height - sample.area.top, 1));
  sample.area = storedArea(sample.area, stored);
  return sample;
}

Answer sample(const Request& request, PreviewContext& context) {
  const Json body = parseBody(request.body);
  const auto samples = body.find("samples");
  if (samples == body.end() || !samples->is_array() || samples->empty() || samples->size() > kMostSamples) {
    throw UserError("\"samples\" is no list of 1 to 64 areas");
  }
  std::vector<Sample> all;
  for (const Json& one : *samples) all.push_back(sampleIn(one, context.clip.format()));
  const Precedence::Urgent urgent(context.precedence);
  AreaMean mean;
  for (const Sample& one : all) {
    const auto source = context.clip.picture(one.frame);
    mean.add(source->argb.data(), source->width, one.area);
  }
  return jsonAnswer(asJson(*mean.mean()));
}

}  // namespace

void addPixelRoutes(Routes& routes, PreviewContext& context) {
  routes.post("api/pixel", [&context](const Request& request) { return pixel(request, context); });
  routes.post("api/sample", [&context](const Request& request) { return sample(request, context); });
}

}  // namespace kalvetra
