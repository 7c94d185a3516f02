// The frei0r filter, asked directly as a host asks it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>
#include <thread>

#include "parameters/parameter_value.h"
#include "parameters/unit_value.h"
#include "tests/support/look.h"
#include "tests/support/rendered.h"

extern "C" {
#include <frei0r.h>
}

namespace {

using namespace kalvetra;
using kalvetra::test::Bytes;

template <class Function>
Function* loaded(const char* name) {
  static void* const library = dlopen(KALVETRA_FREI0R_FILTER, RTLD_NOW | RTLD_LOCAL);
  EXPECT_NE(nullptr, library) << dlerror();
  return reinterpret_cast<Function*>(dlsym(library, name));
}

#define CALL(function) loaded<decltype(function)>(#function)

struct Instance {
  Instance(unsigned int width, unsigned int height) : handle(CALL(f0r_construct)(width, height)) {}
  ~Instance() {
    if (handle != nullptr) CALL(f0r_destruct)(handle);
  }
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  void set(int index, double value) const { CALL(f0r_set_param_value)(handle, &value, index); }
  void set(int index, f0r_param_color color) const { CALL(f0r_set_param_value)(handle, &color, index); }
  double get(int index) const {
    double value = -1;
    CALL(f0r_get_param_value)(handle, &value, index);
    return value;
  }
  f0r_instance_t handle;
};

constexpr int kKeyColor = 1;
constexpr f0r_param_color kGreen{40 / 255.0f, 150 / 255.0f, 70 / 255.0f};

std::vector<std::uint32_t> packed(const Bytes& argb) {
  std::vector<std::uint32_t> pixels(argb.size() / 4);
  auto* rgba = reinterpret_cast<unsigned char*>(pixels.data());
  for (std::size_t i = 0; i < argb.size(); ++i) rgba[i / 4 * 4 + (i % 4 + 3) % 4] = argb[i];
  return pixels;
}

Bytes unpacked(const std::vector<std::uint32_t>& pixels) {
  const auto* rgba = reinterpret_cast<const unsigned char*>(pixels.data());
  Bytes argb(pixels.size() * 4);
  for (std::size_t i = 0; i < argb.size(); ++i) argb[i] = rgba[i / 4 * 4 + (i % 4 + 3) % 4];
  return argb;
}

Bytes keyedByEngine(const Bytes& argb, int width, int height) {
  KeySettings settings = defaultSettings();
  settings.keyColor = {40 / 255.0, 150 / 255.0, 70 / 255.0};
  return test::rendered(settings, argb, width, height);
}

TEST(Frei0rFilter, HasTheTablesParametersWithTheirDefaults) {
  ASSERT_EQ(1, CALL(f0r_init)());
  f0r_plugin_info_t plugin{};
  CALL(f0r_get_plugin_info)(&plugin);
  EXPECT_EQ(F0R_COLOR_MODEL_RGBA8888, plugin.color_model);
  const Instance instance(8, 8);
  int index = 0;
  for (const Parameter* place : parametersByPlace()) {
    const Parameter& parameter = *place;
    f0r_param_info_t info{};
    CALL(f0r_get_param_info)(&info, index);
    EXPECT_EQ(parameter.slug, info.name);
    EXPECT_NE(std::string::npos, std::string(info.explanation).find(parameter.help));
    if (parameter.kind == ParameterKind::Color) {
      EXPECT_EQ(F0R_PARAM_COLOR, info.type);
    } else {
      EXPECT_EQ(parameter.kind == ParameterKind::Toggle ? F0R_PARAM_BOOL : F0R_PARAM_DOUBLE, info.type);
      const double wanted =
          static_cast<double>(parameter.defaultValue - parameter.minimum) / (parameter.maximum - parameter.minimum);
      EXPECT_DOUBLE_EQ(wanted, instance.get(index)) << parameter.slug;
    }
    ++index;
  }
  EXPECT_EQ(index, plugin.num_params);
}

// Every value can be set, six digits suffice for it, and nonsense becomes something near.
TEST(Frei0rFilter, ValuesComeBackAsTheStepsOfTheirRange) {
  const Instance instance(8, 8);
  int index = -1;
  for (const Parameter* place : parametersByPlace()) {
    const Parameter& parameter = *place;
    if (++index == kKeyColor) continue;
    const int steps = parameter.maximum - parameter.minimum;
    for (int step = 0; step <= steps; ++step) {
      const double unit = std::round(1e6 * step / steps) / 1e6;
      instance.set(index, unit);
      EXPECT_DOUBLE_EQ(static_cast<double>(step) / steps, instance.get(index)) << parameter.slug;
    }
    const double before = static_cast<double>(parameter.defaultValue - parameter.minimum) / steps;
    const std::pair<double, double> odd[] = {
        {-3, 0}, {1e300, 1}, {std::numeric_limits<double>::infinity(), 1}, {std::nan(""), before}};
    for (const auto& [given, found] : odd) {
      instance.set(index, given);
      EXPECT_DOUBLE_EQ(found, instance.get(index)) << parameter.slug << " " << given;
    }
  }
  double untouched = 5;
  for (const int none : {-1, 1000}) {
    CALL(f0r_set_param_value)(instance.handle, &untouched, none);
    CALL(f0r_get_param_value)(instance.handle, &untouched, none);
    f0r_param_info_t info{};
    CALL(f0r_get_param_info)(&info, none);
    EXPECT_EQ(nullptr, info.name);
  }
  EXPECT_EQ(5, untouched);
  instance.set(kKeyColor, f0r_param_color{std::nanf(""), 7.0f, 0.4999f});
  f0r_param_color color{};
  CALL(f0r_get_param_value)(instance.handle, &color, kKeyColor);
  EXPECT_EQ((std::array<float, 3>{0.0f, 1.0f, 127 / 255.0f}), (std::array<float, 3>{color.r, color.g, color.b}));
}

// Sizes that are no multiple of 8 too, in place, and whatever the time is said to be.
TEST(Frei0rFilter, KeysLikeTheEngine) {
  for (const auto& [width, height] : {std::pair{70, 50}, {1, 1}, {1, 9}, {64, 48}, {7, 1}}) {
    Bytes frame = test::greenScreen(width, height, 3);
    for (std::size_t i = 0; i < frame.size(); i += 28) frame[i] = static_cast<unsigned char>(i);  // alpha of its own
    const std::vector<std::uint32_t> input = packed(frame), wanted = packed(keyedByEngine(frame, width, height));
    const Instance instance(static_cast<unsigned int>(width), static_cast<unsigned int>(height));
    ASSERT_NE(nullptr, instance.handle);
    instance.set(kKeyColor, kGreen);
    std::vector<std::uint32_t> output(input.size()), same = input;
    CALL(f0r_update)(instance.handle, -3.7e20, input.data(), output.data());
    EXPECT_EQ(wanted, output) << width << " x " << height;
    CALL(f0r_update)(instance.handle, std::nan(""), same.data(), same.data());
    EXPECT_EQ(wanted, same);
  }
  const std::pair<unsigned int, unsigned int> none[] = {{0, 8}, {8, 0}, {65536, 8}, {8, 4294967295u}};
  for (const auto& [width, height] : none) EXPECT_EQ(nullptr, Instance(width, height).handle);
}

// Every frame of the look can be asked for: the filter takes all sizes, alpha and all settings.
TEST(Frei0rFilter, HasTheEnginesLook) {
  int compared = 0;
  for (const test::LookFrame& frame : test::lookReference().frames) {
    const Instance instance(static_cast<unsigned int>(frame.width), static_cast<unsigned int>(frame.height));
    int index = 0;
    for (const Parameter* place : parametersByPlace()) {
      const Parameter& parameter = *place;
      if (parameter.kind == ParameterKind::Color) {
        const auto& color = frame.settings.keyColor;
        instance.set(index, f0r_param_color{static_cast<float>(color[0]), static_cast<float>(color[1]),
                                            static_cast<float>(color[2])});
      } else {
        instance.set(index, unitOf(parameter, valueIn(frame.settings, parameter)));
      }
      ++index;
    }
    const std::vector<std::uint32_t> input = packed(drawn(frame));
    std::vector<std::uint32_t> output(input.size());
    CALL(f0r_update)(instance.handle, 0, input.data(), output.data());
    EXPECT_EQ(frame.hash, test::lookHash(unpacked(output))) << frame.line;
    ++compared;
  }
  EXPECT_EQ(static_cast<int>(test::lookReference().frames.size()), compared);
}

TEST(Frei0rFilter, InstancesWorkSideBySide) {
  const int width = 96, height = 64;
  const Bytes frame = test::greenScreen(width, height, 5);
  const std::vector<std::uint32_t> input = packed(frame), keyed = packed(keyedByEngine(frame, width, height));
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      const Instance instance(width, height);
      if (i % 2 == 0) instance.set(kKeyColor, kGreen);  // the others key nothing
      for (int frames = 0; frames < 20; ++frames) {
        std::vector<std::uint32_t> output(input.size());
        CALL(f0r_update)(instance.handle, 0, input.data(), output.data());
        EXPECT_EQ(i % 2 == 0 ? keyed : input, output);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
