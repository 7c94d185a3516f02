// An output that grows in segments, so that an interrupted run can be taken up again.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "jobs/journal.h"
#include "media/output/writer.h"

namespace kalvetra {

// A sequence's pictures go to the output's folder one by one; a movie's go to one file a segment, put together at the
// end without encoding again.
class SegmentedWriter : public PictureSink {
 public:
  // `output` must be one that is kept, and outlive the writer. `done` is what earlier runs have written.
  SegmentedWriter(const Delivery& delivery, const TemporaryOutput& output, const std::string& shownName, Reader& source,
                  int threads, const Journal& done);

  PackedPicture pack(const Image& image) const override { return packing_.pack(image); }
  void write(PackedPicture picture, const PicturePlace& place) override;
  // Completes the segment, which is on disk then. What is written afterwards begins another one.
  void checkpoint() override;
  void finish() override { checkpoint(); }

  // The files of the completed segments, in order; none for a sequence.
  std::vector<std::filesystem::path> segments() const;

 private:
  std::filesystem::path segmentPath(int number) const;  // from 1
  void open();
  void sync() const;

  Delivery delivery_;
  const TemporaryOutput& output_;
  std::string shownName_;
  Reader& source_;
  int threads_;
  PicturePacking packing_;
  int segments_;                    // completed
  std::unique_ptr<Writer> writer_;  // of the open segment
  std::vector<int> numbers_;        // of its pictures
};

}  // namespace kalvetra
