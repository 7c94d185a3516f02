// Files of all kinds with damage anywhere: opened, decoded, searched, indexed and described, or refused with a
// sentence.
#include <fstream>
#include <iterator>
#include <new>

#include "media/input/frame_access.h"
#include "media/input/reader.h"
#include "media/pixels/frame_converter.h"
#include "media/probe/clip_description.h"
#include "support/user_error.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/level_oracle.h"
#include "tests/support/scratch_folder.h"

namespace {

using kalvetra::Image;
using kalvetra::Reader;
using kalvetra::SourceFrame;
using kalvetra::SourceOptions;
using kalvetra::test::FuzzInput;
using kalvetra::test::require;

constexpr int kMostPictures = 12;
constexpr std::size_t kMostMemory = std::size_t{16} << 20;  // bytes of one allocation of the libraries
constexpr std::size_t kKept = std::size_t{1} << 20;         // bytes of pictures

const std::atomic<bool> kNever{false};

// Some formats are known by the name alone.
constexpr const char* kNames[]{"clip.mov", "clip.mkv", "clip.webm", "clip.avi", "clip.nut", "clip.mxf", "clip.ts",
                               "clip.png", "clip.exr", "clip.jpg",  "clip.tif", "clip.gif", "clip.y4m", "clip.raw"};

struct File {
  std::string path;
  SourceOptions options;
};

File fileFrom(FuzzInput& in, int name) {
  static const kalvetra::test::ScratchFolder folder;
  File file{folder.path(kNames[static_cast<std::size_t>(name) % std::size(kNames)]), {}};
  if (file.path.ends_with(".raw")) file.options.raw = kalvetra::parseRawPictures("8x6@25:yuv422p10le");
  std::ofstream(file.path, std::ios::binary) << in.rest();
  return file;
}

// Refusals are single lines, whatever the file's names and tags hold.
template <class Action>
void expectSentence(Action action) {
  try {
    action();
  } catch (const kalvetra::UserError& error) {
    const std::string message = error.what();
    require(!message.empty() && message.find('\n') == std::string::npos, "no sentence: " + message);
  } catch (const std::bad_alloc&) {  // of huge sizes that a file declares
  }
}

void readAll(Reader& reader) {
  kalvetra::FrameConverter converter(reader.format().color);
  Image image;
  std::int64_t last = -1;
  SourceFrame frame;
  for (int i = 0; i < kMostPictures && reader.next(frame); ++i) {
    require(frame.picture != nullptr && frame.time > last, "pictures that do not follow each other");
    last = frame.time;
    kalvetra::test::sameAtEveryLevel([&] {
      converter.convert(*frame.picture, image);
      return image.bytes;
    });
    require(image.bytes.size() == static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height) * 4,
            "a picture of another size");
  }
  reader.describeDamage(reader.lostFrames(), reader.damagedFrames());
}

void readStrictly(const File& file) {
  Reader reader(file.path, file.options, 1, kNever);
  require(reader.format().width > 0 && reader.format().height > 0, "pictures without a size");
  require(reader.expectedFrames() >= 0, "fewer than no pictures");
  readAll(reader);
  SourceFrame frame;
  for (const double place : {0.5, 0.0, 1.0}) {
    if (reader.seek(place)) reader.next(frame);
  }
  if (reader.seekTime(0.04)) reader.next(frame);
}

void findByNumber(const File& file) {
  kalvetra::FrameAccess access(file.path, file.options, 1, kNever, kKept);
  const std::int64_t first = access.firstTime();
  const auto index =
      std::make_shared<kalvetra::PictureIndex>(kalvetra::indexPictures(file.path, file.options, first, kNever));
  require(!index->reliable || !index->times.empty(), "a reliable index of nothing");
  access.setIndex(index);
  for (const std::int64_t number : {3, 0, 7, 1, 5, -1, 100}) {
    const auto picture = access.frame(number);
    require(number >= 0 || picture == nullptr, "a picture before the first");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  av_log_set_level(AV_LOG_QUIET);
  av_max_alloc(kMostMemory);
  FuzzInput in(data, size);
  const int kind = in.byte();
  const File file = fileFrom(in, kind / 4);
  expectSentence([&] { readStrictly(file); });
  if (kind % 2 != 0) expectSentence([&] { findByNumber(file); });
  if (kind / 2 % 2 != 0) expectSentence([&] { kalvetra::describeClip(file.path, file.options, 1, kNever); });
  return 0;
}
