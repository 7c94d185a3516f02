#include "media/output_format.h"

#include <algorithm>
#include <filesystem>

#include "support/user_error.h"

namespace kalvetra {

namespace {

const std::vector<OutputFormat>& keyedFormats() {
  static const std::vector<OutputFormat> formats{
      {".mov",
       "ProRes 4444",
       "mov",
       "prores_ks",
       AV_PIX_FMT_YUVA444P10,
       {{"profile", "4444"}, {"alpha_bits", "16"}},
       true,
       true,
       true},
      // Four slices whatever the number of threads: the file's bytes must not depend on it.
      {".mkv",
       "FFV1, lossless",
       "matroska",
       "ffv1",
       AV_PIX_FMT_BGRA,
       {{"level", "3"}, {"slices", "4"}, {"slicecrc", "1"}},
       false,
       true,
       false},
      // The alternate reference frames that VP9 likes cannot carry alpha.
      {".webm",
       "VP9",
       "webm",
       "libvpx-vp9",
       AV_PIX_FMT_YUVA420P,
       {{"crf", "15"}, {"b", "0"}, {"auto-alt-ref", "0"}, {"cpu-used", "4"}},
       false,
       false,
       false},
      {".png", "PNG, lossless", nullptr, "png", AV_PIX_FMT_RGBA, {}, false, false, false},
  };
  return formats;
}

}  // namespace

const std::vector<OutputFormat>& outputFormats() { return keyedFormats(); }

const OutputFormat& outputFormatFor(const std::string& path) {
  std::string extension = std::filesystem::path(path).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return std::tolower(c); });
  std::string known;
  for (const OutputFormat& format : keyedFormats()) {
    if (extension == format.extension) return format;
    known += (known.empty() ? "" : ", ") + format.extension + " (" + format.what + ")";
  }
  throw UserError(path + ": " +
                  (extension.empty() ? "has no file extension" : "'" + extension + "' cannot be written") +
                  "; end the name in one of " + known);
}

const OutputFormat& demonstrationFormat() {
  static const OutputFormat format{
      ".mp4", "H.264", "mp4", "libx264", AV_PIX_FMT_YUV420P, {{"crf", "14"}, {"preset", "fast"}}, true, true, true};
  return format;
}

}  // namespace kalvetra
