#include "media/output/output_format.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <stdexcept>

namespace kalvetra {

namespace {

using enum AlphaMode;

// What a container holds beside the pictures.
struct Container {
  const char* extension;
  const char* muxer;
  bool keepsDisplayMatrix, keepsTimecode, keepsNegativeTimes;
  const char* soundEncoder;
  CodecOptions options() const {
    // Otherwise QuickTime and MP4 files keep only the few tags that they have a place of their own for.
    if (keepsDisplayMatrix) return {{"movflags", "use_metadata_tags"}};
    return {};
  }
};

constexpr Container kQuickTime{".mov", "mov", true, true, true, "pcm_s24le"},
    kMp4{".mp4", "mp4", true, true, true, "aac"}, kMatroska{".mkv", "matroska", false, true, false, "flac"},
    kWebm{".webm", "webm", false, false, false, "libopus"};

OutputFormat movie(const Container& container, std::string slug, std::string what, const char* encoder,
                   AVPixelFormat pixelFormat, AVPixelFormat opaque, CodecOptions options) {
  OutputFormat format{std::move(slug), std::move(what), {container.extension}, container.muxer,          encoder,
                      pixelFormat,     opaque,          std::move(options),    {Straight, Premultiplied}};
  format.keepsDisplayMatrix = container.keepsDisplayMatrix;
  format.keepsTimecode = container.keepsTimecode;
  format.keepsNegativeTimes = container.keepsNegativeTimes;
  format.soundEncoder = container.soundEncoder;
  format.keepsSound = format.keepsColorTags = format.keepsFields = true;
  format.muxerOptions = container.options();
  return format;
}

OutputFormat pictures(std::string slug, std::string what, std::string extension, const char* encoder,
                      AVPixelFormat pixelFormat, AVPixelFormat opaque, CodecOptions options, AlphaMode alpha) {
  return {std::move(slug), std::move(what), {std::move(extension)}, nullptr, encoder,
          pixelFormat,     opaque,          std::move(options),     {alpha}};
}

OutputFormat prores() {
  OutputFormat format = movie(kQuickTime, "prores4444", "ProRes 4444", "prores_ks", AV_PIX_FMT_YUVA444P10,
                              AV_PIX_FMT_YUV444P10, {{"profile", "4444"}, {"alpha_bits", "16"}});
  format.lossy = true;
  return format;
}

// Straight by convention: players take the colours for straight.
OutputFormat vp9() {
  // The alternate reference frames that VP9 likes cannot carry alpha.
  OutputFormat format = movie(kWebm, "vp9", "VP9", "libvpx-vp9", AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUV420P,
                              {{"crf", "15"}, {"b", "0"}, {"auto-alt-ref", "0"}, {"cpu-used", "4"}});
  format.alpha = {Straight};
  format.lossy = true;
  format.alphaTolerance = 2.0;
  format.keepsFields = false;
  return format;
}

// Two encoders are in use; which one is there depends on the machine. Ten bits keep all 256 levels of a matte.
OutputFormat av1(const Container& container) {
  const bool svt = avcodec_find_encoder_by_name("libsvtav1") != nullptr;
  OutputFormat format =
      movie(container, "av1", "AV1", svt ? "libsvtav1" : "libaom-av1", AV_PIX_FMT_YUV420P10, AV_PIX_FMT_YUV420P10,
            svt ? CodecOptions{{"crf", "20"}, {"preset", "8"}}
                : CodecOptions{{"crf", "20"}, {"b", "0"}, {"cpu-used", "6"}, {"row-mt", "1"}});
  format.alpha = {};
  format.lossy = true;
  format.pair = true;
  format.alphaTolerance = 2.0;
  format.keepsFields = false;
  return format;
}

OutputFormat h264() {
  OutputFormat format = movie(kMp4, "h264", "H.264", "libx264", AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV420P,
                              {{"crf", "14"}, {"preset", "fast"}});
  format.alpha = {};
  format.lossy = true;
  return format;
}

OutputFormat raw() {
  OutputFormat format{
      "raw", "raw pictures, BGRA",     {".raw", ".bgra", "-"}, "rawvideo", "rawvideo", AV_PIX_FMT_BGRA, AV_PIX_FMT_BGRA,
      {},    {Straight, Premultiplied}};
  format.bare = true;
  return format;
}

OutputFormat nut() {
  OutputFormat format{
      "nut", "NUT, raw pictures",      {".nut", "-"}, "nut", "rawvideo", AV_PIX_FMT_BGRA, AV_PIX_FMT_BGRA,
      {},    {Straight, Premultiplied}};
  format.keepsTimecode = format.keepsSound = format.startsAtZero = true;
  format.soundEncoder = "pcm_s24le";
  return format;
}

std::vector<OutputFormat> makeFormats() {
  return {
      prores(),
      movie(kQuickTime, "animation", "QuickTime Animation", "qtrle", AV_PIX_FMT_ARGB, AV_PIX_FMT_RGB24, {}),
      // Four slices whatever the number of threads: the file's bytes must not depend on it.
      movie(kMatroska, "ffv1", "FFV1, lossless", "ffv1", AV_PIX_FMT_BGRA, AV_PIX_FMT_BGR0,
            {{"level", "3"}, {"slices", "4"}, {"slicecrc", "1"}}),
      vp9(),
      av1(kWebm),
      av1(kMatroska),
      h264(),
      av1(kMp4),
      pictures("png", "PNG, lossless", ".png", "png", AV_PIX_FMT_RGBA, AV_PIX_FMT_RGB24, {}, Straight),
      pictures("png16", "PNG with 16 bits", ".png", "png", AV_PIX_FMT_RGBA64BE, AV_PIX_FMT_RGB48BE, {}, Straight),
      pictures("exr", "OpenEXR, half float, linear light", ".exr", "exr", AV_PIX_FMT_GBRAPF32, AV_PIX_FMT_GBRPF32,
               {{"format", "half"}, {"compression", "zip16"}}, Premultiplied),
      nut(),
      raw(),
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

std::string extensionOf(const std::string& path) {
  if (path == "-") return path;
  std::string extension = std::filesystem::path(path).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

const OutputFormat& outputFormatNamed(const std::string& slug) {
  for (const OutputFormat& format : outputFormats()) {
    if (format.slug == slug) return format;
  }
  throw std::logic_error("no output format is called " + slug);
}

}  // namespace kalvetra
