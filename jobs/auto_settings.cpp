#include "jobs/auto_settings.h"

#include <cstdio>

#include "jobs/frame_sampler.h"
#include "media/input/reader.h"
#include "support/interrupted.h"
#include "support/thread_limit.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

ChromaSampling chromaSamplingOf(const std::string& input, const SourceOptions& source, int threads,
                                const std::atomic<bool>& stop) {
  const Reader reader(input, source, threads, stop);
  const auto* description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(reader.video().codecpar->format));
  if (description == nullptr || (description->flags & AV_PIX_FMT_FLAG_RGB) != 0) return ChromaSampling::Full;
  const int shared = description->log2_chroma_w + description->log2_chroma_h;
  return shared == 0 ? ChromaSampling::Full : shared == 1 ? ChromaSampling::Half : ChromaSampling::Quarter;
}

// Throws unless something was read and found.
void checkFind(const std::string& input, int frames, bool found, double share) {
  if (frames == 0) throw UserError(input + ": no picture in it can be read; check the file");
  if (found) return;
  char percent[16];
  std::snprintf(percent, sizeof percent, "%.1f %%", share * 100.0);
  throw UserError(input + ": no green backdrop found (only " + percent +
                  " of the picture is of one green, 5 % must be); name its colour with --key-color");
}

}  // namespace

FoundBackdrop findBackdrop(const std::string& input, const SourceOptions& source, int frames, int threads,
                           const std::atomic<bool>& stop) {
  BackdropFinder finder;
  const int shown = sampleFrames(input, source, frames, threads, stop,
                                 [&](const Image& frame) { finder.add(frame.argb.data(), frame.width, frame.height); });
  if (stop) throw Interrupted();
  double share = 0.0;
  const std::optional<BackdropColor> found = finder.find(&share);
  checkFind(input, shown, found.has_value(), share);
  return {*found, shown};
}

Proposal proposeSettings(const std::string& input, const SourceOptions& source, std::optional<int> keyColor,
                         int threads, const std::atomic<bool>& stop, int frames) {
  refuseStandardInput(input);
  const ThreadLimit limit(threads);
  SettingsProposer proposer(chromaSamplingOf(input, source, threads, stop));
  const int shown = sampleFrames(input, source, frames, threads, stop, [&](const Image& frame) {
    proposer.add(frame.argb.data(), frame.width, frame.height);
  });
  if (stop) throw Interrupted();
  double share = 0.0;
  std::optional<Proposal> proposal = proposer.propose(keyColor, &share);
  if (stop) throw Interrupted();
  checkFind(input, shown, proposal.has_value(), share);
  return std::move(*proposal);
}

}  // namespace kalvetra
