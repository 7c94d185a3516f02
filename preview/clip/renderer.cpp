#include "preview/clip/renderer.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "compositing/over.h"
#include "engine/KalvetraFinalCut.h"
#include "preview/clip/reduced_picture.h"
#include "preview/clip/shown_picture.h"

namespace kalvetra {

namespace {

constexpr std::size_t kMostDesks = 3;                        // at rest
constexpr std::size_t kMostAtRest = std::size_t{512} << 20;  // bytes of their pictures, about

// Alpha, red, green, blue to red, green, blue, alpha.
void toRgba(const Image& image, unsigned char* out) {
  const unsigned char* in = image.bytes.data();
  for (std::size_t i = 0; i < image.bytes.size(); i += 4) {
    std::uint32_t pixel;
    std::memcpy(&pixel, in + i, 4);
    pixel = std::endian::native == std::endian::little ? std::rotr(pixel, 8) : std::rotl(pixel, 8);
    std::memcpy(out + i, &pixel, 4);
  }
}

// Red, green, blue, alpha.
std::array<double, 4> levelsAt(const Image& image, int x, int y) {
  const std::ptrdiff_t at = std::ptrdiff_t{4} * x;
  std::array<double, 4> levels;
  for (std::size_t c = 0; c < 4; ++c) {
    levels[c] = image.isDeep() ? 255.0 * double{image.floats(y)[at + static_cast<std::ptrdiff_t>(c)]}
                               : static_cast<double>(image.row(y)[at + static_cast<std::ptrdiff_t>((c + 1) % 4)]);
  }
  return levels;
}

}  // namespace

class Renderer::Seat {
 public:
  Seat(Renderer& renderer, DeskPtr desk) : renderer_(renderer), desk_(std::move(desk)) {}
  ~Seat() { renderer_.giveBack(std::move(desk_)); }
  Seat(const Seat&) = delete;
  Seat& operator=(const Seat&) = delete;
  Desk& operator*() const { return *desk_; }

 private:
  Renderer& renderer_;
  DeskPtr desk_;
};

// With the same pictures and settings as before, what was keyed is still there.
Renderer::DeskPtr Renderer::takeDesk(const KeyedFrame& keyed, const Abandon& abandoned) {
  const ClipKeying& keying = clip_.keying(keyed.deep);
  const bool whole = keyed.scale == 1, fields = whole && keying.fields();
  const auto full = clip_.picture(keyed.number, abandoned, keyed.deep);
  const auto source = reduced(full, keyed.scale);
  const Companions mattes = reduced(mattes_.at(keyed.number, abandoned, keyed.deep), keyed.scale);
  KeySettings settings = whole ? keyed.settings : reducedSettings(keyed.settings, keyed.scale);
  settings.view = kKalvetraViewResult;
  const auto isOfKind = [&](const DeskPtr& d) { return d->fields == fields && d->deep == keyed.deep; };
  const auto isSame = [&](const DeskPtr& d) {
    return isOfKind(d) && d->source == source && d->mattes.garbage == mattes.garbage &&
           d->mattes.holdout == mattes.holdout && d->settings == settings && d->plates == keyed.plates;
  };
  DeskPtr desk;
  {
    const std::lock_guard lock(mutex_);
    auto found = std::find_if(desks_.begin(), desks_.end(), isSame);
    if (found == desks_.end()) found = std::find_if(desks_.begin(), desks_.end(), isOfKind);
    if (found != desks_.end()) {
      desk = std::move(*found);
      desks_.erase(found);
    }
  }
  if (!desk) {
    desk = std::make_unique<Desk>(Desk{FrameKeyer(fields ? keying : keying.withoutFields()), fields, keyed.deep});
    desk->keyer.share(threads_.workers());
  }
  if (isSame(desk)) return desk;
  desk->source = source;
  desk->mattes = mattes;
  desk->settings = settings;
  desk->plates = keyed.plates;
  // A smaller picture is keyed against the full one's plate.
  ClipKnowledge known = knownOf(keyed.plates, keyed.number);
  if (known.plate) known.plate = [plate = known.plate, full](const Image&) { return plate(*full); };
  desk->keyer.begin(source, settings, mattes, std::move(known));
  return desk;
}

void Renderer::giveBack(DeskPtr desk) {
  const std::lock_guard lock(mutex_);
  desks_.push_back(std::move(desk));
  const auto bytes = [&] {
    std::size_t sum = 0;
    for (const DeskPtr& d : desks_) sum += d->source ? 3 * d->source->bytes.size() : 0;  // key, view and composite
    return sum;
  };
  while (desks_.size() > kMostDesks || (desks_.size() > 1 && bytes() > kMostAtRest)) desks_.erase(desks_.begin());
}

std::shared_ptr<const Image> Renderer::reduced(const std::shared_ptr<const Image>& full, int scale) {
  if (scale == 1) return full;
  {
    const std::lock_guard lock(mutex_);
    if (const auto* known = reduced_.find({full, scale})) return *known;
  }
  auto small =
      std::make_shared<const Image>(averaged(*full, reducedSide(full->width, scale), reducedSide(full->height, scale)));
  const std::size_t bytes = full->bytes.size() + small->bytes.size();  // it keeps both
  const std::lock_guard lock(mutex_);
  return reduced_.add({full, scale}, std::move(small), bytes);
}

Companions Renderer::reduced(const Companions& mattes, int scale) {
  const auto small = [&](const auto& matte) { return matte ? reduced(matte, scale) : nullptr; };
  return {small(mattes.garbage), small(mattes.holdout), nullptr};
}

RenderedView Renderer::packed(const Image& stored) {
  if (stored.isDeep()) return packed(inEightBits(stored.frame()));
  const int turns = clip_.format().quarterTurns();
  const Image upright = turns == 0 ? Image() : turned(stored, turns);
  const Image& image = turns == 0 ? stored : upright;
  const std::shared_ptr<Bytes> bytes = pool_.take(image.bytes.size());
  toRgba(image, bytes->data());
  return {image.width, image.height, bytes, {}};
}

RenderedView Renderer::view(const KeyedFrame& keyed, ShownView shown, const std::shared_ptr<const Image>& background,
                            const Abandon& abandoned) {
  if (shown == ShownView::Source)
    return packed(*reduced(clip_.picture(keyed.number, abandoned, keyed.deep), keyed.scale));
  const Seat seat(*this, takeDesk(keyed, abandoned));
  FrameKeyer& keyer = (*seat).keyer;
  if (shown == ShownView::Composite) {
    const Image& keyedPicture = keyer.view(ShownView::Result);
    Image& composite = (*seat).view;
    layOver(keyedPicture, *reduced(background, keyed.scale), composite);
    return packed(composite);
  }
  RenderedView rendered = packed(keyer.view(shown));
  if (shown == ShownView::Status) rendered.status = keyer.status();
  return rendered;
}

Image Renderer::plate(const KeyedFrame& keyed) {
  const Seat seat(*this, takeDesk(keyed, {}));
  const Image& plate = (*seat).keyer.view(ShownView::Plate);
  return keyed.deep ? inEightBits(plate.frame()) : plate;
}

Renderer::Pixel Renderer::pixel(const KeyedFrame& keyed, int x, int y) {
  const Seat seat(*this, takeDesk(keyed, {}));
  FrameKeyer& keyer = (*seat).keyer;
  Pixel pixel{};
  pixel.source = levelsAt(keyer.view(ShownView::Source), x, y);
  pixel.plate = levelsAt(keyer.view(ShownView::Plate), x, y);
  pixel.result = levelsAt(keyer.view(ShownView::Result), x, y);
  return pixel;
}

}  // namespace kalvetra
