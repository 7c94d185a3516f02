// Writes a hash of each keyed picture, to compare machines.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "media/output/picture_hash.h"
#include "media/output/picture_sink.h"

namespace kalvetra {

// MurmurHash3 with 128 bits over the bytes of Image::bytes. Text, one line a picture: its number from 1, whatever
// number its file has, its time in seconds and its hash. The last line is "clip", the number of pictures, and the hash
// over their hashes in order.
class HashSink : public PictureSink {
 public:
  // Writes to `path`, or to the standard output when it is empty. Times come in `timeBase`. Every failure to write
  // throws UserError naming `shownName`.
  HashSink(const std::string& path, const std::string& shownName, AVRational timeBase);

  PackedPicture pack(const Image& image) const override;
  void write(PackedPicture picture, const PicturePlace& place) override;
  void finish() override;

 private:
  struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  void check(bool written) const;

  std::string shownName_;
  double secondsPerTick_;
  std::unique_ptr<std::FILE, FileCloser> file_;  // none for the standard output
  std::FILE* out_;
  Hasher clip_;
  std::int64_t count_ = 0;
};

}  // namespace kalvetra
