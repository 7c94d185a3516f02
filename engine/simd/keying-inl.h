// How both keying passes go over rows: a quick look first, then the full geometry for what it leaves open.
#if defined(KALVETRA_SIMD_KEYING_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KALVETRA_SIMD_KEYING_INL_H
#undef KALVETRA_SIMD_KEYING_INL_H
#else
#define KALVETRA_SIMD_KEYING_INL_H
#endif

#include <hwy/highway.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "engine/chroma_plane.h"
#include "engine/key_geometry.h"
#include "engine/simd/kernels.h"
#include "engine/simd/lanes-inl.h"
#include "engine/simd/unmixing-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

// keyedColor.
HWY_INLINE Colors keyedColors(VF alpha, VF y, VF foregroundY, Chromas despilled) {
  const VF zero = hn::Zero(DF());
  const MF seen = hn::Not(alpha == zero);
  const VF luminance = hn::Min(hn::Max(select(y <= foregroundY, y, foregroundY), zero), all(255.0f));
  return {select(seen, luminance, all(160.0f)),
          {hn::IfThenElseZero(seen, despilled.I), hn::IfThenElseZero(seen, despilled.Q)}};
}

// storeKeyed.
template <ByteOrder kOrder>
HWY_INLINE VU keyedPixels(const Colors& color, VF alpha, const ShadowCurve& curve) {
  const Primaries p = primariesOf(color);
  const VF half = all(0.5f);
  const VI r = truncToBytes(p.r + half), g = truncToBytes(p.g + half), b = truncToBytes(p.b + half);
  return pixelsOf<kOrder>(b, g, r, shaped(truncInRange(DF(), alpha * all(255.0f)), curve));
}

// The turns of the formulas in the plain form's double precision.
struct ExactTurns {
  // The plate key's axis, by its quarter turn.
  HWY_INLINE Chromas quarter(const PlateKeyGeometry& g, Chromas axis) const { return turned(axis, g.quarter); }

  // The skin side's despill normal: the geometry's own but for the bright lanes of `wanted`, which take a turned one.
  template <class Geometry>
  HWY_INLINE Chromas skinDespill(const Geometry& g, VF y, MF wanted) const {
    Chromas normal = all(g.skinDespill);
    const MF bright = hn::And(wanted, y > all(200.0f));
    if (!any(bright)) return normal;
    HWY_ALIGN float ys[hn::MaxLanes(DF())];
    hn::Store(y, DF(), ys);
    normal.I = patched(normal.I, bright, [&](std::size_t i) { return g.skinDespillAt(ys[i]).I; });
    normal.Q = patched(normal.Q, bright, [&](std::size_t i) { return g.skinDespillAt(ys[i]).Q; });
    return normal;
  }
};

// What the full geometry of a pass makes of a vector of pixels: those that it settles, and for the others, those with
// an amount of 0 or more, what their luminance and colour follow from.
struct Geometry {
  VU settled;
  VF amount;  // -1 where settled
  VF y, backdropY;
  Chromas despilled;
};

// A pixel's place in some rows as one number.
HWY_INLINE std::uint32_t placeOf(std::size_t row, std::size_t x) { return static_cast<std::uint32_t>(row << 16 | x); }
HWY_INLINE unsigned char* pixelAt(const simd::KeyRows& rows, std::uint32_t place) {
  return rows.result[place >> 16] + std::size_t{4} * (place & 0xFFFFu);
}

// Pixels that need a pass's full geometry, gathered from where they lie so that no lane of it idles. `Images` pixels
// belong together: the frame's and, where there is one, the plate's. Each step runs over the whole queue before the
// next one: a processor overlaps the vectors of a short loop, but not those of one as long as all steps together.
template <std::size_t Images>
class Queue {
 public:
  // Adds the lanes of `open`, from place `at` on; the queue must not be full.
  HWY_INLINE void add(const std::array<VU, Images>& pixels, std::uint32_t at, hn::Mask<DU> open) {
    const DU du;
    // Compressed in a register: some processors take a hundred cycles and more to compress into memory.
    for (std::size_t i = 0; i < Images; ++i) hn::StoreU(hn::Compress(pixels[i], open), du, pixels_[i] + count_);
    hn::StoreU(hn::Compress(hn::Iota(du, at), open), du, at_ + count_);
    count_ += hn::CountTrue(du, open);
  }

  bool full() const { return count_ + hn::Lanes(DU()) > kRoom; }

