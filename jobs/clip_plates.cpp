#include "jobs/clip_plates.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <optional>
#include <set>

#include "jobs/clip_materials.h"
#include "jobs/lent_threads.h"
#include "media/pixels/picture_depth.h"
#include "plates/clean_plate.h"
#include "plates/frame_plate.h"
#include "plates/shot_plate.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr int kFirstLook = 5;    // pictures that settle whether one plate will do
constexpr int kMostLooks = 32;   // where it will not
constexpr int kMostOfClean = 9;  // pictures of a clean plate

using Numbers = std::vector<std::int64_t>;

// Fits each of those pictures; those that the clip lacks are left out. Deep pictures are too large to be kept for
// nothing.
std::vector<PlateSample> fitted(ClipPictures& clip, const Numbers& numbers, const AnimatedSettings& settings,
                                const IsStopped& stopped, bool keepsPictures) {
  std::vector<PlateSample> samples(numbers.size());
  const auto fit = [&](std::size_t i, const std::shared_ptr<const Image>& picture, const Workers* workers) {
    samples[i] = {numbers[i], keepsPictures ? picture : nullptr, nullptr};
    if (!picture) return;
    samples[i].fitted =
        std::make_shared<const FittedPlate>(fitPlate(picture->frame(), settings.at(numbers[i]), workers));
  };
  if (numbers.size() == 1) {
    LentThreads threads(clip.threads());
    clip.show(
        numbers, 1, [&](std::size_t i, const auto& picture) { fit(i, picture, threads.workers()); }, stopped);
  } else {
    clip.show(
        numbers, clip.threads(), [&](std::size_t i, const auto& picture) { fit(i, picture, nullptr); }, stopped);
  }
  std::erase_if(samples, [](const PlateSample& sample) { return sample.fitted == nullptr; });
  return samples;
}

// How many pictures tell of all the shots of a clip: about one a second.
int looksAt(const ClipPictures& clip) {
  const double seconds = static_cast<double>(clip.count()) / std::max(av_q2d(clip.reader().format().frameRate), 1e-3);
  return static_cast<int>(std::clamp(std::round(seconds), double{kFirstLook}, double{kMostLooks}));
}

// The fits of a clip, and the row that they make.
class FittedRow {
 public:
  FittedRow(ClipPictures& clip, const AnimatedSettings& settings, const IsStopped& stopped)
      : clip_(clip), settings_(settings), stopped_(stopped) {}

  void add(const std::vector<PlateSample>& samples) {
    for (const PlateSample& sample : samples) {
      looked_.insert(sample.number);
      if (sample.fitted->sure) estimates_.push_back({sample.number, *sample.fitted});
    }
  }

  // Looks as often as it takes. Nothing where no fit is sure.
  std::optional<PlateRow> settled() {
    if (estimates_.empty()) return std::nullopt;
    PlateRow row(estimates_);
    // What moves or drifts is seen up to the clip's ends.
    const bool isSteady = row.shots() == 1 && row.wanted().empty();
    if (!isSteady && look({0, clip_.count() - 1})) row = PlateRow(estimates_);
    if (row.shots() > 1 && look(clip_.spread(looksAt(clip_)))) row = PlateRow(estimates_);
    while (look(row.wanted())) row = PlateRow(estimates_);
    return row;
  }

 private:
  // False where there is nothing new.
  bool look(Numbers numbers) {
    std::erase_if(numbers, [this](std::int64_t number) { return looked_.contains(number); });
    constexpr std::size_t kMost = kFirstLook + kMostLooks;
    numbers.resize(std::min(numbers.size(), kMost - std::min(looked_.size(), kMost)));
    if (numbers.empty()) return false;
    looked_.insert(numbers.begin(), numbers.end());
    add(fitted(clip_, numbers, settings_, stopped_, false));
    return true;
  }

  ClipPictures& clip_;
  const AnimatedSettings& settings_;
  const IsStopped& stopped_;
  std::set<std::int64_t> looked_;
  std::vector<PlateRow::Estimate> estimates_;
};

