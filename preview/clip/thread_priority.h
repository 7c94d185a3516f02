// Threads that leave the processor to the others.
#pragma once

namespace kalvetra {

// Gives the calling thread a low priority for the rest of its life, and on Linux the threads that it starts; without
// effect where the system knows no such thing. Not the lowest: it may hold a lock for a moment.
void lowerPriority();

}  // namespace kalvetra
