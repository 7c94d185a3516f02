#include "analysis/proposal_guard.h"

#include <algorithm>
#include <cstdlib>

#include "analysis/formatted_text.h"
#include "analysis/mixture.h"
#include "parameters/parameter_table.h"

namespace kalvetra {

namespace {

// The limits come from some thirty photographs and clips, whose keys were inspected.
constexpr double kLeastScreen = 0.5;     // percent of the pictures; less says nothing about the other settings
constexpr double kMostFilled = 5.0;      // percent of opacity, mean over what is clear in the plain key
constexpr float kScreenHue = 30.0f;      // degrees; cloth of another hue is right to become opaque
constexpr double kMostHoles = 1.5;       // percent of the deep solids
constexpr double kSureGain = 0.1;        // share of the trials' cost that leaves no doubt about a skin hue
constexpr double kMoreAtOutlines = 0.5;  // levels of green; more than this beyond that in solids is thrown light
constexpr double kOwnGreen = 1.05;       // green to red; cloth in the screen's light comes close to 1

constexpr int kPlainClipBlack = 4;
constexpr int kDeep = 6;                                               // pixels from all that is not solid
constexpr int kVisible = 13, kClear = 128, kSolid = 242, kHole = 204;  // opacities of 255
constexpr int kChanged = 8;                                            // levels

using Picture = Trials::Keyed;

// A mean, of which nothing may have been added.
struct Mean {
  double sum = 0.0, count = 0.0;
  void add(double value) { sum += value, count += 1.0; }
  double value() const { return count > 0.0 ? sum / count : 0.0; }
};

// 1 where the picture is solid, and far from all that is not.
Plane deepSolids(const Picture& plain) {
  Plane open(plain.width, plain.height);
  for (std::size_t i = 0; i < open.values.size(); ++i) open[i] = plain.argb[4 * i] < kSolid ? 1.0f : 0.0f;
  Plane deep = distanceToSet(open);
  for (float& v : deep.values) v = v > kDeep ? 1.0f : 0.0f;
  return deep;
}

Rgb rgbOf(const unsigned char* argb) {
  return {static_cast<float>(argb[1]), static_cast<float>(argb[2]), static_cast<float>(argb[3])};
}

// Percent of opacity that a key adds to what is of the screen's hue, over all that is clear in the plain key.
double filled(const Picture& source, const Rgb& screen, const Picture& plain, const Picture& key) {
  Mean mean;
  for (std::size_t i = 0; i < plain.argb.size(); i += 4) {
    if (plain.argb[i] >= kClear) continue;
    const bool counts = hueDistance(rgbOf(&source.argb[i]), screen) <= kScreenHue;
    mean.add(counts ? (key.argb[i] - plain.argb[i]) / 2.55 : 0.0);
  }
  return mean.value();
}

// Percent of the deep solids that a key makes holes of.
double holes(const Plane& deep, const Picture& key) {
  Mean mean;
  for (std::size_t i = 0; i < deep.values.size(); ++i) {
    if (deep[i] != 0.0f) mean.add(key.argb[4 * i] < kHole ? 100.0 : 0.0);
  }
  return mean.value();
}

double visibleGreen(const unsigned char* argb) {
  return static_cast<double>(greenExcess(rgbOf(argb))) * argb[0] / 255.0;
}

// What a skin hue other than 0 leaves in.
struct HueEffect {
  Mean atOutlines, inSolids;      // levels of green that it adds
  double red = 0.0, green = 0.0;  // of the source where it changes something, summed

  bool isThrownLight() const { return atOutlines.value() > inSolids.value() + kMoreAtOutlines; }
  bool isOwnGreen() const { return green >= kOwnGreen * red; }

