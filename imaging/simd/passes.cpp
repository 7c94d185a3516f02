#include "imaging/simd/passes.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "imaging/memory.h"
#include "imaging/simd/box_rows.h"
#include "imaging/simd/chroma_rows.h"
#include "imaging/simd/resampled_rows.h"

namespace kalvetra::simd {

namespace {

using Bytes = std::unique_ptr<unsigned char[]>;

Bytes allocate(std::size_t bytes) { return uninitialized<unsigned char>(bytes); }

std::size_t area(int width, int height) { return static_cast<std::size_t>(width) * static_cast<std::size_t>(height); }

}  // namespace

bool resample(const Pixels& source, const Pixels& result, int filter, int lobes) {
  const ResamplePlan plan(source.width, source.height, result.width, result.height, filter, lobes);
  if (!plan.possible()) return false;
  ResampledRows rows(plan, source.data, source.stride);
  const std::size_t bytes = static_cast<std::size_t>(result.width) * 4;
  const Bytes row = allocate(bytes);
  for (int y = 0; y < result.height; ++y) {
    unsigned char* out = result.data + y * result.stride;
    rows.next(row.get());
    for (std::size_t i = 0; i < bytes; i += 4) std::memcpy(out + i, row.get() + i, 3);
  }
  return true;
}

bool chromaBlur(unsigned char* image, int width, int height, int radius) {
  if (!ChromaRows::possible(radius)) return false;
  ChromaRows rows(image, std::ptrdiff_t{4} * width, ByteOrder::Bgra, width, height, radius);
  for (int y = 0; y < height; ++y) rows.next(image + area(width, y) * 4);
  return true;
}

bool averageBlur(const Pixels& image, int radius) {
  if (!BoxRows::possible(image.width, image.height, radius)) return false;
  BoxRows box(image.width, image.height, 4, radius, {0.0f, 1.0f, 0.5f});
  const std::size_t rowBytes = static_cast<std::size_t>(image.width) * 4;
  const Bytes result = allocate(rowBytes * static_cast<std::size_t>(image.height));
  const auto rowAt = [&image](int y) { return image.data + y * image.stride; };
  for (int y = 0; y < image.height; ++y) box.average(y, rowAt, result.get() + static_cast<std::size_t>(y) * rowBytes);
  for (int y = 0; y < image.height; ++y) {
    std::memcpy(rowAt(y), result.get() + static_cast<std::size_t>(y) * rowBytes, rowBytes);
    std::fill(rowAt(y) + rowBytes, rowAt(y) + image.stride, static_cast<unsigned char>(0));
  }
  return true;
}

bool averageBlur(const unsigned char* plane, unsigned char* result, int width, int height, int radius, float gain) {
  if (!BoxRows::possible(width, height, radius)) return false;
  BoxRows box(width, height, 1, radius, {0.0f, gain, 0.0f});
  const auto rowAt = [&](int y) { return plane + area(width, y); };
  for (int y = 0; y < height; ++y) box.average(y, rowAt, result + area(width, y));
  return true;
}

bool maskBlur(unsigned char* image, int width, int height, int radius, float amount, int offset) {
  if (offset < 0 || !BoxRows::possible(width, height, radius)) return false;
  const std::size_t pixels = area(width, height), w = static_cast<std::size_t>(width);
  const Bytes inverse = allocate(pixels), edge = allocate(w), matte = allocate(w);
  takeMatte(image, ByteOrder::Bgra, inverse.get(), pixels);
  invert(inverse.get(), inverse.get(), pixels);
  BoxRows box(width, height, 1, radius, kMaskBlurScale);
  const auto rowAt = [&](int y) { return inverse.get() + area(width, y); };
  for (int y = 0; y < height; ++y) {
    box.average(y, rowAt, edge.get());
    invert(rowAt(y), matte.get(), w);
    erode(matte.get(), edge.get(), matte.get(), w, amount, static_cast<float>(offset));
    putMatte(matte.get(), image + area(width, y) * 4, w);
  }
  return true;
}

bool contractRows(const unsigned char* plane, unsigned char* result, int width, int height, int firstRow, int endRow,
                  int slack, bool square) {
  const auto w = static_cast<std::size_t>(width);
  bool changed = false;
  for (int y = firstRow; y < endRow; ++y) {
    const unsigned char* row = plane + area(width, y);
    unsigned char* out = result + area(width, y);
    if (y == 0 || y == height - 1) {
      std::memcpy(out, row, w);
      continue;
    }
    out[0] = row[0];
    out[w - 1] = row[w - 1];
    changed = contractRow(row - w, row, row + w, out, w, slack, square) || changed;
  }
  return changed;
}

bool contractMatte(unsigned char* image, int width, int height, int steps, int slack, bool squareFirst) {
  if (slack < 0 || slack > 255 || width < 3 || height < 3) return false;
  const std::size_t pixels = area(width, height);
  const Bytes plane = allocate(pixels), scratch = allocate(pixels);
  takeMatte(image, ByteOrder::Bgra, plane.get(), pixels);
  const auto allRows = [height](const auto& work) { work(0, height); };
  putMatte(contract(plane.get(), scratch.get(), width, height, steps, slack, squareFirst, allRows), image, pixels);
  return true;
}

bool findEdges(const Pixels& source, unsigned char* result, std::ptrdiff_t resultStride, int threshold) {
  if (source.width < 3 || source.height < 3) return false;
  const auto w = static_cast<std::size_t>(source.width);
  const auto rowAt = [&source](int y) { return source.data + y * source.stride; };
  // With a pixel more on either side: the second before the first, and the last once more.
  const Bytes padded = allocate((w + 2) * 4 * 3);
  const Bytes marks = allocate(w + 2);
  const auto pad = [&](int y, std::size_t slot) {
    unsigned char* line = padded.get() + slot * (w + 2) * 4;
    const int row = y < 0 ? 1 : std::min(y, source.height - 1);
    std::memcpy(line, rowAt(row) + 4, 4);
    std::memcpy(line + 4, rowAt(row), w * 4);
    std::memcpy(line + 4 + w * 4, rowAt(row) + (w - 1) * 4, 4);
    return line;
  };
  const unsigned char *above = pad(-1, 0), *row = pad(0, 1);
  for (int y = 0; y < source.height; ++y) {
    const unsigned char* below = pad(y + 1, static_cast<std::size_t>(y + 2) % 3);
    markEdges(above, row, below, marks.get(), w + 2, threshold);
    std::memcpy(result + y * resultStride, marks.get() + 1, w);
    above = row;
    row = below;
  }
  return true;
}

}  // namespace kalvetra::simd
