// One output of a job, from its hidden beginnings to its place.
#pragma once

#include <memory>

#include "jobs/frame_pipeline.h"
#include "jobs/key_job.h"
#include "jobs/segmented_writer.h"
#include "media/temporary_output.h"

namespace kalvetra {

class JobOutput {
 public:
  // Settles the place. Throws UserError when it is taken, or would overwrite the input.
  JobOutput(const OutputRequest& request, const KeyJob& job);

  // Opens the output for the clip; `journal` is there where the job is resumable. Notes what has to be left out.
  void open(Reader& source, const KeyJob& job, const Journal* journal, const JobListener& listener);
  Route route();
  void checkpoint();

  // Completes the file, which still lies in its hidden place.
  void finish(const KeyJob& job, const Journal* journal, std::int64_t origin, const std::atomic<bool>& stop);
  // Compares it with what was keyed.
  Proof check(const KeyJob& job, const Reader& source, std::int64_t frames, const std::atomic<bool>& stop) const;
  // Puts it in its place.
  void commit();

  const OutputRequest& request() const { return request_; }
  // Removes what another job may have left in the work folder, but for the journal.
  void removeLeftovers() const;
  // Where an unfinished job keeps what it needs.
  const std::filesystem::path& workFolder() const { return place_->workFolder(); }

 private:
  Carried carried(const KeyJob& job, const Reader& source) const;
  std::filesystem::path samplesPath() const { return workFolder() / "samples"; }

  OutputRequest request_;
  std::unique_ptr<TemporaryOutput> place_;
  std::unique_ptr<PictureSink> sink_;
  SegmentedWriter* segmented_ = nullptr;  // the sink, where the job is resumable
  SamplePictures samples_;
  int soundStreams_ = 0;
};

}  // namespace kalvetra
