// Working memory.
#pragma once

#include <cstddef>
#include <memory>

namespace kalvetra {

// `count` values as the memory happens to hold them, for buffers that are written before they are read. The standard's
// make_unique_for_overwrite, which the library of Emscripten and older Macs lacks.
template <class T>
std::unique_ptr<T[]> uninitialized(std::size_t count) {
  return std::unique_ptr<T[]>(new T[count]);
}

}  // namespace kalvetra
