#include "analysis/screen_model.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kalvetra {

namespace {

constexpr int kBlock = 24;                            // pixels a side
constexpr float kLeastScreen = 0.5f;                  // share of a block
constexpr float kSmoothLight = 0.86f;                 // from one block to those around it
constexpr int kDropReach = 4;                         // blocks that a sharp drop may spread over
constexpr int kLeastDrops = 3;                        // blocks at which it must be seen
constexpr float kDarkLayer = 0.85f;                   // of the light that the screen around it leads to expect
constexpr float kDimmest = 0.25f, kBrightest = 2.5f;  // of the key colour's brightness

float brightness(const Rgb& c) { return c[0] + c[1] + c[2]; }

// 1 where the picture shows the screen's paint and no other within two pixels.
Plane screenPixels(const RgbPlanes& soft, const Rgb& color) {
  Plane screen(soft[0].width, soft[0].height);
  for (std::size_t i = 0; i < screen.values.size(); ++i) {
    const Rgb c = colorAt(soft, i);
    const float ratio = brightness(c) / std::max(brightness(color), 1.0f);
    screen[i] = ratio > kDimmest && ratio < kBrightest && paintDistance(c, color) < kSamePaint ? 1.0f : 0.0f;
  }
  Plane inside = boxMean(screen, 2);
  for (float& v : inside.values) v = v > 0.9f ? 1.0f : 0.0f;
  return inside;
}

}  // namespace

RgbPlanes planesOf(const unsigned char* argb, int width, int height) {
  RgbPlanes planes{Plane(width, height), Plane(width, height), Plane(width, height)};
  for (std::size_t i = 0; i < planes[0].values.size(); ++i) {
    for (std::size_t c = 0; c < 3; ++c) planes[c][i] = argb[i * 4 + 1 + c];
  }
  return planes;
}

float paintDistance(const Rgb& a, const Rgb& b) {
  const float sumA = std::max(brightness(a), 1.0f), sumB = std::max(brightness(b), 1.0f);
  return std::hypot(a[0] / sumA - b[0] / sumB, a[2] / sumA - b[2] / sumB);
}

ScreenModel::ScreenModel(const RgbPlanes& picture, const RgbPlanes& soft, const Rgb& color)
    : columns_((picture[0].width + kBlock - 1) / kBlock),
      rows_((picture[0].height + kBlock - 1) / kBlock),
      blocks_(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_)) {
  measure(picture, screenPixels(soft, color));
  dropDarkLayers();
  judgeLight();
  continueOutwards(color);
}

void ScreenModel::measure(const RgbPlanes& picture, const Plane& screen) {
  const int width = screen.width, height = screen.height;
  std::vector<float> deviations;
  for (int by = 0; by < rows_; ++by) {
    for (int bx = 0; bx < columns_; ++bx) {
      double sums[3] = {}, squares = 0.0;
      int count = 0, area = 0;
      for (int y = by * kBlock; y < std::min(height, (by + 1) * kBlock); ++y) {
        for (int x = bx * kBlock; x < std::min(width, (bx + 1) * kBlock); ++x, ++area) {
          const std::size_t i = screen.index(x, y);
          if (screen[i] == 0.0f) continue;
          ++count;
          for (std::size_t c = 0; c < 3; ++c) {
            const double v = static_cast<double>(picture[c][i]);
            sums[c] += v;
            squares += v * v;
          }
        }
      }
      if (static_cast<float>(count) < kLeastScreen * static_cast<float>(area)) continue;
      double variance = squares / count;
      Block& found = block(bx, by);
      found.known = true;
      for (std::size_t c = 0; c < 3; ++c) {
        found.color[c] = static_cast<float>(sums[c] / count);
        variance -= sums[c] / count * (sums[c] / count);
      }
      deviations.push_back(static_cast<float>(std::sqrt(std::max(variance, 0.0) / 3.0)));
    }
  }
  if (deviations.empty()) return;
  const auto middle = deviations.begin() + static_cast<std::ptrdiff_t>(deviations.size() / 2);
  std::nth_element(deviations.begin(), middle, deviations.end());
  noise_ = *middle;
}

