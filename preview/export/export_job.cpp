#include "preview/export/export_job.h"

#include <algorithm>

#include "jobs/picture_numbers.h"
#include "jobs/prepared_job.h"
#include "media/files/numbered_name.h"
#include "media/files/temporary_output.h"
#include "preview/export/folders.h"
#include "preview/export/plain_name.h"
#include "support/interrupted.h"
#include "support/user_error.h"

namespace fs = std::filesystem;

namespace kalvetra {

namespace {

double secondsSince(std::chrono::steady_clock::time_point begun) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
}

std::uintmax_t sizeOf(const fs::path& file) {
  std::error_code failed;
  const std::uintmax_t size = fs::file_size(file, failed);
  return failed ? 0 : size;
}

std::uintmax_t sizeOf(const WrittenOutput& output) {
  const fs::path path = output.request.path;
  if (output.numbers.empty()) return sizeOf(path);
  std::uintmax_t sum = 0;
  for (const int number : output.numbers)
    sum += sizeOf(path.parent_path() / numberedName(path.filename().string(), number));
  return sum;
}

// The sentence with the plain names of the files that lie in the folder.
std::string withoutFolder(std::string sentence, const fs::path& folder) {
  if (folder.empty() || folder == folder.root_path()) return sentence;
  const std::string begin = folder.string() + "/";
  for (std::size_t at = sentence.find(begin); at != std::string::npos; at = sentence.find(begin, at + 1)) {
    if (at == 0 || std::string_view(" '(").find(sentence[at - 1]) != std::string_view::npos) {
      sentence.erase(at, begin.size());
    }
  }
  return sentence;
}

}  // namespace

ExportJob::~ExportJob() {
  stop_ = true;
  if (thread_.joinable()) thread_.join();
}

fs::path ExportJob::target(const std::string& name) {
  checkPlainName(name);
  if (!folder_.empty()) return folder_ / name;
  if (isNumberedName(name)) {
    throw UserError(name + ": a sequence of pictures needs a folder to go to; start the preview with --folder DIR");
  }
  const std::lock_guard lock(mutex_);
  if (!private_) private_.emplace();
  return private_->path() / name;
}

KeyJob ExportJob::jobFor(const KeyRequest& request, const std::string& name, bool replace) {
  const std::string path = target(name).string();
  try {
    return keyJobFor(clip_, request, path, replace);
  } catch (const UserError& error) {
    throw UserError(withoutFolder(error.what(), fs::path(path).parent_path()));
  }
}

std::string ExportJob::plain(const std::string& sentence) const {
  const std::string own = withoutFolder(sentence, private_ ? private_->path() : folder_);
  return withoutFolder(own, fs::path(clip_.input).parent_path());
}

std::int64_t ExportJob::start(const KeyRequest& request, const std::string& name, bool replace) {
  const std::lock_guard starting(startMutex_);
  if (state().status == ExportStatus::Running) {
    throw Conflict("an export is under way; wait for it, or cancel it first");
  }
  const bool anyName = replace || folder_.empty();  // the private folder holds nothing but earlier exports
  const KeyJob job = jobFor(request, withEnding(name, request), anyName);
  for (const OutputRequest& output : job.outputs) {
    Folders::refuseLink(output.path);
    if (!anyName && isOutputThere(job, output.path)) {
      throw Conflict(fs::path(output.path).filename().string() +
                     " exists already in the folder; replace it or give another name");
    }
  }
  if (thread_.joinable()) thread_.join();
  stop_ = false;
  const std::lock_guard lock(mutex_);
  if (private_) private_->clear();  // only the newest export can be fetched
  const std::int64_t number = state_.job + 1;
  state_ = {};
  state_.job = number;
  state_.status = ExportStatus::Running;
  begun_ = Clock::now();
  try {
    thread_ = std::thread([this, job, settings = request.settings] { run(job, settings); });
  } catch (...) {
    state_.status = ExportStatus::None;
    throw;
  }
  return number;
}

void ExportJob::cancel() { stop_ = true; }

ExportState ExportJob::state() const {
  const std::lock_guard lock(mutex_);
  return state_;
}

fs::path ExportJob::file(std::size_t index) const {
  const std::lock_guard lock(mutex_);
  if (state_.status != ExportStatus::Done) throw NotFound("there is no finished export");
  if (state_.isSequence) {
    throw NotFound("the export is a sequence of pictures; they lie in " + folder_.string());
  }
  if (index >= state_.files.size()) throw NotFound("the export has no such file");
  return state_.files[index];
}

JobListener ExportJob::listener() {
  JobListener listener;
  listener.note = [this](const std::string& sentence) {
    const std::lock_guard lock(mutex_);
    state_.notes.push_back(plain(sentence));
  };
  listener.begin = [this](std::int64_t expected, std::int64_t) {
    const std::lock_guard lock(mutex_);
    state_.of = expected;
    begun_ = Clock::now();
  };
  listener.frameDone = [this] {
    const std::lock_guard lock(mutex_);
    ++state_.frames;
    state_.fps = static_cast<double>(state_.frames) / std::max(secondsSince(begun_), 1e-3);
    if (state_.of > 0) {
      const auto left = static_cast<double>(std::max<std::int64_t>(state_.of - state_.frames, 0));
      state_.secondsLeft = left / std::max(state_.fps, 1e-3);
    }
  };
  listener.end = [this] {
    const std::lock_guard lock(mutex_);
    state_.checking = true;
  };
  return listener;
}

void ExportJob::run(const KeyJob& job, const AnimatedSettings& settings) {
  try {
    const JobListener toState = listener();
    const JobResult result = PreparedJob(job, toState, stop_).run(settings);
    const std::lock_guard lock(mutex_);
    if (!result.damage.empty()) state_.notes.push_back(plain(result.damage));
    state_.of = state_.frames;
    for (const WrittenOutput& output : result.outputs) {
      const fs::path path = output.request.path;
      state_.files.push_back(path);
      state_.isSequence = state_.isSequence || !output.numbers.empty();
      state_.size += sizeOf(output);
    }
    state_.checking = false;
    state_.secondsLeft.reset();
    state_.status = ExportStatus::Done;
  } catch (const Interrupted&) {
    finish(ExportStatus::Cancelled, {});
  } catch (const std::exception& error) {
    // What was stopped may fail on its way out.
    stop_ ? finish(ExportStatus::Cancelled, {}) : finish(ExportStatus::Failed, error.what());
  }
}

void ExportJob::finish(ExportStatus status, const std::string& error) {
  const std::lock_guard lock(mutex_);
  state_.checking = false;
  state_.secondsLeft.reset();
  state_.error = plain(error);
  state_.status = status;
}

}  // namespace kalvetra
