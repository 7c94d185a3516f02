// Walking a row of values of any length with vectors.
#if defined(KALVETRA_SIMD_SPANS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KALVETRA_SIMD_SPANS_INL_H
#undef KALVETRA_SIMD_SPANS_INL_H
#else
#define KALVETRA_SIMD_SPANS_INL_H
#endif

#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Calls body(d, i) for i in from..to-1 in steps of d's lanes: a whole vector of T while there is one, then single
// lanes.
template <class T, class Body>
HWY_INLINE void forSpan(std::size_t from, std::size_t to, Body body) {
  const hn::ScalableTag<T> d;
  std::size_t i = from;
  for (; i + hn::Lanes(d) <= to; i += hn::Lanes(d)) body(d, i);
  const hn::CappedTag<T, 1> one;
  for (; i < to; ++i) body(one, i);
}

// Packed 4-byte pixels from the one of that index on, a lane each.
template <class D>
HWY_INLINE hn::Vec<D> loadPixels(D d, const unsigned char* image, std::size_t pixel) {
  return hn::LoadU(d, reinterpret_cast<const std::uint32_t*>(image) + pixel);
}
template <class D>
HWY_INLINE void storePixels(D d, hn::Vec<D> v, unsigned char* image, std::size_t pixel) {
  hn::StoreU(v, d, reinterpret_cast<std::uint32_t*>(image) + pixel);
}

// Bytes as floats, and floats truncated and clamped to bytes; NaN gives 0.
template <class DF>
HWY_INLINE hn::Vec<DF> loadBytes(DF df, const unsigned char* bytes) {
  const hn::Rebind<std::int32_t, DF> di;
  return hn::ConvertTo(df, hn::PromoteTo(di, hn::LoadU(hn::Rebind<std::uint8_t, DF>(), bytes)));
}
// Truncates floats that are known to fit: spares the repair of values that do not, which costs more than the
// conversion.
template <class DF>
HWY_INLINE hn::Vec<hn::Rebind<std::int32_t, DF>> truncInRange(DF df, hn::Vec<DF> v) {
  const hn::Rebind<std::int32_t, DF> di;
  (void)df;
#if HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_SSE4
  using VI = hn::Vec<decltype(di)>;
#if HWY_TARGET == HWY_AVX3
  if constexpr (sizeof(v.raw) == 64) return VI{_mm512_cvttps_epi32(v.raw)};
#endif
#if HWY_TARGET != HWY_SSE4
  if constexpr (sizeof(v.raw) == 32) return VI{_mm256_cvttps_epi32(v.raw)};
#endif
  if constexpr (sizeof(v.raw) == 16) return VI{_mm_cvttps_epi32(v.raw)};
#else
  return hn::ConvertTo(di, v);
#endif
}

template <class DF>
HWY_INLINE hn::Vec<hn::Rebind<std::int32_t, DF>> truncToBytes(DF df, hn::Vec<DF> v) {
  const auto positive = hn::IfThenElseZero(hn::Gt(v, hn::Zero(df)), v);
  return truncInRange(df, hn::Min(positive, hn::Set(df, 255.0f)));
}
template <class DF>
HWY_INLINE void storeBytes(DF df, hn::Vec<DF> v, unsigned char* bytes) {
  const hn::Rebind<std::uint8_t, DF> db;
  hn::StoreU(hn::DemoteTo(db, truncToBytes(df, v)), db, bytes);
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
