// Groups of like colours in what was looked at of a shot.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>

#include "refine/materials.h"

namespace kalvetra::refine {

void MaterialGathering::add(const Cells& cells) {
  constexpr std::size_t kMost = 5000;  // of a frame
  std::vector<std::size_t> solid;
  for (std::size_t i = 0; i < cells.cover.values.size(); ++i) {
    if (cells.cover[i] > 0.98f && cells.depth[i] > 1.0f) solid.push_back(i);
  }
  const std::size_t step = std::max<std::size_t>(1, solid.size() / kMost);
  for (std::size_t n = step / 2; n < solid.size(); n += step) {
    const std::size_t i = solid[n];
    samples_.push_back({colorAt(cells.own, i), colorAt(cells.screen, i), cells.depth[i], cells.engine[i]});
  }
}

void MaterialGathering::add(const MaterialGathering& more) {
  samples_.insert(samples_.end(), more.samples_.begin(), more.samples_.end());
}

// Looks for groups of like colours.
class MaterialSearch {
 public:
  using Sample = MaterialGathering::Sample;

  explicit MaterialSearch(const std::vector<Sample>& samples) : samples_(samples) {
    for (const Sample& s : samples) features_.push_back(featureOf(s.own));
  }

  Materials found() {
    Materials materials;
    begin();
    for (int round = 0; round < 10 && !centres_.empty(); ++round) settle();
    for (std::size_t g = 0; g < centres_.size(); ++g) addMaterial(g, materials);
    findUsualSpill(materials);
    for (std::size_t i = 0; i < read_.size(); ++i) materials.all[i] = mended(read_[i], lightOn(read_[i], materials));
    findUsualSpill(materials);
    for (std::size_t i = 0; i < read_.size(); ++i) {
      materials.all[i] = mended(read_[i], std::max({materials.all[i].taken, ofWash(read_[i]), ofEdge(read_[i])}));
    }
    return materials;
  }

 private:
  using Feature = std::array<float, 3>;  // hue and saturation, mostly, and a little of the luma
  struct Read {
    Color read, screen;
    float depth, engine;  // medians there
    float spread;         // of Material
  };

  static Feature featureOf(const Color& c) {
    const float sum = std::max(c[0] + c[1] + c[2], 30.0f);
    return {300.0f * c[0] / sum, 300.0f * c[2] / sum, luma(c) / 6.0f};
  }
  static float distance(const Feature& a, const Feature& b) {
    float sum = 0.0f;
    for (std::size_t i = 0; i < 3; ++i) sum += (a[i] - b[i]) * (a[i] - b[i]);
    return sum;
  }

  // The centres to begin with: the fullest bin of the colours, and each time the one farthest from all before.
  void begin() {
    constexpr std::size_t kMost = 8;
    constexpr float kBin = 10.0f, kApart = 8.0f;
    struct Bin {
      std::size_t count = 0;
      Feature sum{};
    };
    std::map<std::array<int, 3>, Bin> bins;
    for (const Feature& f : features_) {
      std::array<int, 3> place{};
      for (std::size_t i = 0; i < 3; ++i) place[i] = static_cast<int>(std::clamp(f[i], -1e4f, 1e4f) / kBin + 1e4f);
      Bin& bin = bins[place];
      ++bin.count;
      for (std::size_t i = 0; i < 3; ++i) bin.sum[i] += f[i];
    }
    std::vector<Feature> full;
    std::size_t most = 0;
    for (auto& [place, bin] : bins) {
      if (bin.count * 200 < features_.size()) continue;
      for (float& v : bin.sum) v /= static_cast<float>(bin.count);
      full.push_back(bin.sum);
      if (bin.count > most) {
        most = bin.count;
        centres_.assign(1, bin.sum);
      }
    }
    while (!centres_.empty() && centres_.size() < kMost) {
      float farthest = 0.0f;
      Feature next{};
      for (const Feature& f : full) {
        const float near = distance(f, centres_[nearest(f)]);
        if (near > farthest) {
          farthest = near;
          next = f;
        }
      }
      if (farthest < kApart * kApart) return;
      centres_.push_back(next);
    }
  }

