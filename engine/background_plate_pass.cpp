// The background-plate pass: estimates the backdrop on a small copy of the frame, then keys against that.
#include <algorithm>
#include <cstddef>
#include <memory>

#include "engine/CKALVETRA.h"
#include "engine/background_plate.h"
#include "imaging/numeric.h"

namespace {

constexpr int kLongestSide = 320;  // of the small copy, whatever the frame's size

using Bytes = std::unique_ptr<unsigned char[]>;

// Edges belong to the foreground and must not feed the plate.
void blackOutEdges(unsigned char* plate, const unsigned char* edges, int mapBytes, kalvetra::PlateSize size) {
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      if (edges[y * mapBytes + x] != 0) std::fill_n(plate + (y * size.width + x) * 4, 3, static_cast<unsigned char>(0));
    }
  }
}

}  // namespace

namespace kalvetra {

// At least 2 x 2, so that reducing never meets a size of 1.
PlateSize plateSize(int width, int height) {
  const float ratio = static_cast<float>(height) / static_cast<float>(width);
  PlateSize size{width, height};
  if (width >= height && width > kLongestSide) {
    size = {kLongestSide, truncToInt(ratio * 320.0f)};
  } else if (width < height && height > kLongestSide) {
    size = {truncToInt(320.0f / ratio), kLongestSide};
  }
  return {std::max(size.width, 2), std::max(size.height, 2)};
}

// Edges are sought before extraction blacks anything out.
void makePlate(const KALVETRA_Param& param, unsigned char* plate, PlateSize size) {
  CImagingZEP imaging;
  CKALVETRA keying;
  const unsigned char keyR = param.keyColor[0][0], keyG = param.keyColor[1][0], keyB = param.keyColor[2][0];
  const int rowBytes = size.width * 4;
  const int mapBytes = imaging.Align8(size.width);
  const Bytes edges = std::make_unique<unsigned char[]>(byteCount(mapBytes, size.height));
  const Bytes rejected = std::make_unique<unsigned char[]>(byteCount(mapBytes, size.height));

  imaging.Laplacian32bit8(plate, size.width, size.height, rowBytes, edges.get(), size.width, size.height, mapBytes,
                          kEdgeThreshold);
  keying.ExtractBack32bit(plate, rejected.get(), size.width, size.height, rowBytes, keyR, keyG, keyB, param.nSkinHue[0],
                          param.nBlueHue[0]);
  blackOutEdges(plate, edges.get(), mapBytes, size);
  keying.ContractBack32bit(plate, size.width, size.height, rowBytes, kHoleGrowth);
  keying.ExpandBack32bit8(plate, size.width, size.height, rowBytes, keyR, keyG, keyB);
  imaging.AverageBlurCore32bit6(plate, size.width, size.height, rowBytes, kPlateBlur);
}

namespace {

// To the size of the record's frame.
void enlarge(const GivenPlate& small, const KALVETRA_Param& param, unsigned char* plate) {
  CImagingZEP().DF_WH32bit5_1(small.pixels, small.width, small.height, small.width * 4, plate, param.nWidth,
                              param.nHeight, param.nWidth * 4, kLanczos, kEnlargingLobes);
}

}  // namespace

void drawBackdrop(const KALVETRA_Param& param, const GivenPlate* given, unsigned char* plate) {
  if (given != nullptr) return enlarge(*given, param, plate);
  CImagingZEP imaging;
  const int width = param.nWidth, height = param.nHeight;
  const PlateSize size = plateSize(width, height);
  const Bytes small = std::make_unique<unsigned char[]>(byteCount(size.width * 4, size.height));
  imaging.DF_WH32bit5_1(param.pSrc, width, height, width * 4, small.get(), size.width, size.height, size.width * 4,
                        kLanczos, kReducingLobes);
  makePlate(param, small.get(), size);
  enlarge({small.get(), size.width, size.height}, param, plate);
}

unsigned int keyAgainstBackdrop(KALVETRA_Param& param, const GivenPlate* given) {
  if (param.nWidth == 0 || param.nHeight == 0) return 2;
  const int width = param.nWidth, height = param.nHeight;
  const std::size_t frameBytes = byteCount(width * 4, height);
  const Bytes plate = std::make_unique<unsigned char[]>(frameBytes);
  drawBackdrop(param, given, plate.get());
  if (param.nDeBlock != 0) {  // only now: the plate is taken from the frame as it came
    const Bytes scratch = std::make_unique<unsigned char[]>(frameBytes);
    CImagingZEP().ChromaBlur32bit(width, height, param.pSrc, scratch.get(), param.nDeBlock);
  }
  CKALVETRA().MakeChromaKeyMaskX9Core32bit14(&param, plate.get());
  return 0;
}

}  // namespace kalvetra

unsigned int CKALVETRA::MakeMask32bit008_1(KALVETRA_Param* param) {
  return param == nullptr ? 2 : kalvetra::keyAgainstBackdrop(*param, nullptr);
}
