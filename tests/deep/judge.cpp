#include "tests/deep/judge.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <limits>
#include <utility>

#include "engine/background_plate.h"
#include "engine/exposure_curve.h"
#include "engine/kept_shadows.h"
#include "engine/key_geometry.h"
#include "engine/render_record.h"
#include "imaging/resample_taps.h"

namespace kalvetra::judge {

namespace {

constexpr double kNever = std::numeric_limits<double>::infinity();

using Point = std::complex<double>;  // I and Q of a colour

double dot(Point a, Point b) { return a.real() * b.real() + a.imag() * b.imag(); }
Point point(Chroma c) { return {c.I, c.Q}; }
Point mixed(Point a, Point b, double f) { return a * (1 - f) + b * f; }
double luma(const Pixel& p) { return p[0] * 0.299 + p[1] * 0.587 + p[2] * 0.114; }
Point chroma(const Pixel& p) {
  const double r = p[0] - p[1], b = p[2] - p[1];
  return {0.596 * r - 0.321 * b, 0.212 * r + 0.311 * b};
}

// 0 up to `from`, 1 from `to` on.
double ramp(double x, double from, double to) { return x <= from ? 0 : x < to ? (x - from) / (to - from) : 1; }

Pixel keyColor(const KALVETRA_Param& param) {
  return {double(param.keyColor[0][0]), double(param.keyColor[1][0]), double(param.keyColor[2][0]), 255};
}

void add(Pixel& sum, const Pixel& p, double weight) {
  for (std::size_t c = 0; c < 4; ++c) sum[c] += weight * p[c];
}

// Columns become rows, so that each step along rows is done twice.
Picture turned(const Picture& from) {
  Picture result(from.height, from.width);
  result.forEach([&](int x, int y, Pixel& p) { p = from.at(y, x); });
  return result;
}

Picture resampled(const Picture& from, int width, int height, int lobes) {
  const auto along = [lobes](const Picture& in, int size) {
    const Weights table = makeWeights(in.width, size, kLanczos, lobes);
    Picture result(size, in.height);
    result.forEach([&](int x, int y, Pixel& p) {
      const Window& w = table.windows[x];
      for (int k = w.first; k <= w.last; ++k) add(p, in.at(k - 1, y), table.weights[w.taps + k - w.first]);
    });
    return turned(result);
  };
  return along(along(from, width), height);
}

// Of as much of each window as lies in the picture.
Picture boxAverages(const Picture& from, int radius) {
  const auto along = [radius](const Picture& in) {
    Picture result(in.width, in.height);
    result.forEach([&](int x, int y, Pixel& p) {
      const int first = std::max(x - radius, 0), last = std::min(x + radius, in.width - 1);
      for (int i = first; i <= last; ++i) add(p, in.at(i, y), 1.0 / (last - first + 1));
    });
    return turned(result);
  };
  return along(along(from));
}

// Luma stays, the colour differences are averaged, and become what they are in bytes on the mean: truncated twice, of
// which half is made up for. What leads beyond black or white is cut off, but for what the frame has there.
Picture deblocked(const Picture& frame, int radius) {
  Picture differences = frame;
  for (Pixel& p : differences.pixels)
    p = {p[0] * -0.1687 + p[1] * -0.3313 + p[2] * 0.5, p[0] * 0.5 + p[1] * -0.4187 + p[2] * -0.0813, luma(p), p[3]};
  Picture result = boxAverages(differences, radius);
  result.forEach([&](int x, int y, Pixel& p) {
    const double cb = p[0] - 0.5, cr = p[1] - 0.5, luminance = differences.at(x, y)[2], scale = 255.0 / 256;
    p = {(luminance + 1.402 * cr) * scale, (luminance - 0.34414 * cb - 0.71414 * cr) * scale,
         (luminance + 1.772 * cb) * scale, frame.at(x, y)[3]};
    for (std::size_t c = 0; c < 3; ++c)
      p[c] = std::clamp(p[c], std::min(frame.at(x, y)[c], 0.0), std::max(frame.at(x, y)[c], 255.0));
  });
  return result;
}

template <class Visit>
void forNeighbours(const Picture& of, int x, int y, const Visit& visit) {
  for (int ny = std::max(y - 1, 0); ny <= std::min(y + 1, of.height - 1); ++ny) {
    for (int nx = std::max(x - 1, 0); nx <= std::min(x + 1, of.width - 1); ++nx) {
      if (nx != x || ny != y) visit(nx, ny);
    }
  }
}

// Makes the backdrop of a small copy of the frame.
class Estimate {
 public:
  Estimate(const KALVETRA_Param& param, Picture small)
      : param_(param), plate_(std::move(small)), state_(plate_.width, plate_.height) {
    state_.forEach([&](int x, int y, Pixel& p) { p[0] = isEdge(x, y) || !isScreen(plate_.at(x, y)) ? kHole : kNone; });
    for (int pass = 0; pass < kHoleGrowth; ++pass) spread(kHole, kNone, kHole);
    fillAlongRows();
    settle();
  }
  Picture plate() const { return boxAverages(plate_, kPlateBlur); }

