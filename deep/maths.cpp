#include "deep/maths.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "deep/maths.cpp"
#include <hwy/foreach_target.h>

#include <algorithm>

#include "cpu/dispatch.h"
#include "deep/maths-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::deep::HWY_NAMESPACE {

namespace {

HWY_INLINE VF valueOf(Function f, VF x) {
  switch (f) {
    case Function::Log2:
      return log2(x);
    case Function::Log2p1:
      return log2p1(x);
    case Function::Exp2:
      return exp2(x);
    case Function::Exp2m1:
      break;
  }
  return exp2m1(x);
}

}  // namespace

void applyTo(Function f, float* x, std::size_t count) {
  const std::size_t lanes = hn::Lanes(DF());
  HWY_ALIGN float some[hn::MaxLanes(DF())] = {};
  for (std::size_t i = 0; i < count; i += lanes) {
    const std::size_t now = std::min(lanes, count - i);
    std::copy_n(x + i, now, some);
    hn::Store(valueOf(f, hn::Load(DF(), some)), DF(), some);
    std::copy_n(some, now, x + i);
  }
}

}  // namespace kalvetra::deep::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra::deep {

HWY_EXPORT(applyTo);

void apply(Function f, float* x, std::size_t count) { KALVETRA_ONE_FORM(applyTo)(f, x, count); }

}  // namespace kalvetra::deep
#endif
