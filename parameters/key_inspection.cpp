#include "parameters/key_inspection.h"

#include "parameters/render_values.h"

namespace kalvetra {

Treatment treatmentAt(const KeySettings& settings, const unsigned char* input, int width, int height, bool fields,
                      int x, int y) {
  return treatmentAt(packedFrame(input, nullptr, width, height), valuesOf(settings),
                     fields ? Scan::Fields : Scan::Whole, x, y);
}

KeyLines keyLines(const KeySettings& settings) { return keyLines(valuesOf(settings)); }

}  // namespace kalvetra
