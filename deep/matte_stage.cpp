#include "deep/matte_stage.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "deep/matte_kernels.h"
#include "deep/rows.h"
#include "imaging/memory.h"

namespace kalvetra::deep {

namespace {

constexpr std::size_t kMargin = RowBuffer::kWholeVectors;  // before the first row and after the last
constexpr float kMostMatte = 256.0f;

}  // namespace

MatteStage::MatteStage(int width, int height, const KALVETRA_Param& param, const Bands& bands)
    : width_(width),
      height_(height),
      param_(param),
      bands_(bands),
      stride_(RowBuffer::room(width)),
      matte_(plane()),
      scratch_(plane()),
      changed_(static_cast<std::size_t>(bands.count())) {
  if (param.nMaskBlurRadius == 0) return;
  boxes_.assign(static_cast<std::size_t>(bands.count()), BoxAverages(width, height, param.nMaskBlurRadius, kMostMatte));
  for (int band = 0; band < bands.count(); ++band) edges_.emplace_back(width, 1);
}

// What lies around the picture is read with its borders, and is zeros.
MatteStage::Plane MatteStage::plane() const {
  const std::size_t floats = stride_ * static_cast<std::size_t>(height_) + 3 * kMargin;
  Plane memory = uninitialized<float>(floats);
  for (int y = 0; y < height_; ++y) std::fill(rowOf(memory, y) + width_, rowOf(memory, y) + stride_, 0.0f);
  std::fill(memory.get(), rowOf(memory, 0), 0.0f);
  std::fill(rowOf(memory, height_), memory.get() + floats, 0.0f);
  return memory;
}

float* MatteStage::rowOf(const Plane& plane, int y) const {
  constexpr std::uintptr_t kAlignment = kMargin * sizeof(float);
  float* const first = plane.get() + kMargin;
  const std::uintptr_t off = reinterpret_cast<std::uintptr_t>(first) % kAlignment;
  return first + (kAlignment - off) % kAlignment / sizeof(float) + stride_ * static_cast<std::size_t>(y);
}

void MatteStage::contractAndBlur() {
  if (param_.nContractMask != 0 && width_ >= 3 && height_ >= 3) contract();
  if (!boxes_.empty()) blur();
}

// The first and the last row stay, as do the columns. Once neither kind of step changes anything, no further one will:
// step counts may be absurdly large.
void MatteStage::contract() {
  const auto width = static_cast<std::size_t>(width_);
  const auto slack = static_cast<float>(param_.nContractThreshold);
  int idleSteps = 0;
  for (int step = 0; step < param_.nContractMask && idleSteps < 2; ++step) {
    const bool square = step % 2 != 0;
    bands_.run([&](int band, int first, int end) {
      bool any = false;
      for (int y = first; y < end; ++y) {
        float *const row = rowOf(matte_, y), *const result = rowOf(scratch_, y);
        if (y == 0 || y == height_ - 1) {
          std::copy_n(row, stride_, result);
        } else {
          any |= contractRow(row - stride_, row, row + stride_, result, width, slack, square);
        }
      }
      changed_[static_cast<std::size_t>(band)] = any ? 1 : 0;
    });
    std::swap(matte_, scratch_);
    const bool any = std::find(changed_.begin(), changed_.end(), 1) != changed_.end();
    idleSteps = any ? 0 : idleSteps + 1;
  }
}

void MatteStage::blur() {
  bands_.run([this](int, int first, int end) {
    invert(rowOf(matte_, first), rowOf(scratch_, first), stride_ * static_cast<std::size_t>(end - first));
  });
  const Erosion erosion{static_cast<float>(param_.nMaskBlurValue) / 100.0f, static_cast<float>(param_.nMaskBlurOffset)};
  bands_.run([&](int band, int first, int end) {
    float* const edge = edges_[static_cast<std::size_t>(band)].row(0).red;
    for (int y = first; y < end; ++y) {
      boxes_[static_cast<std::size_t>(band)].average(
          y, [this](int i) { return rowOf(scratch_, i); }, edge);
      erode(erosion, edge, rowOf(matte_, y), stride_);
    }
  });
}

}  // namespace kalvetra::deep
