#include "deep/keyed_pictures.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "deep/backdrop.h"
#include "deep/deblocked_rows.h"
#include "deep/matte_stage.h"
#include "engine/bands.h"
#include "engine/kept_shadows.h"

namespace kalvetra::deep {

HostRows::HostRows(const ConstFrame& frame, bool blueScreen, int kept)
    : frame_(frame),
      blueScreen_(blueScreen),
      kept_(kept),
      levels_(frame.format == PixelFormat::RgbaF32 ? 0 : frame.width, kept) {}

HostRow HostRows::row(int y) {
  if (frame_.format == PixelFormat::RgbaF32) return {{}, reinterpret_cast<const float*>(frame_.row(y))};
  const Row levels = levels_.row(y % kept_);
  loadRow(frame_, y, blueScreen_, levels);
  return {levels, nullptr};
}

namespace {

// A frame or one of its fields, and which rows of the frame are its own.
struct Picture {
  ConstFrame input;
  Frame output;
  int first, step;
  int inFrame(int y) const { return first + step * y; }
};

std::vector<Picture> picturesOf(const ConstFrame& input, const Frame& output, Scan scan) {
  if (scan == Scan::Whole) return {{input, output, 0, 1}};
  std::vector<Picture> fields;
  for (int i = 0; i < std::min(2, input.height); ++i) fields.push_back({fieldOf(input, i), fieldOf(output, i), i, 2});
  return fields;
}

// What a picture is keyed by: the one key colour or a plate.
struct Key {
  Key(const Picture& picture, bool blueScreen, const KALVETRA_Param& param, const KnownPlate* given,
      const Workers* workers) {
    if (param.bSmoothBG == 0) {
      color.emplace(param);
    } else {
      backdrop.emplace(picture.input, blueScreen, param, given, workers);
      plate.emplace(param);
      plateOffset = PlateKeyGeometry::kPlateOffset - backdrop->lossInBytes();
    }
  }
  std::optional<ColorKeyGeometry> color;
  std::optional<Backdrop> backdrop;
  std::optional<PlateKeyGeometry> plate;
  float plateOffset = 0.0f;  // levels
};

// Keys a picture's rows from one on, some at a time. Without a stage for the matte they are finished at once.
class BandKeyer {
 public:
  BandKeyer(const Picture& picture, const Key& key, const KALVETRA_Param& param, const Finish& finish,
            MatteStage* stage, int firstRow)
      : picture_(picture),
        key_(key),
        finish_(finish),
        stage_(stage),
        host_(picture.input, finish.blueScreen, KeyRows::kMost) {
    if (param.nDeBlock != 0) {
      deblocked_.emplace(picture.input, finish.blueScreen, param.nDeBlock, firstRow, KeyRows::kMost);
    }
    if (key.backdrop) plate_.emplace(*key.backdrop, firstRow, KeyRows::kMost);
    if (stage == nullptr && finish.noise > 0.0f) matte_.emplace(picture.input.width, KeyRows::kMost);
  }

  // Rows y..y + count - 1, after all before them; count at most kMost.
  void keyRows(int y, int count) {
    KeyRows rows{};
    rows.pixels = static_cast<std::size_t>(picture_.input.width);
    rows.count = count;
    for (int i = 0; i < count; ++i) {
      const auto at = static_cast<std::size_t>(i);
      rows.host[at] = host_.row(y + i);
      if (deblocked_) rows.deblocked[at] = deblocked_->row(y + i);
      if (plate_) rows.plate[at] = plate_->row(y + i);
      rows.result[at] = floatsOf(picture_.output, y + i);
      if (stage_ != nullptr) rows.matte[at] = stage_->row(picture_.inFrame(y + i));
      if (matte_) rows.matte[at] = matte_->row(i).red;
    }
    if (key_.color) {
      keyAgainstColor(*key_.color, finish_, rows);
    } else {
      keyAgainstPlate(*key_.plate, key_.plateOffset, finish_, rows);
    }
    if (!matte_) return;
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
      finishRow(finish_, rows.host[i], rows.plate[i], rows.matte[i], rows.result[i], rows.pixels);
    }
  }

