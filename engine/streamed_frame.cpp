#include "engine/streamed_frame.h"

#include <cstring>
#include <limits>
#include <memory>
#include <optional>

#include "engine/background_plate.h"
#include "engine/record_check.h"
#include "imaging/simd/box_rows.h"
#include "imaging/simd/chroma_rows.h"
#include "imaging/simd/passes.h"
#include "imaging/simd/resampled_rows.h"

namespace kalvetra {

namespace {

using Bytes = std::unique_ptr<unsigned char[]>;

Bytes allocate(std::size_t bytes) { return std::make_unique_for_overwrite<unsigned char[]>(bytes); }

// The frame's rows, deblocked where the record asks for it.
class SourceRows {
 public:
  SourceRows(const HostFrame& frame, int deblockRadius) : frame_(frame) {
    if (deblockRadius == 0) return;
    blurred_.emplace(frame.input, frame.inputStride, simd::ByteOrder::Host, frame.width, frame.height, deblockRadius);
    row_ = std::make_unique<unsigned char[]>(static_cast<std::size_t>(frame.width) * 4);
  }
  // Row y, after row y - 1; valid until the next call.
  const unsigned char* row(int y) {
    if (!blurred_) return frame_.input + y * frame_.inputStride;
    blurred_->next(row_.get());
    return row_.get();
  }

 private:
  const HostFrame& frame_;
  std::optional<simd::ChromaRows> blurred_;
  Bytes row_;
};

// The background plate's rows in host order, made of the frame as it came.
class PlateRows {
 public:
  PlateRows(const HostFrame& frame, const KALVETRA_Param& param) : size_(plateSize(frame.width, frame.height)) {
    simd::ResampledRows reduced(frame.input, frame.width, frame.height, frame.inputStride, size_.width, size_.height,
                                kLanczos, kReducingLobes);
    if (!reduced.possible()) return;
    const std::size_t rowPixels = static_cast<std::size_t>(size_.width);
    small_ = allocate(rowPixels * static_cast<std::size_t>(size_.height) * 4);
    for (int y = 0; y < size_.height; ++y) reduced.next(small_.get() + static_cast<std::size_t>(y) * rowPixels * 4);
    const std::size_t area = rowPixels * static_cast<std::size_t>(size_.height);
    simd::reverseBytes(small_.get(), area);
    makePlate(param, small_.get(), size_);
    simd::reverseBytes(small_.get(), area);
    enlarged_.emplace(small_.get(), size_.width, size_.height, std::ptrdiff_t{4} * size_.width, frame.width,
                      frame.height, kLanczos, kEnlargingLobes);
  }
  bool possible() const { return enlarged_ && enlarged_->possible(); }
  void next(unsigned char* row) { enlarged_->next(row); }

 private:
  PlateSize size_;
  Bytes small_;
  std::optional<simd::ResampledRows> enlarged_;
};

// Keys the frame's rows one after the other.
class Keyer {
 public:
  Keyer(const HostFrame& frame, const KALVETRA_Param& param)
      : pixels_(static_cast<std::size_t>(frame.width)), source_(frame, param.nDeBlock) {
    if (param.bSmoothBG == 0) {
      color_.emplace(param);
      return;
    }
    plate_.emplace(frame, param);
    plateKey_.emplace(param);
    plateRow_ = allocate(pixels_ * 4);
  }
  bool possible() const { return !plate_ || plate_->possible(); }
  // Row y, after row y - 1, in host order.
  void keyRow(int y, unsigned char* result) {
    const unsigned char* source = source_.row(y);
    if (plate_) {
      plate_->next(plateRow_.get());
      simd::keyAgainstPlate(*plateKey_, simd::ByteOrder::Host, source, plateRow_.get(), result, pixels_);
    } else {
      simd::keyAgainstColor(*color_, simd::ByteOrder::Host, source, result, pixels_);
    }
  }

