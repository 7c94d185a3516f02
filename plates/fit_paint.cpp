#include "plates/fit_paint.h"

#include <algorithm>
#include <cmath>

namespace kalvetra::plates {

namespace {

double squared(double x) { return x * x; }

// How much a pixel counts by its distance from where the screen's paint is expected, of `reach` in shares. What is
// paler is more likely veil or edge than screen.
double closeness(Shift shift, double reach) {
  const double along = static_cast<double>(shift.pale) / (shift.pale > 0.0f ? reach : 2.5 * reach);
  const double across = static_cast<double>(shift.across) / reach;
  return squared(1.0 / (1.0 + along * along + across * across));
}

}  // namespace

PaleAxis::PaleAxis(const std::array<double, 3>& keyColor) {
  const double sum = std::max(keyColor[0] + keyColor[1] + keyColor[2], 1e-6);
  key_ = {static_cast<float>(keyColor[0] / sum), static_cast<float>(keyColor[2] / sum)};
  const float red = 1.0f / 3.0f - key_.red, blue = 1.0f / 3.0f - key_.blue;
  length_ = std::sqrt(red * red + blue * blue);
  toGrey_ = {red / std::max(length_, 1e-6f), blue / std::max(length_, 1e-6f)};
}

Shift PaleAxis::of(Shares from, Shares to) const {
  const float red = to.red - from.red, blue = to.blue - from.blue;
  return {red * toGrey_.red + blue * toGrey_.blue, red * toGrey_.blue - blue * toGrey_.red};
}

// More saturated than the key is less doubtful than paler; hue is noisy there.
float PaleAxis::admits(Shares shares) const {
  const Shift shift = of(key_, shares);
  const float across = 0.06f + 0.12f * std::clamp(-shift.pale, 0.0f, 1.0f);
  return smoothStep(0.6f, 0.45f, shift.pale / length_) * smoothStep(-0.8f, -0.6f, shift.pale / length_) *
         smoothStep(1.3f, 1.0f, std::abs(shift.across) / across);
}

struct PaintModel::Sample {
  Terms terms;
  Shares shares;
  double light;
  double prior;   // what speaks for it before any fit: calm, opaque, near the key
  double weight;  // as the last fit left it
};

PaintModel::Terms PaintModel::termsOf(double x, double y, double light) {
  return {1.0, x, y, x * x, x * y, y * y, light, light * light, light * x, light * y};
}

PaintModel::Row PaintModel::rowAt(float y) const {
  const double v = static_cast<double>(y * scaleY_) - 0.5;
  const auto channel = [&](const Terms& t) {
    const double terms[6] = {t[0] + t[2] * v + t[5] * v * v, t[1] + t[4] * v, t[3], t[6] + t[9] * v, t[7], t[8]};
    Row::Channel c;
    for (std::size_t i = 0; i < c.size(); ++i) c[i] = static_cast<float>(terms[i]);
    return c;
  };
  return {channel(red_), channel(blue_), scaleX_, darkest_, brightest_};
}

Shares PaintModel::Row::at(float x, float light) const {
  const float u = x * scale - 0.5f, l = std::clamp(light, darkest, brightest);
  const auto share = [&](const Channel& c) { return c[0] + u * (c[1] + u * c[2]) + l * (c[3] + l * c[4] + u * c[5]); };
  return {share(red), share(blue)};
}

// Weighted least squares, by Cholesky's decomposition. A slight pull towards 0 keeps terms small that nothing seen
// speaks for, such as the fall of light where all is of one brightness; `pullOfLight` is that on the terms of light.
void PaintModel::solve(const std::vector<Sample>& samples, double pullOfLight) {
  double matrix[kTerms][kTerms] = {};
  Terms red{}, blue{};
  double total = 0.0;
  for (const Sample& s : samples) {
    if (s.weight < 1e-9) continue;
    total += s.weight;
    for (std::size_t i = 0; i < kTerms; ++i) {
      const double t = s.weight * s.terms[i];
      red[i] += t * static_cast<double>(s.shares.red);
      blue[i] += t * static_cast<double>(s.shares.blue);
      for (std::size_t j = 0; j <= i; ++j) matrix[i][j] += t * s.terms[j];
    }
  }
  if (total <= 0.0) return;
  constexpr double kPull = 3e-4;
  for (std::size_t i = 1; i < kTerms; ++i) matrix[i][i] += (i < kFirstOfLight ? kPull : pullOfLight) * total;
  for (std::size_t i = 0; i < kTerms; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      double rest = matrix[i][j];
      for (std::size_t k = 0; k < j; ++k) rest -= matrix[i][k] * matrix[j][k];
      matrix[i][j] = i == j ? std::sqrt(std::max(rest, 1e-12 * total)) : rest / matrix[j][j];
    }
  }
  const auto substitute = [&](Terms& v) {
    for (std::size_t i = 0; i < kTerms; ++i) {
      for (std::size_t k = 0; k < i; ++k) v[i] -= matrix[i][k] * v[k];
      v[i] /= matrix[i][i];
    }
    for (std::size_t i = kTerms; i-- > 0;) {
      for (std::size_t k = i + 1; k < kTerms; ++k) v[i] -= matrix[k][i] * v[k];
      v[i] /= matrix[i][i];
    }
  };
  substitute(red);
  substitute(blue);
  red_ = red;
  blue_ = blue;
}

