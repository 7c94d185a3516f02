#include "preview/clip/matte_strip.h"

#include <algorithm>

#include "preview/clip/matte_stream.h"
#include "preview/clip/thread_priority.h"
#include "support/interrupted.h"

namespace kalvetra {

namespace {

constexpr std::size_t kUnsettled = 2;  // the newest frames, whose flicker is not known yet

}  // namespace

MatteStrip::MatteStrip(const KeyJob& clip, Precedence& precedence, Index index, Mattes mattes, Plates plates)
    : clip_(clip),
      precedence_(precedence),
      index_(std::move(index)),
      mattes_(std::move(mattes)),
      plates_(std::move(plates)),
      thread_([this] { work(); }) {}

MatteStrip::~MatteStrip() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
    if (stop_) *stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

std::int64_t MatteStrip::start(const AnimatedSettings& settings, const ClipRange& range, DepthChoice depth) {
  const std::lock_guard lock(mutex_);
  if (stop_) *stop_ = true;
  stop_ = std::make_shared<std::atomic<bool>>(false);
  const std::int64_t job = state_.job + 1;
  state_ = {};
  state_.job = job;
  state_.status = StripStatus::Running;
  next_ = Wanted{job, settings, range, depth, stop_};
  changed_.notify_all();
  return job;
}

void MatteStrip::stop() {
  const std::lock_guard lock(mutex_);
  if (state_.status != StripStatus::Running) return;
  *stop_ = true;
  next_.reset();
  state_.status = StripStatus::Stopped;
}

StripState MatteStrip::state(std::int64_t from) const {
  const std::lock_guard lock(mutex_);
  StripState state{state_.job, state_.status, state_.of, state_.first, 0, {}, state_.error};
  const auto known = static_cast<std::int64_t>(state_.frames.size());
  state.from = std::clamp<std::int64_t>(from, 0, known);
  state.frames.assign(state_.frames.begin() + state.from, state_.frames.end());
  return state;
}

// Changes the state, unless another job has taken its place or this one was stopped.
template <class Change>
void MatteStrip::update(const Wanted& wanted, Change change) {
  const std::lock_guard lock(mutex_);
  if (state_.job == wanted.job && state_.status == StripStatus::Running) change(state_);
}

void MatteStrip::work() {
  lowerPriority();  // for the decoder's threads, which inherit it
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [&] { return ending_ || next_; });
    if (ending_) return;
    const Wanted wanted = std::move(*next_);
    next_.reset();
    lock.unlock();
    try {
      run(wanted);
    } catch (const Interrupted&) {
      update(wanted, [](StripState& state) { state.status = StripStatus::Stopped; });
    } catch (const std::exception& error) {
      update(wanted, [&](StripState& state) {
        state.status = StripStatus::Failed;
        state.error = error.what();
      });
    }
    lock.lock();
  }
}

void MatteStrip::run(const Wanted& wanted) {
  if (!measure(wanted, index_())) measure(wanted, nullptr);
  update(wanted, [&](StripState& state) {
    state.of = static_cast<std::int64_t>(state.frames.size());
    state.status = StripStatus::Done;
  });
}

// False when the index is no good.
bool MatteStrip::measure(const Wanted& wanted, std::shared_ptr<const PictureIndex> index) {
  KeyJob job = clip_;
  job.range = wanted.range;
  job.keying.depth = settledDepth(wanted.depth, wanted.settings.at(0));
  std::optional<MatteQuality> quality;
  const auto publish = [&](StripState& state, std::size_t settled) {
    const auto& all = quality->pictures();
    for (std::size_t i = state.frames.size(); i < settled; ++i) state.frames.push_back(all[i]);
  };
  MatteStream stream;
  stream.plates = plates_(wanted.settings, job.keying.depth, *wanted.stop);
  stream.companions = [&](std::int64_t number) { return mattes_(number, job.keying.depth, *wanted.stop); };
  stream.begin = [&](const Reader& source) {
    const PictureFormat& format = source.format();
    quality.emplace(format.width, format.height);
    update(wanted, [&](StripState& state) {
      state.frames.clear();
      state.of = job.range.expectedFrames(source.expectedFrames(), format.frameRate);
      state.first = job.range.firstFrame(format.frameRate);
    });
  };
  stream.matte = [&](MattePlane matte) {
    quality->add(std::move(matte));
    const std::size_t count = quality->pictures().size();
    update(wanted, [&](StripState& state) { publish(state, count - std::min(count, kUnsettled)); });
  };
  const bool good = streamMattes(job, wanted.settings, std::move(index), precedence_, *wanted.stop, stream);
  update(wanted, [&](StripState& state) { publish(state, quality->pictures().size()); });
  return good;
}

}  // namespace kalvetra
