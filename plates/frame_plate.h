// What a frame is keyed against, of a row of plates and of a fit of its own.
#pragma once

#include <cstdint>
#include <memory>

#include "engine/frame.h"
#include "engine/key_settings.h"
#include "engine/workers.h"
#include "plates/plate.h"

namespace kalvetra {

class PlateRow;

// The row's plate as far as the frame fits it, its own fit as far as it does not, and the engine's own estimate as far
// as that fit is not to be trusted: null where nothing else is left. A function of the row, the number and the frame.
// The frame's own fit takes some hundred times as long as the row's plate. Throws std::bad_alloc.
std::shared_ptr<const Plate> framePlate(const PlateRow& row, std::int64_t number, const ConstFrame& frame,
                                        const KeySettings& settings, const Workers* workers = nullptr);

}  // namespace kalvetra
