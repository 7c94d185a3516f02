#include "engine/streamed_frame.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "engine/bands.h"
#include "engine/kept_shadows.h"
#include "engine/pipeline.h"
#include "engine/streamed_plate.h"
#include "imaging/memory.h"
#include "imaging/simd/box_rows.h"
#include "imaging/simd/chroma_rows.h"
#include "imaging/simd/passes.h"

namespace kalvetra {

namespace {

using Bytes = std::unique_ptr<unsigned char[]>;

Bytes allocate(std::size_t bytes) { return uninitialized<unsigned char>(bytes); }

// The frame's rows from one on, deblocked where the record asks for it.
class SourceRows {
 public:
  SourceRows(const ConstFrame& frame, simd::ByteOrder order, int deblockRadius, int firstRow)
      : frame_(frame), rowBytes_(static_cast<std::size_t>(frame.width) * kPixelBytes) {
    if (deblockRadius == 0) return;
    blurred_.emplace(frame.data, frame.stride, order, frame.width, frame.height, deblockRadius, firstRow);
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

// What a frame is keyed by: the one key colour or a plate.
struct Key {
  Key(const ConstFrame& frame, const StreamedKey& how, const Workers* workers)
      : order(orderOf(frame.format, how.blueScreen)) {
    const KALVETRA_Param& param = *how.param;
    if (param.bSmoothBG == 0) {
      color.emplace(param);
      return;
    }
    plate.emplace(frame, how.blueScreen, param, how.given, workers);
    plateGeometry.emplace(param);
  }
  bool possible() const { return !plate || plate->possible(); }

  simd::ByteOrder order;  // of the frame, as it is keyed
  std::optional<ColorKeyGeometry> color;
  std::optional<StreamedPlate> plate;
  std::optional<PlateKeyGeometry> plateGeometry;
};

// Keys the frame's rows from one on, some at a time.
class BandKeyer {
 public:
  BandKeyer(const ConstFrame& input, const Frame& output, const Key& key, int deblockRadius, int firstRow)
      : output_(output),
        key_(key),
        pixels_(static_cast<std::size_t>(input.width)),
        source_(input, key.order, deblockRadius, firstRow) {
    if (!key.plate) return;
    plate_.emplace(*key.plate, firstRow, simd::KeyRows::kMost);
    plateColors_.emplace(pixels_);
  }
  // The plate's row of the frame's row y, which was among those keyed last; null where the key is one colour.
  const unsigned char* plateRow(int y) const { return plateRows_[static_cast<std::size_t>(y % simd::KeyRows::kMost)]; }
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
      plateRows_[static_cast<std::size_t>(row % simd::KeyRows::kMost)] = rows.plate[i];
    }
    if (plate_) {
      simd::keyAgainstPlate(*key_.plateGeometry, key_.order, rows, *plateColors_);
    } else {
      simd::keyAgainstColor(*key_.color, key_.order, rows);
    }
  }

 private:
  Frame output_;
  const Key& key_;
  std::size_t pixels_;
  SourceRows source_;
  std::optional<StreamedPlate::Rows> plate_;
  std::optional<simd::PlateColors> plateColors_;
  std::array<const unsigned char*, simd::KeyRows::kMost> plateRows_{};
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
  Finisher(const ConstFrame& input, const Frame& output, const StreamedKey& how, const MatteFinish& finish)
      : input_(input), output_(output), finish_(finish), pixels_(static_cast<std::size_t>(input.width)) {
    if (how.param == nullptr || !keepsShadows(how.given, *how.param)) return;
    shadows_.emplace(*how.param, how.given->noise, finish.matteView, input.format, how.blueScreen);
  }
  bool needsPlate() const { return shadows_.has_value(); }
  // With the output's own matte, or with one apart. `plate`: the plate's row, where needed.
  void finish(int y, const unsigned char* plate, const unsigned char* matte = nullptr) const {
    const simd::ByteOrder order = orderOf(input_.format, false);
    unsigned char* const row = output_.row(y);
    if (matte == nullptr) {
      simd::finishRow(finish_, order, input_.row(y), row, pixels_);
    } else {
      simd::finishRow(finish_, order, input_.row(y), matte, row, pixels_);
    }
    if (shadows_) shadows_->keep(input_.row(y), plate, row, pixels_);
    if (output_.format != input_.format) simd::reorder(row, pixels_, order, orderOf(output_.format, false));
  }

 private:
  ConstFrame input_;
  Frame output_;
  const MatteFinish& finish_;
  std::size_t pixels_;
  std::optional<KeptShadows> shadows_;
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

  // `plates`: the plate's rows of each band, where the finisher needs them.
  void finish(const Finisher& finisher, std::vector<StreamedPlate::Rows>& plates) {
    if (param_.nContractMask != 0 && width_ >= 3 && height_ >= 3) contract();
    if (!boxes_.empty()) {
      bands_.run([this](int, int first, int end) {
        simd::invert(row(first), rowOf(scratch_, first), pixels_ * static_cast<std::size_t>(end - first));
      });
    }
    bands_.run([&](int band, int first, int end) {
      for (int y = first; y < end; ++y) {
        if (!boxes_.empty()) erodeRow(static_cast<std::size_t>(band), y);
        finisher.finish(y, plates.empty() ? nullptr : plates[static_cast<std::size_t>(band)].row(y), row(y));
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
bool streamFrame(const ConstFrame& input, const Frame& output, const StreamedKey& how, const MatteFinish& finish,
                 const Workers* workers) {
  const KALVETRA_Param* const param = how.param;
  const auto pixels = static_cast<std::size_t>(input.width);
  const Bands bands(workers, input.height);
  const Finisher finisher(input, output, how, finish);
  if (param == nullptr) {
    bands.run([&](int, int first, int end) {
      for (int y = first; y < end; ++y) {
        std::memcpy(output.row(y), input.row(y), pixels * kPixelBytes);
        finisher.finish(y, nullptr);
      }
    });
    return true;
  }
  if (!covers(input, *param)) return false;
  const Key key(input, how, workers);
  if (!key.possible()) return false;
  std::vector<BandKeyer> keyers;
  for (int band = 0; band < bands.count(); ++band) {
    keyers.emplace_back(input, output, key, param->nDeBlock, bands.first(band));
  }
  std::optional<MatteStage> matte;
  if (MatteStage::isNeeded(*param)) matte.emplace(input.width, input.height, *param, bands);
  std::vector<StreamedPlate::Rows> plates;
  for (int band = 0; matte && finisher.needsPlate() && band < bands.count(); ++band) {
    plates.emplace_back(*key.plate, bands.first(band), 1);
  }
  bands.run([&](int band, int first, int end) {
    BandKeyer& keyer = keyers[static_cast<std::size_t>(band)];
    for (int block = first; block < end; block += simd::KeyRows::kMost) {
      const int blockEnd = std::min(block + simd::KeyRows::kMost, end);
      keyer.keyRows(block, blockEnd - block);
      for (int y = block; y < blockEnd; ++y) {
        if (matte) {
          simd::takeMatte(output.row(y), key.order, matte->row(y), pixels);
        } else {
          finisher.finish(y, keyer.plateRow(y));
        }
      }
    }
  });
  if (matte) matte->finish(finisher, plates);
  return true;
}

}  // namespace kalvetra
