// What a keyed clip is laid over.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "compositing/background_clip.h"

namespace kalvetra {

// A colour, a picture or a clip. Its numbers are taken as the clip's own are, without conversion between colour spaces.
class Background {
 public:
  // `text` is a colour, "#rrggbb", or a file or sequence, scaled to cover the clip's frame. Throws UserError for
  // anything else. `deep`: its pictures are deep. `stop` must outlive it.
  Background(const std::string& text, const PictureFormat& clip, OverEnd end, int threads,
             const std::atomic<bool>& stop, bool deep = false);

  // The background that many seconds after the first frame, opaque, of the clip's stored size. Times may only grow. For
  // one thread; frames in flight may keep it.
  std::shared_ptr<const Image> at(double seconds) { return file_ ? file_->at(seconds) : color_; }

  // Null for a colour.
  const Reader* source() const { return file_ ? &file_->source() : nullptr; }
  // As BackgroundClip has it.
  std::string damage() const { return file_ ? file_->damage() : std::string(); }

 private:
  std::shared_ptr<const Image> color_;
  std::optional<BackgroundClip> file_;
};

}  // namespace kalvetra
