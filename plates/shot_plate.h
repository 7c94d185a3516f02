// The backdrop gathered over the frames of a shot: what was seen as bare screen at each place at any time.
#pragma once

#include <string>
#include <vector>

#include "engine/frame.h"
#include "engine/workers.h"
#include "plates/cells.h"
#include "plates/fit.h"
#include "plates/levels.h"
#include "plates/plane.h"
#include "plates/plate.h"
#include "plates/shift.h"

namespace kalvetra {

struct GatheredPlate {
  Plate plate;          // of the frames' size, or a fraction of it; keeps shadows where enough was seen
  double seen = 0.0;    // share of the picture that was seen bare, 0..1; the rest is fitted and joined on smoothly
  bool locked = false;  // the camera stood still, and the light kept its shape: the plate is true for the whole shot
  std::string why;      // where it is not: a sentence for the user
};

// Give it capacity() frames from all over the shot: the further apart they lie, the more of the screen is seen.
class ShotPlate {
 public:
  // How many frames of that size it keeps at most, 8 to 60: about 200 MB of them, 300 MB where they are of floats.
  static std::size_t capacity(int width, int height);

  // A frame, of the first one's size, whose depth the gathered plate has, and the plate fitted to it; or one of about
  // the same time, whose map of what is bare is then not used. Passed over where the fit is not sure, and where
  // capacity() frames are kept already. Throws std::invalid_argument for a frame of another size, std::bad_alloc.
  void add(const ConstFrame& frame, const FittedPlate& fitted, bool isOfThisFrame = true);

  // The same bytes for any workers. An empty plate, not locked, where there are no frames. Throws std::bad_alloc.
  GatheredPlate gather(const Workers* workers = nullptr) const;

  // Those that are kept.
  std::size_t frames() const { return kept_.size(); }

 private:
  struct Kept {
    std::vector<unsigned char> argb;  // packed; alpha 255 where bare, otherwise 0; empty where fine has the colours
    plates::FineColors fine;          // of frames of floats: what is bare
    plates::Cells cells;              // of what is bare
    plates::Texture texture;
  };

  void addToFitted(const Plate& plate);
  plates::Planes joined(const std::vector<float>& colors, const std::vector<unsigned char>& seen,
                        const Workers* workers) const;

  int width_ = 0, height_ = 0;               // of the frames
  int columns_ = 0, rows_ = 0;               // of what is kept
  PixelFormat format_ = PixelFormat::Argb8;  // of the plate
  bool isBlue_ = false;                      // what is kept has green and blue in each other's place
  std::vector<Kept> kept_;
  plates::Planes fitted_;      // sums of the fitted plates, in the light of the first
  plates::Cells fittedCells_;  // of the first
  float fittedCount_ = 0.0f, fittedNoise_ = 0.0f;
};

}  // namespace kalvetra
