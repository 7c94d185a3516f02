#include "jobs/journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "media/files/write_failure.h"

namespace kalvetra {

namespace {

using nlohmann::json;

// The first item in which two jobs differ, for people.
std::string difference(const json& before, const json& now) {
  for (const auto& [name, value] : now.items()) {
    if (!before.contains(name) || before.at(name) != value) return name;
  }
  return "something";
}

// What is dithered depends on the depth.
bool differInDepth(json before, json now) {
  if (!before.is_object() || before.contains(kDepthItem) == now.contains(kDepthItem)) return false;
  for (json* job : {&before, &now}) {
    job->erase(kDepthItem);
    job->erase("dither");
  }
  return before == now;
}

// The library converts fractions of any size, which no integer may hold.
std::int64_t wholeNumber(const json& value) {
  if (!value.is_number_integer()) throw std::invalid_argument("no whole number");
  return value.get<std::int64_t>();
}

}  // namespace

Journal::Journal(const std::filesystem::path& folder, const std::string& job) : path_(folder / kJournalName) {
  file_ = open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (file_ < 0) failWriting(path_.string(), errno);
  try {
    if (flock(file_, LOCK_EX | LOCK_NB) != 0) {
      throw UserError(folder.string() + " is being worked on by another run; wait for it");
    }
    read(job);
  } catch (...) {
    close(file_);
    throw;
  }
}

Journal::~Journal() { close(file_); }

void Journal::read(const std::string& job) {
  std::ifstream in(path_);
  std::string line;
  std::int64_t good = 0;
  const auto next = [&] { return std::getline(in, line) && !in.eof(); };
  if (next()) {
    const json before = json::parse(line, nullptr, false), now = json::parse(job);
    head_ = good = in.tellg();
    const bool another = before != now;
    const bool begun = another && next();
    anew_ = begun && differInDepth(before, now);
    if (begun && !anew_) {
      throw UserError(path_.parent_path().string() + " holds an unfinished run that differs in its " +
                      difference(before, now) + "; repeat that run, or remove the folder to start again");
    }
    if (another) good = 0;
    while (!another && next()) {
      readSegment(line);
      good = in.tellg();
      segments_.push_back({good, frames_.size()});
    }
  }
  cutAt(good);
  if (good > 0) return;
  append(job);
  head_ = static_cast<std::int64_t>(job.size()) + 1;
}

void Journal::readSegment(const std::string& line) {
  try {
    for (const json& picture : json::parse(line)) {
      const std::optional<PictureHash> hash = parseHash(picture.at(2).get<std::string>());
      const std::int64_t number = wholeNumber(picture.at(3));
      if (number != static_cast<int>(number)) throw std::invalid_argument("no number of a file");
      frames_.push_back(
          {wholeNumber(picture.at(0)), wholeNumber(picture.at(1)), hash.value(), static_cast<int>(number)});
    }
  } catch (const std::exception&) {
    throw UserError(path_.string() + " is damaged; remove " + path_.parent_path().string() + " to start again");
  }
}

void Journal::add(const std::vector<FrameRecord>& segment) {
  json line = json::array();
  for (const FrameRecord& frame : segment) {
    line.push_back({frame.time, frame.duration, hexadecimal(frame.hash), frame.number});
  }
  append(line.dump());
  frames_.insert(frames_.end(), segment.begin(), segment.end());
  segments_.push_back({lseek(file_, 0, SEEK_CUR), frames_.size()});
}

void Journal::keep(int count) {
  if (count >= segments()) return;
  segments_.resize(static_cast<std::size_t>(count));
  frames_.resize(segments_.empty() ? 0 : segments_.back().frames);
  cutAt(segments_.empty() ? head_ : segments_.back().bytes);
}

void Journal::cutAt(std::int64_t bytes) {
  if (ftruncate(file_, bytes) != 0 || lseek(file_, 0, SEEK_END) < 0) failWriting(path_.string(), errno);
}

void Journal::append(const std::string& line) {
  const std::string text = line + "\n";
  const auto size = static_cast<ssize_t>(text.size());
  const bool written = write(file_, text.data(), text.size()) == size && fdatasync(file_) == 0;
  if (!written) failWriting(path_.string(), errno);
}

}  // namespace kalvetra
