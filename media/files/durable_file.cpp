#include "media/files/durable_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "media/files/write_failure.h"

namespace kalvetra {

void syncFile(const std::string& path, const std::string& shownName) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) failWriting(shownName, errno);
  const int error = fsync(file) == 0 ? 0 : errno;
  close(file);
  // Some file systems have nothing to do for a folder and say so.
  if (error != 0 && error != EINVAL) failWriting(shownName, error);
}

}  // namespace kalvetra
