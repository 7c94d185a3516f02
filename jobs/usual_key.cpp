#include "jobs/usual_key.h"

#include <algorithm>
#include <cstdio>

#include "analysis/backdrop_color.h"
#include "analysis/clip_black.h"
#include "jobs/clip_materials.h"
#include "parameters/parameter_value.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

std::string fittedText(const FoundPlates& found) {
  char text[80];
  std::snprintf(text, sizeof text, "plate fitted (%.0f %% of the picture is bare screen)", 100.0 * found.covered);
  return text;
}

std::size_t surePlates(const FoundPlates& found) {
  const auto isSure = [](const PlateSample& sample) { return sample.fitted->sure; };
  return static_cast<std::size_t>(std::count_if(found.samples.begin(), found.samples.end(), isSure));
}

// On the samples whose screen is surely known, if these are most of them; otherwise on all, which allows little.
MeasuredClip measuredOn(std::vector<PlateSample> samples, const UsualKey& key) {
  const auto isUnsure = [](const PlateSample& sample) { return !sample.fitted->sure; };
  const auto unsure = static_cast<std::size_t>(std::count_if(samples.begin(), samples.end(), isUnsure));
  if (2 * unsure <= samples.size()) std::erase_if(samples, isUnsure);
  if (samples.empty()) return {0, false, "no frame was looked at"};
  std::vector<std::shared_ptr<const Plate>> plates(samples.size());
  std::vector<KnownPlate> known(samples.size());
  std::vector<ScreenSample> screens;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const PlateSample& sample = samples[i];
    if (key.found.plates) plates[i] = key.found.plates->at(sample.number, *sample.picture);
    if (plates[i]) known[i] = plates[i]->known();
    screens.push_back({sample.picture->frame(), sample.fitted.get(), plates[i] ? &known[i] : nullptr});
  }
  return measureClipBlack(screens, key.settings.at(samples.front().number));
}

const Parameter& plateParameter() { return *findParameter("plate"); }

PlateKind kindIn(const AnimatedSettings& settings) { return static_cast<PlateKind>(settings.at(0).plate); }

void addPart(std::string& sentence, const std::string& part) { sentence += (sentence.empty() ? "" : ", ") + part; }

// What the settings ask for, and where it is to be found, a fit; without a sure one back to the engine's own.
void settlePlates(ClipPictures& clip, const UsualChoice& choice, const std::string& cleanPlate,
                  const IsStopped& stopped, UsualKey& key) {
  if (choice.plate) key.settings.set(plateParameter(), static_cast<int>(PlateKind::Fit));
  key.found = findPlates(clip, key.settings, cleanPlate, stopped);
  if (kindIn(key.settings) == PlateKind::Own) return;
  if (choice.plate && 2 * surePlates(key.found) < key.found.samples.size()) key.found.plates = nullptr;
  if (!key.found.plates) {
    addPart(key.sentence, "no plate fitted: " + key.found.why);
    if (choice.plate) key.settings.set(plateParameter(), static_cast<int>(PlateKind::Own));
  } else if (kindIn(key.settings) == PlateKind::Fit) {
    addPart(key.sentence, fittedText(key.found));
  }
}

AnimatedSettings withScreen(AnimatedSettings settings, const UsualChoice& choice) {
  if (choice.screen) settings.set(*findParameter("screen"), screenForColor(settings.at(0)));
  return settings;
}

bool isBelowClipWhite(int clipBlack, const AnimatedSettings& settings) {
  const Curve whites = settings.curve(*findParameter("clip-white"));
  return std::all_of(whites.begin(), whites.end(), [&](const Keyframe& k) { return k.value > clipBlack; });
}

// Of a key colour that was named and is hardly seen; one that was found is seen well enough.
void noteHardlyAny(UsualKey& key) {
  BackdropFinder finder;
  for (const PlateSample& sample : key.found.samples) {
    finder.add(sample.picture->bytes.data(), sample.picture->width, sample.picture->height);
  }
  if (key.found.samples.empty()) return;
  const std::array<int, 3> color = colorParts(valueIn(key.settings.at(0), *findParameter("key-color")));
  const std::string note = finder.noteOnNamed(color[0], color[1], color[2]);
  if (!note.empty()) key.found.notes.push_back(note);
}

void settleClipBlack(ClipPictures& clip, const IsStopped& stopped, UsualKey& key) {
  const bool known = !key.found.samples.empty();
  const MeasuredClip measured = measuredOn(known ? key.found.samples : fitSamples(clip, key.settings, stopped), key);
  if (!measured.sure || !isBelowClipWhite(measured.clipBlack, key.settings)) return;
  key.settings.set(*findParameter("clip-black"), measured.clipBlack);
  addPart(key.sentence, "clip-black " + std::to_string(measured.clipBlack));
}

}  // namespace

UsualChoice choiceBeside(const std::map<int, Curve>& named) {
  const auto isFree = [&](const char* slug) { return !named.contains(findParameter(slug)->id); };
  return {isFree("screen"), isFree("plate"), isFree("clip-black")};
}

UsualKey usualKey(ClipPictures& clip, const AnimatedSettings& settings, const UsualChoice& choice,
                  const std::string& cleanPlate, const IsStopped& stopped) {
  UsualKey key{withScreen(settings, choice), {}, {}};
  if (keysAgainstPlates(settings)) {
    settlePlates(clip, choice, cleanPlate, stopped, key);
    noteHardlyAny(key);
    if (choice.clipBlack) settleClipBlack(clip, stopped, key);
  }
  noteIdleRefine(key.settings, key.found);
  key.found.plates = withMaterials(clip, key.settings, key.found.plates, stopped);
  return key;
}

UsualKey usualKeyFor(const KeyJob& job, const AnimatedSettings& settings, const UsualChoice& choice,
                     const std::atomic<bool>& stop, const ClipPictures::Looked& looked) {
  const bool hasPlates = keysAgainstPlates(settings), byMaterials = goesByMaterials(settings);
  const bool asks = hasPlates && (choice.plate || kindIn(settings) != PlateKind::Own);
  UsualKey key{withScreen(settings, choice), {}, {}};
  if (!byMaterials && !asks && !(hasPlates && choice.clipBlack)) {
    noteIdleRefine(settings, key.found);
    return key;
  }
  if (isReadOnce(job.input)) {
    noteIdleRefine(settings, key.found);
    key.settings.set(plateParameter(), static_cast<int>(PlateKind::Own));
    if (asks) key.sentence = kReadOnlyOnce;
    if (byMaterials) key.found.notes.emplace_back(kMaterialsReadOnlyOnce);
    return key;
  }
  try {
    ClipPictures clip(job.input, job.source, job.keying, job.threads, stop);
    clip.report(looked);
    return usualKey(clip, settings, choice, job.cleanPlate);
  } catch (const UserError& error) {  // in a part of the clip, perhaps, that is not keyed at all
    if (kindIn(settings) != PlateKind::Own) throw;
    key.sentence = std::string("no plate fitted: ") + error.what();
    return key;
  }
}

}  // namespace kalvetra