  std::size_t nearest(const Feature& f) const {
    std::size_t best = 0;
    for (std::size_t g = 1; g < centres_.size(); ++g) {
      if (distance(f, centres_[g]) < distance(f, centres_[best])) best = g;
    }
    return best;
  }

  void settle() {
    groups_.assign(centres_.size(), {});
    for (std::size_t i = 0; i < features_.size(); ++i) groups_[nearest(features_[i])].push_back(i);
    for (std::size_t g = 0; g < centres_.size(); ++g) {
      if (groups_[g].empty()) continue;
      std::array<double, 3> sum{};
      for (const std::size_t i : groups_[g]) {
        for (std::size_t c = 0; c < 3; ++c) sum[c] += static_cast<double>(features_[i][c]);
      }
      for (std::size_t c = 0; c < 3; ++c) {
        centres_[g][c] = static_cast<float>(sum[c] / static_cast<double>(groups_[g].size()));
      }
    }
  }

  // What one value in so many lies below: of 2 the median.
  static float ranked(std::vector<float>& values, std::size_t part) {
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(values.size() / part);
    std::nth_element(values.begin(), place, values.end());
    return *place;
  }

  // Read where it lies deepest inside the subject: there the screen's light reaches least.
  void addMaterial(std::size_t group, Materials& materials) {
    std::vector<std::size_t>& members = groups_[group];
    if (members.size() < 10) return;
    const std::size_t count = std::max<std::size_t>(members.size() * 3 / 10, 5);
    std::sort(members.begin(), members.end(), [&](std::size_t a, std::size_t b) {
      return samples_[a].depth > samples_[b].depth || (samples_[a].depth == samples_[b].depth && a < b);
    });
    // All that lie as deep as the last one, so that none is left out for its place in the picture.
    std::size_t end = count;
    while (end < members.size() && samples_[members[end]].depth >= samples_[members[count - 1]].depth) ++end;
    const auto valuesOf = [&](auto value) {
      std::vector<float> values;
      for (std::size_t i = 0; i < end; ++i) values.push_back(value(samples_[members[i]]));
      return values;
    };
    const auto middle = [&](auto value) {
      std::vector<float> values = valuesOf(value);
      return ranked(values, 2);
    };
    Read read{};
    for (std::size_t c = 0; c < 3; ++c) {
      read.read[c] = middle([c](const Sample& s) { return s.own[c]; });
      read.screen[c] = middle([c](const Sample& s) { return s.screen[c]; });
    }
    read.depth = middle([](const Sample& s) { return s.depth; });
    read.engine = middle([](const Sample& s) { return s.engine; });
    // A quarter of all lies beyond two thirds of a standard deviation.
    std::vector<float> off =
        valuesOf([&](const Sample& s) { return -spillOn({read.read}, s.own, s.screen, 1.0f).amount; });
    constexpr float kMostSpread = 0.03f;  // more is no material of one colour
    read.spread = std::clamp(-1.5f * ranked(off, 4), 0.0f, kMostSpread);
    read_.push_back(read);
    materials.all.push_back({read.read});
  }

  // At each depth, of all that can be explained.
  void findUsualSpill(Materials& materials) {
    std::array<std::vector<float>, kSpillDepths.size()> amounts;
    constexpr std::array<float, kSpillDepths.size() - 1> kBounds{6.0f, 10.0f, 16.0f, 32.0f, 64.0f};
    for (const Sample& s : samples_) {
      const Explained e = explain(materials, s.own, s.screen, 1.0f);
      if (e.sure < 0.3f) continue;
      const auto bin = std::upper_bound(kBounds.begin(), kBounds.end(), s.depth) - kBounds.begin();
      amounts[static_cast<std::size_t>(bin)].push_back(e.amount);
    }
    constexpr std::size_t kEnough = 40;
    float usual = 0.0f, light = 0.0f;
    for (std::size_t i = amounts.size(); i-- > 0;) {
      if (amounts[i].size() >= kEnough) {
        usual = ranked(amounts[i], 2);
        light = ranked(amounts[i], 4);
      }
      materials.usual.amounts[i] = usual;
      materials.light.amounts[i] = light;
    }
  }

