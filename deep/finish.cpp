// The last steps of rows, and rows that are not keyed.
#include "deep/key_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "deep/finish.cpp"
#include <hwy/foreach_target.h>

#include <cstring>
#include <utility>

#include "cpu/dispatch.h"
#include "deep/finish-inl.h"
#include "deep/unmixing-inl.h"
#include "engine/simd/shade-inl.h"
#include "engine/streamed_plate.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::deep::HWY_NAMESPACE {

namespace {

// A shadow of the backdrop in place of what the key made of it, as far as it is one. Colours count with their alpha.
HWY_INLINE Keyed shaded(const Finish& f, const Host& host, const ConstRow& plate, std::size_t x, const Keyed& keyed) {
  const DF df;
  const Channels& s = host.levels;
  const Shade<VF> shade = shadeOf(s.red, s.green, s.blue, hn::Load(df, plate.red + x), hn::Load(df, plate.green + x),
                                  hn::Load(df, plate.blue + x), f.noise);
  const VF opacity = shaped(least(shade.shown, all(1.0f)), f.shadowExponent) * all(255.0f);
  const VF kept = (all(1.0f) - shade.weight) * keyed.alpha, alpha = kept + shade.weight * opacity;
  const VF shown = least(alpha, s.alpha), part = kept / most(alpha, all(0.001f));
  // Where nothing of it is a shadow, or nothing shows in the end, colours stay.
  const MF changes = hn::And(shade.weight > hn::Zero(df), shown > hn::Zero(df));
  const auto color = [&](VF c) HWY_ATTR { return select(changes, c * part, c); };
  return {color(keyed.red), color(keyed.green), color(keyed.blue), shown};
}

}  // namespace

void passThrough(const Finish& finish, const HostRow& host, float* result, std::size_t pixels) {
  forPixels(host.floats, result, pixels, [&](const float* source, float* out, std::size_t x) HWY_ATTR {
    const Host h = hostOf(finish, host, source, x);
    const Keyed keyed{h.codes.red, h.codes.green, h.codes.blue, h.levels.alpha};
    if (finish.clips) return store(viewAtOnce(finish, h, keyed), out);
    store(viewOf(finish, keyed, h.codes.alpha), out);  // the very alpha that it came with
  });
}

void finishKeyed(const Finish& finish, const HostRow& host, const ConstRow& plate, const float* matte, float* result,
                 std::size_t pixels) {
  forPixels(host.floats, result, pixels, [&](const float* source, float* out, std::size_t x) HWY_ATTR {
    Keyed keyed;
    VF hostAlpha;
    hn::LoadInterleaved4(DF(), out, keyed.red, keyed.green, keyed.blue, hostAlpha);
    keyed.alpha = limited(finish, hostAlpha, hn::Load(DF(), matte + x));
    if (finish.noise > 0.0f) {
      keyed = shaded(finish, hostOf(finish, host, source, x), plate, x, keyed);
    }
    store(viewOf(finish, keyed), out);
  });
}

void storeLevels(const ConstRow& levels, bool blueScreen, float* result, std::size_t pixels) {
  forPixels(nullptr, result, pixels, [&](const float*, float* out, std::size_t x) HWY_ATTR {
    const DF df;
    Channels c{codeOf(hn::Load(df, levels.red + x)), codeOf(hn::Load(df, levels.green + x)),
               codeOf(hn::Load(df, levels.blue + x)), all(1.0f)};
    if (blueScreen) std::swap(c.green, c.blue);
    store(c, out);
  });
}

void roundCodes(const float* codes, PixelFormat format, unsigned char* bytes, std::size_t pixels) {
  simd::inOrder(orderOf(format, false), [&](auto kOrder) HWY_ATTR {
    const auto rounded = [](VF code) HWY_ATTR {
      return truncToBytes(within(finite(code), 0.0f, 1.0f) * all(255.0f) + all(0.5f));
    };
    const auto convert = [&](const float* from, unsigned char* to) HWY_ATTR {
      VF red, green, blue, alpha;
      hn::LoadInterleaved4(DF(), from, red, green, blue, alpha);
      storePixels(DU(), pixelsOf<kOrder()>(rounded(blue), rounded(green), rounded(red), rounded(alpha)), to, 0);
    };
    const std::size_t lanes = hn::Lanes(DF());
    std::size_t x = 0;
    for (; x + lanes <= pixels; x += lanes) convert(codes + 4 * x, bytes + 4 * x);
    if (x == pixels) return;
    HWY_ALIGN float last[4 * hn::MaxLanes(DF())] = {};
    HWY_ALIGN unsigned char lastBytes[4 * hn::MaxLanes(DF())];
    std::memcpy(last, codes + 4 * x, (pixels - x) * 4 * sizeof(float));
    convert(last, lastBytes);
    std::memcpy(bytes + 4 * x, lastBytes, (pixels - x) * 4);
  });
}

}  // namespace kalvetra::deep::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra::deep {

HWY_EXPORT(passThrough);
HWY_EXPORT(finishKeyed);
HWY_EXPORT(storeLevels);
HWY_EXPORT(roundCodes);

void passRow(const Finish& finish, const HostRow& host, float* result, std::size_t pixels) {
  KALVETRA_ONE_FORM(passThrough)(finish, host, result, pixels);
}

void finishRow(const Finish& finish, const HostRow& host, const ConstRow& plate, const float* matte, float* result,
               std::size_t pixels) {
  KALVETRA_ONE_FORM(finishKeyed)(finish, host, plate, matte, result, pixels);
}

void storeRow(const ConstRow& levels, bool blueScreen, float* result, std::size_t pixels) {
  KALVETRA_ONE_FORM(storeLevels)(levels, blueScreen, result, pixels);
}

void roundRow(const float* codes, PixelFormat format, unsigned char* bytes, std::size_t pixels) {
  KALVETRA_ONE_FORM(roundCodes)(codes, format, bytes, pixels);
}

}  // namespace kalvetra::deep
#endif
