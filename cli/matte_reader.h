// The mattes of a keyed clip, picture by picture.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "analysis/matte_quality.h"
#include "media/input/reader.h"
#include "media/pixels/frame_converter.h"

namespace kalvetra {

// Takes the alpha of a file that has one. A file without alpha counts as a matte where its pictures are grey; so does
// one with alpha that begins with an opaque grey picture of more than one level, which is how a matte in a file for
// keyed clips looks.
class MatteReader {
 public:
  // Throws UserError like Reader.
  MatteReader(const std::string& path, int threads, const std::atomic<bool>& stop);

  const std::string& path() const { return reader_.path(); }
  const PictureFormat& format() const { return reader_.format(); }
  std::int64_t expectedFrames() const { return reader_.expectedFrames(); }

  // The next picture's matte; false behind the last one. Throws UserError for a picture that holds no matte.
  bool next(MattePlane& matte);
  // The picture that it is the matte of, straight.
  const Image& picture() const { return image_; }
  // Which of the two is taken. Known once the first picture is read.
  bool takesGrey() const { return takesGrey_.value_or(false); }
  // Once read to the end: pictures that are lost or have errors.
  std::int64_t damagedFrames() const { return reader_.lostFrames() + reader_.damagedFrames(); }

 private:
  void checkGrey(bool hasAlpha) const;

  Reader reader_;
  FrameConverter converter_;
  Image image_;
  std::optional<bool> takesGrey_;
  std::int64_t frames_ = 0;
};

}  // namespace kalvetra
