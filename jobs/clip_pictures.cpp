#include "jobs/clip_pictures.h"

#include <algorithm>

#include "jobs/ordered_pipeline.h"
#include "support/interrupted.h"

namespace kalvetra {

namespace {

std::shared_ptr<const PictureIndex> indexOf(const std::string& path, const SourceOptions& source,
                                            std::int64_t firstTime, const std::atomic<bool>& stop) {
  return std::make_shared<const PictureIndex>(indexPictures(path, source, firstTime, stop));
}

std::int64_t countOf(const PictureIndex& index) {
  return std::max<std::int64_t>(index.reliable ? static_cast<std::int64_t>(index.times.size()) : index.pictures, 1);
}

KeyingChoice inEightBits(KeyingChoice choice) {
  choice.depth = DepthChoice::Eight;
  return choice;
}

// As many as there may be deep pictures in memory.
int deepThreads(const PictureFormat& format, int threads) {
  constexpr double kMostBytes = 400e6;
  const double bytes = static_cast<double>(pixelBytes(PixelFormat::RgbaF32)) * format.width * format.height;
  return std::clamp(static_cast<int>(kMostBytes / bytes), 1, threads);
}

struct Shown {
  std::size_t place = 0;
  std::shared_ptr<const AVFrame> frame;  // null once it is converted, or where there is none
  std::shared_ptr<const Image> picture;
};

}  // namespace

ClipPictures::ClipPictures(const std::string& path, const SourceOptions& source, const KeyingChoice& choice,
                           int threads, const std::atomic<bool>& stop, std::shared_ptr<const PictureIndex> index)
    : path_(path),
      source_(source),
      choice_(choice),
      threads_(threads),
      stop_(stop),
      index_(std::move(index)),
      access_(path, source, threads, stop, 0),
      keying_(access_.reader(), inEightBits(choice)),
      count_(1) {
  if (index_ == nullptr) index_ = indexOf(path, source, access_.firstTime(), stop);
  if (stop) throw Interrupted();
  count_ = countOf(*index_);
  access_.setIndex(index_);
}

ClipPictures::ClipPictures(const ClipPictures& other, FullDepth)
    : path_(other.path_),
      source_(other.source_),
      choice_(other.choice_),
      threads_(deepThreads(other.reader().format(), other.threads_)),
      stop_(other.stop_),
      index_(other.index_),
      access_(path_, source_, threads_, stop_, 0),
      keying_(access_.reader(), choice_),
      count_(other.count_) {
  access_.setIndex(index_);
}

std::unique_ptr<ClipPictures> ClipPictures::atFullDepth() const {
  if (!ClipKeying(reader(), choice_).deep()) return nullptr;
  return std::unique_ptr<ClipPictures>(new ClipPictures(*this, FullDepth()));
}

std::vector<std::int64_t> ClipPictures::spread(int most) const {
  const std::int64_t parts = std::min<std::int64_t>(most, count_);
  std::vector<std::int64_t> numbers;
  for (std::int64_t i = 0; i < parts; ++i) numbers.push_back((2 * i + 1) * count_ / (2 * parts));
  return numbers;
}

void ClipPictures::show(const std::vector<std::int64_t>& numbers, int threads, const See& see, const IsStopped& stopped,
                        const See& then) {
  const IsStopped isStopped = [&] { return stop_ || (stopped && stopped()); };
  // A wrong index is given up at once, so that the second time is the last.
  if (!showOnce(numbers, threads, see, then, isStopped)) showOnce(numbers, threads, see, then, isStopped);
  if (isStopped()) throw Interrupted();
}

bool ClipPictures::showOnce(const std::vector<std::int64_t>& numbers, int threads, const See& see, const See& then,
                            const IsStopped& isStopped) {
  const int generation = access_.generation();
  std::size_t next = 0;
  OrderedPipeline<Shown>::Stages stages;
  stages.read = [&](Shown& shown) {
    if (next == numbers.size() || isStopped()) return false;
    shown.place = next++;
    const std::int64_t number = numbers[shown.place];
    {
      const std::lock_guard lock(keeping_);
      if (const auto* kept = kept_.find(number)) shown.picture = *kept;
    }
    if (!shown.picture) shown.frame = access_.frame(number, isStopped);
    return access_.generation() == generation && !stop_;
  };
  stages.startWorker = [&] {
    return [&, converter = std::make_shared<FrameConverter>(keying_.converter())](Shown& shown) {
      if (shown.frame) shown.picture = std::make_shared<const Image>(converter->convert(*shown.frame));
      shown.frame.reset();
      if (shown.picture && !keying_.deep()) {
        const std::lock_guard lock(keeping_);
        kept_.add(numbers[shown.place], shown.picture);
      }
      see(shown.place, shown.picture);
      if (!then) shown.picture.reset();
    };
  };
  stages.write = [&](Shown& shown) {
    if (then) then(shown.place, shown.picture);
    if (looked_) looked_(shown.place + 1, numbers.size());
  };
  OrderedPipeline<Shown>::run(stages, threads);
  if (access_.generation() == generation) return true;
  kept_.clear();
  return false;
}

}  // namespace kalvetra
