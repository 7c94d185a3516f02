#include "media/hash_sink.h"

extern "C" {
#include <libavutil/murmur3.h>
}

#include <cerrno>

#include "media/write_failure.h"

namespace kalvetra {

namespace {

std::string hexadecimal(const PictureHash& hash) {
  std::string text;
  char byte[3];
  for (const unsigned int b : hash) {
    std::snprintf(byte, sizeof byte, "%02x", b);
    text += byte;
  }
  return text;
}

}  // namespace

HashSink::HashSink(const std::string& path, const std::string& shownName, AVRational timeBase)
    : shownName_(path.empty() ? "-" : shownName),
      secondsPerTick_(av_q2d(timeBase)),
      file_(path.empty() ? nullptr : std::fopen(path.c_str(), "w")),
      out_(path.empty() ? stdout : file_.get()),
      clip_(makeHasher()) {
  check(out_ != nullptr);
}

void HashSink::HasherDeleter::operator()(AVMurMur3* hasher) const { av_free(hasher); }

HashSink::Hasher HashSink::makeHasher() {
  Hasher hasher(av_murmur3_alloc());
  if (!hasher) throw std::bad_alloc();
  av_murmur3_init(hasher.get());
  return hasher;
}

PictureHash HashSink::finalHash(AVMurMur3* hasher) {
  PictureHash hash;
  av_murmur3_final(hasher, hash.data());
  return hash;
}

void HashSink::check(bool written) const {
  if (!written) failWriting(shownName_, errno);
}

PackedPicture HashSink::pack(const Image& image) const {
  const Hasher hasher = makeHasher();
  av_murmur3_update(hasher.get(), image.argb.data(), image.argb.size());
  return finalHash(hasher.get());
}

void HashSink::write(PackedPicture picture, std::int64_t time, std::int64_t /*duration*/) {
  const PictureHash& hash = std::get<PictureHash>(picture);
  av_murmur3_update(clip_.get(), hash.data(), hash.size());
  const double seconds = static_cast<double>(time) * secondsPerTick_;
  check(std::fprintf(out_, "%lld %.6f %s\n", static_cast<long long>(++count_), seconds, hexadecimal(hash).c_str()) > 0);
}

void HashSink::finish() {
  const std::string hash = hexadecimal(finalHash(clip_.get()));
  check(std::fprintf(out_, "clip %lld %s\n", static_cast<long long>(count_), hash.c_str()) > 0);
  check(std::fflush(out_) == 0);
  if (file_) check(std::fclose(file_.release()) == 0);
}

}  // namespace kalvetra
