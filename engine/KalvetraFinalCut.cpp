#include "engine/KalvetraFinalCut.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>

#include "engine/KALVETRA_MakeMaskGreenBack32bit.h"
#include "engine/background_plate.h"
#include "engine/record_check.h"
#include "engine/streamed_frame.h"
#include "imaging/CImagingZEP.h"
#include "imaging/numeric.h"
#include "imaging/simd/level.h"

double toValue(double hi, double lo, double v) { return lo + (hi - lo) * v / 100.0; }

double toValue2(double hi, double lo, double v) { return lo + (hi - lo) / 100.0 * (50.0 + v); }

double toParcentage(double hi, double lo, double x) { return 100.0 / (hi - lo) * (x - lo); }

double toParcentage2(double hi, double lo, double x) { return 100.0 / (hi - lo) * (x - lo) - 50.0; }

namespace {

constexpr unsigned int kPipelineTag = 30609001;

int rounded(double x) { return kalvetra::truncToInt(x + 0.5); }

// Record fields take a rounded value modulo their width.
std::uint16_t field(double x) { return static_cast<std::uint16_t>(rounded(x)); }

void setPair(std::uint16_t (&pair)[2], double x) { pair[0] = pair[1] = field(x); }

// What the user sets for the pipeline, in user units.
struct UserValues {
  double key[3];  // 0..255
  int smoothBG, shadow;
  int deBlockValue;                     // 0 when deblocking is off
  int contractMask, contractThreshold;  // both 0 when contraction is off
  int maskBlurRadius, maskBlurValue;    // both 0 when the edge blur is off
  int skinHue, blueHue;
  int despillWhite, despillSkin, despillBlue;
  int screenGain;

  // A key colour of black, the parameter's default, means that none was picked.
  bool keys() const { return key[0] > 1.0 || key[1] > 1.0 || key[2] > 1.0; }
};

KALVETRA_Param makeRecord(const UserValues& user, unsigned char* source, unsigned char* result, int width, int height) {
  KALVETRA_Param p{};
  p.pSrc = source;
  p.pDst = result;
  p.nWidth = static_cast<std::uint16_t>(width);
  p.nHeight = static_cast<std::uint16_t>(height);
  for (int c = 0; c < 3; ++c) p.keyColor[c][0] = p.keyColor[c][1] = static_cast<unsigned char>(rounded(user.key[c]));
  setPair(p.nScreenGain, toValue(30, 0, user.screenGain));
  setPair(p.nShadow, toValue(100, 0, user.shadow));
  setPair(p.nSkinHue, toValue2(170, 120, user.skinHue));
  setPair(p.nBlueHue, toValue2(330, 250, user.blueHue));
  setPair(p.nDespillWhite, toValue(100, 0, user.despillWhite));
  setPair(p.nDespillSkin, toValue(50, 0, user.despillSkin));
  setPair(p.nDespillBlue, toValue(50, 0, user.despillBlue));
  p.nDeBlock = field(user.deBlockValue);
  p.nContractMask = field(user.contractMask);
  p.nContractThreshold = field(user.contractThreshold);
  p.bSmoothBG = static_cast<std::uint32_t>(user.smoothBG);
  p.nMaskBlurRadius = field(user.maskBlurRadius);
  p.nMaskBlurValue = field(user.maskBlurValue);
  return p;
}

// Host order alpha, red, green, blue <-> working order blue, green, red, alpha.
void reverseBytes(const unsigned char* from, unsigned char* to, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels; ++i, from += 4, to += 4) {
    for (int c = 0; c < 4; ++c) to[c] = from[3 - c];
  }
}

// The matte never exceeds the host frame's alpha; where that is 0, the frame's colour is restored.
void limitByAlpha(const unsigned char* host, unsigned char* result, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels; ++i, host += 4, result += 4) {
    if (host[0] == 0) {
      reverseBytes(host, result, 1);
    } else if (result[3] > host[0]) {
      result[3] = host[0];
    }
  }
}

// The clip levels, in percent, that become 0 and 255.
class Clip {
 public:
  Clip(int black, int white)
      : active_(!(black < 0.01 && white > 99.9)),
        low_(rounded(black * 255.0 / 100.0)),
        high_(rounded(white * 255.0 / 100.0)) {
    if (low_ == high_ && low_ < std::numeric_limits<int>::max()) ++low_;
  }
  bool active() const { return active_; }
  unsigned char operator()(unsigned char alpha) const {
    return active_ ? kalvetra::clampToByte(CImagingZEP().LinerInter(int{alpha}, low_, high_, 0, 255)) : alpha;
  }

 private:
  bool active_;
  int low_, high_;
};

void clipMatte(unsigned char* result, std::size_t pixels, const Clip& clip) {
  if (!clip.active()) return;
  for (std::size_t i = 0; i < pixels; ++i) result[i * 4 + 3] = clip(result[i * 4 + 3]);
}

void writeMatte(const unsigned char* result, unsigned char* host, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels; ++i, result += 4, host += 4) {
    host[0] = 255;
    host[1] = host[2] = host[3] = result[3];
  }
}

