// Frames of a drawn shot with a folded, unevenly lit screen, and what a perfect fit would say of each.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "plates/fit.h"

namespace kalvetra {

struct ShotFrame {
  double light = 1.0;
  double pan = 0.0;        // pixels
  double body = 0.5;       // place of the subject, 0..1; beyond that there is none
  double shadow = -9.0;    // place of a cast shadow's middle
  double otherwise = 0.0;  // of another wall, lit from the other side
  double width = 320.0, height = 180.0;
  double noise = 1.5;
  unsigned int seed = 1;
};

inline constexpr double kShadow = 0.6;  // of the light is left in it

inline double wallLight(const ShotFrame& f, double x, double y) {
  const double place = (x + f.pan) / f.width;
  const double fall = 1.0 + (0.3 - 0.9 * f.otherwise) * (place - 0.5) - 0.1 * y / f.height;
  const double folds = 0.06 * std::sin(place * 37.0) * std::sin(place * 11.0 + 3.0 * y / f.height);
  const double marks = 0.03 * std::sin(place * 130.0) * std::sin(y * 70.0 / f.height);
  return f.light * fall * (1.0 + folds + marks);
}

inline bool isBody(const ShotFrame& f, double x, double y, double wider = 0.0) {
  return std::hypot(x / f.width - f.body, (y / f.height - 0.7) * 0.56) < 0.12 + wider;
}
inline bool isShadow(const ShotFrame& f, double x) { return std::abs(x / f.width - f.shadow) < 0.08; }

// Levels of red, green and blue, of the wall alone or with all before it.
inline std::vector<double> drawnLevels(const ShotFrame& f, bool isBare = false) {
  std::vector<double> levels;
  unsigned int state = f.seed;
  for (int y = 0; y < static_cast<int>(f.height); ++y) {
    for (int x = 0; x < static_cast<int>(f.width); ++x) {
      const bool body = !isBare && isBody(f, x, y);
      const double light = wallLight(f, x, y) * (!isBare && isShadow(f, x) ? kShadow : 1.0);
      for (const double value :
           {body ? 200.0 : 45.0 * light, body ? 150.0 : 170.0 * light, body ? 130.0 : 60.0 * light}) {
        double noise = 0.0;
        for (int k = 0; k < 4 && !isBare; ++k) {  // about normal
          state = state * 1664525u + 1013904223u;
          noise += (state >> 8) / 16777216.0 - 0.5;
        }
        levels.push_back(value + f.noise * 1.732 * noise);
      }
    }
  }
  return levels;
}

// Packed Argb8.
inline std::vector<unsigned char> drawnShot(const ShotFrame& f, bool isBare = false) {
  std::vector<unsigned char> argb;
  for (const double level : drawnLevels(f, isBare)) {
    if (argb.size() % 4 == 0) argb.push_back(255);
    argb.push_back(static_cast<unsigned char>(std::clamp(level + 0.5, 0.0, 255.0)));
  }
  return argb;
}

inline ConstFrame pictureOf(const ShotFrame& f, const std::vector<unsigned char>& argb) {
  return packedFrame(argb.data(), static_cast<int>(f.width), static_cast<int>(f.height));
}

// The true wall, and all but the body and shadow for bare.
inline FittedPlate perfectFit(const ShotFrame& f) {
  FittedPlate fitted;
  fitted.plate = {drawnShot(f, true), static_cast<int>(f.width), static_cast<int>(f.height), 1.5f, false};
  fitted.sure = true;
  for (int y = 0; y < fitted.plate.height; ++y) {
    for (int x = 0; x < fitted.plate.width; ++x)
      fitted.bare.push_back(isBody(f, x, y, 0.02) || isShadow(f, x) ? 0 : 255);
  }
  return fitted;
}

// Mean error of a channel of a plate of the frame's size.
inline double meanError(const Plate& plate, const ShotFrame& truth) {
  const std::vector<unsigned char> wall = drawnShot(truth, true);
  double sum = 0.0;
  for (std::size_t i = 0; i < wall.size(); ++i) sum += std::abs(plate.argb.at(i) - wall[i]);
  return sum / (0.75 * static_cast<double>(wall.size()));
}

}  // namespace kalvetra
