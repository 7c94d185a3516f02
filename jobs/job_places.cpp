#include "jobs/job_places.h"

#include <algorithm>
#include <filesystem>

#include "jobs/picture_numbers.h"
#include "media/files/name_clash.h"
#include "media/files/numbered_name.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// Of each file its name; "-" is the standard output. None is empty.
std::vector<std::string> namesWritten(const KeyJob& job) {
  std::vector<std::string> names{job.hashPath, job.receipt, job.settingsWritten};
  for (const OutputRequest& request : job.outputs) names.push_back(request.path);
  if (job.measure == Measure::Hash && job.hashPath.empty()) names.emplace_back("-");
  std::erase(names, "");
  return names;
}

void refuseReadName(const KeyJob& job, const std::string& written) {
  if (written == "-") return;
  for (const std::string& read : {job.input, job.settingsRead, job.cleanPlate, job.companions.garbage,
                                  job.companions.holdout, job.companions.background}) {
    const bool updatesPreset = written == job.settingsWritten && read == job.settingsRead;
    if (!read.empty() && !updatesPreset) refuseOverwritingInput(read, written);
  }
}

// Every file is written once, and none that is read is written, but for a preset that is brought up to date.
void refuseNames(const KeyJob& job) {
  const std::vector<std::string> names = namesWritten(job);
  for (auto name = names.begin(); name != names.end(); ++name) {
    const auto isSame = [name](const std::string& other) { return isSameFile(other, *name); };
    if (std::any_of(names.begin(), name, isSame)) {
      throw UserError(*name + ": is named for two outputs; give each a file of its own");
    }
    refuseReadName(job, *name);
  }
  for (const std::string& path : {job.receipt, job.settingsWritten}) {
    if (path == "-" || isNumberedName(std::filesystem::path(path).filename().string())) {
      throw UserError(path + ": a receipt or a preset is one file; name it without a % and not -");
    }
  }
}

}  // namespace

JobPlaces::JobPlaces(const KeyJob& job, const JobListener& listener) {
  refuseNames(job);
  if (job.resumable && job.input == kStandardInput) {
    throw UserError("the standard input cannot be read again to resume a run; name a file");
  }
  for (const OutputRequest& request : job.outputs) outputs_.emplace_back(request, job);
  if (!job.hashPath.empty()) {
    hashes_.emplace(job.hashPath, job.replace);
    if (hashes_->isSequence()) throw UserError(job.hashPath + ": the hashes go to one file; name it without a %");
  }
  if (!job.receipt.empty()) receipt_.emplace(job.receipt, job.replace);
  noteLeftParts(listener);
}

void JobPlaces::noteLeftParts(const JobListener& listener) const {
  const auto noteAll = [&](const auto& place) {
    for (const std::string& sentence : place.leftParts()) listener.note(sentence);
  };
  for (const JobOutput& output : outputs_) noteAll(output);
  if (hashes_) noteAll(*hashes_);
  if (receipt_) noteAll(*receipt_);
}

void JobPlaces::refuseTakenNumbers(const KeyJob& job, const Reader& source) const {
  const auto isNumbered = [](const JobOutput& output) { return output.isSequence(); };
  if (job.replace || std::none_of(outputs_.begin(), outputs_.end(), isNumbered)) return;
  const std::vector<int> numbers = expectedNumbers(job, source);
  for (const JobOutput& output : outputs_) output.refuseTaken(numbers);
}

void JobPlaces::commit() {
  for (JobOutput& output : outputs_) output.prepare();
  for (auto* place : {&hashes_, &receipt_}) {
    if (*place) (*place)->prepare();
  }
  for (JobOutput& output : outputs_) output.commit();
  if (hashes_) hashes_->commit();
  if (receipt_) receipt_->commit();
}

}  // namespace kalvetra
