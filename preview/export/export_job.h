// One clip written to a file while the page shows how far it is.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "preview/export/key_request.h"
#include "preview/export/private_folder.h"

namespace kalvetra {

enum class ExportStatus { None, Running, Done, Failed, Cancelled };

struct ExportState {
  std::int64_t job = 0;  // grows with every start; 0: none yet
  ExportStatus status = ExportStatus::None;
  std::int64_t frames = 0, of = 0;  // keyed, and expected; 0: not known
  double fps = 0.0;
  std::optional<double> secondsLeft{};         // once it can be estimated
  bool checking = false;                       // all is keyed; the written files are being read back
  std::string error{};                         // a sentence, where it failed
  std::vector<std::string> notes{};            // sentences
  std::vector<std::filesystem::path> files{};  // done: the file, and the matte of a pair; or one numbered name
  bool isSequence = false;                     // a numbered name
  std::uintmax_t size = 0;                     // bytes of all files
};

// One export at a time, in a thread of its own; the same work as that of `kalvetra key`. Nothing stands under a final
// name that is not complete. All functions may be called from any thread.
class ExportJob {
 public:
  // `clip` names the input and how it is read. Written to `folder`, or where that is empty, into a private folder that
  // goes with this object.
  ExportJob(const KeyJob& clip, std::filesystem::path folder) : clip_(clip), folder_(std::move(folder)) {}
  // Cancels, and waits until everything is tidied up.
  ~ExportJob();
  ExportJob(const ExportJob&) = delete;
  ExportJob& operator=(const ExportJob&) = delete;

  // `name` is a plain name in the folder; without an ending it gets that of the chosen kind of file. Returns the job's
  // number. Throws UserError for what does not fit together, Conflict while another export runs, and for a
  // name that exists and is not to be replaced.
  std::int64_t start(const KeyRequest& request, const std::string& name, bool replace);
  // Takes effect soon; the state shows when.
  void cancel();
  ExportState state() const;
  // The finished export's file of that number. Throws NotFound when there is none.
  std::filesystem::path file(std::size_t index = 0) const;

 private:
  using Clock = std::chrono::steady_clock;
  std::filesystem::path target(const std::string& name);
  KeyJob jobFor(const KeyRequest& request, const std::string& name, bool replace);
  // A sentence without the folders of the files in it. The mutex is held.
  std::string plain(const std::string& sentence) const;
  void run(const KeyJob& job, const AnimatedSettings& settings);
  JobListener listener();
  void finish(ExportStatus status, const std::string& error);

  const KeyJob clip_;
  const std::filesystem::path folder_;
  std::mutex startMutex_;  // of starting and ending; taken before the other
  std::thread thread_;
  mutable std::mutex mutex_;  // of all below
  ExportState state_;
  Clock::time_point begun_{};
  std::optional<PrivateFolder> private_;
  std::atomic<bool> stop_{false};
};

}  // namespace kalvetra