// Throws unless there is something to be made of it.
PlateRow cleanRow(ClipPictures& clip, const std::string& file, const std::vector<PlateSample>& samples,
                  const IsStopped& stopped, std::vector<std::string>& notes) {
  const KeyingChoice whole{.fields = FieldChoice::Off, .depth = DepthChoice::Deep};
  ClipPictures bytes(file, SourceOptions(), whole, clip.threads(), clip.stop());
  const std::unique_ptr<ClipPictures> deep = clip.keying().deep() ? bytes.atFullDepth() : nullptr;
  ClipPictures& bare = deep ? *deep : bytes;
  const int turns = (bare.reader().format().quarterTurns() + 4 - clip.reader().format().quarterTurns()) % 4;
  CleanPlateMean mean;
  const auto add = [&](std::size_t i, const std::shared_ptr<const Image>& picture) {
    if (i == 0) mean = CleanPlateMean();
    if (picture) mean.add((turns == 0 ? *picture : turned(*picture, turns)).frame());
  };
  bare.show(bare.spread(kMostOfClean), 1, add, stopped);
  std::vector<ShotSample> shot;
  for (const PlateSample& sample : samples) shot.push_back({sample.picture->frame(), sample.fitted.get()});
  const std::vector<unsigned char> argb = mean.mean();
  const ConstFrame picture = packedFrame(argb.data(), mean.width(), mean.height(), mean.format());
  mean = CleanPlateMean();  // up to half a gigabyte of large pictures
  CleanPlate clean = correctedPlate(picture, shot);
  if (!clean.refusal.empty()) throw UserError(file + ": " + clean.refusal);
  for (const std::string& note : clean.notes) notes.push_back(file + ": " + note);
  return PlateRow(std::make_shared<const Plate>(std::move(clean.plate)));
}

// Nothing, and `why`, where the camera moves.
std::optional<PlateRow> shotRow(ClipPictures& clip, const AnimatedSettings& settings, const IsStopped& stopped,
                                std::vector<std::string>& notes, std::string& why) {
  const PictureFormat& format = clip.reader().format();
  const Numbers numbers = clip.spread(static_cast<int>(ShotPlate::capacity(format.width, format.height)));
  std::vector<std::optional<FittedPlate>> fits(numbers.size());  // of those under way
  const auto fit = [&](std::size_t i, const std::shared_ptr<const Image>& picture) {
    if (picture) fits[i] = fitPlate(picture->frame(), settings.at(numbers[i]));
  };
  ShotPlate shot;
  const auto add = [&](std::size_t i, const std::shared_ptr<const Image>& picture) {
    if (i == 0) shot = ShotPlate();
    if (picture) shot.add(picture->frame(), *fits[i]);
    fits[i].reset();
  };
  clip.show(numbers, clip.threads(), fit, stopped, add);
  LentThreads threads(clip.threads());
  GatheredPlate gathered = shot.gather(threads.workers());
  if (!gathered.locked) {
    why = std::move(gathered.why);
    return std::nullopt;
  }
  char share[64];
  std::snprintf(share, sizeof share, "%.0f %% of the picture was seen as bare screen over the shot",
                100.0 * gathered.seen);
  notes.emplace_back(share);
  return PlateRow(std::make_shared<const Plate>(std::move(gathered.plate)));
}

// What the settings ask for, of the clip's own depth; nothing where there is none. `samples` are its first fits.
std::optional<PlateRow> rowOf(ClipPictures& clip, const AnimatedSettings& settings, const std::string& cleanPlate,
                              const std::vector<PlateSample>& samples, const IsStopped& stopped,
                              std::vector<std::string>& notes) {
  const auto kind = static_cast<PlateKind>(settings.at(0).plate);
  std::optional<PlateRow> row;
  std::string whyNoShot;
  if (kind == PlateKind::Clean) row = cleanRow(clip, cleanPlate, samples, stopped, notes);
  if (kind == PlateKind::Shot) row = shotRow(clip, settings, stopped, notes, whyNoShot);
  if (row) return row;
  FittedRow fits(clip, settings, stopped);
  fits.add(samples);
  row = fits.settled();
  if (row && !whyNoShot.empty()) notes.push_back(whyNoShot + "; fitted plates are taken instead of the shot's");
  return row;
}

