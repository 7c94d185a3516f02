#include "jobs/proof.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "jobs/movie_proof.h"
#include "jobs/picture_errors.h"
#include "jobs/sample_pictures.h"
#include "media/files/numbered_name.h"
#include "media/files/temporary_output.h"
#include "media/output/writer.h"
#include "media/pixels/frame_converter.h"

namespace kalvetra {

namespace {

// Mean absolute error, in levels, of the brightness of opaque pictures after a lossy codec. Half of it is what halved
// chroma takes from a status view full of specks.
constexpr double kOpaqueTolerance = 10.0;
// From so many colour values of half-transparent pixels on, straight and premultiplied colours can be told apart.
constexpr std::int64_t kTelling = 200;

std::string decimal(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", value);
  return text;
}

// Levels by which alpha of a deep picture may be off on average once it was rounded to what the file holds, and cut
// down to what its decoder gives.
double alphaStep(const Delivery& delivery, AVPixelFormat read) {
  constexpr double kHalfFloat = 255.0 / 4096;
  if (delivery.format->pixelFormat == AV_PIX_FMT_GBRAPF32) return kHalfFloat;
  const auto bitsOf = [](AVPixelFormat format) { return av_pix_fmt_desc_get(format)->comp[3].depth; };
  const int written = delivery.format->wideAlpha ? 16 : bitsOf(delivery.pixelFormat());
  const int bits = std::min(written, bitsOf(read));
  return 255.0 / ((1 << std::min(bits, 16)) - 1) * (bits < written ? 1.0 : 0.5);
}

class Prover {
 public:
  Prover(const std::string& path, const Promise& promise, int threads, const std::atomic<bool>& stop)
      : path_(path),
        promise_(promise),
        format_(*promise.delivery.format),
        written_(promise.delivery, promise.pictures),
        threads_(threads),
        stop_(stop) {}

  Proof run() {
    if (format_.isPictures()) {
      countFiles();
    } else {
      checkContainer();
    }
    for (const auto& [index, keyed] : promise_.samples) checkPicture(index, keyed);
    report();
    return std::move(proof_);
  }

 private:
  std::string pictureName(std::int64_t index) const {
    const std::filesystem::path path(path_);
    const std::string name = path.filename().string();  // the folder may have a pattern in its name too
    if (!isNumberedName(name)) return path_;
    return (path.parent_path() / numberedName(name, promise_.frames.at(static_cast<std::size_t>(index)).number))
        .string();
  }

  void countFiles() {
    const auto wanted = static_cast<std::int64_t>(promise_.frames.size());
    std::int64_t found = 0;
    for (std::int64_t i = 0; i < wanted; ++i) found += std::filesystem::exists(pictureName(i)) ? 1 : 0;
    expectFrames(found, promise_, proof_);
    const std::int64_t covered = numberedFiles(), more = covered - found;
    if (found == wanted && covered > 0) {
      proof_.checks.push_back("numbered " + std::to_string(promise_.frames.front().number) + " to " +
                              std::to_string(promise_.frames.back().number));
    }
    if (more > 0) proof_.differences.push_back("nothing was keyed for " + std::to_string(more) + " of its pictures");
  }

  // All that the name covers; 0 for a single picture.
  std::int64_t numberedFiles() const {
    const std::filesystem::path path(path_);
    if (!isNumberedName(path.filename().string())) return 0;
    return static_cast<std::int64_t>(filesCoveredBy(path).size());
  }

  SourceOptions sourceOptions() const {
    SourceOptions options;
    if (format_.bare) options.raw = written_.asRaw();
    return options;
  }

  // Everything but the pictures themselves; notes when each of them is shown.
  void checkContainer() {
    Reader reader(path_, sourceOptions(), threads_, stop_);
    times_ = proveMovie(reader, promise_, written_, proof_);
  }

  // Linear light cannot be compared with the keyed colours.
  bool isLight() const { return format_.pixelFormat == AV_PIX_FMT_GBRAPF32; }

  struct ReadPicture {
    Image image;
    AVPixelFormat format;  // that it was decoded to
  };

