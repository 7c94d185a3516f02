// The pictures and clips that go along with the clip being keyed.
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "compositing/background.h"
#include "compositing/companion_clip.h"
#include "jobs/frame_keyer.h"

namespace kalvetra {

// Names of files; empty where there is none.
struct CompanionPaths {
  std::string garbage;     // runs along with the whole clip
  std::string holdout;     // likewise
  std::string background;  // a file that begins with the first picture that is worked on, or #rrggbb
  OverEnd backgroundEnd = OverEnd::Hold;
};

class CompanionFiles {
 public:
  // Throws UserError when one cannot be read, or does not fit the clip.
  // Their pictures are deep where the clip's are.
  CompanionFiles(const CompanionPaths& paths, const PictureFormat& clip, int threads, const std::atomic<bool>& stop,
                 bool deep = false);

  // What goes with the picture of that number in the clip, so many seconds after the first one that is worked on. Both
  // may only grow.
  Companions at(std::int64_t number, double seconds);

  // What had to be guessed, a sentence each.
  std::vector<std::string> guesses() const;
  // What was damaged as far as it was read, a sentence each.
  std::vector<std::string> damage() const;

 private:
  struct Feed {
    std::optional<CompanionClip> file;
    std::int64_t taken = 0;
    std::shared_ptr<const Image> current;

    std::shared_ptr<const Image> at(std::int64_t place) {
      for (; file && taken <= place; ++taken) current = file->next();
      return current;
    }
  };

  Feed garbage_, holdout_;
  std::optional<Background> background_;
};

}  // namespace kalvetra