// Median of the distances on the pale axis, as a standard deviation.
float PaintModel::scatterOf(const std::vector<Sample>& samples, const PaleAxis& axis) const {
  constexpr int kBins = 400;
  constexpr double kBin = 0.00025;
  std::array<double, kBins + 1> histogram{};
  double total = 0.0;
  for (const Sample& s : samples) {
    double red = 0.0, blue = 0.0;
    for (std::size_t i = 0; i < kTerms; ++i) {
      red += red_[i] * s.terms[i];
      blue += blue_[i] * s.terms[i];
    }
    const Shift shift = axis.of({static_cast<float>(red), static_cast<float>(blue)}, s.shares);
    const int bin = std::min(static_cast<int>(std::abs(static_cast<double>(shift.pale)) / kBin), kBins);
    histogram[static_cast<std::size_t>(bin)] += s.prior;
    total += s.prior;
  }
  double sum = 0.0;
  for (int bin = 0; bin <= kBins; ++bin) {
    const double next = sum + histogram[static_cast<std::size_t>(bin)];
    if (next >= 0.5 * total) {
      const double part = next > sum ? (0.5 * total - sum) / (next - sum) : 0.0;
      return static_cast<float>(1.4826 * kBin * (bin + part));
    }
    sum = next;
  }
  return 0.0f;
}

namespace {

// Shares of a sum of weights by light, in steps of a quarter of an octave, linear between.
class LightHistogram {
 public:
  void add(double light, double weight) {
    const Place p(light);
    bins_[p.bin] += weight * (1.0 - p.part);
    bins_[p.bin + 1] += weight * p.part;
    total_ += weight;
  }
  double at(double light) const {
    const Place p(light);
    return (bins_[p.bin] * (1.0 - p.part) + bins_[p.bin + 1] * p.part) / std::max(total_, 1e-9);
  }
  // The light that `part` of the weight is darker than.
  double quantile(double part) const {
    double sum = 0.0;
    for (std::size_t bin = 0; bin < kBins; ++bin) {
      const double next = sum + bins_[bin];
      if (next >= part * total_ && next > 0.0) {
        return kLowest +
               kStep * (static_cast<double>(bin) - 0.5 + (next > sum ? (part * total_ - sum) / (next - sum) : 0.0));
      }
      sum = next;
    }
    return 0.0;
  }

 private:
  static constexpr std::size_t kBins = 40;
  static constexpr double kLowest = -7.0, kStep = 0.25;
  struct Place {
    explicit Place(double light) {
      const double at = std::clamp((light - kLowest) / kStep, 0.0, static_cast<double>(kBins - 2));
      bin = static_cast<std::size_t>(at);
      part = at - static_cast<double>(bin);
    }
    std::size_t bin;
    double part;
  };
  std::array<double, kBins + 1> bins_{};
  double total_ = 0.0;
};

// How even a place is, 0..1: the bare screen is, hair, edges and folds are not.
class Calm {
 public:
  Calm(const Picture& picture, const PaintAndLight& parted)
      : parted_(parted), reach_(std::max(2, static_cast<int>(3.0f * picture.unit + 0.5f))) {}