// Whether the light drops sharply between a block and those around it.
bool ScreenModel::isSteep(int x, int y) const {
  float darkest = brightness(block(x, y).color), brightest = darkest;
  for (int ny = std::max(y - 1, 0); ny <= std::min(y + 1, rows_ - 1); ++ny) {
    for (int nx = std::max(x - 1, 0); nx <= std::min(x + 1, columns_ - 1); ++nx) {
      if (!block(nx, ny).known) continue;
      darkest = std::min(darkest, brightness(block(nx, ny).color));
      brightest = std::max(brightest, brightness(block(nx, ny).color));
    }
  }
  return darkest < kSmoothLight * brightest;
}

// Numbers the regions of known blocks between which the light drops sharply, from 0 on; -1 for all other blocks.
std::vector<int> ScreenModel::smoothRegions() const {
  std::vector<int> region(blocks_.size(), -1);
  const auto isOpen = [&](int x, int y) {
    return x >= 0 && y >= 0 && x < columns_ && y < rows_ && block(x, y).known && !isSteep(x, y) &&
           region[static_cast<std::size_t>(y * columns_ + x)] < 0;
  };
  int regions = 0;
  for (int y = 0; y < rows_; ++y) {
    for (int x = 0; x < columns_; ++x) {
      std::vector<std::pair<int, int>> open{{x, y}};
      const int number = regions;
      while (!open.empty()) {
        const auto [px, py] = open.back();
        open.pop_back();
        if (!isOpen(px, py)) continue;
        regions = number + 1;
        region[static_cast<std::size_t>(py * columns_ + px)] = number;
        open.insert(open.end(), {{px - 1, py}, {px + 1, py}, {px, py - 1}, {px, py + 1}});
      }
    }
  }
  return region;
}

// Whether a sharp drop of light is seen on the way from a block of the largest region down to (x, y): nothing but known
// blocks lie between the two.
bool ScreenModel::liesBelowDrop(int x, int y, const std::vector<int>& region, int largest) const {
  for (const auto& [dx, dy] : {std::pair{1, 0}, {-1, 0}, {0, 1}, {0, -1}}) {
    for (int step = 1; step <= kDropReach; ++step) {
      const int nx = x + step * dx, ny = y + step * dy;
      if (nx < 0 || ny < 0 || nx >= columns_ || ny >= rows_ || !block(nx, ny).known) break;
      if (region[static_cast<std::size_t>(ny * columns_ + nx)] != largest) continue;
      if (brightness(block(x, y).color) < kDarkLayer * brightness(block(nx, ny).color)) return true;
      break;
    }
  }
  return false;
}

// A part of the screen that is set off by a sharp drop of light has something dark and thin in front of it: the
// screen behind that is continued from around it. A part that is merely elsewhere, and darker, is screen.
void ScreenModel::dropDarkLayers() {
  const std::vector<int> region = smoothRegions();
  std::vector<int> sizes(blocks_.size() + 1, 0), drops = sizes;
  for (const int r : region) {
    if (r >= 0) ++sizes[static_cast<std::size_t>(r)];
  }
  const auto largest = static_cast<int>(std::max_element(sizes.begin(), sizes.end()) - sizes.begin());
  const auto regionAt = [&](int x, int y) { return region[static_cast<std::size_t>(y * columns_ + x)]; };
  for (int y = 0; y < rows_; ++y) {
    for (int x = 0; x < columns_; ++x) {
      const int r = regionAt(x, y);
      if (r >= 0 && r != largest && liesBelowDrop(x, y, region, largest)) ++drops[static_cast<std::size_t>(r)];
    }
  }
  const auto isDark = [&](int x, int y) {
    return regionAt(x, y) >= 0 && drops[static_cast<std::size_t>(regionAt(x, y))] >= kLeastDrops;
  };
  const auto isBorder = [&](int x, int y) {  // of something dark
    if (regionAt(x, y) >= 0) return false;
    if (block(x, y).known && liesBelowDrop(x, y, region, largest)) return true;
    for (int ny = std::max(y - 2, 0); ny <= std::min(y + 2, rows_ - 1); ++ny) {
      for (int nx = std::max(x - 2, 0); nx <= std::min(x + 2, columns_ - 1); ++nx) {
        if (isDark(nx, ny)) return true;
      }
    }
    return false;
  };
  for (int y = 0; y < rows_; ++y) {
    for (int x = 0; x < columns_; ++x) {
      if (isDark(x, y) || isBorder(x, y)) block(x, y).known = false;
    }
  }
}

