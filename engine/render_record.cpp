#include "engine/render_record.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "engine/KalvetraFinalCut.h"

namespace kalvetra {

namespace {

// Record fields take a rounded value modulo their width.
std::uint16_t field(double x) { return static_cast<std::uint16_t>(roundedToInt(x)); }

void setPair(std::uint16_t (&pair)[2], double x) { pair[0] = pair[1] = field(x); }

// A value that counts only while its toggle is on.
int whileOn(int toggle, int value) { return toggle != 0 ? value : 0; }

}  // namespace

bool keysSomething(const KeySettings& s) {
  return std::any_of(s.keyColor.begin(), s.keyColor.end(), [](double component) { return component * 255.0 > 1.0; });
}

KALVETRA_Param makeRecord(const KeySettings& s, unsigned char* source, unsigned char* result, int width, int height) {
  KALVETRA_Param p{};
  p.pSrc = source;
  p.pDst = result;
  p.nWidth = static_cast<std::uint16_t>(width);
  p.nHeight = static_cast<std::uint16_t>(height);
  for (std::size_t c = 0; c < 3; ++c) {
    p.keyColor[c][0] = p.keyColor[c][1] = static_cast<unsigned char>(roundedToInt(s.keyColor[c] * 255.0));
  }
  if (keysBlue(s)) std::swap(p.keyColor[1], p.keyColor[2]);
  setPair(p.nScreenGain, toValue(30, 0, s.screenGain));
  setPair(p.nShadow, toValue(100, 0, s.shadow));
  setPair(p.nSkinHue, toValue2(170, 120, s.skinHue));
  setPair(p.nBlueHue, toValue2(330, 250, s.blueHue));
  setPair(p.nDespillWhite, toValue(100, 0, s.despillWhite));
  setPair(p.nDespillSkin, toValue(50, 0, s.despillSkin));
  setPair(p.nDespillBlue, toValue(50, 0, s.despillBlue));
  p.nDeBlock = field(whileOn(s.deBlocking, s.deBlockValue));
  p.nContractMask = field(whileOn(s.edgeContract, s.contractMask));
  p.nContractThreshold = field(whileOn(s.edgeContract, s.contractThreshold));
  p.bSmoothBG = static_cast<std::uint32_t>(s.smoothBG);
  p.nMaskBlurRadius = field(whileOn(s.edgeBlur, s.maskBlurRadius));
  p.nMaskBlurValue = field(whileOn(s.edgeBlur, s.maskBlurValue));
  return p;
}

void reverseBytes(const unsigned char* from, unsigned char* to, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels; ++i, from += 4, to += 4) {
    for (int c = 0; c < 4; ++c) to[c] = from[3 - c];
  }
}

}  // namespace kalvetra