  void compare(const Picture& source, const Picture& plain, const Plane& deep, const Picture& without,
               const Picture& with) {
    for (std::size_t i = 0; i < deep.values.size(); ++i) {
      const unsigned char *a = &with.argb[4 * i], *b = &without.argb[4 * i], *s = &source.argb[4 * i];
      const double added = visibleGreen(a) - visibleGreen(b);
      if (deep[i] != 0.0f) {
        inSolids.add(added);
      } else if (plain.argb[4 * i] >= kVisible) {
        atOutlines.add(added);
      }
      const bool changes =
          std::abs(a[1] - b[1]) > kChanged || std::abs(a[2] - b[2]) > kChanged || std::abs(a[3] - b[3]) > kChanged;
      if (a[0] < kClear || !changes) continue;
      red += s[1];
      green += s[2];
    }
  }
};

class Guard {
 public:
  Guard(Trials& trials, const KeySettings& found) : trials_(trials), plain_(defaultSettings()) {
    result_.settings = found;
    plain_.keyColor = found.keyColor;
    plain_.clipBlack = kPlainClipBlack;
    for (std::size_t c = 0; c < 3; ++c) screen_[c] = static_cast<float>(255.0 * found.keyColor[c]);
    sources_ = trials.sources();
    plainKeys_ = trials.keys(plain_);
    for (const Picture& key : plainKeys_) deep_.push_back(deepSolids(key));
  }

  Guarded apply() {
    const double screen = screenShare();
    if (screen < kLeastScreen) {
      leaveAllOut(formattedText("only %.1f %% of the pictures is of the key colour", screen));
    } else {
      judgeSkinHue();
      judgeOpacity();
    }
    return std::move(result_);
  }

 private:
  // Percent of the pictures that is bare screen.
  double screenShare() const {
    Mean mean;
    for (const ReferenceMatte* matte : trials_.mattes()) {
      const auto screen = matte->area[static_cast<std::size_t>(Region::Screen)];
      mean.add(100.0 * static_cast<double>(screen) / static_cast<double>(matte->pixels));
    }
    return mean.value();
  }

  void judgeSkinHue() {
    const KeySettings with = result_.settings;
    if (with.skinHue == 0) return;
    KeySettings without = with;
    without.skinHue = 0;
    if (trials_.cost(with) <= (1.0 - kSureGain) * trials_.cost(without)) return;
    const HueEffect effect = effectOf(without, with);
    if (!effect.isThrownLight() && effect.isOwnGreen()) return;
    const std::string name = formattedText("skin-hue %d is left out: ", with.skinHue);
    result_.leftOut.push_back(
        name + (effect.isThrownLight()
                    ? formattedText("it would add %.1f levels of green at outlines and %.1f in solid places",
                                    effect.atOutlines.value(), effect.inSolids.value())
                    : "the green that it would keep looks like the screen's light, not like the subject's own"));
    result_.settings = without;
  }

  HueEffect effectOf(const KeySettings& without, const KeySettings& with) const {
    const std::vector<Picture> before = trials_.keys(without), after = trials_.keys(with);
    HueEffect effect;
    for (std::size_t i = 0; i < sources_.size(); ++i) {
      effect.compare(sources_[i], plainKeys_[i], deep_[i], before[i], after[i]);
    }
    return effect;
  }

  // The worst picture decides.
  void judgeOpacity() {
    const std::vector<Picture> keys = trials_.keys(result_.settings);
    double mostFilled = 0.0, mostHoles = 0.0;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      mostFilled = std::max(mostFilled, filled(sources_[i], screen_, plainKeys_[i], keys[i]));
      mostHoles = std::max(mostHoles, holes(deep_[i], keys[i]));
    }
    if (mostFilled > kMostFilled) {
      leaveAllOut(
          formattedText("what is clear or lets the screen through would become %.0f %% more opaque", mostFilled));
    } else if (mostHoles > kMostHoles) {
      leaveAllOut(formattedText("%.1f %% of what is solid would become transparent", mostHoles));
    }
  }

  void leaveAllOut(const std::string& reason) {
    result_.settings = plain_;
    result_.leftOut = {"all that was found is left out: " + reason +
                       formattedText("; the defaults with clip-black %d remain", kPlainClipBlack)};
  }

  Trials& trials_;
  KeySettings plain_;
  Rgb screen_{};
  std::vector<Picture> sources_, plainKeys_;
  std::vector<Plane> deep_;
  Guarded result_{};
};

}  // namespace

Guarded withoutHarm(Trials& trials, const KeySettings& found) { return Guard(trials, found).apply(); }

}  // namespace kalvetra
