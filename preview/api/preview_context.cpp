#include "preview/api/preview_context.h"

#include "jobs/frame_sampler.h"
#include "parameters/parameter_value.h"

namespace kalvetra {

namespace {

constexpr int kRendersAtOnce = 2;
constexpr std::size_t kKeptForThumbnails = std::size_t{32} << 20;  // bytes

Pick lookForBackdrop(const PreviewOptions& options, const std::atomic<bool>& stop) {
  try {
    Reader clip = openForSamples(options.input, options.source, options.threads, stop);
    return {findBackdrop(clip, kSampledFrames, stop), {}};
  } catch (const std::exception& error) {
    return {std::nullopt, error.what()};
  }
}

// Throws UserError unless a background can be read from it.
void checkBackground(const PreviewOptions& options, const PictureFormat& clip, const std::atomic<bool>& stop) {
  if (!options.background.empty()) Background(options.background, clip, OverEnd::Hold, 1, stop);
}

}  // namespace

PreviewContext::PreviewContext(PreviewOptions given, std::atomic<bool>& stopWord)
    : options(std::move(given)),
      stop(stopWord),
      folders(options.folders, options.background, options.input),
      turns(kRendersAtOnce),
      clip(options.input, options.source, options.threads, stop),
      thumbnails(clip, kKeptForThumbnails),
      mattes(options.mattes, clip.format(), options.threads, stop),
      renderer(clip, mattes),
      backgrounds(clip, options.threads, stop) {
  if (!options.preset.empty()) preset_ = readPreset(options.preset);
  checkBackground(options, clip.format(), stop);
  pick_ = std::async(std::launch::async, [this] { return lookForBackdrop(options, stop); }).share();
}

AnimatedSettings PreviewContext::initialSettings() const {
  AnimatedSettings settings;
  const Parameter& color = *findParameter("key-color");
  if (preset_) applyPreset(*preset_, settings);
  if ((!preset_ || !preset_->curves.contains(color.id)) && pick().found) {
    const BackdropColor& found = pick().found->color;
    settings.set(color, colorOf({found.red, found.green, found.blue}));
  }
  return settings;
}

std::string PreviewContext::backgroundFile(const std::string& name) const { return folders.picture(name).string(); }

}  // namespace kalvetra
