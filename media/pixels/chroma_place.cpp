#include "media/pixels/chroma_place.h"

#include <algorithm>
#include <cmath>

namespace kalvetra {

namespace {

bool isCentredVertically(AVChromaLocation location) {
  return location == AVCHROMA_LOC_UNSPECIFIED || location == AVCHROMA_LOC_LEFT || location == AVCHROMA_LOC_CENTER;
}

}  // namespace

float firstChromaColumn(AVChromaLocation location, int log2) {
  const bool centred =
      location == AVCHROMA_LOC_CENTER || location == AVCHROMA_LOC_TOP || location == AVCHROMA_LOC_BOTTOM;
  return centred ? static_cast<float>((1 << log2) - 1) / 2.0f : 0.0f;
}

float firstChromaRow(AVChromaLocation location, int log2) {
  const auto most = static_cast<float>((1 << log2) - 1);
  switch (location) {
    case AVCHROMA_LOC_TOPLEFT:
    case AVCHROMA_LOC_TOP:
      return 0.0f;
    case AVCHROMA_LOC_BOTTOMLEFT:
    case AVCHROMA_LOC_BOTTOM:
      return most;
    default:
      return most / 2.0f;
  }
}

ChromaRow chromaRowAt(AVChromaLocation location, int log2, int rows, int y, bool fields) {
  const auto step = static_cast<float>(1 << log2);
  const int field = fields ? y % 2 : 0, apart = fields ? 2 : 1;
  const int fieldRows = (rows - field + apart - 1) / apart;
  if (log2 == 0 || fieldRows < 1) return {std::min(y, rows - 1), std::min(y, rows - 1), 0.0f};
  float first = firstChromaRow(location, log2);
  if (fields && isCentredVertically(location)) first *= field == 0 ? 0.5f : 1.5f;
  const float place = (static_cast<float>(y / apart) - first) / step;
  const int upper = static_cast<int>(std::floor(place));
  const auto row = [&](int at) { return std::clamp(at, 0, fieldRows - 1) * apart + field; };
  return {row(upper), row(upper + 1), place - static_cast<float>(upper)};
}

}  // namespace kalvetra
