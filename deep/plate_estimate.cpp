// The backdrop behind the small copy of a frame: edges and all that is not the backdrop's paint are left out, the holes
// filled, the whole smoothed.
#include <algorithm>
#include <array>
#include <cmath>

#include "deep/expected_chroma.h"
#include "deep/plate_kernels.h"
#include "deep/small_plate.h"
#include "engine/key_geometry.h"

namespace kalvetra::deep {

namespace {

using Values = std::vector<float>;

// What the steps find out about each pixel of the plate, 1 or 0.
struct Marks {
  explicit Marks(const SmallPlate& plate) : rejected(plate.width(), plate.height(), 0), holes(rejected) {}
  HoleMap rejected;  // no backdrop, or an edge
  HoleMap holes;     // these, and what has no red: they grow
};

// A row with a pixel more on either side: the second one again before the first, the last again after the last.
void padRow(const float* row, int width, Values& padded) {
  std::copy_n(row, 4 * width, padded.begin() + 4);
  std::copy_n(row + 4, 4, padded.begin());
  std::copy_n(row + 4 * (width - 1), 4, padded.begin() + 4 * (width + 1));
}

// Where the 3 x 3 Laplacian's positive responses reach the threshold, summed over the channels. The rows above and
// below the picture are those that padRow takes at its sides.
void rejectEdges(const SmallPlate& plate, HoleMap& rejected) {
  const int width = plate.width(), height = plate.height();
  const std::size_t floats = std::size_t{4} * static_cast<unsigned>(width);
  std::array<Values, 3> rows;
  for (Values& row : rows) row.resize(floats + 8);
  const auto pad = [&](int y) {
    padRow(plate.row(y < 0 ? 1 : std::min(y, height - 1)), width, rows[static_cast<std::size_t>((y + 3) % 3)]);
  };
  pad(-1);
  pad(0);
  Values columns(floats + 8), responses(floats);
  for (int y = 0; y < height; ++y) {
    pad(y + 1);
    const Values &first = rows[0], &second = rows[1], &third = rows[2], &own = rows[static_cast<std::size_t>(y % 3)];
    for (std::size_t i = 0; i < columns.size(); ++i) columns[i] = (first[i] + second[i]) + third[i];
    for (std::size_t i = 0; i < floats; ++i) {
      const float response = 9.0f * own[i + 4] - ((columns[i] + columns[i + 4]) + columns[i + 8]);
      responses[i] = response > 0.0f ? response : 0.0f;
    }
    unsigned char* mark = rejected.row(y);
    for (int x = 0; x < width; ++x) {
      const float* response = responses.data() + 4 * x;
      mark[x] = (response[0] + response[1]) + response[2] >= 3.0f * kEdgeThreshold ? 1 : 0;
    }
  }
}

// Whether a colour is plausibly the backdrop's: of its hues, and near the key colour's chroma at its own luminance.
class BackdropColors {
 public:
  explicit BackdropColors(const KALVETRA_Param& param)
      : slope1_(boundSlope(param.nSkinHue[0])),
        slope2_(boundSlope(param.nBlueHue[0])),
        expected_(param.keyColor[0][0], param.keyColor[1][0], param.keyColor[2][0]) {}
  bool operator()(const float* pixel) const {
    const YIQ color = colorOf(pixel[0], pixel[1], pixel[2]);
    if (!(slope1_ * color.I > color.Q && slope2_ * color.I > color.Q)) return false;
    const Chroma off = chromaOf(color) - expected_.at(color.Y);
    return std::sqrt(dot(off, off)) <= ExtractionGeometry::kTolerance;
  }

 private:
  float slope1_, slope2_;
  ExpectedChroma expected_;
};

// Pixels without red count as holes to what is next to them, as in 8 bits. There the small copy is truncated: what is
// below this comes to none as a rule; whether an even red of 1 stays hangs on the size: it does in 1920 x 1080, not in
// 1280 x 720.
constexpr float kLeastRed = 0.999f;

Marks markHoles(const SmallPlate& plate, const KALVETRA_Param& param) {
  Marks marks(plate);
  rejectEdges(plate, marks.rejected);
  const BackdropColors isBackdrop(param);
  for (int y = 0; y < plate.height(); ++y) {
    const float* pixel = plate.row(y);
    unsigned char *rejected = marks.rejected.row(y), *hole = marks.holes.row(y);
    for (int x = 0; x < plate.width(); ++x, pixel += 4) {
      if (!isBackdrop(pixel)) rejected[x] = 1;
      hole[x] = rejected[x] != 0 || pixel[0] < kLeastRed ? 1 : 0;
    }
  }
  return marks;
}

std::vector<float> windowWeights(int size, int radius) {
  std::vector<float> weights;
  for (int i = 0; i < size; ++i) {
    weights.push_back(1.0f / static_cast<float>(std::min(i + radius, size - 1) - std::max(i - radius, 0) + 1));
  }
  return weights;
}

// The mean over a square window, of as much of it as lies in the picture.
void smooth(SmallPlate& plate, int radius) {
  const int width = plate.width(), height = plate.height();
  const std::vector<float> across = windowWeights(width, radius), down = windowWeights(height, radius);
  const SmallPlate source = plate;
  const auto margin = std::size_t{4} * static_cast<unsigned>(radius);
  Values column(plate.rowFloats() + 2 * margin), ones(static_cast<std::size_t>(2 * radius + 1), 1.0f);
  std::vector<const float*> rows, shifted;
  for (int k = 0; k <= 2 * radius; ++k) shifted.push_back(column.data() + 4 * k);
  for (int y = 0; y < height; ++y) {
    rows.clear();
    for (int k = std::max(y - radius, 0); k <= std::min(y + radius, height - 1); ++k) rows.push_back(source.row(k));
    weightedSum(rows.data(), ones.data(), rows.size(), column.data() + margin, plate.rowFloats());
    std::fill(column.begin() + static_cast<std::ptrdiff_t>(margin) + 4 * width, column.end(), 0.0f);
    float* const row = plate.row(y);
    weightedSum(shifted.data(), ones.data(), shifted.size(), row, plate.rowFloats());
    for (int x = 0; x < width; ++x) {
      const float weight = across[static_cast<std::size_t>(x)] * down[static_cast<std::size_t>(y)];
      for (int c = 0; c < 4; ++c) row[4 * x + c] *= weight;
    }
  }
}

}  // namespace

// Edges are sought before anything is left out.
bool makePlate(const KALVETRA_Param& param, SmallPlate& plate) {
  Marks marks = markHoles(plate, param);
  HoleMap grown = nextToHoles(marks.holes, plate.width(), plate.height(), kHoleGrowth);
  HoleMap surviving(plate.width(), plate.height(), 0);
  bool any = false;
  for (int y = 0; y < plate.height(); ++y) {
    const unsigned char *rejected = marks.rejected.row(y), *near = grown.row(y);
    unsigned char* survives = surviving.row(y);
    for (int x = 0; x < plate.width(); ++x) {
      survives[x] = (rejected[x] | near[x]) != 0 ? 0 : 1;
      any = any || survives[x] != 0;
    }
  }
  fillHoles(plate, surviving, param);
  smooth(plate, kPlateBlur);
  return any;
}

}  // namespace kalvetra::deep
