// The colours of a shot's materials without the screen's light on them: skin, hair, each cloth.
#pragma once

#include <array>
#include <vector>

#include "refine/cells.h"
#include "refine/colors.h"

namespace kalvetra::refine {

struct Material {
  Color color;          // of its own, where it is lit as usual
  float taken = 0.0f;   // share of the screen that was taken out of what was read
  float spread = 0.0f;  // standard deviation of its own colours along the screen's, as such a share
};

// Depths, in 1080ths of the height, at which the usual spill is known; linear between, level beyond.
inline constexpr std::array<float, 6> kSpillDepths{5.0f, 8.0f, 13.0f, 24.0f, 48.0f, 80.0f};

// Shares of the screen at those depths.
struct ByDepth {
  std::array<float, kSpillDepths.size()> amounts{};
  float at(float depth) const;
};

struct Materials {
  std::vector<Material> all;
  ByDepth usual;  // as much of the screen is in half of what there is
  ByDepth light;  // in three quarters of it: what falls on everything alike
};

// Gathers what is looked at in one frame or in several frames of a shot, which are added in the order of time.
class MaterialGathering {
 public:
  // Throws std::bad_alloc.
  void add(const Cells& cells);
  void add(const MaterialGathering& more);
  Materials gather() const;

 private:
  struct Sample {
    Color own, screen;
    float depth, engine;
  };
  friend class MaterialSearch;
  std::vector<Sample> samples_;
};

// How a colour comes about from a material in some light and with some of the screen's light on it.
struct Spill {
  float amount;  // of the screen, may be below 0
  float light;   // the material's brightness beyond 1
  float misfit;  // chi squared: of the colour, and of how unlikely such spill and such light are
};

// `trust` 0..1: how much of the colour is the subject's; where that is little, the colour is uncertain, and most so in
// how much of the screen is in it.
Spill spillOn(const Material& material, const Color& own, const Color& screen, float trust);
// The same of anything grey.
Spill spillOnGrey(const Color& own, const Color& screen, float trust);

// What all of them together say of a colour: each by how well it explains it.
struct Explained {
  float amount = 0.0f;  // of the screen, 0 and above
  float sure = 0.0f;    // 0..1: 0 where none explains it
  float mended = 0.0f;  // 0..1: by materials that are known to have had the screen's light in them, or grey
  Color color{};        // the colour that the materials give it, without the screen
};
Explained explain(const Materials& materials, const Color& own, const Color& screen, float trust);

}  // namespace kalvetra::refine
