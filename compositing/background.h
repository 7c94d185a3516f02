// What a keyed clip is laid over.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "compositing/companion_clip.h"

namespace kalvetra {

// A colour, a picture or a clip. Its numbers are taken as the clip's own are, without conversion between colour spaces.
class Background {
 public:
  // `text` is a colour, "#rrggbb", or a file or sequence to read along with the clip, scaled to cover its frame.
  // Throws UserError for anything else. `stop` must outlive it.
  Background(const std::string& text, const PictureFormat& clip, int threads, const std::atomic<bool>& stop);

  // The background of the clip's next frame, opaque, of the clip's stored size. For one thread; frames in flight may
  // keep it.
  std::shared_ptr<const Image> next() { return file_ ? file_->next() : color_; }

  // Null for a colour.
  const Reader* source() const { return file_ ? &file_->source() : nullptr; }

 private:
  std::shared_ptr<const Image> color_;
  std::optional<CompanionClip> file_;
};

}  // namespace kalvetra
