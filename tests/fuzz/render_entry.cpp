// The render entry: frames of any two sizes, any settings, all views, whole and by fields, and the backdrop itself.
#include <cmath>
#include <iterator>

#include "engine/KalvetraFinalCut.h"
#include "engine/render.h"
#include "parameters/parameter_table.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/level_oracle.h"

namespace {

using kalvetra::KeySettings;
using kalvetra::Scan;
using kalvetra::test::Bytes;
using kalvetra::test::FuzzInput;
using kalvetra::test::require;

constexpr unsigned char kUnwritten = 0x5C;

enum Way { kHostFrames, kFields, kPlate, kWays };

struct Arguments {
  Way way;
  FuzzInput::Size from, to;
  KeySettings settings;
  Bytes input;
};

KeySettings settingsFrom(FuzzInput& in) {
  KeySettings s = kalvetra::defaultSettings();
  for (const kalvetra::Parameter& p : kalvetra::kParameters) {
    if (p.value != nullptr) s.*p.value = in.nearly(p.minimum, p.maximum);
  }
  for (double& component : s.keyColor) {
    component = in.byte() / 255.0;
    if (in.byte() == 255) component = in.any<double>();
  }
  return s;
}

std::size_t bytesOf(FuzzInput::Size size) {
  return size.width < 1 || size.height < 1 ? 0 : static_cast<std::size_t>(size.width * size.height) * 4;
}

// Pixels near the key colour, so that something is keyed.
Bytes pictureNear(const std::array<double, 3>& color, Bytes noise) {
  for (std::size_t i = 0; i < noise.size(); ++i) {
    if (i % 4 == 0) {
      if (noise[i] < 200) noise[i] = 255;
      continue;
    }
    const double key = color[i % 4 - 1];
    const int level = key >= 0.0 && key <= 1.0 ? static_cast<int>(key * 255.0) : 0;
    noise[i] = static_cast<unsigned char>(std::clamp(level + noise[i] / 4 - 32, 0, 255));
  }
  return noise;
}

Arguments argumentsFrom(FuzzInput& in) {
  Arguments a{};
  const int kind = in.byte();
  a.way = static_cast<Way>(kind % kWays);
  a.from = a.to = in.size();
  if (a.way == kHostFrames && kind >= 128) a.to = in.size();
  a.settings = settingsFrom(in);
  a.input = in.picture(bytesOf(a.from));
  if (kind % 4 != 0) a.input = pictureNear(a.settings.keyColor, a.input);
  return a;
}

Bytes render(const Arguments& a) {
  Bytes output(bytesOf(a.to), kUnwritten);
  const kalvetra::ConstFrame from = kalvetra::packedFrame(a.input.data(), a.from.width, a.from.height);
  const kalvetra::Frame to = kalvetra::packedFrame(output.data(), a.to.width, a.to.height);
  if (a.way == kPlate) {
    renderPlate(a.settings, from, to, {a.settings.view == 0 ? Scan::Whole : Scan::Fields});
  } else {
    render(a.settings, from, to, {a.way == kFields ? Scan::Fields : Scan::Whole});
  }
  return output;
}

void checkPixel(const Arguments& a, const unsigned char* in, const unsigned char* out) {
  if (a.way == kPlate) {
    require(out[0] == 255, "a backdrop is not opaque");
  } else if (a.settings.view == kKalvetraViewSource) {
    require(std::equal(in, in + 4, out), "the source view changes a pixel");
  } else if (a.settings.view == kKalvetraViewMatte) {
    require(out[0] == 255 && out[1] == out[2] && out[2] == out[3], "the matte view is not an opaque grey");
  } else if (a.settings.clipBlack == 0 && a.settings.clipWhite == 100) {
    require(out[0] <= in[0], "a matte exceeds the frame's alpha");
  }
}

// What holds whatever the arithmetic: the output's own pixels outside the common area stay.
void checkResult(const Arguments& a, const Bytes& output) {
  for (int y = 0; y < a.to.height; ++y) {
    for (int x = 0; x < a.to.width; ++x) {
      const unsigned char* out = output.data() + std::ptrdiff_t{4} * (y * a.to.width + x);
      if (x < a.from.width && y < a.from.height) {
        checkPixel(a, a.input.data() + std::ptrdiff_t{4} * (y * a.from.width + x), out);
      } else {
        require(std::count(out, out + 4, kUnwritten) == 4, "a pixel outside the common area was written");
      }
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput in(data, size);
  const Arguments arguments = argumentsFrom(in);
  checkResult(arguments, kalvetra::test::sameAtEveryLevel([&] { return render(arguments); }));
  return 0;
}
