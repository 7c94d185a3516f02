#include "plates/fit.h"

#include <algorithm>
#include <cmath>

#include "imaging/maths.h"
#include "imaging/numeric.h"
#include "plates/fit_light.h"
#include "plates/fit_likeness.h"
#include "plates/fit_paint.h"
#include "plates/fit_picture.h"
#include "plates/fit_reference.h"

namespace kalvetra {

using namespace plates;

namespace {

Planes softened(const Planes& planes, int radius, const Workers* workers) {
  return {boxMean(planes[0], radius, workers), boxMean(planes[1], radius, workers),
          boxMean(planes[2], radius, workers)};
}

// Light over the whole picture as a plane tilted and bent a little: what the filled plate differs from.
class LightModel {
 public:
  LightModel(const Plane& light, const Plane& weight) : scaleX_(1.0 / light.width), scaleY_(1.0 / light.height) {
    constexpr int kStep = 4;
    double matrix[kTerms][kTerms] = {}, total = 0.0;
    for (int y = 0; y < light.height; y += kStep) {
      for (int x = 0; x < light.width; x += kStep) {
        const double w = static_cast<double>(weight.row(y)[x]);
        if (w <= 0.0) continue;
        double terms[kTerms];
        fill(terms, x, y);
        const double value = static_cast<double>(light.row(y)[x]);
        for (int i = 0; i < kTerms; ++i) {
          right_[i] += w * terms[i] * value;
          for (int j = 0; j < kTerms; ++j) matrix[i][j] += w * terms[i] * terms[j];
        }
        lowest_ = total == 0.0 ? value : std::min(lowest_, value);
        highest_ = total == 0.0 ? value : std::max(highest_, value);
        total += w;
      }
    }
    if (total <= 0.0) return;
    for (int i = 1; i < kTerms; ++i) matrix[i][i] += 1e-3 * total;
    // Gauss without pivots: the matrix is positive definite.
    for (int i = 0; i < kTerms; ++i) {
      for (int k = i + 1; k < kTerms; ++k) {
        const double f = matrix[k][i] / std::max(matrix[i][i], 1e-12);
        for (int j = i; j < kTerms; ++j) matrix[k][j] -= f * matrix[i][j];
        right_[k] -= f * right_[i];
      }
    }
    for (int i = kTerms; i-- > 0;) {
      for (int j = i + 1; j < kTerms; ++j) right_[i] -= matrix[i][j] * right_[j];
      right_[i] /= std::max(matrix[i][i], 1e-12);
    }
  }
  double at(double x, double y) const {
    double terms[kTerms], sum = 0.0;
    fill(terms, x, y);
    for (int i = 0; i < kTerms; ++i) sum += right_[i] * terms[i];
    return std::clamp(sum, lowest_ - 0.1, highest_ + 0.1);
  }

