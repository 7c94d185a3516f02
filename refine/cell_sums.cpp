#include "refine/pixel_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "refine/cell_sums.cpp"
#include <hwy/foreach_target.h>

#include "cpu/dispatch.h"
#include "refine/colors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::refine::HWY_NAMESPACE {

namespace {

HWY_INLINE void add(float* sum, VF value) { hn::Store(hn::Load(DF(), sum) + value, DF(), sum); }

HWY_INLINE void addColor(const SumRows& sums, std::size_t name, std::size_t x, Color c) {
  add(sums[name] + x, c.r);
  add(sums[name + 1] + x, c.g);
  add(sums[name + 2] + x, c.b);
}

}  // namespace

void addPixels(const deep::ConstRow& source, const deep::ConstRow& plate, const float* keyed, bool blueScreen,
               std::size_t pixels, const SumRows& sums, float* leastAlpha) {
  const std::size_t lanes = hn::Lanes(DF());
  HWY_ALIGN float last[4 * hn::MaxLanes(DF())] = {};
  for (std::size_t x = 0; x < pixels; x += lanes) {
    const float* from = keyed + 4 * x;
    if (x + lanes > pixels) {
      std::memcpy(last, from, (pixels - x) * 4 * sizeof(float));
      from = last;
    }
    const KeyedPixels key = loadKeyed(from, blueScreen);
    const Color c = sane(colorAt(source, x)), s = sane(colorAt(plate, x));
    const Axis axis = axisOf(s);
    addColor(sums, CellSum::kColor, x, c);
    add(sums[CellSum::kAlpha] + x, key.alpha);

    // More than opaque is what lies beyond grey, away from the screen: surely unmixed.
    const VF opacity = within(missing(axis, c), 0.0f, 1.6f), share = least(opacity, all(1.0f));
    const VF square = share * share, weight = square * square * opacity * opacity;
    const Color rest = (c - s * (all(1.0f) - share)) * (all(1.0f) / most(share, all(0.05f)));
    addColor(sums, CellSum::kUnmixed, x, bounded(rest, 0.0f, 255.0f) * weight);
    add(sums[CellSum::kUnmixedWeight] + x, weight);

    const VF second = key.alpha * key.alpha, fourth = second * second, full = fourth * fourth;
    addColor(sums, CellSum::kOpaque, x, c * full);
    add(sums[CellSum::kOpaqueWeight] + x, full);
    const Color seen = sane(key.levels());
    add(sums[CellSum::kOpaqueTone] + x, full * along(axis, seen));
    add(sums[CellSum::kOpaqueLuma] + x, full * luma(seen));

    const Color off = c - s;
    const VF clear = most(all(1.0f) - all(20.0f) * key.alpha, all(0.0f));
    add(sums[CellSum::kResidual] + x, clear * dot(off, off) * all(1.0f / 3.0f));
    add(sums[CellSum::kClear] + x, clear);
    hn::Store(least(hn::Load(DF(), leastAlpha + x), key.alpha), DF(), leastAlpha + x);
  }
}

}  // namespace kalvetra::refine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra::refine {

HWY_EXPORT(addPixels);

void addRow(const deep::ConstRow& source, const deep::ConstRow& plate, const float* keyed, bool blueScreen,
            std::size_t pixels, const SumRows& sums, float* least) {
  KALVETRA_ONE_FORM(addPixels)(source, plate, keyed, blueScreen, pixels, sums, least);
}

}  // namespace kalvetra::refine
#endif
