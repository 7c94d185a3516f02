// The project's own demonstration shot: three seconds of a waving person in front of an unevenly lit green screen,
// drawn by code. Because the scene is drawn, the true alpha of every pixel is known.
#pragma once

#include <vector>

namespace kalvetra::sample {

inline constexpr int kWidth = 1280;    // pixels
inline constexpr int kHeight = 720;    // pixels
inline constexpr int kFrameRate = 30;  // frames per second
inline constexpr int kFrameCount = 90;

struct DemoFrame {
  // What the camera saw, display-referred: kWidth * kHeight * 4 bytes in the order alpha (always 255), red, green,
  // blue; rows from top to bottom without padding.
  std::vector<unsigned char> argb;
  // The true coverage of the subject: kWidth * kHeight bytes, 0 = only screen, 255 = only subject, rounded.
  std::vector<unsigned char> alpha;
};

// Draws frame `index`, 0..kFrameCount-1; throws std::out_of_range for any other. The result depends on the index alone,
// so frames may be drawn in any order and on any thread.
DemoFrame drawFrame(int index);

// The mono sound of the whole shot, values within -1..1: exactly kFrameCount / kFrameRate seconds at `sampleRate`
// samples per second; throws std::invalid_argument unless the rate is above 0.
std::vector<float> drawSound(int sampleRate);

}  // namespace kalvetra::sample
