#include "engine/streamed_frame.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "engine/background_plate.h"
#include "engine/bands.h"
#include "engine/pipeline.h"
#include "imaging/memory.h"
#include "imaging/simd/box_rows.h"
#include "imaging/simd/chroma_rows.h"
#include "imaging/simd/passes.h"
#include "imaging/simd/resampled_rows.h"

namespace kalvetra {

namespace {

using Bytes = std::unique_ptr<unsigned char[]>;

Bytes allocate(std::size_t bytes) { return uninitialized<unsigned char>(bytes); }

simd::ByteOrder orderOf(PixelFormat format) {
  return format == PixelFormat::Bgra8   ? simd::ByteOrder::Bgra
         : format == PixelFormat::Rgba8 ? simd::ByteOrder::Rgba
                                        : simd::ByteOrder::Argb;
}

// The frame's rows from one on, deblocked where the record asks for it.
class SourceRows {
 public:
  SourceRows(const ConstFrame& frame, int deblockRadius, int firstRow)
      : frame_(frame), rowBytes_(static_cast<std::size_t>(frame.width) * kPixelBytes) {
    if (deblockRadius == 0) return;
    blurred_.emplace(frame.data, frame.stride, orderOf(frame.format), frame.width, frame.height, deblockRadius,
                     firstRow);
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
  ConstFrame frame_;
  std::size_t rowBytes_;
  std::optional<simd::ChromaRows> blurred_;
  Bytes rows_;
};

// The background plate: one that was given, or made of the frame as it came.
class Plate {
 public:
  Plate(const ConstFrame& frame, const KALVETRA_Param& param, const KnownPlate* given, const Workers* workers)
      : frame_(frame) {
    if (given != nullptr) {
      picture_ = given->picture;
    } else if (!estimate(param, workers)) {
      return;
    }
    if (picture_.width != frame.width || picture_.height != frame.height) {
      enlarging_.emplace(picture_.width, picture_.height, frame.width, frame.height, kLanczos, kEnlargingLobes);
    }
    possible_ = !enlarging_ || enlarging_->possible();
  }
  bool possible() const { return possible_; }

  // Its rows in the frame's size and byte order, from one on.
  class Rows {
   public:
    Rows(const Plate& plate, int firstRow)
        : plate_(plate),
          order_(orderOf(plate.picture_.format)),
          wanted_(orderOf(plate.frame_.format)),
          pixels_(static_cast<std::size_t>(plate.frame_.width)) {
      if (plate.enlarging_) {
        enlarged_.emplace(*plate.enlarging_, plate.picture_.data, plate.picture_.stride, firstRow);
      }
      if (enlarged_ || order_ != wanted_) room_ = allocate(pixels_ * kPixelBytes * simd::KeyRows::kMost);
    }
    // Row y, after row y - 1; valid until kMost more were asked for.
    const unsigned char* row(int y) {
      if (!room_) return plate_.picture_.row(y);
      const std::size_t rowBytes = pixels_ * kPixelBytes;
      unsigned char* const row = room_.get() + static_cast<std::size_t>(y % simd::KeyRows::kMost) * rowBytes;
      if (enlarged_) {
        enlarged_->next(row);
      } else {
        std::memcpy(row, plate_.picture_.row(y), rowBytes);
      }
      if (order_ != wanted_) simd::reorder(row, pixels_, order_, wanted_);
      return row;
    }

   private:
    const Plate& plate_;
    simd::ByteOrder order_, wanted_;
    std::size_t pixels_;
    std::optional<simd::ResampledRows> enlarged_;  // none where the plate has the frame's size
    Bytes room_;                                   // none where its rows are taken as they are
  };

 private:
  bool estimate(const KALVETRA_Param& param, const Workers* workers) {
    const PlateSize size = plateSize(frame_.width, frame_.height);
    const simd::ResamplePlan reducing(frame_.width, frame_.height, size.width, size.height, kLanczos, kReducingLobes);
    if (!reducing.possible()) return false;
    const std::size_t area = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
    own_ = allocate(area * kPixelBytes);
    const Frame small = packedFrame(own_.get(), size.width, size.height, frame_.format);
    reduce(reducing, small, Bands(workers, size.height));
    const simd::ByteOrder order = orderOf(frame_.format);
    simd::reorder(own_.get(), area, order, simd::ByteOrder::Bgra);
    makePlate(param, own_.get(), size);
    simd::reorder(own_.get(), area, simd::ByteOrder::Bgra, order);
    picture_ = small;
    return true;
  }
  void reduce(const simd::ResamplePlan& reducing, const Frame& small, const Bands& bands) {
    std::vector<simd::ResampledRows> reduced;
    for (int band = 0; band < bands.count(); ++band) {
      reduced.emplace_back(reducing, frame_.data, frame_.stride, bands.first(band));
    }
    bands.run([&](int band, int first, int end) {
      simd::ResampledRows& rows = reduced[static_cast<std::size_t>(band)];
      for (int y = first; y < end; ++y) rows.next(small.row(y));
    });
  }

