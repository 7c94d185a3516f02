#include "engine/KALVETRA_MakeMaskGreenBack32bit.h"

#include <cstddef>
#include <memory>

#include "engine/CKALVETRA.h"
#include "engine/pipeline.h"
#include "imaging/numeric.h"

using kalvetra::GivenPlate;

namespace {

using Bytes = std::unique_ptr<unsigned char[]>;

// An empty image has no buffer.
Bytes allocateImage(int width, int height) {
  const std::size_t bytes = kalvetra::byteCount(width, height) * 4;
  return bytes == 0 ? nullptr : std::make_unique<unsigned char[]>(bytes);
}

void deblock(const KALVETRA_Param& param) {
  if (param.nDeBlock == 0) return;
  const Bytes scratch = allocateImage(param.nWidth, param.nHeight);
  CImagingZEP().ChromaBlur32bit(param.nWidth, param.nHeight, param.pSrc, scratch.get(), param.nDeBlock);
}

// The background-plate pass deblocks on its own, after it has taken its plate.
unsigned int keyPicture(KALVETRA_Param& param, const GivenPlate* given) {
  if (param.bSmoothBG != 0) return kalvetra::keyAgainstBackdrop(param, given);
  deblock(param);
  return CKALVETRA().MakeMask32bit007_2(&param);
}

// One field of a frame with images of its own.
struct Field {
  Bytes source;
  Bytes result;
  KALVETRA_Param param;

  Field(const KALVETRA_Param& frame, int height)
      : source(allocateImage(frame.nWidth, height)), result(allocateImage(frame.nWidth, height)), param(frame) {
    param.pSrc = source.get();
    param.pDst = result.get();
    param.pAux = nullptr;
    param.nHeight = static_cast<std::uint16_t>(height);
  }
};

unsigned int keyFields(const KALVETRA_Param& param, const GivenPlate* given) {
  CImagingZEP imaging;
  const int width = param.nWidth, height = param.nHeight;
  Field odd(param, height / 2);  // rows 1, 3, 5 ...
  Field even(param, height - height / 2);
  imaging.SepareteField32bit(width, height, param.pSrc, odd.source.get(), even.source.get());
  keyPicture(odd.param, given);
  const unsigned int result = keyPicture(even.param, given);
  imaging.CompositeField32bit(width, height, param.pDst, odd.result.get(), even.result.get());
  return result;
}

void finishMatte(const KALVETRA_Param& p) {
  CImagingZEP imaging;
  if (p.nContractMask != 0) imaging.ContGray7(p.nWidth, p.nHeight, p.pDst, p.nContractMask, p.nContractThreshold);
  if (p.nMaskBlurRadius != 0) {
    imaging.MaskBlur(p.nWidth, p.nHeight, p.pDst, p.nMaskBlurRadius, p.nMaskBlurValue, p.nMaskBlurOffset);
  }
}

}  // namespace

bool kalvetra::valuesInRange(const KALVETRA_Param& p) {
  const auto within = [](int value, int lowest, int highest) { return value >= lowest && value <= highest; };
  return p.nSkinHue[0] <= p.nBlueHue[0] && within(p.nSkinHue[0], 120, 170) && within(p.nBlueHue[0], 250, 330) &&
         p.nScreenGain[0] <= 30 && p.nShadow[0] <= 100 && p.nDespillWhite[0] <= 100 && p.nDespillSkin[0] <= 50 &&
         p.nDespillBlue[0] <= 50 && p.nContractThreshold <= 255 && p.nMaskBlurValue <= 100;
}

unsigned int kalvetra::runPipeline(KALVETRA_Param& param, const KALVEVIE_Param& view, const GivenPlate* given) {
  if (param.pSrc == nullptr || param.pDst == nullptr || !valuesInRange(param)) return 2;
  try {
    const unsigned int result = view.bFieldSeparate != 0 ? keyFields(param, given) : keyPicture(param, given);
    finishMatte(param);
    return result;
  } catch (...) {
    return 3;
  }
}

unsigned int KALVETRA_MakeMaskGreenBack32bit(KALVETRA_Param* param, KALVEVIE_Param* view, unsigned int /*tag*/) {
  return param == nullptr || view == nullptr ? 2 : kalvetra::runPipeline(*param, *view, nullptr);
}