 private:
  using State = double;
  static constexpr State kNone = 0, kHole = 1, kNext = 2;  // a hole that is filled next

  // Pixels of state `of` next to one of state `near` become `result`. Whether there were any.
  bool spread(State near, State of, State result) {
    const Picture before = state_;
    bool any = false;
    state_.forEach([&](int x, int y, Pixel& p) {
      if (before.at(x, y)[0] != of) return;
      forNeighbours(before, x, y, [&](int nx, int ny) {
        if (before.at(nx, ny)[0] == near) p[0] = result, any = true;
      });
    });
    return any;
  }

  bool isEdge(int x, int y) const {
    const auto mirrored = [](int c, int size) {
      return std::abs(c) >= size ? 2 * size - std::abs(c) - 1 : std::abs(c);
    };
    Pixel sum{};
    for (int dy = -1; dy <= 1; ++dy) {
      for (int dx = -1; dx <= 1; ++dx)
        add(sum, plate_.at(mirrored(x + dx, plate_.width), mirrored(y + dy, plate_.height)), dx || dy ? -1 : 8);
    }
    return std::max(sum[0], 0.0) + std::max(sum[1], 0.0) + std::max(sum[2], 0.0) >= 3 * kEdgeThreshold;
  }

  // Within the sector between the hue bounds, and of about the chroma that the key colour has in that light.
  bool isScreen(const Pixel& color) const {
    const Point at = chroma(color);
    for (const int hue : {param_.nSkinHue[0], param_.nBlueHue[0]}) {
      if (!(double(boundSlope(hue)) * at.real() > at.imag())) return false;
    }
    return std::abs(at - expected(luma(color))) <= ExtractionGeometry::kTolerance;
  }

  // On the mean what the table in bytes holds: luminances are truncated, and the last exposure of each counts. The
  // entries that many luminances share are the table's own, half a level above their truncated ones.
  Point expected(double y) const {
    y += 0.45;
    if (std::max(y, 81.45) >= luma(keyColor(param_))) return keyEntry_;
    if (y <= 81.45) return darkEntry_;
    double low = 0, high = 1;
    for (int i = 0; i < 40; ++i) (luma(lit((low + high) / 2)) < y ? low : high) = (low + high) / 2;
    return chroma(lit(low));
  }

  // The key colour in the light of exposure t.
  Pixel lit(double t) const {
    const ExposureCurve curve;
    Pixel p{};
    for (std::size_t c = 0; c < 3; ++c) {
      const double light = curve.linear(param_.keyColor[c][0]);
      const double v = (std::log10(light * t / 255 + curve.kOffset) - curve.black()) * curve.scale();
      p[c] = std::max(v < 60 ? t * light * curve.slope() - 5 : v, 0.0);
    }
    return p;
  }