// The same of the clip's deep pictures, where it is keyed so. What was found in 8 bits has decided that there is one.
std::optional<PlateRow> deepRowOf(const ClipPictures& clip, const AnimatedSettings& settings,
                                  const std::string& cleanPlate, const IsStopped& stopped) {
  const std::unique_ptr<ClipPictures> deep = clip.atFullDepth();
  if (!deep) return std::nullopt;
  const bool isClean = static_cast<PlateKind>(settings.at(0).plate) == PlateKind::Clean;
  const std::vector<PlateSample> samples = fitted(*deep, deep->spread(kFirstLook), settings, stopped, isClean);
  std::vector<std::string> said;  // of the row in 8 bits already
  return rowOf(*deep, settings, cleanPlate, samples, stopped, said);
}

// Of the samples with a sure plate; of all, why there is none.
void describe(FoundPlates& found) {
  double covered = 0.0, sure = 0.0;
  if (found.samples.empty()) found.why = "none of the pictures looked at could be read";
  for (const PlateSample& sample : found.samples) {
    if (sample.fitted->sure) {
      covered += sample.fitted->covered;
      sure += 1.0;
    } else if (found.why.empty()) {
      found.why = sample.fitted->why;
    }
  }
  found.covered = covered / std::max(sure, 1.0);
}

}  // namespace

std::shared_ptr<const Plate> ClipPlates::at(std::int64_t number, const Image& picture) const {
  const KeySettings settings = settings_.at(number);
  if (!row_ || settings.smoothBG == 0) return nullptr;  // against the engine's own, or the key colour
  if (!picture.isDeep()) return framePlate(*row_, number, picture.frame(), settings);
  if (deep_) return framePlate(*deep_, number, picture.frame(), settings);
  return framePlate(*row_, number, narrowed(picture, false).frame(), settings);
}

std::vector<PlateSample> fitSamples(ClipPictures& clip, const AnimatedSettings& settings, const IsStopped& stopped) {
  return fitted(clip, clip.spread(kFirstLook), settings, stopped, true);
}

FoundPlates findPlates(ClipPictures& clip, const AnimatedSettings& settings, const std::string& cleanPlate,
                       const IsStopped& stopped) {
  FoundPlates found;
  const auto kind = static_cast<PlateKind>(settings.at(0).plate);
  if (kind == PlateKind::Own || !keysAgainstPlates(settings)) return found;
  if (kind == PlateKind::Clean && cleanPlate.empty()) {
    throw UserError("the settings key against a clean plate, which they do not hold; name its file with --plate FILE");
  }
  found.samples = fitSamples(clip, settings, stopped);
  describe(found);
  std::optional<PlateRow> row = rowOf(clip, settings, cleanPlate, found.samples, stopped, found.notes);
  if (!row) return found;
  found.plates =
      std::make_shared<const ClipPlates>(std::move(*row), deepRowOf(clip, settings, cleanPlate, stopped), settings);
  return found;
}

bool isReadOnce(const std::string& input) {
  std::error_code ignored;
  const std::filesystem::file_type type = std::filesystem::status(input, ignored).type();
  return input == kStandardInput || type == std::filesystem::file_type::fifo ||
         type == std::filesystem::file_type::character || type == std::filesystem::file_type::socket;
}

bool keysAgainstPlates(const AnimatedSettings& settings) {
  const Curve smooth = settings.curve(*findParameter("smooth-bg"));
  return std::any_of(smooth.begin(), smooth.end(), [](const Keyframe& k) { return k.value != 0; });
}

FoundPlates platesFor(const KeyJob& job, const AnimatedSettings& settings, const std::atomic<bool>& stop) {
  FoundPlates found;
  const bool isOwn = settings.at(0).plate == static_cast<int>(PlateKind::Own);
  if (isOwn && !goesByMaterials(settings)) {
    noteIdleRefine(settings, found);
    return found;
  }
  if (isReadOnce(job.input)) {
    noteIdleRefine(settings, found);
    if (!isOwn) found.notes.emplace_back(kReadOnlyOnce);
    if (goesByMaterials(settings)) found.notes.emplace_back(kMaterialsReadOnlyOnce);
    return found;
  }
  ClipPictures clip(job.input, job.source, job.keying, job.threads, stop);
  found = findPlates(clip, settings, job.cleanPlate);
  if (!isOwn && !found.plates)
    found.notes.push_back("no plate could be fitted: " + found.why + "; the engine's own is taken");
  noteIdleRefine(settings, found);
  found.plates = withMaterials(clip, settings, found.plates);
  return found;
}

}  // namespace kalvetra
