#include "plates/frame_plate.h"

#include <utility>

#include "plates/cells.h"
#include "plates/fit.h"
#include "plates/follow.h"

namespace kalvetra {

std::shared_ptr<const Plate> framePlate(const PlateRow& row, std::int64_t number, const ConstFrame& frame,
                                        const KeySettings& settings, const Workers* workers) {
  FollowedPlate followed = row.at(number, frame);
  if (followed.fit >= 1.0f) return followed.plate;
  FittedPlate own = fadedFit(frame, settings, workers);
  if (followed.plate == nullptr)
    return own.trust > 0.0f ? std::make_shared<const Plate>(std::move(own.plate)) : nullptr;
  const Plate& shared = *followed.plate;
  if (own.plate.pixels() != shared.pixels() || own.plate.width != shared.width) return followed.plate;
  return std::make_shared<const Plate>(plates::mixedPlate(own.plate, shared, followed.fit));
}

}  // namespace kalvetra
