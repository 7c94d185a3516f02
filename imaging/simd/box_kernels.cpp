#include "imaging/simd/row_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/simd/box_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "imaging/simd/dispatch.h"
#include "imaging/simd/spans-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

void slideColumns(std::uint32_t* columns, const unsigned char* entering, const unsigned char* leaving,
                  std::size_t values) {
  const auto load = [](auto d, const unsigned char* bytes) HWY_ATTR {
    return hn::PromoteTo(d, hn::LoadU(hn::Rebind<std::uint8_t, decltype(d)>(), bytes));
  };
  forSpan<std::uint32_t>(0, values, [&](auto d, std::size_t i) HWY_ATTR {
    auto sums = hn::LoadU(d, columns + i);
    if (entering != nullptr) sums = sums + load(d, entering + i);
    if (leaving != nullptr) sums = sums - load(d, leaving + i);
    hn::StoreU(sums, d, columns + i);
  });
}

void averageBoxes(const std::uint32_t* before, const std::uint32_t* after, const float* columnWeights, float rowWeight,
                  const simd::BoxScale& scale, unsigned char* result, std::size_t values) {
  forSpan<float>(0, values, [&](auto df, std::size_t i) HWY_ATTR {
    const hn::Rebind<std::uint32_t, decltype(df)> du;
    const hn::Rebind<std::int32_t, decltype(df)> di;
    // Sums stay below 2^31 wherever the vector form is used.
    const auto sums = hn::LoadU(du, after + i) - hn::LoadU(du, before + i);
    const auto s = hn::ConvertTo(df, hn::BitCast(di, sums)) + hn::Set(df, scale.before);
    const auto average = s * hn::LoadU(df, columnWeights + i) * hn::Set(df, rowWeight) * hn::Set(df, scale.gain);
    storeBytes(df, average + hn::Set(df, scale.after), result + i);
  });
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(slideColumns);
HWY_EXPORT(averageBoxes);

void simd::slideColumns(std::uint32_t* columns, const unsigned char* entering, const unsigned char* leaving,
                        std::size_t values) {
  KALVETRA_VECTOR_FORM(slideColumns)(columns, entering, leaving, values);
}

void simd::averageBoxes(const std::uint32_t* before, const std::uint32_t* after, const float* columnWeights,
                        float rowWeight, const BoxScale& scale, unsigned char* result, std::size_t values) {
  KALVETRA_VECTOR_FORM(averageBoxes)(before, after, columnWeights, rowWeight, scale, result, values);
}

}  // namespace kalvetra
#endif
