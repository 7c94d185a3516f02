#include "media/output/picture_files.h"

#include <cerrno>
#include <cstdio>

#include "media/files/write_failure.h"

namespace kalvetra {

void PictureFiles::expect(int number) {
  if (any_ && !output_.isSequence()) {
    throw UserError(shownName_ + ": the clip has more than one picture; name a sequence, with %05d in its name");
  }
  output_.refuseTaken(number);
  any_ = true;
  numbers_.push_back(number);
}

void PictureFiles::write(const AVPacket& packet) {
  const std::string path = output_.path(numbers_.front());
  numbers_.pop_front();
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) failWriting(shownName_, errno);
  const auto size = static_cast<std::size_t>(packet.size);
  errno = 0;
  const bool written = std::fwrite(packet.data, 1, size, file) == size;
  const bool closed = std::fclose(file) == 0;
  if (!written || !closed) failWriting(shownName_, errno);
}

}  // namespace kalvetra
