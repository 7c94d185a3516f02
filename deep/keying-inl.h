// How both deep keys go over rows: a quick look settles most pixels, a queue takes the others.
#if defined(KALVETRA_DEEP_KEYING_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KALVETRA_DEEP_KEYING_INL_H
#undef KALVETRA_DEEP_KEYING_INL_H
#else
#define KALVETRA_DEEP_KEYING_INL_H
#endif

#include <hwy/highway.h>

#include <cstdint>
#include <cstring>

#include "deep/finish-inl.h"
#include "deep/key_kernels.h"
#include "deep/unmixing-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::deep::HWY_NAMESPACE {

// Levels of pixels and of the plate behind them.
struct Seen {
  Primaries pixel, plate;
};

// What a quick look settles: pixels of the backdrop's own chroma, as shadows or gone, and, but for the open ones, all
// others as foreground. The open ones come in two sorts, since one needs less of the geometry: which of the two a pixel
// is counted to is a matter of speed alone.
struct QuickKey {
  MF shadow;
  VF opacity;  // of shadows, 0..1
  MF darker;   // than the backdrop, of shadows
  MF inner, outer;
};

// What the geometry makes of an open pixel.
struct Opened {
  VF amount, y, backdropY;
  Chromas despilled;
};

// Pixels that need a pass's geometry, gathered from where they lie so that no lane of it idles. Each step runs over the
// whole queue before the next one: a processor overlaps the vectors of a short loop, but not those of a long one.
class Queue {
 public:
  // `apart`: as KeyRows has it of its matte.
  explicit Queue(bool apart) : apart_(apart) {}

  // Adds the lanes of `open`, from pixel x of a row on, with the code values that they keep as foreground; the queue
  // must not be full.
  HWY_INLINE void add(const Seen& seen, const Keyed& kept, VF hostAlpha, std::size_t row, std::size_t x, MF open) {
    const DF df;
    const DU du;
    // The places of the open lanes, in order: they are compressed once, in a register. Compressing takes some compilers
    // a copy of its table each time, and some processors a hundred cycles and more where it is into memory.
    const VU lanes = hn::Compress(hn::Iota(du, 0), hn::RebindMask(du, open));
    const auto order = hn::IndicesFromVec(df, lanes);
    const auto keep = [&](VF v, Field field)
                          HWY_ATTR { hn::StoreU(hn::TableLookupLanes(v, order), df, values_[field] + count_); };
    keep(seen.pixel.r, kRed);
    keep(seen.pixel.g, kGreen);
    keep(seen.pixel.b, kBlue);
    keep(seen.plate.r, kPlateRed);
    keep(seen.plate.g, kPlateGreen);
    keep(seen.plate.b, kPlateBlue);
    keep(kept.red, kRedCode);
    keep(kept.green, kGreenCode);
    keep(kept.blue, kBlueCode);
    keep(hostAlpha, kHostAlpha);
    hn::StoreU(lanes + hn::Set(du, static_cast<std::uint32_t>(row << 16 | x)), du, at_ + count_);
    count_ += hn::CountTrue(df, open);
  }

  bool full() const { return count_ + hn::Lanes(DF()) > kRoom; }

  // Keys what was gathered and puts it in its places.
  template <class Pass>
  HWY_INLINE void drain(const Finish& finish, const KeyRows& rows, const Pass& pass) {
    const DF df;
    const std::size_t lanes = hn::Lanes(df);
    for (std::size_t i = 0; i < count_; i += lanes) {
      const Opened o = pass.geometry(seenAt(i));
      hn::Store(o.amount, df, values_[kAmount] + i);
      hn::Store(o.y, df, values_[kY] + i);
      hn::Store(o.backdropY, df, values_[kBackdropY] + i);
      hn::Store(o.despilled.I, df, values_[kI] + i);
      hn::Store(o.despilled.Q, df, values_[kQ] + i);
    }
    for (std::size_t i = 0; i < count_; i += lanes) {
      const UnmixedLanes u = unmixed(at(kY, i), at(kBackdropY, i), at(kAmount, i));
      hn::Store(u.luminance, df, values_[kBackdropY] + i);
      hn::Store(u.opacity, df, values_[kAmount] + i);
    }
    for (std::size_t i = 0; i < count_; i += lanes) colorAt(finish, pass, i);
    for (std::size_t i = 0; i < count_; ++i) {
      const std::size_t row = at_[i] >> 16, x = at_[i] & 0xFFFFu;
      // Where the frame shows nothing, its colours are in place.
      if (values_[kHostAlpha][i] > 0.0f) std::memcpy(rows.result[row] + 4 * x, keyed_ + 4 * i, 4 * sizeof(float));
      if (apart_) rows.matte[row][x] = values_[kAmount][i];
    }
    count_ = 0;
  }

