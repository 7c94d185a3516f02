#include "media/output/hash_sink.h"

#include <cerrno>

#include "media/files/write_failure.h"

namespace kalvetra {

HashSink::HashSink(const std::string& path, const std::string& shownName, AVRational timeBase)
    : shownName_(path.empty() ? "-" : shownName),
      secondsPerTick_(av_q2d(timeBase)),
      file_(path.empty() ? nullptr : std::fopen(path.c_str(), "w")),
      out_(path.empty() ? stdout : file_.get()) {
  check(out_ != nullptr);
}

void HashSink::check(bool written) const {
  if (!written) failWriting(shownName_, errno);
}

PackedPicture HashSink::pack(const Image& image) const { return hashPicture(image); }

void HashSink::write(PackedPicture picture, const PicturePlace& place) {
  const PictureHash& hash = std::get<PictureHash>(picture);
  clip_.add(hash);
  const double seconds = static_cast<double>(place.time) * secondsPerTick_;
  check(std::fprintf(out_, "%lld %.6f %s\n", static_cast<long long>(++count_), seconds, hexadecimal(hash).c_str()) > 0);
}

void HashSink::finish() {
  const std::string hash = hexadecimal(clip_.finish());
  check(std::fprintf(out_, "clip %lld %s\n", static_cast<long long>(count_), hash.c_str()) > 0);
  check(std::fflush(out_) == 0);
  if (file_) check(std::fclose(file_.release()) == 0);
}

}  // namespace kalvetra
