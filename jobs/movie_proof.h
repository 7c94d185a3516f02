// What a written movie says of itself, against what was declared when it was written.
#pragma once

#include "jobs/proof.h"
#include "media/output/writer.h"

namespace kalvetra {

// Reads all packets of the movie and notes what holds and what does not: its pictures' number, times, coding, shape and
// colours, its alpha's kind, sound and timecode. Answers when each picture is shown, ascending, in the reader's time
// base. `written` is what made the pictures.
std::vector<std::int64_t> proveMovie(Reader& movie, const Promise& promise, const PicturePacking& written,
                                     Proof& proof);

void expectFrames(std::int64_t found, const Promise& promise, Proof& proof);

}  // namespace kalvetra
