#include "jobs/clip_keying.h"

#include "media/input/source_depth.h"

namespace kalvetra {

namespace {

bool keysFields(const Reader& clip, FieldChoice choice) {
  return choice == FieldChoice::On || (choice == FieldChoice::Auto && isInterlaced(clip.format().fieldOrder));
}

}  // namespace

ClipKeying::ClipKeying(const Reader& clip, const KeyingChoice& choice)
    : color_(clip.format().color),
      conversion_{.dither = choice.dither && !choice.levels,
                  .fields = keysFields(clip, choice.fields),
                  .levels = choice.levels,
                  .premultiplied = clip.isPremultiplied()},
      fields_(conversion_.fields),
      dithers_(conversion_.dither && colorDepth(clip) > 8) {}

ClipKeying ClipKeying::withoutFields() const {
  ClipKeying whole = *this;
  whole.fields_ = whole.conversion_.fields = false;
  return whole;
}

}  // namespace kalvetra