 private:
  enum Field {
    kRed,
    kGreen,
    kBlue,
    kPlateRed,
    kPlateGreen,
    kPlateBlue,
    kRedCode,
    kGreenCode,
    kBlueCode,
    kHostAlpha,  // levels
    kI,
    kQ,  // despilled
    kFields,
    // In the plate's place, once it was looked at:
    kAmount = kPlateRed,  // then the opacity, and at last the alpha in levels
    kY = kPlateGreen,
    kBackdropY = kPlateBlue  // then the foreground's luminance
  };
  static constexpr std::size_t kRoom = 256;
  static constexpr std::size_t kSize = kRoom + hn::MaxLanes(DF());

  HWY_INLINE VF at(Field field, std::size_t i) const { return hn::Load(DF(), values_[field] + i); }
  HWY_INLINE Seen seenAt(std::size_t i) const {
    return {{at(kRed, i), at(kGreen, i), at(kBlue, i)}, {at(kPlateRed, i), at(kPlateGreen, i), at(kPlateBlue, i)}};
  }

  // keyedColor and the matte of the pixels from i on.
  template <class Pass>
  HWY_INLINE void colorAt(const Finish& finish, const Pass& pass, std::size_t i) {
    const VF zero = hn::Zero(DF()), y = at(kY, i), foregroundY = at(kBackdropY, i);
    const VF opacity = pass.stretched(at(kAmount, i));
    // Never below black, but for pixels that are so themselves.
    const VF luminance = most(least(y, foregroundY), least(y, zero));
    const Primaries p = primariesOf({luminance, {at(kI, i), at(kQ, i)}});
    const MF seen = opacity > zero;
    // A color that is left where it was, but for what rounding adds, comes out as it came.
    const Chromas own = colorsOf(at(kRed, i), at(kGreen, i), at(kBlue, i)).at;
    const VF rounding = most(hn::Abs(y), all(255.0f)) * all(0x1p-20f);
    const auto same = [&](VF a, VF b) HWY_ATTR { return hn::Abs(a - b) <= rounding; };
    const MF untouched =
        hn::And(hn::And(seen, same(luminance, y)), hn::And(same(at(kI, i), own.I), same(at(kQ, i), own.Q)));
    const auto code = [&](VF level, Field source, Field sourceCode) HWY_ATTR {
      const VF was = at(source, i);
      const VF inRange = least(most(level, least(was, zero)), most(was, all(255.0f)));
      return select(untouched, at(sourceCode, i), codeOf(select(seen, inRange, all(160.0f))));
    };
    Keyed keyed{code(p.r, kRed, kRedCode), code(p.g, kGreen, kGreenCode), code(p.b, kBlue, kBlueCode),
                shaped(opacity, finish.shadowExponent) * all(255.0f)};
    hn::Store(keyed.alpha, DF(), values_[kAmount] + i);
    const VF hostAlpha = at(kHostAlpha, i);
    if (apart_) return store({keyed.red, keyed.green, keyed.blue, hostAlpha}, keyed_ + 4 * i);
    keyed.alpha = limited(finish, hostAlpha, keyed.alpha);
    store(viewOf(finish, keyed), keyed_ + 4 * i);
  }

  // Zeros at first: the lanes after the last pixel are keyed too, and must be defined.
  HWY_ALIGN float values_[kFields][kSize] = {};
  HWY_ALIGN float keyed_[4 * kSize];
  HWY_ALIGN std::uint32_t at_[kSize];
  std::size_t count_ = 0;
  bool apart_;
};

