// Which field comes first, in FFmpeg's terms.
#pragma once

#include "media/picture.h"

namespace kalvetra {

// Which field is shown first; FFmpeg's names give the one that is coded first before it.
FieldOrder shownOrder(AVFieldOrder order);
FieldOrder shownOrder(const AVFrame& picture);

// False for stills and raw pictures: their decoders call everything progressive.
bool canTellFields(AVCodecID codec, const AVFormatContext& container);

}  // namespace kalvetra
