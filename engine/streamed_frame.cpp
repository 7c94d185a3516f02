#include "engine/streamed_frame.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>

#include "engine/background_plate.h"
#include "engine/record_check.h"
#include "imaging/memory.h"
#include "imaging/simd/box_rows.h"
#include "imaging/simd/chroma_rows.h"
#include "imaging/simd/passes.h"
#include "imaging/simd/resampled_rows.h"

namespace kalvetra {

namespace {

using Bytes = std::unique_ptr<unsigned char[]>;

Bytes allocate(std::size_t bytes) { return uninitialized<unsigned char>(bytes); }

// The frame's rows, deblocked where the record asks for it.
class SourceRows {
 public:
  SourceRows(const ConstFrame& frame, int deblockRadius)
      : frame_(frame), rowBytes_(static_cast<std::size_t>(frame.width) * 4) {
    if (deblockRadius == 0) return;
    blurred_.emplace(frame.data, frame.stride, simd::ByteOrder::Host, frame.width, frame.height, deblockRadius);
    rows_ = std::make_unique<unsigned char[]>(rowBytes_ * simd::KeyRows::kMost);
  }
  // Row y, after row y - 1; valid until kMost more were asked for.
  const unsigned char* row(int y) {
    if (!blurred_) return frame_.row(y);
    unsigned char* row = rows_.get() + static_cast<std::size_t>(y % simd::KeyRows::kMost) * rowBytes_;
    blurred_->next(row);
    return row;
  }

 private:
  const ConstFrame frame_;
  std::size_t rowBytes_;
  std::optional<simd::ChromaRows> blurred_;
  Bytes rows_;
};

// The background plate's rows in host order, made of the frame as it came.
class PlateRows {
 public:
  PlateRows(const ConstFrame& frame, const KALVETRA_Param& param) : size_(plateSize(frame.width, frame.height)) {
    simd::ResampledRows reduced(frame.data, frame.width, frame.height, frame.stride, size_.width, size_.height,
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

// Keys the frame's rows, some at a time.
class Keyer {
 public:
  Keyer(const ConstFrame& input, const Frame& output, const KALVETRA_Param& param)
      : output_(output), pixels_(static_cast<std::size_t>(input.width)), source_(input, param.nDeBlock) {
    if (param.bSmoothBG == 0) {
      color_.emplace(param);
      return;
    }
    plate_.emplace(input, param);
    plateKey_.emplace(param);
    plateColors_.emplace(pixels_);
    plateRows_ = allocate(pixels_ * 4 * simd::KeyRows::kMost);
  }
  bool possible() const { return !plate_ || plate_->possible(); }
  // Rows y..y + count - 1, after all before them, into the output in host order; count at most kMost.
  void keyRows(int y, int count) {
    simd::KeyRows rows{};
    rows.pixels = pixels_;
    rows.count = count;
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
      const int row = y + static_cast<int>(i);
      rows.source[i] = source_.row(row);
      rows.result[i] = output_.row(row);
      if (!plate_) continue;
      plate_->next(plateRows_.get() + i * pixels_ * 4);
      rows.plate[i] = plateRows_.get() + i * pixels_ * 4;
    }
    if (plate_) {
      simd::keyAgainstPlate(*plateKey_, simd::ByteOrder::Host, rows, *plateColors_);
    } else {
      simd::keyAgainstColor(*color_, simd::ByteOrder::Host, rows);
    }
  }

 private:
  const Frame output_;
  std::size_t pixels_;
  SourceRows source_;
  std::optional<ColorKeyGeometry> color_;
  std::optional<PlateKeyGeometry> plateKey_;
  std::optional<PlateRows> plate_;
  std::optional<simd::PlateColors> plateColors_;
  Bytes plateRows_;
};

bool covers(const ConstFrame& frame, const KALVETRA_Param& param) {
  constexpr int kLargestSide = std::numeric_limits<std::uint16_t>::max();  // of a record
  return frame.width <= kLargestSide && frame.height <= kLargestSide && valuesInRange(param) &&
         simd::ChromaRows::possible(param.nDeBlock) &&
         simd::BoxRows::possible(frame.width, frame.height, param.nMaskBlurRadius);
}

// The whole matte, for the stages that need neighbours: contraction, then the edge blur on its way into the output,
// which holds the colours. Everything is allocated before the first pixel is written.
class MatteStage {
 public:
  MatteStage(const ConstFrame& input, const Frame& output, const KALVETRA_Param& param)
      : input_(input),
        output_(output),
        param_(param),
        pixels_(static_cast<std::size_t>(input.width)),
        matte_(allocate(area())),
        scratch_(allocate(area())) {
    if (param.nMaskBlurRadius == 0) return;
    box_.emplace(input.width, input.height, 1, param.nMaskBlurRadius, simd::kMaskBlurScale);
    edge_ = allocate(pixels_);
  }
  static bool isNeeded(const KALVETRA_Param& param) { return param.nContractMask != 0 || param.nMaskBlurRadius != 0; }

  unsigned char* row(int y) { return matte_.get() + static_cast<std::size_t>(y) * pixels_; }

  void finish(const MatteFinish& finish) {
    if (param_.nContractMask != 0 && input_.width >= 3 && input_.height >= 3) {
      simd::contract(matte_.get(), scratch_.get(), input_.width, input_.height, param_.nContractMask,
                     param_.nContractThreshold);
    }
    if (box_) simd::invert(matte_.get(), scratch_.get(), area());
    for (int y = 0; y < input_.height; ++y) {
      if (box_) erodeRow(y);
      simd::finishRow(finish, input_.row(y), row(y), output_.row(y), pixels_);
    }
  }

 private:
  std::size_t area() const { return pixels_ * static_cast<std::size_t>(input_.height); }
  void erodeRow(int y) {
    const float amount = static_cast<float>(param_.nMaskBlurValue) / 100.0f;
    box_->average(
        y, [&](int i) { return scratch_.get() + static_cast<std::size_t>(i) * pixels_; }, edge_.get());
    simd::erode(row(y), edge_.get(), row(y), pixels_, amount, static_cast<float>(param_.nMaskBlurOffset));
  }

  const ConstFrame input_;
  const Frame output_;
  const KALVETRA_Param& param_;
  std::size_t pixels_;
  Bytes matte_, scratch_, edge_;
  std::optional<simd::BoxRows> box_;
};

}  // namespace

bool streamFrame(const ConstFrame& input, const Frame& output, const KALVETRA_Param* param, const MatteFinish& finish) {
  const auto pixels = static_cast<std::size_t>(input.width);
  if (param == nullptr) {
    for (int y = 0; y < input.height; ++y) {
      std::memcpy(output.row(y), input.row(y), pixels * 4);
      simd::finishRow(finish, input.row(y), output.row(y), pixels);
    }
    return true;
  }
  if (!covers(input, *param)) return false;
  Keyer keyer(input, output, *param);
  if (!keyer.possible()) return false;
  std::optional<MatteStage> matte;
  if (MatteStage::isNeeded(*param)) matte.emplace(input, output, *param);
  for (int block = 0; block < input.height; block += simd::KeyRows::kMost) {
    const int end = std::min(block + simd::KeyRows::kMost, input.height);
    keyer.keyRows(block, end - block);
    for (int y = block; y < end; ++y) {
      if (matte) {
        simd::takeMatte(output.row(y), simd::ByteOrder::Host, matte->row(y), pixels);
      } else {
        simd::finishRow(finish, input.row(y), output.row(y), pixels);
      }
    }
  }
  if (matte) matte->finish(finish);
  return true;
}

}  // namespace kalvetra
