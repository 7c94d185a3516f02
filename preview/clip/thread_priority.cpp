#include "preview/clip/thread_priority.h"

#if defined(__linux__)
#include <sys/resource.h>
#include <unistd.h>
#elif defined(__APPLE__)
#include <pthread.h>
#endif

namespace kalvetra {

void lowerPriority() {
#if defined(__linux__)
  constexpr int kNice = 10;  // about a tenth of what a usual thread gets
  setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), kNice);
#elif defined(__APPLE__)
  pthread_set_qos_class_self_np(QOS_CLASS_BACKGROUND, 0);
#endif
}

}  // namespace kalvetra
