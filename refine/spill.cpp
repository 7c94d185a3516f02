#include "refine/spill.h"

#include <algorithm>
#include <array>
#include <vector>

#include "deep/rows.h"
#include "engine/bands.h"
#include "refine/colors.h"

namespace kalvetra::refine {

namespace {

using deep::RowBuffer;
using plates::Plane;
using plates::smoothStep;

// Rows of the coarse planes at the pixels of a row of the frame, linear between the cells' centres.
class CoarseRows {
 public:
  CoarseRows(const Plane& like, int width, int side) : side_(side), between_(static_cast<std::size_t>(like.width)) {
    for (int x = 0; x < width; ++x) columns_.push_back(place(x, like.width));
  }

  // Pixels first..end - 1 of row y.
  void read(const Plane& plane, int y, int first, int end, float* row) {
    const Place v = place(y, plane.height);
    const float *above = plane.row(static_cast<int>(v.low)), *below = plane.row(static_cast<int>(v.high));
    for (std::size_t x = 0; x < between_.size(); ++x) between_[x] = above[x] + (below[x] - above[x]) * v.part;
    for (int x = first; x < end; ++x) {
      const Place& h = columns_[static_cast<std::size_t>(x)];
      row[x] = between_[h.low] + (between_[h.high] - between_[h.low]) * h.part;
    }
  }

 private:
  struct Place {
    std::size_t low, high;
    float part;
  };
  Place place(int i, int size) const {
    const float at = (static_cast<float>(i) + 0.5f) / static_cast<float>(side_) - 0.5f;
    const float inside = std::clamp(at, 0.0f, static_cast<float>(size - 1));
    const int low = static_cast<int>(inside);
    return {static_cast<std::size_t>(low), static_cast<std::size_t>(std::min(low + 1, size - 1)),
            inside - static_cast<float>(low)};
  }

