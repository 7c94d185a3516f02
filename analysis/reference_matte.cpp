#include "analysis/reference_matte.h"

#include <algorithm>
#include <cmath>

#include "analysis/mixture.h"

namespace kalvetra {

namespace {

constexpr std::size_t kMostTargets = 8000;  // of one region
constexpr int kEdge = 6;                    // pixels: what lies nearer to an outline than this belongs to the edge
constexpr int kReach = 28;                  // pixels in which a core colours its edge
constexpr int kSlopeReach = 6;              // pixels over which a ramp from subject to screen shows
constexpr float kRamp = 0.08f;              // change of greenness on that way
constexpr float kNeutral = 0.15f;           // greenness up to which a colour holds no screen
constexpr float kOffAxis = 15.0f;   // chroma units: farther from the line between screen and grey is no pale screen
constexpr float kGlassy = 0.75f;    // greener than this is no solid thing
constexpr int kPaintReach = 60;     // pixels over which a region's paint is compared
constexpr float kOnePaint = 0.01f;  // standard deviation of green's share in the sum of a colour
constexpr float kLeastPaleArea = 0.001f;  // of the picture, to be worth that
constexpr float kLeastContrast = 40.0f;   // between subject and screen, for a mixture to be read off
constexpr float kMostResidual = 20.0f;    // that a mixture leaves unexplained
constexpr float kRimLight = 1.06f;        // by which the screen's light on a rim makes it look too thin
constexpr float kBrightestVeil = 275.0f;  // a level above white leaves room for noise

RgbPlanes blurred(const RgbPlanes& planes, int radius) {
  return {boxMean(planes[0], radius), boxMean(planes[1], radius), boxMean(planes[2], radius)};
}

class Builder {
 public:
  Builder(const unsigned char* argb, const unsigned char* backdrop, int width, int height, float noise)
      : width_(width),
        height_(height),
        noise_(noise),
        picture_(planesOf(argb, width, height)),
        soft_(blurred(picture_, 1)),
        screen_(planesOf(backdrop, width, height)) {}

  ReferenceMatte build();

 private:
  std::size_t size() const { return picture_[0].values.size(); }
  void markScreen();
  void markSolid();
  void judgePaleRegions();
  void takeCoreColors();
  bool rises(int x, int y) const;
  bool target(int x, int y, Target& result) const;
  bool edgeTarget(int x, int y, Target& result) const;
  bool veilTarget(int x, int y, Target& result) const;
  bool shadeTarget(int x, int y, Target& result) const;
  Target coreTarget(std::size_t i) const;
  float unevenness() const;

