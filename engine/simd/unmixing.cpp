#include "engine/simd/kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/simd/unmixing.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>

#include "cpu/dispatch.h"
#include "engine/simd/unmixing-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

std::size_t unmixLuminances(const float* y, const float* backdropY, const float* amount, Unmixed* result,
                            std::size_t count, double widening) {
  const DF df;
  std::size_t decided = 0;
  HWY_ALIGN float luminances[hn::MaxLanes(df)], opacities[hn::MaxLanes(df)];
  for (std::size_t i = 0; i < count; i += hn::Lanes(df)) {
    const VF backdrop = hn::LoadU(df, backdropY + i);
    const auto logs = [&]() HWY_ATTR { return logsOf(backdrop); };
    const MF wanted = hn::FirstN(df, hn::Lanes(df));
    const UnmixedLanes u =
        unmixed(hn::LoadU(df, y + i), backdrop, hn::LoadU(df, amount + i), wanted, logs, {widening, &decided});
    hn::Store(u.luminance, df, luminances);
    hn::Store(u.opacity, df, opacities);
    for (std::size_t lane = 0; lane < hn::Lanes(df); ++lane) result[i + lane] = {luminances[lane], opacities[lane]};
  }
  return decided;
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(unmixLuminances);

std::size_t simd::unmixLuminances(const float* y, const float* backdropY, const float* amount, Unmixed* result,
                                  std::size_t count, double widening) {
  return KALVETRA_VECTOR_FORM(unmixLuminances)(y, backdropY, amount, result, count, widening);
}

}  // namespace kalvetra
#endif
