// The command on real files. ffmpeg and ffprobe make the inputs and judge the outputs.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <vector>

#include "media/input/reader.h"
#include "media/pixels/frame_converter.h"
#include "tests/support/run_program.h"

namespace kalvetra::test {

inline const std::string kKalvetra = KALVETRA_COMMAND;
inline const std::string kFfmpeg = "ffmpeg -nostdin -v error -y ";

inline std::string key(const std::string& arguments) { return kKalvetra + " key " + arguments; }

// Every picture of a file or sequence, not turned.
inline std::vector<Image> readAll(const std::string& path) {
  static const std::atomic<bool> never{false};
  av_log_set_level(AV_LOG_QUIET);
  Reader reader(path, 1, never);
  FrameConverter converter(reader.format().color);
  std::vector<Image> images;
  for (SourceFrame frame; reader.next(frame);) images.push_back(converter.convert(*frame.picture));
  return images;
}

// What ffprobe says, one line a section: "key=value|key=value".
inline std::string probe(const std::string& entries, const std::string& file) {
  return need("ffprobe -v error -of compact=p=0:nk=0 -show_entries " + entries + " " + file);
}

inline std::string pictureTimes(const std::string& file) {
  return need("ffprobe -v error -select_streams v:0 -show_entries frame=best_effort_timestamp_time -of csv=p=0 " +
              file + " | grep -oE '^[0-9.]+'");
}

// Mean absolute difference of every `step`th byte from `firstByte` on; 0 and 4 for alpha, 2 and 4 for green.
inline double meanDifference(const Image& a, const Image& b, std::size_t firstByte, std::size_t step) {
  double sum = 0;
  std::size_t count = 0;
  for (std::size_t i = firstByte; i < a.bytes.size(); i += step, ++count) sum += std::abs(a.bytes[i] - b.bytes[i]);
  return sum / static_cast<double>(count);
}

inline void expectHas(const std::string& text, const std::string& part) {
  EXPECT_NE(std::string::npos, text.find(part)) << "'" << part << "' is missing in: " << text;
}

}  // namespace kalvetra::test
