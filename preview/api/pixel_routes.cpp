// Single pixels and areas of the source.
#include "compositing/mattes.h"
#include "engine/inspection.h"
#include "media/pixels/upright.h"
#include "preview/api/answers.h"
#include "preview/api/preview_context.h"
#include "preview/api/request_json.h"
#include "support/user_error.h"

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

bool isInForce(const std::shared_ptr<const Image>& matte, const Area& at) {
  return matte != nullptr && matteLevel(matte->row(at.top) + std::ptrdiff_t{4} * at.left) > 0;
}

// What makes the pixel's alpha: a matte, of which the garbage matte comes last, or the key.
const char* treatmentOf(PreviewContext& context, const KeyedFrame& keyed, const Area& at) {
  const Companions mattes = context.mattes.at(keyed.number);
  if (isInForce(mattes.garbage, at)) return "garbage";
  if (isInForce(mattes.holdout, at)) return "holdout";
  const auto source = context.clip.picture(keyed.number);
  const auto plate = keyed.plates ? keyed.plates->at(keyed.number, *source) : nullptr;
  const KnownPlate known = plate ? plate->known() : KnownPlate();
  const Scan scan = context.clip.keying().fields() ? Scan::Fields : Scan::Whole;
  return treatmentName(
      treatmentAt(keyed.settings, source->frame(), {.scan = scan, .plate = plate ? &known : nullptr}, at.left, at.top));
}

// Of a pixel in host order, after its alpha.
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

// Members "x" and "y" of the picture as it is shown: one pixel.
Area pixelIn(const Json& body, const PictureFormat& shown) {
  return {static_cast<int>(wholeNumber(body, "x", 0, shown.width - 1)),
          static_cast<int>(wholeNumber(body, "y", 0, shown.height - 1)), 1, 1};
}

// Likewise, with "width" and "height", which may be missing. Where that lies in the stored picture.
Area areaIn(const Json& body, const PictureFormat& stored) {
  const PictureFormat shown = uprightFormat(stored);
  Area area = pixelIn(body, shown);
  area.width = static_cast<int>(wholeNumber(body, "width", 1, shown.width - area.left, 1));
  area.height = static_cast<int>(wholeNumber(body, "height", 1, shown.height - area.top, 1));
  return storedArea(area, stored);
}

void add(const Image& picture, const Area& area, AreaMean& mean) {
  mean.add(picture.bytes.data(), picture.width, area);
}

Json meanOf(const Image& picture, const Area& area) {
  AreaMean mean;
  add(picture, area, mean);
  return asJson(*mean.mean());
}

// With the member "sample", an area of the same frame, its mean comes along.
Answer pixel(const Request& request, PreviewContext& context) {
  const Json body = parseBody(request.body);
  const PictureFormat& format = context.clip.format();
  const std::int64_t number = wholeNumber(body, "frame", 0, kLastKeyframe);
  const Area at = storedArea(pixelIn(body, uprightFormat(format)), format);
  const Json wanted = body.value("sample", Json());
  const Area area = wanted.is_null() ? at : areaIn(wanted, format);
  const AnimatedSettings settings = settingsIn(body);
  const Precedence::Urgent urgent(context.precedence);
  const Turns::Turn turn(context.turns, {}, 0);
  const KeyedFrame keyed{number, 1, settings.at(number), context.plates.of(settings)};
  const Renderer::Pixel found = context.renderer.pixel(keyed, at.left, at.top);
  return jsonAnswer({{"source", colorWithAlpha(found.source)},
                     {"plate", colorOf(found.plate)},
                     {"alpha", found.result[0]},
                     {"result", colorWithAlpha(found.result)},
                     {"treatment", treatmentOf(context, keyed, at)},
                     {"sample", wanted.is_null() ? Json() : meanOf(*context.clip.picture(number), area)}});
}

struct Sample {
  std::int64_t frame;
  Area area;
};

Sample sampleIn(const Json& body, const PictureFormat& stored) {
  if (!body.is_object()) throw UserError(R"("samples" holds something that is no object)");
  return {wholeNumber(body, "frame", 0, kLastKeyframe), areaIn(body, stored)};
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
    add(*context.clip.picture(one.frame), one.area, mean);
  }
  return jsonAnswer(asJson(*mean.mean()));
}

}  // namespace

void addPixelRoutes(Routes& routes, PreviewContext& context) {
  routes.post("api/pixel", [&context](const Request& request) { return pixel(request, context); });
  routes.post("api/sample", [&context](const Request& request) { return sample(request, context); });
}

}  // namespace kalvetra