  static Point entryOf(int r, int g, int b) {
    return {((39059 * r - 18022 * g - 21037 * b) >> 16) + 0.5, ((13894 * r - 34275 * g + 20382 * b) >> 16) + 0.5};
  }

  // The last of the table's exposures whose luminance comes to 80.
  Point darkEntry() const {
    Point entry;
    for (int i = 0; i < ExposureCurve::kSteps; ++i) {
      const Pixel p = lit(ExposureCurve::exposure(i));
      const int r = int(p[0]), g = int(p[1]), b = int(p[2]);
      if ((19595 * r + 38470 * g + 7471 * b) >> 16 > 80) break;
      entry = entryOf(r, g, b);
    }
    return entry;
  }

  // A ramp that stops a step short of the right neighbour. Bytes lose half a level on the mean, here and where columns
  // settle, but nothing where all is one level.
  void fillAlongRows() {
    Pixel average{};
    const auto surviving = std::count_if(state_.pixels.begin(), state_.pixels.end(), [](auto& p) { return p[0] == 0; });
    for (std::size_t i = 0; i < plate_.pixels.size(); ++i) {
      if (state_.pixels[i][0] == kNone) add(average, plate_.pixels[i], 1.0 / double(surviving));
    }
    for (double& level : average) level -= 0.5;
    if (surviving == 0) average = keyColor(param_);
    for (int y = 0; y < plate_.height; ++y) {
      for (int x = 0; x < plate_.width; ++x) {
        const int first = x;
        while (x < plate_.width && state_.at(x, y)[0] != kNone) ++x;
        const bool hasLeft = first > 0, hasRight = x < plate_.width;
        const Pixel left = hasLeft ? plate_.at(first - 1, y) : hasRight ? plate_.at(x, y) : average;
        const Pixel right = hasRight ? plate_.at(x, y) : left;
        for (int i = first; i < x; ++i) {
          const double f = (i - first + 1.0) / (x - first + 2);
          plate_.at(i, y) = {};
          add(plate_.at(i, y), left, 1 - f);
          add(plate_.at(i, y), right, f);
          for (std::size_t c = 0; c < 4; ++c) plate_.at(i, y)[c] -= 0.5 * std::min(std::abs(right[c] - left[c]), 1.0);
        }
      }
    }
  }

  // From the borders of the holes inwards: the mean of the column within a reach that grows.
  void settle() {
    bool more = spread(kNone, kHole, kNext);
    for (int reach = 1; more; ++reach) {
      const Picture before = plate_, holes = state_;
      more = spread(kNext, kHole, kNext);
      plate_.forEach([&](int x, int y, Pixel& p) {
        if (holes.at(x, y)[0] != kNext) return;
        state_.at(x, y)[0] = kNone;
        const int first = std::max(y - reach, 0), last = std::min(y + reach, plate_.height - 1);
        if (first == last) return;
        const double count = last - first;
        Pixel least = before.at(x, y == first ? last : first);
        p = {};
        for (int row = first; row <= last; ++row) {
          if (row == y) continue;
          add(p, before.at(x, row), 1 / count);
          for (std::size_t c = 0; c < 4; ++c) least[c] = std::min(least[c], before.at(x, row)[c]);
        }
        for (std::size_t c = 0; c < 4; ++c) p[c] = std::max(p[c] - (count - 1) / (2 * count), least[c]);
      });
    }
  }

  const KALVETRA_Param& param_;
  const Point keyEntry_ = entryOf(param_.keyColor[0][0], param_.keyColor[1][0], param_.keyColor[2][0]);
  const Point darkEntry_ = darkEntry();
  Picture plate_, state_;
};

// What both keys are made of: they differ in how wide the bands round their axis are, and in one place.
struct Key : PlateKeyGeometry {
  explicit Key(const KALVETRA_Param& param) : PlateKeyGeometry(param), againstColor(param.bSmoothBG == 0) {
    inner = againstColor ? 5 : 10;
    outer = inner + 15;
    shadowExponent = 2 - param.nShadow[0] / 100.0;
  }

