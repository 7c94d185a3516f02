// Trial keys: how far the engine's result lies from what it should be under given settings.
#pragma once

#include <vector>

#include "analysis/reference_matte.h"
#include "engine/key_settings.h"

namespace kalvetra {

class Trials {
 public:
  // A picture in host order, packed; it is copied.
  void add(const unsigned char* argb, int width, int height, ReferenceMatte matte);

  // Mean difference in levels (0..255) between the key and its target, each laid over mid grey and over magenta;
  // pixels without a target count as right. Green that the default settings take out of solid places, and these
  // settings leave in, counts once more: a little too brown is seen less than a green fringe. The picture is keyed
  // again unless only the clip levels have changed since the last call.
  double cost(const KeySettings& settings);

  // The largest radius of deblocking that is worth a trial in pictures of this size: a pixel for each 640 of width.
  int widestDeblock() const;

  // Of each picture.
  std::vector<const ReferenceMatte*> mattes() const;

  // Each whole picture as it is, and keyed; packed, in host order.
  struct Keyed {
    std::vector<unsigned char> argb;
    int width, height;
  };
  std::vector<Keyed> sources() const;
  std::vector<Keyed> keys(const KeySettings& settings) const;

 private:
  struct Picture {
    std::vector<unsigned char> argb;
    int width, height;
    ReferenceMatte matte;
    std::vector<unsigned char> result;
    std::vector<std::array<unsigned char, 4>> keyed;     // of each target, before clipping
    std::vector<std::array<unsigned char, 4>> defaults;  // the same under default settings
  };
  void key(const KeySettings& settings);
  void keyDefaults(const KeySettings& settings);

  std::vector<Picture> pictures_;
  KeySettings keyedWith_{};
};

}  // namespace kalvetra
