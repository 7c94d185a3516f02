#include "preview/clip/clip_frames.h"

#include <algorithm>
#include <future>

#include "media/input/source_depth.h"
#include "support/interrupted.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr std::int64_t kNearStart = 60;  // pictures that are decoded without waiting for the index
constexpr std::chrono::milliseconds kPatience{3000}, kGlance{20};

KeyingChoice at(DepthChoice depth, KeyingChoice choice) {
  choice.depth = depth;
  return choice;
}

const std::string& searchable(const std::string& path) {
  if (path == kStandardInput) throw UserError("the standard input cannot be searched for pictures; name a file");
  return path;
}

}  // namespace

class ClipFrames::Clip {
 public:
  Clip(const std::string& path, const SourceOptions& options, int threads, const std::atomic<bool>& stop,
       const KeyingChoice& choice)
      : path_(searchable(path)),
        options_(options),
        threads_(threads),
        stop_(stop),
        description_(path, options, 1, stop),
        eightBits_(description_, at(DepthChoice::Eight, choice)),
        deep_(description_, at(DepthChoice::Deep, choice)) {}
  ~Clip() {
    closing_ = true;
    if (index_.valid()) index_.wait();
  }
  Clip(const Clip&) = delete;
  Clip& operator=(const Clip&) = delete;

  const Reader& description() const { return description_; }
  const ClipKeying& keying(bool deep) const { return deep ? deep_ : eightBits_; }
  bool isStopping() const { return stop_; }
  FrameAccess access(std::size_t keptBytes) const { return {path_, options_, threads_, stop_, keptBytes}; }

  void beginIndex(std::int64_t firstTime) {
    index_ = std::async(std::launch::async, [this, firstTime] {
      auto index = std::make_shared<PictureIndex>();
      try {
        *index = indexPictures(path_, options_, firstTime, closing_);
      } catch (const UserError&) {  // it was there a moment ago: decoding it will say what is wrong
      }
      return std::shared_ptr<const PictureIndex>(std::move(index));
    });
  }
  // Waits that long at most; null while it is not made.
  std::shared_ptr<const PictureIndex> index(std::chrono::milliseconds patience) const {
    return index_.wait_for(patience) == std::future_status::ready ? index_.get() : nullptr;
  }

 private:
  const std::string path_;
  const SourceOptions options_;
  const int threads_;
  const std::atomic<bool>& stop_;
  std::atomic<bool> closing_{false};
  const Reader description_;
  const ClipKeying eightBits_, deep_;
  std::shared_future<std::shared_ptr<const PictureIndex>> index_;
};

ClipFrames::ClipFrames(const std::string& path, const SourceOptions& options, int threads,
                       const std::atomic<bool>& stop, const KeyingChoice& choice, std::size_t keptBytes)
    : clip_(std::make_shared<Clip>(path, options, threads, stop, choice)),
      access_(clip_->access(keptBytes)),
      converted_(keptBytes / 2) {
  clip_->beginIndex(access_.firstTime());
}

ClipFrames::ClipFrames(const ClipFrames& other, std::size_t keptBytes)
    : clip_(other.clip_), access_(clip_->access(keptBytes)), converted_(keptBytes / 2) {}

const Reader& ClipFrames::reader() const { return clip_->description(); }

const ClipKeying& ClipFrames::keying(bool deep) const { return clip_->keying(deep); }

bool ClipFrames::keysDeep(DepthChoice choice, const AnimatedSettings& settings) const {
  return kalvetra::keysDeep(settledDepth(choice, settings.at(0)), colorDepth(reader()));
}

std::shared_ptr<const PictureIndex> ClipFrames::index() const { return clip_->index({}); }

// Waits that long at most. Call it with decoding_ held.
bool ClipFrames::takeIndex(std::chrono::milliseconds patience) {
  if (access_.hasIndex()) return true;
  if (const auto index = clip_->index(patience)) access_.setIndex(index);
  return access_.hasIndex();
}

std::int64_t ClipFrames::count(const Abandon& abandoned) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!clip_->index(kGlance) && !(abandoned && abandoned()) && std::chrono::steady_clock::now() < end) continue;
  const std::lock_guard lock(decoding_);
  takeIndex({});
  return knownCount().value_or(std::max<std::int64_t>(reader().expectedFrames(), 1));
}

// Call it with decoding_ held.
std::optional<std::int64_t> ClipFrames::knownCount() const {
  if (access_.count() || !access_.hasIndex()) return access_.count();
  const auto index = this->index();
  return std::max<std::int64_t>(index->reliable ? static_cast<std::int64_t>(index->times.size()) : index->pictures, 1);
}

std::int64_t ClipFrames::numberWithin(std::int64_t number, const Abandon& abandoned) {
  const std::lock_guard lock(decoding_);
  awaitIndexFor(number, abandoned);
  if (!access_.hasIndex()) access_.frame(number, abandoned);  // near enough: it meets the end, if there is one before
  return std::min(number, knownCount().value_or(number + 1) - 1);
}

std::shared_ptr<const Image> ClipFrames::known(const Picture& which) {
  const std::lock_guard lock(mutex_);
  const auto* image = converted_.find(which);
  return image != nullptr ? *image : nullptr;
}

void ClipFrames::remember(const Picture& which, const std::shared_ptr<const Image>& image) {
  const std::lock_guard lock(mutex_);
  converted_.add(which, image, image->bytes.size());
}

std::unique_ptr<FrameConverter> ClipFrames::takeConverter(bool deep) {
  const std::lock_guard lock(mutex_);
  auto& resting = converters_[deep ? 1 : 0];
  if (resting.empty()) return std::make_unique<FrameConverter>(keying(deep).converter());
  auto converter = std::move(resting.back());
  resting.pop_back();
  return converter;
}

void ClipFrames::refuse(std::int64_t number, const Abandon& abandoned) const {
  if (clip_->isStopping()) throw Interrupted();
  if (abandoned && abandoned()) throw Conflict("the request was overtaken by a newer one");
  throw UserError("the clip has no frame " + std::to_string(number) + "; they are numbered from 0");
}

void ClipFrames::awaitIndexFor(std::int64_t number, const Abandon& abandoned) {
  while (!takeIndex(kGlance)) {
    if (access_.distance(number) <= kNearStart) return;
    if (clip_->isStopping() || (abandoned && abandoned())) refuse(number, abandoned);
  }
}

std::shared_ptr<const AVFrame> ClipFrames::decoded(std::int64_t number, const Abandon& abandoned) {
  const std::lock_guard lock(decoding_);
  awaitIndexFor(number, abandoned);
  auto frame = access_.frame(number, abandoned);
  if (generation_ != access_.generation()) {
    generation_ = access_.generation();
    const std::lock_guard forgetting(mutex_);
    converted_.clear();
  }
  if (frame == nullptr) refuse(number, abandoned);
  return frame;
}

std::shared_ptr<const Image> ClipFrames::picture(std::int64_t number, const Abandon& abandoned, bool deep) {
  if (auto image = known({number, deep})) return image;
  const auto frame = decoded(number, abandoned);
  auto converter = takeConverter(deep);
  auto image = std::make_shared<Image>();
  converter->convert(*frame, *image);
  {
    const std::lock_guard lock(mutex_);
    converters_[deep ? 1 : 0].push_back(std::move(converter));
  }
  remember({number, deep}, image);
  return image;
}

}  // namespace kalvetra
