#include "cli/key_color_search.h"

#include "cli/console.h"
#include "cli/interrupt.h"
#include "jobs/auto_settings.h"
#include "parameters/parameter_value.h"
#include "support/number_text.h"

namespace kalvetra {

int findKeyColor(Reader& clip) {
  const auto [found, frames] = findBackdrop(clip, kSampledFrames, stopRequested());
  clip.rewind();
  const int color = colorOf({found.red, found.green, found.blue});
  note("key colour " + valueText(*findParameter("key-color"), color) + ", found in " + std::to_string(found.pixels) +
       " of " + std::to_string(found.examined) + " pixels examined in " + counted(frames, "frame"));
  // After the sentence about the backdrop comes one about what else is of a backdrop's colour.
  const std::size_t end = found.reason.find(". ");
  if (end != std::string::npos) note(found.reason.substr(end + 2));
  return color;
}

}  // namespace kalvetra
