// Single pixels and areas of the source.
#include <array>
#include <cmath>

#include "compositing/mattes.h"
#include "engine/inspection.h"
#include "media/pixels/upright.h"
#include "preview/api/answers.h"
#include "preview/api/clip_requests.h"
#include "preview/api/preview_context.h"
#include "preview/api/request_json.h"
#include "preview/clip/shown_picture.h"
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

// Of a frame and plate of 8 bits, whatever depth is keyed: the sides of the key are the same.
Treatment engineTreatment(PreviewContext& context, const KeyedFrame& keyed, const Area& at) {
  const auto source = context.clip.picture(keyed.number);
  const auto shown = context.clip.picture(keyed.number, {}, keyed.deep);
  const auto plate = keyed.plates ? keyed.plates->at(keyed.number, *shown) : nullptr;
  KnownPlate known = plate ? plate->known() : KnownPlate();
  Image bytes;
  if (known.picture.format == PixelFormat::RgbaF32) {
    bytes = inEightBits(known.picture);
    known.picture = bytes.frame();
  }
  const Scan scan = context.clip.keying().fields() ? Scan::Fields : Scan::Whole;
  return treatmentAt(keyed.settings, source->frame(), {.scan = scan, .plate = plate ? &known : nullptr}, at.left,
                     at.top);
}

// What makes the pixel's alpha: a matte, of which the garbage matte comes last, or the key.
const char* treatmentOf(PreviewContext& context, const KeyedFrame& keyed, const Area& at) {
  const Companions mattes = context.mattes.at(keyed.number);
  if (isInForce(mattes.garbage, at)) return "garbage";
  if (isInForce(mattes.holdout, at)) return "holdout";
  return treatmentName(engineTreatment(context, keyed, at));
}

// A level as the page shows it: one decimal of those of deep pictures, whole numbers of others.
Json levelJson(double level, bool deep) {
  return deep ? Json(std::round(10.0 * level) / 10.0) : Json(static_cast<int>(level));
}

// The first `count` of a pixel's levels.
Json levelsJson(const std::array<double, 4>& levels, std::size_t count, bool deep) {
  Json json = Json::array();
  for (std::size_t c = 0; c < count; ++c) json.push_back(levelJson(levels[c], deep));
  return json;
}

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

struct Sample {
  std::int64_t frame;
  Area area;
};

// The mean red, green and blue of areas at full depth.
Json deepMean(const std::vector<Sample>& samples, PreviewContext& context) {
  std::array<double, 4> sums{};
  double pixels = 0.0;
  for (const Sample& sample : samples) {
    const auto picture = context.clip.picture(sample.frame, {}, true);
    const Area& area = sample.area;
    for (int y = area.top; y < area.top + area.height; ++y) {
      const float* pixel = picture->floats(y) + std::ptrdiff_t{4} * area.left;
      for (int x = 0; x < area.width; ++x, pixel += 4) {
        for (std::size_t c = 0; c < 3; ++c) sums[c] += 255.0 * double{pixel[c]};
      }
    }
    pixels += static_cast<double>(area.width) * area.height;
  }
  for (double& sum : sums) sum /= pixels;
  return levelsJson(sums, 3, true);
}

// The colour is that of `kalvetra pick --at`, which looks at 8 bits; only the mean has decimals.
Json meanOf(const std::vector<Sample>& samples, PreviewContext& context, bool deep) {
  AreaMean mean;
  for (const Sample& sample : samples) {
    const auto picture = context.clip.picture(sample.frame);
    mean.add(picture->bytes.data(), picture->width, sample.area);
  }
  Json json = asJson(*mean.mean());
  if (deep) json["mean"] = deepMean(samples, context);
  return json;
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
  const bool deep = isDeepIn(body, context, settings);
  const KeyedFrame keyed{number, 1, settings.at(number), deep, context.plates.of(settings, deep)};
  const Renderer::Pixel found = context.renderer.pixel(keyed, at.left, at.top);
  return jsonAnswer({{"source", levelsJson(found.source, 4, deep)},
                     {"plate", levelsJson(found.plate, 3, deep)},
                     {"alpha", levelJson(found.result[3], deep)},
                     {"result", levelsJson(found.result, 4, deep)},
                     {"treatment", treatmentOf(context, keyed, at)},
                     {"decimals", deep ? 1 : 0},
                     {"sample", wanted.is_null() ? Json() : meanOf({{number, area}}, context, deep)}});
}

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
  return jsonAnswer(meanOf(all, context, isDeepIn(body, context, AnimatedSettings())));
}

}  // namespace

void addPixelRoutes(Routes& routes, PreviewContext& context) {
  routes.post("api/pixel", [&context](const Request& request) { return pixel(request, context); });
  routes.post("api/sample", [&context](const Request& request) { return sample(request, context); });
}

}  // namespace kalvetra
