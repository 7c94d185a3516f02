// Pictures from all over a clip, by their numbers: the same ones whatever part of it is worked on.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "jobs/clip_keying.h"
#include "media/input/frame_access.h"
#include "support/recently_used.h"

namespace kalvetra {

// Asked now and then: true once the work is to end. None: it is not ended before its time.
using IsStopped = std::function<bool()>;

// In 8 bits at any depth of the key: what is found in them must not depend on it.
class ClipPictures {
 public:
  // Opens the clip once more. `index` is that of its pictures where it is known already; without one the whole file is
  // read for it, but not decoded. Throws UserError like Reader, Interrupted. `stop`, which must outlive this, ends all
  // reading.
  ClipPictures(const std::string& path, const SourceOptions& source, const KeyingChoice& choice, int threads,
               const std::atomic<bool>& stop, std::shared_ptr<const PictureIndex> index = nullptr);

  // The same at the depth that the clip is keyed at, where that is full depth; none of its pictures are kept. Null
  // otherwise. Throws as the constructor does.
  std::unique_ptr<ClipPictures> atFullDepth() const;

  const Reader& reader() const { return access_.reader(); }
  const ClipKeying& keying() const { return keying_; }
  int threads() const { return threads_; }
  const std::atomic<bool>& stop() const { return stop_; }

  // How many pictures the file has, by its index; at least 1.
  std::int64_t count() const { return count_; }
  // The numbers of up to `most` of them, ascending: the middles of as many equal parts of the clip.
  std::vector<std::int64_t> spread(int most) const;

  // Calls `see` for each of those pictures, ascending numbers, as the keyer gets them; with null for one that the clip
  // turns out to lack. On `threads` threads at once, on one in their order. Where the index turns out to be wrong, all
  // are shown once more, and those count. Those shown last are kept, so that looking again is quick. `then`, where
  // given, is called for each after `see`, one call at a time and in the order of the numbers. Throws UserError like
  // Reader, Interrupted once `stop` or `stopped` says so, and of what `see` and `then` throw the first.
  using See = std::function<void(std::size_t place, const std::shared_ptr<const Image>& picture)>;
  void show(const std::vector<std::int64_t>& numbers, int threads, const See& see, const IsStopped& stopped,
            const See& then = {});

  // From now on called after each picture that is shown: how many of how many; one call at a time.
  using Looked = std::function<void(std::size_t done, std::size_t all)>;
  void report(Looked looked) { looked_ = std::move(looked); }

 private:
  static constexpr std::size_t kKept = 5;  // pictures

  struct FullDepth {};
  ClipPictures(const ClipPictures& other, FullDepth);

  bool showOnce(const std::vector<std::int64_t>& numbers, int threads, const See& see, const See& then,
                const IsStopped& isStopped);

  const std::string path_;
  const SourceOptions source_;
  const KeyingChoice choice_;
  const int threads_;
  const std::atomic<bool>& stop_;
  std::shared_ptr<const PictureIndex> index_;
  FrameAccess access_;
  ClipKeying keying_;
  std::int64_t count_;
  Looked looked_;
  std::mutex keeping_;                                                    // of what follows
  RecentlyUsed<std::int64_t, std::shared_ptr<const Image>> kept_{kKept};  // by number
};

}  // namespace kalvetra
