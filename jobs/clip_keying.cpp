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
      conversion_{.deep = keysDeep(choice.depth, colorDepth(clip)),
                  .dither = choice.dither && !choice.levels,
                  .fields = keysFields(clip, choice.fields),
                  .levels = choice.levels,
                  .premultiplied = clip.isPremultiplied(keysDeep(choice.depth, colorDepth(clip)))},
      fields_(conversion_.fields),
      depth_(conversion_.deep ? exactDepth(clip) : 8),
      dithers_(conversion_.dither && (conversion_.deep || colorDepth(clip) > 8)) {}

ClipKeying ClipKeying::withoutFields() const {
  ClipKeying whole = *this;
  whole.fields_ = whole.conversion_.fields = false;
  return whole;
}

}  // namespace kalvetra
