#include "compositing/companion_clip.h"

#include "compositing/cover.h"
#include "compositing/over.h"
#include "media/pixels/upright.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

Canvas uprightSize(const PictureFormat& format) {
  const PictureFormat upright = uprightFormat(format);
  return {upright.width, upright.height, av_q2d(upright.pixelAspect)};
}

std::string shown(const Canvas& size) { return std::to_string(size.width) + " x " + std::to_string(size.height); }

Image turnedBy(Image image, int quarterTurns) {
  return quarterTurns == 0 ? std::move(image) : turned(image, quarterTurns);
}

void layOverBlack(Image& image) {
  Image black(image.width, image.height, image.format);
  std::fill(black.bytes.begin(), black.bytes.end(), static_cast<unsigned char>(0));
  layOver(image, black, image);
}

}  // namespace

CompanionClip::CompanionClip(const std::string& path, const std::string& what, Fit fit, const PictureFormat& clip,
                             int threads, const std::atomic<bool>& stop, bool deep)
    : fit_(fit),
      clip_(clip),
      reader_(path, threads, stop),
      converter_(reader_.format().color,
                 {.deep = deep, .levels = fit == Fit::Exact, .premultiplied = reader_.isPremultiplied(deep)}) {
  if (fit == Fit::Exact) requireClipSize(what);
  if (!reader_.next(frame_)) throw UserError(path + ": no picture in it can be read; check the file");
}

void CompanionClip::requireClipSize(const std::string& what) const {
  const Canvas own = uprightSize(reader_.format()), wanted = uprightSize(clip_);
  if (own.width == wanted.width && own.height == wanted.height) return;
  throw UserError(reader_.path() + ": its pictures measure " + shown(own) + ", those of the clip " + shown(wanted) +
                  "; scale the " + what + " to the clip's size");
}

std::shared_ptr<const Image> CompanionClip::next() {
  if (ended_) return current_;
  current_ =
      std::make_shared<const Image>(fittedTo(clip_, reader_.format(), fit_, converter_.convert(*frame_.picture)));
  frame_.copied.clear();
  ended_ = !reader_.next(frame_);
  return current_;
}

Image fittedTo(const PictureFormat& clip, const PictureFormat& own, CompanionClip::Fit fit, Image picture) {
  Image image = turnedBy(std::move(picture), own.quarterTurns());
  if (fit == CompanionClip::Fit::Cover) {
    layOverBlack(image);
    image = covering(image, uprightSize(own).pixelAspect, uprightSize(clip));
  }
  return turnedBy(std::move(image), (4 - clip.quarterTurns()) % 4);
}

}  // namespace kalvetra
