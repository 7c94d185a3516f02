// A frame's key row by row: of one picture, or of its two fields.
#pragma once

#include "deep/key_kernels.h"
#include "engine/KALVETRA_Param.h"
#include "engine/frame.h"
#include "engine/render.h"

namespace kalvetra::deep {

// Keys `input` into `output`, RgbaF32, of one size, at least one pixel, apart in memory. The record's values are in
// range; its images and size are not read. What `finish` has of the shadows is set here. `given` may be null. Throws
// std::bad_alloc, with nothing written, and what Workers::run throws, with the output perhaps written in part.
void keyPictures(const KALVETRA_Param& param, Finish finish, const ConstFrame& input, const Frame& output, Scan scan,
                 const KnownPlate* given, const Workers* workers);

// A row of the output, 16 bytes a pixel.
inline float* floatsOf(const Frame& frame, int y) { return reinterpret_cast<float*>(frame.row(y)); }

// The frame's rows, from wherever they are asked for.
class HostRows {
 public:
  // `kept`: how many rows stay valid, the last one included. Throws std::bad_alloc.
  HostRows(const ConstFrame& frame, bool blueScreen, int kept);
  HostRow row(int y);

 private:
  ConstFrame frame_;
  bool blueScreen_;
  int kept_;
  RowBuffer levels_;  // of frames of bytes
};

}  // namespace kalvetra::deep
