// Background extraction and its exposure tables.
#include "engine/simd/kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/simd/extraction.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <hwy/contrib/math/math-inl.h>

#include "cpu/dispatch.h"
#include "imaging/simd/spans-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

void extract(const ExtractionGeometry& geometry, unsigned char* pixels, unsigned char* rejected, std::size_t count) {
  forSpan<std::int32_t>(0, count, [&](auto di, std::size_t i) HWY_ATTR {
    const hn::RebindToUnsigned<decltype(di)> du;
    const hn::Rebind<float, decltype(di)> df;
    const hn::Rebind<std::uint8_t, decltype(di)> db;
    const auto weight = [di](int w) HWY_ATTR { return hn::Set(di, w); };
    const auto v = loadPixels(du, pixels, i);
    const auto byte = hn::Set(du, 0xFFu);
    const auto b = hn::BitCast(di, hn::And(v, byte));
    const auto g = hn::BitCast(di, hn::And(hn::ShiftRight<8>(v), byte));
    const auto r = hn::BitCast(di, hn::And(hn::ShiftRight<16>(v), byte));
    const auto Y = hn::ShiftRight<16>(weight(19595) * r + weight(38470) * g + weight(7471) * b);
    const auto I = hn::ConvertTo(df, hn::ShiftRight<16>(weight(39059) * r - weight(18022) * g - weight(21037) * b));
    const auto Q = hn::ConvertTo(df, hn::ShiftRight<16>(weight(13894) * r - weight(34275) * g + weight(20382) * b));
    const auto inSector = hn::And(hn::Set(df, geometry.slope1) * I > Q, hn::Set(df, geometry.slope2) * I > Q);
    const auto offI = I - hn::GatherIndex(df, geometry.tableI, Y), offQ = Q - hn::GatherIndex(df, geometry.tableQ, Y);
    const auto near = hn::Sqrt(offI * offI + offQ * offQ) <= hn::Set(df, ExtractionGeometry::kTolerance);
    const auto kept = hn::RebindMask(du, hn::And(inSector, near));
    storePixels(du, hn::IfThenElse(kept, v, hn::And(v, hn::Set(du, 0xFF000000u))), pixels, i);
    const auto mark = hn::IfThenElseZero(hn::RebindMask(di, hn::AndNot(near, inSector)), weight(255));
    hn::StoreU(hn::DemoteTo(db, mark), db, rejected + i);
  });
}

// A code is the truncated value of the curve in single precision. Highway's Log10 errs by 3 units in the last place at
// most; 2^-40 is allowed for its result, below 2 in magnitude, so that the value here is within 1e-9 of the exact one,
// and the plain form's, narrowed, within 2e-5. Farther than 1e-4 from any whole number both give the same code and lie
// on the same side of the toe; nearer, the plain form decides.
void exposureCodes(const ExposureCurve& curve, double light, unsigned char* codes) {
  const hn::ScalableTag<double> dd;
  const hn::Rebind<float, decltype(dd)> df;
  const hn::Rebind<std::uint8_t, decltype(dd)> db;
  const auto all = [dd](double v) HWY_ATTR { return hn::Set(dd, v); };
  static_assert(ExposureCurve::kSteps % hn::MaxLanes(dd) == 0);
  for (std::size_t i = 0; i < ExposureCurve::kSteps; i += hn::Lanes(dd)) {
    const auto t = hn::Iota(dd, static_cast<double>(i)) / all(ExposureCurve::kSteps - 1.0);
    const auto lit = all(light) * t / all(255.0) + all(ExposureCurve::kOffset);
    const auto v = (hn::Log10(dd, lit) - all(curve.black())) * all(curve.scale());
    const auto toe = t * all(light) * all(curve.slope()) - all(5.0);
    const auto code = hn::DemoteTo(df, hn::IfThenElse(v < all(60.0), toe, v));
    hn::StoreU(hn::DemoteTo(db, truncToBytes(df, code)), db, codes + i);
    const auto certain = hn::Abs(v - hn::Round(v)) > all(1e-4);
    if (hn::AllTrue(dd, certain)) continue;
    double settled[hn::MaxLanes(dd)];
    hn::StoreU(hn::IfThenElseZero(certain, all(1.0)), dd, settled);
    for (std::size_t lane = 0; lane < hn::Lanes(dd); ++lane) {
      if (settled[lane] != 0.0) continue;
      codes[i + lane] = curve.code(light, ExposureCurve::exposure(static_cast<int>(i + lane)));
    }
  }
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(extract);
HWY_EXPORT(exposureCodes);

void simd::extract(const ExtractionGeometry& geometry, unsigned char* pixels, unsigned char* rejected,
                   std::size_t count) {
  KALVETRA_VECTOR_FORM(extract)(geometry, pixels, rejected, count);
}

void simd::exposureCodes(const ExposureCurve& curve, double light, unsigned char* codes) {
  KALVETRA_VECTOR_FORM(exposureCodes)(curve, light, codes);
}

}  // namespace kalvetra
#endif
