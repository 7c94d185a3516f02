// The green-back mask pipeline.
#pragma once

#include "engine/KALVETRA_Param.h"

// Checks the record, keys param->pSrc into param->pDst (as one picture, or field by field), then contracts the matte
// and blurs its edge where the record asks for it. The third argument is a tag that is not read. Returns 2 when a
// record is null or a value out of range (nothing is written), 3 when memory ran out or a pass threw (the result may be
// partly written), otherwise what the keying pass returned.
unsigned int KALVETRA_MakeMaskGreenBack32bit(KALVETRA_Param* param, KALVEVIE_Param* view, unsigned int tag);
