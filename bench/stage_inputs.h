// What each pass is fed within a frame.
#pragma once

#include <map>
#include <string>

#include "bench/frames.h"
#include "bench/passes.h"

namespace kalvetra::bench {

// Runs the stages of one 1920 x 1080 frame one after the other and keeps what each of them read.
class StageInputs {
 public:
  explicit StageInputs(const std::vector<Pass>& passes);

  // Images of the pass's kind; the second is empty for a pass without one.
  const Bytes& source(const Pass& pass) const;
  Bytes second(const Pass& pass) const;

  static Size sizeFor(const Pass& pass) { return pass.onSmallCopy ? kSmall : kFrame; }

 private:
  static constexpr Size kFrame{1920, 1080};
  static constexpr Size kSmall{320, 180};

  Bytes run(const std::string& pass, Bytes source, Bytes second = {}) const;

  const std::vector<Pass>& passes_;
  std::map<std::string, Bytes> sources_;  // by pass; the frame itself under ""
  Bytes plate_;
};

}  // namespace kalvetra::bench
