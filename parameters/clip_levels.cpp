#include "parameters/clip_levels.h"

#include <set>
#include <string>

#include "support/user_error.h"

namespace kalvetra {

void refuseCrossedClipLevels(const AnimatedSettings& settings) {
  // Between keyframes both move in straight lines, so they cross at one of these or nowhere.
  std::set<std::int64_t> frames;
  for (const char* slug : {"clip-black", "clip-white"}) {
    for (const Keyframe& keyframe : settings.curve(*findParameter(slug))) frames.insert(keyframe.frame);
  }
  for (const std::int64_t frame : frames) {
    const KeySettings at = settings.at(frame);
    if (at.clipBlack <= at.clipWhite) continue;
    throw UserError("clip-black " + std::to_string(at.clipBlack) + " lies above clip-white " +
                    std::to_string(at.clipWhite) + (frames.size() > 1 ? " at frame " + std::to_string(frame) : "") +
                    "; lower clip-black or raise clip-white");
  }
}

}  // namespace kalvetra
