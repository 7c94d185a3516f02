#include "refine/pixel_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "refine/alpha.cpp"
#include <hwy/foreach_target.h>

#include "cpu/dispatch.h"
#include "refine/alpha-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::refine::HWY_NAMESPACE {

void refinePixels(const AlphaRules& rules, const deep::ConstRow& source, const deep::ConstRow& plate,
                  const FieldRows& fields, float* keyed, std::size_t first, std::size_t end) {
  const std::size_t lanes = hn::Lanes(DF());
  HWY_ALIGN float last[4 * hn::MaxLanes(DF())] = {};
  for (std::size_t x = first; x < end; x += lanes) {
    const bool partly = x + lanes > end;
    const std::size_t bytes = (end - x) * 4 * sizeof(float);
    float* at = keyed + 4 * x;
    if (partly) at = static_cast<float*>(std::memcpy(last, at, bytes));
    const KeyedPixels engine = loadKeyed(at, rules.blueScreen);
    const PixelsAt pixels{colorAt(source, x), colorAt(plate, x), engine, fieldsAt(fields, x),
                          hn::Load(DF(), source.alpha + x) * all(1.0f / 255.0f)};
    storeKeyed(blended(rules, pixels), rules.blueScreen, at);
    if (partly) std::memcpy(keyed + 4 * x, last, bytes);
  }
}

}  // namespace kalvetra::refine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra::refine {

HWY_EXPORT(refinePixels);

void refineRun(const AlphaRules& rules, const deep::ConstRow& source, const deep::ConstRow& plate,
               const FieldRows& fields, float* keyed, std::size_t first, std::size_t end) {
  KALVETRA_ONE_FORM(refinePixels)(rules, source, plate, fields, keyed, first, end);
}

}  // namespace kalvetra::refine
#endif