  bool againstColor;
  double inner, outer, shadowExponent;
};

class PixelKey {
 public:
  // The backdrop counts as brighter than it is by `offset`.
  PixelKey(const Key& key, const Pixel& frame, const Pixel& backdrop, double offset)
      : key_(key), frame_(frame), y_(luma(frame)), backdropY_(luma(backdrop) + offset), at_(chroma(frame)) {
    backdrop_ = chroma(backdrop);
    grey_ = point(key.grey);
    length_ = std::abs(grey_ - backdrop_);
    axis_ = (grey_ - backdrop_) / length_;
    along_ = dot(axis_, at_ - backdrop_);
    across_ = dot(axis_ * Point(0, 1), at_ - backdrop_);
  }

  // The keyed colour with its alpha.
  Pixel keyed() {
    const double beside = std::abs(across_);
    const double sector = dot(point(across_ < 0 ? key_.skinBound : key_.blueBound), at_), gain = key_.screenGain;
    note("side of the axis", across_);
    note("inner band", beside - key_.inner);
    note("outer band", beside - key_.outer);
    note("grey", along_ - length_);
    note("screen gain", along_ - gain * length_);
    note("hue bound", sector);
    const bool inSector = across_ == across_ && sector > 0;  // over a grey backdrop nothing is a number
    if (!inSector && !(beside < key_.outer && along_ < length_)) return {frame_[0], frame_[1], frame_[2], 255};
    return beside < key_.inner && along_ < gain * length_ ? shadow() : despilled();
  }
  Tie tie() const { return tie_; }

 private:
  void note(const char* choice, double distance) {
    if (std::abs(distance) < tie_.distance) tie_ = {choice, std::abs(distance)};
  }

  double alphaOf(double opacity) {
    note("any opacity", opacity * 255);
    return 255 * std::pow(ramp(opacity, 0, key_.whiteLimit), key_.shadowExponent);
  }

  // Of the backdrop's own chroma: black where it is darker, otherwise gone.
  Pixel shadow() {
    const double alpha = alphaOf(y_ < backdropY_ ? (y_ - backdropY_) / (-50 - backdropY_) : 0);
    const double level = alpha > 0 ? 0 : 160;
    return {level, level, level, alpha};
  }

  // `from` along `direction` to the line through grey with normal `normal`.
  Point meet(Point from, Point direction, Point normal) const {
    return from + direction * (dot(normal, grey_ - from) / dot(normal, direction));
  }
  double depth(Point to) const { return 1 - dot(axis_, to - at_) / length_; }

  Pixel despilled() {
    const bool skin = across_ <= 0;
    const double t = ramp(std::abs(across_), key_.inner, key_.outer), turn = ramp(y_, 200, 255) * -std::acos(-1) / 6;
    const Point bound = point(skin ? key_.skinBound : key_.blueBound);
    const Point nearest = meet(at_, axis_, axis_), atBound = meet(at_, axis_, bound);
    const Point atTurned =
        meet(at_, axis_, skin ? point(key_.skinDespill) * std::polar(1.0, turn) : point(key_.blueDespill));
    Point left;  // of the colour, without the backdrop's cast
    if (t <= 0) {
      left = skin && key_.againstColor ? atBound : nearest;
    } else if (t < 1 && dot(bound, at_) < 0) {
      left = mixed(nearest, at_, t);
    } else {
      left = mixed(atBound, meet(backdrop_, at_ - backdrop_, bound), depth(skin ? atBound : atTurned));
      if (!skin) left = mixed(nearest, left, t);
    }
    return unmixed(ramp(depth(mixed(nearest, atTurned, t)), key_.screenGain, 1), left);
  }

