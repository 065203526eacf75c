#include <core/error.hpp>
#include <tavrik/mutex_ra.hpp>

namespace tavrik {

MutexRA::MutexRA(pthread_mutex_t* mutex) : held(mutex) {
  // The prefix names no class; it is the text that log filters in the field look for.
  logged("Error : Tavrik::MutexRA() : ", [&] {
    if (held == nullptr) fail(faults::mutexNull);
    pthread_mutex_lock(held);
  });
}

MutexRA::~MutexRA() {
  pthread_mutex_unlock(held);
}

}  // namespace tavrik
