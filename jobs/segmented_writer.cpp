#include "jobs/segmented_writer.h"

#include <cstdio>

#include "media/durable_file.h"

namespace kalvetra {

namespace fs = std::filesystem;

SegmentedWriter::SegmentedWriter(const Delivery& delivery, const TemporaryOutput& output, const std::string& shownName,
                                 Reader& source, int threads, const Journal& done)
    : delivery_(delivery),
      output_(output),
      shownName_(shownName),
      source_(source),
      threads_(threads),
      packing_(delivery, source.format()),
      segments_(done.segments()),
      pictures_(static_cast<std::int64_t>(done.frames().size())),
      first_(pictures_) {
  open();  // says at once what cannot be written
}

fs::path SegmentedWriter::segmentPath(int number) const {
  char name[32];
  std::snprintf(name, sizeof name, "segment-%05d", number);
  return output_.workFolder() / name;
}

std::vector<fs::path> SegmentedWriter::segments() const {
  std::vector<fs::path> paths;
  for (int i = 1; i <= segments_ && !output_.isSequence(); ++i) paths.push_back(segmentPath(i));
  return paths;
}

void SegmentedWriter::open() {
  WriterPart part;
  part.carried.sound = false;
  if (!output_.isSequence()) part.movie = segmentPath(segments_ + 1).string();
  part.firstPicture = static_cast<int>(pictures_) + 1;
  writer_ = std::make_unique<Writer>(delivery_, output_, shownName_, source_, threads_, part);
}

void SegmentedWriter::write(PackedPicture picture, std::int64_t time, std::int64_t duration) {
  if (!writer_) open();
  writer_->write(std::move(picture), time, duration);
  ++pictures_;
}

void SegmentedWriter::checkpoint() {
  if (pictures_ == first_) return;
  writer_->finish();
  writer_.reset();
  ++segments_;
  sync();
  first_ = pictures_;
}

// Before the journal may tell of them the pictures must outlive a power failure.
void SegmentedWriter::sync() const {
  if (output_.isSequence()) {
    for (std::int64_t i = first_; i < pictures_; ++i) syncFile(output_.path(static_cast<int>(i) + 1), shownName_);
  } else {
    syncFile(segmentPath(segments_).string(), shownName_);
  }
  syncFile(output_.workFolder().string(), shownName_);
}

}  // namespace kalvetra
