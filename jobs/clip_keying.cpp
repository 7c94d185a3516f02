#include "jobs/clip_keying.h"

#include "media/input/source_depth.h"
#include "parameters/parameter_value.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

bool keysFields(const Reader& clip, FieldChoice choice) {
  return choice == FieldChoice::On || (choice == FieldChoice::Auto && isInterlaced(clip.format().fieldOrder));
}

}  // namespace

std::string fullDepthText(const KeySettings& settings) {
  std::string text;
  for (const Parameter& p : kParameters) {
    if (!p.fullDepth || settings.*p.value == p.defaultValue) continue;
    text += (text.empty() ? "" : " and ") + std::string(p.slug) + " " + valueText(p, settings.*p.value);
  }
  return text;
}

DepthChoice settledDepth(DepthChoice choice, const KeySettings& settings) {
  if (!needsFullDepth(settings)) return choice;
  if (choice == DepthChoice::Eight) {
    throw UserError(fullDepthText(settings) +
                    " cannot be done in 8 bits; choose the depth auto or deep, or leave it off");
  }
  return DepthChoice::Deep;
}

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
