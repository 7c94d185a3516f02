#include "preview/export/private_folder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "support/user_error.h"

namespace kalvetra {

PrivateFolder::PrivateFolder() {
  std::error_code failed;
  std::string name = (std::filesystem::temp_directory_path(failed) / "kalvetra-preview-XXXXXX").string();
  if (failed || mkdtemp(name.data()) == nullptr) {
    throw UserError(std::string("there is no folder for temporary files (") + std::strerror(errno) +
                    "); start the preview with --folder DIR");
  }
  path_ = name;
}

PrivateFolder::~PrivateFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void PrivateFolder::clear() const {
  std::error_code failed;
  for (std::filesystem::directory_iterator entry(path_, failed), end; !failed && entry != end;
       entry.increment(failed)) {
    std::error_code ignored;
    std::filesystem::remove_all(entry->path(), ignored);
  }
}

}  // namespace kalvetra
