#include "media/pixels/light_curves.h"

#include <algorithm>
#include <string>
#include <vector>

#include "media/pixels/simd/light_rows.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

using simd::Curve;

constexpr int kBlock = 256;  // values

void bend(float* values, int count, Curve curve) {
  std::array<double, kBlock> block;
  for (int done = 0; done < count; done += kBlock) {
    const int size = std::min(kBlock, count - done);
    std::copy_n(values + done, size, block.begin());
    simd::bendRow(curve, block.data(), values + done, size);
  }
}

// From the scene's light to that of a display of 1000 cd/m2: each colour times the luma of BT.2020 to the power 0.2.
void applySystemGamma(float* red, float* green, float* blue, int count) {
  std::vector<float> factors(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    factors[static_cast<std::size_t>(i)] = std::max(0.2627f * red[i] + 0.6780f * green[i] + 0.0593f * blue[i], 0.0f);
  }
  bend(factors.data(), count, Curve::FifthRoot);
  for (float* values : {red, green, blue}) {
    for (int i = 0; i < count; ++i) {
      const float factor = 10.0f * factors[static_cast<std::size_t>(i)];
      values[i] = std::clamp(factor * values[i], -kLargestHalf, kLargestHalf);
    }
  }
}

[[noreturn]] void refuse(AVColorTransferCharacteristic transfer, const std::string& depth = "") {
  const char* name = av_color_transfer_name(transfer);
  throw UserError("OpenEXR holds linear light, and pictures whose transfer is '" +
                  (name != nullptr ? std::string(name) : std::to_string(static_cast<int>(transfer))) +
                  "' cannot be turned into it" + depth +
                  "; .png, .mov and .mkv keep the code values, or convert the clip to BT.709 first");
}

}  // namespace

void encodeSrgb(float* values, int count) { bend(values, count, Curve::SrgbFromLight); }

LightCurve::Shape LightCurve::shapeOf(AVColorTransferCharacteristic transfer) {
  switch (transfer) {
    case AVCOL_TRC_BT709:
    case AVCOL_TRC_SMPTE170M:
    case AVCOL_TRC_BT2020_10:
    case AVCOL_TRC_BT2020_12:
    case AVCOL_TRC_IEC61966_2_4:
      return Shape::Bt709;
    case AVCOL_TRC_IEC61966_2_1:
      return Shape::Srgb;
    case AVCOL_TRC_LINEAR:
      return Shape::Linear;
    case AVCOL_TRC_SMPTE2084:
      return Shape::Pq;
    case AVCOL_TRC_ARIB_STD_B67:
      return Shape::Hlg;
    default:
      refuse(transfer);
  }
}

std::array<float, 256> LightCurve::ofBytes(AVColorTransferCharacteristic transfer) {
  const Shape shape = shapeOf(transfer);
  if (shape == Shape::Pq || shape == Shape::Hlg) refuse(transfer, " in 8 bits, only with --depth deep");
  std::array<double, 256> codes;
  for (std::size_t level = 0; level < codes.size(); ++level) codes[level] = static_cast<double>(level) / 255.0;
  std::array<float, 256> light;
  if (shape == Shape::Linear) {
    std::transform(codes.begin(), codes.end(), light.begin(), [](double code) { return static_cast<float>(code); });
  } else {
    const Curve curve = shape == Shape::Srgb ? Curve::LightFromSrgb : Curve::LightFromBt709;
    simd::bendRow(curve, codes.data(), light.data(), static_cast<int>(codes.size()));
  }
  return light;
}

void LightCurve::apply(float* red, float* green, float* blue, int count) const {
  if (shape_ == Shape::Linear) return;
  const Curve curve = shape_ == Shape::Bt709  ? Curve::LightFromBt709
                      : shape_ == Shape::Srgb ? Curve::LightFromSrgb
                      : shape_ == Shape::Pq   ? Curve::LightFromPq
                                              : Curve::SceneFromHlg;
  for (float* values : {red, green, blue}) bend(values, count, curve);
  if (shape_ == Shape::Hlg) applySystemGamma(red, green, blue, count);
}

}  // namespace kalvetra
