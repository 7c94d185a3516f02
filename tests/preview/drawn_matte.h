// A matte for the clips of these tests.
#pragma once

#include "tests/support/command.h"

namespace kalvetra::test {

// A soft white box that moves over black, 160 x 90; answers the file's name.
inline std::string drawMatte(const std::string& file, int frames) {
  need(kFfmpeg + "-f lavfi -i color=black:s=160x90:r=25 -f lavfi -i color=white:s=40x50:r=25 -filter_complex " +
       "\"[0][1]overlay=x=4*n:y=20,gblur=2\" -frames:v " + std::to_string(frames) + " " + file);
  return file;
}

}  // namespace kalvetra::test
