#include "imaging/simd/row_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/simd/box_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "cpu/dispatch.h"
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

namespace {

using DSum = hn::ScalableTag<std::uint32_t>;
using VSum = hn::Vec<DSum>;

// Adds to every lane the lanes before it of the same channel, a vector's worth.
template <std::size_t kChannels>
class RunningSum {
 public:
  RunningSum() {
    const DSum d;
    const hn::RebindToSigned<DSum> di;
    const auto lanes = static_cast<std::int32_t>(hn::Lanes(d));
    HWY_ALIGN std::int32_t from[hn::MaxLanes(DSum())];
    for (int step = 0; step < kSteps; ++step) {
      const std::int32_t distance = 4 << step;
      for (std::int32_t i = 0; i < lanes; ++i) {
        // The last lane of the channel in the block that many lanes before.
        const std::int32_t source = (i - distance) / 4 * 4 + 4 - static_cast<std::int32_t>(kChannels) +
                                    i % static_cast<std::int32_t>(kChannels);
        from[i] = i >= distance ? source : 0;
      }
      before_[step] = hn::SetTableIndices(d, from);
      reached_[step] = hn::RebindMask(d, hn::Iota(di, 0) > hn::Set(di, distance - 1));
    }
    for (std::int32_t i = 0; i < lanes; ++i)
      from[i] = lanes - static_cast<std::int32_t>(kChannels) + i % static_cast<std::int32_t>(kChannels);
    last_ = hn::SetTableIndices(d, from);
  }

  HWY_INLINE VSum operator()(VSum v, VSum carry) const {
    if (kChannels == 1) v = v + hn::ShiftLeftLanes<1>(v);
    if (kChannels <= 2) v = v + hn::ShiftLeftLanes<2>(v);
    for (int step = 0; step < kSteps; ++step) {
      v = v + hn::IfThenElseZero(reached_[step], hn::TableLookupLanes(v, before_[step]));
    }
    return v + carry;
  }

  // The sums so far, in every lane.
  HWY_INLINE VSum carry(VSum sums) const { return hn::TableLookupLanes(sums, last_); }

 private:
  static constexpr int kBlocks = static_cast<int>(hn::MaxLanes(DSum()) / 4);
  static constexpr int kSteps = kBlocks >= 4 ? 2 : kBlocks >= 2 ? 1 : 0;
  using Indices = decltype(hn::SetTableIndices(DSum(), static_cast<const std::int32_t*>(nullptr)));

  Indices before_[kSteps + 1], last_;
  hn::Mask<DSum> reached_[kSteps + 1];
};

template <std::size_t kChannels>
HWY_INLINE void sumChannels(const std::uint32_t* columns, std::uint32_t* sums, std::size_t values) {
  const DSum d;
  const RunningSum<kChannels> run;
  VSum carry = hn::Zero(d);
  std::size_t i = 0;
  for (; i + hn::Lanes(d) <= values; i += hn::Lanes(d)) {
    const VSum v = run(hn::LoadU(d, columns + i), carry);
    hn::StoreU(v, d, sums + i);
    carry = run.carry(v);
  }
  HWY_ALIGN std::uint32_t last[hn::MaxLanes(DSum())];
  hn::Store(carry, d, last);  // lane c holds channel c
  for (; i < values; i += kChannels) {
    for (std::size_t c = 0; c < kChannels; ++c) sums[i + c] = last[c] += columns[i + c];
  }
}

}  // namespace

void sumRow(const std::uint32_t* columns, std::uint32_t* sums, std::size_t values, std::size_t channels) {
  if (channels == 1) {
    sumChannels<1>(columns, sums, values);
  } else if (channels == 2) {
    sumChannels<2>(columns, sums, values);
  } else {
    sumChannels<4>(columns, sums, values);
  }
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
HWY_EXPORT(sumRow);

void simd::slideColumns(std::uint32_t* columns, const unsigned char* entering, const unsigned char* leaving,
                        std::size_t values) {
  KALVETRA_VECTOR_FORM(slideColumns)(columns, entering, leaving, values);
}

void simd::sumRow(const std::uint32_t* columns, std::uint32_t* sums, std::size_t values, std::size_t channels) {
  KALVETRA_VECTOR_FORM(sumRow)(columns, sums, values, channels);
}

void simd::averageBoxes(const std::uint32_t* before, const std::uint32_t* after, const float* columnWeights,
                        float rowWeight, const BoxScale& scale, unsigned char* result, std::size_t values) {
  KALVETRA_VECTOR_FORM(averageBoxes)(before, after, columnWeights, rowWeight, scale, result, values);
}

}  // namespace kalvetra
#endif
