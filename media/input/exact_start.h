// Back to a file's first packets without opening it again.
#pragma once

#include "media/ffmpeg.h"

namespace kalvetra {

// Goes to the first packet of every stream; false, with the file anywhere, where it is not certain that what follows is
// just what was read after opening. Certain are MP4 and QuickTime without fragments, which index all packets. Matroska
// leaves out sound that lies ahead of the picture that was sought, and MPEG streams find their clock only on the way.
bool goToExactStart(AVFormatContext& container);

}  // namespace kalvetra
