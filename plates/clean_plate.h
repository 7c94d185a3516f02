// A picture of the empty set that the user has taken: made fit for a shot, and what is wrong with it.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "engine/frame.h"
#include "plates/fit.h"
#include "plates/levels.h"
#include "plates/plate.h"

namespace kalvetra {

// The mean of a clean plate's frames, or its one picture, without outliers (someone who walks off, a flash).
class CleanPlateMean {
 public:
  static constexpr std::size_t kMost = 9;

  // A frame, of the first one's size; after kMost more change nothing. Throws std::invalid_argument for one of another
  // size. Keeps 4 bytes a pixel, 6 where the first is of floats.
  void add(const ConstFrame& frame);
  // The bytes of a packed straight picture of the frames' size, opaque; empty before the first.
  std::vector<unsigned char> mean() const;
  PixelFormat format() const { return format_; }  // Argb8, or RgbaF32 where the first frame is
  int width() const { return width_; }
  int height() const { return height_; }

 private:
  int width_ = 0, height_ = 0;
  PixelFormat format_ = PixelFormat::Argb8;
  std::vector<std::vector<unsigned char>> frames_;  // of either format
  std::vector<plates::FineColors> fineFrames_;
};

// A frame of the shot that the plate is for, and what was fitted to it.
struct ShotSample {
  ConstFrame frame;
  const FittedPlate* fitted;
};

struct CleanPlate {
  Plate plate;          // of the frames' size or smaller, of their depth, in the shot's light; empty where refused
  std::string refusal;  // what is wrong and what to do; empty where the plate can be used
  std::vector<std::string> notes;               // what was mended or does not quite fit, of a plate that is used
  std::array<float, 3> gain{1.0f, 1.0f, 1.0f};  // red, green, blue: of the shot's light over the plate's
  float shift = 0.0f;                           // pixels of the frame that the camera has moved by, where it has
};

// Corrects a clean plate to the light of a shot, given by one or several of its frames of one size, and judges it.
// Where the plate shows no screen, the plate fitted to the first of the frames stands in. Refusal and notes are clauses
// that go on from the plate's name: "is 1920 x 1080, ...". A function of its arguments alone. Throws std::bad_alloc.
CleanPlate correctedPlate(const ConstFrame& clean, const std::vector<ShotSample>& shot);

}  // namespace kalvetra
