// Where the files of a job go.
#pragma once

#include <deque>
#include <optional>

#include "jobs/job_output.h"
#include "jobs/key_job.h"
#include "media/files/temporary_output.h"

namespace kalvetra {

// All lie in hidden places until each of them is complete.
class JobPlaces {
 public:
  // Settles them, before anything is read, and notes what killed runs have left there. Throws UserError when one is
  // taken, cannot be written, or is named twice or as something that is read.
  JobPlaces(const KeyJob& job, const JobListener& listener);

  std::deque<JobOutput>& outputs() { return outputs_; }
  // Where to write them; empty where they are not wanted.
  std::string hashFile() const { return hashes_ ? hashes_->path() : std::string(); }
  std::string receiptFile() const { return receipt_ ? receipt_->path() : std::string(); }

  // Throws UserError when a picture stands in the place of one of the clip's whose number is certain.
  void refuseTakenNumbers(const KeyJob& job, const Reader& source) const;
  // Puts everything in its place, and nothing before everything can.
  void commit();

 private:
  void noteLeftParts(const JobListener& listener) const;

  std::deque<JobOutput> outputs_;
  std::optional<TemporaryOutput> hashes_, receipt_;
};

}  // namespace kalvetra