// Keys one row, the open pixels excepted, which may stay in the queues.
template <bool kFloats, class Pass>
HWY_INLINE void keyRow(const Finish& finish, const KeyRows& rows, std::size_t row, const Pass& pass, Queue& inner,
                       Queue& outer) {
  const DF df;
  const HostRow& hostRow = rows.host[row];
  const ConstRow &deblocked = rows.deblocked[row], &plate = rows.plate[row];
  float* const matte = rows.matte[row];
  const auto primaries = [df](const ConstRow& r, std::size_t x) HWY_ATTR {
    return Primaries{hn::Load(df, r.red + x), hn::Load(df, r.green + x), hn::Load(df, r.blue + x)};
  };
  forPixels(
      hostRow.floats, rows.result[row], rows.pixels, [&](const float* source, float* result, std::size_t x) HWY_ATTR {
        Host host;
        if constexpr (kFloats) {
          host = hostOf(finish, source);
        } else {
          host = hostOf(hostRow.levels, x);
        }
        Seen seen;
        seen.pixel = {host.levels.red, host.levels.green, host.levels.blue};
        Keyed keyed{host.codes.red, host.codes.green, host.codes.blue, all(255.0f)};
        if (deblocked.red != nullptr) {
          seen.pixel = primaries(deblocked, x);
          const auto code = [](VF level, VF was, VF same)
                                HWY_ATTR { return select(level == was, same, codeOf(level)); };
          keyed.red = code(seen.pixel.r, host.levels.red, keyed.red);
          keyed.green = code(seen.pixel.g, host.levels.green, keyed.green);
          keyed.blue = code(seen.pixel.b, host.levels.blue, keyed.blue);
        }
        if constexpr (Pass::kPlate) seen.plate = primaries(plate, x);
        const Keyed kept = keyed;
        const QuickKey quick = pass.quick(seen);
        if (any(quick.shadow)) {
          const VF opacity = shaped(quick.opacity, finish.shadowExponent);
          // Black where the shadow shows, otherwise grey 160.
          const MF black = hn::And(quick.darker, opacity > hn::Zero(df));
          const VF shade = hn::IfThenZeroElse(black, codeOf(all(160.0f)));
          keyed = {select(quick.shadow, shade, keyed.red), select(quick.shadow, shade, keyed.green),
                   select(quick.shadow, shade, keyed.blue), select(quick.shadow, opacity * all(255.0f), keyed.alpha)};
        }
        MF nearOpen = quick.inner, farOpen = quick.outer;
        if (matte != nullptr) {
          hn::Store(keyed.alpha, df, matte + x);
          const Keyed shown = shownBy(host, keyed);
          store({shown.red, shown.green, shown.blue, host.levels.alpha}, result);
        } else {
          store(viewAtOnce(finish, host, keyed), result);
          // Where the frame shows nothing, the key does not count.
          const MF shows = host.levels.alpha > hn::Zero(df);
          nearOpen = hn::And(nearOpen, shows);
          farOpen = hn::And(farOpen, shows);
        }
        if (!any(hn::Or(nearOpen, farOpen))) return;
        const MF there = hn::FirstN(df, rows.pixels - x);
        const auto enqueue = [&](Queue& queue, MF open) HWY_ATTR {
          const MF wanted = hn::And(open, there);
          if (!any(wanted)) return;
          if (queue.full()) queue.drain(finish, rows, pass);
          queue.add(seen, kept, host.levels.alpha, row, x, wanted);
        };
        enqueue(inner, nearOpen);
        enqueue(outer, farOpen);
      });
}

template <class Pass>
HWY_INLINE void keyRows(const Finish& finish, const KeyRows& rows, const Pass& pass) {
  const bool apart = rows.matte[0] != nullptr;
  Queue inner(apart), outer(apart);
  for (int i = 0; i < rows.count; ++i) {
    const auto row = static_cast<std::size_t>(i);
    if (rows.host[row].floats != nullptr) {
      keyRow<true>(finish, rows, row, pass, inner, outer);
    } else {
      keyRow<false>(finish, rows, row, pass, inner, outer);
    }
  }
  inner.drain(finish, rows, pass);
  outer.drain(finish, rows, pass);
}

}  // namespace kalvetra::deep::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
