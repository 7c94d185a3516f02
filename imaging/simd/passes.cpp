#include "imaging/simd/passes.h"

#include <cstring>
#include <memory>

#include "imaging/simd/resampled_rows.h"

namespace kalvetra::simd {

bool resample(const Pixels& source, const Pixels& result, int filter, int lobes) {
  ResampledRows rows(source.data, source.width, source.height, source.stride, result.width, result.height, filter,
                     lobes);
  if (!rows.possible()) return false;
  const std::size_t bytes = static_cast<std::size_t>(result.width) * 4;
  const auto row = std::make_unique_for_overwrite<unsigned char[]>(bytes);
  for (int y = 0; y < result.height; ++y) {
    unsigned char* out = result.data + y * result.stride;
    rows.next(row.get());
    for (std::size_t i = 0; i < bytes; i += 4) std::memcpy(out + i, row.get() + i, 3);
  }
  return true;
}

}  // namespace kalvetra::simd