// The same frame by vectors; false, with nothing written, where it has to be rendered the plain way.
bool streamed(const kalvetra::HostFrame& frame, const UserValues& user, const Clip& clip, int view) {
  kalvetra::MatteFinish finish{view == kKalvetraViewMatte, clip.active(), {}};
  for (std::size_t i = 0; i < finish.clipped.size(); ++i) finish.clipped[i] = clip(static_cast<unsigned char>(i));
  if (!user.keys()) return kalvetra::streamFrame(frame, nullptr, finish);
  const KALVETRA_Param param = makeRecord(user, nullptr, nullptr, frame.width, frame.height);
  return kalvetra::streamFrame(frame, &param, finish);
}

}  // namespace

void KalvetraFinalCut(char* output, int outputWidth, int outputHeight, const char* input, int inputWidth,
                      int inputHeight, double /*scaleX*/, double /*scaleY*/, int view, double keyRed, double keyGreen,
                      double keyBlue, int smoothBG, int shadow, int clipBlack, int clipWhite, int deBlocking,
                      int deBlockValue, int edgeContract, int contractMask, int contractThreshold, int edgeBlur,
                      int maskBlurRadius, int maskBlurValue, int skinHue, int blueHue, int despillWhite,
                      int despillSkin, int despillBlue, int screenGain) {
  const int width = std::min(outputWidth, inputWidth);
  const int height = std::min(outputHeight, inputHeight);
  if (width < 1 || height < 1) return;
  const auto rowPixels = static_cast<std::size_t>(width);
  const auto inputRow = [&](int y) {
    return reinterpret_cast<const unsigned char*>(input) + std::ptrdiff_t{4} * inputWidth * y;
  };
  const auto outputRow = [&](int y) {
    return reinterpret_cast<unsigned char*>(output) + std::ptrdiff_t{4} * outputWidth * y;
  };
  if (view == kKalvetraViewSource) {
    for (int y = 0; y < height; ++y) std::memcpy(outputRow(y), inputRow(y), rowPixels * 4);
    return;
  }

  const UserValues user{{keyRed * 255.0, keyGreen * 255.0, keyBlue * 255.0},
                        smoothBG,
                        shadow,
                        deBlocking != 0 ? deBlockValue : 0,
                        edgeContract != 0 ? contractMask : 0,
                        edgeContract != 0 ? contractThreshold : 0,
                        edgeBlur != 0 ? maskBlurRadius : 0,
                        edgeBlur != 0 ? maskBlurValue : 0,
                        skinHue,
                        blueHue,
                        despillWhite,
                        despillSkin,
                        despillBlue,
                        screenGain};
  const Clip clip(clipBlack, clipWhite);
  const kalvetra::HostFrame frame{
      inputRow(0), std::ptrdiff_t{4} * inputWidth, outputRow(0), std::ptrdiff_t{4} * outputWidth, width, height};
  if (kalvetra::simd::enabled() && streamed(frame, user, clip, view)) return;

  const std::size_t pixels = rowPixels * static_cast<std::size_t>(height);
  const auto source = std::make_unique<unsigned char[]>(pixels * 4);
  const auto result = std::make_unique<unsigned char[]>(pixels * 4);
  const auto resultRow = [&](int y) { return result.get() + static_cast<std::size_t>(y) * rowPixels * 4; };
  for (int y = 0; y < height; ++y) {
    reverseBytes(inputRow(y), source.get() + static_cast<std::size_t>(y) * rowPixels * 4, rowPixels);
  }

  if (user.keys()) {
    KALVETRA_Param param = makeRecord(user, source.get(), result.get(), width, height);
    KALVEVIE_Param whole{};
    KALVETRA_MakeMaskGreenBack32bit(&param, &whole, kPipelineTag);
  } else {
    std::memcpy(result.get(), source.get(), pixels * 4);
  }

  for (int y = 0; y < height; ++y) limitByAlpha(inputRow(y), resultRow(y), rowPixels);
  clipMatte(result.get(), pixels, clip);
  for (int y = 0; y < height; ++y) {
    if (view == kKalvetraViewMatte) {
      writeMatte(resultRow(y), outputRow(y), rowPixels);
    } else {
      reverseBytes(resultRow(y), outputRow(y), rowPixels);
    }
  }
}

bool KalvetraBackgroundPlate(char* output, const char* input, int width, int height, double keyRed, double keyGreen,
                             double keyBlue, int smoothBG, int skinHue, int blueHue) {
  if (width < 1 || height < 1) return false;
  UserValues user{};
  user.key[0] = keyRed * 255.0;
  user.key[1] = keyGreen * 255.0;
  user.key[2] = keyBlue * 255.0;
  user.skinHue = skinHue;
  user.blueHue = blueHue;
  const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  const auto source = std::make_unique<unsigned char[]>(pixels * 4);
  const auto plate = std::make_unique<unsigned char[]>(pixels * 4);
  const KALVETRA_Param param = makeRecord(user, source.get(), plate.get(), width, height);
  const bool estimated = smoothBG != 0 && user.keys() && kalvetra::valuesInRange(param);
  if (estimated) {
    reverseBytes(reinterpret_cast<const unsigned char*>(input), source.get(), pixels);
    kalvetra::estimatePlate(param, plate.get());
  }
  for (std::size_t i = 0; i < pixels * 4; i += 4) {
    plate[i + 3] = 255;
    for (std::size_t c = 0; !estimated && c < 3; ++c) plate[i + c] = param.keyColor[2 - c][0];
  }
  reverseBytes(plate.get(), reinterpret_cast<unsigned char*>(output), pixels);
  return estimated;
}
