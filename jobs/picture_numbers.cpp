#include "jobs/picture_numbers.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "media/files/name_clash.h"
#include "media/files/numbered_name.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// Numbers expected of a movie at most: its header may declare billions. What comes after them is refused when it is
// written.
constexpr std::int64_t kMostExpected = 1'000'000;

std::vector<int> numbersInSequence(const ClipRange& range, const Reader& source) {
  const std::vector<int> all = source.sequenceNumbers();
  std::vector<int> numbers;
  for (std::size_t i = 0; i < all.size(); ++i) {
    const double seconds = (all[i] - all.front()) * av_q2d(source.format().timeBase);
    const auto index = static_cast<std::int64_t>(i);
    if (range.isAfter(index, seconds, static_cast<std::int64_t>(numbers.size()))) break;
    if (!range.isBefore(index, seconds)) numbers.push_back(all[i]);
  }
  return numbers;
}

std::vector<int> numbersInMovie(const ClipRange& range, const Reader& source) {
  if (range.start && !range.start->isFrame) return {};
  const bool isCounted = source.countsFrames() && (!range.end || range.end->isFrame);
  const AVRational rate = source.format().frameRate;
  const std::int64_t before = range.firstFrame(rate);
  if (before > std::numeric_limits<int>::max() - kMostExpected) return {};  // no movie is as long
  const std::int64_t count = isCounted ? range.expectedFrames(source.expectedFrames(), rate) : 1;
  std::vector<int> numbers(static_cast<std::size_t>(std::min(count, kMostExpected)));
  std::iota(numbers.begin(), numbers.end(), static_cast<int>(before) + 1);
  return numbers;
}

}  // namespace

std::vector<int> expectedNumbers(const KeyJob& job, const Reader& source) {
  std::vector<int> numbers =
      source.sequenceNumbers().empty() ? numbersInMovie(job.range, source) : numbersInSequence(job.range, source);
  const int shift = job.startNumber && !numbers.empty() ? *job.startNumber - numbers.front() : 0;
  for (int& number : numbers) number += shift;
  return numbers;
}

bool isOutputThere(const KeyJob& job, const std::string& path) {
  const bool isNumbered = isNumberedName(std::filesystem::path(path).filename().string());
  if (!outputExists(path)) return false;
  if (!isNumbered || job.input == kStandardInput) return true;
  const std::atomic<bool> never{false};
  try {
    const std::vector<int> numbers = expectedNumbers(job, Reader(job.input, job.source, 1, never));
    return numbers.empty() || firstTaken(path, numbers);
  } catch (const UserError&) {
    return false;  // the job itself will say what is wrong
  }
}

}  // namespace kalvetra
