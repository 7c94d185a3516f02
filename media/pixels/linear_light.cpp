#include "media/pixels/linear_light.h"

#include <cmath>
#include <string>

#include "support/user_error.h"

namespace kalvetra {

namespace {

// Constants of Recommendation ITU-R BT.709: below the knee the curve is a line.
double fromBt709(double v) { return v < 4.5 * 0.018 ? v / 4.5 : std::pow((v + 0.099) / 1.099, 1.0 / 0.45); }

// Constants of IEC 61966-2-1.
double fromSrgb(double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); }

double fromLinear(double v) { return v; }

using Curve = double (*)(double);

Curve curveOf(AVColorTransferCharacteristic transfer) {
  switch (transfer) {
    case AVCOL_TRC_BT709:
    case AVCOL_TRC_SMPTE170M:
    case AVCOL_TRC_BT2020_10:
    case AVCOL_TRC_BT2020_12:
    case AVCOL_TRC_IEC61966_2_4:
      return fromBt709;
    case AVCOL_TRC_IEC61966_2_1:
      return fromSrgb;
    case AVCOL_TRC_LINEAR:
      return fromLinear;
    default: {
      const char* name = av_color_transfer_name(transfer);
      throw UserError("pictures whose transfer is '" + std::string(name != nullptr ? name : "unknown") +
                      "' cannot be turned into linear light; convert the clip to BT.709 first, or choose png16");
    }
  }
}

}  // namespace

std::array<float, 256> linearLight(AVColorTransferCharacteristic transfer) {
  const Curve curve = curveOf(transfer);
  std::array<float, 256> light;
  for (std::size_t code = 0; code < light.size(); ++code) {
    light[code] = static_cast<float>(curve(static_cast<double>(code) / 255.0));
  }
  return light;
}

}  // namespace kalvetra