  double at(int x, int y) const {
    const auto step = [&](const Plane& plane) {
      const int left = std::max(x - reach_, 0), right = std::min(x + reach_, plane.width - 1);
      const int top = std::max(y - reach_, 0), bottom = std::min(y + reach_, plane.height - 1);
      const float across = plane.row(y)[right] - plane.row(y)[left], down = plane.row(bottom)[x] - plane.row(top)[x];
      return static_cast<double>(across * across + down * down);
    };
    constexpr double kLight = 0.12, kShares = 0.015;
    return squared(1.0 / (1.0 + step(parted_.light) / squared(kLight) +
                          (step(parted_.red) + step(parted_.blue)) / squared(kShares)));
  }

 private:
  const PaintAndLight& parted_;
  int reach_;
};

}  // namespace

PaintModel::PaintModel(const Picture& picture, const PaintAndLight& parted, const PaleAxis& axis)
    : scaleX_(1.0f / static_cast<float>(parted.light.width)), scaleY_(1.0f / static_cast<float>(parted.light.height)) {
  constexpr double kSamples = 8000.0;
  const int width = parted.light.width, height = parted.light.height;
  const int step = std::max(1, static_cast<int>(std::sqrt(static_cast<double>(width) * height / kSamples)));
  const Calm calm(picture, parted);
  std::vector<Sample> samples;
  for (int y = step / 2; y < height; y += step) {
    for (int x = step / 2; x < width; x += step) {
      const std::size_t i = parted.light.index(x, y);
      const Shares shares{parted.red[i], parted.blue[i]};
      const double light = static_cast<double>(parted.light[i]);
      const double seen = static_cast<double>(picture.seen[i] * axis.admits(shares));
      if (parted.light[i] < kDarkestScreen || parted.light[i] > kBrightestScreen || seen <= 0.0) continue;
      const Terms terms = termsOf(static_cast<double>(static_cast<float>(x) * scaleX_) - 0.5,
                                  static_cast<double>(static_cast<float>(y) * scaleY_) - 0.5, light);
      samples.push_back({terms, shares, light, calm.at(x, y) * seen, 0.0});
    }
  }
  // The key need not be the middle of the screen's paint: look for it there.
  constexpr double kReach = 0.05;
  Shares middle = axis.key();
  for (int round = 0; round < 5; ++round) {
    double red = 0.0, blue = 0.0, total = 0.0;
    for (const Sample& s : samples) {
      const double weight =
          s.prior * closeness(axis.of(middle, s.shares), kReach) * closeness(axis.of(axis.key(), s.shares), 2 * kReach);
      red += weight * static_cast<double>(s.shares.red);
      blue += weight * static_cast<double>(s.shares.blue);
      total += weight;
    }
    if (total > 1e-6) middle = {static_cast<float>(red / total), static_cast<float>(blue / total)};
  }
  // Every light counts alike, so that a small dark side is not given up for a large bright one.
  LightHistogram lights;
  for (Sample& s : samples) {
    s.prior *= closeness(axis.of(middle, s.shares), kReach);
    lights.add(s.light, s.prior);
  }
  darkest_ = static_cast<float>(lights.quantile(0.01));
  brightest_ = static_cast<float>(lights.quantile(0.995));
  for (Sample& s : samples) {
    s.prior /= std::max(lights.at(s.light), 0.02);
    s.weight = s.prior;
  }
  // At first light may explain little: otherwise a bright veil would be taken for what the screen's paint is in bright
  // light. Once it is out, what is left of the terms of light is the screen's own.
  double pullOfLight = 0.05;
  constexpr int kRounds = 8;
  constexpr float kLeastScatter = 0.003f;
  for (int round = 0; round < kRounds; ++round) {
    solve(samples, pullOfLight);
    pullOfLight *= 0.5;
    scatter_ = std::max(scatterOf(samples, axis), kLeastScatter);
    for (Sample& s : samples) {
      double red = 0.0, blue = 0.0;
      for (std::size_t i = 0; i < kTerms; ++i) {
        red += red_[i] * s.terms[i];
        blue += blue_[i] * s.terms[i];
      }
      s.weight = s.prior * closeness(axis.of({static_cast<float>(red), static_cast<float>(blue)}, s.shares),
                                     static_cast<double>(scatter_));
    }
  }
}

}  // namespace kalvetra::plates
