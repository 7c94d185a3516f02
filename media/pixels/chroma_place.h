// Where chroma samples lie among luma samples.
#pragma once

#include "media/ffmpeg.h"

namespace kalvetra {

// A row of chroma between two stored ones.
struct ChromaRow {
  int upper, lower;  // rows of the plane
  float weight;      // of the lower one, 0..1
};

// Luma columns or rows from the first luma sample to the first chroma sample, where each of chroma stands for 2^log2 of
// luma. Where the frame does not say, that is 0 across and half-way between rows.
float firstChromaColumn(AVChromaLocation location, int log2);
float firstChromaRow(AVChromaLocation location, int log2);

// For a frame's `y`th luma row; `rows` chroma rows in all. With `fields`, chroma rows belong to the two fields in turn,
// as luma rows do. Chroma that lies midway between a frame's rows then lies a quarter of the way down between the rows
// of the upper field and three quarters down between those of the lower one (ITU-T H.262, 6.1.1.8).
ChromaRow chromaRowAt(AVChromaLocation location, int log2, int rows, int y, bool fields);

}  // namespace kalvetra
