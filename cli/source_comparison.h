// A keyed clip beside its source: what is wrong with the key.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "analysis/key_faults.h"
#include "jobs/clip_keying.h"
#include "media/input/reader.h"

namespace kalvetra {

inline constexpr int kComparedPictures = 12;  // about, of a clip

// How the source is compared.
struct ComparisonChoice {
  std::string source;           // a file; empty for none
  std::optional<int> keyColor;  // 0xrrggbb; without it, what is found in the source
  std::optional<int> screen;    // 0 green, 1 blue; without it, what the key colour says
};

class SourceComparison {
 public:
  // `expected` is how many pictures the keyed clip has, 0 where that is not known. Throws UserError like Reader, and
  // where no backdrop is found or the source, turned as the keyed clip is, has another size than `keyed`.
  SourceComparison(const ComparisonChoice& choice, const PictureFormat& keyed, std::int64_t expected, int threads,
                   const std::atomic<bool>& stop);

  // The keyed clip's next picture. About kComparedPictures of them, from all over the clip, are compared. Throws
  // UserError when the source has ended before.
  void add(const Image& keyed);
  // After the keyed clip's last picture. Throws UserError when the source goes on: then the two did not begin together,
  // perhaps, and other pictures were compared.
  void end();
  const FaultReport& report() const { return report_; }
  int keyColor() const { return keyColor_; }
  int screen() const { return screen_; }

 private:
  Reader reader_;
  FrameConverter converter_;
  int turns_;  // of the source, to lie as the keyed clip does
  Image image_;
  int keyColor_ = 0, screen_ = 0;
  std::int64_t stride_, frames_ = 0;
  FaultReport report_;
};

}  // namespace kalvetra
