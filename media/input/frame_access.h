// The pictures of a clip by their numbers, in any order.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "media/input/picture_index.h"
#include "media/input/reader.h"
#include "support/recently_used.h"

namespace kalvetra {

// Numbers pictures from 0 as reading from the start does, and delivers the same ones. Latest pictures are kept, up to a
// limit in bytes. For one thread at a time.
class FrameAccess {
 public:
  // Throws UserError like Reader. `stop` must outlive this.
  FrameAccess(const std::string& path, const SourceOptions& options, int threads, const std::atomic<bool>& stop,
              std::size_t keptBytes);

  const Reader& reader() const { return *reader_; }

  // Without an index, and with one that is not reliable, everything is decoded from the start. A reliable one that
  // turns out to be wrong is given up.
  void setIndex(std::shared_ptr<const PictureIndex> index);
  bool hasIndex() const { return index_ != nullptr; }
  // The time of the first picture; throws UserError when there is none.
  std::int64_t firstTime();

  // The picture; null when the clip ends before it, or when `abandoned`, called before each picture that has to be
  // decoded on the way, returns true.
  std::shared_ptr<const AVFrame> frame(std::int64_t number, const std::function<bool()>& abandoned = {});

  // How many pictures have to be decoded to get at that one; 0 when it is kept.
  std::int64_t distance(std::int64_t number) const;
  // The number of pictures, once the end was met.
  std::optional<std::int64_t> count() const { return count_; }
  // Grows when an index was given up: numbers delivered before may have been wrong.
  int generation() const { return generation_; }

 private:
  std::int64_t keyBefore(std::int64_t number) const;
  bool decodesFromHere(std::int64_t number) const;
  bool goTo(std::int64_t number);
  bool jumpToKey(std::int64_t key);
  void reopen();
  std::shared_ptr<const AVFrame> next();
  void distrust();

  std::string path_;
  SourceOptions options_;
  int threads_;
  const std::atomic<bool>& stop_;
  std::unique_ptr<Reader> reader_;
  std::shared_ptr<const PictureIndex> index_;
  bool trusts_ = false;  // the index
  int generation_ = 0;
  std::int64_t position_ = 0;             // number of the picture that the reader delivers next
  std::shared_ptr<const AVFrame> ahead_;  // that picture, where it was already read
  std::optional<std::int64_t> firstTime_, count_;
  RecentlyUsed<std::int64_t, std::shared_ptr<const AVFrame>> kept_;  // by number
};

}  // namespace kalvetra
