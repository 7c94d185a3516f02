#include "media/output/output_format.h"

#include <algorithm>
#include <stdexcept>

#include "media/pixels/float_pixels.h"

namespace kalvetra {

namespace {

using enum AlphaMode;

Codec prores() {
  return {.slug = "prores4444",
          .what = "ProRes 4444",
          .encoders = {{"prores_ks", {{"profile", "4444"}, {"alpha_bits", "16"}}}},
          .decoder = "prores",
          .pixelFormat = AV_PIX_FMT_YUVA444P10,
          .opaquePixelFormat = AV_PIX_FMT_YUV444P10,
          .alpha = {Straight, Premultiplied},
          .purposes = {"editing"},
          .usual = true,
          .lossy = true,
          .wideAlpha = true,
          .keepsFields = true,
          .codesFieldsApart = true};
}

Codec animation() {
  return {.slug = "animation",
          .what = "QuickTime Animation",
          .encoders = {{"qtrle"}},
          .decoder = "qtrle",
          .pixelFormat = AV_PIX_FMT_ARGB,
          .opaquePixelFormat = AV_PIX_FMT_RGB24,
          .alpha = {Straight, Premultiplied},
          .purposes = {"editing"},
          .keepsFields = true};
}

Codec ffv1() {
  return {.slug = "ffv1",
          .what = "FFV1, lossless",
          // Four slices whatever the number of threads: the file's bytes must not depend on it.
          .encoders = {{"ffv1", {{"level", "3"}, {"slices", "4"}, {"slicecrc", "1"}}}},
          .decoder = "ffv1",
          .pixelFormat = AV_PIX_FMT_BGRA,
          .opaquePixelFormat = AV_PIX_FMT_BGR0,
          .deep = {{10, AV_PIX_FMT_GBRAP10, AV_PIX_FMT_GBRP10},
                   {12, AV_PIX_FMT_GBRAP12, AV_PIX_FMT_GBRP12},
                   {16, AV_PIX_FMT_GBRAP16, AV_PIX_FMT_GBRP16}},
          .alpha = {Straight, Premultiplied},
          .purposes = {"archive"},
          .usual = true,
          .keepsFields = true,
          // Slices that are a single pixel wide or high cannot be read back. The first level has none.
          .tinyOptions = CodecOptions{{"level", "1"}}};
}

// Straight by convention: players take the colours for straight.
Codec vp9() {
  // The alternate reference frames that VP9 likes cannot carry alpha.
  return {.slug = "vp9",
          .what = "VP9",
          .encoders = {{"libvpx-vp9", {{"crf", "15"}, {"b", "0"}, {"auto-alt-ref", "0"}, {"cpu-used", "4"}}}},
          .decoder = "libvpx-vp9",
          .pixelFormat = AV_PIX_FMT_YUVA420P,
          .opaquePixelFormat = AV_PIX_FMT_YUV420P,
          .alpha = {Straight},
          .purposes = {"web"},
          .usual = true,
          .lossy = true,
          .alphaTolerance = 2.0};
}

// Ten bits keep all 256 levels of a matte.
Codec av1() {
  return {.slug = "av1",
          .what = "AV1",
          .encoders = {{"libsvtav1", {{"crf", "20"}, {"preset", "8"}}},
                       {"libaom-av1", {{"crf", "20"}, {"b", "0"}, {"cpu-used", "6"}, {"row-mt", "1"}}}},
          .decoder = "libdav1d",
          .pixelFormat = AV_PIX_FMT_YUV420P10,
          .opaquePixelFormat = AV_PIX_FMT_YUV420P10,
          .purposes = {"web"},
          .lossy = true,
          .pair = true,
          .alphaTolerance = 2.0,
          .joins = false,
          .keySeconds = 5};
}

Codec h264() {
  return {.slug = "h264",
          .what = "H.264",
          .encoders = {{"libx264", {{"crf", "14"}, {"preset", "fast"}}}},
          .decoder = "h264",
          .pixelFormat = AV_PIX_FMT_YUV420P,
          .opaquePixelFormat = AV_PIX_FMT_YUV420P,
          .purposes = {"web"},
          .lossy = true,
          .joins = false,
          .keepsFields = true,
          .codesFieldsApart = true,
          .keyFrames = 250};
}

Codec png() {
  return {.slug = "png",
          .what = "PNG, lossless",
          .encoders = {{"png"}},
          .decoder = "png",
          .pixelFormat = AV_PIX_FMT_RGBA,
          .opaquePixelFormat = AV_PIX_FMT_RGB24,
          .deep = {{16, AV_PIX_FMT_RGBA64BE, AV_PIX_FMT_RGB48BE}},
          .alpha = {Straight},
          .purposes = {"archive", "still"},
          .usual = true};
}

Codec png16() {
  return {.slug = "png16",
          .what = "PNG with 16 bits",
          .encoders = {{"png"}},
          .decoder = "png",
          .pixelFormat = AV_PIX_FMT_RGBA64BE,
          .opaquePixelFormat = AV_PIX_FMT_RGB48BE,
          .alpha = {Straight},
          .purposes = {"archive", "still"}};
}

Codec exr(std::string slug, const std::string& what, std::string samples) {
  return {.slug = std::move(slug),
          .what = "OpenEXR, " + what + ", linear light",
          .encoders = {{"exr", {{"format", std::move(samples)}, {"compression", "zip16"}}}},
          .decoder = "exr",
          .pixelFormat = AV_PIX_FMT_GBRAPF32,
          .opaquePixelFormat = AV_PIX_FMT_GBRPF32,
          .alpha = {Premultiplied},
          .purposes = {"compositing", "still"}};
}

Codec exrHalf() { return exr("exr", "half float", "half"); }

Codec exrFloat() {
  Codec codec = exr("exr32", "float", "float");
  codec.wholeFloats = true;
  return codec;
}

Codec rawPictures(std::string slug, std::string what, AVPixelFormat format) {
  return {.slug = std::move(slug),
          .what = std::move(what),
          .encoders = {{"rawvideo"}},
          .decoder = "rawvideo",
          .pixelFormat = format,
          .opaquePixelFormat = format,
          .alpha = {Straight, Premultiplied},
          .joins = false};
}

Codec nutPictures() {
  Codec codec = rawPictures("nut", "NUT, raw pictures", AV_PIX_FMT_BGRA);
  codec.deep = {{16, AV_PIX_FMT_RGBA64LE, AV_PIX_FMT_RGBA64LE}};
  return codec;
}

Codec rawFloats() {
  Codec codec = rawPictures("rgbaf32", "raw pictures, RGBA of floats", kFloatPixelsStored);
  codec.floatPixels = true;
  return codec;
}

std::vector<OutputFormat> makeFormats() {
  // Otherwise QuickTime and MP4 files keep only the few tags that they have a place of their own for.
  const CodecOptions allTags{{"movflags", "use_metadata_tags"}};
  const Container quickTime{.extensions = {".mov"},
                            .muxer = "mov",
                            .soundEncoder = "pcm_s24le",
                            .keepsDisplayMatrix = true,
                            .keepsTimecode = true,
                            .keepsNegativeTimes = true,
                            .keepsColorTags = true,
                            .quickTimeLanguages = true,
                            .muxerOptions = allTags};
  const Container mp4{.extensions = {".mp4"},
                      .muxer = "mp4",
                      .soundEncoder = "aac",
                      .keepsDisplayMatrix = true,
                      .keepsTimecode = true,
                      .keepsNegativeTimes = true,
                      .keepsColorTags = true,
                      .muxerOptions = allTags};
  const Container matroska{.extensions = {".mkv"},
                           .muxer = "matroska",
                           .soundEncoder = "flac",
                           .keepsTimecode = true,
                           .keepsColorTags = true};
  const Container webm{.extensions = {".webm"}, .muxer = "webm", .soundEncoder = "libopus", .keepsColorTags = true};
  const Container nut{.extensions = {".nut", "-"},
                      .muxer = "nut",
                      .soundEncoder = "pcm_s24le",
                      .keepsTimecode = true,
                      .startsAtZero = true};
  const auto pixels = [](const char* ending) {
    return Container{.extensions = {".raw", ending, "-"}, .muxer = "rawvideo", .bare = true};
  };
  const Container pngFiles{.extensions = {".png"}}, exrFiles{.extensions = {".exr"}};
  return {
      {prores(), quickTime},
      {animation(), quickTime},
      {ffv1(), matroska},
      {vp9(), webm},
      {av1(), webm},
      {av1(), matroska},
      {h264(), mp4},
      {av1(), mp4},
      {png(), pngFiles},
      {png16(), pngFiles},
      {exrHalf(), exrFiles},
      {exrFloat(), exrFiles},
      {nutPictures(), nut},
      {rawPictures("raw", "raw pictures, BGRA", AV_PIX_FMT_BGRA), pixels(".bgra")},
      {rawPictures("rgba64", "raw pictures, RGBA of 16 bits", AV_PIX_FMT_RGBA64LE), pixels(".rgba64")},
      {rawFloats(), pixels(".rgbaf32")},
  };
}

}  // namespace

bool OutputFormat::goesInto(const std::string& wanted) const {
  return std::find(extensions.begin(), extensions.end(), wanted) != extensions.end();
}

const std::vector<OutputFormat>& outputFormats() {
  static const std::vector<OutputFormat> formats = makeFormats();
  return formats;
}

const OutputFormat& outputFormatNamed(const std::string& slug) {
  for (const OutputFormat& format : outputFormats()) {
    if (format.slug == slug) return format;
  }
  throw std::logic_error("no output format is called " + slug);
}

}  // namespace kalvetra
