#include "engine/streamed_plate.h"

#include <cstring>
#include <vector>

#include "engine/background_plate.h"
#include "engine/simd/kernels.h"
#include "imaging/memory.h"

namespace kalvetra {

simd::ByteOrder orderOf(PixelFormat format, bool blueScreen) {
  const simd::ByteOrder order = format == PixelFormat::Bgra8   ? simd::ByteOrder::Bgra
                                : format == PixelFormat::Rgba8 ? simd::ByteOrder::Rgba
                                                               : simd::ByteOrder::Argb;
  return blueScreen ? forBlueScreen(order) : order;
}

StreamedPlate::StreamedPlate(const ConstFrame& frame, bool blueScreen, const KALVETRA_Param& param,
                             const KnownPlate* given, const Workers* workers)
    : frame_(frame), blueScreen_(blueScreen) {
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

bool StreamedPlate::estimate(const KALVETRA_Param& param, const Workers* workers) {
  const PlateSize size = plateSize(frame_.width, frame_.height);
  const simd::ResamplePlan reducing(frame_.width, frame_.height, size.width, size.height, kLanczos, kReducingLobes);
  if (!reducing.possible()) return false;
  const std::size_t area = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
  own_ = uninitialized<unsigned char>(area * kPixelBytes);
  const Frame small = packedFrame(own_.get(), size.width, size.height, frame_.format);
  reduce(reducing, small, Bands(workers, size.height));
  const simd::ByteOrder order = orderOf(frame_.format, blueScreen_);
  simd::reorder(own_.get(), area, order, simd::ByteOrder::Bgra);
  makePlate(param, own_.get(), size);
  simd::reorder(own_.get(), area, simd::ByteOrder::Bgra, order);
  picture_ = small;
  return true;
}

void StreamedPlate::reduce(const simd::ResamplePlan& reducing, const Frame& small, const Bands& bands) const {
  std::vector<simd::ResampledRows> reduced;
  for (int band = 0; band < bands.count(); ++band) {
    reduced.emplace_back(reducing, frame_.data, frame_.stride, bands.first(band));
  }
  bands.run([&](int band, int first, int end) {
    simd::ResampledRows& rows = reduced[static_cast<std::size_t>(band)];
    for (int y = first; y < end; ++y) rows.next(small.row(y));
  });
}

StreamedPlate::Rows::Rows(const StreamedPlate& plate, int firstRow, int kept)
    : plate_(plate),
      kept_(kept),
      order_(orderOf(plate.picture_.format, false)),
      wanted_(orderOf(plate.frame_.format, false)),
      pixels_(static_cast<std::size_t>(plate.frame_.width)) {
  if (plate.enlarging_) enlarged_.emplace(*plate.enlarging_, plate.picture_.data, plate.picture_.stride, firstRow);
  if (!enlarged_ && order_ == wanted_) return;
  room_ = uninitialized<unsigned char>(pixels_ * kPixelBytes * static_cast<std::size_t>(kept));
}

const unsigned char* StreamedPlate::Rows::row(int y) {
  if (!room_) return plate_.picture_.row(y);
  const std::size_t rowBytes = pixels_ * kPixelBytes;
  unsigned char* const row = room_.get() + static_cast<std::size_t>(y % kept_) * rowBytes;
  if (enlarged_) {
    enlarged_->next(row);
  } else {
    std::memcpy(row, plate_.picture_.row(y), rowBytes);
  }
  if (order_ != wanted_) simd::reorder(row, pixels_, order_, wanted_);
  return row;
}

}  // namespace kalvetra
