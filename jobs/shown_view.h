// What can be shown of a frame.
#pragma once

namespace kalvetra {

// The first three are the settings' views, in the order of their menu.
enum class ShownView {
  Source,
  Matte,
  Result,
  Plate,      // the estimated backdrop
  Status,     // the matte with its doubtful pixels in colour
  Composite,  // the result over a background
};

}  // namespace kalvetra