  // Keys what was gathered and puts it in its places.
  template <class Pass>
  HWY_INLINE void drain(const simd::KeyRows& rows, const Pass& pass) {
    const DU du;
    const DF df;
    const std::size_t lanes = hn::Lanes(du);
    for (std::size_t i = 0; i < count_; i += lanes) {
      std::array<VU, Images> pixels;
      for (std::size_t image = 0; image < Images; ++image) pixels[image] = hn::Load(du, pixels_[image] + i);
      const Geometry g = pass.geometry(pixels);
      hn::Store(g.settled, du, keyed_ + i);
      hn::Store(g.amount, df, amount_ + i);
      hn::Store(g.y, df, y_ + i);
      hn::Store(g.backdropY, df, backdropY_ + i);
      hn::Store(g.despilled.I, df, despilledI_ + i);
      hn::Store(g.despilled.Q, df, despilledQ_ + i);
    }
    for (std::size_t i = 0; i < count_; i += lanes) {
      const VF amount = hn::Load(df, amount_ + i), backdropY = hn::Load(df, backdropY_ + i);
      const auto logs = [&]() HWY_ATTR { return pass.logs(backdropY); };
      const UnmixedLanes u = unmixed(hn::Load(df, y_ + i), backdropY, amount, amount >= hn::Zero(df), logs);
      hn::Store(u.luminance, df, luminance_ + i);
      hn::Store(u.opacity, df, backdropY_ + i);
    }
    for (std::size_t i = 0; i < count_; i += lanes) {
      const Chromas despilled{hn::Load(df, despilledI_ + i), hn::Load(df, despilledQ_ + i)};
      const VU pixels =
          pass.keyed(hn::Load(df, backdropY_ + i), hn::Load(df, y_ + i), hn::Load(df, luminance_ + i), despilled);
      const auto open = hn::RebindMask(du, hn::Load(df, amount_ + i) >= hn::Zero(df));
      hn::Store(hn::IfThenElse(open, pixels, hn::Load(du, keyed_ + i)), du, keyed_ + i);
    }
    for (std::size_t i = 0; i < count_; ++i) std::memcpy(pixelAt(rows, at_[i]), keyed_ + i, 4);
    count_ = 0;
  }

 private:
  static constexpr std::size_t kRoom = 256;
  static constexpr std::size_t kSize = kRoom + hn::MaxLanes(DU());

  // Zeros at first: the lanes after the last pixel are keyed too, and must be defined.
  HWY_ALIGN std::uint32_t pixels_[Images][kSize] = {};
  HWY_ALIGN std::uint32_t at_[kSize], keyed_[kSize];
  HWY_ALIGN float amount_[kSize], y_[kSize], despilledI_[kSize], despilledQ_[kSize], luminance_[kSize];
  HWY_ALIGN float backdropY_[kSize];  // then the opacity
  std::size_t count_ = 0;
};

// What a quick look at a vector of pixels settles, and the lanes that it leaves open: those near the axis between key
// and grey, whose full geometry is short, and the others. Which of the two a lane is counted to is a matter of speed
// alone.
struct QuickKey {
  VU result;
  hn::Mask<DU> inner, outer;
};

// Keys one row: pass.quick(pixels, x) settles most, the queues take what it leaves open.
template <std::size_t Images, class Pass>
HWY_INLINE void keyRow(const simd::KeyRows& rows, std::size_t row, const Pass& pass, Queue<Images>& inner,
                       Queue<Images>& outer) {
  const DU du;
  const std::size_t lanes = hn::Lanes(du);
  const std::array<const unsigned char*, 2> images{rows.source[row], rows.plate[row]};
  unsigned char* const result = rows.result[row];
  const auto enqueue = [&](Queue<Images>& queue, const auto& pixels, std::size_t x, hn::Mask<DU> open) HWY_ATTR {
    if (hn::AllFalse(du, open)) return;
    if (queue.full()) queue.drain(rows, pass);
    queue.add(pixels, placeOf(row, x), open);
  };
  std::array<VU, Images> pixels;
  std::size_t x = 0;
  for (; x + lanes <= rows.pixels; x += lanes) {
    for (std::size_t i = 0; i < Images; ++i) pixels[i] = loadPixels(du, images[i], x);
    const QuickKey k = pass.quick(pixels, x);
    storePixels(du, k.result, result, x);
    enqueue(inner, pixels, x, k.inner);
    enqueue(outer, pixels, x, k.outer);
  }
  if (x == rows.pixels) return;
  HWY_ALIGN std::uint32_t last[hn::MaxLanes(DU())] = {};
  const std::size_t bytes = (rows.pixels - x) * 4;
  for (std::size_t i = 0; i < Images; ++i) {
    std::memcpy(last, images[i] + x * 4, bytes);
    pixels[i] = hn::Load(du, last);
  }
  const QuickKey k = pass.quick(pixels, x);
  hn::Store(k.result, du, last);
  std::memcpy(result + x * 4, last, bytes);
  const auto there = hn::FirstN(du, rows.pixels - x);
  enqueue(inner, pixels, x, hn::And(k.inner, there));
  enqueue(outer, pixels, x, hn::And(k.outer, there));
}

template <std::size_t Images, class Pass>
HWY_INLINE void keyRows(const simd::KeyRows& rows, Pass& pass) {
  Queue<Images> inner, outer;
  for (int row = 0; row < rows.count; ++row) {
    pass.begin(rows, static_cast<std::size_t>(row));
    keyRow(rows, static_cast<std::size_t>(row), pass, inner, outer);
  }
  inner.drain(rows, pass);
  outer.drain(rows, pass);
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