  ConstFrame frame_;
  ConstFrame picture_{};
  Bytes own_;  // of picture_, unless it was given
  std::optional<simd::ResamplePlan> enlarging_;
  bool possible_ = false;
};

// What a frame is keyed by: the one key colour or a plate.
struct Key {
  Key(const ConstFrame& frame, const KALVETRA_Param& param, const KnownPlate* given, const Workers* workers) {
    if (param.bSmoothBG == 0) {
      color.emplace(param);
      return;
    }
    plate.emplace(frame, param, given, workers);
    plateGeometry.emplace(param);
  }
  bool possible() const { return !plate || plate->possible(); }

  std::optional<ColorKeyGeometry> color;
  std::optional<Plate> plate;
  std::optional<PlateKeyGeometry> plateGeometry;
};

// Keys the frame's rows from one on, some at a time.
class BandKeyer {
 public:
  BandKeyer(const ConstFrame& input, const Frame& output, const Key& key, int deblockRadius, int firstRow)
      : output_(output),
        key_(key),
        order_(orderOf(input.format)),
        pixels_(static_cast<std::size_t>(input.width)),
        source_(input, deblockRadius, firstRow) {
    if (!key.plate) return;
    plate_.emplace(*key.plate, firstRow);
    plateColors_.emplace(pixels_);
  }
  // Rows y..y + count - 1, after all before them, into the output in the byte order of the input; count at most kMost.
  void keyRows(int y, int count) {
    simd::KeyRows rows{};
    rows.pixels = pixels_;
    rows.count = count;
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
      const int row = y + static_cast<int>(i);
      rows.source[i] = source_.row(row);
      rows.result[i] = output_.row(row);
      if (plate_) rows.plate[i] = plate_->row(row);
    }
    if (plate_) {
      simd::keyAgainstPlate(*key_.plateGeometry, order_, rows, *plateColors_);
    } else {
      simd::keyAgainstColor(*key_.color, order_, rows);
    }
  }

 private:
  Frame output_;
  const Key& key_;
  simd::ByteOrder order_;
  std::size_t pixels_;
  SourceRows source_;
  std::optional<Plate::Rows> plate_;
  std::optional<simd::PlateColors> plateColors_;
};

bool covers(const ConstFrame& frame, const KALVETRA_Param& param) {
  constexpr int kLargestSide = std::numeric_limits<std::uint16_t>::max();  // of a record
  return frame.width <= kLargestSide && frame.height <= kLargestSide && valuesInRange(param) &&
         simd::ChromaRows::possible(param.nDeBlock) &&
         simd::BoxRows::possible(frame.width, frame.height, param.nMaskBlurRadius);
}

// The last steps of the output's rows, which hold the key in the input's byte order until then.
class Finisher {
 public:
  Finisher(const ConstFrame& input, const Frame& output, const MatteFinish& finish)
      : input_(input), output_(output), finish_(finish), pixels_(static_cast<std::size_t>(input.width)) {}
  // With the output's own matte, or with one apart.
  void finish(int y, const unsigned char* matte = nullptr) const {
    const simd::ByteOrder order = orderOf(input_.format);
    unsigned char* const row = output_.row(y);
    if (matte == nullptr) {
      simd::finishRow(finish_, order, input_.row(y), row, pixels_);
    } else {
      simd::finishRow(finish_, order, input_.row(y), matte, row, pixels_);
    }
    if (output_.format != input_.format) simd::reorder(row, pixels_, order, orderOf(output_.format));
  }

