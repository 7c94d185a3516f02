#include "engine/KalvetraFinalCut.h"

#include <algorithm>
#include <cstddef>

#include "engine/render_entry.h"

double toValue(double hi, double lo, double v) { return lo + (hi - lo) * v / 100.0; }

double toValue2(double hi, double lo, double v) { return lo + (hi - lo) / 100.0 * (50.0 + v); }

double toParcentage(double hi, double lo, double x) { return 100.0 / (hi - lo) * (x - lo); }

double toParcentage2(double hi, double lo, double x) { return 100.0 / (hi - lo) * (x - lo) - 50.0; }

void KalvetraFinalCut(char* output, int outputWidth, int outputHeight, const char* input, int inputWidth,
                      int inputHeight, double /*scaleX*/, double /*scaleY*/, int view, double keyRed, double keyGreen,
                      double keyBlue, int smoothBG, int shadow, int clipBlack, int clipWhite, int deBlocking,
                      int deBlockValue, int edgeContract, int contractMask, int contractThreshold, int edgeBlur,
                      int maskBlurRadius, int maskBlurValue, int skinHue, int blueHue, int despillWhite,
                      int despillSkin, int despillBlue, int screenGain) {
  const kalvetra::HostFrame frame{reinterpret_cast<const unsigned char*>(input),
                                  std::ptrdiff_t{4} * inputWidth,
                                  reinterpret_cast<unsigned char*>(output),
                                  std::ptrdiff_t{4} * outputWidth,
                                  std::min(outputWidth, inputWidth),
                                  std::min(outputHeight, inputHeight)};
  const kalvetra::RenderValues values{
      view,       keyRed,       keyGreen,     keyBlue,      smoothBG,          shadow,    clipBlack,      clipWhite,
      deBlocking, deBlockValue, edgeContract, contractMask, contractThreshold, edgeBlur,  maskBlurRadius, maskBlurValue,
      skinHue,    blueHue,      despillWhite, despillSkin,  despillBlue,       screenGain};
  renderView(frame, values, kalvetra::Scan::Whole);
}
