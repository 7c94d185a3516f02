// Files that outlive a power failure.
#pragma once

#include <string>

namespace kalvetra {

// Returns once what was written to the file is on the disk; of a folder, which files it holds. Throws UserError naming
// `shownName`, the output as the user called it, when that fails.
void syncFile(const std::string& path, const std::string& shownName);

}  // namespace kalvetra
