#include "preview/clip/turns.h"

#include "support/user_error.h"

namespace kalvetra {

Turns::Turn::Turn(Turns& turns, std::string viewer, std::int64_t sequence)
    : turns_(turns), viewer_(std::move(viewer)), sequence_(sequence) {
  std::unique_lock lock(turns_.mutex_);
  turns_.announce(viewer_, sequence_);
  const auto overtaken = [&] { return turns_.overtakes(viewer_, sequence_); };
  turns_.changed_.wait(lock, [&] { return turns_.free_ > 0 || overtaken(); });
  if (overtaken()) throw Conflict("the request was overtaken by a newer one");
  --turns_.free_;
}

Turns::Turn::~Turn() {
  {
    const std::lock_guard lock(turns_.mutex_);
    ++turns_.free_;
  }
  turns_.changed_.notify_all();
}

bool Turns::Turn::isOvertaken() const {
  const std::lock_guard lock(turns_.mutex_);
  return turns_.overtakes(viewer_, sequence_);
}

bool Turns::overtakes(const std::string& viewer, std::int64_t sequence) const {
  const auto newest = newest_.find(viewer);
  return newest != newest_.end() && newest->second > sequence;
}

// Forgetting viewers only means that some request too many is worked on.
void Turns::announce(const std::string& viewer, std::int64_t sequence) {
  if (viewer.empty()) return;
  if (newest_.size() >= kMostViewers && !newest_.contains(viewer)) newest_.clear();
  std::int64_t& newest = newest_.emplace(viewer, sequence).first->second;
  if (newest >= sequence) return;
  newest = sequence;
  changed_.notify_all();
}

}  // namespace kalvetra
