#include "jobs/segmented_writer.h"

#include <cstdio>

#include "media/files/durable_file.h"

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
      segments_(done.segments()) {
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
  writer_ = std::make_unique<Writer>(delivery_, output_, shownName_, source_, threads_, part);
}

void SegmentedWriter::write(PackedPicture picture, const PicturePlace& place) {
  if (!writer_) open();
  writer_->write(std::move(picture), place);
  numbers_.push_back(place.number);
}

void SegmentedWriter::checkpoint() {
  if (numbers_.empty()) return;
  writer_->finish();
  writer_.reset();
  ++segments_;
  sync();
  numbers_.clear();
}

// Before the journal may tell of them the pictures must outlive a power failure.
void SegmentedWriter::sync() const {
  if (output_.isSequence()) {
    for (const int number : numbers_) syncFile(output_.path(number), shownName_);
  } else {
    syncFile(segmentPath(segments_).string(), shownName_);
  }
  syncFile(output_.workFolder().string(), shownName_);
}

}  // namespace kalvetra
