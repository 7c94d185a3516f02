// The numbers that the pictures of a numbered output get.
#pragma once

#include <string>
#include <vector>

#include "jobs/key_job.h"

namespace kalvetra {

// Those of the job's pictures, ascending, as far as they are certain before it has begun: where only the clip's length
// is not, the first alone, and where the range begins at a time of a movie, whose rate may vary, none.
std::vector<int> expectedNumbers(const KeyJob& job, const Reader& source);

// True when a file stands where the job is to write `path`, one of its outputs. Of a numbered one any of the expected
// pictures; where none is certain, any picture that the name covers.
bool isOutputThere(const KeyJob& job, const std::string& path);

}  // namespace kalvetra
