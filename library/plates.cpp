#include "library/plates.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

#include "analysis/shot_materials.h"
#include "library/answer.h"
#include "library/lent_threads.h"
#include "library/settings.h"
#include "plates/clean_plate.h"
#include "plates/frame_plate.h"
#include "plates/shot_plate.h"

namespace {

using namespace kalvetra;

std::vector<Frame> framesOf(const kalvetra_frame* frames, std::size_t count, const char* name) {
  required(frames, name);
  if (count == 0) throw Refusal{KALVETRA_BAD_ARGUMENT, std::string("there are no ") + name + "; give at least one"};
  std::vector<Frame> all;
  for (std::size_t i = 0; i < count; ++i) {
    const std::string called = std::string(name) + "[" + std::to_string(i) + "]";
    all.push_back(frameOf(&frames[i], called.c_str()));
    requireSameSize(all.front(), all.back(), called.c_str(), "the first");
  }
  return all;
}

// Which frames of the clip they are.
std::vector<std::int64_t> numbersOf(const std::int64_t* numbers, std::size_t count) {
  std::vector<std::int64_t> all;
  for (std::size_t i = 0; i < count; ++i) all.push_back(numbers == nullptr ? static_cast<std::int64_t>(i) : numbers[i]);
  std::vector<std::int64_t> sorted = all;
  std::sort(sorted.begin(), sorted.end());
  const auto twice = std::adjacent_find(sorted.begin(), sorted.end());
  if (twice == sorted.end()) return all;
  throw Refusal{KALVETRA_BAD_ARGUMENT, "numbers: " + std::to_string(*twice) + " is there twice"};
}

// The frames of a shot, to be gathered only as many as can be, from all over them; and what is fitted to each.
struct Sampled {
  Sampled(const kalvetra_settings* settings, const kalvetra_frame* given, const std::int64_t* numbers,
          std::size_t count, const CallOptions& options, bool isForGathering = false)
      : threads(options) {
    values = required(settings, "settings").values;
    const std::vector<Frame> all = framesOf(given, count, "frames");
    const std::vector<std::int64_t> places = numbersOf(numbers, count);
    const std::size_t most = isForGathering ? ShotPlate::capacity(all[0].width, all[0].height) : count;
    const std::size_t parts = std::min(most, count);
    for (std::size_t part = 0; part < parts; ++part) {
      const std::size_t i = (2 * part + 1) * count / (2 * parts);  // the middle one of each part
      frames.push_back(all[i]);
      frameNumbers.push_back(places[i]);
      estimates.push_back({places[i], fitPlate(all[i], values.at(places[i]), threads.workers())});
    }
  }

  LentThreads threads;
  AnimatedSettings values;
  std::vector<Frame> frames;
  std::vector<std::int64_t> frameNumbers;
  std::vector<PlateRow::Estimate> estimates;
};

// A few of the shot's frames from all over it, in the order of time.
std::vector<std::size_t> spreadOver(const Sampled& shot) {
  std::vector<std::size_t> order(shot.frames.size()), chosen;
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::sort(order, {}, [&](std::size_t i) { return shot.frameNumbers[i]; });
  const std::size_t parts = std::min<std::size_t>(kMaterialFrames, order.size());
  for (std::size_t part = 0; part < parts; ++part) chosen.push_back(order[(2 * part + 1) * order.size() / (2 * parts)]);
  return chosen;
}

// The plate with the materials that the shot's frames show against it, where the settings go by them.
kalvetra_plate* withMaterials(std::unique_ptr<kalvetra_plate> plate, const Sampled& shot, CallOptions options) {
  if (shot.values.at(0).despill == 0) return plate.release();
  options.plate = plate.get();
  refine::MaterialGathering gathering;
  for (const std::size_t i : spreadOver(shot)) {
    options.frame = shot.frameNumbers[i];
    const KeySettings settings = shot.values.at(options.frame);
    const auto frame = plateFor(settings, shot.frames[i], options, shot.threads.workers());
    const KnownPlate known = frame ? frame->known() : KnownPlate{};
    const Scan scan = options.fields ? Scan::Fields : Scan::Whole;
    addMaterialsOf(shot.frames[i], settings, {scan, shot.threads.workers(), frame ? &known : nullptr}, gathering);
  }
  plate->materials = std::make_shared<const refine::Materials>(gathering.gather());
  return plate.release();
}

// An object with its facts, for which the caller has room.
std::unique_ptr<kalvetra_plate> made(PlateRow row, kalvetra_plate_facts facts, std::string why, std::string notes) {
  std::unique_ptr<kalvetra_plate> plate(new kalvetra_plate{std::move(row), facts, std::move(why), std::move(notes)});
  plate->facts.why = plate->why.c_str();
  plate->facts.notes = plate->notes.c_str();
  return plate;
}

// Of those estimates that are sure; `why` goes before what they say of themselves.
std::unique_ptr<kalvetra_plate> fittedPlate(std::vector<PlateRow::Estimate> estimates, std::string why) {
  double covered = 0.0;
  std::string doubt;
  std::vector<PlateRow::Estimate> sure;
  for (PlateRow::Estimate& estimate : estimates) {
    if (estimate.fitted.sure) {
      covered += estimate.fitted.covered;
      sure.push_back(std::move(estimate));
    } else if (doubt.empty()) {
      doubt = estimate.fitted.why;
    }
  }
  const auto count = static_cast<double>(sure.size());
  const kalvetra_plate_facts facts{sure.empty() ? 0.0 : covered / count, sure.empty() ? 0 : 1, 0, nullptr, nullptr};
  if (why.empty() && sure.empty()) why = doubt;
  return made(PlateRow(std::move(sure)), facts, std::move(why), {});
}

PlateRow rowOf(Plate plate) { return PlateRow(std::make_shared<const Plate>(std::move(plate))); }

}  // namespace

