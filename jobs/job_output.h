// One output of a job, from its hidden beginnings to its place.
#pragma once

#include <memory>
#include <optional>

#include "jobs/frame_pipeline.h"
#include "jobs/journal.h"
#include "jobs/key_job.h"
#include "jobs/segmented_writer.h"
#include "media/files/temporary_output.h"

namespace kalvetra {

class JobOutput {
 public:
  // Settles the place. Throws UserError when it is taken.
  JobOutput(const OutputRequest& request, const KeyJob& job);
  // An unfinished job without a completed segment leaves nothing.
  ~JobOutput();
  JobOutput(const JobOutput&) = delete;
  JobOutput& operator=(const JobOutput&) = delete;

  // Of a resumable job: finds what an earlier run has done. `identity` as Journal has it.
  void openJournal(const std::string& identity) { journal_.emplace(workFolder(), identity); }
  const Journal& journal() const { return *journal_; }
  // Goes on after so many segments; with none all else in the work folder is removed.
  void keepSegments(int count);

  // Opens the output for the clip, at the depth that it is keyed at. Notes what has to be left out.
  void open(Reader& source, const KeyJob& job, const ClipKeying& keying, const JobListener& listener);
  Route route();
  // Completes a segment of those pictures; on disk when it returns.
  void checkpoint(const std::vector<FrameRecord>& segment);

  // Completes the file, which still lies in its hidden place.
  void finish(const KeyJob& job, const ClipReader& clip, const JobListener& listener, const std::atomic<bool>& stop);
  // Compares it with what was keyed, all of `frames`.
  Proof check(const KeyJob& job, const Reader& source, const std::vector<FrameRecord>& frames,
              const std::atomic<bool>& stop) const;
  // Closes it and makes it ready for its place. Throws UserError when it could not be put there.
  void prepare();
  // Puts it in its place.
  void commit();

  const OutputRequest& request() const { return request_; }
  // Its pictures are numbered files.
  bool isSequence() const { return place_->isSequence(); }
  const std::vector<std::string>& leftParts() const { return place_->leftParts(); }
  // Throws UserError when such a picture is there that is not to be replaced.
  void refuseTaken(const std::vector<int>& numbers) const { place_->refuseTaken(numbers); }

 private:
  const std::filesystem::path& workFolder() const { return place_->workFolder(); }
  void note(const std::vector<std::string>& sentences, const JobListener& listener) const;
  void noteSound(const SoundOutcome& sound, const JobListener& listener);
  Carried carried(const KeyJob& job, const Reader& source) const;
  std::filesystem::path samplesPath() const { return workFolder() / "pictures"; }

  OutputRequest request_;
  std::unique_ptr<TemporaryOutput> place_;
  std::optional<Journal> journal_;
  std::unique_ptr<PictureSink> sink_;
  SegmentedWriter* segmented_ = nullptr;  // the sink, where the job is resumable
  SamplePictures samples_;
  Writer* writer_ = nullptr;  // the sink otherwise
  int soundStreams_ = 0;
  std::size_t soundNotes_ = 0;  // those that were noted
};

}  // namespace kalvetra
