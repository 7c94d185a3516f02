#include "preview/clip/byte_pool.h"

namespace kalvetra {

std::shared_ptr<Bytes> BytePool::take(std::size_t size) {
  std::unique_ptr<Bytes> buffer;
  {
    const std::lock_guard lock(shelf_->mutex);
    if (!shelf_->buffers.empty()) {
      buffer = std::move(shelf_->buffers.back());
      shelf_->buffers.pop_back();
    }
  }
  if (!buffer) buffer = std::make_unique<Bytes>();
  buffer->resize(size);
  return {buffer.release(), [shelf = shelf_](Bytes* used) {
            std::unique_ptr<Bytes> back(used);
            const std::lock_guard lock(shelf->mutex);
            if (shelf->buffers.size() < kMost) shelf->buffers.push_back(std::move(back));
          }};
}

}  // namespace kalvetra
