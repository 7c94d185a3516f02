#include "engine/KalvetraFinalCut.h"

#include "engine/render.h"

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
  const kalvetra::KeySettings settings{
      .view = view,
      .keyColor = {keyRed, keyGreen, keyBlue},
      .smoothBG = smoothBG,
      .shadow = shadow,
      .clipBlack = clipBlack,
      .clipWhite = clipWhite,
      .deBlocking = deBlocking,
      .deBlockValue = deBlockValue,
      .edgeContract = edgeContract,
      .contractMask = contractMask,
      .contractThreshold = contractThreshold,
      .edgeBlur = edgeBlur,
      .maskBlurRadius = maskBlurRadius,
      .maskBlurValue = maskBlurValue,
      .skinHue = skinHue,
      .blueHue = blueHue,
      .despillWhite = despillWhite,
      .despillSkin = despillSkin,
      .despillBlue = despillBlue,
      .screenGain = screenGain,
  };
  render(settings, kalvetra::packedFrame(reinterpret_cast<const unsigned char*>(input), inputWidth, inputHeight),
         kalvetra::packedFrame(reinterpret_cast<unsigned char*>(output), outputWidth, outputHeight));
}
