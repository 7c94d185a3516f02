// Encoded pictures as files: a numbered sequence, or a single one.
#pragma once

#include <deque>
#include <string>

#include "media/ffmpeg.h"
#include "media/files/temporary_output.h"

namespace kalvetra {

// Every failure to write throws UserError naming `shownName`, the output as the user called it.
class PictureFiles {
 public:
  PictureFiles(const TemporaryOutput& output, const std::string& shownName) : output_(output), shownName_(shownName) {}
  // Names the number of a picture that goes to the encoder, before its packet comes: in the same order.
  void expect(int number);
  void write(const AVPacket& packet);

 private:
  const TemporaryOutput& output_;
  std::string shownName_;
  std::deque<int> numbers_;  // of pictures still in the encoder
  bool any_ = false;         // a picture was expected
};

}  // namespace kalvetra
