#include "media/output/writer.h"

#include "media/pixels/upright.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// Pictures as they are written: upright where the container cannot say how to turn them.
PictureFormat writtenPictures(const PictureFormat& source, const OutputFormat& format) {
  return format.keepsDisplayMatrix ? source : uprightFormat(source);
}

// The source's colours; its matrix too where the output is YUV and the source was.
ColorTags writtenColor(ColorTags color, AVPixelFormat format) {
  const bool rgb = (av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_RGB) != 0;
  color.range = rgb ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  if (rgb) {
    color.matrix = AVCOL_SPC_RGB;
  } else if (color.matrix == AVCOL_SPC_RGB) {
    color.matrix = AVCOL_SPC_BT709;
  }
  if ((av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_FLOAT) != 0) color.transfer = AVCOL_TRC_LINEAR;
  return color;
}

// What the code values of the pictures mean: the levels of a matte are no light, so that nothing may bend them.
AVColorTransferCharacteristic transferOf(const PictureFormat& source, const Delivery& delivery) {
  return delivery.levels ? AVCOL_TRC_LINEAR : source.color.transfer;
}

PackingOptions packingOf(const Delivery& delivery) {
  return {.deep = delivery.isDeep(),
          .floatPixels = delivery.format->floatPixels,
          .halves = !delivery.format->wholeFloats,
          .wideAlpha = delivery.format->wideAlpha && delivery.alpha != AlphaMode::None,
          .dither = delivery.dither};
}

}  // namespace

PicturePacking::PicturePacking(const Delivery& delivery, const PictureFormat& source)
    : delivery_(delivery),
      quarterTurns_(delivery.format->keepsDisplayMatrix ? 0 : source.quarterTurns()),
      fields_(delivery.format->keepsFields && quarterTurns_ == 0 && isInterlaced(source.fieldOrder)),
      pictures_(writtenPictures(source, *delivery.format)),
      color_(writtenColor(pictures_.color, delivery.pixelFormat())),
      packer_(delivery.pixelFormat(), color_.matrix, delivery.alpha, transferOf(source, delivery),
              packingOf(delivery)) {}

FramePtr PicturePacking::pack(const Image& image) const {
  if (quarterTurns_ != 0) return packer_.pack(turned(image, quarterTurns_), fields_, delivery_.extendsHidden);
  return packer_.pack(image, fields_, delivery_.extendsHidden);
}

VideoEncoder PicturePacking::encoder(int threads, bool globalHeader) const {
  PictureFormat stored = pictures_;
  if (delivery_.format->floatPixels) stored.width *= 2;
  return {*delivery_.format, delivery_.pixelFormat(), stored, color_, threads, globalHeader};
}

RawPictures PicturePacking::asRaw() const {
  return {pictures_.width, pictures_.height, pictures_.frameRate, delivery_.pixelFormat(),
          delivery_.format->floatPixels};
}

Writer::Writer(const Delivery& delivery, const TemporaryOutput& output, const std::string& shownName, Reader& source,
               int threads, const WriterPart& part)
    : shownName_(shownName), packing_(delivery, source.format()) {
  const OutputFormat& format = *delivery.format;
  if (format.muxer != nullptr) {
    if (output.isSequence()) {
      throw UserError(shownName +
                      ": only picture files are numbered, like name-%05d.png or .exr; name one file without a %");
    }
    movie_ = std::make_unique<ClipMovie>(delivery, part.movie.empty() ? output.path() : part.movie, shownName);
    encoder_.emplace(packing_.encoder(threads, movie_->wantsGlobalHeader()));
    movie_->begin(encoder_->context(), packing_.pictures(), source, part.carried);
  } else {
    encoder_.emplace(packing_.encoder(threads));
    pictureFiles_ = std::make_unique<PictureFiles>(output, shownName);
  }
  leftOut_ = whatIsLeftOut(format, source, part.carried);
}

void Writer::write(PackedPicture picture, const PicturePlace& place) {
  if (pictureFiles_) pictureFiles_->expect(place.number);
  encoder_->encode(std::get<FramePtr>(std::move(picture)), place.time, place.duration,
                   [this](AVPacket& packet) { deliver(packet); });
}

void Writer::deliver(AVPacket& packet) {
  if (movie_) {
    movie_->writePicture(packet, encoder_->timeBase());
  } else {
    pictureFiles_->write(packet);
  }
}

void Writer::writeCopied(const std::vector<PacketPtr>& packets) {
  if (movie_) movie_->writeCopied(packets);
}

void Writer::finish() {
  encoder_->flush([this](AVPacket& packet) { deliver(packet); });
  if (movie_) movie_->finish();
}

}  // namespace kalvetra