void ScreenModel::judgeLight() {
  std::vector<float> lights;
  for (const Block& b : blocks_) {
    if (b.known) lights.push_back(0.299f * b.color[0] + 0.587f * b.color[1] + 0.114f * b.color[2]);
  }
  if (lights.empty()) return;
  std::sort(lights.begin(), lights.end());
  const float darkest = lights[lights.size() / 20], brightest = lights[lights.size() - 1 - lights.size() / 20];
  unevenness_ = 100.0f * (brightest - darkest) / std::max(brightest, 1.0f);
}

// Mean of the known blocks around one.
Rgb ScreenModel::neighbourMean(int x, int y, bool& any) const {
  Rgb sum{};
  float count = 0.0f;
  for (int ny = std::max(y - 1, 0); ny <= std::min(y + 1, rows_ - 1); ++ny) {
    for (int nx = std::max(x - 1, 0); nx <= std::min(x + 1, columns_ - 1); ++nx) {
      if (!block(nx, ny).known) continue;
      count += 1.0f;
      for (std::size_t c = 0; c < 3; ++c) sum[c] += block(nx, ny).color[c];
    }
  }
  any = count > 0.0f;
  for (float& v : sum) v /= std::max(count, 1.0f);
  return sum;
}

void ScreenModel::continueOutwards(const Rgb& color) {
  if (std::none_of(blocks_.begin(), blocks_.end(), [](const Block& b) { return b.known; })) {
    for (Block& b : blocks_) b = {color, true};
  }
  for (bool missing = true; missing;) {
    missing = false;
    std::vector<Block> next = blocks_;
    for (int y = 0; y < rows_; ++y) {
      for (int x = 0; x < columns_; ++x) {
        if (block(x, y).known) continue;
        Block& grown = next[static_cast<std::size_t>(y * columns_ + x)];
        grown.color = neighbourMean(x, y, grown.known);
        missing = missing || !grown.known;
      }
    }
    blocks_ = std::move(next);
  }
}

Rgb ScreenModel::at(int x, int y) const {
  const float fx = std::clamp((static_cast<float>(x) + 0.5f) / kBlock - 0.5f, 0.0f, static_cast<float>(columns_ - 1));
  const float fy = std::clamp((static_cast<float>(y) + 0.5f) / kBlock - 0.5f, 0.0f, static_cast<float>(rows_ - 1));
  const int left = static_cast<int>(fx), top = static_cast<int>(fy);
  const int right = std::min(left + 1, columns_ - 1), bottom = std::min(top + 1, rows_ - 1);
  const float dx = fx - static_cast<float>(left), dy = fy - static_cast<float>(top);
  Rgb color{};
  for (std::size_t c = 0; c < 3; ++c) {
    const float upper = (1 - dx) * block(left, top).color[c] + dx * block(right, top).color[c];
    const float lower = (1 - dx) * block(left, bottom).color[c] + dx * block(right, bottom).color[c];
    color[c] = (1 - dy) * upper + dy * lower;
  }
  return color;
}

}  // namespace kalvetra
