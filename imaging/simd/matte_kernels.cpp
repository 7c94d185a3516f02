#include "imaging/simd/row_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/simd/matte_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "cpu/dispatch.h"
#include "imaging/simd/spans-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

void takeMatte(const unsigned char* pixels, simd::ByteOrder order, unsigned char* matte, std::size_t count) {
  const int bit = alphaBit(order);
  forSpan<std::uint32_t>(0, count, [&](auto d, std::size_t i) HWY_ATTR {
    const hn::Rebind<std::uint8_t, decltype(d)> db;
    const auto alpha = hn::And(hn::ShiftRightSame(loadPixels(d, pixels, i), bit), hn::Set(d, 0xFFu));
    hn::StoreU(hn::DemoteTo(db, hn::BitCast(hn::RebindToSigned<decltype(d)>(), alpha)), db, matte + i);
  });
}

void putMatte(const unsigned char* matte, unsigned char* pixels, std::size_t count) {
  forSpan<std::uint32_t>(0, count, [&](auto d, std::size_t i) HWY_ATTR {
    const auto alpha = hn::PromoteTo(d, hn::LoadU(hn::Rebind<std::uint8_t, decltype(d)>(), matte + i));
    const auto color = hn::And(loadPixels(d, pixels, i), hn::Set(d, 0x00FFFFFFu));
    storePixels(d, hn::Or(color, hn::ShiftLeft<24>(alpha)), pixels, i);
  });
}

void invert(const unsigned char* matte, unsigned char* inverse, std::size_t count) {
  forSpan<std::uint8_t>(
      0, count, [&](auto d, std::size_t i) HWY_ATTR { hn::StoreU(hn::Not(hn::LoadU(d, matte + i)), d, inverse + i); });
}

bool contractRow(const unsigned char* above, const unsigned char* row, const unsigned char* below,
                 unsigned char* result, std::size_t width, int slack, bool square) {
  bool changed = false;
  forSpan<std::uint8_t>(1, width - 1, [&](auto d, std::size_t i) HWY_ATTR {
    const auto at = [d, i](const unsigned char* line, std::ptrdiff_t dx)
                        HWY_ATTR { return hn::LoadU(d, line + i + dx); };
    const auto matte = at(row, 0);
    auto smallest = hn::Min(hn::Min(at(row, -1), at(row, 1)), hn::Min(at(above, 0), at(below, 0)));
    if (square) {
      smallest = hn::Min(smallest, hn::Min(hn::Min(at(above, -1), at(above, 1)), hn::Min(at(below, -1), at(below, 1))));
      smallest = hn::Min(smallest, matte);
    }
    const auto contracted = hn::Min(matte, hn::SaturatedAdd(smallest, hn::Set(d, static_cast<std::uint8_t>(slack))));
    changed = changed || !hn::AllTrue(d, contracted == matte);
    hn::StoreU(contracted, d, result + i);
  });
  return changed;
}

void erode(const unsigned char* matte, const unsigned char* edge, unsigned char* result, std::size_t count,
           float amount, float offset) {
  forSpan<float>(0, count, [&](auto df, std::size_t i) HWY_ATTR {
    const auto all = [df](float v) HWY_ATTR { return hn::Set(df, v); };
    const auto a = loadBytes(df, matte + i), e = loadBytes(df, edge + i);
    const auto zero = hn::Zero(df);
    // Without matte there is nothing to erode, and without an edge nothing that erodes.
    if (hn::AllFalse(df, hn::And(a > zero, e > zero))) {
      storeBytes(df, a, result + i);
      return;
    }
    const auto curve = hn::ConvertTo(df, truncToBytes(df, e * e / all(255.0f) * all(4.0f)));
    const auto p = hn::IfThenElse(e == all(255.0f), e, curve);
    const auto t = a - a / all(255.0f) * (p * all(amount) / all(-255.0f) + all(1.0f)) * all(255.0f) - all(offset);
    storeBytes(df, a - hn::IfThenElseZero(t > zero, t) + all(0.499f), result + i);
  });
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(takeMatte);
HWY_EXPORT(putMatte);
HWY_EXPORT(invert);
HWY_EXPORT(contractRow);
HWY_EXPORT(erode);

void simd::takeMatte(const unsigned char* pixels, ByteOrder order, unsigned char* matte, std::size_t count) {
  KALVETRA_VECTOR_FORM(takeMatte)(pixels, order, matte, count);
}

void simd::putMatte(const unsigned char* matte, unsigned char* pixels, std::size_t count) {
  KALVETRA_VECTOR_FORM(putMatte)(matte, pixels, count);
}

void simd::invert(const unsigned char* matte, unsigned char* inverse, std::size_t count) {
  KALVETRA_VECTOR_FORM(invert)(matte, inverse, count);
}

bool simd::contractRow(const unsigned char* above, const unsigned char* row, const unsigned char* below,
                       unsigned char* result, std::size_t width, int slack, bool square) {
  return KALVETRA_VECTOR_FORM(contractRow)(above, row, below, result, width, slack, square);
}

void simd::erode(const unsigned char* matte, const unsigned char* edge, unsigned char* result, std::size_t count,
                 float amount, float offset) {
  KALVETRA_VECTOR_FORM(erode)(matte, edge, result, count, amount, offset);
}

}  // namespace kalvetra
#endif
