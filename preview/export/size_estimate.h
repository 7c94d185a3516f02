// How large an export becomes, estimated from a few of its frames.
#pragma once

#include <memory>
#include <mutex>

#include "preview/api/preview_context.h"
#include "preview/export/key_request.h"

namespace kalvetra {

class SizeEstimator {
 public:
  // All of it must outlive this.
  explicit SizeEstimator(PreviewContext& context) : context_(context) {}

  // Bytes of all files together. Keys and encodes some frames from over the range, with low priority and never while
  // the user waits for a picture, and writes nothing. Waits for it. Throws UserError for what cannot be exported, and a
  // Refusal of 409 once a newer estimate is asked for, or cancel() is called.
  double estimate(const KeyRequest& request);
  void cancel();

 private:
  using Stop = std::shared_ptr<std::atomic<bool>>;

  Stop takeTurn();

  PreviewContext& context_;
  std::mutex mutex_;  // of what follows
  Stop stop_;         // of the newest
};

}  // namespace kalvetra