 private:
  ConstFrame input_;
  Frame output_;
  const MatteFinish& finish_;
  std::size_t pixels_;
};

// The whole matte, for the stages that need neighbours: contraction, then the edge blur on its way into the output,
// which holds the colours.
class MatteStage {
 public:
  MatteStage(int width, int height, const KALVETRA_Param& param, const Bands& bands)
      : width_(width),
        height_(height),
        param_(param),
        bands_(bands),
        pixels_(static_cast<std::size_t>(width)),
        matte_(allocate(pixels_ * static_cast<std::size_t>(height))),
        scratch_(allocate(pixels_ * static_cast<std::size_t>(height))) {
    if (param.nMaskBlurRadius == 0) return;
    const simd::BoxRows box(width, height, 1, param.nMaskBlurRadius, simd::kMaskBlurScale);
    boxes_.assign(static_cast<std::size_t>(bands.count()), box);
    edges_ = allocate(pixels_ * boxes_.size());
  }
  static bool isNeeded(const KALVETRA_Param& param) { return param.nContractMask != 0 || param.nMaskBlurRadius != 0; }

  unsigned char* row(int y) { return rowOf(matte_, y); }

  void finish(const Finisher& finisher) {
    if (param_.nContractMask != 0 && width_ >= 3 && height_ >= 3) contract();
    if (!boxes_.empty()) {
      bands_.run([this](int, int first, int end) {
        simd::invert(row(first), rowOf(scratch_, first), pixels_ * static_cast<std::size_t>(end - first));
      });
    }
    bands_.run([&](int band, int first, int end) {
      for (int y = first; y < end; ++y) {
        if (!boxes_.empty()) erodeRow(static_cast<std::size_t>(band), y);
        finisher.finish(y, row(y));
      }
    });
  }

 private:
  unsigned char* rowOf(const Bytes& plane, int y) const { return plane.get() + static_cast<std::size_t>(y) * pixels_; }
  void contract() {
    const auto forRows = [this](const auto& work) {
      bands_.run([&work](int, int first, int end) { work(first, end); });
    };
    const unsigned char* contracted = simd::contract(matte_.get(), scratch_.get(), width_, height_,
                                                     param_.nContractMask, param_.nContractThreshold, false, forRows);
    if (contracted != matte_.get()) std::swap(matte_, scratch_);
  }
  void erodeRow(std::size_t band, int y) {
    const float amount = static_cast<float>(param_.nMaskBlurValue) / 100.0f;
    unsigned char* const edge = edges_.get() + band * pixels_;
    boxes_[band].average(
        y, [this](int i) { return rowOf(scratch_, i); }, edge);
    simd::erode(row(y), edge, row(y), pixels_, amount, static_cast<float>(param_.nMaskBlurOffset));
  }

  int width_, height_;
  const KALVETRA_Param& param_;
  const Bands& bands_;
  std::size_t pixels_;
  Bytes matte_, scratch_;
  std::vector<simd::BoxRows> boxes_;  // one a band, where the edge is blurred
  Bytes edges_;                       // and a row of edge each
};

}  // namespace

// Everything is allocated before the first pixel is written.
bool streamFrame(const ConstFrame& input, const Frame& output, const KALVETRA_Param* param, const KnownPlate* given,
                 const MatteFinish& finish, const Workers* workers) {
  const auto pixels = static_cast<std::size_t>(input.width);
  const Bands bands(workers, input.height);
  const Finisher finisher(input, output, finish);
  if (param == nullptr) {
    bands.run([&](int, int first, int end) {
      for (int y = first; y < end; ++y) {
        std::memcpy(output.row(y), input.row(y), pixels * kPixelBytes);
        finisher.finish(y);
      }
    });
    return true;
  }
  if (!covers(input, *param)) return false;
  const Key key(input, *param, given, workers);
  if (!key.possible()) return false;
  std::vector<BandKeyer> keyers;
  for (int band = 0; band < bands.count(); ++band) {
    keyers.emplace_back(input, output, key, param->nDeBlock, bands.first(band));
  }
  std::optional<MatteStage> matte;
  if (MatteStage::isNeeded(*param)) matte.emplace(input.width, input.height, *param, bands);
  bands.run([&](int band, int first, int end) {
    for (int block = first; block < end; block += simd::KeyRows::kMost) {
      const int blockEnd = std::min(block + simd::KeyRows::kMost, end);
      keyers[static_cast<std::size_t>(band)].keyRows(block, blockEnd - block);
      for (int y = block; y < blockEnd; ++y) {
        if (matte) {
          simd::takeMatte(output.row(y), orderOf(input.format), matte->row(y), pixels);
        } else {
          finisher.finish(y);
        }
      }
    }
  });
  if (matte) matte->finish(finisher);
  return true;
}

}  // namespace kalvetra
