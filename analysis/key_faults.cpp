#include "analysis/key_faults.h"

#include <algorithm>

#include "analysis/key_faults_maps.h"

namespace kalvetra {

namespace {

using namespace faults;
constexpr double kContrast = 128.0;  // levels, of a background against what wrongly covers or bares it

struct Sums {
  double haze = 0, filled = 0, eaten = 0, screenLeft = 0, spillLeft = 0, opposite = 0, turned = 0, bare = 0;
};

}  // namespace

KeyFaults keyFaults(const ConstFrame& source, const ConstFrame& keyed, int keyColor, int screen,
                    const Workers* workers) {
  const Maps maps = mapsOf(source, keyed, keyColor, screen, workers);
  Sums sums;
  const std::size_t pixels = maps.alpha.values.size();
  for (std::size_t i = 0; i < pixels; ++i) {
    const PixelFaults f = faultsAt(maps, i);
    const double bare = static_cast<double>(maps.bare[i]);
    sums.bare += bare;
    sums.haze += bare * f.haze;
    sums.filled += f.filled;
    sums.eaten += f.eaten;
    sums.screenLeft += f.screenLeft;
    sums.spillLeft += f.spillLeft;
    sums.opposite += f.opposite;
    sums.turned += f.turned;
  }
  const double subject = std::max(static_cast<double>(pixels) - sums.bare, 1.0);
  KeyFaults faults;
  faults.haze = kContrast * sums.haze / std::max(sums.bare, 1.0);
  faults.filled = kContrast * sums.filled / subject;
  faults.eaten = kContrast * sums.eaten / subject;
  faults.screenLeft = sums.screenLeft / subject;
  faults.spillLeft = sums.spillLeft / subject;
  faults.opposite = sums.opposite / subject;
  faults.turned = sums.turned / subject;
  faults.blocks = kContrast / 255.0 * blockSteps(maps) / subject;
  faults.bare = sums.bare / static_cast<double>(pixels);
  faults.total = faults.bare * faults.haze +
                 (1.0 - faults.bare) * (faults.filled + faults.eaten + faults.screenLeft + faults.spillLeft +
                                        faults.opposite + faults.turned + faults.blocks);
  return faults;
}

void FaultReport::add(const KeyFaults& faults, std::int64_t frame) {
  ++pictures_;
  for (std::size_t i = 0; i < kFaultRows.size(); ++i) {
    MatteFigure& figure = figures_[i];
    const double value = faults.*kFaultRows[i].value, mean = figure.mean.value_or(0.0);
    figure.mean = mean + (value - mean) / static_cast<double>(pictures_);
    if (figure.worstFrame != 0 && value <= figure.worst) continue;
    figure.worst = value;
    figure.worstFrame = frame;
  }
}

}  // namespace kalvetra
