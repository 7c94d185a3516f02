#include "cli/key_color_search.h"

#include "cli/console.h"
#include "cli/interrupt.h"
#include "jobs/auto_settings.h"
#include "parameters/parameter_value.h"
#include "support/number_text.h"

namespace kalvetra {

int findKeyColor(const std::string& input, const SourceOptions& source, int threads) {
  const auto [found, frames] = findBackdrop(input, source, kSampledFrames, threads, stopRequested());
  const int color = colorOf({found.red, found.green, found.blue});
  note("key colour " + valueText(*findParameter("key-color"), color) + ", found in " + std::to_string(found.pixels) +
       " of " + std::to_string(found.examined) + " pixels examined in " + counted(frames, "frame"));
  return color;
}

}  // namespace kalvetra