 private:
  std::size_t pixels_;
  SourceRows source_;
  std::optional<ColorKeyGeometry> color_;
  std::optional<PlateKeyGeometry> plateKey_;
  std::optional<PlateRows> plate_;
  Bytes plateRow_;
};

bool covers(const HostFrame& frame, const KALVETRA_Param& param) {
  constexpr int kLargestSide = std::numeric_limits<std::uint16_t>::max();  // of a record
  return frame.width <= kLargestSide && frame.height <= kLargestSide && valuesInRange(param) &&
         simd::ChromaRows::possible(param.nDeBlock) &&
         simd::BoxRows::possible(frame.width, frame.height, param.nMaskBlurRadius);
}

// The whole matte at once, where a stage needs neighbours: contraction, then the edge blur on its way into the output,
// which holds the colours.
void finishPlane(const HostFrame& frame, const KALVETRA_Param& param, const MatteFinish& finish, unsigned char* matte) {
  const auto pixels = static_cast<std::size_t>(frame.width);
  const std::size_t area = pixels * static_cast<std::size_t>(frame.height);
  if (param.nContractMask != 0 && frame.width >= 3 && frame.height >= 3) {
    simd::contract(matte, frame.width, frame.height, param.nContractMask, param.nContractThreshold);
  }
  const auto matteRow = [&](int y) { return matte + static_cast<std::size_t>(y) * pixels; };
  const auto finishWith = [&](int y, const unsigned char* row) {
    simd::finishRow(finish, frame.input + y * frame.inputStride, row, frame.output + y * frame.outputStride, pixels);
  };
  if (param.nMaskBlurRadius == 0) {
    for (int y = 0; y < frame.height; ++y) finishWith(y, matteRow(y));
    return;
  }
  const Bytes inverse = allocate(area), edge = allocate(pixels), eroded = allocate(pixels);
  simd::invert(matte, inverse.get(), area);
  simd::BoxRows box(frame.width, frame.height, 1, param.nMaskBlurRadius, simd::kMaskBlurScale);
  const float amount = static_cast<float>(param.nMaskBlurValue) / 100.0f;
  for (int y = 0; y < frame.height; ++y) {
    box.average(
        y, [&](int i) { return inverse.get() + static_cast<std::size_t>(i) * pixels; }, edge.get());
    simd::erode(matteRow(y), edge.get(), eroded.get(), pixels, amount, static_cast<float>(param.nMaskBlurOffset));
    finishWith(y, eroded.get());
  }
}

}  // namespace

bool streamFrame(const HostFrame& frame, const KALVETRA_Param* param, const MatteFinish& finish) {
  const auto pixels = static_cast<std::size_t>(frame.width);
  const auto input = [&](int y) { return frame.input + y * frame.inputStride; };
  const auto output = [&](int y) { return frame.output + y * frame.outputStride; };
  if (param == nullptr) {
    for (int y = 0; y < frame.height; ++y) {
      std::memcpy(output(y), input(y), pixels * 4);
      simd::finishRow(finish, input(y), output(y), pixels);
    }
    return true;
  }
  if (!covers(frame, *param)) return false;
  Keyer keyer(frame, *param);
  if (!keyer.possible()) return false;
  const bool needsPlane = param->nContractMask != 0 || param->nMaskBlurRadius != 0;
  const Bytes matte = needsPlane ? allocate(pixels * static_cast<std::size_t>(frame.height)) : nullptr;
  for (int y = 0; y < frame.height; ++y) {
    keyer.keyRow(y, output(y));
    if (needsPlane) {
      unsigned char* row = matte.get() + static_cast<std::size_t>(y) * pixels;
      simd::takeMatte(output(y), simd::ByteOrder::Host, row, pixels);
    } else {
      simd::finishRow(finish, input(y), output(y), pixels);
    }
  }
  if (needsPlane) finishPlane(frame, *param, finish, matte.get());
  return true;
}

}  // namespace kalvetra
