#include "deep/maths.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

#include "cpu/cpu_level.h"

using namespace kalvetra;

namespace {

// The largest error in relation to the result, which may be as small as 2^-100. All levels have to give the same.
double worstError(deep::Function f, const std::function<double(double)>& exact, const std::vector<float>& xs) {
  std::vector<float> first;
  for (const CpuLevel level : cpuLevels()) {
    const CpuLevelScope scope(level);
    std::vector<float> values = xs;
    deep::apply(f, values.data(), values.size());
    if (first.empty()) first = values;
    for (std::size_t i = 0; i < xs.size(); ++i) {
      if (std::memcmp(&values[i], &first[i], sizeof(float)) == 0) continue;
      ADD_FAILURE() << cpuLevelName(level) << " at " << xs[i];
      return 1.0;
    }
  }
  double worst = 0.0;
  for (std::size_t i = 0; i < xs.size(); ++i) {
    const double wanted = exact(xs[i]);
    worst = std::max(worst, std::abs(first[i] - wanted) / std::max(std::abs(wanted), 0x1p-100));
  }
  return worst;
}

// `count` floats from one on, each `step` after the one before.
std::vector<float> floatsFrom(float first, std::uint32_t step, std::size_t count) {
  std::vector<float> xs(count);
  std::uint32_t bits = 0;
  std::memcpy(&bits, &first, sizeof bits);
  for (float& x : xs) {
    std::memcpy(&x, &bits, sizeof x);
    bits += step;
  }
  return xs;
}

double log2p1(double x) { return std::log1p(x) / std::log(2.0); }
double exp2m1(double x) { return std::expm1(x * std::log(2.0)); }

TEST(DeepMaths, KeepsItsBounds) {
  const auto log = [](double x) { return std::log2(x); };
  const auto power = [](double x) { return std::exp2(x); };
  // Every thirteenth number from 1/2 to 2, then some of each size.
  EXPECT_LT(worstError(deep::Function::Log2, log, floatsFrom(0.5f, 13, 1290555)), 0x1p-22);
  EXPECT_LT(worstError(deep::Function::Log2, log, floatsFrom(0x1p-126f, 997, 2130000)), 0x1p-22);
  for (const float sign : {1.0f, -1.0f}) {
    EXPECT_LT(worstError(deep::Function::Log2p1, log2p1, floatsFrom(sign * 0x1p-60f, 499, 1008600)), 0x1p-21);
    EXPECT_LT(worstError(deep::Function::Exp2m1, exp2m1, floatsFrom(sign * 0x1p-60f, 499, 1117000)), 0x1p-21);
    EXPECT_LT(worstError(deep::Function::Exp2, power, floatsFrom(sign * 0x1p-60f, 499, 1125000)), 0x1p-22);
    EXPECT_LT(worstError(deep::Function::Exp2, power, floatsFrom(sign * 0.25f, 13, 1290555)), 0x1p-22);
  }
}

TEST(DeepMaths, CutsOffWhatIsOutOfRange) {
  std::vector<float> x{0.0f, -3.0f, 0x1p-140f};
  deep::apply(deep::Function::Log2, x.data(), x.size());
  EXPECT_EQ(x, (std::vector<float>{-126.0f, -126.0f, -126.0f}));
  x = {-1e30f, -127.0f, 1e30f, 0.0f, 10.0f};
  deep::apply(deep::Function::Exp2, x.data(), x.size());
  EXPECT_EQ(x, (std::vector<float>{0x1p-126f, 0x1p-126f, 0x1p126f, 1.0f, 1024.0f}));
}

}  // namespace
