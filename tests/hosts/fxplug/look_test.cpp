// The look through the bundle, on pictures of 8 bits.
#include <gtest/gtest.h>

#include "hosts/fxplug/test_host/hosted_filter.h"
#include "parameters/parameter_table.h"
#include "tests/support/look.h"

namespace {

using namespace kalvetra::fxhost;
using kalvetra::KeySettings;
using kalvetra::Parameter;
using kalvetra::ParameterKind;
using kalvetra::test::LookFrame;
using kalvetra::test::lookReference;

void set(HostedFilter& filter, const KeySettings& settings) {
  for (const Parameter& p : kalvetra::kHostParameters) {
    if (p.kind == ParameterKind::Group) continue;
    HostParameter& parameter = filter.parameter(p.id);
    if (p.kind == ParameterKind::Color) {
      for (std::size_t c = 0; c < 3; ++c) parameter.value[c] = settings.keyColor[c];
    } else {
      parameter.value[0] = settings.*p.value;
    }
  }
}

// Every frame of the look can be asked for: the host takes all sizes, alpha and all settings.
TEST(PluginLook, EqualsTheEngines) {
  HostedFilter filter(KALVETRA_BUNDLE, "en");
  ASSERT_TRUE(filter.addParameters());
  int compared = 0;
  for (const LookFrame& frame : lookReference().frames) {
    set(filter, frame.settings);
    HostPicture in(frame.width, frame.height, 8), out(frame.width, frame.height, 8);
    in.data = drawn(frame);
    ASSERT_TRUE(filter.render(out, in));
    EXPECT_EQ(frame.hash, kalvetra::test::lookHash(out.data)) << frame.line;
    ++compared;
  }
  EXPECT_EQ(static_cast<int>(lookReference().frames.size()), compared);
}

}  // namespace