  int width_, height_;
  float noise_;
  RgbPlanes picture_, soft_, screen_;
  Plane foreign_;    // 1 where the pixel is not bare screen
  Plane shade_;      // 1 where it is the screen under other light
  Plane toForeign_;  // distance to what is not bare screen
  Plane green_;      // Sight::green of the softened picture
  Plane across_;
  Plane thin_;           // 1 where nothing solid is
  Plane depth_;          // distance to that
  RgbPlanes coreColor_;  // of the core around a pixel, its inner pixels counting most
  RgbPlanes calm_;       // the picture under a larger blur
  Plane coreWeight_;
  Plane pale_;  // 1 where something lets the screen through
};

void Builder::markScreen() {
  foreign_ = Plane(width_, height_);
  shade_ = green_ = across_ = foreign_;
  const float tolerance = 6.0f + 1.5f * noise_;
  for (int y = 0; y < height_; ++y) {
    for (int x = 0; x < width_; ++x) {
      const std::size_t i = foreign_.index(x, y);
      const Rgb c = colorAt(soft_, i), s = colorAt(screen_, i);
      foreign_[i] = length(c - s) > tolerance ? 1.0f : 0.0f;
      shade_[i] = foreign_[i] != 0.0f && paintDistance(c, s) < kSamePaint && luma(c) > 0.3f * luma(s) ? 1.0f : 0.0f;
      const Sight seen = look(c, s);
      green_[i] = seen.green;
      across_[i] = seen.across;
    }
  }
  const Plane crowd = boxMean(foreign_, 1);  // lone pixels are noise
  for (std::size_t i = 0; i < size(); ++i) foreign_[i] = crowd[i] > 0.5f ? 1.0f : 0.0f;
  toForeign_ = distanceToSet(foreign_);
}

bool Builder::rises(int x, int y) const {
  const auto at = [&](int px, int py) {
    return green_[green_.index(std::clamp(px, 0, width_ - 1), std::clamp(py, 0, height_ - 1))];
  };
  return std::abs(at(x + kSlopeReach, y) - at(x - kSlopeReach, y)) > kRamp ||
         std::abs(at(x, y + kSlopeReach) - at(x, y - kSlopeReach)) > kRamp;
}

// Green is smoothed before slopes are taken.
void Builder::markSolid() {
  green_ = boxMean(green_, 2);
  thin_ = Plane(width_, height_, 1.0f);
  for (int y = 0; y < height_; ++y) {
    for (int x = 0; x < width_; ++x) {
      const std::size_t i = thin_.index(x, y);
      if (foreign_[i] == 0.0f || shade_[i] != 0.0f) continue;
      if (green_[i] < kNeutral || !rises(x, y)) thin_[i] = 0.0f;
    }
  }
  const Plane crowd = boxMean(thin_, 1);
  for (std::size_t i = 0; i < size(); ++i) thin_[i] = crowd[i] > 0.5f ? 1.0f : 0.0f;
  depth_ = distanceToSet(thin_);
}

// A region of the screen's own hue, only paler, is taken for a solid thing where it is of one paint, however lit: what
// lets the screen through does so more here and less there.
void Builder::judgePaleRegions() {
  pale_ = Plane(width_, height_);
  Plane share = pale_, square = pale_;
  float area = 0.0f;
  for (std::size_t i = 0; i < size(); ++i) {
    const Rgb c = colorAt(calm_, i);
    if (depth_[i] <= kEdge || green_[i] < kNeutral || std::abs(across_[i]) >= kOffAxis) continue;
    pale_[i] = 1.0f;
    area += 1.0f;
    share[i] = c[1] / std::max(c[0] + c[1] + c[2], 1.0f);
    square[i] = share[i] * share[i];
  }
  if (area < kLeastPaleArea * static_cast<float>(size())) return;
  const Plane count = boxMean(pale_, kPaintReach);
  share = boxMean(share, kPaintReach);
  square = boxMean(square, kPaintReach);
  for (std::size_t i = 0; i < size(); ++i) {
    if (pale_[i] == 0.0f || green_[i] > kGlassy) continue;
    const float mean = share[i] / count[i], variance = square[i] / count[i] - mean * mean;
    const float noise = noise_ / 300.0f;
    if (variance < kOnePaint * kOnePaint + noise * noise) pale_[i] = 0.0f;
  }
}

void Builder::takeCoreColors() {
  Plane weight(width_, height_);
  for (std::size_t i = 0; i < size(); ++i) {
    if (depth_[i] <= kEdge || pale_[i] != 0.0f) continue;
    const float depth = std::min(depth_[i], static_cast<float>(kReach));
    weight[i] = depth * depth * depth / 1e4f;
  }
  coreWeight_ = boxMean(weight, kReach);
  for (std::size_t c = 0; c < 3; ++c) {
    Plane weighted = calm_[c];
    for (std::size_t i = 0; i < size(); ++i) weighted[i] *= weight[i];
    coreColor_[c] = boxMean(weighted, kReach);
    for (std::size_t i = 0; i < size(); ++i) coreColor_[c][i] /= std::max(coreWeight_[i], 1e-9f);
  }
}

// The core's own colour without its noise in chroma, and near the outline without the green that the screen throws on
// it: what it has more of than the same core farther in.
Target Builder::coreTarget(std::size_t i) const {
  Rgb color = colorAt(calm_, i);
  const float change = luma(colorAt(picture_, i)) - luma(color);
  for (float& v : color) v += change;
  if (depth_[i] < kReach && coreWeight_[i] > 0.0f) {
    const Rgb deep = colorAt(coreColor_, i);
    const Rgb off = color - deep;
    const float scale = luma(color) / std::max(luma(deep), 1.0f);
    const float spill = greenExcess(color) - scale * greenExcess(deep);
    if (length(off) < 40.0f && spill > 0.0f) {
      const Rgb screen = colorAt(screen_, i);
      const float strength = std::max(greenExcess(screen), 1.0f);
      for (std::size_t c = 0; c < 3; ++c) color[c] = std::max(color[c] - screen[c] * spill / strength, 0.0f);
    }
  }
  return {i, Region::Core, 1.0f, color};
}

bool Builder::edgeTarget(int x, int y, Target& result) const {
  const std::size_t i = foreign_.index(x, y);
  const Rgb core = colorAt(coreColor_, i), screen = colorAt(screen_, i), color = colorAt(picture_, i);
  const Rgb way = core - screen;
  if (length(way) < kLeastContrast) return false;
  const Mixture m = unmix(color - screen, way, screen);
  Rgb rest = color - screen;
  for (std::size_t c = 0; c < 3; ++c) rest[c] -= m.alpha * way[c] + m.spill * screen[c];
  if (length(rest) > kMostResidual + 2.0f * noise_) return false;
  const float alpha = std::min(m.alpha * kRimLight, 1.0f);
  result = {i, Region::Edge, alpha, {alpha * core[0], alpha * core[1], alpha * core[2]}};
  return true;
}

// Something that the screen's hue shines through, of the opacity that its loss of green gives. False where nothing in
// front of the screen could be that bright: then it is a solid thing of a pale green.
bool Builder::veilTarget(int x, int y, Target& result) const {
  const std::size_t i = foreign_.index(x, y);
  const float alpha = std::clamp(1.0f - green_[i], 0.0f, 1.0f);
  Rgb color = colorAt(calm_, i);
  const Rgb screen = colorAt(screen_, i);
  for (std::size_t c = 0; c < 3; ++c) {
    color[c] -= (1 - alpha) * screen[c];
    if (color[c] > kBrightestVeil * alpha) return false;
    color[c] = std::clamp(color[c], 0.0f, 255.0f * alpha);
  }
  result = {i, Region::Veil, alpha, color};
  return true;
}

// Less light on the screen is a black layer of that density.
bool Builder::shadeTarget(int x, int y, Target& result) const {
  const std::size_t i = foreign_.index(x, y);
  const float alpha = 1.0f - luma(colorAt(calm_, i)) / std::max(luma(colorAt(screen_, i)), 1.0f);
  if (alpha <= 0.0f) return false;
  result = {i, Region::Shade, alpha, {}};
  return true;
}

bool Builder::target(int x, int y, Target& result) const {
  const std::size_t i = foreign_.index(x, y);
  if (foreign_[i] == 0.0f && toForeign_[i] > kEdge) {
    result = {i, Region::Screen, 0.0f, {}};
    return true;
  }
  if (depth_[i] <= kEdge) {
    if (coreWeight_[i] > 0.0f) return edgeTarget(x, y, result);
    return shade_[i] != 0.0f && shadeTarget(x, y, result);
  }
  const bool litByScreen = coreWeight_[i] > 0.0f && green_[i] < kMostSpill;
  if (pale_[i] != 0.0f && !litByScreen && veilTarget(x, y, result)) return true;
  result = coreTarget(i);
  return true;
}

// From the darkest to the brightest place, in percent of the brightest; the outermost twentieths are left out.
float Builder::unevenness() const {
  std::vector<float> lights;
  for (std::size_t i = 0; i < size(); i += 16) lights.push_back(luma(colorAt(screen_, i)));
  if (lights.empty()) return 0.0f;
  std::sort(lights.begin(), lights.end());
  const float darkest = lights[lights.size() / 20], brightest = lights[lights.size() - 1 - lights.size() / 20];
  return 100.0f * (brightest - darkest) / std::max(brightest, 1.0f);
}

ReferenceMatte Builder::build() {
  markScreen();
  markSolid();
  calm_ = blurred(picture_, 4);
  judgePaleRegions();
  takeCoreColors();
  std::array<std::vector<Target>, kRegions> found;
  Target one{};
  for (int y = 0; y < height_; ++y) {
    for (int x = 0; x < width_; ++x) {
      if (target(x, y, one)) found[static_cast<std::size_t>(one.region)].push_back(one);
    }
  }
  ReferenceMatte matte;
  matte.pixels = size();
  matte.noise = noise_;
  matte.unevenness = unevenness();
  for (std::size_t r = 0; r < found.size(); ++r) {
    matte.area[r] = found[r].size();
    const std::size_t step = found[r].size() / kMostTargets + 1;
    for (std::size_t k = step / 2; k < found[r].size(); k += step) matte.targets.push_back(found[r][k]);
  }
  return matte;
}

}  // namespace

ReferenceMatte makeReferenceMatte(const unsigned char* argb, const unsigned char* backdrop, int width, int height,
                                  float noise) {
  return Builder(argb, backdrop, width, height, noise).build();
}

}  // namespace kalvetra
