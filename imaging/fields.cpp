// Interlaced fields: split a frame into its two fields, weave two fields into a frame.
#include <cstddef>
#include <cstring>

#include "imaging/CImagingZEP.h"

namespace {

// Calls copy(frameRow, fieldRow, bytes) for every frame row and its row in the field that it belongs to.
template <class Copy>
void forEachFieldRow(int width, int height, unsigned char* frame, unsigned char* oddField, unsigned char* evenField,
                     Copy copy) {
  if (width < 1) return;
  const std::ptrdiff_t rowBytes = std::ptrdiff_t{4} * width;
  for (int y = 0; y < height; ++y) {
    unsigned char* field = y % 2 != 0 ? oddField : evenField;
    copy(frame + y * rowBytes, field + y / 2 * rowBytes, static_cast<std::size_t>(rowBytes));
  }
}

}  // namespace

int CImagingZEP::SepareteField32bit(int width, int height, unsigned char* frame, unsigned char* oddField,
                                    unsigned char* evenField) {
  forEachFieldRow(width, height, frame, oddField, evenField,
                  [](unsigned char* row, unsigned char* field, std::size_t bytes) { std::memcpy(field, row, bytes); });
  return 1;
}

int CImagingZEP::CompositeField32bit(int width, int height, unsigned char* frame, unsigned char* oddField,
                                     unsigned char* evenField) {
  forEachFieldRow(width, height, frame, oddField, evenField,
                  [](unsigned char* row, unsigned char* field, std::size_t bytes) { std::memcpy(row, field, bytes); });
  return 1;
}