 private:
  static constexpr int kTerms = 6;
  void fill(double* terms, double px, double py) const {
    const double x = px * scaleX_ - 0.5, y = py * scaleY_ - 0.5;
    terms[0] = 1.0, terms[1] = x, terms[2] = y, terms[3] = x * x, terms[4] = x * y, terms[5] = y * y;
  }
  double scaleX_, scaleY_;
  double right_[kTerms] = {};
  double lowest_ = 0.0, highest_ = 0.0;
};

// The colour that paint and light foretell at every place, worked out on a coarse grid.
Planes foretold(const PaintModel& paint, const LightModel& light, float keySum, int width, int height,
                const Workers* workers) {
  constexpr int kGrid = 8;
  const int columns = (width + kGrid - 1) / kGrid, rows = (height + kGrid - 1) / kGrid;
  Planes grid{Plane(columns, rows), Plane(columns, rows), Plane(columns, rows)};
  for (int y = 0; y < rows; ++y) {
    for (int x = 0; x < columns; ++x) {
      const double px = (x + 0.5) * width / columns - 0.5, py = (y + 0.5) * height / rows - 0.5;
      const double level = light.at(px, py);
      const float sum = keySum * static_cast<float>(maths::pow(2.0, level));
      const Shares shares = paint.at(static_cast<float>(px), static_cast<float>(py), static_cast<float>(level));
      grid[0].row(y)[x] = sum * shares.red;
      grid[1].row(y)[x] = sum * (1.0f - shares.red - shares.blue);
      grid[2].row(y)[x] = sum * shares.blue;
    }
  }
  return {enlarged(grid[0], width, height, workers), enlarged(grid[1], width, height, workers),
          enlarged(grid[2], width, height, workers)};
}

Plate plateOf(const Planes& planes) {
  Plate plate;
  plate.width = planes[0].width;
  plate.height = planes[0].height;
  plate.argb.resize(planes[0].values.size() * kPixelBytes);
  for (std::size_t i = 0; i < planes[0].values.size(); ++i) {
    plate.argb[i * kPixelBytes] = 255;
    for (std::size_t c = 0; c < 3; ++c) plate.argb[i * kPixelBytes + c + 1] = truncToByte(planes[c][i] + 0.5f);
  }
  return plate;
}

// One pixel of the key colour.
FittedPlate unsure(const std::string& why, const std::array<double, 3>& keyColor) {
  FittedPlate fitted;
  fitted.plate.width = fitted.plate.height = 1;
  fitted.plate.argb = {255, 0, 0, 0};
  for (std::size_t c = 0; c < 3; ++c)
    fitted.plate.argb[c + 1] = truncToByte(static_cast<float>(keyColor[c] * 255.0 + 0.5));
  fitted.bare = {0};
  fitted.why = why;
  return fitted;
}

}  // namespace

FittedPlate fitPlate(const ConstFrame& frame, const KeySettings& settings, const Workers* workers) {
  const PaleAxis axis(settings.keyColor);
  constexpr float kLeastColor = 0.08f;  // shares between the key and grey; a screen has more than .2
  if (frame.width < 1 || frame.height < 1) return unsure("the frame has no pixels", settings.keyColor);
  if (axis.length() < kLeastColor) return unsure("the key colour is too grey to be a screen's", settings.keyColor);
  FittedPlate fitted;
  const float keySum = 255.0f * static_cast<float>(settings.keyColor[0] + settings.keyColor[1] + settings.keyColor[2]);
  const Picture picture = reducedPicture(frame, kLongestFit, workers);
  const float unit = picture.unit;
  const int width = picture.seen.width, height = picture.seen.height;
  const Planes soft = softened(picture.color, pixelsOf(1.5f, unit), workers);
  const PaintAndLight parted = partedPicture(soft, std::max(keySum, 1.0f), workers);
  const PaintModel paint(picture, parted, axis);
  Likeness likeness(paint, axis, parted, unit, workers);
  const Plane nothing(width, height);
  likeness.settle(likeness.at(nothing, nothing));
  const Plane sure = likeness.at(Plane(width, height, 1.0f), nothing);
  const Plane calm = calmOf(parted.light, sure, unit, workers);
  const Plane trusted = likeness.trusted(sure, clearInOwnKey(picture, settings, calm, workers));
  Subject subject = subjectOf(likeness.at(nothing, trusted), unit, workers);
  Plane weight = likeness.at(subject.near, trusted);
  for (std::size_t i = 0; i < weight.values.size(); ++i) subject.near[i] *= 1.0f - trusted[i];
  const Plane lit = litShare(parted.light, weight, subject, unit, workers);
  for (std::size_t i = 0; i < weight.values.size(); ++i) weight[i] *= lit[i] * picture.seen[i];
  // Not beside what is not bare: edges mix.
  const Plane around = boxMean(weight, pixelsOf(2.0f, unit), workers);
  for (std::size_t i = 0; i < weight.values.size(); ++i) weight[i] *= smoothStep(0.7f, 0.95f, around[i]);

  const LightModel light(parted.light, weight);
  Planes planes = foretold(paint, light, keySum, width, height, workers);
  Planes rest = soft;
  for (std::size_t c = 0; c < 3; ++c) {
    for (std::size_t i = 0; i < weight.values.size(); ++i) rest[c][i] -= planes[c][i];
  }
  rest =
      softened(softened(filled(rest, weight, workers), pixelsOf(2.0f, unit), workers), pixelsOf(2.0f, unit), workers);
  for (std::size_t c = 0; c < 3; ++c) {
    for (std::size_t i = 0; i < weight.values.size(); ++i) planes[c][i] += rest[c][i];
  }
  fitted.plate = plateOf(planes);
  double sum = 0.0;
  fitted.bare.resize(weight.values.size());
  for (std::size_t i = 0; i < weight.values.size(); ++i) {
    sum += static_cast<double>(weight[i]);
    fitted.bare[i] = truncToByte(255.0f * weight[i] + 0.5f);
  }
  fitted.covered = sum / static_cast<double>(weight.values.size());
  fitted.plate.noise = noiseOf(frame, weight);
  fitted.sure = fitted.covered > 0.02;
  if (!fitted.sure) fitted.why = "too little of the bare screen is seen to fit a plate to it";
  return fitted;
}

}  // namespace kalvetra
