// Segments of a movie into one.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "jobs/journal.h"
#include "media/output/clip_movie.h"
#include "media/output/delivery.h"

namespace kalvetra {

struct JoinedMovie {
  std::vector<std::filesystem::path> segments;
  // All pictures of the segments, in the movie's times.
  std::vector<FrameRecord> frames;
  std::int64_t origin = 0;         // time of the clip at which the movie begins
  std::optional<double> soundEnd;  // where the clip's sound is cut, in its seconds; nothing: it goes on to its end
  Carried carried;
};

// Writes the pictures of the segments, which must be encoded so that each stands alone, and the sound of `source`, a
// reader at its beginning, to `path`. Throws UserError when a segment does not hold what it should.
SoundOutcome joinSegments(const JoinedMovie& movie, const Delivery& delivery, const std::string& path,
                          const std::string& shownName, Reader& source);

}  // namespace kalvetra