  // The picture of that index as the file gives it, nothing when it gives none.
  std::optional<ReadPicture> read(std::int64_t index) {
    if (format_.isPictures()) return readAt(pictureName(index), 0);
    if (index >= static_cast<std::int64_t>(times_.size())) return std::nullopt;
    return readAt(path_, times_[static_cast<std::size_t>(index)]);
  }

  std::optional<ReadPicture> readAt(const std::string& file, std::int64_t time) {
    Reader reader(file, sourceOptions(), threads_, stop_);
    const double seconds = static_cast<double>(time) * av_q2d(reader.format().timeBase);
    if (time > 0) reader.seekTime(seconds);
    SourceFrame frame;
    while (reader.next(frame)) {
      if (frame.time < time) continue;
      if (frame.time > time) return std::nullopt;
      FrameConverter converter(reader.format().color, {.deep = promise_.delivery.isDeep()});
      return ReadPicture{converter.convert(*frame.picture), static_cast<AVPixelFormat>(frame.picture->format)};
    }
    return std::nullopt;
  }

  double alphaTolerance(AVPixelFormat read) const {
    if (!promise_.delivery.isDeep()) return format_.alphaTolerance;
    return format_.alphaTolerance + alphaStep(promise_.delivery, read);
  }

  void checkPicture(std::int64_t index, const Image& keyed) {
    const std::string name = "picture " + std::to_string(index + 1);
    const std::optional<ReadPicture> found = read(index);
    if (!found) {
      proof_.differences.push_back(name + " cannot be read back");
      return;
    }
    const int turns = format_.keepsDisplayMatrix ? 0 : promise_.pictures.quarterTurns();
    Image wanted = keyed;
    const Image stored = turned(found->image, (4 - turns) % 4);
    const Image got = sampleOf(stored);
    if (got.width != wanted.width || got.height != wanted.height) {
      proof_.differences.push_back(name + " measures " + std::to_string(found->image.width) + " x " +
                                   std::to_string(found->image.height));
      return;
    }
    const bool opaque = promise_.delivery.alpha == AlphaMode::None;
    if (opaque && isLight()) return;
    if (promise_.delivery.extendsHidden) forgetHiddenColors(wanted, got);
    const double error = opaque ? brightnessError(wanted, got) : alphaError(wanted, got);
    worst_ = std::max(worst_, error);
    if (error > (opaque ? kOpaqueTolerance : alphaTolerance(found->format))) {
      proof_.differences.push_back("the " + std::string(opaque ? "brightness" : "alpha") + " of " + name +
                                   " is off by " + decimal(error) + " levels");
    }
    addErrors(wanted, got, colors_);
  }

  void report() {
    const bool opaque = promise_.delivery.alpha == AlphaMode::None;
    if (proof_.differences.empty() && !promise_.samples.empty() && !(opaque && isLight())) {
      proof_.checks.push_back((opaque ? "brightness within " : "alpha within ") + decimal(worst_) + " levels in " +
                              std::to_string(promise_.samples.size()) + " pictures");
    }
    // The format of linear light itself demands premultiplied colours.
    if (opaque || colors_.values < kTelling || isLight()) return;
    const bool straight = colors_.straight < colors_.premultiplied;
    proof_.expect(
        straight == (promise_.delivery.alpha == AlphaMode::Straight),
        straight ? "straight colours" : "premultiplied colours",
        straight ? "its colours are straight, not premultiplied" : "its colours are premultiplied, not straight");
  }

  std::string path_;
  const Promise& promise_;
  const OutputFormat& format_;
  PicturePacking written_;
  int threads_;
  const std::atomic<bool>& stop_;
  std::vector<std::int64_t> times_;  // of a movie's pictures
  ColorErrors colors_;
  double worst_ = 0.0;
  Proof proof_;
};

}  // namespace

void Proof::expect(bool holds, const std::string& check, const std::string& difference) {
  if (!holds) differences.push_back(difference);
  if (holds && !check.empty()) checks.push_back(check);
}

Proof prove(const std::string& path, const Promise& promise, int threads, const std::atomic<bool>& stop) {
  return Prover(path, promise, threads, stop).run();
}

}  // namespace kalvetra
