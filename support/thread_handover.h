// For the thread sanitizer alone, which does not see into the threading library: says that one thread passes on what
// another takes over. Nothing elsewhere; it is the library that keeps the order.
#pragma once

#if defined(__SANITIZE_THREAD__)
#define KALVETRA_THREADS_ARE_WATCHED
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KALVETRA_THREADS_ARE_WATCHED
#endif
#endif

#ifdef KALVETRA_THREADS_ARE_WATCHED
#include <sanitizer/tsan_interface.h>
#endif

namespace kalvetra {

#ifdef KALVETRA_THREADS_ARE_WATCHED
inline void handOver(const void* what) { __tsan_release(const_cast<void*>(what)); }
inline void takeOver(const void* what) { __tsan_acquire(const_cast<void*>(what)); }
#else
inline void handOver(const void*) {}
inline void takeOver(const void*) {}
#endif

// Taken over for as long as it lives, then handed on.
class Handover {
 public:
  explicit Handover(const void* what) : what_(what) { takeOver(what_); }
  ~Handover() { handOver(what_); }
  Handover(const Handover&) = delete;
  Handover& operator=(const Handover&) = delete;

 private:
  const void* what_;
};

}  // namespace kalvetra