  int side_;
  std::vector<Place> columns_;
  std::vector<float> between_;  // the plane's row at the pixels' height
};

struct Pixel {
  Color source, screen, engine;
  float alpha;
};
struct Around {
  float amount, extra, meant, cover, sure;
  Color own, light;
};

// How much more of the screen there is in a pixel than spill, where it shows through: as the alpha is never quite right
// there, what gives it the hue of its surroundings.
float leftOver(const Color& clean, float alpha, const Around& around) {
  constexpr float kOff = 0.3f, kNoise = 6.0f, kLight = 0.7f;
  // At the edge of what is solid, too: chroma is stored coarsely.
  const float open = std::max(1.0f - alpha, 0.5f * (1.0f - around.cover));
  const float noise = kNoise / alpha, spread = kOff * open / alpha;
  const float a = noise / kLight, b = noise / std::max(spread, 1e-3f);
  const Color rest{clean[0] - around.own[0], clean[1] - around.own[1], clean[2] - around.own[2]};
  const float mm = dot(around.own, around.own) + a * a, ss = dot(around.light, around.light) + b * b;
  const float ms = dot(around.own, around.light);
  return (mm * dot(rest, around.light) - ms * dot(rest, around.own)) / std::max(mm * ss - ms * ms, 1e-3f);
}

// Takes as much of the screen's light, and leaves grey that is as bright in its place by that share: what an alpha that
// is too high takes for the subject lacks elsewhere in the composite.
Color greyed(const Color& color, float amount, const Color& light, float kept) {
  Color c = without(color, amount, light);
  constexpr float kBrightest = 100.0f;  // as composites are on the mean
  const float grey = kept * amount * std::min(luma(light), kBrightest);
  for (float& v : c) v += grey;
  return c;
}

Color bounded(const Pixel& p, const Color& clean, const Around& around, float kept) {
  const float brighter = std::clamp(luma(clean) / std::max(luma(p.engine), 8.0f), 0.5f, 2.0f);
  const float likewise = std::clamp(luma(clean) / std::max(luma(around.own), 8.0f), 0.5f, 2.0f);
  const float allowed = std::max(chromaShare(p.engine, around.light) * brighter, around.meant * likewise);
  Color color = greyed(clean, std::max(chromaShare(clean, around.light) - allowed, 0.0f), around.light, 1.0f);
  const float violet = std::max({violetExcess(p.engine), violetExcess(p.source), 0.0f});
  const float lack = std::max(violetExcess(color) - violet, 0.0f);
  color[1] += lack;
  for (float& v : color) v -= kept * 0.587f * lack;
  for (std::size_t c = 0; c < 3; ++c) {
    color[c] = std::clamp(color[c], std::min(p.source[c], 0.0f), std::max(p.source[c], 255.0f));
  }
  return color;
}

// What is hardly seen, or not explained, has its surroundings' colour, as bright as it is itself.
Color steadied(const Color& color, float alpha, const Around& around) {
  const float own = smoothStep(0.0f, 0.7f, alpha) * std::max(around.sure, smoothStep(0.5f, 0.9f, alpha));
  const float scale = std::clamp(luma(color) / std::max(luma(around.own), 4.0f), 0.5f, 1.5f);
  Color c;
  for (std::size_t i = 0; i < 3; ++i) c[i] = own * color[i] + (1.0f - own) * scale * around.own[i];
  return c;
}

Color cleanColor(const Pixel& p, const Around& around) {
  const float alpha = std::max(p.alpha, 0.02f), open = 1.0f - p.alpha;
  Color own = p.source;
  for (std::size_t c = 0; c < 3 && open > 0.0f; ++c) own[c] = (p.source[c] - open * p.screen[c]) / alpha;
  Color clean = greyed(without(own, around.amount, around.light), around.extra, around.light, 1.0f);
  if (open <= 0.0f && around.cover >= 1.0f) return bounded(p, clean, around, 0.0f);
  clean = greyed(clean, leftOver(clean, alpha, around), around.light, 1.0f);
  return bounded(p, open > 0.0f ? steadied(clean, alpha, around) : clean, around, 1.0f);
}

}  // namespace

void removeSpill(const ConstFrame& source, const deep::Backdrop& backdrop, const SpillField& field, bool blueScreen,
                 const Frame& keyed, const Workers* workers) {
  const int width = keyed.width, height = keyed.height;
  constexpr std::size_t kCoarse = 11;
  const std::array<const Plane*, kCoarse> planes{&field.amount,    &field.extra,     &field.meant,    &field.cover,
                                                 &field.sure,      &field.own[0],    &field.own[1],   &field.own[2],
                                                 &field.screen[0], &field.screen[1], &field.screen[2]};
  const Bands bands(workers, height);
  struct Memory {
    RowBuffer rows;
    deep::Backdrop::Rows screen;
    CoarseRows reader;
    std::array<std::vector<float>, kCoarse> coarse;
  };
  std::vector<Memory> memory;
  for (int band = 0; band < bands.count(); ++band) {
    memory.push_back({RowBuffer(width, 2), {backdrop, bands.first(band), 1}, {field.amount, width, field.side}, {}});
    for (auto& row : memory.back().coarse) row.resize(static_cast<std::size_t>(width));
  }
  bands.run([&](int band, int first, int end) {
    Memory& m = memory[static_cast<std::size_t>(band)];
    const deep::Row from = m.rows.row(0), key = m.rows.row(1);
    for (int y = first; y < end; ++y) {
      const deep::ConstRow bare = m.screen.row(y);
      loadRow(keyed, y, blueScreen, key);
      int left = 0, right = width;  // what is seen lies between them
      while (left < right && key.alpha[left] <= 0.0f) ++left;
      while (left < right && key.alpha[right - 1] <= 0.0f) --right;
      if (left == right) continue;
      loadRow(source, y, blueScreen, from);
      for (std::size_t i = 0; i < kCoarse; ++i) m.reader.read(*planes[i], y, left, right, m.coarse[i].data());
      auto* const out = reinterpret_cast<float*>(keyed.row(y));
      for (int x = left; x < right; ++x) {
        if (key.alpha[x] <= 0.0f || from.alpha[x] <= 0.0f) continue;
        const auto at = static_cast<std::size_t>(x);
        const Pixel pixel{{from.red[x], from.green[x], from.blue[x]},
                          {bare.red[x], bare.green[x], bare.blue[x]},
                          {key.red[x], key.green[x], key.blue[x]},
                          coverage(key.alpha[x], from.alpha[x])};
        const auto c = [&](std::size_t i) { return m.coarse[i][at]; };
        const Color clean = cleanColor(pixel, {c(0), c(1), c(2), c(3), c(4), {c(5), c(6), c(7)}, {c(8), c(9), c(10)}});
        const float scale = (keyed.premultiplied ? key.alpha[x] / 255.0f : 1.0f) / 255.0f;
        float* const to = out + 4 * x;
        to[0] = clean[0] * scale;
        to[1] = clean[blueScreen ? 2 : 1] * scale;
        to[2] = clean[blueScreen ? 1 : 2] * scale;
      }
    }
  });
}

}  // namespace kalvetra::refine