  Pixel unmixed(double amount, Point left) {
    double target = y_, opacity = amount;
    if (amount > 0 && y_ > backdropY_) {
      target = (y_ - (1 - amount) * backdropY_) / amount;
    } else if (amount > 0) {
      const double backdrop = std::max(backdropY_, -99.0) + 100, pixel = std::max(y_ + 100, 0.0);
      target = std::pow(pixel / std::pow(backdrop, 1 - amount), 1 / amount) - 100;
    } else if (y_ != backdropY_) {
      target = y_ < backdropY_ ? -50 : 370;
    }
    target = std::clamp(target, std::min(-50.0, y_), std::max(370.0, y_));
    if (target < backdropY_ && y_ != backdropY_) opacity = (y_ - backdropY_) / (target - backdropY_);

    const double alpha = alphaOf(opacity);
    if (alpha <= 0) return {160, 160, 160, 0};
    const double y = std::clamp(std::min(y_, target), std::min(0.0, y_), std::max(255.0, y_));
    const double i = left.real(), q = left.imag();
    Pixel color{y + 0.956 * i + 0.62 * q, y - 0.272 * i - 0.647 * q, y - 1.108 * i + 1.705 * q, alpha};
    for (std::size_t c = 0; c < 3; ++c)
      color[c] = std::clamp(color[c], std::min(0.0, frame_[c]), std::max(255.0, frame_[c]));
    return color;
  }

