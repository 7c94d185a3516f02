// One picture of a clip, by its time.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "media/input/reader.h"
#include "media/picture.h"

namespace kalvetra {

// The picture that is shown at that time, in seconds from the start. Throws UserError when the clip has ended by then.
// `number`, where given, receives how many pictures come before it.
SourceFrame frameShownAt(Reader& reader, double seconds, const std::atomic<bool>& stop, std::int64_t* number = nullptr);

// Likewise, converted and turned upright.
Image frameAt(const std::string& path, double seconds, int threads, const std::atomic<bool>& stop);

}  // namespace kalvetra
