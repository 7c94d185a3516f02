// Buffers that are used over and over: fresh memory of a picture's size costs more than filling it.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

namespace kalvetra {

using Bytes = std::vector<unsigned char>;

class BytePool {
 public:
  // A buffer of that size with any content. It comes back by itself, even after the pool's end.
  std::shared_ptr<Bytes> take(std::size_t size);

 private:
  static constexpr std::size_t kMost = 4;  // at rest

  struct Shelf {
    std::mutex mutex;
    std::vector<std::unique_ptr<Bytes>> buffers;
  };
  std::shared_ptr<Shelf> shelf_ = std::make_shared<Shelf>();
};

}  // namespace kalvetra