 private:
  const Picture& picture_;
  const Key& key_;
  const Finish& finish_;
  MatteStage* stage_;
  HostRows host_;
  std::optional<DeblockedRows> deblocked_;
  std::optional<Backdrop::Rows> plate_;
  std::optional<RowBuffer> matte_;  // its red planes: where shadows are kept
};

// Finishes a picture's rows from one on, after their matte has been through its stage.
class BandFinisher {
 public:
  BandFinisher(const Picture& picture, const Key& key, const Finish& finish, int firstRow)
      : picture_(picture), finish_(finish) {
    if (finish.noise <= 0.0f) return;
    host_.emplace(picture.input, finish.blueScreen, 1);
    plate_.emplace(*key.backdrop, firstRow, 1);
  }

  void finish(int y, const float* matte) {
    finishRow(finish_, host_ ? host_->row(y) : HostRow{}, plate_ ? plate_->row(y) : ConstRow{}, matte,
              floatsOf(picture_.output, y), static_cast<std::size_t>(picture_.input.width));
  }

 private:
  const Picture& picture_;
  const Finish& finish_;
  std::optional<HostRows> host_;  // both where shadows are kept
  std::optional<Backdrop::Rows> plate_;
};

// All that keying a picture needs, allocated before the first pixel is written.
class PictureKeyer {
 public:
  PictureKeyer(const Picture& picture, const KALVETRA_Param& param, const Finish& finish, const KnownPlate* given,
               const Workers* workers, MatteStage* stage)
      : bands_(workers, picture.input.height),
        picture_(picture),
        finish_(finish),
        key_(picture, finish.blueScreen, param, given, workers) {
    for (int band = 0; band < bands_.count(); ++band) {
      keyers_.emplace_back(picture_, key_, param, finish_, stage, bands_.first(band));
      if (stage != nullptr) finishers_.emplace_back(picture_, key_, finish_, bands_.first(band));
    }
  }
  PictureKeyer(const PictureKeyer&) = delete;  // its parts know each other's places
  PictureKeyer& operator=(const PictureKeyer&) = delete;

  void key() {
    bands_.run([&](int band, int first, int end) {
      for (int y = first; y < end; y += KeyRows::kMost) {
        keyers_[static_cast<std::size_t>(band)].keyRows(y, std::min(KeyRows::kMost, end - y));
      }
    });
  }

  void finish(MatteStage& stage) {
    bands_.run([&](int band, int first, int end) {
      for (int y = first; y < end; ++y) {
        finishers_[static_cast<std::size_t>(band)].finish(y, stage.finished(picture_.inFrame(y)));
      }
    });
  }

 private:
  Bands bands_;
  Picture picture_;
  Finish finish_;
  Key key_;
  std::vector<BandKeyer> keyers_;
  std::vector<BandFinisher> finishers_;
};

}  // namespace

void keyPictures(const KALVETRA_Param& param, Finish finish, const ConstFrame& input, const Frame& output, Scan scan,
                 const KnownPlate* given, const Workers* workers) {
  finish.shadowExponent = PlateKeyGeometry(param).curve.exponent();
  finish.noise = keepsShadows(given, param) ? shadowNoise(given->noise) : 0.0f;
  const Bands bands(workers, input.height);
  std::optional<MatteStage> stage;
  if (MatteStage::isNeeded(param)) stage.emplace(input.width, input.height, param, bands);
  std::vector<std::unique_ptr<PictureKeyer>> keyers;
  for (const Picture& picture : picturesOf(input, output, scan)) {
    keyers.push_back(std::make_unique<PictureKeyer>(picture, param, finish, given, workers, stage ? &*stage : nullptr));
  }
  for (const auto& keyer : keyers) keyer->key();
  if (!stage) return;
  stage->contractAndBlur();
  for (const auto& keyer : keyers) keyer->finish(*stage);
}

}  // namespace kalvetra::deep
