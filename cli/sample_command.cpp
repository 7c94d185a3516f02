#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "cli/commands.h"
#include "cli/common_options.h"
#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/progress.h"
#include "jobs/ordered_pipeline.h"
#include "media/output/movie_file.h"
#include "media/output/picture_writer.h"
#include "media/output/sound_encoder.h"
#include "media/output/video_encoder.h"
#include "media/pixels/frame_packer.h"
#include "sample/demo_clip.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr int kSampleRate = 48000;
constexpr ColorTags kVideoColor{AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, AVCOL_PRI_BT709, AVCOL_TRC_BT709};

struct SampleCommand : CommonOptions {
  std::string truthFolder;
  int frames = sample::kFrameCount;
};

PictureFormat pictureFormat() {
  PictureFormat format;
  format.width = sample::kWidth;
  format.height = sample::kHeight;
  format.timeBase = {1, sample::kFrameRate};
  format.frameRate = {sample::kFrameRate, 1};
  format.color = kVideoColor;
  return format;
}

FramePtr greyPicture(const std::vector<unsigned char>& plane) {
  FramePtr frame = makePicture(AV_PIX_FMT_GRAY8, sample::kWidth, sample::kHeight);
  for (int y = 0; y < sample::kHeight; ++y) {
    std::copy_n(plane.data() + std::ptrdiff_t{y} * sample::kWidth, sample::kWidth,
                frame->data[0] + std::ptrdiff_t{y} * frame->linesize[0]);
  }
  return frame;
}

// The true alpha of the clip's frames, as a numbered sequence in a folder of its own.
class TruthFiles {
 public:
  TruthFiles(const std::string& folder, bool replace)
      : folder_(folder),
        name_((folder_ / "alpha-%05d.png").string()),
        created_(std::filesystem::create_directory(folder_)) {
    output_.emplace(name_, replace);
    noteAll(output_->leftParts());
    writer_.emplace(*output_, name_, AV_PIX_FMT_GRAY8, sample::kWidth, sample::kHeight);
  }
  ~TruthFiles() {
    writer_.reset();
    output_.reset();
    std::error_code ignored;
    if (created_) std::filesystem::remove(folder_, ignored);  // goes only while it is empty
  }
  TruthFiles(const TruthFiles&) = delete;
  TruthFiles& operator=(const TruthFiles&) = delete;

  void write(FramePtr picture) { writer_->write(std::move(picture)); }
  void commit() {
    writer_->finish();
    output_->commit();
  }

 private:
  std::filesystem::path folder_;
  std::string name_;
  bool created_;
  std::optional<TemporaryOutput> output_;
  std::optional<PictureWriter> writer_;
};

// The movie being written: H.264 and AAC.
class SampleMovie {
 public:
  SampleMovie(const TemporaryOutput& output, const std::string& shownName, int threads)
      : movie_(outputFormatNamed("h264").muxer, output.path(), shownName),
        video_(outputFormatNamed("h264"), outputFormatNamed("h264").pixelFormat, pictureFormat(), kVideoColor, threads,
               movie_.wantsGlobalHeader()),
        sound_(outputFormatNamed("h264").soundEncoder, kSampleRate, ChannelLayout(1), movie_.wantsGlobalHeader()) {
    movie_.addStream(video_.context());
    movie_.addStream(sound_.context());
    movie_.begin();
  }

  void writeSound(const std::vector<float>& samples) {
    const auto* plane = reinterpret_cast<const std::uint8_t*>(samples.data());
    sound_.add(&plane, static_cast<int>(samples.size()));
    sound_.finish([this](AVPacket& packet) { write(packet, 1, sound_.timeBase()); });
  }
  void writeFrame(FramePtr picture, int index) {
    video_.encode(std::move(picture), index, 1, [this](AVPacket& packet) { write(packet, 0, video_.timeBase()); });
  }
  void finish() {
    video_.flush([this](AVPacket& packet) { write(packet, 0, video_.timeBase()); });
    movie_.finish();
  }

 private:
  void write(AVPacket& packet, int stream, AVRational timeBase) {
    packet.stream_index = stream;
    movie_.write(packet, timeBase);
  }

  MovieFile movie_;
  VideoEncoder video_;
  SoundEncoder sound_;
};

struct DrawnFrame {
  int index = 0;
  FramePtr picture;
  FramePtr truth;
};

void draw(DrawnFrame& frame, bool withTruth, const FramePacker& packer) {
  sample::DemoFrame drawn = sample::drawFrame(frame.index);
  Image image;
  image.width = sample::kWidth;
  image.height = sample::kHeight;
  image.bytes = std::move(drawn.argb);
  frame.picture = packer.pack(image);
  if (withTruth) frame.truth = greyPicture(drawn.alpha);
}

void drawClip(const SampleCommand& options, SampleMovie& movie, TruthFiles* truth) {
  const FramePacker packer(outputFormatNamed("h264").pixelFormat, kVideoColor.matrix);
  Progress progress(options.frames);
  int next = 0;
  OrderedPipeline<DrawnFrame>::Stages stages;
  stages.read = [&](DrawnFrame& frame) {
    frame.index = next++;
    return frame.index < options.frames && !stopRequested();
  };
  stages.startWorker = [&] { return [&](DrawnFrame& frame) { draw(frame, truth != nullptr, packer); }; };
  stages.write = [&](DrawnFrame& frame) {
    movie.writeFrame(std::move(frame.picture), frame.index);
    if (truth != nullptr) truth->write(std::move(frame.truth));
    progress.advance();
  };
  OrderedPipeline<DrawnFrame>::run(stages, options.threads);
  throwIfInterrupted();
}

void run(const SampleCommand& options) {
  if (!options.output.ends_with(".mp4"))
    throw UserError(options.output + ": the sample is an MP4 file; end its name in .mp4");
  TemporaryOutput output(options.output, options.replace);
  noteAll(output.leftParts());
  std::optional<TruthFiles> truth;
  if (!options.truthFolder.empty()) truth.emplace(options.truthFolder, options.replace);

  SampleMovie movie(output, options.output, options.threads);
  std::vector<float> sound = sample::drawSound(kSampleRate);
  sound.resize(sound.size() * static_cast<std::size_t>(options.frames) / sample::kFrameCount);
  movie.writeSound(sound);
  drawClip(options, movie, truth ? &*truth : nullptr);
  movie.finish();
  if (truth) truth->commit();
  output.commit();
}

}  // namespace

void addSampleCommand(CLI::App& program) {
  CLI::App* command = program.add_subcommand("sample", "Draw a short green-screen clip to try the keyer on.");
  auto options = std::make_shared<SampleCommand>();
  command->add_option("OUT.mp4", options->output, "The clip to write: 1280 x 720, 30 frames a second, with sound.")
      ->required();
  command->add_option("--truth", options->truthFolder, "Folder for the true alpha of every frame, as PNG.")
      ->type_name("DIR");
  command->add_option("--frames", options->frames, "Length of the clip.")
      ->check(CLI::Range(1, sample::kFrameCount))
      ->capture_default_str()
      ->type_name("1.." + std::to_string(sample::kFrameCount));
  addReplaceOption(*command, *options);
  addThreadsOption(*command, *options);
  command->callback([options] { run(*options); });
}

}  // namespace kalvetra
