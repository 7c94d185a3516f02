#include "engine/render_record.h"

#include <cstdint>

#include "engine/KalvetraFinalCut.h"

namespace kalvetra {

namespace {

// Record fields take a rounded value modulo their width.
std::uint16_t field(double x) { return static_cast<std::uint16_t>(roundedToInt(x)); }

void setPair(std::uint16_t (&pair)[2], double x) { pair[0] = pair[1] = field(x); }

// A value that counts only while its toggle is on.
int whileOn(int toggle, int value) { return toggle != 0 ? value : 0; }

}  // namespace

bool keysSomething(const RenderValues& v) {
  return v.keyRed * 255.0 > 1.0 || v.keyGreen * 255.0 > 1.0 || v.keyBlue * 255.0 > 1.0;
}

KALVETRA_Param makeRecord(const RenderValues& v, unsigned char* source, unsigned char* result, int width, int height) {
  KALVETRA_Param p{};
  p.pSrc = source;
  p.pDst = result;
  p.nWidth = static_cast<std::uint16_t>(width);
  p.nHeight = static_cast<std::uint16_t>(height);
  const double key[3] = {v.keyRed * 255.0, v.keyGreen * 255.0, v.keyBlue * 255.0};
  for (int c = 0; c < 3; ++c) p.keyColor[c][0] = p.keyColor[c][1] = static_cast<unsigned char>(roundedToInt(key[c]));
  setPair(p.nScreenGain, toValue(30, 0, v.screenGain));
  setPair(p.nShadow, toValue(100, 0, v.shadow));
  setPair(p.nSkinHue, toValue2(170, 120, v.skinHue));
  setPair(p.nBlueHue, toValue2(330, 250, v.blueHue));
  setPair(p.nDespillWhite, toValue(100, 0, v.despillWhite));
  setPair(p.nDespillSkin, toValue(50, 0, v.despillSkin));
  setPair(p.nDespillBlue, toValue(50, 0, v.despillBlue));
  p.nDeBlock = field(whileOn(v.deBlocking, v.deBlockValue));
  p.nContractMask = field(whileOn(v.edgeContract, v.contractMask));
  p.nContractThreshold = field(whileOn(v.edgeContract, v.contractThreshold));
  p.bSmoothBG = static_cast<std::uint32_t>(v.smoothBG);
  p.nMaskBlurRadius = field(whileOn(v.edgeBlur, v.maskBlurRadius));
  p.nMaskBlurValue = field(whileOn(v.edgeBlur, v.maskBlurValue));
  return p;
}

void reverseBytes(const unsigned char* from, unsigned char* to, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels; ++i, from += 4, to += 4) {
    for (int c = 0; c < 4; ++c) to[c] = from[3 - c];
  }
}

}  // namespace kalvetra