  const Key& key_;
  const Pixel& frame_;
  double y_, backdropY_;
  Point at_, backdrop_, grey_, axis_;
  double length_, along_, across_;  // of the axis from the backdrop to grey, and the pixel's place, in levels
  Tie tie_{"none", kNever};
};

void contract(Picture& picture, int steps, double slack) {
  for (int step = 0; step < steps; ++step) {
    const Picture before = picture;
    picture.forEach([&](int x, int y, Pixel& p) {
      if (x == 0 || y == 0 || x == picture.width - 1 || y == picture.height - 1) return;
      double least = 255;
      forNeighbours(before, x, y, [&](int nx, int ny) {
        if (step % 2 == 1 || nx == x || ny == y) least = std::min(least, before.at(nx, ny)[3]);
      });
      p[3] = std::min(p[3], least + slack);
    });
  }
}

// In bytes the average and what is made of it are truncated, by half a level on the mean.
void blurEdges(Picture& picture, int radius, double amount) {
  const Picture blurred = boxAverages(picture, radius);
  picture.forEach([&](int x, int y, Pixel& p) {
    const double clear = std::max(254.5 - blurred.at(x, y)[3], 0.0);
    p[3] *= 1 - amount * std::clamp(4 * clear * clear / 255 - 0.5, 0.0, 255.0) / 255;
  });
}

// As kept_shadows.h has it, in a result view.
void keepShadow(const Pixel& s, const Pixel& plate, double noise, double exponent, Pixel& view) {
  const auto eased = [](double x) { return std::pow(ramp(x, 0, 1), 2) * (3 - 2 * ramp(x, 0, 1)); };
  const double light = luma(s) / std::max(luma(plate), 1.0), density = std::max(1 - light, 0.0);
  double residual = 0, paint = 0;
  for (std::size_t c = 0; c < 3; ++c) {
    residual += std::pow(s[c] - light * plate[c], 2);
    paint += std::pow(light * plate[c] - luma(s), 2);
  }
  const double square = std::pow(noise * (1 + density / 2), 2), missing = (luma(plate) - luma(s)) / (0.67 * noise);
  const double weight = eased(luma(plate) - 1) * eased(light / 0.1 - 1) * eased((16 - residual / square) / 12) *
                        eased((paint / square - 16) / 48);
  const double opacity = 255 * std::pow(density * eased((missing - 2) / 3), exponent);
  const double kept = (1 - weight) * view[3], alpha = kept + weight * opacity;
  view[3] = std::min(alpha, s[3]);
  for (std::size_t c = 0; c < 3 && view[3] > 0; ++c) view[c] *= kept / alpha;
}

Picture inWorkingColors(Picture picture, bool blueScreen) {
  for (Pixel& p : picture.pixels) {
    if (blueScreen) std::swap(p[1], p[2]);
  }
  return picture;
}

// Against which a picture is keyed, and how much brighter it counts: by what makes up, on the mean, for what bytes lose
// when they are resampled, less that loss.
std::pair<Picture, double> backdropOf(const KALVETRA_Param& param, const Picture& frame, const Picture* given) {
  Picture plate(frame.width, frame.height);
  std::fill(plate.pixels.begin(), plate.pixels.end(), keyColor(param));
  if (param.bSmoothBG == 0) return {plate, 0};
  const auto isOther = [&](int w, int h) { return w != frame.width || h != frame.height; };
  const auto enlarged = [&](const Picture& p) { return resampled(p, frame.width, frame.height, 2); };
  constexpr double kOffset = PlateKeyGeometry::kPlateOffset;
  if (given != nullptr) return {enlarged(*given), kOffset - (isOther(given->width, given->height) ? 1 : 0)};
  const PlateSize size = plateSize(frame.width, frame.height);
  const Estimate estimate(param, resampled(frame, size.width, size.height, kReducingLobes));
  return {enlarged(estimate.plate()), kOffset - (isOther(size.width, size.height) ? 1.5 : 0)};
}

}  // namespace

Judgement judged(const KeySettings& settings, const Picture& host, const Options& options) {
  Judgement out{host, std::vector<Tie>(host.pixels.size(), Tie{"none", kNever})};
  if (settings.view == 0) return out;
  const bool blue = keysBlue(settings), keys = keysSomething(settings), fields = options.scan == Scan::Fields;
  const KALVETRA_Param param = makeRecord(settings, nullptr, nullptr, host.width, host.height);
  const Picture frame = inWorkingColors(host, blue);
  const Picture given = options.plate != nullptr ? inWorkingColors(*options.plate, blue) : frame;
  const Key key(param);
  Picture keyed = frame, backdrop = frame;
  const int step = fields ? 2 : 1;
  for (int first = 0; keys && first < std::min(step, frame.height); ++first) {
    Picture picture(frame.width, (frame.height - first + step - 1) / step);
    picture.forEach([&](int x, int y, Pixel& p) { p = frame.at(x, first + step * y); });
    auto [plate, offset] = backdropOf(param, picture, options.plate != nullptr ? &given : nullptr);
    if (param.nDeBlock != 0) picture = deblocked(picture, param.nDeBlock);
    picture.forEach([&, &plate = plate, offset = offset](int x, int y, Pixel& p) {
      PixelKey pixel(key, p, plate.at(x, y), offset);
      const int row = first + step * y;
      keyed.at(x, row) = pixel.keyed();
      backdrop.at(x, row) = plate.at(x, y);
      out.ties[static_cast<std::size_t>(row * frame.width + x)] = pixel.tie();
    });
  }
  if (keys) contract(keyed, param.nContractMask, param.nContractThreshold);
  if (keys && param.nMaskBlurRadius != 0) blurEdges(keyed, param.nMaskBlurRadius, param.nMaskBlurValue / 100.0);

  const bool clips = settings.clipBlack > 0 || settings.clipWhite < 100;
  const int high = roundedToInt(settings.clipWhite * 255.0 / 100);
  int low = roundedToInt(settings.clipBlack * 255.0 / 100);
  if (low == high) ++low;
  keyed.forEach([&](int x, int y, Pixel& p) {
    const Pixel& source = frame.at(x, y);
    if (source[3] <= 0) p = source;
    p[3] = std::min(p[3], source[3]);
    if (clips) p[3] = 255 * ramp(p[3], low, high);
    if (keys && options.keepsShadows && param.bSmoothBG != 0)
      keepShadow(source, backdrop.at(x, y), shadowNoise(options.noise), key.shadowExponent, p);
    if (settings.view == 1) p = {p[3], p[3], p[3], 255};
  });
  out.view = inWorkingColors(keyed, blue);
  return out;
}

}  // namespace kalvetra::judge
