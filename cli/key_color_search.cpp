#include "cli/key_color_search.h"

#include <cstdio>
#include <optional>

#include "cli/console.h"
#include "cli/interrupt.h"
#include "engine/backdrop_color.h"
#include "media/frame_sampler.h"
#include "parameters/parameter_value.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr int kSampledFrames = 8;

std::string percentage(double share) {
  char text[16];
  std::snprintf(text, sizeof text, "%.1f %%", share * 100.0);
  return text;
}

}  // namespace

int findKeyColor(const std::string& input, int threads) {
  BackdropFinder finder;
  const int frames = sampleFrames(input, kSampledFrames, threads, stopRequested(), [&](const Image& frame) {
    finder.add(frame.argb.data(), frame.width, frame.height);
  });
  throwIfInterrupted();
  double share = 0.0;
  const std::optional<BackdropColor> found = finder.find(&share);
  if (frames == 0) throw UserError(input + ": no picture in it can be read; check the file");
  if (!found) {
    throw UserError(input + ": no green backdrop found (only " + percentage(share) +
                    " of the picture is of one green, 5 % must be); name its colour with --key-color");
  }
  const int color = colorOf({found->red, found->green, found->blue});
  note("key colour " + valueText(*findParameter("key-color"), color) + ", found in " + std::to_string(found->pixels) +
       " of " + std::to_string(found->examined) + " pixels examined in " + counted(frames, "frame"));
  return color;
}

}  // namespace kalvetra