  // What even the deepest parts of a material have of the screen's light. What is meant to be green or yellow has none.
  float lightOn(const Read& read, const Materials& materials) const {
    const std::size_t other = read.read[0] >= read.read[2] ? 0 : 2;
    const float asGreen = greenExcess(read.read) / std::max(read.screen[1] - read.screen[other], 10.0f);
    const float usual = 2.0f * materials.usual.at(read.depth);
    const float shallow = 1.0f - plates::smoothStep(16.0f, 32.0f, read.depth);  // as deep as light may well reach
    return std::max({std::clamp(asGreen, 0.0f, usual), ofGrey(read), ofWhite(read), shallow * ofEdge(read)});
  }

  static Material mended(const Read& read, float taken) {
    Material material{without(read.read, taken, read.screen), taken, read.spread};
    for (float& v : material.color) v = std::max(v, 1.0f);
    return material;
  }

  // What makes it grey, where anything along the screen's colour does.
  static float ofGrey(const Read& read) {
    const Color& color = read.read;
    const float share = std::max(chromaShare(color, read.screen), 0.0f);
    const auto rest = chroma(without(color, share, read.screen));
    const float off = std::sqrt(rest[0] * rest[0] + rest[1] * rest[1]) / (1.5f + 0.03f * luma(color));
    return share * (1.0f - plates::smoothStep(1.0f, 2.0f, off)) * (1.0f - plates::smoothStep(0.25f, 0.35f, share));
  }

  // Of bright and pale cloth and paper, what is greener than white in the light of any lamp: of these, warm or cold,
  // green is about the geometric mean of red and blue.
  static float ofWhite(const Read& read) {
    const Color& c = read.read;
    const float bright = std::max({c[0], c[1], c[2]}), dark = std::min({c[0], c[1], c[2]});
    const float pale = 1.0f - plates::smoothStep(0.22f, 0.35f, 1.0f - dark / std::max(bright, 1.0f));
    const auto greenOf = [&](float amount) {
      const Color w = without(c, amount, read.screen);
      return w[1] - 1.03f * std::sqrt(std::max(w[0], 0.0f) * std::max(w[2], 0.0f));
    };
    float low = 0.0f, high = 0.3f;
    if (greenOf(low) <= 0.0f || greenOf(high) > 0.0f) return 0.0f;
    for (int i = 0; i < 12; ++i) (greenOf(0.5f * (low + high)) > 0.0f ? low : high) = 0.5f * (low + high);
    return low * pale * plates::smoothStep(110.0f, 170.0f, bright);
  }

  // Of warm colours, which are those of skin and hair, what the engine takes for spill, where it is little: so deep
  // inside more is no light, but gold or yellow. What is dark shows more of it, and of the glare in the lens.
  static float ofWash(const Read& read) {
    const Color& c = read.read;
    const float bright = std::max({c[0], c[1], c[2]}), dark = 1.0f - plates::smoothStep(60.0f, 130.0f, bright);
    const float warm = plates::smoothStep(0.0f, 0.15f, (c[0] - c[2]) / std::max(bright, 1.0f));
    const float most = 0.05f + 0.03f * dark, amount = std::max(read.engine, 0.0f);
    return warm * amount * (1.0f - plates::smoothStep(most, 1.6f * most, amount));
  }

  // What is found near edges alone, and is a deeper material with the screen's light on it, is that material.
  float ofEdge(const Read& read) const {
    float taken = 0.0f;
    const float greenish = plates::smoothStep(0.02f, 0.05f, read.engine);  // as the engine sees it
    for (const Read& deep : read_) {
      const float deeper = plates::smoothStep(1.25f, 1.75f, deep.depth / std::max(read.depth, 1.0f));
      if (deeper <= 0.0f) continue;
      const Spill fit = spillOn({deep.read}, read.read, read.screen, 1.0f);
      const float likely = 1.0f - plates::smoothStep(1.5f, 3.0f, fit.misfit);
      taken = std::max(taken,
                       fit.amount * greenish * likely * deeper * (1.0f - plates::smoothStep(32.0f, 64.0f, read.depth)));
    }
    return taken;
  }

  const std::vector<Sample>& samples_;
  std::vector<Feature> features_, centres_;
  std::vector<std::vector<std::size_t>> groups_;
  std::vector<Read> read_;
};

Materials MaterialGathering::gather() const { return MaterialSearch(samples_).found(); }

}  // namespace kalvetra::refine
