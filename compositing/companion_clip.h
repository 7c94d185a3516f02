// A picture or clip that accompanies the clip being keyed: a garbage matte, a holdout, a background.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "media/input/reader.h"
#include "media/pixels/frame_converter.h"

namespace kalvetra {

// Read frame by frame in step with the clip, whatever the frame rates; after its end its last picture stays, so a
// still is decoded once. Pictures are turned the way the clip's are stored. For one thread.
class CompanionClip {
 public:
  enum class Fit {
    Exact,  // a matte: must have the clip's size; alpha stays, and it holds levels, not light
    Cover,  // scaled to cover the frame and cropped; opaque, laid over black where it has alpha
  };
  // `what` names its part in sentences: "garbage matte". `deep`: its pictures are read at full depth. Throws UserError
  // when it cannot be read, or when its size does not fit.
  CompanionClip(const std::string& path, const std::string& what, Fit fit, const PictureFormat& clip, int threads,
                const std::atomic<bool>& stop, bool deep = false);

  // The picture for the clip's next frame, of the clip's stored size. Shared, so that frames in flight may keep it.
  std::shared_ptr<const Image> next();

  // For notes about it: guessed colours, damage once it is read.
  const Reader& source() const { return reader_; }

 private:
  void requireClipSize(const std::string& what) const;

  Fit fit_;
  PictureFormat clip_;
  Reader reader_;
  FrameConverter converter_;
  SourceFrame frame_;
  bool ended_ = false;
  std::shared_ptr<const Image> current_;
};

// A converted picture of a companion whose pictures are described by `own`, as next() delivers it.
Image fittedTo(const PictureFormat& clip, const PictureFormat& own, CompanionClip::Fit fit, Image picture);

}  // namespace kalvetra
