#include "imaging/CImagingZEP.h"
#include "imaging/simd/resample_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/simd/kernel_weights.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <hwy/contrib/math/math-inl.h>

#include <limits>
#include <numbers>

#include "cpu/dispatch.h"
#include "imaging/simd/spans-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

// A weight is rounded to single precision once. Highway states 3 units in the last place for Sin, up to
// 39000 as is any distance within 12000 pixels; 2^-48 is allowed for
// each of the two sines, and with their divisors they make the bound below, fourfold. Where both ends of the interval
// round to the same float, so does the exact value; elsewhere the plain form decides.
void kernelWeights(const double* distances, float* weights, std::size_t count, int filter, int lobes) {
  forSpan<double>(0, count, [&](auto dd, std::size_t i) HWY_ATTR {
    const hn::Rebind<float, decltype(dd)> df;
    const auto all = [dd](double v) HWY_ATTR { return hn::Set(dd, v); };
    const auto x = hn::LoadU(dd, distances + i), one = all(1.0);
    const auto t = x * all(std::numbers::pi);
    const auto u = t / all(lobes);
    const auto cutOff = filter == 1 ? all(2.670353755551324) * x : t;
    const auto weight = hn::Sin(dd, cutOff) / cutOff * (hn::Sin(dd, u) / u);
    const auto doubt = all(0x1p-46) * (one / hn::Abs(cutOff) + one / hn::Abs(u));

    const auto centre = hn::Abs(x) < all(std::numeric_limits<double>::epsilon());
    const auto beyond = hn::Not(hn::Abs(x) < all(lobes));
    const auto chosen = [&](auto v) HWY_ATTR {
      return hn::DemoteTo(df, hn::IfThenElse(centre, one, hn::IfThenZeroElse(beyond, v)));
    };
    const auto low = chosen(weight - doubt), high = chosen(weight + doubt);
    hn::StoreU(low, df, weights + i);
    if (hn::AllTrue(df, low == high)) return;
    float ends[2][hn::MaxLanes(dd)];
    hn::StoreU(low, df, ends[0]);
    hn::StoreU(high, df, ends[1]);
    for (std::size_t lane = 0; lane < hn::Lanes(dd); ++lane) {
      if (ends[0][lane] == ends[1][lane]) continue;
      weights[i + lane] = CImagingZEP().DF_weight(distances[i + lane], lobes, filter);
    }
  });
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(kernelWeights);

void simd::kernelWeights(const double* distances, float* weights, std::size_t count, int filter, int lobes) {
  KALVETRA_VECTOR_FORM(kernelWeights)(distances, weights, count, filter, lobes);
}

}  // namespace kalvetra
#endif