std::shared_ptr<const Plate> kalvetra::plateFor(const KeySettings& settings, const ConstFrame& frame,
                                                const CallOptions& options, const Workers* workers) {
  if (settings.smoothBG == 0) return nullptr;
  if (options.plate != nullptr) {
    return framePlate(options.plate->row, options.frame, frame, settings, workers);
  } else if (kPlateEntries[static_cast<std::size_t>(settings.plate)].slug == "frame") {
    return nullptr;
  } else if (kPlateEntries[static_cast<std::size_t>(settings.plate)].slug != "fit") {
    throw Refusal{KALVETRA_BAD_ARGUMENT,
                  "options: the settings key against a shot's or a clean plate, and plate is NULL; make one with "
                  "kalvetra_plate_shot or kalvetra_plate_clean"};
  }
  FittedPlate fitted = fitPlate(frame, settings, workers);
  return fitted.sure ? std::make_shared<const Plate>(std::move(fitted.plate)) : nullptr;
}

int kalvetra_plate_fit(const kalvetra_settings* settings, const kalvetra_frame* frames, const int64_t* numbers,
                       size_t count, const kalvetra_options* options, kalvetra_plate** plate) {
  return answered([&] {
    kalvetra_plate*& target = required(plate, "plate");
    const CallOptions checked(options);
    Sampled shot(settings, frames, numbers, count, checked);
    target = withMaterials(fittedPlate(std::move(shot.estimates), {}), shot, checked);
    return KALVETRA_OK;
  });
}

int kalvetra_plate_shot(const kalvetra_settings* settings, const kalvetra_frame* frames, const int64_t* numbers,
                        size_t count, const kalvetra_options* options, kalvetra_plate** plate) {
  return answered([&] {
    kalvetra_plate*& target = required(plate, "plate");
    const CallOptions checked(options);
    Sampled shot(settings, frames, numbers, count, checked, true);
    ShotPlate gathering;
    for (std::size_t i = 0; i < shot.frames.size(); ++i) gathering.add(shot.frames[i], shot.estimates[i].fitted);
    GatheredPlate gathered = gathering.gather(shot.threads.workers());
    target = withMaterials(gathered.locked
                               ? made(rowOf(std::move(gathered.plate)), {gathered.seen, 1, 1, nullptr, nullptr}, {}, {})
                               : fittedPlate(std::move(shot.estimates), std::move(gathered.why)),
                           shot, checked);
    return KALVETRA_OK;
  });
}

int kalvetra_plate_clean(const kalvetra_settings* settings, const kalvetra_frame* clean, size_t clean_count,
                         const kalvetra_frame* frames, size_t count, const kalvetra_options* options,
                         kalvetra_plate** plate) {
  return answered([&] {
    kalvetra_plate*& target = required(plate, "plate");
    CleanPlateMean mean;
    for (const Frame& picture : framesOf(clean, clean_count, "clean")) mean.add(picture);
    const CallOptions checked(options);
    const Sampled shot(settings, frames, nullptr, count, checked);
    std::vector<ShotSample> samples;
    for (std::size_t i = 0; i < count; ++i) samples.push_back({shot.frames[i], &shot.estimates[i].fitted});
    const std::vector<unsigned char> argb = mean.mean();
    const ConstFrame picture = packedFrame(argb.data(), mean.width(), mean.height(), mean.format());
    mean = CleanPlateMean();  // up to half a gigabyte of large pictures
    CleanPlate corrected = correctedPlate(picture, samples);
    if (!corrected.refusal.empty()) throw Refusal{KALVETRA_BAD_PLATE, "the clean plate " + corrected.refusal};
    std::string notes;
    for (const std::string& note : corrected.notes) notes += (notes.empty() ? "" : "\n") + ("the clean plate " + note);
    const kalvetra_plate_facts facts{shot.estimates.front().fitted.covered, 1, 0, nullptr, nullptr};
    target = withMaterials(made(rowOf(std::move(corrected.plate)), facts, {}, std::move(notes)), shot, checked);
    return KALVETRA_OK;
  });
}

void kalvetra_plate_free(kalvetra_plate* plate) { delete plate; }

const kalvetra_plate_facts* kalvetra_plate_facts_of(const kalvetra_plate* plate) {
  return plate == nullptr ? nullptr : &plate->facts;
}
