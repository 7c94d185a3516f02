#include "media/input/field_order.h"

#include "media/input/input_file.h"

namespace kalvetra {

FieldOrder shownOrder(AVFieldOrder order) {
  switch (order) {
    case AV_FIELD_PROGRESSIVE:
      return FieldOrder::Progressive;
    case AV_FIELD_TT:
    case AV_FIELD_BT:
      return FieldOrder::TopFirst;
    case AV_FIELD_BB:
    case AV_FIELD_TB:
      return FieldOrder::BottomFirst;
    default:
      return FieldOrder::Unknown;
  }
}

bool canTellFields(AVCodecID codec, const AVFormatContext& container) {
  return codec != AV_CODEC_ID_RAWVIDEO && !isPictureFile(container);
}

FieldOrder shownOrder(const AVFrame& picture) {
  if (picture.interlaced_frame == 0) return FieldOrder::Progressive;
  return picture.top_field_first != 0 ? FieldOrder::TopFirst : FieldOrder::BottomFirst;
}

}  // namespace kalvetra
