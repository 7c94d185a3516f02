#include "jobs/auto_settings.h"

#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include "jobs/frame_sampler.h"
#include "parameters/parameter_value.h"
#include "support/interrupted.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

ChromaSampling chromaSamplingOf(const Reader& clip) {
  const auto* description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(clip.video().codecpar->format));
  if (description == nullptr || (description->flags & AV_PIX_FMT_FLAG_RGB) != 0) return ChromaSampling::Full;
  const int shared = description->log2_chroma_w + description->log2_chroma_h;
  return shared == 0 ? ChromaSampling::Full : shared == 1 ? ChromaSampling::Half : ChromaSampling::Quarter;
}

// Throws unless something was read and found.
void checkFind(const std::string& input, int frames, bool found, const std::string& missed) {
  if (frames == 0) throw UserError(input + ": no picture in it can be read; check the file");
  if (!found) throw UserError(input + ": " + missed + " with --key-color");
}

}  // namespace

FoundBackdrop findBackdrop(Reader& clip, int frames, const std::atomic<bool>& stop) {
  BackdropFinder finder;
  const int shown = sampleFrames(
      clip, frames, stop, [&](const Image& frame) { finder.add(frame.bytes.data(), frame.width, frame.height); });
  if (stop) throw Interrupted();
  std::string missed;
  const std::optional<BackdropColor> found = finder.find(&missed);
  checkFind(clip.path(), shown, found.has_value(), missed);
  return {*found, shown};
}

Proposal proposeSettings(Reader& clip, std::optional<int> keyColor, int threads, const std::atomic<bool>& stop,
                         int frames, PlateKind plate) {
  // oneTBB takes memory for a thread that it meets for the first time. Where that fails below a global_control, the
  // latter's destructor waits for ever; so they meet before there is one.
  tbb::task_arena(1).execute([] {});
  const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
  SettingsProposer proposer(chromaSamplingOf(clip));
  const int shown = sampleFrames(
      clip, frames, stop, [&](const Image& frame) { proposer.add(frame.bytes.data(), frame.width, frame.height); });
  if (stop) throw Interrupted();
  std::string missed;
  KeySettings start = defaultSettings();
  start.plate = static_cast<int>(plate == PlateKind::Own ? PlateKind::Own : PlateKind::Fit);
  if (keyColor) {
    setValue(start, *findParameter("key-color"), *keyColor);
    start.screen = screenForColor(start);
  }
  std::optional<Proposal> proposal = proposer.propose(start, keyColor.has_value(), &missed);
  if (stop) throw Interrupted();
  checkFind(clip.path(), shown, proposal.has_value(), missed);
  return std::move(*proposal);
}

}  // namespace kalvetra
