#include "media/input/image_sequence.h"

#include <algorithm>
#include <fstream>

#include "support/folders.h"
#include "support/user_error.h"

namespace fs = std::filesystem;

namespace kalvetra {

namespace {

std::vector<int> numbersIn(const fs::path& folder, const NumberedName& name, const std::string& pattern) {
  std::vector<int> numbers;
  try {
    for (const std::string& file : namesIn(folder)) {
      if (const std::optional<int> number = name.numberIn(file)) numbers.push_back(*number);
    }
  } catch (const fs::filesystem_error& error) {
    throw UserError(pattern + ": its folder cannot be listed (" + error.code().message() + "); check the name");
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

std::vector<NumberRange> gapsOf(const std::vector<int>& numbers) {
  std::vector<NumberRange> gaps;
  for (std::size_t i = 1; i < numbers.size(); ++i) {
    if (numbers[i] > numbers[i - 1] + 1) gaps.push_back({numbers[i - 1] + 1, numbers[i] - 1});
  }
  return gaps;
}

}  // namespace

bool ImageSequence::isPattern(const std::string& path) {
  std::error_code ignored;
  return isNumberedName(fs::path(path).filename().string()) && !fs::exists(path, ignored);
}

ImageSequence::ImageSequence(const std::string& pattern) : name_(fs::path(pattern).filename().string()) {
  folder_ = fs::path(pattern).parent_path();
  numbers_ = numbersIn(folder_.empty() ? fs::path(".") : folder_, name_, pattern);
  if (numbers_.empty()) {
    throw UserError(pattern + ": no file has a name of this pattern (" + fs::path(fileOf(1)).filename().string() +
                    " would); check the folder and the number of digits");
  }
  gaps_ = gapsOf(numbers_);
}

std::string ImageSequence::fileOf(int number) const { return (folder_ / name_.with(std::to_string(number))).string(); }

int ImageSequence::missing() const {
  int count = 0;
  for (const NumberRange& gap : gaps_) count += gap.last - gap.first + 1;
  return count;
}

int ImageSequence::missingBefore(std::int64_t time) const {
  int count = 0;
  for (const NumberRange& gap : gaps_) {
    if (gap.last < numbers_.front() + time) count += gap.last - gap.first + 1;
  }
  return count;
}

int ImageSequence::read(AVPacket& packet) {
  if (next_ >= numbers_.size()) return AVERROR_EOF;
  const int number = numbers_[next_++];
  std::ifstream file(fileOf(number), std::ios::binary | std::ios::ate);
  const std::streamoff bytes = file ? static_cast<std::streamoff>(file.tellg()) : -1;
  if (bytes < 1 || bytes > (1 << 30)) return AVERROR(EIO);
  if (av_new_packet(&packet, static_cast<int>(bytes)) < 0) throw std::bad_alloc();
  file.seekg(0);
  if (!file.read(reinterpret_cast<char*>(packet.data), bytes)) return AVERROR(EIO);
  packet.stream_index = 0;
  packet.pts = packet.dts = number - numbers_.front();
  packet.duration = 1;
  packet.flags = AV_PKT_FLAG_KEY;
  return 0;
}

void ImageSequence::seek(double fraction) {
  next_ = std::min(numbers_.size() - 1, static_cast<std::size_t>(fraction * static_cast<double>(numbers_.size())));
}

void ImageSequence::seekNumber(std::int64_t offset) {
  const auto isBefore = [&](int number, std::int64_t wanted) { return number - numbers_.front() < wanted; };
  const auto found = std::lower_bound(numbers_.begin(), numbers_.end(), offset, isBefore);
  next_ = static_cast<std::size_t>(found - numbers_.begin());
}

std::string describeRanges(const std::vector<NumberRange>& ranges) {
  std::string text;
  for (const NumberRange& range : ranges) {
    if (!text.empty()) text += ", ";
    text += std::to_string(range.first);
    if (range.last > range.first) text += ".." + std::to_string(range.last);
  }
  return text;
}

}  // namespace kalvetra
