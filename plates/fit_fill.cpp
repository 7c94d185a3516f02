#include "plates/fit_fill.h"

#include <algorithm>

#include "imaging/maths.h"

namespace kalvetra::plates {

namespace {

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
    constexpr double kPull = 0.002;  // towards even light: little seen must not foretell much
    for (int i = 1; i < kTerms; ++i) matrix[i][i] += kPull * total;
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
    const double py = (y + 0.5) * height / rows - 0.5;
    const PaintModel::Row row = paint.rowAt(static_cast<float>(py));
    for (int x = 0; x < columns; ++x) {
      const double px = (x + 0.5) * width / columns - 0.5;
      const double level = light.at(px, py);
      const float sum = keySum * static_cast<float>(maths::pow(2.0, level));
      const Shares shares = row.at(static_cast<float>(px), static_cast<float>(level));
      grid[0].row(y)[x] = sum * shares.red;
      grid[1].row(y)[x] = sum * (1.0f - shares.red - shares.blue);
      grid[2].row(y)[x] = sum * shares.blue;
    }
  }
  return {enlarged(grid[0], width, height, workers), enlarged(grid[1], width, height, workers),
          enlarged(grid[2], width, height, workers)};
}

}  // namespace

Planes softened(const Planes& planes, int radius, const Workers* workers) {
  return {boxMean(planes[0], radius, workers), boxMean(planes[1], radius, workers),
          boxMean(planes[2], radius, workers)};
}

Planes filledScreen(const Planes& soft, const PaintAndLight& parted, const PaintModel& paint, const Plane& weight,
                    float keySum, float unit, const Workers* workers) {
  const LightModel light(parted.light, weight);
  Planes planes = foretold(paint, light, keySum, weight.width, weight.height, workers);
  Planes errors = soft;
  for (std::size_t c = 0; c < 3; ++c) {
    for (std::size_t i = 0; i < weight.values.size(); ++i) errors[c][i] -= planes[c][i];
  }
  errors = filled(errors, weight, workers);
  for (int round = 0; round < 2; ++round) errors = softened(errors, pixelsOf(2.0f, unit), workers);
  for (std::size_t c = 0; c < 3; ++c) {
    for (std::size_t i = 0; i < weight.values.size(); ++i) planes[c][i] += errors[c][i];
  }
  return planes;
}

}  // namespace kalvetra::plates
