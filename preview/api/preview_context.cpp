#include "preview/api/preview_context.h"

#include "jobs/frame_sampler.h"
#include "parameters/parameter_value.h"
#include "preview/api/clip_requests.h"

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
      plates(clipJob(options), clip, stop),
      renderer(clip, mattes, options.threads),
      backgrounds(clip, options.threads, stop) {
  named_ = options.named;
  int deepLook = 0;
  if (!options.preset.empty()) {
    const Preset preset = readPreset(options.preset);
    deepLook = preset.deepLook;
    named_.insert(preset.curves.begin(), preset.curves.end());
  }
  if (clip.keysDeep(options.depth, namedSettings())) checkDeepLook(deepLook, options.preset);
  checkBackground(options, clip.format(), stop);
  pick_ = std::async(std::launch::async, [this] { return lookForBackdrop(options, stop); }).share();
  beginning_ = std::async(std::launch::async, [this] { return begin(); }).share();
}

AnimatedSettings PreviewContext::namedSettings() const {
  AnimatedSettings settings;
  for (const auto& [id, curve] : named_) settings.set(*findParameter(id), curve);
  return settings;
}

UsualKey PreviewContext::begin() {
  AnimatedSettings settings = namedSettings();
  const Parameter& color = *findParameter("key-color");
  if (!named_.contains(color.id)) {
    if (!pick().found) return {settings, {}, {}};
    const BackdropColor& found = pick().found->color;
    settings.set(color, colorOf({found.red, found.green, found.blue}));
  }
  UsualChoice wanted;
  if (!options.plain && options.preset.empty()) wanted = choiceBeside(named_);
  wanted.screen = wanted.screen || options.searchScreen;
  try {
    return plates.usual(settings, clip.keysDeep(options.depth, settings), wanted);
  } catch (const std::exception& error) {  // pictures will say it again
    UsualKey key{settings, {}, {}};
    key.found.notes.emplace_back(error.what());
    return key;
  }
}

std::string PreviewContext::backgroundFile(const std::string& name) const { return folders.picture(name).string(); }

}  // namespace kalvetra
